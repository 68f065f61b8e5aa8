#include "wire/bussocket_p.h"

#include <QHostAddress>
#include <QThread>

#include <poll.h>
#include <sys/ioctl.h>

namespace tarvex::bussocket {

namespace {

constexpr unsigned long CLOSE_PAUSE_MS = 100;

} // namespace

bool connectToServer(QTcpSocket& socket, quint16 port)
{
    if (socket.state() == QAbstractSocket::ClosingState) {
        // The server hung and has not taken our last bytes. Qt waits until it does, and cannot connect again meanwhile.
        // The signals are still blocked, so nobody notices the abort.
        socket.abort();
    }
    socket.blockSignals(false);
    if (socket.state() == QAbstractSocket::ConnectedState) {
        return true;
    }
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port, QIODevice::ReadWrite);
    return socket.state() == QAbstractSocket::ConnectedState || socket.waitForConnected(CONNECT_TIMEOUT_MS);
}

void disconnectFromServer(QTcpSocket& socket)
{
    socket.blockSignals(true);
    QThread::msleep(CLOSE_PAUSE_MS);
    socket.disconnectFromHost();
}

bool hasPeerGoneUnnoticed(const QTcpSocket& socket)
{
    const int descriptor = static_cast<int>(socket.socketDescriptor());
    pollfd entry{descriptor, POLLRDHUP, 0};
    int unread = 0;
    return ::poll(&entry, 1, 0) == 1 && (entry.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0
        && ::ioctl(descriptor, FIONREAD, &unread) == 0 && unread > 0;
}

bool isUsable(const QPointer<QTcpSocket>& socket)
{
    return socket && socket->isOpen() && socket->state() != QAbstractSocket::UnconnectedState;
}

} // namespace tarvex::bussocket
