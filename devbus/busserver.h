#ifndef BUSSERVER_H
#define BUSSERVER_H

#include "busconnection.h"
#include "failure.h"
#include "faults.h"
#include "seennames.h"
#include "takeovers.h"
#include "traffic/framememory.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTcpServer>
#include <QVariantMap>

#include <memory>
#include <optional>

namespace tarvex::devbus {

class Delivery;
class QueryService;
class Storage;

/// The development bus server. A desk or a test uses it instead of a device's bus.
///
/// Lives in the thread that created it and needs that thread's event loop. Blocks that thread for no longer than a
/// statement of the storage takes. Only one server at a time can run, because the ports are fixed.
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
        QString storagePath; ///< The database file. When it is empty, everything is in memory and gone with the server.
        int keep = 1000;     ///< Messages kept for an absent client.
        int resendMs = 5000; ///< An unacknowledged message is pushed again after this time.
        bool isTracing = false; ///< Whether traced() is emitted.
        /// The last frames are kept for those who watch the bus, up to this many bytes of them.
        qint64 frameBytes = traffic::FrameMemory::DEFAULT_MAX_BYTES;
        /// Descriptors of sockets that listen on the two ports already, or -1. They belong to the server from its first
        /// start() on. Who has made them may still hold them, so the ports are not free when the server closes them.
        int querySocket = -1;
        int receiverSocket = -1;
    };

    explicit BusServer(const Options& options, QObject* parent = nullptr);
    ~BusServer() override;

    /// Opens the storage and listens on both ports of 127.0.0.1. Does nothing when started already.
    /// \return NoError, or why it cannot, in one line; then nothing is left open.
    TarvexError start();
    /// Closes everything. What the clients have not taken by then is lost. No signals follow. Must not be called from a
    /// slot of this object's signals.
    void stop();

    bool isRunning() const { return m_storage != nullptr; }

    int connectionCount() const { return m_connections.size(); }

    /// The names under which the connections to \a port have introduced themselves. A name is in the list once for each
    /// of its connections.
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

    /// What has passed, the last of it. It stays when the server stops.
    const traffic::FrameMemory& frames() const { return m_frames; }

    /// What the server has been told to do.
    const Options& options() const { return m_options; }

    /// When it was started last.
    QDateTime startedAt() const { return m_startedAt; }

    /// What has happened since this object was made.
    struct Counts
    {
        qint64 requests = 0;     ///< As requestHandled() tells of them.
        qint64 acknowledged = 0; ///< Pushed messages.
    };

    const Counts& counts() const { return m_counts; }

    /// Only while the server runs.
    Storage& storage() const { return *m_storage; }

    /// Does the same as a request of \a client over the query port, but does not emit requestHandled(). Only while the
    /// server runs.
    /// \return the reply's code and text; \a answer is its data.
    TarvexError perform(const QString& client, const QString& operation, const QVariantMap& data, QVariantMap& answer);

    /// With false the ports are closed to new connections; open connections stay. start() opens the ports again.
    /// \return NoError, or why it cannot listen, such as that it is not running; then the ports are closed.
    TarvexError setListening(bool isListening);
    /// Closes the connections of \a client as the end of the server would; an empty \a client stands for all. Must not
    /// be called from a slot of this object's signals.
    void dropConnections(const QString& client);

    /// The faults that clients meet on purpose. They stay when the server stops. What perform() does meets none; the
    /// messages that it leads to may.
    Faults& faults() { return m_faults; }

Q_SIGNALS:
    /// A request was answered, handshakes included, or met with a silent fault; not emitted for frames that could not
    /// be understood. \a code is the reply's, and empty when a fault kept the request from being carried out in
    /// silence. With code 0 all that \a data asks for is committed, whatever fault the reply has met.
    void requestHandled(const QString& client, const QString& operation, std::optional<int> code,
                        const QVariantMap& data);
    /// A client has acknowledged a pushed message.
    void messageAcknowledged(const QString& client, const QString& uid);
    /// A client has met a fault on purpose.
    void faultMet();
    /// One line for each frame in and out.
    void traced(const QString& line);
    /// Something for the developer to know, in one line.
    void warning(const QString& text);
    /// The lists that clients() returns have changed.
    void clientsChanged();

private:
    TarvexError openPorts();
    void closePorts();
    static TarvexError listen(QTcpServer& server, quint16 port, int& passedSocket);
    TarvexError openStorage();
    void onStorageFailure(const QString& reason);
    void accept(QTcpServer& server, BusConnection::Port port);
    void addConnection(QTcpSocket* socket, BusConnection::Port port);
    void forget(BusConnection* connection);
    void removeConnection(BusConnection* connection);
    void closeConnection(BusConnection* connection);
    void releaseUnusedCodec();
    void onRequest(BusConnection* connection, const QVariantMap& envelope);
    void onReply(BusConnection* connection, const QVariantMap& envelope);
    void handleRequest(BusConnection* connection, const QString& operation, const QVariantMap& data);
    void handshake(BusConnection* connection, const QVariantMap& data);
    void noteTakeover(const BusConnection* newcomer, const QString& name);
    void refuse(BusConnection* connection, const QString& client, const QString& operation, const QVariantMap& data,
                const Fault& fault);
    void answer(BusConnection* connection, const QString& operation, const QVariantMap& data, const TarvexError& error,
                const QVariantMap& answerData = {}, const std::optional<Fault>& fault = {});

    const Options m_options;
    QDateTime m_startedAt;
    Counts m_counts;
    Faults m_faults;
    QElapsedTimer m_sinceStorageWarning;
    busframe::Codec m_codec; ///< Of all connections, which are dealt with one after another.
    QTcpServer m_queryServer;
    QTcpServer m_receiverServer;
    int m_querySocket; ///< Until it is used; -1 from then on, as if there had been none.
    int m_receiverSocket;
    std::unique_ptr<Storage> m_storage;
    std::unique_ptr<Delivery> m_delivery;
    std::unique_ptr<QueryService> m_queryService;
    QList<BusConnection*> m_connections;
    qint64 m_lastConnectionNumber = 0;
    traffic::FrameMemory m_frames;
    SeenNames m_seenNames;
    Takeovers m_takeovers;
};

} // namespace tarvex::devbus

#endif // BUSSERVER_H
