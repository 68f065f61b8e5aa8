#include "client/tarvexmsgworker.h"

#include "client/connectionnotes_p.h"
#include "client/singleconnection_p.h"
#include "client/tarvexmessagesreciever.h"
#include "wire/busterms_p.h"

#include <QDebug>
#include <QTimer>

namespace tarvex {

namespace {

constexpr int RESTART_INTERVAL_MS = 5000;
constexpr int HANDSHAKE_TIMEOUT_MS = 30000;

} // namespace

TarvexMsgWorker::TarvexMsgWorker(const QString& clientName)
    : m_receiver(new TarvexMessagesReciever(clientName, this))
    , m_restartTimer(new QTimer(this))
    , m_watch(new ConnectionWatch(this, [this] { lookAtReceiver(); }))
{
    m_receiver->m_notes->watch = m_watch;
    m_restartTimer->setInterval(RESTART_INTERVAL_MS);
}

TarvexMsgWorker::~TarvexMsgWorker() = default;

bool TarvexMsgWorker::doStart()
{
    if (!m_receiver || !m_restartTimer || !m_watch) {
        return true;
    }
    connectOnce(m_restartTimer, SIGNAL(timeout()), this, SLOT(restart()));
    connectOnce(m_receiver, SIGNAL(incomingMessage(Message)), this, SLOT(processMessage(Message)));
    connectOnce(m_receiver, SIGNAL(busDisconnected()), this, SLOT(restart()));
    connectOnce(m_receiver, SIGNAL(tarvexConnected()), this, SIGNAL(workerConnected()));
    // A connection that was lost as soon as it was made is not made anew at once. A worker that is about to end takes
    // nothing in, so it needs no connection.
    const bool waits = m_receiver->m_notes->age.takeEarlyLoss() || isEnding();
    const bool opened = !waits && m_receiver->open();
    // A slot that heard of the connection may have deleted the timers.
    if (!m_restartTimer || !m_watch) {
        return true;
    }
    // Only one of the two runs at a time, so that nothing is restarted twice.
    if (opened) {
        m_restartTimer->stop();
        m_sinceOpen.start();
        m_watch->start();
        m_watch->wake();
    } else {
        m_watch->stop();
        m_restartTimer->start();
    }
    return true;
}

bool TarvexMsgWorker::doStop()
{
    if (m_watch) {
        m_watch->stop();
    }
    if (m_receiver) {
        m_receiver->close();
    }
    return true;
}

void TarvexMsgWorker::doProcessMessage(const tarvex::Message& msg)
{
    const busterms::CommandText command = busterms::readCommandText(msg.message());
    if (!command.isCommand) {
        qWarning().noquote() << command.errorText;
        Q_EMIT unprocessedMessage(msg);
        return;
    }
    if (!doProcessCommand(command.name, command.data, msg.sender(), msg.uid())) {
        Q_EMIT unprocessedMessage(msg);
    }
}

bool TarvexMsgWorker::doProcessCommand(const QString& cmd, const QVariantMap& data, const QString& sender,
                                       const QString& uid)
{
    Q_UNUSED(sender)
    Q_UNUSED(uid)
    if (cmd == busterms::COMMAND_UPDATE_SETTINGS) {
        Q_EMIT updateSettings();
        return true;
    }
    if (cmd == busterms::COMMAND_STATE_CHANGED) {
        Q_EMIT stateChanged(ClientState::fromVariantMap(data));
        return true;
    }
    return false;
}

void TarvexMsgWorker::processMessage(Message msg)
{
    doProcessMessage(msg);
}

// open() succeeds before the server has answered the handshake, and the server may take its answer back later. No
// signal reports a refusal or a silence. Without this look the worker would hear nothing from then on.
void TarvexMsgWorker::lookAtReceiver()
{
    if (!m_receiver || m_receiver->isOpen()) {
        m_watch->rest();
        // While the worker was ending, it took nothing in. If it goes on after all, this reads what came meanwhile. If
        // it is still ending, the receiver wakes the watch again.
        if (m_receiver) {
            m_receiver->readFrames();
        }
    } else if (!m_receiver->isConnected() || m_sinceOpen.hasExpired(HANDSHAKE_TIMEOUT_MS)) {
        restart();
    }
}

} // namespace tarvex
