#include "client/tarvexmessagesreciever.h"

#include "abstractworker.h"
#include "client/connectionnotes_p.h"
#include "logtools.h"
#include "records/repeatkey_p.h"
#include "wire/busframe_p.h"
#include "wire/bussocket_p.h"
#include "wire/busterms_p.h"
#include "wire/socketreader_p.h"

#include <QDebug>
#include <QScopedValueRollback>
#include <QTcpSocket>

namespace tarvex {

namespace {

/// After this many unknown header lines and abandoned frames in a row the place in the stream is lost for good.
constexpr int MAX_BAD_FRAMES = 64;

} // namespace

TarvexMessagesReciever::TarvexMessagesReciever(const QString& clientName, QObject* parent)
    : QObject(parent)
    , m_socket(new QTcpSocket(this))
    , m_clientName(clientName)
    , m_repeatCache(busterms::REMEMBERED_MESSAGES)
    , m_notes(std::make_unique<ConnectionNotes>())
{
    m_socket->setReadBufferSize(bussocket::READ_BUFFER_SIZE);
    connect(m_socket, SIGNAL(connected()), this, SLOT(socketConnected()));
    connect(m_socket, SIGNAL(disconnected()), this, SLOT(socketDisconnected()));
    connect(m_socket, SIGNAL(error(QAbstractSocket::SocketError)), this,
            SLOT(socketError(QAbstractSocket::SocketError)));
    connect(m_socket, SIGNAL(readyRead()), this, SLOT(onSocketReadyRead()));
}

TarvexMessagesReciever::~TarvexMessagesReciever()
{
    m_notes->watch.clear(); // nothing is mended any more
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
    // It is still set if the server has dropped the connection. The new connection must be accepted anew.
    m_handshaked = false;
    m_isClosed = false;
    m_badFrames = 0;
    m_notes->age.noteOpening();
    if (!bussocket::connectToServer(*m_socket, busterms::RECEIVER_PORT) || !handshake()) {
        close();
        return false;
    }
    m_notes->age.noteOpened();
    Q_EMIT tarvexConnected();
    return true;
}

void TarvexMessagesReciever::close()
{
    if (m_socket) {
        bussocket::disconnectFromServer(*m_socket);
        m_notes->codec.release();
        m_handshaked = false;
        m_isClosed = true;
        m_notes->wakeWatch();
    }
}

void TarvexMessagesReciever::socketConnected() { }

void TarvexMessagesReciever::socketDisconnected()
{
    m_notes->age.noteLoss();
    m_notes->codec.release();
    m_notes->wakeWatch();
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
    m_isPosted = false;
    readFrames();
}

bool TarvexMessagesReciever::handshake()
{
    return request(busterms::OPERATION_HANDSHAKE, {{busterms::KEY_NAME, m_clientName}});
}

bool TarvexMessagesReciever::request(QString cmd, QVariantMap data)
{
    return write(m_notes->codec.encodeRequest(cmd, data));
}

bool TarvexMessagesReciever::reply(QString cmd, TarvexError error, QVariantMap data)
{
    return write(m_notes->codec.encodeReply(cmd, error.error(), error.description(), data));
}

/// When a worker ends, what has been taken in is worked off, and nothing more is taken in.
bool TarvexMessagesReciever::isEnding() const
{
    const auto* const worker = qobject_cast<const wexcor::AbstractWorker*>(parent());
    return worker != nullptr && worker->isEnding();
}

bool TarvexMessagesReciever::hasFrame() const
{
    return m_socket && !m_isClosed && m_socket->bytesAvailable() > 0 && headerIsComplete();
}

/// False for a line that so far is only the beginning of a known header. The rest is still under way, and a reader that
/// takes the beginning for a whole line loses its place for good. peek() asks for more than there is: so Qt reports
/// what comes next, also if it had stopped because its buffer was full.
bool TarvexMessagesReciever::headerIsComplete() const
{
    if (m_socket->canReadLine() || m_socket->bytesAvailable() >= busframe::LINE_READ_LIMIT - 1) {
        return true;
    }
    const QString beginning = busframe::lineText(m_socket->peek(busframe::LINE_READ_LIMIT - 1));
    return !QLatin1String(busframe::REQUEST_HEADER).startsWith(beginning)
        && !QLatin1String(busframe::REPLY_HEADER).startsWith(beginning);
}

/// Reads one frame and posts the turn of the next one, so that a stop, a restart and the timers get their turns under
/// any backlog. Only what a lost connection has left behind is read in one go, because the owner is about to close the
/// connection: a turn that is posted now would come after that.
void TarvexMessagesReciever::readFrames()
{
    // Writing an acknowledgement may wait on the socket, which may call us again for the bytes that come meanwhile. The
    // loop that is under way reads them, after the message that it is about to deliver.
    if (m_reading) {
        return;
    }
    const QScopedValueRollback<bool> reading(m_reading, true);
    while (hasFrame()) {
        if (isEnding()) {
            m_notes->wakeWatch();
            return;
        }
        readFrame();
        if (m_socket && m_socket->state() == QAbstractSocket::ConnectedState) {
            if (hasFrame() && !std::exchange(m_isPosted, true)) {
                QMetaObject::invokeMethod(this, "onSocketReadyRead", Qt::QueuedConnection);
            }
            return;
        }
        // What a lost connection has left behind is read without keeping anything.
        m_notes->codec.release();
    }
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
        noteBadFrame();
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
    const QByteArray payload = socketreader::readPayload(m_socket, size, [this] { return isEnding(); });
    if (payload.size() != size) {
        // Otherwise the rest, or what follows a size that is not waited for, would be read as the next header.
        if (isEnding() || size > busframe::MAX_PAYLOAD_SIZE) {
            giveUpConnection();
        }
        return false;
    }
    const busframe::Decoded decoded = m_notes->codec.decodePayload(payload);
    if (!decoded.isValid) {
        qWarning().noquote() << decoded.errorText << logtab << logbinary(decoded.json, "UTF-8");
        return false;
    }
    out = decoded.envelope;
    m_badFrames = 0;
    return true;
}

void TarvexMessagesReciever::prepareRequest()
{
    const qint32 size = readSize();
    if (size < 0) {
        qWarning().noquote() << tr("Invalid request size");
        noteBadFrame();
        return;
    }
    QVariant envelope;
    const bool isRead = readData(size, envelope);
    if (!isRead || !processRequest(envelope)) {
        qWarning().noquote() << tr("Invalid request data");
    }
    if (!isRead) {
        noteBadFrame();
    }
}

void TarvexMessagesReciever::prepareReply()
{
    const qint32 size = readSize();
    QVariant envelope;
    const bool isRead = size >= 0 && readData(size, envelope);
    if (!isRead || !processReply(envelope)) {
        qWarning().noquote() << tr("Incorrect reply data");
    }
    if (!isRead) {
        noteBadFrame();
    }
}

bool TarvexMessagesReciever::processRequest(const QVariant& envelope)
{
    const QVariantMap request = envelope.toMap();
    const QString operation = request.value(busframe::KEY_OPERATION).toString();
    if (operation != busterms::OPERATION_SEND_MESSAGE) {
        giveUpUnless(reply(operation, TarvexError(TarvexError::UnsupportedRequest), {}));
        return false;
    }
    const Message message = Message::fromVariantMap(request.value(busframe::KEY_DATA).toMap());
    // The acknowledgement comes before the look for a repeat, because the server repeats a message until it has an
    // answer to it.
    const bool isAcknowledged = reply(operation, TarvexError(),
                                      {{busterms::KEY_SENDER, message.sender()},
                                       {busterms::KEY_RECIEVER, message.reciever()},
                                       {busterms::KEY_ACKNOWLEDGED_UID, message.uid()}});
    deliver(message);
    giveUpUnless(isAcknowledged);
    return true;
}

bool TarvexMessagesReciever::processReply(const QVariant& envelope)
{
    const QVariantMap reply = envelope.toMap();
    const QVariantMap result = reply.value(busframe::KEY_RESULT).toMap();
    const quint16 code = busframe::resultCode(result);
    if (reply.value(busframe::KEY_OPERATION).toString() == busterms::OPERATION_HANDSHAKE) {
        m_handshaked = code == 0;
        if (!m_handshaked) {
            close();
        }
        return m_handshaked;
    }
    if (code != 0) {
        qCritical().noquote() << code << logtab << result.value(busframe::KEY_DESCRIPTION).toString();
        return false;
    }
    return true;
}

void TarvexMessagesReciever::deliver(const Message& message)
{
    const QString key = repeatkey::remembered(message.msgKey());
    if (m_repeatCache.contains(key)) {
        const QString names =
            message.sender() + QLatin1Char('\t') + message.reciever() + QLatin1Char('\t') + message.uid();
        qWarning().noquote() << tr("Message repeating:") << logtab << loglist(QStringList{names}) << logtab
                             << loglist(QStringList{message.message()});
        return;
    }
    // Only the key is needed, and a hundred messages may be hundreds of MiB. So no message is kept.
    m_repeatCache.insert(key, new Message);
    Q_EMIT incomingMessage(message);
}

bool TarvexMessagesReciever::write(const QByteArray& frame)
{
    if (!m_socket || !m_socket->isOpen()) {
        return false;
    }
    return m_socket->state() != QAbstractSocket::UnconnectedState && !bussocket::hasPeerGoneUnnoticed(*m_socket)
        && bussocket::write(*m_socket, frame);
}

/// Rubbish may contain header lines by chance. So a frame that is abandoned counts as an unknown header does.
void TarvexMessagesReciever::noteBadFrame()
{
    if (++m_badFrames >= MAX_BAD_FRAMES) {
        giveUpConnection();
    }
}

/// A server that does not take a reply would block this thread again with the next one.
void TarvexMessagesReciever::giveUpUnless(bool isReplyWritten)
{
    // A connection that is lost already may have left messages behind. They are still read.
    if (!isReplyWritten && m_socket && m_socket->state() == QAbstractSocket::ConnectedState
        && !bussocket::hasPeerGoneUnnoticed(*m_socket)) {
        giveUpConnection();
    }
}

/// Ends the connection as if the server had dropped it. The owner of this object makes it anew. Nothing more is read.
void TarvexMessagesReciever::giveUpConnection()
{
    m_isClosed = true;
    if (m_socket) {
        m_socket->abort();
    }
}

} // namespace tarvex
