#ifndef ABSTRACTWORKERCONTROLLER_H
#define ABSTRACTWORKERCONTROLLER_H

#include "wexcorcore_export.h"

#include <QObject>

#include <memory>

class QThread;

namespace wexcor {

class AbstractWorker;
class AbstractWorkerControllerPrivate;

/// Owns workers and the threads in which they run.
///
/// Lives in the thread that created it (a service's main thread); all operations are called there. doStop(),
/// doKillThreads() and the destructor wait for the workers, together for 1500 ms at most. Not counted is what the
/// destructors of workers take whose threads were never started: those are deleted by the caller, one after the other.
/// No thread is ever terminated by force: a worker that is blocked in a wait of its own for longer is stopped and
/// deleted in its own thread when that wait is over, on its own, after the controller has gone.
class WEXCORCORE_EXPORT AbstractWorkerController : public QObject
{
    Q_OBJECT
public:
    explicit AbstractWorkerController(QObject* parent);

    /// Stops the workers, ends their threads and deletes the workers, see doKillThreads().
    ~AbstractWorkerController() override;

    /// Implemented by the service: creates its workers, hands them over and starts their threads.
    virtual void doStart() = 0;

    /// Runs doStop() of every worker in the worker's own thread, ahead of what is queued there; from then on restart()
    /// has no effect on them. The threads go on running until doKillThreads(). A worker whose thread has not been
    /// started is not stopped; it does not start any more either when its thread is started later.
    virtual void doStop();

    /// Stops the workers that are not stopped yet, ends their threads and deletes them, each worker in its own thread.
    /// Requests the threads' interruption, so that a long read in a worker is given up. Afterwards the controller owns
    /// no worker; new ones may be added.
    virtual void doKillThreads();

    /// Takes \a worker over: moves it to a new thread, in which its doStart() will run as soon as the thread is
    /// started.
    ///
    /// The worker belongs to the controller from now on, also when its thread is never started. The thread is the
    /// controller's too and is deleted with the worker. A worker that was added before keeps its thread.
    /// \return the thread, which the caller starts; null when \a worker is null, has a parent, or lives in another
    /// thread than the caller's (the worker then stays the caller's).
    virtual QThread* addWorkerToThread(wexcor::AbstractWorker* worker);

    /// Called in the controller's thread, from its event loop, after a worker's first doStart() has returned. The
    /// default does nothing.
    virtual void processStartedWorker();

    /// Called in the controller's thread, from its event loop, after the controller has stopped a worker; not called
    /// any more once the destructor has begun. The default does nothing.
    virtual void processStoppedWorker();

protected:
    /// Calls the two hooks; a controller that overrides it passes on the events that it does not know.
    bool event(QEvent* event) override;

private:
    const std::unique_ptr<AbstractWorkerControllerPrivate> d;
};

} // namespace wexcor

#endif // ABSTRACTWORKERCONTROLLER_H
