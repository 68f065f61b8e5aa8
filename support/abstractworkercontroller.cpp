#include "abstractworkercontroller.h"

#include "abstractworker.h"
#include "workerstate_p.h"

#include <QBasicTimer>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QEvent>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace wexcor {

namespace {

// Long enough for an ordinary stop on a loaded machine (closing a connection takes 100 ms), short enough that a service
// is not killed by its supervisor for not going.
constexpr int STOP_TIMEOUT_MS = 1500;
/// What is left of that for the stop itself when the workers do not get through their queues.
constexpr int STOP_SHARE_MS = 500;
/// How often the controller sees to the calls that are queued in its own thread while it waits for a worker.
constexpr int TURN_MS = 5;

/// What controllers and hosts tell each other. All of it goes without contents: those would be written in one thread
/// and read in another with nothing but Qt's queue in between, into which the thread sanitizer cannot see.
struct EventTypes
{
    const QEvent::Type marker = registered();        ///< To a host: what was queued before it has been carried out.
    const QEvent::Type stopWorker = registered();    ///< To a host.
    const QEvent::Type endThread = registered();     ///< To a host, which stops its worker first.
    const QEvent::Type backlogDone = registered();   ///< From a host to itself, behind what was queued before the stop.
    const QEvent::Type workerStarted = registered(); ///< To a controller.
    const QEvent::Type workerStopped = registered(); ///< To a controller.
    const QEvent::Type resume = registered();        ///< To a controller: the event loop runs again after its end.

private:
    static QEvent::Type registered() { return static_cast<QEvent::Type>(QEvent::registerEventType()); }
};

const EventTypes& eventTypes()
{
    static const EventTypes types;
    return types;
}

/// How workers' threads reach a controller that may be gone by then.
class ControllerLink
{
public:
    explicit ControllerLink(AbstractWorkerController* controller) : m_controller(controller) { }

    void cut()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_controller = nullptr;
    }

    void notify(QEvent::Type type)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_controller != nullptr) {
            QCoreApplication::postEvent(m_controller, new QEvent(type));
        }
    }

private:
    std::mutex m_mutex;
    AbstractWorkerController* m_controller;
};

/// What a worker's thread has done of what the controller waits for. Standard types rather than QSemaphore, which the
/// thread sanitizer cannot see into.
class Progress
{
public:
    /// Another marker is about to be sent. \return how many that makes.
    int addMarker()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return ++m_sentMarkers;
    }

    void passMarker()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_markers;
        m_changed.notify_all();
    }

    /// The worker has been stopped, or will not be any more because its thread has ended.
    void stopped()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isStopped = true;
        m_changed.notify_all();
    }

    /// The same, and the thread is about to end: \a dropped queued calls were dropped. \return how many of them the
    /// thread itself is to report, because the controller waits no longer.
    int left(int dropped)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isStopped = true;
        m_dropped = dropped;
        m_changed.notify_all();
        return m_reported ? std::max(0, dropped - *m_reported) : 0;
    }

    /// \return whether \a count markers have been passed, or no more can be.
    bool waitForMarkers(int count, const QDeadlineTimer& deadline)
    {
        return waitFor(deadline, [this, count] { return m_markers >= count || m_isStopped; });
    }

    bool waitForStop(const QDeadlineTimer& deadline)
    {
        return waitFor(deadline, [this] { return m_isStopped; });
    }

    /// The controller waits no longer. \return how many calls it is to report: those that the thread has dropped, or
    /// \a known if the thread has not come so far.
    int takeDropped(int known)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_reported = m_isStopped ? m_dropped : known;
        return *m_reported;
    }

private:
    template <typename Condition>
    bool waitFor(const QDeadlineTimer& deadline, Condition condition)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(deadline.remainingTime()), condition);
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_sentMarkers = 0;
    int m_markers = 0;
    bool m_isStopped = false;
    int m_dropped = 0;
    std::optional<int> m_reported; ///< Set when the controller has ceased to wait.
};

void reportDropped(int count)
{
    if (count > 0) {
        qWarning().noquote()
            << QStringLiteral("Dropped %1 queued messages and calls when the workers were stopped").arg(count);
    }
}

