#include "printerstate.h"

#include <QJsonDocument>

PrinterState::PrinterState()
{
    // Otherwise the status would be a number in the state's text, until the first value of this type comes along.
    qRegisterMetaType<Status>();
}

//! [record]
tarvex::ClientState PrinterState::toClientState() const
{
    const QVariantMap values = toMap();
    tarvex::ClientState state;
    // The owner and the date are filled in when it is saved.
    state.setStateType(static_cast<tarvex::ClientState::EStateType>(values.value(QStringLiteral("status")).toInt()));
    // Of the same moment as the rest: toString() would read the values once more.
    state.setState(QString::fromUtf8(QJsonDocument::fromVariant(values).toJson(QJsonDocument::Compact)));
    state.setDescription(QStringLiteral("%1 tickets left").arg(values.value(QStringLiteral("paperLeft")).toInt()));
    return state;
}

//! [record]
