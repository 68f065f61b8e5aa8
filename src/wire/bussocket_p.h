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
/// So many bytes Qt buffers of what the server sends; TCP makes the server wait with the rest.
constexpr qint64 READ_BUFFER_SIZE = 256LL * 1024;
/// A connection that is lost so soon after it was opened is not made anew at once, in ms: a server that accepts and
/// drops, or a second process of the same name, would keep both sides busy with nothing else.
constexpr int EARLY_LOSS_MS = 1000;

/// Connects to \a port on 127.0.0.1, unless connected already, and lets the socket's signals through again.
/// Blocks for up to CONNECT_TIMEOUT_MS.
bool connectToServer(QTcpSocket& socket, quint16 port);

/// Closes the connection without a word: the socket's signals stay blocked until connectToServer(). Blocks for 100 ms.
void disconnectFromServer(QTcpSocket& socket);

/// True when there is a connection, or one is being made or ended.
bool isUsable(const QPointer<QTcpSocket>& socket);

/// True when the server has gone and Qt cannot know yet: it has not taken in all that the server sent before, because
/// its buffer is bounded. A write would fail then, and Qt would throw away what it has.
bool hasPeerGoneUnnoticed(const QTcpSocket& socket);

/// How old a connection was when it was lost.
class ConnectionAge
{
public:
    /// A connection is being made.
    void noteOpening() { m_sinceOpen.invalidate(); }

    /// It has been made.
    void noteOpened() { m_sinceOpen.start(); }

    /// It was lost, also before it had been made.
    void noteLoss()
    {
        m_isEarlyLoss = !m_sinceOpen.isValid() || !m_sinceOpen.hasExpired(EARLY_LOSS_MS);
        if (m_isEarlyLoss) {
            m_sinceEarlyLoss.start();
        }
    }

    /// Whether the last early loss is so recent that no connection is to be made.
    bool isCoolingDown() const { return m_sinceEarlyLoss.isValid() && !m_sinceEarlyLoss.hasExpired(COOLING_DOWN_MS); }

    /// \return whether it was lost within EARLY_LOSS_MS, the first time after that.
    bool takeEarlyLoss() { return std::exchange(m_isEarlyLoss, false); }

private:
    /// A little less than the workers' interval: their timers may be early.
    static constexpr int COOLING_DOWN_MS = 4500;

    QElapsedTimer m_sinceOpen;
    QElapsedTimer m_sinceEarlyLoss;
    bool m_isEarlyLoss = false;
};

} // namespace tarvex::bussocket

#endif // BUSSOCKET_P_H
