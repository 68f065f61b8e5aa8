#ifndef CONNECTIONFAILURES_H
#define CONNECTIONFAILURES_H

#include "failure.h"

#include <QString>

class QObject;
class QTcpSocket;

/// The failures of both connections to the bus, so that the words are the same.
namespace tarvexctl {

/// The socket of one of the library's connections. The library makes it together with the connection and never replaces
/// it.
QTcpSocket* socketOf(const QObject& connection);

/// No server listens. The words end with the socket's own error text.
Failure unreachable(const QObject& connection);

Failure handshakeRefused(const QString& name);

Failure closedInHandshake();

Failure closed();

Failure silence();

/// The server has answered and is not a bus. \a shown is what came.
Failure notUnderstood(const QString& shown);

} // namespace tarvexctl

#endif // CONNECTIONFAILURES_H
