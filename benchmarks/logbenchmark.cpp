#include "logbenchmark.h"

#include "allocations.h"
#include "client/supportedclients.h"
#include "cmdlayer/tarvexcommand.h"
#include "countingreceiver.h"
#include "loggermanager.h"
#include "logging/tarvexlogcreator.h"
#include "require.h"
#include "silentconsole.h"

#include <QCoreApplication>
#include <QDebug>
#include <QEvent>
#include <QThread>

#include <benchmark/benchmark.h>

namespace {

/// The number of lines between two looks at the queue. It is small enough to keep the queue short, and large enough to
/// make the look's time insignificant.
constexpr int LINES_AT_ONCE = 500;
constexpr int FILTER_OFF_MS = 0;
constexpr int FILTER_ON_MS = 300000; // no repeat is sent while the benchmark runs
constexpr int PATIENCE_MS = 20000;

/// Has the controller's place in a service whose lines are logged in the controller's thread.
class Controller : public QObject
{
    Q_OBJECT
Q_SIGNALS:
    void sendLogMessage(Message msg);
};

enum class LoggedIn {
    AnotherThread,
    ControllersThread
};

/// The logging bridge as a service's controller sets it up. The receiver has a thread of its own.
class Bridge
{
public:
    Bridge(int repeatInterval, LoggedIn loggedIn)
    {
        m_receiver.moveToThread(&m_thread);
        m_thread.start();
        const QString name = QStringLiteral("ticket_printer");
        if (loggedIn == LoggedIn::ControllersThread) {
            QObject::connect(&m_controller, SIGNAL(sendLogMessage(Message)), &m_receiver, SLOT(take(Message)));
            TarvexLogCreator::init(&m_controller, SIGNAL(sendLogMessage(Message)), name, repeatInterval);
        } else {
            TarvexLogCreator::init(&m_receiver, SLOT(take(Message)), name, repeatInterval);
        }
        LoggerManager::setOutputs(QString(), TarvexLogCreator::humanKivLog);
    }

    ~Bridge()
    {
        LoggerManager::removeOutput(QString());
        TarvexLogCreator::release();
        m_thread.quit();
        m_thread.wait();
    }
    Q_DISABLE_COPY_MOVE(Bridge)

    void waitForMessages(long count) const
    {
        for (int i = 0; m_receiver.count() < count && i < PATIENCE_MS; ++i) {
            QThread::msleep(1);
        }
        require(m_receiver.count() == count, "more or fewer messages than lines to be sent");
    }

private:
    QThread m_thread;
    CountingReceiver m_receiver;
    Controller m_controller;
};

/// Two lines in turns are new texts for the filter each time. One line alone repeats itself.
void logLines(bool takingTurns)
{
    static const QString TEXTS[] = {
        QStringLiteral("The ticket printer has no paper left, 12 tickets are waiting for it"),
        QStringLiteral("The ticket printer has paper again, 12 tickets are waiting for it")};
    for (int i = 0; i < LINES_AT_ONCE; ++i) {
        qWarning().noquote() << TEXTS[takingTurns ? i % 2 : 0];
    }
    // Each sent line leaves an object that the logging thread's event loop deletes. That time is part of the line's
    // price.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

template <typename Drain>
void measure(benchmark::State& state, bool takingTurns, const Drain& drain)
{
    logLines(takingTurns);
    drain();
    const long allocated = allocations::during([&] { logLines(takingTurns); });
    state.counters["allocations"] = static_cast<double>(allocated) / LINES_AT_ONCE;
    drain();
    while (state.KeepRunningBatch(LINES_AT_ONCE)) {
        logLines(takingTurns);
        state.PauseTiming();
        drain();
        state.ResumeTiming();
    }
}

/// What a line costs without the bridge: Qt's share, and the manager's search for an output that does not exist.
void runWithoutOutput(benchmark::State& state)
{
    const SilentConsole silence;
    // The manager stays installed once it is. Installed here, it is always there in this run, whichever benchmark comes
    // first.
    LoggerManager::setOutputs(QString(), TarvexLogCreator::humanKivLog);
    LoggerManager::removeOutput(QString());
    measure(state, true, [] {});
}

/// Making the message of a sent line, alone. This is one part of the line's price.
void runMessage(benchmark::State& state)
{
    const QString text = QStringLiteral("The ticket printer has no paper left, 12 tickets are waiting for it");
    const auto step = [&] {
        TarvexCommand command;
        command.setName(QStringLiteral("saveLog"));
        command.setAgent(tarvex::BUSNAME_LOGGER);
        command.setData({{QStringLiteral("prefix"), QStringLiteral("WARNING")}, {QStringLiteral("text"), text}});
        return command.toOutgoingMessage();
    };
    state.counters["allocations"] = static_cast<double>(allocations::during(step));
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(step());
    }
}

void runBridge(benchmark::State& state, int repeatInterval, bool takingTurns, LoggedIn loggedIn)
{
    const SilentConsole silence;
    const Bridge bridge(repeatInterval, loggedIn);
    const bool allAreSent = takingTurns || repeatInterval == FILTER_OFF_MS;
    long sent = allAreSent ? 0 : 1; // the first of the repeats is new
    measure(state, takingTurns, [&] {
        sent += allAreSent ? LINES_AT_ONCE : 0;
        bridge.waitForMessages(sent);
    });
}

} // namespace

void registerLogBenchmarks()
{
    benchmark::RegisterBenchmark("log/no_output", runWithoutOutput);
    benchmark::RegisterBenchmark("log/message", runMessage);
    const auto another = LoggedIn::AnotherThread;
    benchmark::RegisterBenchmark("log/filter_off", runBridge, FILTER_OFF_MS, true, another);
    benchmark::RegisterBenchmark("log/filter_off/controllers_thread", runBridge, FILTER_OFF_MS, true,
                                 LoggedIn::ControllersThread);
    benchmark::RegisterBenchmark("log/filter_on/new_text", runBridge, FILTER_ON_MS, true, another);
    benchmark::RegisterBenchmark("log/filter_on/repeat", runBridge, FILTER_ON_MS, false, another);
}

#include "logbenchmark.moc"
