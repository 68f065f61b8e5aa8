#include "commandline.h"

#include "arguments.h"
#include "bussearch.h"
#include "failure.h"
#include "helpformatter.h"
#include "output.h"
#include "parserwords.h"
#include "programwords.h"
#include "tarvexlib.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>

#include <algorithm>

namespace tarvexctl {

namespace {

const char* const DESCRIPTION =
    Words::mark("Talks to the local Tarvex bus: settings, states and messages of its clients.");
const char* const FOOTER =
    Words::mark("--as, --json, --quiet and --wait-for-bus may stand before the verb or after it; what "
                "follows -- is never an option. "
                "Times are local, as the "
                "clients wrote them.");
const char* const RECEIVING_FOOTER =
    Words::mark("Without --as the name is \"tarvexctl-\" and the process id. With --as and the "
                "name of a service, that service loses "
                "its connection and its messages to this program.");
const char* const DEFAULT_NAME = "tarvexctl";
/// What runs when the command line names no verb.
const char* const DEFAULT_VERB = "status";

/// The parser of a group. It is made with the group's first verb.
CLI::App& groupOf(CLI::App& program, const std::string& name)
{
    const auto isGroup = [&name](const CLI::App* app) { return app->get_name() == name; };
    const std::vector<CLI::App*> made = program.get_subcommands(isGroup);
    if (!made.empty()) {
        return *made.front();
    }
    CLI::App* const group = program.add_subcommand(name, Words::tr(verbGroup(name).help).toStdString());
    group->require_subcommand(1);
    return *group;
}

Failure wrongUse(const QString& words)
{
    return Failure(WrongUse, Words::tr("%1; see --help").arg(words));
}

/// There must be one.
const Verb& verbWithWords(const std::vector<std::unique_ptr<Verb>>& verbs, const std::string& words)
{
    return **std::find_if(verbs.begin(), verbs.end(), [&](const auto& verb) { return verb->words() == words; });
}

void showVersion(Output& output)
{
    const wexcor::AppVersion version = bus::TarvexLib::version();
    if (output.isJson()) {
        output.writeObject({{QStringLiteral("program"), QStringLiteral("tarvexctl")},
                            {QStringLiteral("version"), version.version()},
                            {QStringLiteral("buildTime"), version.buildTime()}});
    } else {
        output.writeRecord(Words::tr("tarvexctl %1, built %2\n").arg(version.version(), version.buildTime()));
    }
}

} // namespace

CommandLine::CommandLine() : m_verbs(allVerbs()) { }

CommandLine::Task CommandLine::parse(int argc, char** argv)
{
    CLI::App program;
    addTo(program);
    std::vector<std::string> arguments =
        parserArguments(argc, argv, [&](const std::string& name) { return isFlagOf(program, name); });
    std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the end
    try {
        program.parse(arguments);
    } catch (const CLI::CallForHelp&) {
        Output(false).writeRecord(QString::fromStdString(program.help()));
        return Nothing;
    } catch (const CLI::ParseError& error) {
        throw wrongUse(wordsFor(error, program));
    }
    const QString repeated = repeatedOption(program);
    if (!repeated.isEmpty()) {
        throw wrongUse(Words::tr("%1 is given more than once").arg(repeated));
    }
    if (m_verb == nullptr && !m_version) {
        m_verb = &verbWithWords(m_verbs, DEFAULT_VERB);
    }
    return Run;
}

void CommandLine::run() const
{
    if (m_quiet) {
        silenceWords();
    }
    if (m_json) {
        Words::leaveInEnglish(); // the texts in the objects, too
    }
    Output output(m_json);
    if (m_version) {
        showVersion(output);
        return;
    }
    const QString name = clientName();
    if (m_busTimeout.isGiven()) {
        waitForBus(name, m_busTimeout.milliseconds());
    }
    m_verb->run({name, output, palette()});
}

void CommandLine::addTo(CLI::App& program)
{
    program.name("tarvexctl");
    program.description(Words::tr(DESCRIPTION).toStdString());
    program.formatter(std::make_shared<HelpFormatter>());
    program.footer(Words::tr(FOOTER).toStdString());
    program.fallthrough(); // so that the program's own options may also stand after the verb
    program.require_subcommand(0, 1);
    program.set_help_flag("-h,--help", Words::tr("Shows this text").toStdString());
    program.add_option("--as", m_clientName, Words::tr("The name to introduce oneself with").toStdString())
        ->type_name("NAME")
        ->default_str(DEFAULT_NAME);
    program.add_flag("--json", m_json, Words::tr("Writes one JSON object a line").toStdString());
    m_busTimeout.addTo(program);
    program.add_flag("--quiet", m_quiet, Words::tr("Says nothing on stderr except what failed").toStdString());
    program
        .add_option("--color", m_colour,
                    Words::tr("Colours: auto (on a terminal, unless NO_COLOR is set), always or never").toStdString())
        ->type_name("WHEN")
        ->default_str("auto");
    program.add_flag("-V,--version", m_version, Words::tr("Shows the version and when it was built").toStdString());
    for (const auto& verb : m_verbs) {
        addVerb(program, *verb);
    }
    makeStrict(program);
}

void CommandLine::addVerb(CLI::App& program, Verb& verb)
{
    const std::size_t space = verb.words().find(' ');
    const bool isInGroup = space != std::string::npos;
    CLI::App& parent = isInGroup ? groupOf(program, verb.words().substr(0, space)) : program;
    const std::string name = isInGroup ? verb.words().substr(space + 1) : verb.words();
    CLI::App& parser = *parent.add_subcommand(name, Words::tr(verb.help().c_str()).toStdString());
    if (verb.receives()) {
        parser.footer(parser.get_footer() + ' ' + Words::tr(RECEIVING_FOOTER).toStdString());
    }
    verb.addOptions(parser);
    parser.callback([this, &verb, &parser] { choose(verb, parser); });
}

/// The parser calls this for a verb after it has called it for the verbs in it, such as "wait client" in "wait".
void CommandLine::choose(const Verb& verb, const CLI::App& parser)
{
    const std::vector<CLI::App*> inner = parser.get_subcommands();
    if (inner.empty()) {
        m_verb = &verb;
        return;
    }
    for (const CLI::Option* const option : parser.get_options()) {
        if (option->count() > 0) {
            throw wrongUse(Words::tr("%1 stands after \"%2 %3\"")
                               .arg(QString::fromStdString(option->get_name()), QString::fromStdString(verb.words()),
                                    QString::fromStdString(inner.front()->get_name())));
        }
    }
}

/// Without --as, each program that receives has a name of its own, because two of them under one name would disconnect
/// each other again and again.
QString CommandLine::clientName() const
{
    if (m_clientName) {
        QString name = text(*m_clientName);
        requireName(name, QStringLiteral("--as"));
        return name;
    }
    const QLatin1String name(DEFAULT_NAME);
    return m_verb->receives() ? QStringLiteral("%1-%2").arg(name).arg(QCoreApplication::applicationPid()) : name;
}

Palette CommandLine::palette() const
{
    const QString word = m_colour ? text(*m_colour) : QStringLiteral("auto");
    const std::optional<ColourChoice> choice = colourChoiceFrom(word);
    if (!choice) {
        throw wrongUse(Words::tr("--color must be auto, always or never, not \"%1\"").arg(word));
    }
    return Palette(!m_json && wantsColours(*choice, colourCircumstances()));
}

} // namespace tarvexctl
