#ifndef CONNECTIONFAILURES_H
#define CONNECTIONFAILURES_H

#include "failure.h"

#include <QString>

class QObject;
class QTcpSocket;

/// What goes wrong with either connection to the bus, in the same words.
namespace tarvexctl {

/// The socket of a connection of the library's. The library makes one for each connection and keeps it.
QTcpSocket* socketOf(const QObject& connection);

/// Nobody listens there. The words end with the socket's own.
Failure unreachable(const QObject& connection);

Failure handshakeRefused(const QString& name);

Failure closedInHandshake();

Failure closed();

Failure silence();

/// Somebody has answered, and it is not a bus: \a shown is what came.
Failure notUnderstood(const QString& shown);

} // namespace tarvexctl

#endif // CONNECTIONFAILURES_H
