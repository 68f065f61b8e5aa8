#ifndef CLIENTSETTINGS_H
#define CLIENTSETTINGS_H

#include "tarvexlib_export.h"

#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

namespace tarvex {

/// The persistent settings of one client as the bus server stores them: a flat list of entries, each a map with
/// "group", "key" and "value".
///
/// A plain value. It is registered with the meta-type system as "ClientSettings" and "tarvex::ClientSettings", and so
/// are lists of it.
///
/// <!-- quote: docs/snippets/reference/records.cpp#settings -->
/// \code
/// ClientSettings settings;
/// settings.setOwner(BUSNAME_TICKET_PRINTER);
/// settings.setFormattedSettings({{QStringLiteral("paper"), QVariantMap{{QStringLiteral("width"), 80}}}}, true);
///
/// const QVariantMap paper = settings.formattedSettings().value(QStringLiteral("paper")).toMap();
/// const int width = paper.value(QStringLiteral("width")).toInt();
/// \endcode
///
/// Wire form: a JSON object with the keys "description", "date", "owner" (strings), "settings" (the list of entries)
/// and "mailOwner" (the number 1 or 0).
///
/// \see docs/settings.md
class TARVEXLIB_EXPORT ClientSettings
{
public:
    /// The date-time is the current local time, mailOwner is true, everything else is empty.
    ClientSettings();

    /// The client name of the service to which the settings belong.
    QString owner() const;
    void setOwner(const QString& owner); ///< Sets owner().

    /// When the settings were written.
    QDateTime dt() const;
    void setDt(const QDateTime& dt); ///< Sets dt().

    /// The entries, in the order in which they were added.
    QList<QVariant> settings() const;
    void setSettings(const QList<QVariant>& settings); ///< Sets settings().

    /// A text for people.
    QString description() const;
    void setDescription(const QString& description); ///< Sets description().

    /// A flag on which the bus server acts. The library only stores and carries it.
    bool mailOwner() const;
    void setMailOwner(bool mailOwner); ///< Sets mailOwner().

    /// True when the owner is not empty and the date-time is valid.
    bool isValid() const;

    /// Compares owner, date-time, entries and description. It does not compare mailOwner, on purpose.
    bool operator==(const ClientSettings& other) const;
    bool operator!=(const ClientSettings& other) const; ///< The opposite of operator==().

    /// The wire form. Every key is always present. An invalid date-time is written as an empty string.
    QVariantMap toVariantMap() const;

    /// Reads the wire form and accepts any map. A missing or malformed date gives an invalid date-time (not the current
    /// time). A missing "mailOwner" gives true.
    static ClientSettings fromVariantMap(const QVariantMap& map);

    /// The entries as a map from group name to a map from key to value. If several entries have the same group and key,
    /// the last one counts.
    QVariantMap formattedSettings() const;

    /// Takes the entries from a map of the form that formattedSettings() returns.
    ///
    /// With \a replace the entries are rebuilt from \a formatted alone, in ascending order.
    ///
    /// Without \a replace existing entries keep their places and get their new values, new entries are appended, and
    /// nothing is removed. An entry is the same setting when its path, the string group + "/" + key, is the same: "a/b"
    /// with "c" and "a" with "b/c" are one setting. Existing entries are completed too, even when \a formatted is
    /// empty: an entry that lacks "group" or "key" gets it with a null value, and an entry that is no map becomes a map
    /// of these two.
    void setFormattedSettings(const QVariantMap& formatted, bool replace);

private:
    void appendEntry(const QString& group, const QString& key, const QVariant& value);
    void rebuild(const QVariantMap& formatted);
    void merge(const QVariantMap& formatted);

    QString m_owner;
    QDateTime m_dt;
    QList<QVariant> m_settings;
    QString m_description;
    bool m_mailOwner = true;
};

} // namespace tarvex

Q_DECLARE_METATYPE(tarvex::ClientSettings)

#endif // CLIENTSETTINGS_H
