#ifndef SETTINGSFILE_H
#define SETTINGSFILE_H

#include "failure.h"
#include "programwords.h"
#include "records/clientsettings.h"

#include <QByteArray>
#include <QList>
#include <QString>

/// Settings as text: the forms in which they are written to files and read from them.
///
/// All forms hold the record as it travels on the bus. A text is one of these:
/// - one record a line, as "--json settings get" writes them; empty lines are skipped;
/// - one record over several lines, as "settings edit" shows it;
/// - a document with a head and a list of records, as "settings export" writes it.
namespace tarvexctl {

/// A text that cannot be read as settings. The words begin with the number of the line.
class WrongSettingsText : public Failure
{
public:
    WrongSettingsText(int line, const QString& words)
        : Failure(WrongUse, Words::tr("line %1: %2").arg(QString::number(line), words)), m_line(line)
    {
    }

    /// The first line is 1.
    int line() const { return m_line; }

private:
    int m_line;
};

/// The records in \a text, in any of the forms; empty when there is nothing but blanks. A record needs "owner" and
/// "settings". Without "date" the present time is taken, without "description" an empty text, and without "mailOwner"
/// 1. Each owner has one record, and a record has each path of group and key once. Throws WrongSettingsText.
QList<tarvex::ClientSettings> settingsFrom(const QByteArray& text);

/// The same for a file, or stdin for "-". Throws Failure with WrongUse when it cannot be read or holds no record.
QList<tarvex::ClientSettings> settingsFromFile(const QString& fileName);

/// A file's name in words. "-" is stdin.
QString shownFileName(const QString& fileName);

/// One record over several lines, each setting on a line of its own, without the date.
QByteArray recordText(const tarvex::ClientSettings& settings);

/// The document with these records.
QByteArray documentText(const QList<tarvex::ClientSettings>& records);

/// The same as one object.
QVariantMap documentObject(const QList<tarvex::ClientSettings>& records);

/// "1 value", "2 values"
QString valueCount(const tarvex::ClientSettings& settings);

} // namespace tarvexctl

#endif // SETTINGSFILE_H
