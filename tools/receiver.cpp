#include "receiver.h"

#include "connectionfailures.h"
#include "programwords.h"
#include "tarvexmessagesreciever.h"

#include <QTcpSocket>

#include <utility>

using tarvex::TarvexMessagesReciever;

namespace tarvexctl {

namespace {

constexpr int LOOK_INTERVAL_MS = 10;
constexpr int HANDSHAKE_TIMEOUT_MS = 30000;
/// The library takes at most this many bytes for a line.
constexpr int MAX_LINE_LENGTH = 15;

} // namespace

Receiver::Receiver(const QString& clientName, QObject* parent)
    : QObject(parent), m_clientName(clientName), m_connection(new TarvexMessagesReciever(clientName, this))
{
    m_lookTimer.setInterval(LOOK_INTERVAL_MS);
    connect(&m_lookTimer, &QTimer::timeout, this, &Receiver::look);
    connect(m_connection, SIGNAL(incomingMessage(Message)), this, SLOT(onIncomingMessage(Message)));
    connect(m_connection, SIGNAL(busDisconnected()), this, SLOT(onDisconnected()));
    // The library's own slot was connected first, so the library has read by then what it wants.
    connect(socketOf(*m_connection), &QTcpSocket::readyRead, this,
            [this] { m_hasCome = m_hasCome || !m_connection->isOpen(); });
}

void Receiver::open()
{
    m_hasCome = false;
    m_stage = Stage::Opening;
    const bool isOpen = m_connection->open();
    if (m_stage != Stage::Opening) {
        throw lossFailure();
    }
    if (!isOpen) {
        m_stage = Stage::Closed;
        throw unreachable(*m_connection);
    }
    m_stage = Stage::Introduced;
    m_sinceOpen.start();
    m_lookTimer.start();
}

void Receiver::close()
{
    giveUp();
    m_connection->close();
}

void Receiver::giveUp()
{
    m_stage = Stage::Closed;
    m_lookTimer.stop();
}

void Receiver::onDisconnected()
{
    const Stage stage = std::exchange(m_stage, Stage::Closed);
    if (stage == Stage::Introduced) {
        refuse(lossFailure());
    } else if (stage == Stage::Accepted) {
        Q_EMIT lost();
    }
}

void Receiver::onIncomingMessage(Message message)
{
    Q_EMIT incomingMessage(message);
}

void Receiver::look()
{
    if (m_connection->isOpen()) {
        m_lookTimer.stop();
        m_stage = Stage::Accepted;
        Q_EMIT accepted();
    } else if (!m_connection->isConnected()) {
        refuse(handshakeRefused(m_clientName)); // the library closes the connection when the bus refuses
    } else if (m_hasCome && !isWaitingForRest()) {
        refuse(lossFailure());
    } else if (m_sinceOpen.hasExpired(HANDSHAKE_TIMEOUT_MS)) {
        refuse(silence());
    }
}

void Receiver::refuse(const Failure& failure)
{
    giveUp();
    Q_EMIT refused(failure);
}

/// What came cannot be shown, because the library has read it.
Failure Receiver::lossFailure() const
{
    return m_hasCome ? notUnderstood(Words::tr("something else than the answer to the handshake"))
                     : closedInHandshake();
}

/// Whether what has come may be the beginning of a reply's first line.
bool Receiver::isWaitingForRest() const
{
    const QTcpSocket* const socket = socketOf(*m_connection);
    const qint64 available = socket->bytesAvailable();
    return available > 0 && available < MAX_LINE_LENGTH && !socket->canReadLine();
}

} // namespace tarvexctl
