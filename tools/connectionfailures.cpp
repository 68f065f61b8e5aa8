#include "connectionfailures.h"

#include "programwords.h"

#include <QTcpSocket>

namespace tarvexctl {

QTcpSocket* socketOf(const QObject& connection)
{
    return connection.findChild<QTcpSocket*>();
}

Failure unreachable(const QObject& connection)
{
    return Failure(NoBus, Words::tr("no bus to be reached on 127.0.0.1: %1").arg(socketOf(connection)->errorString()));
}

Failure handshakeRefused(const QString& name)
{
    return Failure(NoBus, Words::tr("the bus refused the handshake of \"%1\"").arg(name));
}

Failure closedInHandshake()
{
    return Failure(NoBus, Words::tr("the bus closed the connection during the handshake"));
}

Failure closed()
{
    return Failure(NoBus, Words::tr("the bus closed the connection"));
}

Failure silence()
{
    return Failure(TimedOut, Words::tr("the bus is there, but nothing came within 30 s"));
}

Failure notUnderstood(const QString& shown)
{
    return Failure(NoBus, Words::tr("what answered is no reply of the bus: %1").arg(shown));
}

} // namespace tarvexctl
