#include "busserver.h"
#include "controlserver.h"
#include "controlservice.h"
#include "signalwatcher.h"
#include "standardstreams.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <limits>
#include <unistd.h>

using tarvex::TarvexError;
using tarvex::devbus::BusServer;
using tarvex::devbus::ControlServer;
using tarvex::devbus::ControlService;
using tarvex::devbus::isFailure;
using tarvex::devbus::SignalWatcher;

namespace {

enum ExitStatus {
    ExitDone = 0,
    ExitFailure = 1,
    ExitWrongUse = 2,
};

/// \return why the stream has not taken it; empty when it has.
QString printLine(int stream, const QString& text)
{
    return tarvex::programs::writeAll(stream, text.toLocal8Bit() + '\n');
}

void complain(const QString& text)
{
    printLine(STDERR_FILENO, QLatin1String("tarvex-devbus: ") + text);
}

/// Says what was asked for, or what somebody waits for. \return false when nobody can have read it.
bool announce(const QString& text)
{
    const QString error = printLine(STDOUT_FILENO, text);
    if (!error.isEmpty()) {
        complain(QLatin1String("cannot write to stdout: ") + error);
    }
    return error.isEmpty();
}

/// Qt's own lines as well go to stderr, one each, wherever the system would have them.
void onQtMessage(QtMsgType, const QMessageLogContext&, const QString& text)
{
    complain(text.simplified());
}

/// Relative paths in these variables are void, as the base directory rules have it.
QString stateFolder()
{
    const QString folder = qEnvironmentVariable("XDG_STATE_HOME");
    return QDir::isAbsolutePath(folder) ? folder : QDir::homePath() + QLatin1String("/.local/state");
}

QString defaultStorage()
{
    return QDir::cleanPath(stateFolder() + QLatin1String("/tarvex-devbus/bus.sqlite"));
}

struct CommandLine
{
    BusServer::Options options;
    bool isDefaultStorage = false;
    int exitStatus = -1; ///< When there is nothing to run.
};

CommandLine finished(int exitStatus)
{
    CommandLine commandLine;
    commandLine.exitStatus = exitStatus;
    return commandLine;
}

CommandLine wrongUse(const QString& text)
{
    complain(text + QLatin1String("; see --help"));
    return finished(ExitWrongUse);
}

/// What was asked for and nothing else: not to have told it is a failure.
CommandLine answered(const QString& text)
{
    return finished(announce(text) ? ExitDone : ExitFailure);
}

struct Parser : QCommandLineParser
{
    Parser();

    QList<QCommandLineOption> options() const { return {storage, memory, keep, trace, help, version}; }

