// How the records come to local date-times: rarely by Qt, and always with Qt's results.

#include "heldclock.h"
#include "literals.h"
#include "localzone.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"

#include <QTest>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <thread>
#include <vector>

using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::Message;

namespace {

const QByteArray ZONE = qgetenv("TZ");
const QString DATE = u"date"_s;

/// How often the C library was asked about the time zone.
std::atomic<int> questions{0};

QVariantMap dated(const QString& text)
{
    return {{DATE, text}, {u"owner"_s, u"cashbox"_s}};
}

/// What a service does with dates.
void useEveryRecord()
{
    Message message;
    message.setUid(message.genUid());
    const Message read = Message::fromVariantMap(message.toVariantMap());
    QVERIFY(Message(read).msgKey() == message.msgKey());
    QVERIFY(read == message);
    ClientSettings settings;
    settings.setOwner(u"cashbox"_s);
    QVERIFY(ClientSettings::fromVariantMap(settings.toVariantMap()).isValid());
    QVERIFY(ClientSettings::fromVariantMap(dated(u"2024-03-05T07:08:09.010"_s)).isValid());
    ClientState state;
    QVERIFY(ClientState::fromVariantMap(state.toVariantMap()) == state);
    state.setDt(message.dt());
    QVERIFY(ClientState::fromVariantMap(state.toVariantMap()).dt() == message.dt());
}

/// A value of TZ that is changed where it stands, so that its place stays the same. The C library notices it as it
/// notices that the system's zone file was replaced: the next time that it is asked.
class ZoneInPlace
{
public:
    ZoneInPlace() { putenv(m_variable.data()); }

    ~ZoneInPlace() { localzone::set(ZONE); }
    Q_DISABLE_COPY_MOVE(ZoneInPlace)

    void set(const char* zone) { std::strncpy(&m_variable[3], zone, m_variable.size() - 4); }

private:
    std::array<char, 30> m_variable{"TZ="};
};

} // namespace

// These functions replace those of the C library, also for Qt.
extern "C" {

__attribute__((visibility("default"))) void tzset() noexcept
{
    ++questions;
    static const auto next = reinterpret_cast<void (*)()>(dlsym(RTLD_NEXT, "tzset"));
    next();
}

__attribute__((visibility("default"))) time_t mktime(tm* time) noexcept
{
    ++questions;
    static const auto next = reinterpret_cast<time_t (*)(tm*)>(dlsym(RTLD_NEXT, "mktime"));
    return next(time);
}

} // extern "C"

class TstLocalClock : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void now_isTheCurrentTimeOfQt_data();
    void now_isTheCurrentTimeOfQt();
    void sameSecond_zoneIsNotAskedAbout();
    void nextSecond_zoneIsAskedAboutAgain();
    void newZone_countsAtOnce();
    void zoneChangedUnseen_countsInTheNextSecond();
    void wallClockSetBack_zoneIsAskedAboutAgain();
    void severalThreads_haveTheSameResults();
};

void TstLocalClock::cleanup()
{
    localzone::set(ZONE);
}

void TstLocalClock::now_isTheCurrentTimeOfQt_data()
{
    QTest::addColumn<QByteArray>("zone");
    for (const char* const zone : localzone::ALL) {
        QTest::addRow("\"%s\"", zone) << QByteArray(zone);
    }
}

// The moments are near changes of the clocks, at the ends of the time that the C library is asked about, and between.
void TstLocalClock::now_isTheCurrentTimeOfQt()
{
    QFETCH(QByteArray, zone);
    localzone::set(zone);
    HeldClock clock;
    for (const qint64 second : {-86400LL, -1LL, 1LL, 86400LL, 1680361199LL, 1698541199LL, 1698544799LL, 1698544800LL,
                                1700000000LL, 1710651600LL, 2145916799LL, 2145916800LL, 4102444800LL, 253402300799LL}) {
        for (int step = 0; step < 200; ++step) {
            const qint64 ms = second * 1000 + step * 333 * (second < 0 ? -3 : 1);
            clock.setWallClock(QDateTime::fromMSecsSinceEpoch(ms < 0 ? ms / 1000 * 1000 : ms));
            const QDateTime expected = QDateTime::currentDateTime();
            QVERIFY2(localzone::isIdentical(Message().dt(), expected),
                     qPrintable(expected.toString(Qt::ISODateWithMs)));
            QVERIFY(localzone::isIdentical(ClientSettings().dt(), expected));
        }
    }
}

