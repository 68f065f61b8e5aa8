#include "busserver.h"
#include "clientreport.h"
#include "commandline.h"
#include "controlserver.h"
#include "controlservice.h"
#include "page/livepage.h"
#include "passedsockets.h"
#include "signalwatcher.h"
#include "standardstreams.h"
#include "support/systemdnotifier.h"
#include "words.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <memory>
#include <optional>
#include <unistd.h>

using tarvex::TarvexError;
using tarvex::devbus::BusServer;
using tarvex::devbus::ClientReport;
using tarvex::devbus::CommandLine;
using tarvex::devbus::ControlServer;
using tarvex::devbus::ControlService;
using tarvex::devbus::FaultRule;
using tarvex::devbus::Faults;
using tarvex::devbus::isFailure;
using tarvex::devbus::LivePage;
using tarvex::devbus::SignalWatcher;
using tarvex::programs::Words;

namespace {

enum ExitStatus {
    ExitDone = 0,
    ExitFailure = 1,
    ExitWrongUse = 2,
};

/// \return why it could not; empty when it is done.
QString printLine(int stream, const QString& text)
{
    return tarvex::programs::writeAll(stream, text.toUtf8() + '\n');
}

void complain(const QString& text)
{
    printLine(STDERR_FILENO, QLatin1String("tarvex-devbus: ") + text);
}

/// Prints what was asked for, or what somebody waits for. \return false when that failed, so nobody can have read it.
bool announce(const QString& text)
{
    const QString error = printLine(STDOUT_FILENO, text);
    if (!error.isEmpty()) {
        complain(Words::tr("cannot write to stdout: %1").arg(error));
    }
    return error.isEmpty();
}

/// Qt's own messages go to stderr too, one line each, even where the system would send them elsewhere.
void onQtMessage(QtMsgType, const QMessageLogContext&, const QString& text)
{
    complain(text.simplified());
}

bool makeDefaultFolder(const QString& storagePath)
{
    const QString folder = QFileInfo(storagePath).absolutePath();
    if (QDir().mkpath(folder)) {
        return true;
    }
    complain(Words::tr("cannot create the folder \"%1\"").arg(folder));
    return false;
}

/// The program that has started this one waits for this line, so it is not translated. \return as announce()
bool announceReady(const QString& storagePath)
{
    const QString place = storagePath.isEmpty() ? QStringLiteral("in memory") : QLatin1String("in ") + storagePath;
    return announce(QLatin1String("tarvex-devbus: ready on 127.0.0.1 ports 45535 and 45537, storing ") + place);
}

/// Says which faults there are, with the seeds that the bus has chosen: with the same seeds they happen again.
void addFaults(Faults& faults, const QList<FaultRule>& rules)
{
    for (const FaultRule& rule : rules) {
        faults.add(rule); // it is checked already
    }
    const QList<Faults::Entry> entries = faults.entries();
    for (const Faults::Entry& entry : entries) {
        complain(Words::tr("fault %1: %2").arg(QString::number(entry.number), entry.rule.toText()));
    }
}

/// \return the page, or nothing when it cannot be shown.
std::unique_ptr<LivePage> openPage(BusServer& server, ControlService& controlService, quint16 port)
{
    auto page = std::make_unique<LivePage>(server, controlService);
    const TarvexError error = page->start(port);
    if (isFailure(error)) {
        complain(error.description());
        return nullptr;
    }
    return announce(QLatin1String("tarvex-devbus: live page on ") + page->address()) ? std::move(page) : nullptr;
}

/// Takes what systemd has passed, and makes the place for the storage. \return nothing when the bus cannot start.
std::optional<BusServer::Options> prepare(const CommandLine& commandLine)
{
    BusServer::Options options = commandLine.options;
    const TarvexError error = takePassedSockets(options);
    if (isFailure(error)) {
        complain(error.description());
        return {};
    }
    if (commandLine.isDefaultStorage && !makeDefaultFolder(options.storagePath)) {
        return {};
    }
    return options;
}

int run(const CommandLine& commandLine)
{
    wexcor::SystemdNotifier systemdNotifier(wexcor::SystemdNotifier::Readiness::WhenTold);
    const std::optional<BusServer::Options> options = prepare(commandLine);
    if (!options) {
        return ExitFailure;
    }
    BusServer server(*options);
    QObject::connect(&server, &BusServer::traced, [](const QString& line) { printLine(STDERR_FILENO, line); });
    QObject::connect(&server, &BusServer::warning, complain);
    addFaults(server.faults(), commandLine.faults);
    const TarvexError error = server.start();
    if (isFailure(error)) {
        complain(error.description());
        return ExitFailure;
    }
    // The control socket is opened after the server, which holds the ports then, and closed before it. Otherwise it
    // could take away the socket of another bus that runs.
    ControlService controlService(server);
    ControlServer controlServer([&](const QVariantMap& request) { return controlService.handle(request); });
    const TarvexError controlError = controlServer.open(ControlServer::defaultPath());
    if (isFailure(controlError)) {
        complain(Words::tr("cannot open the control socket: %1").arg(controlError.description()));
    }
    SignalWatcher signalWatcher;
    if (!signalWatcher.errorString().isEmpty()) {
        complain(Words::tr("cannot watch for SIGTERM and SIGINT: %1").arg(signalWatcher.errorString()));
        return ExitFailure;
    }
    QObject::connect(&signalWatcher, &SignalWatcher::endRequested, &QCoreApplication::quit);
    std::unique_ptr<LivePage> page;
    if (commandLine.httpPort) {
        page = openPage(server, controlService, *commandLine.httpPort);
        if (!page) {
            return ExitFailure;
        }
    }
    const ClientReport clientReport(server, systemdNotifier);
    if (!announceReady(options->storagePath)) {
        return ExitFailure;
    }
    systemdNotifier.setReady();
    return QCoreApplication::exec();
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
    Words::translate();
    const CommandLine commandLine = tarvex::devbus::readCommandLine(argc, argv);
    if (commandLine.kind == CommandLine::Complaint) {
        complain(commandLine.text);
        return ExitWrongUse;
    }
    if (commandLine.kind == CommandLine::Answer) {
        return announce(commandLine.text) ? ExitDone : ExitFailure; // an answer that nobody could read is a failure
    }
    return run(commandLine);
}
