#include "records/clientsettings.h"

#include "records/localclock_p.h"
#include "records/recordfields_p.h"
#include "records/wiredate_p.h"
#include "wire/busterms_p.h"

#include <QMap>
#include <QSet>

#include <type_traits>

namespace tarvex {

static_assert(std::is_nothrow_move_constructible_v<ClientSettings> && std::is_nothrow_move_assignable_v<ClientSettings>,
              "lists and queued signals of settings rely on moves that cannot fail");

namespace {

QString entryPath(const QString& group, const QString& key)
{
    return group + QLatin1Char('/') + key;
}

/// The text under \a name. A map that lacks it gets a null value there, so that it is written back complete.
QString textOrNull(QVariantMap& entry, const QString& name)
{
    return entry[name].toString();
}

/// From group name to a map from key to value.
using Groups = QMap<QString, QVariantMap>;

/// The groups of a formatted map. A group that is no map is empty.
Groups groupsOf(const QVariantMap& formatted)
{
    Groups groups;
    for (auto group = formatted.cbegin(); group != formatted.cend(); ++group) {
        groups.insert(group.key(), group->toMap());
    }
    return groups;
}

/// Completes all entries, and gives new values to those that stand in \a groups. \return the paths of all entries.
QSet<QString> updateEntries(QList<QVariant>& entries, const Groups& groups)
{
    QSet<QString> paths;
    for (QVariant& element : entries) {
        QVariantMap entry = element.toMap();
        const QString key = textOrNull(entry, busterms::KEY_ENTRY_KEY);
        const QString group = textOrNull(entry, busterms::KEY_ENTRY_GROUP);
        paths.insert(entryPath(group, key));
        const QVariantMap newValues = groups.value(group);
        const auto newValue = newValues.constFind(key);
        if (newValue != newValues.constEnd()) {
            entry.insert(busterms::KEY_ENTRY_VALUE, newValue.value());
        }
        element = entry;
    }
    return paths;
}

} // namespace

ClientSettings::ClientSettings() : m_dt(localclock::now()) { }

QString ClientSettings::owner() const
{
    return m_owner;
}

void ClientSettings::setOwner(const QString& owner)
{
    m_owner = owner;
}

QDateTime ClientSettings::dt() const
{
    return m_dt;
}

void ClientSettings::setDt(const QDateTime& dt)
{
    m_dt = dt;
}

QList<QVariant> ClientSettings::settings() const
{
    return m_settings;
}

void ClientSettings::setSettings(const QList<QVariant>& settings)
{
    m_settings = settings;
}

QString ClientSettings::description() const
{
    return m_description;
}

void ClientSettings::setDescription(const QString& description)
{
    m_description = description;
}

bool ClientSettings::mailOwner() const
{
    return m_mailOwner;
}

void ClientSettings::setMailOwner(bool mailOwner)
{
    m_mailOwner = mailOwner;
}

bool ClientSettings::isValid() const
{
    return !m_owner.isEmpty() && m_dt.isValid();
}

bool ClientSettings::operator==(const ClientSettings& other) const
{
    return m_owner == other.m_owner && m_dt == other.m_dt && m_settings == other.m_settings
        && m_description == other.m_description;
}

bool ClientSettings::operator!=(const ClientSettings& other) const
{
    return !(*this == other);
}

QVariantMap ClientSettings::toVariantMap() const
{
    QVariantMap map;
    map.insert(busterms::KEY_DESCRIPTION, m_description);
    map.insert(busterms::KEY_DATE, wiredate::toText(m_dt));
    map.insert(busterms::KEY_OWNER, m_owner);
    map.insert(busterms::KEY_SETTINGS, m_settings);
    map.insert(busterms::KEY_MAIL_OWNER, m_mailOwner ? 1 : 0);
    return map;
}

ClientSettings ClientSettings::fromVariantMap(const QVariantMap& map)
{
    // A missing, a null and a malformed date are all no text that can be parsed, and give an invalid date-time.
    ClientSettings settings;
    settings.m_dt = wiredate::fromText(recordfields::text(map, busterms::KEY_DATE));
    settings.m_description = recordfields::text(map, busterms::KEY_DESCRIPTION);
    settings.m_owner = recordfields::text(map, busterms::KEY_OWNER);
    settings.m_settings = map.value(busterms::KEY_SETTINGS).toList();
    settings.m_mailOwner = map.value(busterms::KEY_MAIL_OWNER, 1).toInt() != 0;
    return settings;
}

QVariantMap ClientSettings::formattedSettings() const
{
    Groups groups;
    for (const QVariant& setting : m_settings) {
        const QVariantMap entry = setting.toMap();
        groups[recordfields::text(entry, busterms::KEY_ENTRY_GROUP)].insert(
            recordfields::text(entry, busterms::KEY_ENTRY_KEY), entry.value(busterms::KEY_ENTRY_VALUE));
    }
    QVariantMap formatted;
    for (auto group = groups.cbegin(); group != groups.cend(); ++group) {
        formatted.insert(group.key(), group.value());
    }
    return formatted;
}

void ClientSettings::setFormattedSettings(const QVariantMap& formatted, bool replace)
{
    if (replace) {
        rebuild(formatted);
    } else {
        merge(formatted);
    }
}

void ClientSettings::appendEntry(const QString& group, const QString& key, const QVariant& value)
{
    QVariantMap entry;
    entry.insert(busterms::KEY_ENTRY_GROUP, group);
    entry.insert(busterms::KEY_ENTRY_KEY, key);
    entry.insert(busterms::KEY_ENTRY_VALUE, value);
    m_settings.append(entry);
}

void ClientSettings::rebuild(const QVariantMap& formatted)
{
    m_settings.clear();
    const Groups groups = groupsOf(formatted);
    for (auto group = groups.cbegin(); group != groups.cend(); ++group) {
        for (auto key = group->cbegin(); key != group->cend(); ++key) {
            appendEntry(group.key(), key.key(), key.value());
        }
    }
}

void ClientSettings::merge(const QVariantMap& formatted)
{
    const Groups groups = groupsOf(formatted);
    QSet<QString> seenPaths = updateEntries(m_settings, groups);
    for (auto group = groups.cbegin(); group != groups.cend(); ++group) {
        for (auto key = group->cbegin(); key != group->cend(); ++key) {
            const QString path = entryPath(group.key(), key.key());
            if (!seenPaths.contains(path)) {
                seenPaths.insert(path);
                appendEntry(group.key(), key.key(), key.value());
            }
        }
    }
}

} // namespace tarvex
