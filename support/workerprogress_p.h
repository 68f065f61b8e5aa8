#ifndef WORKERPROGRESS_P_H
#define WORKERPROGRESS_P_H

#include <QtGlobal>

#include <condition_variable>
#include <mutex>
#include <optional>

class QDeadlineTimer;

namespace wexcor {

/// What a worker's thread has done. The controller waits for it.
class WorkerProgress
{
public:
    WorkerProgress() = default;
    Q_DISABLE_COPY_MOVE(WorkerProgress)

    /// Another marker is about to be sent. \return the number of markers so far, this one included.
    int addMarker();

    void passMarker();

    /// The worker has been stopped, or its thread has ended and will not stop it any more.
    void stopped();

    /// The same. The thread is about to end and has dropped \a dropped queued calls. \return how many of them the
    /// thread itself must report, because the controller does not wait any more.
    int left(int dropped);

    /// \return true when \a count markers have been passed, and when no more can be passed.
    bool waitForMarkers(int count, const QDeadlineTimer& deadline);

    bool waitForStop(const QDeadlineTimer& deadline);

    /// The controller does not wait any more. \return how many dropped calls it must report: the number that the thread
    /// has told, or \a known if the thread has not told one.
    int takeDropped(int known);

private:
    // Standard types: see threadsanitizer_p.h.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_sentMarkers = 0;
    int m_markers = 0;
    bool m_isStopped = false;
    int m_dropped = 0;
    std::optional<int> m_reported; ///< Set when the controller does not wait any more.
};

} // namespace wexcor

#endif // WORKERPROGRESS_P_H
