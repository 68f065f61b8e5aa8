#include "busconnection.h"

#include "trace.h"
#include "traffic/payloadproblem.h"

#include <QTcpSocket>
#include <QTimer>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tarvex::devbus {

using traffic::Direction;
using traffic::Kind;
using traffic::portName;
using traffic::SeenFrame;

BusConnection::BusConnection(QTcpSocket* socket, Port port, qint64 number, busframe::Codec& codec, Faults& faults,
                             QObject* parent)
    : QObject(parent)
    , m_socket(socket)
    , m_spareDescriptor(::fcntl(static_cast<int>(socket->socketDescriptor()), F_DUPFD_CLOEXEC, 0))
    , m_port(port)
    , m_number(number)
    , m_codec(codec)
    , m_faults(faults)
    , m_outgoing(*socket)
{
    m_socket->setParent(this);
    m_socket->setReadBufferSize(READ_BUFFER_SIZE);
    // A client waits for each answer before it goes on; holding small frames back would only slow it down.
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(m_socket, &QTcpSocket::readyRead, this, &BusConnection::onReadyRead);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &BusConnection::onBytesWritten);
    connect(m_socket, &QTcpSocket::errorOccurred, this, &BusConnection::onError);
    connect(m_socket, &QTcpSocket::disconnected, this, &BusConnection::onDisconnected);
    connect(&m_outgoing, &OutgoingFrames::passed, this, &BusConnection::onPassed);
    connect(&m_outgoing, &OutgoingFrames::closeWanted, this, &BusConnection::closeWhenWritten);
}

BusConnection::~BusConnection()
{
    closeSpareDescriptor();
}

void BusConnection::introduce(const QString& client)
{
    if (client != m_client) {
        m_introducedAt = QDateTime::currentDateTime();
    }
    m_client = client;
}

bool BusConnection::hasPeer() const
{
    pollfd peer{m_spareDescriptor, POLLRDHUP, 0};
    return !m_isClosing && m_spareDescriptor >= 0 && ::poll(&peer, 1, 0) == 0;
}

bool BusConnection::isCongested() const
{
    return m_socket->bytesToWrite() + m_outgoing.heldBytes() > MAX_WAITING_BYTES;
}

SeenFrame BusConnection::seenFrame(Kind kind, Direction direction) const
{
    SeenFrame frame;
    frame.kind = kind;
    frame.port = m_port;
    frame.direction = direction;
    frame.connection = m_number;
    frame.client = m_client;
    return frame;
}

std::optional<Fault> BusConnection::meetFault(Faults::Occasion::Kind kind, const QString& client,
                                              const QString& operation, const QVariantMap& data)
{
    std::optional<Fault> fault = m_faults.meet({kind, m_port, client, operation, data});
    if (fault) {
        Q_EMIT faultMet();
    }
    return fault;
}

void BusConnection::sendRequest(const QString& operation, const QVariantMap& data, const std::optional<Fault>& fault)
{
    SeenFrame frame = seenFrame(Kind::Request, Direction::Out);
    frame.operation = operation;
    frame.data = data;
    m_outgoing.add({m_codec.encodeRequest(operation, data), frame, fault});
}

void BusConnection::sendReply(const QString& operation, const TarvexError& error, const QVariantMap& data,
                              const std::optional<Fault>& fault)
{
    SeenFrame frame = seenFrame(Kind::Reply, Direction::Out);
    frame.operation = operation;
    frame.data = data;
    frame.code = error.error();
    frame.description = error.description();
    m_outgoing.add({m_codec.encodeReply(operation, error.error(), error.description(), data), frame, fault});
}

/// A frame of the bus is on its way, or was kept back by its fault.
void BusConnection::onPassed(const SeenFrame& frame, const QByteArray& payload)
{
    SeenFrame seenFrame = frame;
    seenFrame.size = payload.size();
    Q_EMIT seen(seenFrame, payload);
    if (m_isTracing) {
        Q_EMIT traced(trace::sentLine(frame));
    }
}

void BusConnection::closeWhenWritten()
{
    if (m_isClosing) {
        return;
    }
    m_isClosing = true;
    m_socket->readAll();
    QTimer::singleShot(CLOSE_TIMEOUT_MS, m_socket, &QTcpSocket::abort);
    m_socket->flush();
    if (m_outgoing.isEmpty()) {
        closeSocket();
    } else {
        connect(&m_outgoing, &OutgoingFrames::emptied, this, &BusConnection::closeSocket);
    }
}

void BusConnection::closeSocket()
{
    m_socket->flush();
    m_socket->disconnectFromHost();
}

void BusConnection::onReadyRead()
{
    if (m_isClosing) {
        // The bytes are read and dropped. Unread bytes would turn the close into a reset, and the client would lose the
        // answer.
        m_socket->readAll();
        return;
    }
    processFrames();
}

void BusConnection::onBytesWritten()
{
    if (m_isClosing || isCongested()) {
        return;
    }
    Q_EMIT writable();
    scheduleFrames();
}

