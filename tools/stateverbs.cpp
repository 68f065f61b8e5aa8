#include "stateverbs.h"

#include "arguments.h"
#include "busclient.h"
#include "output.h"
#include "owners.h"
#include "records/clientstate.h"

#include <QDateTime>

using tarvex::ClientState;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

QString stateText(const ClientState& state)
{
    return fieldLines({{QStringLiteral("Owner"), state.owner()},
                       {QStringLiteral("Taken"), timeText(state.dt())},
                       {QStringLiteral("Description"), state.description()},
                       {QStringLiteral("Type"), QString::number(state.stateType())},
                       {QStringLiteral("State"), state.state()}});
}

} // namespace

void getStates(const QString& clientName, const QStringList& owners, Output& output)
{
    const QStringList names = ownersOrSelf(owners, clientName);
    BusClient bus(clientName);
    forEachOwner(names, [&](const QString& owner) {
        ClientState state;
        bus.ask([&](TarvexQueryHandler& handler) { return handler.loadState(owner, state); });
        if (output.isJson()) {
            output.writeObject(state.toVariantMap());
        } else {
            output.writeRecord(stateText(state));
        }
    });
}

void setState(const QString& clientName, const QString& text, const QString& type, const QString& description,
              Output& output)
{
    ClientState state;
    state.setStateType(stateTypeFrom(type));
    state.setState(text);
    state.setDescription(description);
    // What the connection would fill in as well; here so that what is told is what was stored.
    state.setOwner(clientName);
    state.setDt(QDateTime::currentDateTime());
    BusClient bus(clientName);
    bus.ask([&](TarvexQueryHandler& handler) { return handler.saveState(state); });

    QVariantMap done = state.toVariantMap();
    done.insert(QStringLiteral("done"), QStringLiteral("state set"));
    output.report(done, QStringLiteral("saved the state of %1").arg(clientName));
}

} // namespace tarvexctl
