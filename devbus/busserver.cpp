#include "busserver.h"

#include "delivery.h"
#include "queryservice.h"
#include "storage.h"
#include "values.h"
#include "wire/busframe_p.h"
#include "wire/busterms_p.h"
#include "words.h"

#include <QTcpSocket>

#include <algorithm>
#include <utility>

namespace tarvex::devbus {

namespace {

constexpr int STORAGE_WARNING_INTERVAL_MS = 60000;

} // namespace

BusServer::BusServer(const Options& options, QObject* parent)
    : QObject(parent)
    , m_options(options)
    , m_querySocket(options.querySocket)
    , m_receiverSocket(options.receiverSocket)
    , m_frames(options.frameBytes)
{
    connect(&m_queryServer, &QTcpServer::newConnection, this,
            [this] { accept(m_queryServer, BusConnection::Port::Query); });
    connect(&m_receiverServer, &QTcpServer::newConnection, this,
            [this] { accept(m_receiverServer, BusConnection::Port::Receiver); });
    connect(this, &BusServer::requestHandled, this, [this] { ++m_counts.requests; });
    connect(this, &BusServer::messageAcknowledged, this, [this] { ++m_counts.acknowledged; });
}

BusServer::~BusServer()
{
    stop();
}

TarvexError BusServer::start()
{
    if (isRunning()) {
        return {};
    }
    // The ports come first, because the program that holds them may be using the same storage.
    TarvexError error = openPorts();
    if (!isFailure(error)) {
        error = openStorage();
    }
    if (isFailure(error)) {
        closePorts();
    } else {
        m_startedAt = QDateTime::currentDateTime();
    }
    return error;
}

void BusServer::stop()
{
    closePorts();
    const QList<BusConnection*> connections = std::exchange(m_connections, {});
    for (BusConnection* const connection : connections) {
        closeConnection(connection);
    }
    m_codec.release();
    m_queryService.reset();
    m_delivery.reset();
    m_storage.reset();
}

QStringList BusServer::clients(BusConnection::Port port) const
{
    QStringList names;
    for (const BusConnection* const connection : m_connections) {
        if (connection->port() == port && connection->isIntroduced()) {
            names.append(connection->client());
        }
    }
    return names;
}

QList<BusServer::Presence> BusServer::presences() const
{
    QList<Presence> presences;
    for (const BusConnection* const connection : m_connections) {
        if (connection->isIntroduced()) {
            presences.append({connection->client(), connection->port(), connection->introducedAt()});
        }
    }
    return presences;
}

TarvexError BusServer::perform(const QString& client, const QString& operation, const QVariantMap& data,
                               QVariantMap& answer)
{
    const QueryService::Answer result = m_queryService->handle(client, operation, data);
    answer = result.data;
    return result.error;
}

TarvexError BusServer::setListening(bool isListening)
{
    if (isListening && !isRunning()) {
        return {LocalFailure, QStringLiteral("the server is not running")};
    }
    TarvexError error = isListening ? openPorts() : TarvexError();
    if (!isListening || isFailure(error)) {
        closePorts();
    }
    return error;
}

void BusServer::dropConnections(const QString& client)
{
    const QList<BusConnection*> connections = m_connections;
    for (BusConnection* const connection : connections) {
        if (client.isEmpty() || connection->client() == client) {
            m_connections.removeOne(connection);
            m_delivery->leave(connection);
            closeConnection(connection);
        }
    }
    releaseUnusedCodec();
    Q_EMIT clientsChanged();
}

/// Without a client nothing is kept.
void BusServer::releaseUnusedCodec()
{
    if (m_connections.isEmpty()) {
        m_codec.release();
    }
}

TarvexError BusServer::openPorts()
{
    const TarvexError error = listen(m_queryServer, busterms::QUERY_PORT, m_querySocket);
    return isFailure(error) ? error : listen(m_receiverServer, busterms::RECEIVER_PORT, m_receiverSocket);
}

void BusServer::closePorts()
{
    m_queryServer.close();
    m_receiverServer.close();
}

TarvexError BusServer::listen(QTcpServer& server, quint16 port, int& passedSocket)
{
    if (server.isListening()) {
        return {};
    }
    const int socket = std::exchange(passedSocket, -1);
    if (socket >= 0 ? server.setSocketDescriptor(socket) : server.listen(QHostAddress(QHostAddress::LocalHost), port)) {
        return {};
    }
    if (server.serverError() == QAbstractSocket::AddressInUseError) {
        return {
            LocalFailure,
            programs::Words::tr("port %1 of 127.0.0.1 is taken: is another bus running there? Stop it, then try again")
                .arg(port)};
    }
    return {
        LocalFailure,
        programs::Words::tr("cannot listen on 127.0.0.1 port %1: %2").arg(QString::number(port), server.errorString())};
}

TarvexError BusServer::openStorage()
{
    auto storage = std::make_unique<Storage>(m_options.storagePath);
    TarvexError error = storage->open();
    if (isFailure(error)) {
        return {error.error(),
                programs::Words::tr("cannot use the storage \"%1\": %2")
                    .arg(m_options.storagePath, error.description().simplified())};
    }
    m_storage = std::move(storage);
    m_delivery = std::make_unique<Delivery>(*m_storage, m_options.keep, m_options.resendMs, nullptr);
    m_queryService = std::make_unique<QueryService>(*m_storage, *m_delivery);
    connect(m_delivery.get(), &Delivery::acknowledged, this, &BusServer::messageAcknowledged);
    connect(m_delivery.get(), &Delivery::warning, this, &BusServer::warning);
    m_storage->setFailureHandler([this](const QString& reason) { onStorageFailure(reason); });
    return error;
}

/// Not every failure is told, because clients may ask many times a second.
void BusServer::onStorageFailure(const QString& reason)
{
    if (!m_sinceStorageWarning.isValid() || m_sinceStorageWarning.hasExpired(STORAGE_WARNING_INTERVAL_MS)) {
        m_sinceStorageWarning.start();
        Q_EMIT warning(programs::Words::tr("the storage fails: %1 (told once a minute)").arg(reason.simplified()));
    }
}

void BusServer::accept(QTcpServer& server, BusConnection::Port port)
{
    while (QTcpSocket* const socket = server.nextPendingConnection()) {
        if (m_connections.size() < MAX_CONNECTIONS) {
            addConnection(socket, port);
        } else {
            Q_EMIT warning(programs::Words::tr("refused a connection: there are %1 already").arg(MAX_CONNECTIONS));
            delete socket;
        }
    }
}

void BusServer::addConnection(QTcpSocket* socket, BusConnection::Port port)
{
    auto* const connection = new BusConnection(socket, port, ++m_lastConnectionNumber, m_codec, m_faults, this);
    connection->setTracing(m_options.isTracing);
    m_connections.append(connection);
    connect(connection, &BusConnection::requestReceived, this,
            [this, connection](const QVariantMap& envelope) { onRequest(connection, envelope); });
    connect(connection, &BusConnection::replyReceived, this,
            [this, connection](const QVariantMap& envelope) { onReply(connection, envelope); });
    connect(connection, &BusConnection::traced, this, &BusServer::traced);
    connect(connection, &BusConnection::faultMet, this, &BusServer::faultMet);
    connect(connection, &BusConnection::seen, &m_frames, &traffic::FrameMemory::add);
    m_frames.add(connection->seenFrame(traffic::Kind::Opened));
    connect(connection, &BusConnection::closed, this, [this, connection] { removeConnection(connection); });
}

void BusServer::removeConnection(BusConnection* connection)
{
    m_connections.removeOne(connection);
    m_delivery->leave(connection);
    forget(connection);
    connection->deleteLater(); // it may be in the middle of a frame
    releaseUnusedCodec();
    Q_EMIT clientsChanged();
}

/// Nothing that it still does is seen.
void BusServer::forget(BusConnection* connection)
{
    connection->disconnect(this);
    connection->disconnect(&m_frames);
    m_frames.add(connection->seenFrame(traffic::Kind::Closed));
}

/// Closes it at once from this side.
void BusServer::closeConnection(BusConnection* connection)
{
    forget(connection);
    m_delivery->detach(connection);
    connection->closeWhenWritten();
    delete connection;
}

void BusServer::onRequest(BusConnection* connection, const QVariantMap& envelope)
{
    const QVariant operation = envelope.value(busframe::KEY_OPERATION);
    const QVariantMap data = envelope.value(busframe::KEY_DATA).toMap();
    if (operation.toString() == busterms::OPERATION_HANDSHAKE) {
        handshake(connection, data);
    } else if (!connection->isIntroduced()) {
        answer(connection, operation.toString(), data, TarvexError(TarvexError::UnregisteredClient));
    } else if (!isText(operation)) {
        answer(connection, {}, data, TarvexError(TarvexError::IncorrectRequestData));
    } else {
        handleRequest(connection, operation.toString(), data);
    }
}

/// The outbox takes the replies to pushed messages. Any other reply is a mistake of the client, and the client is told
/// so.
void BusServer::onReply(BusConnection* connection, const QVariantMap& envelope)
{
    const QString operation = envelope.value(busframe::KEY_OPERATION).toString();
    if (!connection->isIntroduced()) {
        answer(connection, operation, {}, TarvexError(TarvexError::UnregisteredClient));
    } else if (connection->port() == BusConnection::Port::Query) {
        answer(connection, operation, {}, TarvexError(TarvexError::UnsupportedRequest));
    }
}

void BusServer::handleRequest(BusConnection* connection, const QString& operation, const QVariantMap& data)
{
    if (connection->port() == BusConnection::Port::Receiver) {
        answer(connection, operation, data, TarvexError(TarvexError::UnsupportedRequest));
        return;
    }
    const QString client = connection->client();
    const auto fault = connection->meetFault(Faults::Occasion::Reply, client, operation, data);
    if (fault && !fault->rule.carriesOut()) {
        refuse(connection, client, operation, data, *fault);
        return;
    }
    const QueryService::Answer result = m_queryService->handle(client, operation, data);
    answer(connection, operation, data, result.error, result.data, fault);
}

void BusServer::handshake(BusConnection* connection, const QVariantMap& data)
{
    const QVariant name = data.value(busterms::KEY_NAME);
    if (!isName(name)) {
        answer(connection, busterms::OPERATION_HANDSHAKE, data, TarvexError(TarvexError::IncorrectRequestData));
        return;
    }
    const auto fault =
        connection->meetFault(Faults::Occasion::Reply, name.toString(), busterms::OPERATION_HANDSHAKE, data);
    if (fault && !fault->rule.carriesOut()) {
        refuse(connection, name.toString(), busterms::OPERATION_HANDSHAKE, data, *fault);
        return;
    }
    const bool isReceiver = connection->port() == BusConnection::Port::Receiver;
    if (connection->client() == name.toString()) {
        m_delivery->detach(connection); // the client only starts again
    } else {
        m_delivery->leave(connection);
    }
    if (isReceiver) {
        noteTakeover(connection, name.toString());
    }
    m_seenNames.add(name.toString());
    connection->introduce(name.toString());
    answer(connection, busterms::OPERATION_HANDSHAKE, data, TarvexError(), {}, fault);
    if (isReceiver) {
        m_delivery->attach(connection);
    }
    Q_EMIT clientsChanged();
}

/// A connection does not count when its client has already left and the bus has not dealt with its end yet. In that
/// case the service has only come back quickly.
void BusServer::noteTakeover(const BusConnection* newcomer, const QString& name)
{
    const bool isTaken =
        std::any_of(m_connections.cbegin(), m_connections.cend(), [&](const BusConnection* connection) {
            return connection != newcomer && connection->port() == BusConnection::Port::Receiver
                && connection->client() == name && connection->hasPeer();
        });
    if (!isTaken) {
        return;
    }
    const QString text = m_takeovers.add(name);
    if (!text.isEmpty()) {
        Q_EMIT warning(text);
    }
}

/// Does not carry the request out, because it has met \a fault. A connection whose handshake is refused has no name
/// yet; \a client is the name that it has asked for.
void BusServer::refuse(BusConnection* connection, const QString& client, const QString& operation,
                       const QVariantMap& data, const Fault& fault)
{
    const auto code = static_cast<TarvexError::Error>(fault.rule.amount);
    connection->sendReply(operation, TarvexError(code, fault.rule.text), {}, fault);
    const bool isSilent = fault.rule.effect == FaultRule::Effect::Silence;
    Q_EMIT requestHandled(client, operation, isSilent ? std::nullopt : std::optional<int>(code), data);
}

void BusServer::answer(BusConnection* connection, const QString& operation, const QVariantMap& data,
                       const TarvexError& error, const QVariantMap& answerData, const std::optional<Fault>& fault)
{
    const bool isOther = fault && fault->rule.effect == FaultRule::Effect::OtherOperation;
    connection->sendReply(isOther ? fault->rule.text : operation, error, answerData, fault);
    Q_EMIT requestHandled(connection->client(), operation, error.error(), data);
}

} // namespace tarvex::devbus
