#include "records/wiredate_p.h"

#include <QLocale>

namespace tarvex::wiredate {

namespace {

QString pattern()
{
    return QStringLiteral("yyyy-MM-ddThh:mm:ss.zzz");
}

} // namespace

// The C locale, not the system's: a terminal set to a language with digits of its own must still write 0 to 9.
QString toText(const QDateTime& dateTime)
{
    return QLocale::c().toString(dateTime, pattern());
}

QDateTime fromText(const QString& text)
{
    return QLocale::c().toDateTime(text, pattern());
}

} // namespace tarvex::wiredate