void reportLate(int count)
{
    if (count > 0) {
        qWarning().noquote() << QStringLiteral("Stopped a worker ahead of %1 queued messages and calls").arg(count);
    }
}

} // namespace

/// Lives in the worker's thread and owns the worker there; survives the controller when the worker is blocked.
class WorkerHost : public QObject
{
public:
    WorkerHost(AbstractWorker* worker, std::shared_ptr<WorkerState> state, std::shared_ptr<ControllerLink> link,
               std::shared_ptr<Progress> progress)
        : m_worker(worker), m_state(std::move(state)), m_link(std::move(link)), m_progress(std::move(progress))
    {
        m_state->stopNow = [this] { stop(); };
    }

    ~WorkerHost() override { delete m_worker.data(); }

    void start()
    {
        if (m_worker && !m_state->isRetired) {
            m_worker->doStart();
            m_link->notify(eventTypes().workerStarted);
        }
    }

    /// The last that happens in the worker's thread. When that ends by itself, a stop may have been asked for that is
    /// not going to be delivered.
    void finish()
    {
        if (m_state->isRetired) {
            stop();
            leave();
        } else {
            m_progress->stopped();
        }
        delete m_worker.data();
    }

    bool event(QEvent* event) override
    {
        if (event->type() == eventTypes().marker) {
            // A call that waits in an event loop of its own is not over: what it leads to is still to come.
            if (QThread::currentThread()->loopLevel() > 1) {
                ++m_heldMarkers;
                m_holdTimer.start(TURN_MS, this);
            } else {
                m_progress->passMarker();
            }
        } else if (event->type() == QEvent::Timer) {
            if (QThread::currentThread()->loopLevel() <= 1) {
                m_holdTimer.stop();
                for (; m_heldMarkers > 0; --m_heldMarkers) {
                    QCoreApplication::postEvent(this, new QEvent(eventTypes().marker), Qt::LowEventPriority);
                }
            }
        } else if (event->type() == eventTypes().stopWorker) {
            stop();
            QCoreApplication::postEvent(this, new QEvent(eventTypes().backlogDone), Qt::LowEventPriority);
            m_progress->stopped();
        } else if (event->type() == eventTypes().backlogDone) {
            m_state->countsLateCalls = false;
            reportLate(std::exchange(m_state->lateCalls, 0));
        } else if (event->type() == eventTypes().endThread) {
            stop();
            leave();
            QThread::currentThread()->quit();
        } else {
            return QObject::event(event);
        }
        return true;
    }

private:
    void stop()
    {
        if (m_worker && !m_isStopped) {
            m_isStopped = true;
            m_worker->doStop();
            m_link->notify(eventTypes().workerStopped);
        }
    }

    /// Drops what is still queued for the worker, and says how much it was.
    void leave()
    {
        if (m_hasLeft) {
            return;
        }
        m_hasLeft = true;
        if (m_worker && m_state->isLeaving) {
            // The worker counts each of them and does nothing else.
            QCoreApplication::sendPostedEvents(m_worker, QEvent::MetaCall);
        }
        reportDropped(m_progress->left(m_state->droppedCalls));
    }

    const QPointer<AbstractWorker> m_worker;
    const std::shared_ptr<WorkerState> m_state;
    const std::shared_ptr<ControllerLink> m_link;
    const std::shared_ptr<Progress> m_progress;
    bool m_isStopped = false;
    bool m_hasLeft = false;
    QBasicTimer m_holdTimer;
    int m_heldMarkers = 0; ///< Not passed yet, because a call of the worker's is waiting.
};

class AbstractWorkerControllerPrivate
{
public:
    struct Entry
    {
        std::shared_ptr<WorkerState> state; ///< Also tells which worker this is, after the worker has gone.
        std::shared_ptr<Progress> progress;
        WorkerHost* host;         ///< Deleted together with the thread object.
        QPointer<QThread> thread; ///< Deletes itself once it has ended.
    };

