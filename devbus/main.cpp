#include "busserver.h"
#include "controlserver.h"
#include "controlservice.h"
#include "signalwatcher.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <csignal>
#include <cstdio>

using tarvex::devbus::BusServer;
using tarvex::devbus::ControlServer;
using tarvex::devbus::ControlService;
using tarvex::devbus::SignalWatcher;

namespace {

enum ExitStatus {
    ExitDone = 0,
    ExitFailure = 1,
    ExitWrongUse = 2,
};

/// \return whether the stream has taken it.
bool printLine(std::FILE* stream, const QString& text)
{
    const QByteArray line = text.toLocal8Bit() + '\n';
    const auto size = static_cast<std::size_t>(line.size());
    return std::fwrite(line.constData(), 1, size, stream) == size && std::fflush(stream) == 0;
}

void complain(const QString& text)
{
    printLine(stderr, QLatin1String("tarvex-devbus: ") + text);
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
    complain(text + QLatin1String(" (see tarvex-devbus --help)"));
    return finished(ExitWrongUse);
}

/// What was asked for and nothing else: not to have told it is a failure.
CommandLine answered(const QString& text)
{
    if (printLine(stdout, text)) {
        return finished(ExitDone);
    }
    complain(QLatin1String("cannot write to stdout: ") + qt_error_string());
    return finished(ExitFailure);
}

struct Parser : QCommandLineParser
{
    Parser();

    const QCommandLineOption storage{
        QStringLiteral("storage"),
        QStringLiteral("Store in <file>; it is created when it does not exist, its folder is not. Default: %1")
            .arg(defaultStorage()),
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
    const QCommandLineOption version{{QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Show the version and exit.")};
};

Parser::Parser()
{
    setApplicationDescription(QStringLiteral("The development bus server: a Tarvex bus for desks and tests, on "
                                             "127.0.0.1 ports 45535 and 45537. Not for devices."));
    addOptions({storage, memory, keep, trace, help, version});
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
        return wrongUse(QStringLiteral("--keep needs a number of messages, 0 or more"));
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

CommandLine readCommandLine()
{
    Parser parser;
    if (!parser.parse(QCoreApplication::arguments())) {
        return wrongUse(parser.errorText());
    }
    if (parser.isSet(parser.help)) {
        return answered(parser.helpText().trimmed());
    }
    if (parser.isSet(parser.version)) {
        return answered(QLatin1String("tarvex-devbus ") + QCoreApplication::applicationVersion());
    }
    return interpret(parser);
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

int run(const CommandLine& commandLine)
{
    const BusServer::Options& options = commandLine.options;
    if (commandLine.isDefaultStorage && !makeDefaultFolder(options.storagePath)) {
        return ExitFailure;
    }
    BusServer server(options);
    QObject::connect(&server, &BusServer::traced, [](const QString& line) { printLine(stderr, line); });
    QObject::connect(&server, &BusServer::warning, complain);
    if (!server.start()) {
        complain(server.errorString());
        return ExitFailure;
    }
    // After the server, which holds the ports: the socket of a bus that runs must not be taken away. It is the first to
    // go for the same reason.
    ControlService controlService(server);
    ControlServer controlServer([&](const QVariantMap& request) { return controlService.handle(request); });
    if (!controlServer.open(ControlServer::defaultPath())) {
        complain(QLatin1String("cannot open the control socket: ") + controlServer.errorString());
    }
    SignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &SignalWatcher::endRequested, &QCoreApplication::quit);
    const QString place =
        options.storagePath.isEmpty() ? QStringLiteral("in memory") : QLatin1String("in ") + options.storagePath;
    printLine(stdout, QLatin1String("tarvex-devbus: ready on 127.0.0.1 ports 45535 and 45537, storing ") + place);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // whoever waited for the ready line may have closed the pipe since
    qInstallMessageHandler(onQtMessage);
    SignalWatcher::blockSignals();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarvex-devbus"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TARVEX_DEVBUS_VERSION));
    const CommandLine commandLine = readCommandLine();
    return commandLine.exitStatus >= 0 ? commandLine.exitStatus : run(commandLine);
}
