#include "client/tarvexqueryhandler.h"

#include "client/querynotes_p.h"
#include "logtools.h"
#include "records/localclock_p.h"
#include "wire/busframe_p.h"
#include "wire/bussocket_p.h"
#include "wire/busterms_p.h"
#include "wire/socketreader_p.h"

#include <QDebug>
#include <QTcpSocket>

#include <optional>

namespace tarvex {

namespace {

constexpr int REPLY_TIMEOUT_MS = 30000;
/// At most this many bytes of a payload that did not come whole are logged.
constexpr int MAX_SHOWN_SIZE = 60000;
/// What the list form of subscribe() asks for: everything.
constexpr qint32 DEFAULT_GOAL = 3;

QVariantMap singleEntry(QLatin1String key, const QVariant& value)
{
    QVariantMap map;
    map.insert(key, value);
    return map;
}

/// The payload as text for a log line. It is cut before it is decoded, because it may have many MiB, and most of them
/// would be thrown away.
QStringList shownPayload(const QByteArray& payload)
{
    QStringList shown{QString::fromUtf8(payload.constData(), qMin(payload.size(), MAX_SHOWN_SIZE))};
    if (payload.size() > MAX_SHOWN_SIZE) {
        shown.append(QStringLiteral("... of %1 bytes").arg(payload.size()));
    }
    return shown;
}

bool isConnected(const QPointer<QTcpSocket>& socket)
{
    return socket && socket->state() == QAbstractSocket::ConnectedState;
}

/// How an exchange ends when a wait for the server has failed.
QueryOutcome::Kind endedWaiting(const QPointer<QTcpSocket>& socket)
{
    return isConnected(socket) ? QueryOutcome::TimedOut : QueryOutcome::Lost;
}

/// How an exchange ends when what came is no whole reply. The loss of a connection is noticed only while more bytes are
/// waited for. So a reply that was cut off is Lost, and one that is wrong in itself is NotUnderstood.
QueryOutcome::Kind endedReading(const QPointer<QTcpSocket>& socket)
{
    return isConnected(socket) ? QueryOutcome::NotUnderstood : QueryOutcome::Lost;
}

} // namespace

TarvexQueryHandler::TarvexQueryHandler(const QString& clientName, QObject* parent)
    : QObject(parent), m_socket(new QTcpSocket(this)), m_clientName(clientName), m_notes(std::make_unique<QueryNotes>())
{
    m_socket->setReadBufferSize(bussocket::READ_BUFFER_SIZE);
    connect(m_socket, SIGNAL(connected()), this, SLOT(socketConnected()));
    connect(m_socket, SIGNAL(disconnected()), this, SLOT(socketDisconnected()));
    connect(m_socket, SIGNAL(error(QAbstractSocket::SocketError)), this,
            SLOT(socketError(QAbstractSocket::SocketError)));
    connect(m_socket.data(), &QTcpSocket::readyRead, this, [this] { lookAtUnaskedBytes(); });
}

TarvexQueryHandler::~TarvexQueryHandler() = default;

bool TarvexQueryHandler::isOpen() const
{
    return bussocket::isUsable(m_socket) && m_handshaked;
}

bool TarvexQueryHandler::handshaked() const
{
    return m_handshaked;
}

QString TarvexQueryHandler::clientName() const
{
    return m_clientName;
}

QueryOutcome TarvexQueryHandler::lastOutcome() const
{
    return m_notes->outcome;
}

bool TarvexQueryHandler::loadSettings(const QString& owner, ClientSettings& settings)
{
    QVariantMap answer;
    if (!request(answer, busterms::OPERATION_LOAD_SETTINGS,
                 singleEntry(busterms::KEY_OWNER, owner.isEmpty() ? m_clientName : owner))) {
        return false;
    }
    settings = ClientSettings::fromVariantMap(answer);
    return true;
}

bool TarvexQueryHandler::loadState(const QString& owner, ClientState& state)
{
    QVariantMap answer;
    if (!request(answer, busterms::OPERATION_LOAD_STATE,
                 singleEntry(busterms::KEY_OWNER, owner.isEmpty() ? m_clientName : owner))) {
        return false;
    }
    state = ClientState::fromVariantMap(answer);
    return true;
}

bool TarvexQueryHandler::loadSettings(const QStringList& owners, QList<ClientSettings>& settingsList)
{
    QVariantMap answer;
    if (!request(answer, busterms::OPERATION_LOAD_SETTINGS_LIST,
                 singleEntry(busterms::KEY_OWNERS, owners.isEmpty() ? m_clientName : owners.join(QLatin1Char(','))))) {
        qCritical().noquote() << tr("Settings list loading error");
        return false;
    }
    const QVariantList loaded = answer.value(busterms::KEY_SETTINGS_LIST).toList();
    for (const QVariant& settings : loaded) {
        settingsList.append(ClientSettings::fromVariantMap(settings.toMap()));
    }
    return true;
}

bool TarvexQueryHandler::open()
{
    if (!m_socket) {
        m_notes->outcome = QueryOutcome(QueryOutcome::Unreachable);
        return false;
    }
    if (isOpen()) {
        return true;
    }
    // It is still set after a lost connection. The server has to accept the new one anew.
    m_handshaked = false;
    m_isClosed = false;
    m_notes->age.noteOpening();
    if (!bussocket::connectToServer(*m_socket, busterms::QUERY_PORT)) {
        close();
        m_notes->outcome = QueryOutcome(QueryOutcome::Unreachable);
        return false;
    }
    if (!handshake()) {
        close();
        return false;
    }
    if (!m_handshaked) {
        m_notes->outcome = QueryOutcome(QueryOutcome::NotUnderstood);
    }
    m_notes->age.noteOpened();
    Q_EMIT tarvexConnected();
    return true;
}

void TarvexQueryHandler::close()
{
    if (m_socket) {
        bussocket::disconnectFromServer(*m_socket);
        m_notes->codec.release();
        m_handshaked = false;
        m_isClosed = true;
        m_notes->wakeWatch();
    }
}

bool TarvexQueryHandler::saveState(ClientState state)
{
    state.setOwner(m_clientName);
    if (!state.dt().isValid()) {
        state.setDt(localclock::now());
    }
    return request(busterms::OPERATION_SAVE_STATE, state.toVariantMap());
}

bool TarvexQueryHandler::saveSettings(ClientSettings settings)
{
    return request(busterms::OPERATION_SAVE_SETTINGS, settings.toVariantMap());
}

bool TarvexQueryHandler::saveSettings(QList<ClientSettings> settings)
{
    std::optional<QueryOutcome> firstFailure;
    for (const ClientSettings& record : qAsConst(settings)) {
        if (!saveSettings(record) && !firstFailure) {
            firstFailure = m_notes->outcome;
        }
    }
    if (firstFailure) {
        m_notes->outcome = *firstFailure;
    }
    return !firstFailure;
}

bool TarvexQueryHandler::removeSettings(ClientSettings settings)
{
    return request(busterms::OPERATION_REMOVE_SETTINGS, settings.toVariantMap());
}

bool TarvexQueryHandler::removeSettings(QString owner, bool mailOwner)
{
    ClientSettings settings;
    settings.setMailOwner(mailOwner);
    settings.setOwner(owner);
    return removeSettings(settings);
}

bool TarvexQueryHandler::removeSettings(QString owner)
{
    return removeSettings(owner, true);
}

bool TarvexQueryHandler::sendMessage(Message message)
{
    if (message.uid().isEmpty()) {
        message.setUid(message.genUid());
    }
    message.setSender(m_clientName);
    return request(busterms::OPERATION_SEND_MESSAGE, message.toVariantMap());
}

bool TarvexQueryHandler::subscribe(QList<QPair<QString, qint32>> pubs)
{
    if (pubs.isEmpty()) {
        return true;
    }
    QVariantList publishers;
    for (const auto& pub : qAsConst(pubs)) {
        QVariantMap publisher;
        publisher.insert(busterms::KEY_NAME, pub.first);
        publisher.insert(busterms::KEY_GOAL, pub.second);
        publishers.append(publisher);
    }
    return request(busterms::OPERATION_SUBSCRIBE, singleEntry(busterms::KEY_PUBLISHERS, publishers));
}

bool TarvexQueryHandler::subscribe(QStringList pubs)
{
    QList<QPair<QString, qint32>> pairs;
    for (const QString& pub : qAsConst(pubs)) {
        pairs.append(qMakePair(pub, DEFAULT_GOAL));
    }
    return subscribe(pairs);
}

bool TarvexQueryHandler::subscribe(QString publisher, int goals)
{
    return subscribe(QList<QPair<QString, qint32>>{qMakePair(publisher, static_cast<qint32>(goals))});
}

bool TarvexQueryHandler::unsubscribe(QStringList pubs)
{
    return request(busterms::OPERATION_UNSUBSCRIBE, singleEntry(busterms::KEY_PUBLISHERS, pubs));
}

void TarvexQueryHandler::socketConnected() { }

void TarvexQueryHandler::socketDisconnected()
{
    m_notes->age.noteLoss();
    m_notes->codec.release();
    m_notes->wakeWatch();
    Q_EMIT busDisconnected();
}

void TarvexQueryHandler::socketError(QAbstractSocket::SocketError error)
{
    if (m_socket) {
        qWarning().noquote() << error << m_socket->errorString();
    }
}

bool TarvexQueryHandler::handshake()
{
    return request(busterms::OPERATION_HANDSHAKE, singleEntry(busterms::KEY_NAME, m_clientName));
}

bool TarvexQueryHandler::request(QString operation, QVariantMap data)
{
    QVariantMap ignored;
    return request(ignored, operation, data);
}

bool TarvexQueryHandler::request(QVariantMap& answer, QString operation, QVariantMap data)
{
    // Set last, because a slot that is called during the exchange may ask as well.
    m_notes->outcome = ask(answer, operation, data);
    return m_notes->outcome.isDone();
}

QueryOutcome TarvexQueryHandler::ask(QVariantMap& answer, const QString& operation, const QVariantMap& data)
{
    // Not isOpen(): the handshake goes through here too.
    if (!m_socket || m_isClosed) {
        return QueryOutcome(QueryOutcome::NotOpen);
    }
    // What has come without being asked for would be taken for the answer.
    if (m_givesUpLostPlace && isOpen() && socketreader::hasUnaskedBytes(m_socket)) {
        giveUpConnection();
    }
    QVariantMap reply;
    const QueryOutcome::Kind kind = exchange(reply, operation, data);
    if (kind != QueryOutcome::Done) {
        return QueryOutcome(kind);
    }
    const QVariantMap replyData = reply.value(busframe::KEY_DATA).toMap();
    const QVariantMap result = reply.value(busframe::KEY_RESULT).toMap();
    // The reply's operation is not compared with ours: it only tells a handshake from the rest.
    const QString answered = reply.value(busframe::KEY_OPERATION).toString();
    if (!processReply(answered, replyData, result)) {
        const bool isHandshake =
            operation == busterms::OPERATION_HANDSHAKE || answered == busterms::OPERATION_HANDSHAKE;
        return QueryOutcome(isHandshake ? QueryOutcome::HandshakeRefused : QueryOutcome::Refused,
                            busframe::resultCode(result), result.value(busframe::KEY_DESCRIPTION).toString());
    }
    answer = replyData;
    return QueryOutcome(QueryOutcome::Done);
}

/// \return Done when a whole reply has come, whatever its code is.
QueryOutcome::Kind TarvexQueryHandler::exchange(QVariantMap& reply, const QString& operation, const QVariantMap& data)
{
    m_isExchanging = true;
    QueryOutcome::Kind kind = sendRequest(operation, data);
    if (kind == QueryOutcome::Done) {
        kind = readReply(reply);
    }
    if (kind == QueryOutcome::Done && !isAnswerTo(operation, reply)) {
        kind = QueryOutcome::NotUnderstood;
    }
    m_isExchanging = false;
    if (m_givesUpLostPlace) {
        if (kind != QueryOutcome::Done) {
            // Whatever comes later would be taken for the answer to the next request.
            giveUpConnection();
        } else {
            lookAtUnaskedBytes();
        }
    }
    return kind;
}

/// A worker's connection is out of step when the answer to another operation comes: the server has answered a request
/// twice, for example. Handshakes are let through, because a server may refuse one at any time, and because open()
/// judges one that is answered under another name.
bool TarvexQueryHandler::isAnswerTo(const QString& operation, const QVariantMap& reply) const
{
    const QString answered = reply.value(busframe::KEY_OPERATION).toString();
    const bool isHandshake = operation == busterms::OPERATION_HANDSHAKE || answered == busterms::OPERATION_HANDSHAKE;
    if (!m_givesUpLostPlace || isHandshake || answered.isEmpty() || answered == operation) {
        return true;
    }
    qCritical().noquote() << tr("Incorrect reply header: ") + answered;
    return false;
}

/// \return Done when the request was sent and a reply has begun.
QueryOutcome::Kind TarvexQueryHandler::sendRequest(const QString& operation, const QVariantMap& data)
{
    // Nothing is written to a connection that is known to be lost, and nothing is waited for: the wait would fail too,
    // and Qt would log a line of its own.
    const bool isThere = m_socket->state() != QAbstractSocket::UnconnectedState;
    const bool isWritten = isThere && bussocket::write(*m_socket, m_notes->codec.encodeRequest(operation, data));
    if (!isWritten || !m_socket || !awaitReply()) {
        qCritical().noquote() << tr("Socket wait for ready read error");
        return isThere ? endedWaiting(m_socket) : QueryOutcome::NotOpen;
    }
    return QueryOutcome::Done;
}

/// When the buffer is full, Qt takes in nothing more, and its wait would loop until the time is over.
bool TarvexQueryHandler::awaitReply()
{
    return m_socket->bytesAvailable() >= bussocket::READ_BUFFER_SIZE || m_socket->waitForReadyRead(REPLY_TIMEOUT_MS);
}

/// \return Done when a whole reply has come.
QueryOutcome::Kind TarvexQueryHandler::readReply(QVariantMap& reply)
{
    if (!m_socket || m_socket->bytesAvailable() <= 0) {
        qCritical().noquote() << tr("Socket is empty");
        return endedReading(m_socket);
    }
    const QString header = busframe::lineText(socketreader::readLine(m_socket));
    if (header != QLatin1String(busframe::REPLY_HEADER)) {
        qCritical().noquote() << tr("Incorrect reply header: ") + header;
        return endedReading(m_socket);
    }
    return readEnvelope(reply);
}

QueryOutcome::Kind TarvexQueryHandler::readEnvelope(QVariantMap& reply)
{
    const qint32 size = busframe::lineText(socketreader::readLine(m_socket)).toInt();
    const QByteArray payload = socketreader::readPayload(m_socket, size);
    if (!m_socket) {
        return QueryOutcome::Lost;
    }
    if (payload.size() != size) {
        qCritical().noquote() << tr("Incorrect reply data size") << loglist(shownPayload(payload));
        // Decided before this object gives the connection up, because that must not look as if the server had closed
        // it.
        const QueryOutcome::Kind kind = endedReading(m_socket);
        if (size > busframe::MAX_PAYLOAD_SIZE) {
            giveUpConnection();
        }
        return kind;
    }
    const busframe::Decoded decoded = m_notes->codec.decodePayload(payload);
    if (!decoded.isValid) {
        qWarning().noquote() << decoded.errorText << logtab << logbinary(decoded.json, "UTF-8");
        return endedReading(m_socket);
    }
    reply = decoded.envelope;
    return QueryOutcome::Done;
}

bool TarvexQueryHandler::processReply(QString operation, QVariantMap data, QVariantMap result)
{
    const quint16 code = busframe::resultCode(result);
    if (operation == busterms::OPERATION_HANDSHAKE) {
        m_handshaked = code == 0;
        if (!m_handshaked) {
            close();
        }
        return m_handshaked;
    }
    if (code != 0) {
        qCritical().noquote() << code << logtab << result.value(busframe::KEY_DESCRIPTION).toString() << logtab
                              << operation << logtab << logvariant(data) << logtab << logvariant(result);
        return false;
    }
    return true;
}

/// A worker's connection is out of step when something comes that nobody has asked for.
void TarvexQueryHandler::lookAtUnaskedBytes()
{
    if (m_givesUpLostPlace && !m_isExchanging && m_socket && m_socket->bytesAvailable() > 0) {
        giveUpConnection();
    }
}

/// Ends the connection as if the server had dropped it. Does nothing during open(), which closes the connection itself.
void TarvexQueryHandler::giveUpConnection()
{
    if (m_socket && m_handshaked) {
        m_socket->abort();
    }
}

} // namespace tarvex
