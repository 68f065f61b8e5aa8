#ifndef CONTROLCLIENT_H
#define CONTROLCLIENT_H

#include "failure.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

class QDeadlineTimer;
class QLocalSocket;

/// The control socket, over which the development bus tells about itself. No other bus has one.
namespace tarvexctl {

/// The library waits this long for a reply of the bus as well.
constexpr int CONTROL_TIMEOUT_MS = 30000;
/// A bus that has just answered needs a millisecond. A hint on stderr is not worth a longer wait, because the wait
/// comes on top of the verb's --timeout.
constexpr int HINT_TIMEOUT_MS = 1000;

/// Connects to the control socket of the bus of this network namespace.
/// \return false when there is none, or when it belongs to another user
bool connectToControlSocket(QLocalSocket& socket, const QDeadlineTimer& deadline);

/// Asks the bus of this network namespace. Throws Failure: Refused with the bus's words, NoBus when the answer ends
/// early or is not an answer, TimedOut when it is not complete within \a timeoutMs.
/// \return the items of its answer; nothing when this bus has no such socket, or has it for another user
std::optional<QList<QVariantMap>> askControlSocket(const QVariantMap& request, int timeoutMs = CONTROL_TIMEOUT_MS);

/// The failure when a bus without a control socket is asked for its clients.
Failure cannotTellClients();

/// Whether the bus says that no client of this name has ever been there. False when the bus cannot tell, and for the
/// names that the library knows. Call it before the message is sent, and after the bus has accepted a connection: then
/// it answers here at once as well.
bool isUnknownToBus(const QString& client);

/// Says on stderr that a message goes to such a name.
void tellOfUnknownReceiver(const QString& receiver);

} // namespace tarvexctl

#endif // CONTROLCLIENT_H