    explicit AbstractWorkerControllerPrivate(AbstractWorkerController* controller)
        : link(std::make_shared<ControllerLink>(controller)), m_controller(controller)
    {
    }

    ~AbstractWorkerControllerPrivate();

    void hearOfTheApplicationsEnd();
    void workOff(const std::function<void()>& deliver);
    void pause();
    void resume();
    void stop();
    int killThreads();
    int dropOwnCalls();

    /// Whether the end has run out of time for what is queued for the controller itself.
    bool isOverdue() const { return m_workOffDeadline && m_workOffDeadline->hasExpired(); }

    bool livesHere() const { return m_controller->thread() == QThread::currentThread(); }

    std::vector<Entry> entries;
    const std::shared_ptr<ControllerLink> link;
    bool dropsCalls = false; ///< Calls that are queued for the controller are counted and not carried out.
    int droppedCalls = 0;

private:
    bool carryOutQueues(const QDeadlineTimer& deadline, const std::function<void()>& deliver);
    QDeadlineTimer takeDeadline(int otherwiseMs);

    AbstractWorkerController* const m_controller;
    QPointer<QCoreApplication> m_application; ///< Whose end the controller hears of.
    /// Set by workOff(): by when the end that it has begun is to be over.
    std::optional<QDeadlineTimer> m_deadline;
    std::optional<QDeadlineTimer> m_workOffDeadline; ///< Set while workOff() runs.
    /// The application's event loop has ended: the workers take nothing in until it runs again.
    bool m_isPaused = false;
    bool m_isStuck = false; ///< The workers did not get through their queues then.
};

namespace {

using Entry = AbstractWorkerControllerPrivate::Entry;

bool isRunning(const Entry& entry)
{
    return entry.thread && entry.thread->isRunning();
}

/// Ahead of the calls that wait in the worker's queue: each of them may block for a minute.
void postStop(const Entry& entry, QEvent::Type type)
{
    entry.state->isRetired = true;
    if (!isRunning(entry)) {
        return;
    }
    QCoreApplication::postEvent(entry.host, new QEvent(type), Qt::HighEventPriority);
    if (QCoreApplication::instance() == nullptr) {
        // Without an application Qt delivers no event to any thread. The end of the thread stops the worker as well.
        entry.thread->quit();
    }
}

/// Called at the end of each worker's thread, and after each wait for one. The wait alone orders the two, but inside
/// Qt, where the thread sanitizer cannot see it.
void seeThreadEnd()
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
}

/// \return whether the thread has ended.
bool endThread(const Entry& entry, const QDeadlineTimer& deadline)
{
    if (!entry.thread) {
        return true;
    }
    // A thread that was never started has run nothing, so the worker is deleted from this one, with its host.
    const bool wasStarted = entry.thread->isRunning() || entry.thread->isFinished();
    if (wasStarted && !entry.thread->wait(deadline)) {
        return false;
    }
    if (wasStarted) {
        seeThreadEnd();
    }
    delete entry.thread.data();
    return true;
}

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

/// The living controllers that have had workers. When the application's object goes, it ends those that are still
/// there: static ones, the application's children, those that were declared before it. Without an application Qt
/// delivers no queued call any more, so they could not be ended in order later.
class Survivors
{
public:
    static Survivors& instance()
    {
        // Never destroyed: static controllers go at any time.
        static auto* const survivors = new Survivors;

        // When the library goes, Qt must not call into it any more.
        static const struct Withdrawal
        {
            ~Withdrawal() { qRemovePostRoutine(endAll); }
        } withdrawal;

        return *survivors;
    }

    void add(AbstractWorkerControllerPrivate* controller)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (std::find(m_controllers.begin(), m_controllers.end(), controller) == m_controllers.end()) {
            m_controllers.push_back(controller);
        }
        // Qt forgets the routine when it has called it: the next application needs it anew.
        if (!std::exchange(m_isHearing, true)) {
            qAddPostRoutine(endAll);
        }
    }

    void remove(AbstractWorkerControllerPrivate* controller)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_controllers.erase(std::remove(m_controllers.begin(), m_controllers.end(), controller), m_controllers.end());
    }

