// tarvexctl, the bus from the command line: what the program understands, and what it ends with.

#include "arguments.h"
#include "failure.h"
#include "output.h"
#include "sendverb.h"
#include "settingsverbs.h"
#include "stateverbs.h"
#include "tarvexlib.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>

#include <algorithm>
#include <csignal>
#include <functional>
#include <optional>
#include <unistd.h>

using namespace tarvexctl;

namespace {

const char* const DESCRIPTION = "Talks to the local Tarvex bus: settings, states and messages of its clients.";
const char* const FOOTER =
    "--as and --json may stand before the verb or after it; what follows -- is never an option.\n"
    "Exit status: 0 done, 1 refused by the bus, 2 wrong use, 3 no bus to be reached or handshake\n"
    "refused, 4 nothing came within the time-out, 130 interrupted.";

/// Everything that the command line can hold, as the parser leaves it.
struct CommandLine
{
    std::string clientName = "tarvexctl";
    bool json = false;
    bool version = false;
    std::vector<std::string> owners;
    std::string owner;
    std::string group;
    std::string key;
    std::string value;
    bool valueIsText = false;
    std::optional<std::string> description;
    std::string type = "0";
    std::string receiver;
    std::optional<std::string> text;
    std::optional<std::string> command;
    /// What the verb does.
    std::function<void(const QString& clientName, Output& output)> run;
};

void onInterrupt(int)
{
    // Nothing but what is safe in a signal handler; data that was read has been flushed.
    static const char words[] = "tarvexctl: interrupted\n";
    const ssize_t ignored = ::write(STDERR_FILENO, words, sizeof words - 1);
    static_cast<void>(ignored);
    ::_exit(Interrupted);
}

// The library's waits block and do not look at signals, so the handler itself has to end the program.
void installInterruptHandler()
{
    struct sigaction action = {};
    ::sigaction(SIGINT, nullptr, &action);
    // A shell starts background jobs with the signal ignored: it is not meant for them.
    if (action.sa_handler != SIG_IGN) {
        action.sa_handler = onInterrupt;
        ::sigaction(SIGINT, &action, nullptr);
    }
}

std::optional<QString> optionalText(const std::optional<std::string>& argument)
{
    return argument ? std::optional<QString>(text(*argument)) : std::nullopt;
}

/// The clients that a verb asks about.
void addOwners(CLI::App* verb, CommandLine& line)
{
    verb->add_option("OWNER", line.owners, "Clients' names; the own name when there is none")->type_name("");
}

void addSettingsVerbs(CLI::App& program, CommandLine& line)
{
    CLI::App* settings = program.add_subcommand("settings", "The stored settings of a client");
    settings->require_subcommand(1);

    CLI::App* get = settings->add_subcommand("get", "Shows the settings of clients");
    addOwners(get, line);
    get->callback([&line] {
        line.run = [&line](const QString& name, Output& output) { getSettings(name, texts(line.owners), output); };
    });

    CLI::App* set = settings->add_subcommand("set", "Stores one setting, beside those that are stored");
    set->add_option("OWNER", line.owner, "The client's name")->type_name("")->required();
    set->add_option("GROUP", line.group, "The setting's group; may be empty")->type_name("")->required();
    set->add_option("KEY", line.key, "The setting's name within the group")->type_name("")->required();
    set->add_option("VALUE", line.value, "The value: JSON, or else a text")->type_name("")->required();
    set->add_flag("--string", line.valueIsText, "Takes VALUE as a text even if it is JSON");
    set->add_option("--description", line.description, "A new description of the client's settings");
    set->callback([&line] {
        line.run = [&line](const QString& name, Output& output) {
            const QString value = text(line.value);
            setSetting(name,
                       {text(line.owner), text(line.group), text(line.key),
                        line.valueIsText ? QVariant(value) : jsonOrText(value), optionalText(line.description)},
                       output);
        };
    });

    CLI::App* remove = settings->add_subcommand("remove", "Removes all settings of a client");
    remove->add_option("OWNER", line.owner, "The client's name")->type_name("")->required();
    remove->callback([&line] {
        line.run = [&line](const QString& name, Output& output) { removeSettings(name, text(line.owner), output); };
    });
}

void addStateVerbs(CLI::App& program, CommandLine& line)
{
    CLI::App* state = program.add_subcommand("state", "The current state of a client");
    state->require_subcommand(1);

    CLI::App* get = state->add_subcommand("get", "Shows the states of clients");
    addOwners(get, line);
    get->callback([&line] {
        line.run = [&line](const QString& name, Output& output) { getStates(name, texts(line.owners), output); };
    });

    CLI::App* set = state->add_subcommand("set", "Stores a state under the own name");
    set->add_option("TEXT", line.text, "The state, usually a JSON text")->type_name("")->required();
    set->add_option("--type", line.type, "The kind of state, a number from 0 to 127")
        ->type_name("N")
        ->capture_default_str();
    set->add_option("--description", line.description, "A text for people");
    set->callback([&line] {
        line.run = [&line](const QString& name, Output& output) {
            setState(name, text(*line.text), text(line.type), optionalText(line.description).value_or(QString()),
                     output);
        };
    });
}

QString messageText(const CommandLine& line)
{
    if (line.command) {
        return commandText(text(*line.command), optionalText(line.text));
    }
    if (!line.text) {
        throw Failure(WrongUse, QStringLiteral("send needs a TEXT, or a --command"));
    }
    return text(*line.text);
}

void addSendVerb(CLI::App& program, CommandLine& line)
{
    CLI::App* send = program.add_subcommand("send", "Sends a message to a client");
    send->add_option("RECEIVER", line.receiver, "The client that gets the message")->type_name("")->required();
    send->add_option("TEXT", line.text, "The message; with --command the command's data, a JSON object")->type_name("");
    send->add_option("--command", line.command, "Sends the command of this name")->type_name("NAME");
    send->callback([&line] {
        line.run = [&line](const QString& name, Output& output) {
            sendMessage(name, text(line.receiver), messageText(line), output);
        };
    });
}

void showVersion(Output& output)
{
    const wexcor::AppVersion version = bus::TarvexLib::version();
    if (output.isJson()) {
        output.writeObject({{QStringLiteral("program"), QStringLiteral("tarvexctl")},
                            {QStringLiteral("version"), version.version()},
                            {QStringLiteral("buildTime"), version.buildTime()}});
    } else {
        output.writeRecord(QStringLiteral("tarvexctl %1, built %2\n").arg(version.version(), version.buildTime()));
    }
}

void run(const CommandLine& line)
{
    Output output(line.json);
    if (line.version) {
        showVersion(output);
        return;
    }
    if (!line.run) {
        throw Failure(WrongUse, QStringLiteral("a verb is missing: settings, state or send; see --help"));
    }
    const QString clientName = text(line.clientName);
    requireName(clientName, QStringLiteral("--as"));
    line.run(clientName, output);
}

/// Throws Failure for a line that cannot be understood. \return false when help was asked for, which is shown then.
bool parse(int argc, char** argv, CommandLine& line)
{
    CLI::App program(DESCRIPTION, "tarvexctl");
    program.footer(FOOTER);
    program.fallthrough(); // so that --as and --json may also stand after the verb
    program.require_subcommand(0, 1);
    program.add_option("--as", line.clientName, "The name to introduce oneself with")
        ->type_name("NAME")
        ->capture_default_str();
    program.add_flag("--json", line.json, "Writes one JSON object a line");
    program.add_flag("--version", line.version, "Shows the version and when it was built");
    addSettingsVerbs(program, line);
    addStateVerbs(program, line);
    addSendVerb(program, line);

    std::vector<std::string> arguments = parserArguments(argc, argv);
    std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the end
    try {
        program.parse(arguments);
    } catch (const CLI::CallForHelp&) {
        Output(false).writeRecord(QString::fromStdString(program.help()));
        return false;
    } catch (const CLI::ParseError& error) {
        throw Failure(WrongUse, QString::fromStdString(error.what()) + QStringLiteral("; see --help"));
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    installInterruptHandler();
    const QCoreApplication application(argc, argv);
    try {
        CommandLine line;
        if (parse(argc, argv, line)) {
            run(line);
        }
    } catch (const Failure& failure) {
        if (!failure.words().isEmpty()) {
            complain(failure.words());
        }
        return failure.status();
    } catch (const std::exception& error) {
        complain(QString::fromUtf8(error.what()));
        return WrongUse;
    }
    return Done;
}
