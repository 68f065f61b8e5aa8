// tarvexctl, the bus from the command line: what the program understands, and what it ends with.

#include "arguments.h"
#include "callverb.h"
#include "clientsverb.h"
#include "failure.h"
#include "helpformatter.h"
#include "interrupts.h"
#include "listenverb.h"
#include "listverbs.h"
#include "output.h"
#include "parserwords.h"
#include "sendverb.h"
#include "settingsload.h"
#include "settingsverbs.h"
#include "standardstreams.h"
#include "stateverbs.h"
#include "statewatch.h"
#include "tally.h"
#include "tarvexlib.h"
#include "waitverb.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

using namespace tarvexctl;

namespace {

const char* const DESCRIPTION = "Talks to the local Tarvex bus: settings, states and messages of its clients.";
const char* const FOOTER = "--as and --json may stand before the verb or after it; what follows -- is never an option. "
                           "Times are local, as the "
                           "clients wrote them.";
const char* const RECEIVING_FOOTER = "Without --as the name is \"tarvexctl-\" and the process id. With --as and the "
                                     "name of a service, that service loses "
                                     "its connection and its messages to this program.";
const char* const DEFAULT_NAME = "tarvexctl";
const char* const DEFAULT_CALL_TIMEOUT = "10";
const char* const DEFAULT_WAIT_TIMEOUT = "30";

/// Everything that the command line can hold, as the parser leaves it.
struct CommandLine
{
    std::optional<std::string> clientName;
    bool json = false;
    bool version = false;
    std::vector<std::string> owners;
    std::string owner;
    std::string group;
    std::string key;
    std::string value;
    bool valueIsText = false;
    std::optional<std::string> description;
    std::string file = "-";
    std::string type = "0";
    std::string receiver;
    std::optional<std::string> text;
    std::optional<std::string> command;
    std::vector<std::string> subscriptions;
    std::optional<std::string> count;
    std::optional<std::string> timeout;
    bool silenceIsOk = false;
    /// Whether the verb keeps a connection for receiving, of which the bus has but one for each name.
    bool receives = false;
    /// What the verb does.
    std::function<void(const QString& clientName, Output& output)> run;
};

std::optional<QString> optionalText(const std::optional<std::string>& argument)
{
    return argument ? std::optional<QString>(text(*argument)) : std::nullopt;
}

/// The clients that a verb asks about.
void addOwners(CLI::App* verb, CommandLine& line)
{
    verb->add_option("OWNER", line.owners, "Clients' names; the own name when there is none")->type_name("");
}

Limits limits(const CommandLine& line)
{
    Limits limits;
    if (line.count) {
        limits.count = countFrom(text(*line.count));
    }
    if (line.timeout) {
        limits.timeoutMs = timeoutMsFrom(text(*line.timeout));
    }
    return limits;
}

/// Beside the footer of every verb.
void addReceivingFooter(CLI::App* verb)
{
    verb->footer(verb->get_footer() + ' ' + RECEIVING_FOOTER);
}

/// What the verbs have in common that follow the bus until they have enough.
void addLimits(CLI::App* verb, CommandLine& line, const std::string& what)
{
    verb->add_option("--count", line.count, "Ends after so many " + what)->type_name("N");
    verb->add_option("--timeout", line.timeout,
                     "Ends after so many seconds: with status 4 when nothing came by then, or less than --count")
        ->type_name("S");
    addReceivingFooter(verb);
}

/// The verbs of settings beside those that read and write one record.
void addMoreSettingsVerbs(CLI::App* settings, CommandLine& line)
{
    CLI::App* list = settings->add_subcommand("list", "Shows whose settings are stored");
    list->callback([&line] { line.run = listSettings; });

    CLI::App* unset = settings->add_subcommand("unset", "Removes one setting; the others stay");
    unset->add_option("OWNER", line.owner, "The client's name")->type_name("")->required();
    unset->add_option("GROUP", line.group, "The setting's group; may be empty")->type_name("")->required();
    unset->add_option("KEY", line.key, "The setting's name within the group")->type_name("")->required();
    unset->callback([&line] {
        line.run = [&line](const QString& name, Output& output) {
            unsetSetting(name, {text(line.owner), text(line.group), text(line.key)}, output);
        };
    });

    CLI::App* load = settings->add_subcommand("load", "Saves records as --json settings get writes them");
    load->add_option("FILE", line.file, "One JSON object a line; stdin when it is - or missing")->type_name("");
    load->callback([&line] {
        line.run = [&line](const QString& name, Output& output) { loadSettings(name, text(line.file), output); };
    });
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
            if (!line.valueIsText) {
                tellOfBrokenJson(value);
            }
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
    addMoreSettingsVerbs(settings, line);
}

void addStateWatch(CLI::App& state, CommandLine& line)
{
    CLI::App* watch = state.add_subcommand("watch", "Shows the states of clients, and then each change");
    watch->add_option("OWNER", line.owners, "Clients' names")->type_name("")->required();
    addLimits(watch, line, "changes");
    watch->callback([&line] {
        line.receives = true;
        line.run = [&line](const QString& name, Output& output) {
            watchStates(name, texts(line.owners), limits(line), output);
        };
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
    addStateWatch(*state, line);

    CLI::App* list = state->add_subcommand("list", "Shows all states that are stored");
    list->callback([&line] { line.run = listStates; });
}

QString messageText(const CommandLine& line)
{
    if (line.command) {
        const QString command = text(*line.command);
        requireName(command, QStringLiteral("--command"));
        return commandText(command, optionalText(line.text));
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

void addCallVerb(CLI::App& program, CommandLine& line)
{
    CLI::App* call = program.add_subcommand("call", "Sends a command to a client and shows its reply");
    call->add_option("RECEIVER", line.receiver, "The client that gets the command")->type_name("")->required();
    call->add_option("COMMAND", line.command, "The command's name")->type_name("")->required();
    call->add_option("JSON", line.text, "The command's data, a JSON object; empty without it")->type_name("");
    call->add_option("--timeout", line.timeout, "How many seconds to wait for the reply")
        ->type_name("S")
        ->default_str(DEFAULT_CALL_TIMEOUT);
    call->add_flag("--silence-ok", line.silenceIsOk,
                   "No reply within the time-out is a success: many services answer only what fails");
    addReceivingFooter(call);
    call->callback([&line] {
        line.receives = true;
        line.run = [&line](const QString& name, Output& output) {
            const QString command = text(*line.command);
            requireName(command, QStringLiteral("COMMAND"));
            const int timeoutMs = timeoutMsFrom(text(line.timeout.value_or(DEFAULT_CALL_TIMEOUT)));
            callClient(
                name, {text(line.receiver), commandText(command, optionalText(line.text)), timeoutMs, line.silenceIsOk},
                output);
        };
    });
}

void addListenVerb(CLI::App& program, CommandLine& line)
{
    CLI::App* listen = program.add_subcommand("listen", "Shows the messages that come, until interrupted");
    listen
        ->add_option("--subscribe", line.subscriptions,
                     "Also what PUBLISHER publishes: its states (1), its messages to nobody in particular (2), or "
                     "both (3, and without a goal); for each publisher once more")
        ->type_name("PUBLISHER[:GOAL]")
        ->allow_extra_args(false);
    addLimits(listen, line, "messages");
    listen->callback([&line] {
        line.receives = true;
        line.run = [&line](const QString& name, Output& output) {
            listenToMessages(name, subscriptionsFrom(texts(line.subscriptions)), limits(line), output);
        };
    });
}

void addClientsVerb(CLI::App& program, CommandLine& line)
{
    CLI::App* clients = program.add_subcommand("clients", "Shows the names that a development bus knows");
    clients->callback([&line] { line.run = listClients; });
}

void addWaitVerb(CLI::App& program, CommandLine& line)
{
    CLI::App* wait = program.add_subcommand("wait", "Waits until a bus answers");
    wait->add_option("--timeout", line.timeout, "How many seconds to wait")
        ->type_name("S")
        ->default_str(DEFAULT_WAIT_TIMEOUT);
    wait->callback([&line] {
        line.run = [&line](const QString& name, Output& output) {
            waitForBus(name, timeoutMsFrom(text(line.timeout.value_or(DEFAULT_WAIT_TIMEOUT))), output);
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

/// Two programs that receive under one name would take turns at throwing each other out: without --as, each that
/// receives has a name of its own.
QString clientNameOf(const CommandLine& line)
{
    if (line.clientName) {
        QString name = text(*line.clientName);
        requireName(name, QStringLiteral("--as"));
        return name;
    }
    const QLatin1String name(DEFAULT_NAME);
    return line.receives ? QStringLiteral("%1-%2").arg(name).arg(QCoreApplication::applicationPid()) : name;
}

void run(const CommandLine& line)
{
    Output output(line.json);
    if (line.version) {
        showVersion(output);
        return;
    }
    line.run(clientNameOf(line), output);
}

void addVerbs(CLI::App& program, CommandLine& line)
{
    program.formatter(std::make_shared<HelpFormatter>());
    program.footer(FOOTER);
    program.fallthrough(); // so that --as and --json may also stand after the verb
    program.require_subcommand(0, 1);
    program.set_help_flag("-h,--help", "Shows this text");
    program.add_option("--as", line.clientName, "The name to introduce oneself with")
        ->type_name("NAME")
        ->default_str(DEFAULT_NAME);
    program.add_flag("--json", line.json, "Writes one JSON object a line");
    program.add_flag("-V,--version", line.version, "Shows the version and when it was built");
    addSettingsVerbs(program, line);
    addStateVerbs(program, line);
    addSendVerb(program, line);
    addCallVerb(program, line);
    addListenVerb(program, line);
    addClientsVerb(program, line);
    addWaitVerb(program, line);
    makeStrict(program);
}

Failure wrongUse(const QString& words)
{
    return Failure(WrongUse, words + QStringLiteral("; see --help"));
}

/// Throws Failure for a line that cannot be understood. \return false when help was asked for, which is shown then.
bool parse(int argc, char** argv, CommandLine& line)
{
    CLI::App program(DESCRIPTION, "tarvexctl");
    addVerbs(program, line);
    std::vector<std::string> arguments =
        parserArguments(argc, argv, [&](const std::string& name) { return isFlagOf(program, name); });
    std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the end
    try {
        program.parse(arguments);
    } catch (const CLI::CallForHelp&) {
        Output(false).writeRecord(QString::fromStdString(program.help()));
        return false;
    } catch (const CLI::ParseError& error) {
        throw wrongUse(wordsFor(error, program));
    }
    const QString repeated = repeatedOption(program);
    if (!repeated.isEmpty()) {
        throw wrongUse(repeated + QStringLiteral(" is given more than once"));
    }
    if (!line.run && !line.version) {
        throw wrongUse(missingVerbWords(program));
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    tarvex::programs::holdStandardStreams();
    endOnInterrupt();
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
