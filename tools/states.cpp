#include "states.h"

#include "busclient.h"
#include "cmdlayer/tarvexcommand.h"
#include "output.h"
#include "programwords.h"

using tarvex::ClientState;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

/// The goal of a subscription to state changes only.
constexpr qint32 GOAL_STATES = 1;

const QLatin1String CMD_STATE_CHANGED("stateChanged");
constexpr int MAX_STATE_TYPE = 127;

} // namespace

Subscriptions stateSubscriptions(const QStringList& owners)
{
    Subscriptions subscriptions;
    for (const QString& owner : owners) {
        subscriptions.append({owner, GOAL_STATES});
    }
    return subscriptions;
}

ClientState loadState(BusClient& bus, const QString& owner)
{
    ClientState state;
    if (!bus.askForStored([&](TarvexQueryHandler& handler) { return handler.loadState(owner, state); })) {
        state.setOwner(owner);
    }
    return state;
}

std::optional<ClientState> stateFrom(const Message& message, const QStringList& owners)
{
    TarvexCommand command;
    const bool isCommand = TarvexCommand::incomingMessageToCmd(message, command);
    const ClientState state = ClientState::fromVariantMap(command.data());
    const bool isState = isCommand && command.name() == CMD_STATE_CHANGED && owners.contains(state.owner());
    return isState ? std::optional<ClientState>(state) : std::nullopt;
}

ClientState::EStateType stateTypeFrom(const QString& text)
{
    bool isNumber = false;
    const int type = text.toInt(&isNumber);
    if (!isNumber || type < 0 || type > MAX_STATE_TYPE) {
        throw Failure(WrongUse, Words::tr("the type of a state must be a number from 0 to 127, not \"%1\"").arg(text));
    }
    return static_cast<ClientState::EStateType>(type);
}

void writeState(Output& output, const ClientState& state)
{
    if (output.isJson()) {
        output.writeObject(state.toVariantMap());
        return;
    }
    static const QStringList header{Words::tr("TAKEN"), Words::tr("OWNER"), Words::tr("TYPE"), Words::tr("DESCRIPTION"),
                                    Words::tr("STATE")};
    if (state.isValid()) {
        output.writeRow(header,
                        {timeText(state.dt()), state.owner(), QString::number(state.stateType()), state.description(),
                         state.state()});
    } else {
        output.writeRow(header, {QString(), state.owner(), QString(), QString(), Words::tr("no state")});
    }
}

} // namespace tarvexctl
