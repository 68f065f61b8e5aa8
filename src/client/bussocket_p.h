#ifndef BUSSOCKET_P_H
#define BUSSOCKET_P_H

#include <QPointer>
#include <QTcpSocket>

/// What the two bus connections do alike with their sockets.
namespace tarvex::bussocket {

constexpr quint16 QUERY_PORT = 45535;
constexpr quint16 RECEIVER_PORT = 45537;
constexpr int CONNECT_TIMEOUT_MS = 30000;
constexpr int WRITE_TIMEOUT_MS = 30000;

/// Connects to \a port on 127.0.0.1, unless connected already, and lets the socket's signals through again.
/// Blocks for up to CONNECT_TIMEOUT_MS.
bool connectToServer(QTcpSocket& socket, quint16 port);

/// Closes the connection without a word: the socket's signals stay blocked until connectToServer(). Blocks for 100 ms.
void disconnectFromServer(QTcpSocket& socket);

/// True when there is a connection, or one is being made or ended.
bool isUsable(const QPointer<QTcpSocket>& socket);

} // namespace tarvex::bussocket

#endif // BUSSOCKET_P_H
