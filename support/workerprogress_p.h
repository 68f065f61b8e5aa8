#ifndef WORKERPROGRESS_P_H
#define WORKERPROGRESS_P_H

#include <QtGlobal>

#include <condition_variable>
#include <mutex>
#include <optional>

class QDeadlineTimer;

namespace wexcor {

/// What a worker's thread has done of what the controller waits for.
class WorkerProgress
{
public:
    WorkerProgress() = default;
    Q_DISABLE_COPY_MOVE(WorkerProgress)

    /// Another marker is about to be sent. \return how many that makes.
    int addMarker();

    void passMarker();

    /// The worker has been stopped, or will not be any more because its thread has ended.
    void stopped();

    /// The same, and the thread is about to end: \a dropped queued calls were dropped. \return how many of them the
    /// thread itself is to report, because the controller waits no longer.
    int left(int dropped);

    /// \return whether \a count markers have been passed, or no more can be.
    bool waitForMarkers(int count, const QDeadlineTimer& deadline);

    bool waitForStop(const QDeadlineTimer& deadline);

    /// The controller waits no longer. \return how many calls it is to report: those that the thread has dropped, or
    /// \a known if the thread has not come so far.
    int takeDropped(int known);

private:
    // Standard types: see threadsanitizer_p.h.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_sentMarkers = 0;
    int m_markers = 0;
    bool m_isStopped = false;
    int m_dropped = 0;
    std::optional<int> m_reported; ///< Set when the controller has ceased to wait.
};

} // namespace wexcor

#endif // WORKERPROGRESS_P_H
