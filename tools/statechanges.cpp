#include "statechanges.h"

#include "difference.h"
#include "output.h"
#include "programwords.h"

#include <QJsonDocument>

using tarvex::ClientState;

namespace tarvexctl {

namespace {

const QLatin1String KEY_STATE("state");
const QLatin1String KEY_DATE("date");

/// The parts of a state that are compared; empty without a state.
QJsonObject partsOf(const ClientState& state)
{
    return state.isValid() ? QJsonObject{{KEY_STATE, state.state()},
                                         {QStringLiteral("type"), state.stateType()},
                                         {QStringLiteral("description"), state.description()}}
                           : QJsonObject();
}

QList<Change> changesBetween(const ClientState& before, const ClientState& after)
{
    QJsonObject old = partsOf(before);
    QJsonObject present = partsOf(after);
    const QJsonDocument oldText = QJsonDocument::fromJson(before.state().toUtf8());
    const QJsonDocument presentText = QJsonDocument::fromJson(after.state().toUtf8());
    if (oldText.isObject() && presentText.isObject()) {
        old.insert(KEY_STATE, oldText.object());
        present.insert(KEY_STATE, presentText.object());
    }
    QList<Change> changes = difference(old, present);
    if (changes.isEmpty()) {
        changes.append({{KEY_DATE}, timeText(before.dt()), timeText(after.dt())});
    }
    return changes;
}

/// Texts of the record stand as they are; values inside a state's JSON are shown as JSON.
QString valueText(const Change& change, const QJsonValue& value)
{
    if (value.isUndefined()) {
        return QString();
    }
    return change.path.size() == 1 && value.isString() ? value.toString() : jsonText(value.toVariant());
}

void writeRows(Output& output, const ClientState& state, const QList<Change>& changes)
{
    static const QStringList header{Words::tr("TAKEN"), Words::tr("OWNER"), Words::tr("CHANGED"), Words::tr("BEFORE"),
                                    Words::tr("AFTER")};
    for (const Change& change : changes) {
        output.writeRow(header,
                        {timeText(state.dt()), state.owner(), pathText(change), valueText(change, change.before),
                         valueText(change, change.after)});
    }
}

} // namespace

void writeStateChanges(Output& output, const ClientState& before, const ClientState& after)
{
    const QList<Change> changes = changesBetween(before, after);
    if (!output.isJson()) {
        writeRows(output, after, changes);
        return;
    }
    QVariantList objects;
    for (const Change& change : changes) {
        objects.append(changeObject(change));
    }
    QVariantMap record = after.toVariantMap();
    record.insert(QStringLiteral("changes"), objects);
    output.writeObject(record);
}

void writeFirstState(Output& output, const ClientState& state)
{
    if (output.isJson()) {
        output.writeObject(state.toVariantMap());
    } else if (state.isValid()) {
        writeRows(output, state, {{{KEY_STATE}, QJsonValue::Undefined, state.state()}});
    } else {
        writeRows(output, state, {{{KEY_STATE}, QJsonValue::Undefined, Words::tr("no state")}});
    }
}

} // namespace tarvexctl
