#include "commandline.h"

#include "faultwords.h"
#include "words.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <limits>

namespace tarvex::devbus {

using programs::Words;

namespace {

/// The most that --frames can be, in MiB.
constexpr int MAX_FRAMES_MIB = 1024;

/// A relative path in this variable does not count; the base directory rules say so.
QString stateFolder()
{
    const QString folder = qEnvironmentVariable("XDG_STATE_HOME");
    return QDir::isAbsolutePath(folder) ? folder : QDir::homePath() + QLatin1String("/.local/state");
}

QString defaultStorage()
{
    return QDir::cleanPath(stateFolder() + QLatin1String("/tarvex-devbus/bus.sqlite"));
}

// Qt's words, as Qt translates them. They are in our catalogue, because Qt's own may not be installed.
[[maybe_unused]] const char* const QT_WORDS[] = {
    QT_TRANSLATE_NOOP("QCommandLineParser", "Options:"),
    QT_TRANSLATE_NOOP("QCommandLineParser", "Missing value after '%1'."),
    QT_TRANSLATE_NOOP("QCommandLineParser", "Unexpected value after '%1'."),
};

struct Parser : QCommandLineParser
{
    Parser();

    QList<QCommandLineOption> options() const
    {
        return {storage, memory, keep, frames, fault, trace, http, help, version};
    }

