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
/// - "settingsOf", with a name: an item for each setting of that client: group, key, value.
/// - "states": the record of each stored state.
/// - "frames", with a number "last": the last frames that passed, so many of them at most, and then each one as it
/// passes, without an end. Without the number only the latter. See traffic::SeenFrame.
/// - "commands": an item for each command that messages have carried to the bus lately, the last one first: name,
/// receiver. Lately is what MAX_COMMAND_FRAMES and MAX_COMMAND_BYTES allow.
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
    /// The answer to "commands" looks at so many of the last frames, because the clients of the bus wait meanwhile,
    static constexpr int MAX_COMMAND_FRAMES = 1000;
    /// and at so many bytes of payload.
    static constexpr int MAX_COMMAND_BYTES = 512 * 1024;

    /// \a server must run while requests come.
    explicit ControlService(BusServer& server) : m_server(server) { }

    ControlServer::Answer handle(const QVariantMap& request);

private:
    ControlServer::Answer about(const QVariantMap& request);
    ControlServer::Answer clients(const QVariantMap& request);
    ControlServer::Answer known(const QVariantMap& request);
    ControlServer::Answer settings(const QVariantMap& request);
    ControlServer::Answer settingsOf(const QVariantMap& request);
    ControlServer::Answer states(const QVariantMap& request);
    ControlServer::Answer frames(const QVariantMap& request);
    ControlServer::Answer commands(const QVariantMap& request);
    ControlServer::Answer faults(const QVariantMap& request);
    ControlServer::Answer addFault(const QVariantMap& request);
    ControlServer::Answer clearFaults(const QVariantMap& request);

    BusServer& m_server;
};

} // namespace tarvex::devbus

#endif // CONTROLSERVICE_H
