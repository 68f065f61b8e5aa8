#include "servicebenchmark.h"

#include "fakebus.h"
#include "require.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <benchmark/benchmark.h>
#include <chrono>
#include <csignal>
#include <future>
#include <sys/prctl.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds PATIENCE(20);
constexpr unsigned long REST_MS = 500;

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
        m_bus.willDo([](FakeBus::Peer& peer, const FakeBus::Request& first) {
            FakeBus::Request request = first;
            while (peer.send(FakeBus::replyFrame(request.operation, 0)) && peer.readRequest(request)) { }
        });
    }

    Clock::time_point handshakeTime()
    {
        std::future<Clock::time_point> handshake = m_handshake.get_future();
        require(handshake.wait_for(PATIENCE) == std::future_status::ready, "the service has not sent its handshake");
        return handshake.get();
    }

private:
    std::promise<Clock::time_point> m_handshake;
    FakeBus m_bus; // the last member: it ends before the members that its threads use
};

/// The service's process. It also ends when this process ends in the middle of a run.
class EchoProcess : public QProcess
{
public:
    EchoProcess()
    {
        setStandardOutputFile(nullDevice());
        setStandardErrorFile(nullDevice());
        start(QString::fromUtf8(ECHO_SERVICE), QStringList());
        require(waitForStarted(), "the service cannot be started");
    }

    ~EchoProcess() override
    {
        kill();
        waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(EchoProcess)

    QByteArray status(const QString& name) const
    {
        QFile file(QStringLiteral("/proc/%1/%2").arg(processId()).arg(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QStringList threads() const
    {
        return QDir(QStringLiteral("/proc/%1/task").arg(processId())).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    }

    /// How often the system has switched to each of the threads, as text. If the text is the same twice, no thread has
    /// run in between.
    QByteArray switches() const
    {
        QByteArray text;
        const QStringList all = threads();
        for (const QString& thread : all) {
            const QByteArray status = this->status(QStringLiteral("task/%1/status").arg(thread));
            text += status.mid(status.indexOf("\nvoluntary_ctxt_switches"));
        }
        return text;
    }

protected:
    void setupChildProcess() override { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }
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

void waitForRest(const EchoProcess& echo)
{
    const auto end = Clock::now() + PATIENCE;
    QByteArray before;
    QByteArray now = echo.switches();
    do {
        require(Clock::now() < end, "the service does not come to rest");
        before = now;
        QThread::msleep(REST_MS);
        now = echo.switches();
    } while (now != before);
}

/// One iteration is one start. The time ends when both handshakes have come in.
void runStartup(benchmark::State& state)
{
    for ([[maybe_unused]] auto _ : state) {
        Port query(FakeBus::QUERY_PORT);
        Port receiver(FakeBus::RECEIVER_PORT);
        const auto begin = Clock::now();
        const EchoProcess echo;
        const std::chrono::duration<double> toQuery = query.handshakeTime() - begin;
        const std::chrono::duration<double> toReceiver = receiver.handshakeTime() - begin;
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
        state.counters["written"] = valueOf("Private_Dirty", memory);
        state.counters["threads"] = echo.threads().size();
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
