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
/// doKillThreads() and the destructor end the workers in order, together within 1500 ms:
///
/// - First the workers are told to take in no new work, see AbstractWorker::isEnding().
/// - Then what is queued between the workers is carried out, for at most 1000 ms. So is what is queued for the
///   controller and its children, except in the destructor, because the derived class has gone by then. A service whose
///   controller has slots through which messages pass calls doStop() first, or lets its event loop end before.
/// - Then the workers are stopped, all at once. What one of them emits in its doStop() is not carried out by another. A
///   worker that is blocked, or has more queued than fits, is stopped ahead of its queue. When its thread ends, the
///   rest of the queue is dropped, and one warning says how many calls that were. After doStop() alone the stopped
///   worker carries out the rest, and a warning says how many calls that were.
///
/// <!-- quote: docs/snippets/reference/workers.cpp#controller -->
/// \code
/// class Door : public wexcor::AbstractWorkerController
/// {
///     Q_OBJECT
/// public:
///     Door() : AbstractWorkerController(nullptr) { }
///
///     void doStart() override
///     {
///         auto* const worker = new DoorWorker;
///         connect(worker, SIGNAL(looked()), this, SLOT(onLooked()), Qt::QueuedConnection);
///         if (QThread* const thread = addWorkerToThread(worker)) {
///             thread->start();
///         }
///     }
///
///     void processStartedWorker() override { QTextStream(stdout) << "started\n"; }
///
/// private Q_SLOTS:
///     void onLooked();
///
/// private:
///     int m_looks = 0;
/// };
/// \endcode
///
/// The limit does not include workers whose threads were never started: the caller deletes those one by one. No thread
/// is ever terminated by force. A worker that is blocked in a wait of its own for longer than the limit is stopped and
/// deleted in its own thread when that wait is over. The controller may have gone by then.
///
/// When the event loop of the application ends (QCoreApplication::aboutToQuit()), the workers take in nothing more, and
/// everything that is queued in the controller's thread is carried out. Up to 1000 ms are spent on what comes back from
/// the workers' threads meanwhile. The workers go on if the loop is run again. A controller may still exist when the
/// application's object is destroyed: a static one, one declared before the application, a child of the application.
/// Its workers are ended then, as by doKillThreads(). A controller in another thread than the application's must be
/// destroyed before the application.
class WEXCORCORE_EXPORT AbstractWorkerController : public QObject
{
    Q_OBJECT
public:
    /// Owns no worker yet. Lives in the calling thread.
    explicit AbstractWorkerController(QObject* parent);

    /// Stops the workers, ends their threads and deletes the workers, see doKillThreads().
    ~AbstractWorkerController() override;

    /// Implemented by the service: creates its workers, hands them over and starts their threads.
    virtual void doStart() = 0;

    /// Carries out what is queued, then runs doStop() of every worker in the worker's own thread. From then on
    /// restart() has no effect on the workers. The threads run until doKillThreads(), and carry out what is still
    /// queued. A worker whose thread has not been started is not stopped. It is not started either if its thread is
    /// started later.
    virtual void doStop();

    /// Stops the workers that are not stopped yet, ends their threads and deletes them, each worker in its own thread.
    /// Requests the threads' interruption, so that a long read in a worker is given up. Afterwards the controller owns
    /// no worker. New ones may be added.
    virtual void doKillThreads();

    /// Takes \a worker over: moves it to a new thread, in which its doStart() will run as soon as the thread is
    /// started.
    ///
    /// The worker belongs to the controller from now on, also when its thread is never started. The thread is the
    /// controller's too and is deleted with the worker. A service that quits the thread by itself gets its worker
    /// deleted without a doStop(). A worker that was added before keeps its thread.
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
    /// Calls the two hooks. A controller that overrides it passes on the events that it does not know.
    bool event(QEvent* event) override;

    /// For the destructor of a derived class that must take something down after the queues are empty and before the
    /// workers are stopped. Begins the end: the workers take in nothing more, and what is queued between them is
    /// carried out, together with what is queued for \a relay, which may be null. Blocks for up to 1000 ms. They are
    /// part of the 1500 ms of the base class's destructor.
    void workOff(QObject* relay);

private:
    const std::unique_ptr<AbstractWorkerControllerPrivate> d;
};

} // namespace wexcor

#endif // ABSTRACTWORKERCONTROLLER_H
