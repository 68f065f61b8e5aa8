#include "wire/bussocket_p.h"

#include <QHostAddress>
#include <QThread>

#include <algorithm>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace tarvex::bussocket {

namespace {

constexpr unsigned long CLOSE_PAUSE_MS = 100;

/// Gives \a bytes to the system directly. Qt would switch its notifier for writing on and off, which costs two wake-ups
/// of the event loop, and would wait for room before it writes. \return how many bytes the system has taken.
int writeDirectly(const QTcpSocket& socket, const QByteArray& bytes)
{
    if (socket.state() != QAbstractSocket::ConnectedState || socket.bytesToWrite() > 0) {
        return 0;
    }
    const auto written = ::send(static_cast<int>(socket.socketDescriptor()), bytes.constData(),
                                static_cast<std::size_t>(bytes.size()), MSG_DONTWAIT | MSG_NOSIGNAL);
    // An error shows itself to Qt as well, which reports it.
    return std::max(0, static_cast<int>(written));
}

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

bool write(QTcpSocket& socket, const QByteArray& frame)
{
    const int written = writeDirectly(socket, frame);
    return written == frame.size()
        || (socket.write(frame.constData() + written, frame.size() - written) >= 0
            && (written > 0 || socket.waitForBytesWritten(WRITE_TIMEOUT_MS)));
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
