#include "settingsrecord.h"

#include "programwords.h"

#include <QDateTime>
#include <QStringList>

using tarvex::ClientSettings;

namespace tarvexctl {

namespace {

const QLatin1String KEY_OWNER("owner");
const QLatin1String KEY_DATE("date");
const QLatin1String KEY_DESCRIPTION("description");
const QLatin1String KEY_MAIL_OWNER("mailOwner");
const QLatin1String KEY_SETTINGS("settings");
const QLatin1String KEY_GROUP("group");
const QLatin1String KEY_KEY("key");
const QLatin1String KEY_VALUE("value");

bool isText(const QVariant& value)
{
    return value.userType() == QMetaType::QString;
}

/// True for a missing value as well.
bool isTextIfAny(const QVariant& value)
{
    return !value.isValid() || isText(value);
}

bool isFlagIfAny(const QVariant& value)
{
    return !value.isValid() || (value.userType() == QMetaType::LongLong && (value == 0 || value == 1));
}

/// \return the setting's path
QString checkEntry(const QVariant& value)
{
    static const QStringList known{KEY_GROUP, KEY_KEY, KEY_VALUE};
    const QVariantMap entry = value.toMap();
    requireInRecord(value.userType() == QMetaType::QVariantMap, Words::tr("each of \"settings\" must be an object"));
    requireKnownKeys(entry, known, Words::tr("a setting"));
    // "get" may have written null: the library writes it for a missing group when it changes a record.
    const QVariant group = entry.value(KEY_GROUP);
    requireInRecord(isTextIfAny(group) || group.isNull(), Words::tr("the \"group\" of a setting must be a text"));
    requireInRecord(isText(entry.value(KEY_KEY)) && !entry.value(KEY_KEY).toString().isEmpty(),
                    Words::tr("a setting needs a \"key\", a text that is not empty"));
    QString path = entry.value(KEY_GROUP).toString() + QLatin1Char('/') + entry.value(KEY_KEY).toString();
    requireInRecord(entry.contains(KEY_VALUE), Words::tr("the setting %1 has no \"value\"").arg(path));
    return path;
}

void checkEntries(const QVariant& value)
{
    requireInRecord(value.userType() == QMetaType::QVariantList, Words::tr("\"settings\" is needed, a list"));
    QSet<QString> paths;
    const QVariantList entries = value.toList();
    for (int place = 0; place < entries.size(); ++place) {
        const QString problem = entryProblem(entries.at(place), paths);
        if (!problem.isEmpty()) {
            throw WrongRecord(problem, place);
        }
    }
}

} // namespace

void requireInRecord(bool isRight, const QString& words)
{
    if (!isRight) {
        throw WrongRecord(words);
    }
}

void requireKnownKeys(const QVariantMap& object, const QStringList& known, const QString& name)
{
    for (auto key = object.cbegin(); key != object.cend(); ++key) {
        requireInRecord(known.contains(key.key()), Words::tr("\"%1\" is no part of %2").arg(key.key(), name));
    }
}

QString entryProblem(const QVariant& value, QSet<QString>& paths)
{
    try {
        const QString path = checkEntry(value);
        requireInRecord(!paths.contains(path), Words::tr("the setting %1 is there twice").arg(path));
        paths.insert(path);
    } catch (const WrongRecord& wrong) {
        return wrong.words();
    }
    return QString();
}

QString entriesProblem(const QList<QVariant>& entries)
{
    QSet<QString> paths;
    for (const QVariant& entry : entries) {
        QString problem = entryProblem(entry, paths);
        if (!problem.isEmpty()) {
            return problem;
        }
    }
    return QString();
}

ClientSettings settingsRecord(const QVariant& value)
{
    static const QStringList known{KEY_OWNER, KEY_DATE, KEY_DESCRIPTION, KEY_MAIL_OWNER, KEY_SETTINGS};
    requireInRecord(value.userType() == QMetaType::QVariantMap, Words::tr("a settings record must be a JSON object"));
    const QVariantMap record = value.toMap();
    requireKnownKeys(record, known, Words::tr("a settings record"));
    requireInRecord(isText(record.value(KEY_OWNER)) && !record.value(KEY_OWNER).toString().isEmpty(),
                    Words::tr("\"owner\" is needed, a text that is not empty"));
    requireInRecord(isTextIfAny(record.value(KEY_DATE)), Words::tr("\"date\" must be a text"));
    requireInRecord(isTextIfAny(record.value(KEY_DESCRIPTION)), Words::tr("\"description\" must be a text"));
    requireInRecord(isFlagIfAny(record.value(KEY_MAIL_OWNER)), Words::tr("\"mailOwner\" must be 0 or 1"));
    checkEntries(record.value(KEY_SETTINGS));

    ClientSettings settings = ClientSettings::fromVariantMap(record);
    if (record.value(KEY_DATE).toString().isEmpty()) {
        settings.setDt(QDateTime::currentDateTime());
    }
    requireInRecord(
        settings.dt().isValid(),
        Words::tr("\"%1\" is no date of the form 2026-03-01T10:11:12.345").arg(record.value(KEY_DATE).toString()));
    return settings;
}

} // namespace tarvexctl