    const QCommandLineOption storage{
        QStringLiteral("storage"),
        QStringLiteral("Store in <file>; it is created when it does not exist, its folder is not."),
        QStringLiteral("file")};
    const QCommandLineOption memory{QStringLiteral("memory"),
                                    QStringLiteral("Store in memory: everything is gone when the program ends.")};
    const QCommandLineOption keep{
        QStringLiteral("keep"),
        QStringLiteral("Keep at most <number> messages for each absent client; the oldest go first. Default: 1000"),
        QStringLiteral("number"), QStringLiteral("1000")};
    const QCommandLineOption trace{QStringLiteral("trace"), QStringLiteral("Show every frame, decoded, on stderr.")};
    const QCommandLineOption help{{QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this text and exit.")};
    const QCommandLineOption version{{QStringLiteral("V"), QStringLiteral("version")},
                                     QStringLiteral("Show the version and exit.")};
};

Parser::Parser()
{
    setApplicationDescription(
        QStringLiteral("The development bus server: a Tarvex bus for desks and tests, on 127.0.0.1\n"
                       "ports 45535 and 45537. Not for devices."));
    addOptions(options());
}

CommandLine interpret(const Parser& parser)
{
    if (!parser.positionalArguments().isEmpty()) {
        return wrongUse(QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().constFirst()));
    }
    if (parser.isSet(parser.storage) && parser.isSet(parser.memory)) {
        return wrongUse(QStringLiteral("--storage and --memory exclude each other"));
    }
    if (parser.isSet(parser.storage) && parser.value(parser.storage).isEmpty()) {
        return wrongUse(QStringLiteral("--storage needs the name of a file"));
    }
    CommandLine commandLine;
    bool isNumber = false;
    commandLine.options.keep = parser.value(parser.keep).toInt(&isNumber);
    if (!isNumber || commandLine.options.keep < 0) {
        return wrongUse(QStringLiteral("--keep must be a whole number from 0 to %1, not \"%2\"")
                            .arg(QString::number(std::numeric_limits<int>::max()), parser.value(parser.keep)));
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

/// An option that is given more than once; empty when there is none.
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
        if (count > 1) {
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
        return (name.size() == 1 ? QStringLiteral("unknown option \"-%1\"") : QStringLiteral("unknown option \"--%1\""))
            .arg(name);
    }
    if (!isParsed) {
        const QString text = parser.errorText(); // a sentence, with a full stop
        return text.endsWith(QLatin1Char('.')) ? text.chopped(1) : text;
    }
    const QString repeated = repeatedOption(parser);
    return repeated.isEmpty() ? QString() : QStringLiteral("--%1 is given more than once").arg(repeated);
}

/// The first line of Qt's own text names the program by its path, however long that is.
QString helpText(const Parser& parser)
{
    return QStringLiteral("Usage: tarvex-devbus [options]\n%1\n\n"
                          "Without --storage and --memory it stores in\n%2\n\n"
                          "Exit status:\n"
                          "  0  ended by SIGTERM or SIGINT; after --help and --version\n"
                          "  1  it could not start, or stdout could not be written\n"
                          "  2  wrong use")
        .arg(parser.helpText().section(QLatin1Char('\n'), 1).trimmed(), defaultStorage());
}

/// Qt replaces what is no text, and the storage would have another name than the one that was given.
bool areTexts(int argc, char** argv)
{
    return std::all_of(argv + qMin(argc, 1), argv + argc,
                       [](const char* argument) { return QString::fromLocal8Bit(argument).toLocal8Bit() == argument; });
}

CommandLine readCommandLine()
{
    Parser parser;
    const bool isParsed = parser.parse(QCoreApplication::arguments());
    const QString error = optionError(parser, isParsed);
    if (!error.isEmpty()) {
        return wrongUse(error);
    }
    if (parser.isSet(parser.help)) {
        return answered(helpText(parser));
    }
    CommandLine commandLine = interpret(parser);
    if (commandLine.exitStatus < 0 && parser.isSet(parser.version)) {
        return answered(QLatin1String("tarvex-devbus ") + QCoreApplication::applicationVersion());
    }
    return commandLine;
}

bool makeDefaultFolder(const QString& storagePath)
{
    const QString folder = QFileInfo(storagePath).absolutePath();
    if (QDir().mkpath(folder)) {
        return true;
    }
    complain(QStringLiteral("cannot create the folder \"%1\"").arg(folder));
    return false;
}

/// Whoever started it waits for this line. \return false when nobody can have read it.
bool announceReady(const QString& storagePath)
{
    const QString place = storagePath.isEmpty() ? QStringLiteral("in memory") : QLatin1String("in ") + storagePath;
    return announce(QLatin1String("tarvex-devbus: ready on 127.0.0.1 ports 45535 and 45537, storing ") + place);
}

int run(const CommandLine& commandLine)
{
    const BusServer::Options& options = commandLine.options;
    if (commandLine.isDefaultStorage && !makeDefaultFolder(options.storagePath)) {
        return ExitFailure;
    }
    BusServer server(options);
    QObject::connect(&server, &BusServer::traced, [](const QString& line) { printLine(STDERR_FILENO, line); });
    QObject::connect(&server, &BusServer::warning, complain);
    const TarvexError error = server.start();
    if (isFailure(error)) {
        complain(error.description());
        return ExitFailure;
    }
    // After the server, which holds the ports: the socket of a bus that runs must not be taken away. It is the first to
    // go for the same reason.
    ControlService controlService(server);
    ControlServer controlServer([&](const QVariantMap& request) { return controlService.handle(request); });
    const TarvexError controlError = controlServer.open(ControlServer::defaultPath());
    if (isFailure(controlError)) {
        complain(QLatin1String("cannot open the control socket: ") + controlError.description());
    }
    SignalWatcher signalWatcher;
    if (!signalWatcher.errorString().isEmpty()) {
        complain(QLatin1String("cannot watch for SIGTERM and SIGINT: ") + signalWatcher.errorString());
        return ExitFailure;
    }
    QObject::connect(&signalWatcher, &SignalWatcher::endRequested, &QCoreApplication::quit);
    return announceReady(options.storagePath) ? QCoreApplication::exec() : ExitFailure;
}

} // namespace

int main(int argc, char** argv)
{
    tarvex::programs::holdStandardStreams();
    qInstallMessageHandler(onQtMessage);
    SignalWatcher::blockSignals();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarvex-devbus"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TARVEX_DEVBUS_VERSION));
    const CommandLine commandLine =
        areTexts(argc, argv) ? readCommandLine() : wrongUse(QStringLiteral("an argument is no text"));
    return commandLine.exitStatus >= 0 ? commandLine.exitStatus : run(commandLine);
}
