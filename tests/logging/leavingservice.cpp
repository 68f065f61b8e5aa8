// leavingservice CASE [LIBRARY]: ends while a controller still exists. CASE is one of the ways in run().
// The program is linked twice: with the library lastwords before tarvexlib, and after it.

#include "client/supportedclients.h"
#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryworker.h"
#include "cmdlayer/tarvexcommand.h"
#include "lastwords.h"
#include "loggermanager.h"
#include "logging/tarvexlogcreator.h"
#include "logging/tarvexloggingcategory.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <thread>

using namespace tarvex;

namespace {

/// With this interval the filter is on.
constexpr int REPEAT_INTERVAL_MS = 10000;
constexpr int NEVER_MS = 1000000;
/// How the worker's lines begin. They are not shown.
const QLatin1String WORKING("working");

// These are used after the static objects of the program are destroyed, so they have no destructor.
std::atomic<int> linesOfWorker{-1};  ///< Negative until the worker logs.
std::atomic<bool> isInOutput{false}; ///< The thread is in the output.
std::atomic<bool> mayGoOn{false};    ///< The thread may leave the output.
std::atomic<bool> hasLogged{false};  ///< The thread has logged all its lines.

void say(const QString& line)
{
    std::puts(line.toUtf8().constData());
    std::fflush(stdout);
}

template <typename Condition>
void waitUntil(Condition condition)
{
    const QDeadlineTimer deadline(60000);
    while (!condition()) {
        if (deadline.hasExpired()) {
            std::puts("waited in vain");
            std::_Exit(1);
        }
        QThread::msleep(1);
    }
}

void console(QtMsgType, const QMessageLogContext&, const QString& text)
{
    if (!text.startsWith(WORKING)) {
        say(QStringLiteral("console: ") + text);
    }
}

QtMessageHandler handlerBefore = nullptr;

void laterHandler(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    handlerBefore(type, context, text);
}

QString nameOf(QtMessageHandler handler)
{
    if (handler == console) {
        return QStringLiteral("the former");
    }
    return handler == laterHandler ? QStringLiteral("the later") : QStringLiteral("ours");
}

void showForwarded(const Message& message)
{
    TarvexCommand cmd;
    TarvexCommand::incomingMessageToCmd(message, cmd);
    const QString text = cmd.data().value(QStringLiteral("text")).toString();
    if (!text.startsWith(WORKING)) {
        say(QStringLiteral("forwarded: ") + text);
    }
}

/// Its start never returns, so it logs until the process has ended.
class LoggingWorker : public TarvexMsgWorker
{
public:
    LoggingWorker() : TarvexMsgWorker(BUSNAME_TICKET_PRINTER) { }

    [[noreturn]] bool doStart() override
    {
        TarvexMsgWorker::doStart();
        for (;;) {
            qWarning("working: %d", ++linesOfWorker);
            QThread::msleep(1);
        }
    }
};

class QueryWorker : public TarvexQueryWorker
{
public:
    QueryWorker() : TarvexQueryWorker(NEVER_MS, BUSNAME_TICKET_PRINTER) { }

    void doSendState() override { }

    void doApplySettings(ClientSettings settings) override { Q_UNUSED(settings) }
};

class Service : public TarvexController
{
public:
    Service() : TarvexController(REPEAT_INTERVAL_MS, BUSNAME_TICKET_PRINTER, nullptr)
    {
        connect(
            this, &TarvexController::sendLogMessage, this, [](const Message& message) { showForwarded(message); },
            Qt::DirectConnection);
    }

    void doStart() override { initWorkers(new LoggingWorker, new QueryWorker); }
};

/// Logs when it is destroyed. The controllers that were made, or declared, before it still exist then.
struct Goodbye
{
    Goodbye() = default;

    ~Goodbye() { qWarning("goodbye"); }
    Q_DISABLE_COPY_MOVE(Goodbye)
};

Service* leaked = nullptr;
std::unique_ptr<Service> owned;
const Goodbye goodbye;

/// Called when the other library is unloaded, which is before or after tarvexlib is unloaded.
void atTheEnd()
{
    if (linesOfWorker >= 0) {
        const int lines = linesOfWorker;
        waitUntil([lines] { return linesOfWorker >= lines + 20; });
    }
    if (isInOutput) {
        mayGoOn = true;
        waitUntil([] { return hasLogged.load(); });
    }
    const QtMessageHandler installed = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(installed);
    say(QStringLiteral("handler: ") + nameOf(installed));
}

/// Calls the bridge's output, but lets the thread wait first.
void slowOutput(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    isInOutput = true;
    waitUntil([] { return mayGoOn.load(); });
    TarvexLogCreator::guiKivLog(type, context, text);
}

void logTwice()
{
    qCWarning(GUILOGGER) << "held up";
    qCWarning(GUILOGGER) << "late";
    hasLogged = true;
}

void startThreadInOutput()
{
    LoggerManager::setOutputs(QString::fromLatin1(GUILOGGER().categoryName()), slowOutput);
    std::thread(logTwice).detach();
    waitUntil([] { return isInOutput.load(); });
}

void startWorkers()
{
    leaked->doStart();
    waitUntil([] { return linesOfWorker >= 0; });
}

int run(const char* how, const char* library)
{
    const auto is = [how](const char* name) { return std::strcmp(how, name) == 0; };
    if (is("static")) {
        static Service service;
        static const Goodbye goodbyeToIt;
        return 0;
    }
    if (is("owned")) {
        owned = std::make_unique<Service>();
        return 0;
    }
    leaked = new Service;
    qWarning("made");
    if (is("leaked")) {
        return 0;
    }
    if (is("exit-in-slot")) {
        QTimer::singleShot(0, leaked, [] { std::exit(0); });
        return QCoreApplication::exec();
    }
    if (is("workers")) {
        startWorkers();
        return 0;
    }
    if (is("workers-exit-in-slot")) {
        startWorkers();
        QTimer::singleShot(0, leaked, [] { std::exit(0); });
        return QCoreApplication::exec();
    }
    if (is("thread-in-output")) {
        startThreadInOutput();
        return 0;
    }
    if (is("later-handler")) {
        handlerBefore = qInstallMessageHandler(laterHandler);
        return 0;
    }
    if (is("two")) {
        delete new Service;
        return 0;
    }
    if (is("library-opened")) {
        return ::dlopen(library, RTLD_NOW) != nullptr ? 0 : 1;
    }
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    qInstallMessageHandler(console);
    callBeforeLastWords(atTheEnd);
    return run(argc > 1 ? argv[1] : "", argc > 2 ? argv[2] : "");
}
