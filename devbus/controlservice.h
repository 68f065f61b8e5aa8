#ifndef CONTROLSERVICE_H
#define CONTROLSERVICE_H

#include "controlserver.h"

#include <QVariantMap>

namespace tarvex::devbus {

class BusServer;

/// The requests of the control socket: what the bus tells about itself. It only looks; it changes nothing.
///
/// | Request | Items |
/// |---|---|
/// | clients | each client that is connected or has something stored: name, querySince, queryConnections,
/// receiverSince, takeovers, waiting, subscriptions, settings, state | | known, with a name | one: isKnown, whether
/// that client has connected since the bus started, or has stored anything | | settings | each owner with settings:
/// owner, count, date, description | | states | each stored state's record |
class ControlService
{
public:
    /// \a server runs for as long as requests come.
    explicit ControlService(BusServer& server) : m_server(server) { }

    ControlServer::Answer handle(const QVariantMap& request);

private:
    ControlServer::Answer clients(const QVariantMap& request);
    ControlServer::Answer known(const QVariantMap& request);
    ControlServer::Answer settings(const QVariantMap& request);
    ControlServer::Answer states(const QVariantMap& request);

    BusServer& m_server;
};

} // namespace tarvex::devbus

#endif // CONTROLSERVICE_H
