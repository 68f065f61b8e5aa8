#include "records/localclock_p.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace tarvex::localclock {

namespace {

constexpr qint64 MS_PER_SECOND = 1000;
constexpr qint64 MS_PER_HOUR = 3600 * MS_PER_SECOND;
constexpr qint64 MS_PER_DAY = 24 * MS_PER_HOUR;
/// The first for which the arithmetic below holds, which looks back by some hours.
constexpr int MIN_YEAR = 1971;
constexpr qint64 JULIAN_DAY_OF_1970 = 2440588;

/// Qt 5 keeps a valid local QDateTime in one word of 64 bits, unless it is very far away: 8 bits of status, and above
/// them the ms that the wall clock shows, counted from the beginning of 1970. The status says whether it is summer
/// time. So the words of two moments between which the clocks are not changed differ in the upper bits only.
///
/// This is part of Qt's binary interface, and not of its documentation. Nothing here relies on it unseen: every word
/// that is kept was made by Qt, and checkedWord() has looked at it. If Qt kept its date-times in another way, all of
/// them would be made in Qt's own way.
using Word = quint64;
constexpr std::size_t SIZE = qMin(sizeof(Word), sizeof(QDateTime));
constexpr int STATUS_BITS = 8;

/// No word of a valid date-time.
constexpr Word NO_WORD = 0;

Word wordOf(const QDateTime& dateTime)
{
    Word word = NO_WORD;
    std::memcpy(&word, static_cast<const void*>(&dateTime), SIZE);
    return word;
}

QDateTime fromWord(Word word)
{
    QDateTime dateTime; // owns no memory
    std::memcpy(static_cast<void*>(&dateTime), &word, SIZE);
    return dateTime;
}

/// What the wall clock shows, in ms from the beginning of 1970.
qint64 wallClock(const QDate& date, const QTime& time)
{
    return (date.toJulianDay() - JULIAN_DAY_OF_1970) * MS_PER_DAY + time.msecsSinceStartOfDay();
}

/// The word, or NO_WORD if the date-time is not valid or not kept as described above.
Word checkedWord(const QDateTime& dateTime)
{
    const Word word = wordOf(dateTime);
    const bool isAsDescribed = sizeof dateTime == sizeof word && dateTime.isValid()
        && static_cast<qint64>(word) >> STATUS_BITS == wallClock(dateTime.date(), dateTime.time());
    return isAsDescribed ? word : NO_WORD;
}

Word later(Word word, qint64 ms)
{
    return word + (static_cast<Word>(ms) << STATUS_BITS);
}

QDateTime shownAt(qint64 wallClockMs)
{
    return QDateTime(QDate::fromJulianDay(JULIAN_DAY_OF_1970 + wallClockMs / MS_PER_DAY),
                     QTime::fromMSecsSinceStartOfDay(static_cast<int>(wallClockMs % MS_PER_DAY)));
}

/// The word of the beginning of this hour of the wall clock, or NO_WORD if the clocks are changed in it or near it.
///
/// The margins are there for times that come twice, because Qt does not always take them for the same one of the two.
/// Such times come up to three hours apart. In no zone are the clocks changed twice within a day, so both ends tell
/// enough.
Word wordOfHour(qint64 hour)
{
    constexpr qint64 MARGIN_MS = 3 * MS_PER_HOUR;
    constexpr qint64 WHOLE_MS = MARGIN_MS + MS_PER_HOUR + MARGIN_MS;
    const qint64 beginMs = hour * MS_PER_HOUR - MARGIN_MS;
    const QDateTime begin = shownAt(beginMs);
    const QDateTime end = shownAt(beginMs + WHOLE_MS);
    const Word word = checkedWord(begin);
    const bool isOrdinary = word != NO_WORD && checkedWord(end) == later(word, WHOLE_MS)
        && end.toMSecsSinceEpoch() - begin.toMSecsSinceEpoch() == WHOLE_MS;
    return isOrdinary ? later(word, MARGIN_MS) : NO_WORD;
}

struct Hour
{
    qint64 number = -1;
    Word word = NO_WORD;
};

/// The value of the variable TZ. It owns no memory.
class Zone
{
public:
    Zone() = default;

    explicit Zone(const QByteArray& name) : m_isSet(!name.isNull()), m_size(name.size())
    {
        std::copy_n(name.constData(), std::min<std::size_t>(static_cast<std::size_t>(m_size), m_name.size()),
                    m_name.begin());
    }

    /// A longer value is never equal, because only its beginning is kept.
    bool operator==(const Zone& other) const
    {
        return m_isSet == other.m_isSet && m_size == other.m_size && m_name == other.m_name
            && static_cast<std::size_t>(m_size) <= m_name.size();
    }

private:
    bool m_isSet = false;
    int m_size = 0;
    std::array<char, 64> m_name{};
};

/// What Qt has said in one second of the clock.
struct Memory
{
    qint64 second = -1;
    Zone zone;
    bool hasWord = false;
    Word word = NO_WORD; ///< Of the second itself, once it has been asked for.
    std::array<Hour, 16> hours;
};

// It has no destructor, so the library can be unloaded while threads run.
thread_local Memory memory;

Memory& memoryAt(qint64 second)
{
    // Not std::getenv(), because qputenv() in another thread may free what it reads. Qt takes a lock for both.
    const Zone zone(qgetenv("TZ"));
    if (memory.second != second || !(memory.zone == zone)) {
        memory = Memory();
        memory.second = second;
        memory.zone = zone;
    }
    return memory;
}

} // namespace

QDateTime now()
{
    const qint64 ms = QDateTime::currentMSecsSinceEpoch();
    Memory& known = memoryAt(ms / MS_PER_SECOND);
    if (!known.hasWord) {
        known.word = checkedWord(QDateTime::fromMSecsSinceEpoch(known.second * MS_PER_SECOND));
        known.hasWord = true;
    }
    return known.word != NO_WORD ? fromWord(later(known.word, ms % MS_PER_SECOND)) : QDateTime::fromMSecsSinceEpoch(ms);
}

std::optional<QDateTime> at(const QDate& date, const QTime& time)
{
    if (!date.isValid() || !time.isValid() || date.year() < MIN_YEAR) {
        return std::nullopt;
    }
    Memory& known = memoryAt(QDateTime::currentMSecsSinceEpoch() / MS_PER_SECOND);
    const qint64 shown = wallClock(date, time);
    const qint64 number = shown / MS_PER_HOUR;
    Hour& hour = known.hours[static_cast<std::size_t>(number) % known.hours.size()];
    if (hour.number != number) {
        hour = {number, wordOfHour(number)};
    }
    if (hour.word == NO_WORD) {
        return std::nullopt;
    }
    return fromWord(later(hour.word, shown % MS_PER_HOUR));
}

} // namespace tarvex::localclock
