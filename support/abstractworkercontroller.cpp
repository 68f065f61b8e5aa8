#include "abstractworkercontroller.h"

#include "abstractworker.h"
#include "survivingcontrollers_p.h"
#include "workerhost_p.h"
#include "workerlist_p.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QPointer>
#include <QThread>

#include <functional>
#include <optional>
#include <utility>

namespace wexcor {

namespace {

// Long enough for an ordinary stop on a loaded machine: closing a connection takes 100 ms. Short enough that a
// supervisor does not kill the service because it does not end.
constexpr int STOP_TIMEOUT_MS = 1500;
/// What remains of that for the stop itself if the workers do not get through their queues.
constexpr int STOP_SHARE_MS = 500;

/// Carries out the calls that are queued for \a object and for what it owns.
void deliverTo(QObject* object)
{
    if (object == nullptr) {
        return;
    }
    QList<QPointer<QObject>> receivers{object};
    const QList<QObject*> children = object->findChildren<QObject*>();
    for (QObject* const child : children) {
        receivers.append(child);
    }
    for (const QPointer<QObject>& receiver : qAsConst(receivers)) {
        if (receiver && receiver->thread() == QThread::currentThread()) {
            QCoreApplication::sendPostedEvents(receiver, QEvent::MetaCall);
        }
    }
}

/// Carries out all calls that are queued in this thread.
void deliverToAll()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
}

} // namespace

/// Controls the end of the workers: its time limits, its order, and what is dropped.
class AbstractWorkerControllerPrivate
{
public:
    explicit AbstractWorkerControllerPrivate(AbstractWorkerController* controller)
        : link(std::make_shared<ControllerLink>(controller)), m_controller(controller)
    {
    }

    ~AbstractWorkerControllerPrivate() { SurvivingControllers::instance().remove(m_controller); }
    Q_DISABLE_COPY_MOVE(AbstractWorkerControllerPrivate)

    void hearOfTheApplicationsEnd();
    void workOff(const std::function<void()>& deliver);
    void resume();
    void stop();
    int killThreads();
    int dropOwnCalls();

    /// Whether the time is over in which the controller's own queued calls are carried out.
    bool isOverdue() const { return m_workOffDeadline && m_workOffDeadline->hasExpired(); }

    WorkerList workers;
    const std::shared_ptr<ControllerLink> link;
    bool dropsCalls = false; ///< Calls that are queued for the controller are counted and not carried out.
    int droppedCalls = 0;

private:
    bool livesHere() const { return m_controller->thread() == QThread::currentThread(); }

    void pause();
    void endWithTheApplication();
    QDeadlineTimer takeDeadline(int otherwiseMs);

    AbstractWorkerController* const m_controller;
    QPointer<QCoreApplication> m_application; ///< The one whose end the controller hears of.
    /// The time limit of the whole end. workOff() sets it when it begins the end.
    std::optional<QDeadlineTimer> m_deadline;
    std::optional<QDeadlineTimer> m_workOffDeadline; ///< Set while workOff() runs.
    /// The application's event loop has ended. The workers take nothing in until it runs again.
    bool m_isPaused = false;
    bool m_isStuck = false; ///< The workers did not get through their queues when the loop ended.
};

void AbstractWorkerControllerPrivate::hearOfTheApplicationsEnd()
{
    SurvivingControllers::instance().add(m_controller, [this] { endWithTheApplication(); });
    QCoreApplication* const application = QCoreApplication::instance();
    if (application != nullptr && application != m_application && application->thread() == m_controller->thread()) {
        m_application = application;
        QObject::connect(application, &QCoreApplication::aboutToQuit, m_controller, [this] { pause(); });
    }
}

/// Begins the end. The workers take nothing in any more, and what is queued is carried out as far as the time allows.
/// \a deliver carries out the calls that are queued in this thread.
void AbstractWorkerControllerPrivate::workOff(const std::function<void()>& deliver)
{
    if (m_deadline) {
        return;
    }
    // If the workers were stuck a moment ago, they are not waited for again.
    m_deadline = QDeadlineTimer(m_isStuck ? STOP_SHARE_MS : STOP_TIMEOUT_MS);
    if (m_isStuck) {
        return;
    }
    const QPointer<AbstractWorkerController> controller(m_controller);
    const QDeadlineTimer deadline(STOP_TIMEOUT_MS - STOP_SHARE_MS);
    m_workOffDeadline = deadline;
    workers.carryOutQueues(deadline, deliver);
    // A call that was carried out may have destroyed the controller, and this object with it.
    if (controller) {
        m_workOffDeadline.reset();
    }
}

