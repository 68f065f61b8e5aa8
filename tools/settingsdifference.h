#ifndef SETTINGSDIFFERENCE_H
#define SETTINGSDIFFERENCE_H

#include "records/clientsettings.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

namespace tarvexctl {

class Output;

/// The settings of one client. Empty when the client has none.
using OptionalSettings = std::optional<tarvex::ClientSettings>;

/// What differs between two records of settings: their values, description and flag. The owner and the date are not
/// compared, and neither is the order of the settings. Values are compared as JSON, so the number 80 and the text "80"
/// differ, and the numbers 80 and 80.0 do not. When entries of a record repeat or are no settings, the whole lists are
/// compared as well, as the part "settings", because the values alone do not show all of it.
class SettingsDifference
{
public:
    /// One setting, or one other part of a record.
    struct Change
    {
        QString name;      ///< "group/key"; without a slash the name of another part of the record.
        QVariantMap place; ///< The same for programs: "group" and "key", or "part".
        std::optional<QVariant> before;
        std::optional<QVariant> after;
    };

    SettingsDifference(const OptionalSettings& before, const OptionalSettings& after);

    /// False as well when one record is empty and the other one is missing.
    bool isEmpty() const { return m_changes.isEmpty() && !m_isFirst && !m_isLast; }

    const QList<Change>& changes() const { return m_changes; }

    /// "1 change", "2 changes"
    QString count() const;

    /// Writes the difference. For people these are the lines of the \a heading and one or two for each change. With
    /// --json it is \a object with "record", which is "first", "removed", "changed" or "same", and "changes". Throws
    /// Failure when stdout does not take it.
    void write(Output& output, const QStringList& heading, QVariantMap object) const;

    /// The same for a difference that was saved, with \a words about it on stderr. With --json there are no words. An
    /// empty difference is written with --json only. Throws Failure as well; its words say that it was saved.
    void report(Output& output, const QString& words, const QStringList& heading, const QVariantMap& object) const;

private:
    QString lines() const;
    QString recordWord() const;

    bool m_isFirst; ///< There was no record before.
    bool m_isLast;  ///< There is no record any more.
    QList<Change> m_changes;
};

} // namespace tarvexctl

#endif // SETTINGSDIFFERENCE_H
