#ifndef WORKERLIST_P_H
#define WORKERLIST_P_H

#include <QEvent>
#include <QPointer>
#include <QThread>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QDeadlineTimer;

namespace wexcor {

class AbstractWorker;
class ControllerLink;
class WorkerHost;
class WorkerProgress;
struct WorkerState;

/// The workers of one controller, each with its thread. Its operations act on all workers at once.
class WorkerList
{
public:
    /// Moves \a worker to a new thread. \a state is the worker's state. \return the thread.
    QThread* add(AbstractWorker* worker, const std::shared_ptr<WorkerState>& state,
                 const std::shared_ptr<ControllerLink>& link);

    /// \return the thread of the worker with this state; null when the thread has ended; nothing when no such worker
    /// was added.
    std::optional<QThread*> threadOf(const std::shared_ptr<WorkerState>& state) const;

    /// Tells the running workers to take in nothing more, and waits until what is queued for them is carried out.
    /// \a deliver carries out the calls that are queued in the calling thread.
    /// \return false when the time was not enough.
    bool carryOutQueues(const QDeadlineTimer& deadline, const std::function<void()>& deliver);

    /// Lets the workers that are not retired take in new work again.
    void resume();

    /// Stops all workers, and waits for the ones whose threads run.
    void stop(const QDeadlineTimer& deadline);

    /// Stops all workers, ends their threads and empties the list. \return how many queued calls were dropped.
    int end(const QDeadlineTimer& deadline);

private:
    struct Entry
    {
        std::shared_ptr<WorkerState> state; ///< Identifies the worker, also after the worker has gone.
        std::shared_ptr<WorkerProgress> progress;
        WorkerHost* host;         ///< Deleted together with the thread object.
        QPointer<QThread> thread; ///< Deletes itself once it has ended.
    };

    static bool isRunning(const Entry& entry);
    static void postStop(const Entry& entry, QEvent::Type type);
    static bool endThread(const Entry& entry, const QDeadlineTimer& deadline);
    static int endWorker(const Entry& entry, const QDeadlineTimer& deadline);
    static bool passMarkers(const std::vector<Entry>& running, const QDeadlineTimer& deadline,
                            const std::function<void()>& deliver);

    std::vector<Entry> m_entries;
};

} // namespace wexcor

#endif // WORKERLIST_P_H
