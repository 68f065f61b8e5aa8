#include "client/tarvexqueryworker.h"

#include "client/singleconnection_p.h"
#include "client/tarvexqueryhandler.h"

#include <QDebug>
#include <QThread>
#include <QTimer>

namespace tarvex {

namespace {

constexpr int RESTART_INTERVAL_MS = 5000;

} // namespace

TarvexQueryWorker::TarvexQueryWorker(int interval, const QString& clientName)
    : handler(new TarvexQueryHandler(clientName, this))
    , m_restartTimer(new QTimer(this))
    , m_stateTimer(new QTimer(this))
    , m_interval(interval)
{
    m_stateTimer->setInterval(m_interval);
    m_restartTimer->setInterval(RESTART_INTERVAL_MS);
}

TarvexQueryWorker::~TarvexQueryWorker() = default;

bool TarvexQueryWorker::doStart()
{
    m_isStopped = false;
    if (!handler || !m_restartTimer || !m_stateTimer) {
        return true;
    }
    connectOnce(handler, SIGNAL(busDisconnected()), this, SLOT(restart()));
    connectOnce(handler, SIGNAL(tarvexConnected()), this, SIGNAL(workerConnected()));
    connectOnce(m_stateTimer, SIGNAL(timeout()), this, SLOT(sendState()));
    // Two equal numbers show that the worker runs in the thread that it was given.
    qWarning() << reinterpret_cast<quintptr>(QThread::currentThread())
               << reinterpret_cast<quintptr>(m_stateTimer->thread());
    m_restartTimer->stop();
    connectOnce(m_restartTimer, SIGNAL(timeout()), this, SLOT(restart()));
    const bool opened = handler->open();
    // Whoever heard of the connection may have taken the timers away.
    if (!opened) {
        if (m_restartTimer) {
            m_restartTimer->start();
        }
        return true;
    }
    if (m_restartTimer) {
        m_restartTimer->stop();
    }
    loadAndApplySettings();
    if (m_stateTimer) {
        m_stateTimer->start();
    }
    return true;
}

bool TarvexQueryWorker::doStop()
{
    m_isStopped = true;
    if (m_stateTimer) {
        m_stateTimer->stop();
    }
    if (handler) {
        handler->close();
    }
    return true;
}

void TarvexQueryWorker::doUpdateSettings()
{
    if (m_isStopped || !handler || (!handler->isOpen() && !handler->open())) {
        return;
    }
    loadAndApplySettings();
}

void TarvexQueryWorker::updateSettings()
{
    doUpdateSettings();
}

void TarvexQueryWorker::sendState()
{
    // The stop goes ahead of what is queued: a report that comes after it must not start the reports again.
    if (m_isStopped) {
        return;
    }
    if (m_stateTimer) {
        m_stateTimer->stop();
    }
    doSendState();
    if (m_stateTimer) {
        m_stateTimer->start();
    }
}

void TarvexQueryWorker::sendMessage(Message message)
{
    if (handler && handler->isOpen()) {
        handler->sendMessage(message);
    }
}

void TarvexQueryWorker::loadAndApplySettings()
{
    // Whoever heard that the connection is there may have taken it away.
    if (!handler) {
        return;
    }
    ClientSettings settings;
    if (handler->loadSettings(handler->clientName(), settings)) {
        doApplySettings(settings);
    } else {
        qCritical().noquote() << tr("Settings loading error");
    }
}

} // namespace tarvex
