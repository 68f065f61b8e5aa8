#include "records/wiredate_p.h"

#include <QLocale>

namespace tarvex::wiredate {

namespace {

QString pattern()
{
    return QStringLiteral("yyyy-MM-ddThh:mm:ss.zzz");
}

} // namespace

// The C locale is used and not the system's, because some languages have digits of their own, and the wire has 0 to 9.
QString toText(const QDateTime& dateTime)
{
    return QLocale::c().toString(dateTime, pattern());
}

QDateTime fromText(const QString& text)
{
    return QLocale::c().toDateTime(text, pattern());
}

} // namespace tarvex::wiredate
