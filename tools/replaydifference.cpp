#include "replaydifference.h"

#include "messages.h"
#include "output.h"
#include "programwords.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace tarvexctl {

namespace {

const QLatin1String KEY_UID("UID");
const QLatin1String KEY_ACKNOWLEDGED_UID("uid");

QString joined(const QString& path, const QString& key)
{
    return path.isEmpty() ? key : QStringLiteral("%1.%2").arg(path, key);
}

/// The object that a text holds; empty when it holds none.
QVariantMap objectIn(const QVariant& value)
{
    if (value.type() != QVariant::String || !value.toString().startsWith(QLatin1Char('{'))) {
        return QVariantMap();
    }
    return QJsonDocument::fromJson(value.toString().toUtf8()).object().toVariantMap();
}

/// Whether both are the same JSON value. Numbers may have come as different types.
bool isSame(const QVariant& left, const QVariant& right)
{
    return QJsonValue::fromVariant(left) == QJsonValue::fromVariant(right);
}

QList<ReplayDifference> mapDifferences(const QString& path, const QVariantMap& recorded, const QVariantMap& came,
                                       Strictness strictness)
{
    QVariantMap all = recorded;
    for (auto entry = came.cbegin(); entry != came.cend(); ++entry) {
        all.insert(entry.key(), entry.value());
    }
    QList<ReplayDifference> found;
    for (auto entry = all.cbegin(); entry != all.cend(); ++entry) {
        const QString& key = entry.key();
        if (strictness == Strictness::Strict || !isVolatile(key)) {
            found += replayDifferences(joined(path, key), recorded.value(key), came.value(key), strictness);
        }
    }
    return found;
}

QList<ReplayDifference> listDifferences(const QString& path, const QVariantList& recorded, const QVariantList& came,
                                        Strictness strictness)
{
    QList<ReplayDifference> found;
    for (int index = 0; index < qMax(recorded.size(), came.size()); ++index) {
        found += replayDifferences(QStringLiteral("%1[%2]").arg(path, QString::number(index)), recorded.value(index),
                                   came.value(index), strictness);
    }
    return found;
}

QString valueText(const QVariant& value)
{
    return value.isValid() ? jsonText(value) : QStringLiteral("nothing");
}

void replaceUids(QVariantMap& data, const QHash<QString, QString>& uids)
{
    for (const QLatin1String key : {KEY_UID, KEY_ACKNOWLEDGED_UID}) {
        const auto found = uids.constFind(data.value(key).toString());
        if (found != uids.constEnd()) {
            data[key] = *found;
        }
    }
}

} // namespace

QVariantMap ReplayDifference::toVariantMap() const
{
    return {{QStringLiteral("number"), number}, {QStringLiteral("client"), client},     {QStringLiteral("what"), what},
            {QStringLiteral("path"), path},     {QStringLiteral("recorded"), recorded}, {QStringLiteral("came"), came}};
}

QString ReplayDifference::words() const
{
    const QString place = path.isEmpty() ? what : QStringLiteral("%1: %2").arg(what, path);
    return Words::tr("%1  %2  %3: %4 was recorded, %5 came")
        .arg(number > 0 ? QStringLiteral("#%1").arg(number) : QStringLiteral("-"), client, place, valueText(recorded),
             valueText(came));
}

bool isVolatile(const QString& key)
{
    return key == QLatin1String("date") || key == KEY_UID || key == KEY_ACKNOWLEDGED_UID;
}

QList<ReplayDifference> replayDifferences(const QString& path, const QVariant& recorded, const QVariant& came,
                                          Strictness strictness)
{
    if (recorded.type() == QVariant::Map && came.type() == QVariant::Map) {
        return mapDifferences(path, recorded.toMap(), came.toMap(), strictness);
    }
    if (recorded.type() == QVariant::List && came.type() == QVariant::List) {
        return listDifferences(path, recorded.toList(), came.toList(), strictness);
    }
    if (recorded.isValid() && came.isValid() && isSame(recorded, came)) {
        return {};
    }
    const QVariantMap recordedObject = objectIn(recorded);
    const QVariantMap cameObject = objectIn(came);
    if (!recordedObject.isEmpty() && !cameObject.isEmpty()) {
        return mapDifferences(path, recordedObject, cameObject, strictness);
    }
    ReplayDifference difference;
    difference.path = path;
    difference.recorded = recorded;
    difference.came = came;
    return {difference};
}

QString UidMap::fresh(const QString& recorded)
{
    QString& uid = m_fresh[recorded];
    if (uid.isEmpty()) {
        uid = newMessage(QString(), QString(), QString()).uid();
        m_recorded.insert(uid, recorded);
    }
    return uid;
}

QVariantMap UidMap::withFresh(QVariantMap data)
{
    for (const QLatin1String key : {KEY_UID, KEY_ACKNOWLEDGED_UID}) {
        const QString uid = data.value(key).toString();
        if (!uid.isEmpty()) {
            fresh(uid);
        }
    }
    replaceUids(data, m_fresh);
    return data;
}

QVariantMap UidMap::withRecorded(QVariantMap data) const
{
    replaceUids(data, m_recorded);
    return data;
}

} // namespace tarvexctl
