#include "abstractworker.h"

#include "workerstate_p.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>

namespace wexcor {

namespace {

QEvent::Type restartEventType()
{
    static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

} // namespace

AbstractWorker::AbstractWorker() : QObject(nullptr), m_state(std::make_shared<WorkerState>()) { }

AbstractWorker::~AbstractWorker() = default;

bool AbstractWorker::isEnding() const
{
    return m_state->isEnding;
}

std::shared_ptr<std::atomic<int>> AbstractWorker::waitingCalls() const
{
    return {m_state, &m_state->waitingCalls};
}

void AbstractWorker::restart()
{
    // A connection that is closed may report its loss from inside doStop(). If that counted as one more request, the
    // worker would restart for ever.
    if (thread() == QThread::currentThread() && m_stoppingToRestart) {
        return;
    }
    if (!m_state->isRetired && !m_restartQueued.exchange(true)) {
        // An event without contents, see threadsanitizer_p.h.
        QCoreApplication::postEvent(this, new QEvent(restartEventType()));
    }
}

bool AbstractWorker::event(QEvent* event)
{
    if (event->type() == restartEventType()) {
        runRestart();
        return true;
    }
    if (event->type() == QEvent::MetaCall && m_state->isRetired) {
        // Qt delivers the calls that it has taken up already before it looks at the stop, whatever its priority is. The
        // stop must go ahead of them.
        if (m_state->stopNow) {
            m_state->stopNow();
        }
        if (m_state->isLeaving) {
            ++m_state->droppedCalls;
            return true;
        }
        if (m_state->countsLateCalls) {
            ++m_state->lateCalls;
        }
    }
    return QObject::event(event);
}

void AbstractWorker::runRestart()
{
    // Cleared before the stop, so that a call that another thread makes from now on gets a stop and a start of its
    // own. Exchanged and not just stored, because what the callers wrote before a call that added nothing must be seen
    // here.
    m_restartQueued.exchange(false);
    if (m_state->isRetired) {
        return;
    }
    m_stoppingToRestart = true;
    doStop();
    m_stoppingToRestart = false;
    if (!m_state->isRetired) {
        doStart();
    }
}

} // namespace wexcor
