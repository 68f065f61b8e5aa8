#ifndef CONTROLSERVICE_H
#define CONTROLSERVICE_H

#include "controlserver.h"

#include <QVariantMap>

namespace tarvex::devbus {

class BusServer;

/// The requests of the control socket. Most ask the bus about itself.
///
/// - "about": one item about the bus itself: program, version, pid, startedAt, startedAtUtc, storage, storageBytes,
/// storageError, connections, requests, acknowledged, keep, resendMs.
/// - "clients": an item for each client that is connected or has something stored: name, querySince, queryConnections,
/// receiverSince, takeovers, waiting, subscriptions, settings, state.
/// - "known", with a name: one item, isKnown. It says whether that client has connected since the bus started or has
/// stored anything.
/// - "settings": an item for each owner with settings: owner, count, date, description.
/// - "states": the record of each stored state.
/// - "frames", with a number "last": the last frames that passed, so many of them at most, and then each one as it
/// passes, without an end. Without the number only the latter. See traffic::SeenFrame.
/// - "faults": an item for each fault on purpose: number, rule (its text form), hits.
///
/// These change what the bus does:
///
/// - "addFault", with a rule: adds it; its item as in "faults".
/// - "clearFaults", with a list of numbers: removes them all, or none when one is not there; their items. Without the
/// list it removes all faults.
class ControlService
{
public:
    /// \a server must run while requests come.
    explicit ControlService(BusServer& server) : m_server(server) { }

    ControlServer::Answer handle(const QVariantMap& request);

private:
    ControlServer::Answer about(const QVariantMap& request);
    ControlServer::Answer clients(const QVariantMap& request);
    ControlServer::Answer known(const QVariantMap& request);
    ControlServer::Answer settings(const QVariantMap& request);
    ControlServer::Answer states(const QVariantMap& request);
    ControlServer::Answer frames(const QVariantMap& request);
    ControlServer::Answer faults(const QVariantMap& request);
    ControlServer::Answer addFault(const QVariantMap& request);
    ControlServer::Answer clearFaults(const QVariantMap& request);

    BusServer& m_server;
};

} // namespace tarvex::devbus

#endif // CONTROLSERVICE_H
