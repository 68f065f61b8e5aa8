#ifndef BUSCONNECTION_H
#define BUSCONNECTION_H

#include "records/tarvexerror.h"
#include "wire/framestream_p.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QVariantMap>

class QTcpSocket;

namespace tarvex::devbus {

/// One connection of a client, from the server's side: envelopes in and out, and no more memory than a bounded amount
/// for either direction.
///
/// While more than MAX_WAITING_BYTES wait to be written to the client nothing more is read from it. Frames that cannot
/// be understood are answered here; where the place in the stream is lost, the connection ends after that answer.
class BusConnection : public QObject
{
    Q_OBJECT
public:
    enum class Port {
        Query,    ///< The client asks.
        Receiver, ///< The server pushes.
    };

    static constexpr qint64 MAX_WAITING_BYTES = 1 << 20;
    static constexpr qint64 READ_BUFFER_SIZE = 1 << 16;
    /// A client that does not take the last answer is cut off after this long, in ms.
    static constexpr int CLOSE_TIMEOUT_MS = 5000;

    /// Takes over \a socket, which is connected.
    BusConnection(QTcpSocket* socket, Port port, QObject* parent);
    ~BusConnection() override;

    Port port() const { return m_port; }

    /// The name from the handshake; empty as long as the client has not introduced itself.
    QString client() const { return m_client; }

    bool isIntroduced() const { return !m_client.isEmpty(); }

    void introduce(const QString& client);

    /// When the client has introduced itself by its present name.
    QDateTime introducedAt() const { return m_introducedAt; }

    /// Whether the client is still at its end, as far as the system knows; what it has sent may wait to be read.
    bool hasPeer() const;

    void setTracing(bool isOn) { m_isTracing = isOn; }

    /// True while the client takes less than it is sent. writable() follows.
    bool isCongested() const;

    void sendRequest(const QString& operation, const QVariantMap& data);
    void sendReply(const QString& operation, const TarvexError& error, const QVariantMap& data);

    /// Takes no more from the client, and closes once all that was sent has been written.
    void closeWhenWritten();

Q_SIGNALS:
    void requestReceived(const QVariantMap& envelope);
    void replyReceived(const QVariantMap& envelope);
    /// There is room to send again.
    void writable();
    /// The connection is gone; emitted once.
    void closed();
    /// A frame for the trace; only while tracing is on.
    void traced(const QString& line);

private:
    void onReadyRead();
    void onBytesWritten();
    void onError();
    void onDisconnected();
    void scheduleFrames();
    void processFrames();
    bool takeFrames();
    bool processFrame();
    void processPayload(const Frame& frame);
    void loseTrack(TarvexError::Error error, const QString& what);
    void traceNotice(const QString& what);

    void closeSpareDescriptor();

    QTcpSocket* const m_socket;
    int m_spareDescriptor; ///< Of the same connection as the socket's.
    const Port m_port;
    FrameStream m_stream;
    QString m_client;
    QDateTime m_introducedAt;
    bool m_isScheduled = false;
    bool m_isClosing = false;
    bool m_isTracing = false;
};

} // namespace tarvex::devbus

#endif // BUSCONNECTION_H