    const QCommandLineOption storage{
        QStringLiteral("storage"),
        Words::tr("Store in <file>; it is created when it does not exist, its folder is not."), QStringLiteral("file")};
    const QCommandLineOption memory{QStringLiteral("memory"),
                                    Words::tr("Store in memory: everything is gone when the program ends.")};
    const QCommandLineOption frames{
        QStringLiteral("frames"),
        Words::tr("Keep the last frames for those who watch the bus, up to <MiB> of them. Default: 16"),
        QStringLiteral("MiB"), QStringLiteral("16")};
    const QCommandLineOption keep{
        QStringLiteral("keep"),
        Words::tr("Keep at most <number> messages for each absent client; the oldest go first. Default: 1000"),
        QStringLiteral("number"), QStringLiteral("1000")};
    const QCommandLineOption fault{QStringLiteral("fault"),
                                   Words::tr("Bring about a fault on purpose; may be repeated. See below."),
                                   QStringLiteral("rule")};
    const QCommandLineOption trace{QStringLiteral("trace"), Words::tr("Show every frame, decoded, on stderr.")};
    const QCommandLineOption http{
        QStringLiteral("http"),
        Words::tr("Show the traffic on a page at <port> of 127.0.0.1; 0 lets the system choose the port."),
        QStringLiteral("port")};
    const QCommandLineOption help{{QStringLiteral("h"), QStringLiteral("help")}, Words::tr("Show this text and exit.")};
    const QCommandLineOption version{{QStringLiteral("V"), QStringLiteral("version")},
                                     Words::tr("Show the version and exit.")};
};

Parser::Parser()
{
    setApplicationDescription(Words::tr("The development bus server: a Tarvex bus for desks and tests, on 127.0.0.1\n"
                                        "ports 45535 and 45537. Not for devices."));
    addOptions(options());
}

CommandLine wrongUse(const QString& text)
{
    CommandLine commandLine;
    commandLine.kind = CommandLine::Complaint;
    commandLine.text = Words::tr("%1; see --help").arg(text);
    return commandLine;
}

CommandLine answered(const QString& text)
{
    CommandLine commandLine;
    commandLine.kind = CommandLine::Answer;
    commandLine.text = text;
    return commandLine;
}

/// \return what is wrong with the rules; empty when they are read
QString readFaults(const QStringList& texts, QList<FaultRule>& faults)
{
    if (texts.size() > Faults::MAX_RULES) {
        return Words::tr("--fault is given more than %1 times").arg(Faults::MAX_RULES);
    }
    for (const QString& text : texts) {
        FaultRule rule;
        const programs::Reason problem = problemOfFaultRule(text, rule);
        if (!problem.isEmpty()) {
            return Words::tr("--fault \"%1\": %2").arg(text, problem.translated());
        }
        faults.append(rule);
    }
    return QString();
}

/// Reads the options for the run, or says what is wrong with them.
CommandLine interpret(const Parser& parser)
{
    if (!parser.positionalArguments().isEmpty()) {
        return wrongUse(Words::tr("unexpected argument \"%1\"").arg(parser.positionalArguments().constFirst()));
    }
    if (parser.isSet(parser.storage) && parser.isSet(parser.memory)) {
        return wrongUse(Words::tr("--storage and --memory exclude each other"));
    }
    if (parser.isSet(parser.storage) && parser.value(parser.storage).isEmpty()) {
        return wrongUse(Words::tr("--storage needs the name of a file"));
    }
    CommandLine commandLine;
    bool isNumber = false;
    commandLine.options.keep = parser.value(parser.keep).toInt(&isNumber);
    if (!isNumber || commandLine.options.keep < 0) {
        return wrongUse(Words::tr("--keep must be a whole number from 0 to %1, not \"%2\"")
                            .arg(QString::number(std::numeric_limits<int>::max()), parser.value(parser.keep)));
    }
    const int frames = parser.value(parser.frames).toInt(&isNumber);
    if (!isNumber || frames < 1 || frames > MAX_FRAMES_MIB) {
        return wrongUse(Words::tr("--frames must be a whole number from 1 to %1, not \"%2\"")
                            .arg(QString::number(MAX_FRAMES_MIB), parser.value(parser.frames)));
    }
    commandLine.options.frameBytes = static_cast<qint64>(frames) << 20;
    const QString faultError = readFaults(parser.values(parser.fault), commandLine.faults);
    if (!faultError.isEmpty()) {
        return wrongUse(faultError);
    }
    if (parser.isSet(parser.http)) {
        commandLine.httpPort = parser.value(parser.http).toUShort(&isNumber);
        if (!isNumber) {
            return wrongUse(
                Words::tr("--http must be a port from 0 to 65535, not \"%1\"").arg(parser.value(parser.http)));
        }
    }
    commandLine.options.isTracing = parser.isSet(parser.trace);
    commandLine.isDefaultStorage = !parser.isSet(parser.storage) && !parser.isSet(parser.memory);
    if (commandLine.isDefaultStorage) {
        commandLine.options.storagePath = defaultStorage();
    } else if (parser.isSet(parser.storage)) {
        commandLine.options.storagePath = QFileInfo(parser.value(parser.storage)).absoluteFilePath();
    }
    return commandLine;
}

/// An option that is given more than once and may not be; empty when there is none.
QString repeatedOption(const Parser& parser)
{
    const QStringList given = parser.optionNames();
    const QList<QCommandLineOption> options = parser.options();
    for (const QCommandLineOption& option : options) {
        const QStringList names = option.names();
        int count = 0;
        for (const QString& name : names) {
            count += given.count(name);
        }
        if (count > 1 && names != parser.fault.names()) {
            return names.constLast();
        }
    }
    return QString();
}

/// What is wrong with the options themselves; empty when nothing is.
QString optionError(const Parser& parser, bool isParsed)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (!unknown.isEmpty()) {
        const QString& name = unknown.constFirst();
        return (name.size() == 1 ? Words::tr("unknown option \"-%1\"") : Words::tr("unknown option \"--%1\""))
            .arg(name);
    }
    if (!isParsed) {
        const QString text = parser.errorText(); // a sentence, with a full stop
        return text.endsWith(QLatin1Char('.')) ? text.chopped(1) : text;
    }
    const QString repeated = repeatedOption(parser);
    return repeated.isEmpty() ? QString() : Words::tr("--%1 is given more than once").arg(repeated);
}

/// The words in lines of at most 80 columns.
QString indented(const QStringList& words)
{
    constexpr int COLUMNS = 80;
    QString text = QStringLiteral(" ");
    int length = text.size();
    for (const QString& word : words) {
        if (length + 1 + word.size() > COLUMNS) {
            text += QLatin1String("\n ");
            length = 1;
        }
        text += QLatin1Char(' ') + word;
        length += 1 + word.size();
    }
    return text;
}

/// The first line of Qt's own text is left out, because it names the program by its path, however long that is.
QString helpText(const Parser& parser)
{
    return Words::tr("Usage: tarvex-devbus [options]\n%1\n\n"
                     "Without --storage and --memory it stores in\n%2\n\n"
                     "A rule for a fault is words with blanks between them, \"do=EFFECT\" among them,\n"
                     "such as \"client=printer operation=loadState nth=3 do=delay:500\".\n"
                     "Words:\n%3\nEffects:\n%4\n\n"
                     "Exit status:\n"
                     "  0  ended by SIGTERM or SIGINT; after --help and --version\n"
                     "  1  it could not start, or stdout could not be written\n"
                     "  2  wrong use")
        .arg(parser.helpText().section(QLatin1Char('\n'), 1).trimmed(), defaultStorage(),
             indented(faultwords::wordForms()), indented(faultwords::effectForms()));
}

/// Whether all arguments are text. Qt replaces what is not, and the storage would have another name than the given one.
bool areTexts(int argc, char** argv)
{
    return std::all_of(argv + qMin(argc, 1), argv + argc,
                       [](const char* argument) { return QString::fromLocal8Bit(argument).toLocal8Bit() == argument; });
}

/// The options as JSON, for what is made of them: the manual page and the completions of the shells.
QString description(const Parser& parser)
{
    QJsonArray options;
    const QList<QCommandLineOption> all = parser.options();
    for (const QCommandLineOption& option : all) {
        QJsonArray names;
        const QStringList optionNames = option.names();
        for (const QString& name : optionNames) {
            names.append((name.size() == 1 ? QLatin1String("-") : QLatin1String("--")) + name);
        }
        options.append(QJsonObject{{QStringLiteral("names"), names},
                                   {QStringLiteral("value"), option.valueName()},
                                   {QStringLiteral("isRepeated"), option.names() == parser.fault.names()},
                                   {QStringLiteral("help"), option.description()}});
    }
    return QString::fromUtf8(QJsonDocument(QJsonObject{{QStringLiteral("options"), options}}).toJson()).trimmed();
}

} // namespace

CommandLine readCommandLine(int argc, char** argv)
{
    if (!areTexts(argc, argv)) {
        return wrongUse(Words::tr("an argument is no text"));
    }
    Parser parser;
    if (QCoreApplication::arguments().mid(1) == QStringList{QStringLiteral("describe")}) {
        return answered(description(parser));
    }
    const bool isParsed = parser.parse(QCoreApplication::arguments());
    const QString error = optionError(parser, isParsed);
    if (!error.isEmpty()) {
        return wrongUse(error);
    }
    if (parser.isSet(parser.help)) {
        return answered(helpText(parser));
    }
    CommandLine commandLine = interpret(parser);
    if (commandLine.kind != CommandLine::Complaint && parser.isSet(parser.version)) {
        return answered(QLatin1String("tarvex-devbus ") + QCoreApplication::applicationVersion());
    }
    return commandLine;
}

} // namespace tarvex::devbus
