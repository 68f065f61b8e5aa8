#ifndef ABSTRACTWORKER_H
#define ABSTRACTWORKER_H

#include "wexcorcore_export.h"

#include <QObject>

#include <atomic>
#include <memory>

namespace wexcor {

class AbstractWorkerController;
class WorkerHost;
struct WorkerState;

/// An object that does its work in a thread of its own.
///
/// A worker is made without a parent and handed to AbstractWorkerController::addWorkerToThread(), to which it belongs
/// from then on. doStart() and doStop() run in the worker's thread, never at the same time. Whatever the worker creates
/// in its constructor must be its child, so that it moves to the thread together with the worker.
///
/// <!-- quote: docs/snippets/reference/workers.cpp#worker -->
/// \code
/// class DoorWorker : public wexcor::AbstractWorker
/// {
///     Q_OBJECT
/// public:
///     DoorWorker() { connect(&m_timer, SIGNAL(timeout()), this, SLOT(look())); }
///
///     bool doStart() override
///     {
///         m_timer.start(10);
///         return true;
///     }
///
///     bool doStop() override
///     {
///         m_timer.stop();
///         return true;
///     }
///
/// Q_SIGNALS:
///     void looked();
///
/// private Q_SLOTS:
///
///     void look() { Q_EMIT looked(); }
///
/// private:
///     QTimer m_timer{this}; // A child, so that it moves to the worker's thread.
/// };
/// \endcode
class WEXCORCORE_EXPORT AbstractWorker : public QObject
{
    Q_OBJECT
public:
    AbstractWorker(); ///< Without a parent, in the calling thread.
    ~AbstractWorker() override;

    /// Starts the work. Called when the worker's thread starts, and after doStop() on every restart().
    /// \return whether it started; the framework carries on either way.
    virtual bool doStart() = 0;

    /// Stops the work. Called on every restart(), whatever doStart() returned, and when the controller stops the
    /// worker. \return whether it stopped; on a restart() doStart() follows either way.
    virtual bool doStop() = 0;

    /// True once the controller has begun to end the worker. What is queued is still carried out, but the worker must
    /// take in no new work, for instance from a connection or a device. doStop() follows. May be called from any
    /// thread.
    bool isEnding() const;

public Q_SLOTS:
    /// Stops the worker and starts it again, both in its own thread. Returns at once.
    ///
    /// May be called from any thread. One doStop() and doStart() are queued to the worker's thread. Calls that are made
    /// while they are queued add nothing. Nothing happens once the controller has stopped the worker. A call that the
    /// worker makes inside the doStop() of a restart adds nothing either, because doStart() follows. A call that it
    /// makes inside doStart() asks for another round.
    void restart();

protected:
    /// Carries out restart(). A worker that overrides it passes on the events that it does not know.
    bool event(QEvent* event) override;

    /// How many calls wait in the worker's queue. Only those count that the library itself has queued and counted.
    std::shared_ptr<std::atomic<int>> waitingCalls() const;

private:
    friend class AbstractWorkerController;
    friend class WorkerHost;
    void runRestart();

    std::atomic<bool> m_restartQueued{false};
    const std::shared_ptr<WorkerState> m_state;
    bool m_stoppingToRestart = false; ///< Used in the worker's thread only.
};

} // namespace wexcor

#endif // ABSTRACTWORKER_H
