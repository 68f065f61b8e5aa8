#include "boundedwork.h"
#include "busclient.h"
#include "exchange.h"
#include "interrupts.h"
#include "output.h"
#include "programwords.h"
#include "sample.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace tarvexctl {

namespace {

constexpr int DEFAULT_COUNT = 100;
constexpr int MAX_INTERVAL_MS = 60000;
/// An exchange that has an answer takes less than this.
constexpr std::chrono::milliseconds EXCHANGE_PATIENCE{500};

/// The exchanges, in a thread of their own, because each of them blocks it.
class Exchanges
{
public:
    Exchanges(QString clientName, int count, int intervalMs)
        : m_clientName(std::move(clientName)), m_count(count), m_intervalMs(intervalMs)
    {
    }

    /// To be run in the thread. Returns after the last exchange, after one that has failed, or after stop().
    void run();
    /// Starts no further exchange. \return whether run() ends now; otherwise it waits for an answer
    bool stop();

    // These may be asked at any time.

    bool isOver();
    Sample sample();
    std::optional<Failure> failure();

private:
    bool exchange(BusClient& bus);

    const QString m_clientName;
    const int m_count;
    const int m_intervalMs;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    Sample m_sample;
    std::optional<Failure> m_failure;
    bool m_isStopped = false;
    bool m_isOver = false;
};

void Exchanges::run()
{
    std::optional<Failure> failure;
    try {
        BusClient bus(m_clientName);
        while (exchange(bus)) { }
    } catch (const Failure& reason) {
        failure = reason;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_failure = failure;
    m_isOver = true;
    m_changed.notify_all();
}

/// Makes one exchange and the pause after it. \return whether another one is to follow
bool Exchanges::exchange(BusClient& bus)
{
    const double milliseconds = measureExchange(bus, m_clientName);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_sample.add(milliseconds);
    return m_sample.size() < m_count
        && !m_changed.wait_for(lock, std::chrono::milliseconds(m_intervalMs), [this] { return m_isStopped; });
}

bool Exchanges::stop()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_isStopped = true;
    m_changed.notify_all();
    return m_changed.wait_for(lock, EXCHANGE_PATIENCE, [this] { return m_isOver; });
}

bool Exchanges::isOver()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isOver;
}

Sample Exchanges::sample()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_sample;
}

std::optional<Failure> Exchanges::failure()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_failure;
}

/// Watches the exchanges from the main thread.
class Watch
{
public:
    explicit Watch(Exchanges& exchanges) : m_exchanges(exchanges)
    {
        QObject::connect(&m_interrupts, &InterruptWatcher::interrupted, &m_loop, [this] {
            m_isInterrupted = true;
            m_loop.quit();
        });
        QObject::connect(&m_look, &QTimer::timeout, &m_loop, [this] {
            if (m_exchanges.isOver()) {
                m_loop.quit();
            }
        });
    }

    /// Returns when the exchanges are over, when the time is over, or after a signal. \return whether it was a signal
    bool wait(const std::optional<int>& timeoutMs)
    {
        constexpr int LOOK_INTERVAL_MS = 10;
        m_look.start(LOOK_INTERVAL_MS);
        if (timeoutMs) {
            QTimer::singleShot(*timeoutMs, Qt::PreciseTimer, &m_loop, &QEventLoop::quit);
        }
        m_loop.exec();
        return m_isInterrupted;
    }

private:
    Exchanges& m_exchanges;
    InterruptWatcher m_interrupts;
    QEventLoop m_loop;
    QTimer m_look;
    bool m_isInterrupted = false;
};

class Ping : public Verb
{
public:
    Ping() : Verb("ping", Words::mark("Measures how long the bus takes to answer")) { }

    void addOptions(CLI::App& parser) override
    {
        m_interval.addTo(parser);
        m_limits.addTo(parser);
        addExample(parser, "tarvexctl ping --count 1000 --interval 1");
    }

    void run(const Context& context) const override
    {
        const Limits limits = m_limits.limits();
        const int count = limits.count.value_or(DEFAULT_COUNT);
        const auto exchanges = std::make_shared<Exchanges>(context.clientName, count, intervalMs());
        std::thread thread([exchanges] { exchanges->run(); });
        const bool isInterrupted = Watch(*exchanges).wait(limits.timeoutMs);
        const bool hasEnded = exchanges->stop();
        hasEnded ? thread.join() : thread.detach();

        const Sample sample = exchanges->sample();
        write(sample, context.output);
        const std::optional<Failure> failure = isInterrupted ? Failure(Interrupted, Words::tr("interrupted"))
                                                             : failureOf(*exchanges, sample, count, limits);
        if (failure && !hasEnded) {
            tellFailure(failure->words());
            leaveAtOnce(failure->status());
        }
        if (failure) {
            throw *failure;
        }
    }

private:
    int intervalMs() const
    {
        const QString text = m_interval.text().value_or(QStringLiteral("10"));
        bool isNumber = false;
        const int interval = text.toInt(&isNumber);
        if (!isNumber || interval < 0 || interval > MAX_INTERVAL_MS) {
            throw Failure(WrongUse,
                          Words::tr("--interval must be a whole number of milliseconds from 0 to %1, not \"%2\"")
                              .arg(QString::number(MAX_INTERVAL_MS), text));
        }
        return interval;
    }

    static void write(const Sample& sample, Output& output)
    {
        if (sample.size() == 0) {
            return;
        }
        if (output.isJson()) {
            output.writeObject(sampleObject(sample));
        } else {
            output.writeRecord(sampleText(sample));
        }
    }

    static std::optional<Failure> failureOf(Exchanges& exchanges, const Sample& sample, int count, const Limits& limits)
    {
        if (std::optional<Failure> failure = exchanges.failure()) {
            return failure;
        }
        if (sample.size() < count) {
            Tally tally({count, limits.timeoutMs});
            for (int i = 0; i < sample.size(); ++i) {
                tally.add();
            }
            return Failure(TimedOut, tally.missingWords(Words::tr("no answer came")));
        }
        return std::nullopt;
    }

    OptionalText m_interval{"--interval",
                            Words::mark("The pause between two exchanges, in milliseconds; 10 without it"), "MS"};
    LimitOptions m_limits{Words::mark("Ends after so many exchanges; 100 without it")};
};

} // namespace

std::unique_ptr<Verb> makePing()
{
    return std::make_unique<Ping>();
}

} // namespace tarvexctl