private:
    static void endAll();

    bool has(AbstractWorkerControllerPrivate* controller)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::find(m_controllers.begin(), m_controllers.end(), controller) != m_controllers.end();
    }

    std::mutex m_mutex;
    std::vector<AbstractWorkerControllerPrivate*> m_controllers;
    bool m_isHearing = false;
};

} // namespace

AbstractWorkerControllerPrivate::~AbstractWorkerControllerPrivate()
{
    Survivors::instance().remove(this);
}

void AbstractWorkerControllerPrivate::hearOfTheApplicationsEnd()
{
    Survivors::instance().add(this);
    QCoreApplication* const application = QCoreApplication::instance();
    if (application != nullptr && application != m_application && application->thread() == m_controller->thread()) {
        m_application = application;
        QObject::connect(application, &QCoreApplication::aboutToQuit, m_controller, [this] { pause(); });
    }
}

/// Begins the end: the workers take nothing in any more, and what is queued is carried out as far as the time allows.
/// \a deliver carries out the calls that are queued in this thread.
void AbstractWorkerControllerPrivate::workOff(const std::function<void()>& deliver)
{
    if (m_deadline) {
        return;
    }
    // Workers that were stuck a moment ago are not waited for twice.
    m_deadline = QDeadlineTimer(m_isStuck ? STOP_SHARE_MS : STOP_TIMEOUT_MS);
    if (m_isStuck) {
        return;
    }
    const QPointer<AbstractWorkerController> controller(m_controller);
    const QDeadlineTimer deadline(STOP_TIMEOUT_MS - STOP_SHARE_MS);
    m_workOffDeadline = deadline;
    carryOutQueues(deadline, deliver);
    // What was carried out may have destroyed the controller, and this object with it.
    if (controller) {
        m_workOffDeadline.reset();
    }
}

/// A command that comes in leads to a handler, that to an answer and to a report of the state, and each of them to log
/// lines, all from thread to thread. So a marker goes behind what is queued in each thread, and again, as often as
/// something may have come from one thread into another that had been seen to.
/// \return false when the time was not enough.
bool AbstractWorkerControllerPrivate::carryOutQueues(const QDeadlineTimer& deadline,
                                                     const std::function<void()>& deliver)
{
    std::vector<Entry> running;
    for (const Entry& entry : entries) {
        if (isRunning(entry) && !entry.state->isRetired) {
            entry.state->isEnding = true;
            running.push_back(entry);
        }
    }
    if (running.empty() || QCoreApplication::instance() == nullptr) {
        return true;
    }
    const int rounds = 2 * static_cast<int>(running.size()) + 2;
    for (int round = 0; round < rounds; ++round) {
        deliver();
        std::vector<int> markers;
        for (const Entry& entry : running) {
            markers.push_back(entry.progress->addMarker());
            if (isRunning(entry)) {
                QCoreApplication::postEvent(entry.host, new QEvent(eventTypes().marker), Qt::LowEventPriority);
            }
        }
        for (size_t i = 0; i < running.size(); ++i) {
            // One worker's long queue must not hold up what the others send each other through this thread.
            while (isRunning(running[i])
                   && !running[i].progress->waitForMarkers(markers[i], std::min(deadline, QDeadlineTimer(TURN_MS)))) {
                if (deadline.hasExpired()) {
                    return false;
                }
                deliver();
            }
        }
    }
    deliver();
    return true;
}

/// The application's event loop has ended, and mostly that is the end of the service. From now on nothing that comes in
/// would be carried out in this thread, so nothing is taken in. What has come in already is carried out here and now:
/// later, in the destructors, the objects are gone that it is meant for.
void AbstractWorkerControllerPrivate::pause()
{
    // What is carried out may destroy the controller, and this object with it.
    const QPointer<AbstractWorkerController> controller(m_controller);
    const bool isStuck = !carryOutQueues(QDeadlineTimer(STOP_TIMEOUT_MS - STOP_SHARE_MS), deliverToAll);
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
        return; // An event loop inside the end is none that goes on.
    }
    m_isPaused = false;
    m_isStuck = false;
    for (const Entry& entry : entries) {
        entry.state->isEnding = entry.state->isRetired.load();
    }
}

