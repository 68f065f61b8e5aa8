#ifndef BUSCONNECTION_H
#define BUSCONNECTION_H

#include "faults.h"
#include "outgoingframes.h"
#include "records/tarvexerror.h"
#include "traffic/seenframe.h"
#include "wire/busframe_p.h"
#include "wire/framestream_p.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <optional>

class QTcpSocket;

namespace tarvex::devbus {

/// The server's side of one connection of a client. Envelopes go in and out; the memory for each direction is bounded.
///
/// Nothing is read from the client while more than MAX_WAITING_BYTES wait to be written to it. A frame that cannot be
/// understood is answered here. If the place in the stream is lost, the connection ends after that answer.
class BusConnection : public QObject
{
    Q_OBJECT
public:
    using Port = traffic::Port;

    static constexpr qint64 MAX_WAITING_BYTES = 1 << 20;
    static constexpr qint64 READ_BUFFER_SIZE = 1 << 16;
    /// A client that does not take the last answer is cut off after this long, in ms.
    static constexpr int CLOSE_TIMEOUT_MS = 5000;

    /// Becomes the owner of \a socket, which is connected. \a number tells it from all other connections. Uses \a codec
    /// for all its frames. All connections share one, because the memory that it keeps for the next frame is much for
    /// two hundred connections. \a faults are those of the bus.
    BusConnection(QTcpSocket* socket, Port port, qint64 number, busframe::Codec& codec, Faults& faults,
                  QObject* parent);
    ~BusConnection() override;

    Port port() const { return m_port; }

    qint64 number() const { return m_number; }

    /// An event or a frame of this connection, for those who watch the bus; the rest is to be filled in.
    traffic::SeenFrame seenFrame(traffic::Kind kind, traffic::Direction direction = traffic::Direction::In) const;

    /// The name from the handshake; empty until the client introduces itself.
    QString client() const { return m_client; }

    bool isIntroduced() const { return !m_client.isEmpty(); }

    void introduce(const QString& client);

    /// The time at which the client took its present name.
    QDateTime introducedAt() const { return m_introducedAt; }

    /// Whether the client has its end of the connection still open, as far as the system knows. Bytes that it has sent
    /// may still wait to be read.
    bool hasPeer() const;

    void setTracing(bool isOn) { m_isTracing = isOn; }

    /// True while too much waits to be written to the client. writable() is emitted when there is room again.
    bool isCongested() const;

    /// The fault that this client meets now, if any. \a client is its name, also before it has taken that.
    std::optional<Fault> meetFault(Faults::Occasion::Kind kind, const QString& client, const QString& operation,
                                   const QVariantMap& data);

    /// Whether there may be a fault for messages that are acknowledged.
    bool mayPushAgain() const { return m_faults.hasPushAgain(); }

    // What is sent suffers the fault that it has met.

    void sendRequest(const QString& operation, const QVariantMap& data, const std::optional<Fault>& fault = {});
    void sendReply(const QString& operation, const TarvexError& error, const QVariantMap& data,
                   const std::optional<Fault>& fault = {});

    /// Reads nothing more from the client, and closes the connection when everything that was sent has been written.
    void closeWhenWritten();

Q_SIGNALS:
    void requestReceived(const QVariantMap& envelope);
    void replyReceived(const QVariantMap& envelope);
    /// There is room to send again.
    void writable();
    /// The client has met a fault on purpose.
    void faultMet();
    /// The connection is gone; emitted once.
    void closed();
    /// One line of the trace. Emitted only while tracing is on.
    void traced(const QString& line);
    /// A frame has come or was sent, or bytes came that are none. \a payload is the frame's, as it is on the wire.
    void seen(const tarvex::traffic::SeenFrame& frame, const QByteArray& payload);

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
    void onPassed(const traffic::SeenFrame& frame, const QByteArray& payload);
    void tell(const QString& what, int size, const QString& problem);
    void closeSocket();
    void closeSpareDescriptor();

    QTcpSocket* const m_socket;
    int m_spareDescriptor; ///< Another one for the socket's connection; -1 when it is closed.
    const Port m_port;
    const qint64 m_number;
    busframe::Codec& m_codec;
    Faults& m_faults;
    OutgoingFrames m_outgoing;
    FrameStream m_stream;
    QString m_client;
    QDateTime m_introducedAt;
    bool m_isScheduled = false;
    bool m_isClosing = false;
    bool m_isTracing = false;
};

} // namespace tarvex::devbus

#endif // BUSCONNECTION_H
