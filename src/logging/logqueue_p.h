#ifndef LOGQUEUE_P_H
#define LOGQUEUE_P_H

#include <QDeadlineTimer>

#include <atomic>
#include <memory>
#include <utility>

namespace tarvex {

/// Counts the messages that the bridge has made of log lines and that the query worker has not taken yet. It limits
/// their number, because a worker that waits for a bus that hangs takes one message in 30 s, and a service may log
/// without end.
///
/// All operations may be called from any thread.
class LogQueue
{
public:
    /// At most this many messages wait.
    static constexpr int MAX_WAITING = 1000;

    /// \a waiting is the counter of the messages.
    explicit LogQueue(std::shared_ptr<std::atomic<int>> waiting) : m_waiting(std::move(waiting)) { }

    /// The bridge calls it for a line of \a messages messages. \return false when there is no room. The bridge must
    /// then drop the line; the line is counted here.
    bool admit(int messages)
    {
        if (*m_waiting + messages > MAX_WAITING && isStale()) {
            // A message that never reached the worker is still counted, for example if the receiver's signals were
            // blocked.
            *m_waiting = 0;
        }
        if ((*m_waiting += messages) <= MAX_WAITING) {
            return true;
        }
        *m_waiting -= messages;
        ++m_dropped;
        return false;
    }

    /// The worker calls it when it has taken a message.
    void leave()
    {
        m_lastLeave = now();
        // Not below zero, because a service may send messages of its own that look like the bridge's.
        int waiting = *m_waiting;
        while (waiting > 0 && !m_waiting->compare_exchange_weak(waiting, waiting - 1)) { }
    }

    /// \return how many lines were dropped since the last call, but 0 until half of the room is free. If it were told
    /// at the first free place, each line that is sent would cause one more line about dropped lines.
    int takeDropped() { return *m_waiting <= MAX_WAITING / 2 ? m_dropped.exchange(0) : 0; }

private:
    /// No exchange takes longer: 30 s to write, 30 s until the reply begins, 60 s for its payload, and a reserve.
    static constexpr qint64 STALE_MS = 150000;

    static qint64 now() { return QDeadlineTimer::current().deadline(); }

    bool isStale() const { return now() - m_lastLeave > STALE_MS; }

    const std::shared_ptr<std::atomic<int>> m_waiting;
    std::atomic<int> m_dropped{0};
    std::atomic<qint64> m_lastLeave{now()}; ///< On the monotonic clock, in ms.
};

} // namespace tarvex

#endif // LOGQUEUE_P_H
