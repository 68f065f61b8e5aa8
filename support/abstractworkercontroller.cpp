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

    /// Queues a call of \a hook to the controller's thread.
    void notify(void (AbstractWorkerController::*hook)())
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_controller != nullptr) {
            AbstractWorkerController* const controller = m_controller;
            QMetaObject::invokeMethod(
                controller, [controller, hook] { (controller->*hook)(); }, Qt::QueuedConnection);
        }
    }

private:
    std::mutex m_mutex;
    AbstractWorkerController* m_controller;
};

/// Counts events that are still under way. Standard types rather than QSemaphore, which the thread sanitizer cannot see
/// into.
class Countdown
{
public:
    void add()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_count;
    }

    void done()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        --m_count;
        m_changed.notify_all();
    }

    void waitForAll(const QDeadlineTimer& deadline)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::milliseconds(deadline.remainingTime()), [this] { return m_count == 0; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
};

/// Asks a host to stop its worker. Counted until it is destroyed, so one that is never delivered, because the thread
/// ended by itself, is not waited for either.
class StopEvent : public QEvent
{
public:
    StopEvent(std::shared_ptr<Countdown> pending, bool endThread)
        : QEvent(eventType()), m_endThread(endThread), m_pending(std::move(pending))
    {
        m_pending->add();
    }

    ~StopEvent() override { m_pending->done(); }

    bool endThread() const { return m_endThread; }

    static QEvent::Type eventType()
    {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

private:
    const bool m_endThread;
    const std::shared_ptr<Countdown> m_pending;
};

} // namespace

/// Lives in the worker's thread and owns the worker there; survives the controller when the worker is blocked.
class WorkerHost : public QObject
{
public:
    WorkerHost(AbstractWorker* worker, std::shared_ptr<ControllerLink> link) : m_worker(worker), m_link(std::move(link))
    {
    }

    ~WorkerHost() override { deleteWorker(); }

    void deleteWorker() { delete m_worker.data(); }

    void start()
    {
        if (m_worker && !*m_worker->m_retired) {
            m_worker->doStart();
            m_link->notify(&AbstractWorkerController::processStartedWorker);
        }
    }

    bool event(QEvent* event) override
    {
        if (event->type() != StopEvent::eventType()) {
            return QObject::event(event);
        }
        stop();
        if (static_cast<StopEvent*>(event)->endThread()) {
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
            m_link->notify(&AbstractWorkerController::processStoppedWorker);
        }
    }

    const QPointer<AbstractWorker> m_worker;
    const std::shared_ptr<ControllerLink> m_link;
    bool m_stopped = false;
};

class AbstractWorkerControllerPrivate
{
public:
    struct Entry
    {
        std::shared_ptr<std::atomic<bool>> retired; ///< Also tells which worker this is, after the worker has gone.
        WorkerHost* host;                           ///< Deleted together with the thread object.
        QPointer<QThread> thread;                   ///< Deletes itself once it has ended.
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

/// Ahead of the calls that wait in the worker's queue: each of them may block for a minute.
void postStop(const Entry& entry, const std::shared_ptr<Countdown>& pending, bool endThread)
{
    *entry.retired = true;
    if (entry.thread && entry.thread->isRunning()) {
        QCoreApplication::postEvent(entry.host, new StopEvent(pending, endThread), Qt::HighEventPriority);
    }
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
    const auto pending = std::make_shared<Countdown>();
    for (const Entry& entry : d->entries) {
        postStop(entry, pending, false);
    }
    pending->waitForAll(deadline);
}

void AbstractWorkerController::doKillThreads()
{
    const QDeadlineTimer deadline(STOP_TIMEOUT_MS);
    const auto pending = std::make_shared<Countdown>();
    const std::vector<Entry> entries = std::exchange(d->entries, {});
    for (const Entry& entry : entries) {
        postStop(entry, pending, true);
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
    auto* const host = new WorkerHost(worker, d->link);
    worker->moveToThread(thread);
    host->moveToThread(thread);
    connect(thread, &QThread::started, host, &WorkerHost::start);
    // When the thread has ended, whether or not this controller still exists, the worker goes, in the thread itself;
    // then the thread object and with it the host, which may be posted to until then.
    connect(thread, &QThread::finished, host, &WorkerHost::deleteWorker);
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    // No context object: the host itself may not be one, and nothing else lives as long.
    connect(thread, &QObject::destroyed, [host] { delete host; }); // clazy:exclude=connect-3arg-lambda
    d->entries.push_back({worker->m_retired, host, thread});
    return thread;
}

void AbstractWorkerController::processStartedWorker() { }

void AbstractWorkerController::processStoppedWorker() { }

} // namespace wexcor
