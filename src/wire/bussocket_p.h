#ifndef BUSSOCKET_P_H
#define BUSSOCKET_P_H

#include <QElapsedTimer>
#include <QPointer>
#include <QTcpSocket>

#include <utility>

/// What the two bus connections do alike with their sockets.
namespace tarvex::bussocket {

constexpr int CONNECT_TIMEOUT_MS = 30000;
constexpr int WRITE_TIMEOUT_MS = 30000;
/// Qt buffers at most this many bytes that the server has sent. TCP makes the server wait with the rest.
constexpr qint64 READ_BUFFER_SIZE = 256LL * 1024;
/// A connection that is lost within this time after it was opened is not opened again at once, in ms. Otherwise a
/// server that accepts and drops, or a second process with the same name, would keep both sides busy with nothing else.
constexpr int EARLY_LOSS_MS = 1000;

/// Connects to \a port on 127.0.0.1, unless the socket is connected already, and unblocks the socket's signals.
/// Blocks for up to CONNECT_TIMEOUT_MS.
bool connectToServer(QTcpSocket& socket, quint16 port);

/// Closes the connection. Blocks for 100 ms. The socket emits nothing: its signals stay blocked until
/// connectToServer().
void disconnectFromServer(QTcpSocket& socket);

/// Writes \a frame. Blocks for up to WRITE_TIMEOUT_MS, until the system has taken at least a part of it. Qt writes the
/// rest during the next wait. \return false if there is no connection, or it is lost, or the time is over.
bool write(QTcpSocket& socket, const QByteArray& frame);

/// True if there is a connection, or one is being opened or closed.
bool isUsable(const QPointer<QTcpSocket>& socket);

/// True if the server has closed the connection and Qt does not know it yet, because Qt's buffer is bounded and some of
/// what the server sent before is still in the system. A write would fail then, and Qt would throw away what it has.
bool hasPeerGoneUnnoticed(const QTcpSocket& socket);

/// How old a connection was when it was lost.
class ConnectionAge
{
public:
    /// To be called when the connection is about to be opened.
    void noteOpening() { m_sinceOpen.invalidate(); }

    /// To be called when it is open.
    void noteOpened() { m_sinceOpen.start(); }

    /// To be called when it was lost, or could not be opened.
    void noteLoss()
    {
        m_isEarlyLoss = !m_sinceOpen.isValid() || !m_sinceOpen.hasExpired(EARLY_LOSS_MS);
        if (m_isEarlyLoss) {
            m_sinceEarlyLoss.start();
        }
    }

    /// Whether the last early loss is so recent that no connection is to be opened yet.
    bool isCoolingDown() const { return m_sinceEarlyLoss.isValid() && !m_sinceEarlyLoss.hasExpired(COOLING_DOWN_MS); }

    /// \return whether the connection was lost within EARLY_LOSS_MS. The next call returns false.
    bool takeEarlyLoss() { return std::exchange(m_isEarlyLoss, false); }

private:
    /// A little less than the interval of the workers, because their timers may fire early.
    static constexpr int COOLING_DOWN_MS = 4500;

    QElapsedTimer m_sinceOpen;
    QElapsedTimer m_sinceEarlyLoss;
    bool m_isEarlyLoss = false;
};

} // namespace tarvex::bussocket

#endif // BUSSOCKET_P_H
