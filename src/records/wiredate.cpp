#include "records/wiredate_p.h"

#include "records/localclock_p.h"

#include <QLocale>

#include <optional>

namespace tarvex::wiredate {

namespace {

/// The length of the pattern, and of its part to whole seconds.
constexpr int LENGTH = 23;
constexpr int ISO_LENGTH = 19;
constexpr int MAX_YEAR = 9999;

QString pattern()
{
    return QStringLiteral("yyyy-MM-ddThh:mm:ss.zzz");
}

void writeNumber(QChar* to, int digits, int number)
{
    for (int place = digits - 1; place >= 0; --place) {
        to[place] = QLatin1Char(static_cast<char>('0' + number % 10));
        number /= 10;
    }
}

/// \return -1 if there is anything but the digits 0 to 9.
int readNumber(const QChar* from, int digits)
{
    int number = 0;
    for (int place = 0; place < digits; ++place) {
        const int digit = from[place].unicode() - u'0';
        if (digit < 0 || digit > 9) {
            return -1;
        }
        number = number * 10 + digit;
    }
    return number;
}

/// Qt's own functions write the others. They give the same texts for the usual ones, in ten times the time.
bool isUsual(const QDateTime& dateTime)
{
    const int year = dateTime.date().year();
    return dateTime.isValid() && year > 0 && year <= MAX_YEAR;
}

QString written(const QDateTime& dateTime)
{
    const QDate date = dateTime.date();
    const QTime time = dateTime.time();
    QString text = pattern();
    QChar* const to = text.data();
    writeNumber(to, 4, date.year());
    writeNumber(to + 5, 2, date.month());
    writeNumber(to + 8, 2, date.day());
    writeNumber(to + 11, 2, time.hour());
    writeNumber(to + 14, 2, time.minute());
    writeNumber(to + 17, 2, time.second());
    writeNumber(to + 20, 3, time.msec());
    return text;
}

/// Reads the usual form, and the empty text of an invalid date-time. Returns nothing for any other text, and for a
/// moment that may not exist.
std::optional<QDateTime> readUsual(const QString& text)
{
    if (text.isEmpty()) {
        return QDateTime();
    }
    const QChar* const from = text.constData();
    if (text.size() != LENGTH || from[4] != u'-' || from[7] != u'-' || from[10] != u'T' || from[13] != u':'
        || from[16] != u':' || from[19] != u'.') {
        return std::nullopt;
    }
    const QDate date(readNumber(from, 4), readNumber(from + 5, 2), readNumber(from + 8, 2));
    const QTime time(readNumber(from + 11, 2), readNumber(from + 14, 2), readNumber(from + 17, 2),
                     readNumber(from + 20, 3));
    return localclock::at(date, time);
}

} // namespace

// The C locale is used and not the system's, because some languages have digits of their own, and the wire has 0 to 9.
QString toText(const QDateTime& dateTime)
{
    return isUsual(dateTime) ? written(dateTime) : QLocale::c().toString(dateTime, pattern());
}

QString toIsoText(const QDateTime& dateTime)
{
    const bool isPartOfTheText = dateTime.timeSpec() == Qt::LocalTime && isUsual(dateTime);
    return isPartOfTheText ? written(dateTime).left(ISO_LENGTH) : dateTime.toString(Qt::ISODate);
}

QDateTime fromText(const QString& text)
{
    const std::optional<QDateTime> usual = readUsual(text);
    return usual ? *usual : QLocale::c().toDateTime(text, pattern());
}

} // namespace tarvex::wiredate
