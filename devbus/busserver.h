#ifndef BUSSERVER_H
#define BUSSERVER_H

#include "busconnection.h"
#include "failure.h"
#include "seennames.h"
#include "takeovers.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTcpServer>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

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
/// const tarvex::TarvexError error = server.start();
/// if (tarvex::devbus::isFailure(error)) {
///     qCritical().noquote() << error.description();
/// }
/// \endcode
class BusServer : public QObject
{
    Q_OBJECT
public:
    /// Further connections are closed at once.
    static constexpr int MAX_CONNECTIONS = 256;

    struct Options
    {
        QString storagePath;    ///< Of the database file; empty: in memory, gone with the server.
        int keep = 1000;        ///< Messages kept for an absent client.
        int resendMs = 5000;    ///< After this an unacknowledged message is pushed again.
        bool isTracing = false; ///< Whether traced() is emitted.
    };

    /// What a client gets in place of what it has asked for; for tests of how it takes that.
    struct Fault
    {
        bool isSilent = false; ///< No reply at all.
        TarvexError error;     ///< Otherwise, the reply's.
    };

    /// Says of a request, handshakes included, whether it meets a fault.
    using FaultSource = std::function<std::optional<Fault>(const QString& client, const QString& operation)>;

    explicit BusServer(const Options& options, QObject* parent = nullptr);
    ~BusServer() override;

    /// Opens the storage and listens on both ports of 127.0.0.1. Does nothing when started already.
    /// \return NoError, or why it cannot, in one line; then nothing is left open.
    TarvexError start();
    /// Closes everything; what the clients are slow to take in is lost. No signals follow. Not to be called from a slot
    /// of this object's signals.
    void stop();

    bool isRunning() const { return m_storage != nullptr; }

    int connectionCount() const { return m_connections.size(); }

    /// The names that the connections to \a port have introduced themselves by, each once for each of them.
    QStringList clients(BusConnection::Port port) const;

    /// One connection that has introduced itself.
    struct Presence
    {
        QString client;
        BusConnection::Port port;
        QDateTime since;
    };

    /// In the order in which they were made.
    QList<Presence> presences() const;

    /// Whether a client of this name has introduced itself since this object was made. Also true when the bus does not
    /// remember all names any more.
    bool hasSeen(const QString& client) const { return m_seenNames.contains(client); }

    /// How often a second receiver connection has taken the name of \a client from one that was there.
    int takeoverCount(const QString& client) const { return m_takeovers.count(client); }

    /// Of a server that runs.
    Storage& storage() const { return *m_storage; }

    /// Does what \a client would have done over its query port, and tells nobody who is not concerned. The server runs.
    /// \return the reply's code and text; \a answer is its data.
    TarvexError perform(const QString& client, const QString& operation, const QVariantMap& data, QVariantMap& answer);

    /// With false the ports are closed to new connections; those that are open stay. start() opens the ports again.
    /// \return NoError, or why it cannot listen, such as that it is not running; then the ports are closed.
    TarvexError setListening(bool isListening);
    /// Closes the connections of \a client, or all when it is empty, as the end of the server would. Not to be called
    /// from a slot of this object's signals.
    void dropConnections(const QString& client);

    /// Asked about each request that would be carried out, until another is set; none by default.
    void setFaultSource(const FaultSource& faultSource) { m_faultSource = faultSource; }

Q_SIGNALS:
    /// A request was answered, handshakes included, or met with a silent fault; not emitted for frames that could not
    /// be understood. \a code is the reply's, and empty when there was none. With code 0 all that \a data asks for is
    /// committed.
    void requestHandled(const QString& client, const QString& operation, std::optional<int> code,
                        const QVariantMap& data);
    /// A client has acknowledged a pushed message.
    void messageAcknowledged(const QString& client, const QString& uid);
    /// One line for each frame in and out.
    void traced(const QString& line);
    /// Something for the developer to know, in one line.
    void warning(const QString& text);
    /// What clients() returns is another list now.
    void clientsChanged();

private:
    TarvexError openPorts();
    void closePorts();
    static TarvexError listen(QTcpServer& server, quint16 port);
    TarvexError openStorage();
    void onStorageFailure(const QString& reason);
    void accept(QTcpServer& server, BusConnection::Port port);
    void addConnection(QTcpSocket* socket, BusConnection::Port port);
    void removeConnection(BusConnection* connection);
    void closeConnection(BusConnection* connection);
    void onRequest(BusConnection* connection, const QVariantMap& envelope);
    void onReply(BusConnection* connection, const QVariantMap& envelope);
    void handleRequest(BusConnection* connection, const QString& operation, const QVariantMap& data);
    void handshake(BusConnection* connection, const QVariantMap& data);
    void noteTakeover(const BusConnection* newcomer, const QString& name);
    bool meetsFault(BusConnection* connection, const QString& client, const QString& operation,
                    const QVariantMap& data);
    void answer(BusConnection* connection, const QString& operation, const QVariantMap& data, const TarvexError& error,
                const QVariantMap& answerData = {});

    const Options m_options;
    FaultSource m_faultSource;
    QElapsedTimer m_sinceStorageWarning;
    QTcpServer m_queryServer;
    QTcpServer m_receiverServer;
    std::unique_ptr<Storage> m_storage;
    std::unique_ptr<Delivery> m_delivery;
    std::unique_ptr<QueryService> m_queryService;
    QList<BusConnection*> m_connections;
    SeenNames m_seenNames;
    Takeovers m_takeovers;
};

} // namespace tarvex::devbus

#endif // BUSSERVER_H
