#include "servicebenchmark.h"

#include "fakebus.h"
#include "require.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <csignal>
#include <future>
#include <new>
#include <sys/mman.h>
#include <sys/prctl.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds PATIENCE(20);
constexpr unsigned long POLL_MS = 10;
constexpr unsigned long REST_MS = 500;
/// For so long wake-ups are counted: longer than the 5000 ms after which a worker looks at a connection, and shorter
/// than the 10000 ms between two reports of the state.
constexpr unsigned long WATCH_MS = 7000;

/// One of the bus's ports, and the time at which the service's handshake came in on it. Every request is answered with
/// success.
class Port
{
public:
    explicit Port(quint16 number) : m_bus(number)
    {
        require(m_bus.isListening(), "a port of the bus is taken");
        m_bus.willAnswerHandshake([this](FakeBus::Peer& peer, const FakeBus::Request& handshake) {
            m_handshake.set_value(Clock::now());
            peer.send(FakeBus::replyFrame(handshake.operation, 0));
        });
        m_bus.willDo([this](FakeBus::Peer& peer, const FakeBus::Request& first) {
            FakeBus::Request request = first;
            do {
                m_reports += request.operation == QLatin1String("saveState") ? 1 : 0;
            } while (peer.send(FakeBus::replyFrame(request.operation, 0)) && peer.readRequest(request));
        });
    }

    Clock::time_point handshakeTime()
    {
        std::future<Clock::time_point> handshake = m_handshake.get_future();
        require(handshake.wait_for(PATIENCE) == std::future_status::ready, "the service has not sent its handshake");
        return handshake.get();
    }

    void waitForReport() const
    {
        const auto end = Clock::now() + PATIENCE;
        for (const int before = m_reports; m_reports == before;) {
            require(Clock::now() < end, "the service does not report its state");
            QThread::msleep(POLL_MS);
        }
    }

private:
    std::promise<Clock::time_point> m_handshake;
    std::atomic<int> m_reports{0};
    FakeBus m_bus; // the last member: it ends before the members that its threads use
};

/// The value of a line "Name:   123 kB".
double valueOf(const QByteArray& name, const QByteArray& text)
{
    const QList<QByteArray> lines = text.split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(name + ':')) {
            return line.mid(name.size() + 1).trimmed().split(' ').first().toDouble();
        }
    }
    require(false, "the system does not tell what a process takes");
    return 0;
}

/// The service's process. It also ends when this process ends in the middle of a run.
class EchoProcess : public QProcess
{
public:
    EchoProcess()
    {
        require(m_startTime != MAP_FAILED, "there is no memory to share with the service");
        setStandardOutputFile(nullDevice());
        setStandardErrorFile(nullDevice());
        start(QString::fromUtf8(ECHO_SERVICE), QStringList());
        require(waitForStarted(), "the service cannot be started");
    }

    ~EchoProcess() override
    {
        kill();
        waitForFinished();
        ::munmap(m_startTime, sizeof(Clock::time_point));
    }
    Q_DISABLE_COPY_MOVE(EchoProcess)

    /// When the new process began to run, just before it became the service. What comes before is not the service's: it
    /// depends on this process, and on a loaded machine the new one may have to wait for a processor.
    Clock::time_point startTime() const { return *static_cast<const Clock::time_point*>(m_startTime); }

    QByteArray status(const QString& name) const
    {
        QFile file(QStringLiteral("/proc/%1/%2").arg(processId()).arg(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QStringList threads() const
    {
        return QDir(QStringLiteral("/proc/%1/task").arg(processId())).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    }

    /// How often the system has switched away from one of the threads. If the number is the same twice, no thread has
    /// run in between.
    double switches() const
    {
        double sum = 0;
        const QStringList all = threads();
        for (const QString& thread : all) {
            const QByteArray status = this->status(QStringLiteral("task/%1/status").arg(thread));
            sum += valueOf("voluntary_ctxt_switches", status) + valueOf("nonvoluntary_ctxt_switches", status);
        }
        return sum;
    }

protected:
    void setupChildProcess() override
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        new (m_startTime) Clock::time_point(Clock::now());
    }

private:
    /// Shared with the new process, which writes its start time to it.
    void* const m_startTime =
        ::mmap(nullptr, sizeof(Clock::time_point), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
};

void waitForRest(const EchoProcess& echo)
{
    const auto end = Clock::now() + PATIENCE;
    double before = 0;
    double now = echo.switches();
    do {
        require(Clock::now() < end, "the service does not come to rest");
        before = now;
        QThread::msleep(REST_MS);
        now = echo.switches();
    } while (now != before);
}

/// How often the threads wake up between two reports of the state.
double countWakeUps(const EchoProcess& echo, const Port& query)
{
    query.waitForReport();
    waitForRest(echo);
    const double before = echo.switches();
    QThread::msleep(WATCH_MS);
    return echo.switches() - before;
}

/// One iteration is one start. The time ends when both handshakes have come in.
void runStartup(benchmark::State& state)
{
    for ([[maybe_unused]] auto _ : state) {
        Port query(FakeBus::QUERY_PORT);
        Port receiver(FakeBus::RECEIVER_PORT);
        const EchoProcess echo;
        const std::chrono::duration<double> toQuery = query.handshakeTime() - echo.startTime();
        const std::chrono::duration<double> toReceiver = receiver.handshakeTime() - echo.startTime();
        state.SetIterationTime(std::max(toQuery, toReceiver).count());
        state.counters["query"] = toQuery.count();
        state.counters["receiver"] = toReceiver.count();
    }
}

void runRest(benchmark::State& state)
{
    for ([[maybe_unused]] auto _ : state) {
        Port query(FakeBus::QUERY_PORT);
        Port receiver(FakeBus::RECEIVER_PORT);
        const EchoProcess echo;
        query.handshakeTime();
        receiver.handshakeTime();
        waitForRest(echo);
        const QByteArray memory = echo.status(QStringLiteral("smaps_rollup"));
        state.counters["rss"] = valueOf("Rss", memory);
        state.counters["pss"] = valueOf("Pss", memory);
        // Not Private_Dirty, which also counts the pages of libraries that were just built and are not on the disk yet.
        state.counters["written"] = valueOf("Anonymous", memory);
        state.counters["threads"] = echo.threads().size();
        state.counters["wakeups"] = countWakeUps(echo, query);
    }
}

} // namespace

void registerServiceBenchmarks()
{
    if (QByteArray(ECHO_SERVICE).isEmpty()) {
        return;
    }
    benchmark::RegisterBenchmark("startup/echo", runStartup)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("rest/echo", runRest)->Iterations(1)->Unit(benchmark::kMillisecond);
}
