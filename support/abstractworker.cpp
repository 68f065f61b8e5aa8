#include "abstractworker.h"

#include <QThread>

namespace wexcor {

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
        QMetaObject::invokeMethod(
            this, [this] { runRestart(); }, Qt::QueuedConnection);
    }
}

void AbstractWorker::runRestart()
{
    // Cleared before the stop, so that a call from another thread that comes now still gets a stop and a start of its
    // own.
    m_restartQueued = false;
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
