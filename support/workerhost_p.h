#ifndef WORKERHOST_P_H
#define WORKERHOST_P_H

#include <QBasicTimer>
#include <QEvent>
#include <QObject>
#include <QPointer>

#include <memory>
#include <mutex>

namespace wexcor {

class AbstractWorker;
class AbstractWorkerController;
class WorkerProgress;
struct WorkerState;

/// How often a thread looks again at what another one is doing, in ms.
constexpr int TURN_MS = 5;

/// What controllers and hosts tell each other. No event has contents, see threadsanitizer_p.h.
struct EventTypes
{
    const QEvent::Type marker = registered();      ///< To a host. What was queued before it has been carried out.
    const QEvent::Type stopWorker = registered();  ///< To a host.
    const QEvent::Type endThread = registered();   ///< To a host, which stops its worker first.
    const QEvent::Type backlogDone = registered(); ///< From a host to itself. What was queued before the stop is done.
    const QEvent::Type workerStarted = registered(); ///< To a controller.
    const QEvent::Type workerStopped = registered(); ///< To a controller.
    const QEvent::Type resume = registered();        ///< To a controller. The event loop runs again after its end.

private:
    static QEvent::Type registered() { return static_cast<QEvent::Type>(QEvent::registerEventType()); }
};

const EventTypes& eventTypes();

/// The workers' threads reach the controller through this, because the controller may have gone by then.
class ControllerLink
{
public:
    explicit ControllerLink(AbstractWorkerController* controller) : m_controller(controller) { }
    Q_DISABLE_COPY_MOVE(ControllerLink)

    void cut();
    void notify(QEvent::Type type);

private:
    std::mutex m_mutex;
    AbstractWorkerController* m_controller;
};

/// Logs that \a count queued calls were dropped, unless there were none.
void reportDropped(int count);

/// Lives in the worker's thread and owns the worker. It outlives the controller if the worker is blocked.
class WorkerHost : public QObject
{
public:
    WorkerHost(AbstractWorker* worker, std::shared_ptr<WorkerState> state, std::shared_ptr<ControllerLink> link,
               std::shared_ptr<WorkerProgress> progress);
    ~WorkerHost() override;

    void start();

    /// Runs last in the worker's thread. If the thread ends by itself, a stop that was posted is not delivered any
    /// more, so the worker is stopped here.
    void finish();

    bool event(QEvent* event) override;

private:
    void passOrHoldMarker();
    void sendHeldMarkersAgain();
    void stopAheadOfBacklog();
    void endBacklog();
    void stop();
    void leave();

    const QPointer<AbstractWorker> m_worker;
    const std::shared_ptr<WorkerState> m_state;
    const std::shared_ptr<ControllerLink> m_link;
    const std::shared_ptr<WorkerProgress> m_progress;
    bool m_isStopped = false;
    bool m_hasLeft = false;
    QBasicTimer m_holdTimer;
    int m_heldMarkers = 0; ///< Not passed yet, because a call of the worker waits in an event loop of its own.
};

} // namespace wexcor

#endif // WORKERHOST_P_H
