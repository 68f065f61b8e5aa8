#include "difference.h"

#include <QVariant>

namespace tarvexctl {

namespace {

void compare(const QStringList& path, const QJsonValue& before, const QJsonValue& after, QList<Change>& changes)
{
    if (!before.isObject() || !after.isObject()) {
        if (before != after) {
            changes.append({path, before, after});
        }
        return;
    }
    const QJsonObject old = before.toObject();
    const QJsonObject present = after.toObject();
    QStringList keys = old.keys() + present.keys();
    keys.removeDuplicates();
    keys.sort();
    for (const QString& key : qAsConst(keys)) {
        compare(path + QStringList(key), old.value(key), present.value(key), changes);
    }
}

} // namespace

QList<Change> difference(const QJsonObject& before, const QJsonObject& after)
{
    QList<Change> changes;
    compare({}, before, after, changes);
    return changes;
}

QVariantMap changeObject(const Change& change)
{
    QVariantMap object{{QStringLiteral("path"), change.path}};
    if (!change.before.isUndefined()) {
        object.insert(QStringLiteral("before"), change.before.toVariant());
    }
    if (!change.after.isUndefined()) {
        object.insert(QStringLiteral("after"), change.after.toVariant());
    }
    return object;
}

QString pathText(const Change& change)
{
    return change.path.join(QLatin1Char('.'));
}

} // namespace tarvexctl
