#include "wire/socketreader_p.h"

#include "wire/busframe_p.h"

#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <sys/ioctl.h>

namespace tarvex::socketreader {

namespace {

constexpr unsigned long ROUND_PAUSE_MS = 10;
/// A payload gets one round for each piece of this many bytes, and one round more.
constexpr qint32 BYTES_PER_ROUND = 100;
/// A line and a small payload get this many. Our own system delays its TCP acknowledgements, which holds up a peer that
/// writes a frame in several calls for 40 ms, and for longer on a loaded machine.
constexpr qint32 MIN_ROUNDS = 20;

/// Blocks the socket's signals while bytes are taken in, and emits those of a lost connection afterwards.
///
/// Bytes are taken in by waitForReadyRead(0). It emits a time-out error if there are none, which would be logged, and
/// readyRead() if there are some, whose slot would read the same payload a second time, nested.
class QuietSocket
{
public:
    explicit QuietSocket(const QPointer<QTcpSocket>& socket)
        : m_socket(socket), m_wasConnected(isConnected()), m_wereBlocked(socket && socket->blockSignals(true))
    {
    }

    ~QuietSocket()
    {
        if (!m_socket) {
            return;
        }
        m_socket->blockSignals(m_wereBlocked);
        if (m_wasConnected && !isConnected()) {
            reportLoss();
        }
    }
    Q_DISABLE_COPY_MOVE(QuietSocket)

    /// \return whether anything was taken in.
    bool takeIn() { return isConnected() && m_socket->waitForReadyRead(0); }

    /// Takes in what the system holds, until \a size bytes can be read.
    void takeInUpTo(qint64 size)
    {
        while (m_socket && m_socket->bytesAvailable() < size && takeIn()) { }
    }

    bool isConnected() const { return m_socket && m_socket->state() == QAbstractSocket::ConnectedState; }

private:
    /// In Qt's order. The error is never a time-out, because nothing is taken in after the connection was lost.
    void reportLoss()
    {
        Q_EMIT m_socket->errorOccurred(m_socket->error());
        if (m_socket) {
            Q_EMIT m_socket->disconnected();
        }
    }

    const QPointer<QTcpSocket> m_socket;
    const bool m_wasConnected;
    const bool m_wereBlocked;
};

bool hasLine(const QTcpSocket& socket)
{
    return socket.canReadLine() || socket.bytesAvailable() >= busframe::LINE_READ_LIMIT - 1;
}

/// Takes in one payload.
class PayloadReader
{
public:
    PayloadReader(const QPointer<QTcpSocket>& socket, qint32 size, const GiveUp& giveUp)
        : m_socket(socket), m_quiet(socket), m_size(size), m_giveUp(giveUp)
    {
        m_duration.start();
        m_silence.start();
    }

    bool isComplete() const { return m_payload.size() >= m_size; }

    /// Takes in what there is. \return whether there was anything.
    bool look()
    {
        const int before = m_payload.size();
        // Qt's buffer may be smaller than what the system holds.
        while (!isComplete() && m_socket) {
            const qint64 missing = m_size - m_payload.size();
            m_quiet.takeInUpTo(missing);
            // read() allocates as much as it is asked for, so ask for no more than has come.
            const QByteArray piece = m_socket->read(std::min(missing, m_socket->bytesAvailable()));
            if (piece.isEmpty()) {
                break;
            }
            m_payload += piece;
        }
        if (m_payload.size() == before) {
            return false;
        }
        m_silence.start();
        return true;
    }

    /// Whether to wait for more after \a round.
    bool isPatient(qint32 round, bool hasBrought) const
    {
        // In the first rounds an interruption does not count, because a worker that is being stopped still saves its
        // state. After them, a worker that is to end does not wait for a payload that comes slowly.
        if (round >= MIN_ROUNDS && (QThread::currentThread()->isInterruptionRequested() || m_giveUp())) {
            return false;
        }
        return hasBrought
            || (m_quiet.isConnected() && !m_giveUp() && !m_silence.hasExpired(busframe::PAYLOAD_SILENCE_TIMEOUT_MS));
    }

    bool isOverdue() const { return m_duration.hasExpired(busframe::PAYLOAD_TIMEOUT_MS); }

    QByteArray payload() const { return m_payload; }

private:
    const QPointer<QTcpSocket> m_socket;
    QuietSocket m_quiet;
    const qint32 m_size;
    const GiveUp& m_giveUp;
    QElapsedTimer m_duration;
    QElapsedTimer m_silence;
    QByteArray m_payload;
};

} // namespace

bool awaitLine(const QPointer<QTcpSocket>& socket)
{
    if (socket && !hasLine(*socket)) {
        QuietSocket quiet(socket);
        quiet.takeIn();
        for (qint32 round = 0; round < MIN_ROUNDS && !hasLine(*socket) && quiet.isConnected(); ++round) {
            QThread::msleep(ROUND_PAUSE_MS);
            quiet.takeIn();
        }
    }
    return socket && hasLine(*socket);
}

QByteArray readLine(const QPointer<QTcpSocket>& socket)
{
    awaitLine(socket);
    return socket ? socket->readLine(busframe::LINE_READ_LIMIT) : QByteArray();
}

QByteArray readPayload(const QPointer<QTcpSocket>& socket, qint32 size, const GiveUp& giveUp)
{
    if (size > busframe::MAX_PAYLOAD_SIZE) {
        return {};
    }
    PayloadReader reader(socket, size, giveUp);
    const qint32 rounds = std::max(MIN_ROUNDS, size / BYTES_PER_ROUND + 1);
    for (qint32 round = 0; round < rounds && !reader.isComplete() && !reader.isOverdue(); ++round) {
        const bool hasBrought = reader.look();
        if (!reader.isComplete() && !reader.isPatient(round, hasBrought)) {
            return reader.payload();
        }
        QThread::msleep(ROUND_PAUSE_MS);
    }
    // What came during the last pause belongs to the payload.
    reader.look();
    return reader.payload();
}

bool hasUnaskedBytes(const QPointer<QTcpSocket>& socket)
{
    int waiting = 0;
    // Ask the system first, because Qt emits an error if there is nothing.
    if (socket && socket->bytesAvailable() == 0
        && ::ioctl(static_cast<int>(socket->socketDescriptor()), FIONREAD, &waiting) == 0 && waiting > 0) {
        QuietSocket(socket).takeIn();
    }
    return socket && socket->bytesAvailable() > 0;
}

} // namespace tarvex::socketreader
