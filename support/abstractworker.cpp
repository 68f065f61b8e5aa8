#include "abstractworker.h"

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

AbstractWorker::AbstractWorker() : QObject(nullptr), m_retired(std::make_shared<std::atomic<bool>>(false)) { }

AbstractWorker::~AbstractWorker() = default;

void AbstractWorker::restart()
{
    // A connection that is closed may report its loss from inside doStop(): taken as one more request, the worker would
    // restart for ever.
    if (thread() == QThread::currentThread() && m_stoppingToRestart) {
        return;
    }
    if (!*m_retired && !m_restartQueued.exchange(true)) {
        // An event without contents: a functor would be written in this thread and read in the other with nothing but
        // Qt's queue in between, into which the thread sanitizer cannot see.
        QCoreApplication::postEvent(this, new QEvent(restartEventType()));
    }
}

bool AbstractWorker::event(QEvent* event)
{
    if (event->type() != restartEventType()) {
        return QObject::event(event);
    }
    runRestart();
    return true;
}

void AbstractWorker::runRestart()
{
    // Cleared before the stop, so that a call from another thread that comes now still gets a stop and a start of its
    // own. Exchanged, not just stored: what the callers wrote before a call that added nothing must be seen here.
    m_restartQueued.exchange(false);
    if (*m_retired) {
        return;
    }
    m_stoppingToRestart = true;
    doStop();
    m_stoppingToRestart = false;
    if (!*m_retired) {
        doStart();
    }
}

} // namespace wexcor