/// Called when the application's event loop has ended. Mostly that is the end of the service. From now on this thread
/// would carry out nothing that comes in, so the workers take nothing in. What has come in already is carried out now,
/// because the objects that it is meant for are gone later, in the destructors.
void AbstractWorkerControllerPrivate::pause()
{
    // What is carried out may destroy the controller, and this object with it.
    const QPointer<AbstractWorkerController> controller(m_controller);
    const bool isStuck = !workers.carryOutQueues(QDeadlineTimer(STOP_TIMEOUT_MS - STOP_SHARE_MS), deliverToAll);
    if (!controller) {
        return;
    }
    m_isStuck = isStuck;
    if (!std::exchange(m_isPaused, true)) {
        QCoreApplication::postEvent(m_controller, new QEvent(eventTypes().resume));
    }
}

void AbstractWorkerControllerPrivate::resume()
{
    if (m_deadline) {
        return; // An event loop that runs inside the end does not mean that the service goes on.
    }
    m_isPaused = false;
    m_isStuck = false;
    workers.resume();
}

/// There may be no deadline any more, because a call that the end has carried out may have ended the workers itself.
QDeadlineTimer AbstractWorkerControllerPrivate::takeDeadline(int otherwiseMs)
{
    return std::exchange(m_deadline, std::nullopt).value_or(QDeadlineTimer(otherwiseMs));
}

void AbstractWorkerControllerPrivate::stop()
{
    workers.stop(takeDeadline(0));
}

/// \return how many queued calls were dropped.
int AbstractWorkerControllerPrivate::killThreads()
{
    return workers.end(takeDeadline(STOP_SHARE_MS));
}

/// \return how many calls were queued for the controller itself.
int AbstractWorkerControllerPrivate::dropOwnCalls()
{
    if (livesHere()) {
        dropsCalls = true;
        QCoreApplication::sendPostedEvents(m_controller, QEvent::MetaCall);
    }
    return droppedCalls;
}

void AbstractWorkerControllerPrivate::endWithTheApplication()
{
    if (!livesHere()) {
        return;
    }
    // What is carried out may destroy the controller, and this object with it.
    const QPointer<AbstractWorkerController> controller(m_controller);
    workOff(deliverToAll);
    if (controller) {
        reportDropped(killThreads());
    }
}

AbstractWorkerController::AbstractWorkerController(QObject* parent)
    : QObject(parent), d(std::make_unique<AbstractWorkerControllerPrivate>(this))
{
}

AbstractWorkerController::~AbstractWorkerController()
{
    d->link->cut();
    // What is queued for this object is not carried out here, because the derived class has gone already.
    d->workOff([] {});
    const int dropped = d->killThreads();
    reportDropped(dropped + d->dropOwnCalls());
}

void AbstractWorkerController::doStop()
{
    const QPointer<AbstractWorkerController> self(this);
    d->workOff([self] { deliverTo(self); });
    if (self) {
        d->stop();
        reportDropped(std::exchange(d->droppedCalls, 0));
    }
}

void AbstractWorkerController::doKillThreads()
{
    const QPointer<AbstractWorkerController> self(this);
    d->workOff([self] { deliverTo(self); });
    if (self) {
        reportDropped(d->killThreads() + std::exchange(d->droppedCalls, 0));
    }
}

QThread* AbstractWorkerController::addWorkerToThread(wexcor::AbstractWorker* worker)
{
    if (worker == nullptr) {
        return nullptr;
    }
    if (const std::optional<QThread*> thread = d->workers.threadOf(worker->m_state)) {
        return *thread;
    }
    if (worker->parent() != nullptr || worker->thread() != QThread::currentThread()) {
        return nullptr;
    }

    d->hearOfTheApplicationsEnd();
    return d->workers.add(worker, worker->m_state, d->link);
}

void AbstractWorkerController::workOff(QObject* relay)
{
    d->workOff([relay] {
        if (relay != nullptr) {
            QCoreApplication::sendPostedEvents(relay, QEvent::MetaCall);
        }
    });
}

void AbstractWorkerController::processStartedWorker() { }

void AbstractWorkerController::processStoppedWorker() { }

bool AbstractWorkerController::event(QEvent* event)
{
    if (event->type() == eventTypes().workerStarted) {
        processStartedWorker();
    } else if (event->type() == eventTypes().workerStopped) {
        processStoppedWorker();
    } else if (event->type() == eventTypes().resume) {
        d->resume();
    } else if (event->type() == QEvent::MetaCall && (d->dropsCalls || d->isOverdue())) {
        ++d->droppedCalls;
    } else {
        return QObject::event(event);
    }
    return true;
}

} // namespace wexcor