/// A call that the end has carried out may have ended the workers itself, and taken the deadline with it.
QDeadlineTimer AbstractWorkerControllerPrivate::takeDeadline(int otherwiseMs)
{
    return std::exchange(m_deadline, std::nullopt).value_or(QDeadlineTimer(otherwiseMs));
}

void AbstractWorkerControllerPrivate::stop()
{
    const QDeadlineTimer deadline = takeDeadline(0);
    for (const Entry& entry : entries) {
        postStop(entry, eventTypes().stopWorker);
    }
    for (const Entry& entry : entries) {
        if (isRunning(entry)) {
            entry.progress->waitForStop(deadline);
        }
    }
}

/// \return how many queued calls were dropped.
int AbstractWorkerControllerPrivate::killThreads()
{
    const QDeadlineTimer deadline = takeDeadline(STOP_SHARE_MS);
    const std::vector<Entry> leaving = std::exchange(entries, {});
    for (const Entry& entry : leaving) {
        entry.state->isLeaving = true;
        postStop(entry, eventTypes().endThread);
        if (entry.thread) {
            entry.thread->requestInterruption();
        }
    }
    int dropped = 0;
    for (const Entry& entry : leaving) {
        const bool wasRunning = isRunning(entry);
        const QString name = entry.thread ? entry.thread->objectName() : QString();
        const bool isLeftBehind = !endThread(entry, deadline);
        const int count = entry.progress->takeDropped(wasRunning ? entry.state->waitingCalls.load() : 0);
        if (isLeftBehind && count == 0) {
            // What is queued for it is counted when its wait is over, but then the process may have gone.
            qWarning().noquote()
                << QStringLiteral("%1 did not stop in time: what is queued for it may be lost").arg(name);
        }
        dropped += count;
    }
    return dropped;
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

void Survivors::endAll()
{
    Survivors& survivors = instance();
    std::vector<AbstractWorkerControllerPrivate*> controllers;
    {
        const std::lock_guard<std::mutex> lock(survivors.m_mutex);
        survivors.m_isHearing = false;
        controllers = survivors.m_controllers;
    }
    for (AbstractWorkerControllerPrivate* const controller : controllers) {
        // What is carried out for one controller may destroy another one.
        if (survivors.has(controller) && controller->livesHere()) {
            controller->workOff(deliverToAll);
            if (survivors.has(controller)) {
                reportDropped(controller->killThreads());
            }
        }
    }
}

AbstractWorkerController::AbstractWorkerController(QObject* parent)
    : QObject(parent), d(std::make_unique<AbstractWorkerControllerPrivate>(this))
{
}

AbstractWorkerController::~AbstractWorkerController()
{
    d->link->cut();
    // Nothing is carried out here that is queued for this object: whoever derived from it is gone already.
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
    for (const Entry& entry : d->entries) {
        if (entry.state == worker->m_state) {
            return entry.thread;
        }
    }
    if (worker->parent() != nullptr || worker->thread() != QThread::currentThread()) {
        return nullptr;
    }

    d->hearOfTheApplicationsEnd();
    auto* const thread = new QThread;
    thread->setObjectName(QString::fromLatin1(worker->metaObject()->className()));
    const auto progress = std::make_shared<Progress>();
    auto* const host = new WorkerHost(worker, worker->m_state, d->link, progress);
    worker->moveToThread(thread);
    host->moveToThread(thread);
    connect(thread, &QThread::started, host, &WorkerHost::start);
    // When the thread has ended, whether or not this controller still exists, the worker goes, in the thread itself;
    // then the thread object and with it the host, which may be posted to until then.
    connect(thread, &QThread::finished, host, &WorkerHost::finish);
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    connect(thread, &QThread::finished, seeThreadEnd);
    // No context object: the host itself may not be one, and nothing else lives as long.
    connect(thread, &QObject::destroyed, [host] { delete host; }); // clazy:exclude=connect-3arg-lambda
    d->entries.push_back({worker->m_state, progress, host, thread});
    return thread;
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
