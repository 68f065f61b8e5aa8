#ifndef CONTROLCLIENT_H
#define CONTROLCLIENT_H

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

/// The development bus's control socket, over which it tells about itself. No other bus has one.
namespace tarvexctl {

/// As long as the library waits for a reply of the bus.
constexpr int CONTROL_TIMEOUT_MS = 30000;

/// Asks the bus of this network namespace.
/// \return the items of its answer; nothing when this bus has no such socket, or not for this user.
/// Throws Failure: Refused with what the bus says is wrong; NoBus when the answer ends early or is none, TimedOut when
/// it is not complete within \a timeoutMs.
std::optional<QList<QVariantMap>> askControlSocket(const QVariantMap& request, int timeoutMs = CONTROL_TIMEOUT_MS);

/// Whether the bus can tell that nobody of this name has ever been there. False when it cannot, and for the names that
/// the library knows. To be asked before a message is sent, and with the bus at hand: one that has just answered does
/// so here too, at once.
bool isUnknownToBus(const QString& client);

/// The word on stderr for a message to such a name.
void tellOfUnknownReceiver(const QString& receiver);

} // namespace tarvexctl

#endif // CONTROLCLIENT_H
