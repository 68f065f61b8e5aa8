#include "printerstate.h"

PrinterState::PrinterState()
{
    // Otherwise the status would be a number in the state's text, until the first value of this type comes along.
    qRegisterMetaType<Status>();
}

tarvex::ClientState PrinterState::toClientState() const
{
    const QVariantMap values = toMap();
    tarvex::ClientState state;
    // The owner and the date are filled in when it is saved.
    state.setStateType(static_cast<tarvex::ClientState::EStateType>(values.value(QStringLiteral("status")).toInt()));
    state.setState(toString());
    state.setDescription(QStringLiteral("%1 tickets left").arg(values.value(QStringLiteral("paperLeft")).toInt()));
    return state;
}
