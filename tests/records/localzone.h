#ifndef LOCALZONE_H
#define LOCALZONE_H

#include <QByteArray>
#include <QDateTime>

#include <cstring>
#include <ctime>

/// For tests of dates in several time zones.
namespace localzone {

/// The zones that the tests try: whole and broken hours from UTC, changes of the clocks by one hour and by half an
/// hour, at midnight and at one minute past it, one of a whole day, some without summer time, summer time in winter,
/// and what is no zone.
constexpr const char* const ALL[] = {"UTC",
                                     "Europe/Berlin",
                                     "Europe/Dublin",
                                     "Europe/Moscow",
                                     "America/New_York",
                                     "America/St_Johns",
                                     "America/Caracas",
                                     "Africa/Cairo",
                                     "Africa/Casablanca",
                                     "Asia/Amman",
                                     "Asia/Kolkata",
                                     "Asia/Pyongyang",
                                     "Australia/Hobart",
                                     "Australia/Lord_Howe",
                                     "Antarctica/Casey",
                                     "Antarctica/Troll",
                                     "Pacific/Apia",
                                     ":America/Los_Angeles",
                                     "EST5EDT,M3.2.0,M11.1.0",
                                     "AAA-3BBB-3,M3.2.0/1:30,M11.1.0/1:30",
                                     "",
                                     "No/Such_Zone"};

/// Null takes the variable away.
inline void set(const QByteArray& zone)
{
    if (zone.isNull()) {
        qunsetenv("TZ");
    } else {
        qputenv("TZ", zone);
    }
    tzset();
}

/// Whether two date-times have the same memory, not only the same moment. For date-times that Qt keeps in one word.
inline bool isIdentical(const QDateTime& left, const QDateTime& right)
{
    quint64 leftWord = 0;
    quint64 rightWord = 0;
    static_assert(sizeof left <= sizeof leftWord);
    std::memcpy(&leftWord, static_cast<const void*>(&left), sizeof left);
    std::memcpy(&rightWord, static_cast<const void*>(&right), sizeof right);
    return leftWord == rightWord;
}

} // namespace localzone

#endif // LOCALZONE_H
