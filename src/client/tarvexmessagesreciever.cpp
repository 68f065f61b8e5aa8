#include "client/tarvexmessagesreciever.h"

#include "client/busframe_p.h"
#include "client/bussocket_p.h"
#include "client/socketreader_p.h"
#include "logtools.h"

#include <QDebug>
#include <QScopedValueRollback>
#include <QTcpSocket>

namespace tarvex {

using namespace busframe;

namespace {

/// A server repeats what it has pushed last and has no acknowledgement for: a repeat falls well within these.
constexpr int REPEAT_CACHE_SIZE = 100;

const QLatin1String OPERATION_HANDSHAKE("handshake");
const QLatin1String OPERATION_SEND_MESSAGE("sendMessage");

} // namespace

TarvexMessagesReciever::TarvexMessagesReciever(const QString& clientName, QObject* parent)
    : QObject(parent), m_socket(new QTcpSocket(this)), m_clientName(clientName), m_repeatCache(REPEAT_CACHE_SIZE)
{
    connect(m_socket, SIGNAL(connected()), this, SLOT(socketConnected()));
    connect(m_socket, SIGNAL(disconnected()), this, SLOT(socketDisconnected()));
    connect(m_socket, SIGNAL(error(QAbstractSocket::SocketError)), this,
            SLOT(socketError(QAbstractSocket::SocketError)));
    connect(m_socket, SIGNAL(readyRead()), this, SLOT(onSocketReadyRead()));
}

TarvexMessagesReciever::~TarvexMessagesReciever()
{
    close();
}

bool TarvexMessagesReciever::isOpen() const
{
    return isConnected() && m_handshaked;
}

bool TarvexMessagesReciever::isConnected() const
{
    return bussocket::isUsable(m_socket);
}

QString TarvexMessagesReciever::clientName() const
{
    return m_clientName;
}

bool TarvexMessagesReciever::open()
{
    if (!m_socket) {
        return false;
    }
    if (isOpen()) {
        return true;
    }
    // After the server has dropped the connection it is still set: the new one is accepted anew.
    m_handshaked = false;
    if (!bussocket::connectToServer(*m_socket, bussocket::RECEIVER_PORT) || !handshake()) {
        close();
        return false;
    }
    Q_EMIT tarvexConnected();
    return true;
}

void TarvexMessagesReciever::close()
{
    if (m_socket) {
        bussocket::disconnectFromServer(*m_socket);
        m_handshaked = false;
    }
}

void TarvexMessagesReciever::socketConnected() { }

void TarvexMessagesReciever::socketDisconnected()
{
    Q_EMIT busDisconnected();
}

void TarvexMessagesReciever::socketError(QAbstractSocket::SocketError error)
{
    if (m_socket) {
        qWarning().noquote() << error << m_socket->errorString();
    }
}

void TarvexMessagesReciever::onSocketReadyRead()
{
    // Writing an acknowledgement waits on the socket, which may call us again for the bytes that come meanwhile: the
    // loop that is under way gets to them, after the message that it is about to deliver.
    if (m_reading) {
        return;
    }
    const QScopedValueRollback<bool> reading(m_reading, true);
    while (m_socket && m_socket->bytesAvailable() > 0 && headerIsComplete()) {
        readFrame();
    }
}

bool TarvexMessagesReciever::handshake()
{
    return request(OPERATION_HANDSHAKE, {{QStringLiteral("name"), m_clientName}});
}

bool TarvexMessagesReciever::request(QString cmd, QVariantMap data)
{
    return write(busframe::encodeRequest(cmd, data));
}

bool TarvexMessagesReciever::reply(QString cmd, TarvexError error, QVariantMap data)
{
    return write(busframe::encodeReply(cmd, error.error(), error.description(), data));
}

/// False for a line that so far is only the beginning of a known header: the rest is still under way, and a reader that
/// takes the beginning for a line of its own has lost its place for good.
bool TarvexMessagesReciever::headerIsComplete() const
{
    if (m_socket->canReadLine() || m_socket->bytesAvailable() >= busframe::LINE_READ_LIMIT - 1) {
        return true;
    }
    const QString beginning = busframe::lineText(m_socket->peek(busframe::LINE_READ_LIMIT - 1));
    return !QLatin1String(busframe::REQUEST_HEADER).startsWith(beginning)
        && !QLatin1String(busframe::REPLY_HEADER).startsWith(beginning);
}

void TarvexMessagesReciever::readFrame()
{
    const QString header = busframe::lineText(m_socket->readLine(busframe::LINE_READ_LIMIT));
    if (header == QLatin1String(busframe::REQUEST_HEADER)) {
        prepareRequest();
    } else if (header == QLatin1String(busframe::REPLY_HEADER)) {
        prepareReply();
    } else {
        qCritical().noquote() << tr("Unknown request header: %1").arg(header);
    }
}

qint32 TarvexMessagesReciever::readSize()
{
    socketreader::awaitLine(m_socket);
    if (!m_socket || !m_socket->canReadLine()) {
        qWarning().noquote() << tr("Socket is empty");
        return -1;
    }
    const QString text = busframe::lineText(m_socket->readLine(busframe::LINE_READ_LIMIT));
    bool isNumber = false;
    const qint32 size = text.toInt(&isNumber, 10);
    if (!isNumber) {
        qWarning().noquote() << tr("Invalid request size: ") + text;
        return -1;
    }
    return size;
}

bool TarvexMessagesReciever::readData(qint32 size, QVariant& out)
{
    const QByteArray payload = socketreader::readPayload(m_socket, size);
    if (payload.size() != size) {
        return false;
    }
    const busframe::Decoded decoded = busframe::decodePayload(payload);
    if (!decoded.isValid) {
        qWarning().noquote() << decoded.errorText << logtab << logbinary(decoded.json, "UTF-8");
        return false;
    }
    out = decoded.envelope;
    return true;
}

void TarvexMessagesReciever::prepareRequest()
{
    const qint32 size = readSize();
    if (size < 0) {
        qWarning().noquote() << tr("Invalid request size");
        return;
    }
    QVariant envelope;
    if (!readData(size, envelope) || !processRequest(envelope)) {
        qWarning().noquote() << tr("Invalid request data");
    }
}

void TarvexMessagesReciever::prepareReply()
{
    const qint32 size = readSize();
    QVariant envelope;
    if (size < 0 || !readData(size, envelope) || !processReply(envelope)) {
        qWarning().noquote() << tr("Incorrect reply data");
    }
}

bool TarvexMessagesReciever::processRequest(const QVariant& envelope)
{
    const QVariantMap request = envelope.toMap();
    const QString operation = request.value(KEY_OPERATION).toString();
    if (operation != OPERATION_SEND_MESSAGE) {
        reply(operation, TarvexError(TarvexError::UnsupportedRequest), {});
        return false;
    }
    const Message message = Message::fromVariantMap(request.value(KEY_DATA).toMap());
    // Acknowledged before the repeat is looked for: the server repeats a message for as long as it has no answer to it.
    reply(operation, TarvexError(),
          {{QStringLiteral("sender"), message.sender()},
           {QStringLiteral("reciever"), message.reciever()},
           {QStringLiteral("uid"), message.uid()}});
    deliver(message);
    return true;
}

bool TarvexMessagesReciever::processReply(const QVariant& envelope)
{
    const QVariantMap reply = envelope.toMap();
    const QVariantMap result = reply.value(KEY_RESULT).toMap();
    const quint16 code = busframe::resultCode(result);
    if (reply.value(KEY_OPERATION).toString() == OPERATION_HANDSHAKE) {
        m_handshaked = code == 0;
        if (!m_handshaked) {
            close();
        }
        return m_handshaked;
    }
    if (code != 0) {
        qCritical().noquote() << code << logtab << result.value(KEY_DESCRIPTION).toString();
        return false;
    }
    return true;
}

void TarvexMessagesReciever::deliver(const Message& message)
{
    const QString key = message.msgKey();
    if (m_repeatCache.contains(key)) {
        qWarning().noquote() << tr("Message repeating:") << logtab
                             << message.sender() + QLatin1Char('\t') + message.reciever() + QLatin1Char('\t')
                + message.uid()
                             << logtab << loglist(message.message().split(QLatin1Char('\n')));
        return;
    }
    m_repeatCache.insert(key, new Message(message));
    Q_EMIT incomingMessage(message);
}

bool TarvexMessagesReciever::write(const QByteArray& frame)
{
    if (!m_socket || !m_socket->isOpen()) {
        return false;
    }
    return m_socket->state() != QAbstractSocket::UnconnectedState && m_socket->write(frame) >= 0
        && m_socket->waitForBytesWritten(bussocket::WRITE_TIMEOUT_MS);
}

} // namespace tarvex
