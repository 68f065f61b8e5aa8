#ifndef SETTINGSVERBS_H
#define SETTINGSVERBS_H

#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

/// The verbs on clients' settings. Each checks its input, connects as \a clientName and throws Failure.
namespace tarvexctl {

class Output;

/// One setting to store.
struct SettingChange
{
    QString owner;
    QString group; ///< May be empty: settings without a group are allowed.
    QString key;
    QVariant value;
    std::optional<QString> description; ///< A new text for the whole record; without it the stored one stays.
};

/// Writes the settings of each owner; those of \a clientName when there is none.
/// An owner that the bus refuses is told of, and the others are still written; the verb then throws at its end.
void getSettings(const QString& clientName, const QStringList& owners, Output& output);

/// Merges one setting into what is stored, and starts a record for an owner that has none.
/// Nothing is written when the stored settings cannot be read for another reason.
void setSetting(const QString& clientName, const SettingChange& change, Output& output);

struct SettingPath
{
    QString owner;
    QString group;
    QString key;
};

/// Removes one setting from what is stored; the others stay as they are. Without such a setting nothing is saved, and
/// the Failure is Refused.
void unsetSetting(const QString& clientName, const SettingPath& path, Output& output);

void removeSettings(const QString& clientName, const QString& owner, Output& output);

} // namespace tarvexctl

#endif // SETTINGSVERBS_H
