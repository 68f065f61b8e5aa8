#include "workerlist_p.h"

#include "abstractworker.h"
#include "workerhost_p.h"
#include "workerprogress_p.h"
#include "workerstate_p.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>

#include <algorithm>
#include <utility>

namespace wexcor {

QThread* WorkerList::add(AbstractWorker* worker, const std::shared_ptr<WorkerState>& state,
                         const std::shared_ptr<ControllerLink>& link)
{
    auto* const thread = new QThread;
    thread->setObjectName(QString::fromLatin1(worker->metaObject()->className()));
    const auto progress = std::make_shared<WorkerProgress>();
    auto* const host = new WorkerHost(worker, state, link, progress);
    worker->moveToThread(thread);
    host->moveToThread(thread);
    QObject::connect(thread, &QThread::started, host, &WorkerHost::start);
    // When the thread has ended, whether or not the controller still exists, the worker goes, in the thread itself;
    // then the thread object and with it the host, which may be posted to until then.
    QObject::connect(thread, &QThread::finished, host, &WorkerHost::finish);
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    // No context object: the host itself may not be one, and nothing else lives as long.
    QObject::connect(thread, &QObject::destroyed, [host] { delete host; }); // clazy:exclude=connect-3arg-lambda
    m_entries.push_back({state, progress, host, thread});
    return thread;
}

std::optional<QThread*> WorkerList::threadOf(const std::shared_ptr<WorkerState>& state) const
{
    for (const Entry& entry : m_entries) {
        if (entry.state == state) {
            return entry.thread.data();
        }
    }
    return std::nullopt;
}

/// A command that comes in leads to a handler, that to an answer and to a report of the state, and each of them to log
/// lines, all from thread to thread. So a marker goes behind what is queued in each thread, and again, as often as
/// something may have come from one thread into another that had been seen to.
bool WorkerList::carryOutQueues(const QDeadlineTimer& deadline, const std::function<void()>& deliver)
{
    std::vector<Entry> running;
    for (const Entry& entry : m_entries) {
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
        if (!passMarkers(running, deadline, deliver)) {
            return false;
        }
    }
    deliver();
    return true;
}

/// Sends a marker through each thread. \return false when the time was not enough.
bool WorkerList::passMarkers(const std::vector<Entry>& running, const QDeadlineTimer& deadline,
                             const std::function<void()>& deliver)
{
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
    return true;
}

void WorkerList::resume()
{
    for (const Entry& entry : m_entries) {
        entry.state->isEnding = entry.state->isRetired.load();
    }
}

void WorkerList::stop(const QDeadlineTimer& deadline)
{
    for (const Entry& entry : m_entries) {
        postStop(entry, eventTypes().stopWorker);
    }
    for (const Entry& entry : m_entries) {
        if (isRunning(entry)) {
            entry.progress->waitForStop(deadline);
        }
    }
}

int WorkerList::end(const QDeadlineTimer& deadline)
{
    const std::vector<Entry> leaving = std::exchange(m_entries, {});
    for (const Entry& entry : leaving) {
        entry.state->isLeaving = true;
        postStop(entry, eventTypes().endThread);
        if (entry.thread) {
            entry.thread->requestInterruption();
        }
    }
    int dropped = 0;
    for (const Entry& entry : leaving) {
        dropped += endWorker(entry, deadline);
    }
    return dropped;
}

bool WorkerList::isRunning(const Entry& entry)
{
    return entry.thread && entry.thread->isRunning();
}

/// Ahead of the calls that wait in the worker's queue: each of them may block for a minute.
void WorkerList::postStop(const Entry& entry, QEvent::Type type)
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

/// Waits for the thread that has been told to end. \return how many calls that were queued for its worker were dropped.
int WorkerList::endWorker(const Entry& entry, const QDeadlineTimer& deadline)
{
    const bool wasRunning = isRunning(entry);
    const QString name = entry.thread ? entry.thread->objectName() : QString();
    const bool isLeftBehind = !endThread(entry, deadline);
    const int count = entry.progress->takeDropped(wasRunning ? entry.state->waitingCalls.load() : 0);
    if (isLeftBehind && count == 0) {
        // What is queued for it is counted when its wait is over, but then the process may have gone.
        qWarning().noquote() << QStringLiteral("%1 did not stop in time: what is queued for it may be lost").arg(name);
    }
    return count;
}

/// \return whether the thread has ended.
bool WorkerList::endThread(const Entry& entry, const QDeadlineTimer& deadline)
{
    if (!entry.thread) {
        return true;
    }
    // A thread that was never started has run nothing, so the worker is deleted from this one, with its host.
    const bool wasStarted = entry.thread->isRunning() || entry.thread->isFinished();
    if (wasStarted && !entry.thread->wait(deadline)) {
        return false;
    }
    delete entry.thread.data();
    return true;
}

} // namespace wexcor
