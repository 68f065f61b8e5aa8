#include "client/socketreader_p.h"

#include "client/busframe_p.h"

#include <QElapsedTimer>
#include <QThread>

#include <algorithm>

namespace tarvex::socketreader {

namespace {

constexpr unsigned long ROUND_PAUSE_MS = 10;
/// One round for so many bytes, and one round more.
constexpr qint32 BYTES_PER_ROUND = 100;

/// Keeps the socket quiet while bytes are taken in, and makes up for the signals of a lost connection.
///
/// Taking bytes in goes through waitForReadyRead(0), which reports "nothing there" as a time-out error and new bytes as
/// readyRead(): the one would be logged, the other would read the same payload a second time, nested.
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

    /// Takes in until \a size bytes can be read or the system holds no more.
    void takeInUpTo(qint64 size)
    {
        while (m_socket && m_socket->bytesAvailable() < size && takeIn()) { }
    }

    bool isConnected() const { return m_socket && m_socket->state() == QAbstractSocket::ConnectedState; }

private:
    /// In Qt's order. The error is the loss, never a time-out: once connected no more, nothing is taken in any more.
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

} // namespace

bool awaitLine(const QPointer<QTcpSocket>& socket)
{
    if (socket && !hasLine(*socket)) {
        QuietSocket quiet(socket);
        quiet.takeIn();
        if (!hasLine(*socket) && quiet.isConnected()) {
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

QByteArray readPayload(const QPointer<QTcpSocket>& socket, qint32 size)
{
    QByteArray payload;
    if (size > busframe::MAX_PAYLOAD_SIZE) {
        return payload;
    }
    QuietSocket quiet(socket);
    QElapsedTimer silence;
    silence.start();
    for (qint32 round = 0; payload.size() < size && round <= size / BYTES_PER_ROUND; ++round) {
        if (!socket) {
            break;
        }
        const qint64 missing = size - payload.size();
        quiet.takeInUpTo(missing);
        // read() allocates what it is asked for, so it is asked for no more than has come.
        const QByteArray piece = socket->read(std::min(missing, socket->bytesAvailable()));
        payload += piece;
        if (!piece.isEmpty()) {
            silence.start();
        } else if (!quiet.isConnected() || QThread::currentThread()->isInterruptionRequested()
                   || silence.hasExpired(busframe::PAYLOAD_SILENCE_TIMEOUT_MS)) {
            // Not before a round that brought nothing: a worker that is being stopped still saves its state, and the
            // answer to that is here.
            break;
        }
        QThread::msleep(ROUND_PAUSE_MS);
    }
    return payload;
}

} // namespace tarvex::socketreader
