#include "doorstate.h"

#include <QMetaType>

namespace {

/// The bus leaves the numbers of the states to its services: for this one there is just one, "running".
constexpr auto STATE_RUNNING = static_cast<tarvex::ClientState::EStateType>(1);

} // namespace

//! [record]
DoorState::DoorState()
{
    qRegisterMetaType<Door>(); // From now on the state says "Open", and not 1.
}

tarvex::ClientState DoorState::toClientState() const
{
    tarvex::ClientState state;
    state.setStateType(STATE_RUNNING);
    state.setState(toString());
    return state;
}

//! [record]
