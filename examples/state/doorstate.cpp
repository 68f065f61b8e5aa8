#include "doorstate.h"

#include <QMetaType>

namespace {

/// Each service chooses the numbers of its states. This one has one state only, "running".
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
