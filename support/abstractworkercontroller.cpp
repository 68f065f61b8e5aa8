#include "abstractworkercontroller.h"

#include "abstractworker.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QPointer>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace wexcor {

namespace {

// Long enough for an ordinary stop on a loaded machine (closing a connection takes 100 ms), short enough that a service
// is not killed by its supervisor for not going.
constexpr int STOP_TIMEOUT_MS = 1500;

/// What controllers and hosts tell each other. All of it goes without contents: those would be written in one thread
/// and read in another with nothing but Qt's queue in between, into which the thread sanitizer cannot see.
struct EventTypes
{
    const QEvent::Type stopWorker = registered();    ///< To a host.
    const QEvent::Type endThread = registered();     ///< To a host, which stops its worker first.
    const QEvent::Type workerStarted = registered(); ///< To a controller.
    const QEvent::Type workerStopped = registered(); ///< To a controller.

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

/// Whether a worker has been stopped, or will not be any more because its thread has ended. Standard types rather than
/// QSemaphore, which the thread sanitizer cannot see into.
class StopAnswer
{
public:
    void give()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_given = true;
        m_changed.notify_all();
    }

    void waitFor(const QDeadlineTimer& deadline)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::milliseconds(deadline.remainingTime()), [this] { return m_given; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_given = false;
};

} // namespace

/// Lives in the worker's thread and owns the worker there; survives the controller when the worker is blocked.
class WorkerHost : public QObject
{
public:
    WorkerHost(AbstractWorker* worker, std::shared_ptr<ControllerLink> link, std::shared_ptr<StopAnswer> answer)
        : m_worker(worker), m_link(std::move(link)), m_answer(std::move(answer))
    {
    }

    ~WorkerHost() override { delete m_worker.data(); }

    void start()
    {
        if (m_worker && !*m_worker->m_retired) {
            m_worker->doStart();
            m_link->notify(eventTypes().workerStarted);
        }
    }

    /// The last that happens in the worker's thread. When that ends by itself, a stop may have been asked for that is
    /// not going to be delivered.
    void finish()
    {
        if (m_worker && *m_worker->m_retired) {
            stop();
        }
        m_answer->give();
        delete m_worker.data();
    }

    bool event(QEvent* event) override
    {
        if (event->type() != eventTypes().stopWorker && event->type() != eventTypes().endThread) {
            return QObject::event(event);
        }
        stop();
        m_answer->give();
        if (event->type() == eventTypes().endThread) {
            QThread::currentThread()->quit();
        }
        return true;
    }

private:
    void stop()
    {
        if (m_worker && !m_stopped) {
            m_stopped = true;
            m_worker->doStop();
            m_link->notify(eventTypes().workerStopped);
        }
    }

    const QPointer<AbstractWorker> m_worker;
    const std::shared_ptr<ControllerLink> m_link;
    const std::shared_ptr<StopAnswer> m_answer;
    bool m_stopped = false;
};

class AbstractWorkerControllerPrivate
{
public:
    struct Entry
    {
        std::shared_ptr<std::atomic<bool>> retired; ///< Also tells which worker this is, after the worker has gone.
        std::shared_ptr<StopAnswer> answer;
        WorkerHost* host;         ///< Deleted together with the thread object.
        QPointer<QThread> thread; ///< Deletes itself once it has ended.
    };

    explicit AbstractWorkerControllerPrivate(AbstractWorkerController* controller)
        : link(std::make_shared<ControllerLink>(controller))
    {
    }

    std::vector<Entry> entries;
    const std::shared_ptr<ControllerLink> link;
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
    *entry.retired = true;
    if (isRunning(entry)) {
        QCoreApplication::postEvent(entry.host, new QEvent(type), Qt::HighEventPriority);
    }
}

/// Called at the end of each worker's thread, and after each wait for one. The wait alone orders the two, but inside
/// Qt, where the thread sanitizer cannot see it.
void seeThreadEnd()
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
}

void endThread(const Entry& entry, const QDeadlineTimer& deadline)
{
    if (!entry.thread) {
        return;
    }
    if (!entry.thread->isRunning() && !entry.thread->isFinished()) {
        // Never started: nothing has run in that thread, so the worker is deleted from this one, with its host.
        delete entry.thread.data();
    } else if (entry.thread->wait(deadline)) {
        seeThreadEnd();
        delete entry.thread.data();
    }
}

} // namespace

AbstractWorkerController::AbstractWorkerController(QObject* parent)
    : QObject(parent), d(std::make_unique<AbstractWorkerControllerPrivate>(this))
{
}

AbstractWorkerController::~AbstractWorkerController()
{
    d->link->cut();
    AbstractWorkerController::doKillThreads();
}

void AbstractWorkerController::doStop()
{
    const QDeadlineTimer deadline(STOP_TIMEOUT_MS);
    for (const Entry& entry : d->entries) {
        postStop(entry, eventTypes().stopWorker);
    }
    for (const Entry& entry : d->entries) {
        if (isRunning(entry)) {
            entry.answer->waitFor(deadline);
        }
    }
}

void AbstractWorkerController::doKillThreads()
{
    const QDeadlineTimer deadline(STOP_TIMEOUT_MS);
    const std::vector<Entry> entries = std::exchange(d->entries, {});
    for (const Entry& entry : entries) {
        postStop(entry, eventTypes().endThread);
        if (entry.thread) {
            entry.thread->requestInterruption();
        }
    }
    for (const Entry& entry : entries) {
        endThread(entry, deadline);
    }
}

QThread* AbstractWorkerController::addWorkerToThread(wexcor::AbstractWorker* worker)
{
    if (worker == nullptr) {
        return nullptr;
    }
    for (const Entry& entry : d->entries) {
        if (entry.retired == worker->m_retired) {
            return entry.thread;
        }
    }
    if (worker->parent() != nullptr || worker->thread() != QThread::currentThread()) {
        return nullptr;
    }

    auto* const thread = new QThread;
    thread->setObjectName(QString::fromLatin1(worker->metaObject()->className()));
    const auto answer = std::make_shared<StopAnswer>();
    auto* const host = new WorkerHost(worker, d->link, answer);
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
    d->entries.push_back({worker->m_retired, answer, host, thread});
    return thread;
}

void AbstractWorkerController::processStartedWorker() { }

void AbstractWorkerController::processStoppedWorker() { }

bool AbstractWorkerController::event(QEvent* event)
{
    if (event->type() == eventTypes().workerStarted) {
        processStartedWorker();
    } else if (event->type() == eventTypes().workerStopped) {
        processStoppedWorker();
    } else {
        return QObject::event(event);
    }
    return true;
}

} // namespace wexcor
