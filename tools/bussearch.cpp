#include "bussearch.h"

#include "boundedwork.h"
#include "busclient.h"
#include "output.h"
#include "programwords.h"
#include "tally.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace tarvexctl {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds RETRY_PAUSE{100};
/// A try that fails takes less than this. A try that takes longer waits for an answer.
constexpr milliseconds TRY_PATIENCE{500};

QString hangingWords()
{
    return Words::tr("something is there, but does not answer");
}

/// Tries to reach the bus, in a thread of its own because the library's waits block.
class Search
{
public:
    explicit Search(const QString& clientName) : m_clientName(clientName) { }

    /// To be run in the thread. Returns when a bus has answered, or after end().
    void run();

    /// Waits until a bus has answered, for this time at most.
    void wait(milliseconds time);
    /// Makes run() try no more. \return whether run() ends now; otherwise its present try hangs.
    bool end();

    // Ask these after end().

    bool isFound();
    /// Why the last try failed. Empty when it hangs.
    QString lastWords();

private:
    const QString m_clientName;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    QString m_lastWords;
    bool m_isTrying = false;
    bool m_isFound = false;
    bool m_isEnded = false;
};

void Search::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_isFound && !m_isEnded) {
        m_isTrying = true;
        m_lastWords.clear();
        lock.unlock();
        QString words;
        try {
            const BusClient bus(m_clientName);
        } catch (const Failure& failure) {
            // A try that ends by the library's time-out has seen the same as a try that still waits.
            words = failure.status() == TimedOut ? hangingWords() : failure.words();
        }
        lock.lock();
        m_isTrying = false;
        m_isFound = words.isEmpty();
        m_lastWords = words;
        m_changed.notify_all();
        m_changed.wait_for(lock, RETRY_PAUSE, [this] { return m_isFound || m_isEnded; });
    }
}

void Search::wait(milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, time, [this] { return m_isFound; });
}

bool Search::end()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_isEnded = true;
    m_changed.notify_all();
    return m_changed.wait_for(lock, TRY_PATIENCE, [this] { return !m_isTrying; });
}

bool Search::isFound()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isFound;
}

QString Search::lastWords()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastWords;
}

} // namespace

void waitForBus(const QString& clientName, int timeoutMs)
{
    Search search(clientName);
    std::thread thread(&Search::run, &search);
    search.wait(milliseconds(timeoutMs));
    const bool hasEnded = search.end();
    const QString words = Words::tr("no bus has answered within %1: %2").arg(secondsText(timeoutMs));
    if (!hasEnded) {
        tellFailure(words.arg(hangingWords()));
        leaveAtOnce(TimedOut);
    }
    thread.join();
    if (!search.isFound()) {
        throw Failure(TimedOut, words.arg(search.lastWords()));
    }
}

void requireBus(const QString& clientName, int timeoutMs)
{
    if (!runWithin(timeoutMs, [clientName] { const BusClient bus(clientName); })) {
        throw Failure(TimedOut, hangingWords());
    }
}

} // namespace tarvexctl
