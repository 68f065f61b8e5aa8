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
    // When the thread ends, the worker is deleted in it, whether or not the controller still exists. The thread object
    // is deleted after that, and the host with it, because events may be posted to the host until then.
    QObject::connect(thread, &QThread::finished, host, &WorkerHost::finish);
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    // There is no context object: the host must not be one, and nothing else lives as long.
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

/// A command that comes in leads to a handler. The handler leads to an answer and to a report of the state, and each of
/// these to log lines, all from thread to thread. So a marker is sent behind what is queued in each thread. This is
/// repeated, because a thread may have queued something in another one after that one's marker.
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
        // The others send each other calls through this thread. One worker's long queue must not hold these up.
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

/// The stop goes ahead of the calls that wait in the worker's queue, because each of them may block for a minute.
void WorkerList::postStop(const Entry& entry, QEvent::Type type)
{
    entry.state->isRetired = true;
    if (!isRunning(entry)) {
        return;
    }
    QCoreApplication::postEvent(entry.host, new QEvent(type), Qt::HighEventPriority);
    if (QCoreApplication::instance() == nullptr) {
        // Without an application Qt delivers no event to any thread. The end of the thread stops the worker, too.
        entry.thread->quit();
    }
}

/// Waits for the end of the thread, which has been told to end. \return how many calls of its worker were dropped.
int WorkerList::endWorker(const Entry& entry, const QDeadlineTimer& deadline)
{
    const bool wasRunning = isRunning(entry);
    const QString name = entry.thread ? entry.thread->objectName() : QString();
    const bool isLeftBehind = !endThread(entry, deadline);
    const int count = entry.progress->takeDropped(wasRunning ? entry.state->waitingCalls.load() : 0);
    if (isLeftBehind && count == 0) {
        // Its queue is counted when its wait is over. The process may have gone by then.
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
    // A thread that was never started has run nothing. So this thread deletes the worker, together with its host.
    const bool wasStarted = entry.thread->isRunning() || entry.thread->isFinished();
    if (wasStarted && !entry.thread->wait(deadline)) {
        return false;
    }
    delete entry.thread.data();
    return true;
}

} // namespace wexcor
