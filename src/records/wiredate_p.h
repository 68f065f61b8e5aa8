#ifndef WIREDATE_P_H
#define WIREDATE_P_H

#include <QDateTime>
#include <QString>

/// The form of dates on the wire, for all records: "yyyy-MM-ddThh:mm:ss.zzz", local time, no zone.
namespace tarvex::wiredate {

/// An invalid date-time gives an empty string.
QString toText(const QDateTime& dateTime);

/// As QDateTime::toString(Qt::ISODate) writes it: to whole seconds, with a zone unless it is a local time.
QString toIsoText(const QDateTime& dateTime);

/// Any text that does not follow the pattern exactly gives an invalid date-time.
QDateTime fromText(const QString& text);

} // namespace tarvex::wiredate

#endif // WIREDATE_P_H