/// A client that ends while something is pushed to it resets the connection. When Qt notices the reset during a write,
/// it closes its descriptor and forgets the bytes that it has not read yet. The system still has these bytes, and the
/// spare descriptor can read them. They may hold acknowledgements, which count.
void BusConnection::onError()
{
    if (m_port != Port::Receiver || m_isClosing) {
        return;
    }
    m_stream.append(m_socket->readAll());
    QByteArray bytes(READ_BUFFER_SIZE, Qt::Uninitialized);
    ssize_t count = 0;
    do {
        while (!m_isClosing && processFrame()) { }
        count = ::recv(m_spareDescriptor, bytes.data(), static_cast<std::size_t>(bytes.size()), MSG_DONTWAIT);
        m_stream.append(bytes.left(static_cast<int>(qMax<ssize_t>(0, count))));
    } while (count > 0 && !m_isClosing);
}

void BusConnection::onDisconnected()
{
    m_outgoing.clear();
    m_isClosing = true;     // nothing is read any more
    closeSpareDescriptor(); // the system tells the client of the end only when this one is closed too
    Q_EMIT closed();
}

/// The frames that waited for room are read later, after the other clients have had their turn. They must not be read
/// here, in the middle of Qt's writing: no further bytesWritten() reports what is flushed there, so nothing would wake
/// this object again.
void BusConnection::scheduleFrames()
{
    if (!m_isScheduled) {
        m_isScheduled = true;
        QMetaObject::invokeMethod(this, &BusConnection::processFrames, Qt::QueuedConnection);
    }
}

void BusConnection::processFrames()
{
    m_isScheduled = false;
    const bool isFinished = takeFrames();
    // Written at once, because Qt drops what still waits when it sees that the client has closed its own direction.
    m_socket->flush();
    if (!isFinished && !isCongested()) {
        scheduleFrames();
    }
}

/// \return false when it has stopped for lack of room, true when it has read everything that is there.
bool BusConnection::takeFrames()
{
    while (!m_isClosing && !isCongested()) {
        if (processFrame()) {
            continue;
        }
        const QByteArray bytes = m_socket->read(READ_BUFFER_SIZE);
        if (bytes.isEmpty()) {
            return true;
        }
        m_stream.append(bytes);
    }
    return m_isClosing;
}

/// \return false when there is no whole frame.
bool BusConnection::processFrame()
{
    Frame frame;
    switch (m_stream.next(frame)) {
    case FrameStream::Incomplete:
        return false;
    case FrameStream::Complete:
        processPayload(frame);
        return true;
    case FrameStream::UnknownHeader:
        loseTrack(TarvexError::IncorrectRequestData, QStringLiteral("unknown header: "));
        return true;
    case FrameStream::WrongSize:
        loseTrack(TarvexError::IncorrectRequestSize, QStringLiteral("wrong size: "));
        return true;
    }
    return false;
}

void BusConnection::processPayload(const Frame& frame)
{
    const busframe::Decoded decoded = m_codec.decodePayload(frame.payload);
    if (decoded.envelope.isEmpty()) {
        const QString what = QStringLiteral("%1 bytes of payload that hold no envelope").arg(frame.payload.size());
        tell(what, frame.payload.size(), traffic::payloadProblem(frame.payload, decoded));
        sendReply({}, TarvexError(TarvexError::IncorrectRequestData), {});
        return;
    }
    SeenFrame seenFrame = this->seenFrame(frame.isReply ? Kind::Reply : Kind::Request);
    traffic::readEnvelope(decoded.envelope, seenFrame);
    seenFrame.size = frame.payload.size();
    Q_EMIT seen(seenFrame, frame.payload);
    if (m_isTracing) {
        Q_EMIT traced(
            trace::frameLine(trace::Direction::In, portName(m_port), m_client, frame.isReply, decoded.envelope));
    }
    if (frame.isReply) {
        Q_EMIT replyReceived(decoded.envelope);
    } else {
        Q_EMIT requestReceived(decoded.envelope);
    }
}

void BusConnection::loseTrack(TarvexError::Error error, const QString& what)
{
    const QString problem = what + m_stream.lostLine();
    tell(problem, 0, problem);
    sendReply({}, TarvexError(error), {});
    closeWhenWritten();
}

void BusConnection::closeSpareDescriptor()
{
    if (m_spareDescriptor >= 0) {
        ::close(std::exchange(m_spareDescriptor, -1));
    }
}

/// Tells those who watch about bytes that are no frame. \a problem says more than the line of the trace, which stays as
/// it is.
void BusConnection::tell(const QString& what, int size, const QString& problem)
{
    SeenFrame frame = seenFrame(Kind::Bad);
    frame.problem = problem;
    frame.size = size;
    Q_EMIT seen(frame, {});
    if (m_isTracing) {
        Q_EMIT traced(trace::noticeLine(portName(m_port), m_client, what));
    }
}

} // namespace tarvex::devbus
