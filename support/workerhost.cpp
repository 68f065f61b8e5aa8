#include "workerhost_p.h"

#include "abstractworker.h"
#include "abstractworkercontroller.h"
#include "threadsanitizer_p.h"
#include "workerprogress_p.h"
#include "workerstate_p.h"

#include <QCoreApplication>
#include <QDebug>
#include <QThread>

#include <utility>

namespace wexcor {

namespace {

void reportLate(int count)
{
    if (count > 0) {
        qWarning().noquote() << QStringLiteral("Stopped a worker ahead of %1 queued messages and calls").arg(count);
    }
}

/// Whether a call of the worker waits in an event loop of its own.
bool isCallWaiting()
{
    return QThread::currentThread()->loopLevel() > 1;
}

} // namespace

const EventTypes& eventTypes()
{
    static const EventTypes types;
    return types;
}

void ControllerLink::cut()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_controller = nullptr;
}

void ControllerLink::notify(QEvent::Type type)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_controller != nullptr) {
        QCoreApplication::postEvent(m_controller, new QEvent(type));
    }
}

void reportDropped(int count)
{
    if (count > 0) {
        qWarning().noquote()
            << QStringLiteral("Dropped %1 queued messages and calls when the workers were stopped").arg(count);
    }
}

WorkerHost::WorkerHost(AbstractWorker* worker, std::shared_ptr<WorkerState> state, std::shared_ptr<ControllerLink> link,
                       std::shared_ptr<WorkerProgress> progress)
    : m_worker(worker), m_state(std::move(state)), m_link(std::move(link)), m_progress(std::move(progress))
{
    m_state->stopNow = [this] { stop(); };
}

WorkerHost::~WorkerHost()
{
    // The thread has ended. The thread that runs this sees everything that the worker has done.
    threadsanitizer::takeOver(this);
    delete m_worker.data();
}

void WorkerHost::start()
{
    if (m_worker && !m_state->isRetired) {
        m_worker->doStart();
        m_link->notify(eventTypes().workerStarted);
    }
}

void WorkerHost::finish()
{
    if (m_state->isRetired) {
        stop();
        leave();
    } else {
        m_progress->stopped();
    }
    delete m_worker.data();
    threadsanitizer::handOver(this);
}

bool WorkerHost::event(QEvent* event)
{
    if (event->type() == eventTypes().marker) {
        passOrHoldMarker();
    } else if (event->type() == QEvent::Timer) {
        sendHeldMarkersAgain();
    } else if (event->type() == eventTypes().stopWorker) {
        stopAheadOfBacklog();
    } else if (event->type() == eventTypes().backlogDone) {
        endBacklog();
    } else if (event->type() == eventTypes().endThread) {
        stop();
        leave();
        QThread::currentThread()->quit();
    } else {
        return QObject::event(event);
    }
    return true;
}

/// A call that waits in an event loop of its own is not over. What it leads to is still to come.
void WorkerHost::passOrHoldMarker()
{
    if (isCallWaiting()) {
        ++m_heldMarkers;
        m_holdTimer.start(TURN_MS, this);
    } else {
        m_progress->passMarker();
    }
}

void WorkerHost::sendHeldMarkersAgain()
{
    if (isCallWaiting()) {
        return;
    }
    m_holdTimer.stop();
    for (; m_heldMarkers > 0; --m_heldMarkers) {
        QCoreApplication::postEvent(this, new QEvent(eventTypes().marker), Qt::LowEventPriority);
    }
}

void WorkerHost::stopAheadOfBacklog()
{
    stop();
    QCoreApplication::postEvent(this, new QEvent(eventTypes().backlogDone), Qt::LowEventPriority);
    m_progress->stopped();
}

void WorkerHost::endBacklog()
{
    m_state->countsLateCalls = false;
    reportLate(std::exchange(m_state->lateCalls, 0));
}

void WorkerHost::stop()
{
    if (m_worker && !m_isStopped) {
        m_isStopped = true;
        m_worker->doStop();
        m_link->notify(eventTypes().workerStopped);
    }
}

/// Drops what is still queued for the worker, and tells the controller how much that was. If the controller does not
/// wait any more, the number is logged here.
void WorkerHost::leave()
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

} // namespace wexcor
