#include "client/tarvexqueryworker.h"

#include "client/connectionwatch_p.h"
#include "client/querynotes_p.h"
#include "client/singleconnection_p.h"
#include "logging/logqueue_p.h"
#include "logging/tarvexlogcreator.h"

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
    , m_logQueue(std::make_shared<LogQueue>(waitingCalls()))
    , m_watch(new ConnectionWatch(this, [this] { lookAtHandler(); }))
{
    handler->m_givesUpLostPlace = true;
    handler->m_notes->watch = m_watch;
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
    // A connection that was lost as soon as it was made is not made anew at once. A handshake that was accepted under
    // another name does not count as accepted.
    const bool opened = !handler->m_notes->age.takeEarlyLoss() && handler->open() && handler && handler->isOpen();
    // A slot that heard of the connection may have deleted the timers.
    if (!opened) {
        m_watch->stop();
        if (m_restartTimer) {
            m_restartTimer->start();
        }
        return true;
    }
    if (m_restartTimer) {
        m_restartTimer->stop();
    }
    m_watch->start();
    loadAndApplySettings();
    if (m_stateTimer) {
        m_stateTimer->start();
    }
    return true;
}

bool TarvexQueryWorker::doStop()
{
    m_isStopped = true;
    m_watch->stop();
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
    if (!m_isStopped && handler && (handler->isOpen() || openForUpdate())) {
        loadAndApplySettings();
    }
}

/// Tries to connect once, and not once for each of a hundred calls that have queued up meanwhile, because the restart
/// cycle will reconnect.
bool TarvexQueryWorker::openForUpdate()
{
    const bool isTooSoon = handler->m_notes->age.isCoolingDown()
        || (m_sinceFailedUpdate.isValid() && !m_sinceFailedUpdate.hasExpired(RESTART_INTERVAL_MS));
    if (isTooSoon) {
        return false;
    }
    if (handler->open() && handler && handler->isOpen()) {
        return true;
    }
    m_sinceFailedUpdate.start();
    return false;
}

void TarvexQueryWorker::updateSettings()
{
    doUpdateSettings();
}

void TarvexQueryWorker::sendState()
{
    // The stop overtakes what is queued. A report that comes after it must not start the reports again.
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
    const bool isLogLine = TarvexLogCreator::isLogLine(message);
    if (handler && handler->isOpen()) {
        handler->sendMessage(message);
    }
    if (!isLogLine) {
        return;
    }
    m_logQueue->leave();
    if (const int dropped = m_logQueue->takeDropped()) {
        qWarning().noquote() << tr("Dropped %1 log lines: too many were waiting to be sent").arg(dropped);
    }
}

void TarvexQueryWorker::loadAndApplySettings()
{
    // A slot that heard of the connection may have deleted the handler.
    if (!handler) {
        return;
    }
    ClientSettings settings;
    if (handler->loadSettings(handler->clientName(), settings) && handler && isOwn(settings)) {
        doApplySettings(settings);
    } else {
        qCritical().noquote() << tr("Settings loading error");
    }
}

/// A server that is out of step, or wrong, may answer with the settings of another client.
bool TarvexQueryWorker::isOwn(const ClientSettings& settings) const
{
    return settings.owner().isEmpty() || settings.owner() == handler->clientName();
}

// A handshake that is refused later, on the same connection, closes it in silence. So does a derived class.
void TarvexQueryWorker::lookAtHandler()
{
    if (handler && !handler->isOpen()) {
        restart();
    } else {
        m_watch->rest();
    }
}

} // namespace tarvex