void TstLocalClock::sameSecond_zoneIsNotAskedAbout()
{
    HeldClock clock;
    clock.setWallClock(QDateTime::fromMSecsSinceEpoch(1700000000000));
    questions = 0;
    useEveryRecord();
    QVERIFY(questions > 0);
    questions = 0;
    for (int count = 0; count < 999; ++count) {
        clock.advance(1);
        useEveryRecord();
    }
    QCOMPARE(questions, 0);
}

void TstLocalClock::nextSecond_zoneIsAskedAboutAgain()
{
    HeldClock clock;
    clock.setWallClock(QDateTime::fromMSecsSinceEpoch(1700000000999));
    useEveryRecord();
    for (int count = 0; count < 3; ++count) {
        questions = 0;
        useEveryRecord();
        QCOMPARE(questions, 0);
        clock.advance(1000);
        QVERIFY(Message().dt().isValid());
        QVERIFY(questions > 0);
        questions = 0;
        Message::fromVariantMap(dated(u"2024-03-05T07:08:09.010"_s));
        QVERIFY(questions > 0);
        useEveryRecord();
    }
}

void TstLocalClock::newZone_countsAtOnce()
{
    HeldClock clock;
    clock.setWallClock(QDateTime::fromMSecsSinceEpoch(1700000000000));
    const QString skippedInBerlin = u"2023-03-26T02:30:00.000"_s;
    for (int count = 0; count < 3; ++count) {
        qputenv("TZ", "Europe/Berlin");
        QCOMPARE(Message().dt().time(), QTime(23, 13, 20));
        QVERIFY(!ClientSettings::fromVariantMap(dated(skippedInBerlin)).isValid());
        qputenv("TZ", "Asia/Kolkata");
        QCOMPARE(Message().dt().time(), QTime(3, 43, 20));
        QVERIFY(ClientSettings::fromVariantMap(dated(skippedInBerlin)).isValid());
    }
}

void TstLocalClock::zoneChangedUnseen_countsInTheNextSecond()
{
    HeldClock clock;
    clock.setWallClock(QDateTime::fromMSecsSinceEpoch(1700000000000));
    ZoneInPlace zone;
    const QString summerInBerlin = u"2023-07-05T02:30:00.000"_s;
    for (int count = 0; count < 3; ++count) {
        zone.set("Europe/Berlin");
        clock.advance(1000);
        QCOMPARE(Message().dt().time().hour(), 23);
        QVERIFY(Message::fromVariantMap(dated(summerInBerlin)).dt().isDaylightTime());
        zone.set("Asia/Kolkata");
        clock.advance(1000);
        QCOMPARE(Message().dt().time().hour(), 3);
        QVERIFY(!Message::fromVariantMap(dated(summerInBerlin)).dt().isDaylightTime());
    }
}

void TstLocalClock::wallClockSetBack_zoneIsAskedAboutAgain()
{
    HeldClock clock;
    for (const qint64 second : {1700000000LL, 1690000000LL, 1700000000LL}) {
        clock.setWallClock(QDateTime::fromMSecsSinceEpoch(second * 1000));
        questions = 0;
        QCOMPARE(Message().dt().toMSecsSinceEpoch(), second * 1000);
        QVERIFY(questions > 0);
    }
}

void TstLocalClock::severalThreads_haveTheSameResults()
{
    const Message shared = Message::fromVariantMap(dated(u"2024-03-05T07:08:09.010"_s));
    std::atomic<int> differences{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&shared, &differences] {
            for (int count = 0; count < 3000; ++count) {
                Message copy = shared;
                copy.setUid(QString::number(count));
                const Message read = Message::fromVariantMap(copy.toVariantMap());
                const Message made;
                const bool isRight = read == copy && read.dt() == shared.dt()
                    && Message::fromVariantMap(made.toVariantMap()).dt() == made.dt();
                differences += isRight ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(differences, 0);
}

QTEST_GUILESS_MAIN(TstLocalClock)
#include "tst_localclock.moc"
