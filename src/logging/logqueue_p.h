#ifndef LOGQUEUE_P_H
#define LOGQUEUE_P_H

#include <QDeadlineTimer>

#include <atomic>
#include <memory>
#include <utility>

namespace tarvex {

/// Counts the messages that the bridge has made of log lines and that the query worker has not taken yet, and bounds
/// them: a worker that waits for a bus that hangs takes one in 30 s, and a service may log without end.
///
/// All operations may be called from any thread.
class LogQueue
{
public:
    /// So many messages wait at most.
    static constexpr int MAX_WAITING = 1000;

    /// \a waiting is where they are counted.
    explicit LogQueue(std::shared_ptr<std::atomic<int>> waiting) : m_waiting(std::move(waiting)) { }

    /// For the bridge, which has a line of \a messages messages. \return false when there is no room: the line is to be
    /// dropped, and is counted.
    bool admit(int messages)
    {
        if (*m_waiting + messages > MAX_WAITING && isStale()) {
            // A message that never reached the worker is still counted: the receiver's signals were blocked, say.
            *m_waiting = 0;
        }
        if ((*m_waiting += messages) <= MAX_WAITING) {
            return true;
        }
        *m_waiting -= messages;
        ++m_dropped;
        return false;
    }

    /// For the worker, which has taken a message.
    void leave()
    {
        m_lastLeave = now();
        // A service may send messages of its own that look like the bridge's.
        int waiting = *m_waiting;
        while (waiting > 0 && !m_waiting->compare_exchange_weak(waiting, waiting - 1)) { }
    }

    /// \return how many lines were dropped since the last time, but 0 until half of the room is free: told at the first
    /// free place, each line that goes out would bring about another one that says so.
    int takeDropped() { return *m_waiting <= MAX_WAITING / 2 ? m_dropped.exchange(0) : 0; }

private:
    /// No exchange takes longer: 30 s to write, 30 s until the reply begins, 60 s for its payload, and room.
    static constexpr qint64 STALE_MS = 150000;

    static qint64 now() { return QDeadlineTimer::current().deadline(); }

    bool isStale() const { return now() - m_lastLeave > STALE_MS; }

    const std::shared_ptr<std::atomic<int>> m_waiting;
    std::atomic<int> m_dropped{0};
    std::atomic<qint64> m_lastLeave{now()}; ///< On the monotonic clock, in ms.
};

} // namespace tarvex

#endif // LOGQUEUE_P_H
