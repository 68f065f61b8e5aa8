#ifndef SETTINGSRECORD_H
#define SETTINGSRECORD_H

#include "failure.h"
#include "records/clientsettings.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QVariant>

namespace tarvexctl {

/// What is wrong with a record of settings.
class WrongRecord : public Failure
{
public:
    explicit WrongRecord(const QString& words, int setting = -1) : Failure(WrongUse, words), m_setting(setting) { }

    /// The place of the wrong setting in the record's list; -1 when something else is wrong.
    int setting() const { return m_setting; }

private:
    int m_setting;
};

/// Throws WrongRecord with these words unless \a isRight.
void requireInRecord(bool isRight, const QString& words);

/// Refuses keys of \a object that are not \a known. \a name is what the object is called in the words.
void requireKnownKeys(const QVariantMap& object, const QStringList& known, const QString& name);

/// What is wrong with \a value as one of the settings of a record; empty when it is right. \a paths holds the groups
/// and keys of those before it, because a record has each of them once; its own is added.
QString entryProblem(const QVariant& value, QSet<QString>& paths);

/// The same for all settings of a record: what is wrong with the first wrong one.
QString entriesProblem(const QList<QVariant>& entries);

/// The record that \a value holds, once it is checked whether the bus and the library carry it as it is. Whole numbers
/// that are too large are not seen here, because they are doubles already. Throws WrongRecord.
tarvex::ClientSettings settingsRecord(const QVariant& value);

} // namespace tarvexctl

#endif // SETTINGSRECORD_H
