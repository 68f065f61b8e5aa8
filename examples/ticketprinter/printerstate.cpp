#include "printerstate.h"

#include <QJsonDocument>

PrinterState::PrinterState()
{
    // Otherwise the state's text shows the status as a number, until the first value of this type is set.
    qRegisterMetaType<Status>();
}

//! [record]
tarvex::ClientState PrinterState::toClientState() const
{
    const QVariantMap values = toMap();
    tarvex::ClientState state;
    // saveState() fills in the owner and the date.
    state.setStateType(static_cast<tarvex::ClientState::EStateType>(values.value(QStringLiteral("status")).toInt()));
    // Not toString(), which would read the values once more: they would be of another moment.
    state.setState(QString::fromUtf8(QJsonDocument::fromVariant(values).toJson(QJsonDocument::Compact)));
    state.setDescription(QStringLiteral("%1 tickets left").arg(values.value(QStringLiteral("paperLeft")).toInt()));
    return state;
}

//! [record]
