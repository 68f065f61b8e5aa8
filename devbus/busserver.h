#ifndef BUSSERVER_H
#define BUSSERVER_H

#include "busconnection.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QTcpServer>

#include <memory>

namespace tarvex::devbus {

class Delivery;
class QueryService;
class Storage;

/// The development bus server: what a desk or a test has in place of a device's bus.
///
/// Lives in the thread that created it and needs that thread's event loop; never blocks it for longer than a statement
/// of the storage takes. Several servers in one process would only dispute the ports.
///
/// \code
/// tarvex::devbus::BusServer::Options options; // in memory
/// tarvex::devbus::BusServer server(options);
/// if (!server.start()) {
///     qCritical().noquote() << server.errorString();
/// }
/// \endcode
class BusServer : public QObject
{
    Q_OBJECT
public:
    static constexpr quint16 QUERY_PORT = 45535;
    static constexpr quint16 RECEIVER_PORT = 45537;
    /// Further connections are closed at once.
    static constexpr int MAX_CONNECTIONS = 256;

    struct Options
    {
        QString storagePath;    ///< Of the database file; empty: in memory, gone with the server.
        int keep = 1000;        ///< Messages kept for an absent client.
        int resendMs = 5000;    ///< After this an unacknowledged message is pushed again.
        bool isTracing = false; ///< Whether traced() is emitted.
    };

    explicit BusServer(const Options& options, QObject* parent = nullptr);
    ~BusServer() override;

    /// Opens the storage and listens on both ports of 127.0.0.1. Does nothing when started already.
    /// \return false when it cannot; errorString() says why in one line, and nothing is left open.
    bool start();
    /// Closes everything; what the clients are slow to take in is lost. No signals follow. Not to be called from a slot
    /// of this object's signals.
    void stop();

    bool isRunning() const { return m_storage != nullptr; }

    QString errorString() const { return m_errorString; }

    int connectionCount() const { return m_connections.size(); }

Q_SIGNALS:
    /// A request was answered, handshakes included; not emitted for frames that could not be understood.
    void requestHandled(const QString& client, const QString& operation, int code);
    /// A client has acknowledged a pushed message.
    void messageAcknowledged(const QString& client, const QString& uid);
    /// One line for each frame in and out.
    void traced(const QString& line);
    /// Something for the developer to know, in one line.
    void warning(const QString& text);

private:
    bool listen(QTcpServer& server, quint16 port);
    bool openStorage();
    bool fail(const QString& text);
    void accept(QTcpServer& server, BusConnection::Port port);
    void addConnection(QTcpSocket* socket, BusConnection::Port port);
    void removeConnection(BusConnection* connection);
    void onRequest(BusConnection* connection, const QVariantMap& envelope);
    void onReply(BusConnection* connection, const QVariantMap& envelope);
    void handleRequest(BusConnection* connection, const QString& operation, const QVariant& data);
    void handshake(BusConnection* connection, const QVariant& data);
    void answer(BusConnection* connection, const QString& operation, const TarvexError& error,
                const QVariantMap& data = {});

    const Options m_options;
    QString m_errorString;
    QTcpServer m_queryServer;
    QTcpServer m_receiverServer;
    std::unique_ptr<Storage> m_storage;
    std::unique_ptr<Delivery> m_delivery;
    std::unique_ptr<QueryService> m_queryService;
    QList<BusConnection*> m_connections;
};

} // namespace tarvex::devbus

#endif // BUSSERVER_H
