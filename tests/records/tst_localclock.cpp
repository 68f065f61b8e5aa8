// How the records come to local date-times: rarely by Qt, and always with Qt's results.

#include "heldclock.h"
#include "literals.h"
#include "localzone.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"

#include <QTest>

#include <atomic>
#include <cstdlib>
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

/// The zone that the system's zone file is to describe, while TZ is unset. Null for the real file.
const char* zoneOfFile = nullptr;

/// Calls \a function as if the system's zone file described zoneOfFile.
template <typename Function>
auto withZoneOfFile(Function function)
{
    if (zoneOfFile == nullptr) {
        return function();
    }
    setenv("TZ", zoneOfFile, 1);
    const auto result = function();
    unsetenv("TZ");
    return result;
}

} // namespace

// These functions replace those of the C library, also for Qt.
extern "C" {

__attribute__((visibility("default"))) void tzset() noexcept
{
    ++questions;
    static const auto next = reinterpret_cast<void (*)()>(dlsym(RTLD_NEXT, "tzset"));
    withZoneOfFile([] {
        next();
        return 0;
    });
}

__attribute__((visibility("default"))) time_t mktime(tm* time) noexcept
{
    ++questions;
    static const auto next = reinterpret_cast<time_t (*)(tm*)>(dlsym(RTLD_NEXT, "mktime"));
    return withZoneOfFile([time] { return next(time); });
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
    void zoneFileReplaced_countsInTheNextSecond();
    void wallClockSetBack_zoneIsAskedAboutAgain();
    void severalThreads_haveTheSameResults();
    void longZone_isRight();
    void environmentChangedByAnotherThread_isRead();
};

void TstLocalClock::cleanup()
{
    zoneOfFile = nullptr;
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

void TstLocalClock::zoneFileReplaced_countsInTheNextSecond()
{
    HeldClock clock;
    clock.setWallClock(QDateTime::fromMSecsSinceEpoch(1700000000000));
    qunsetenv("TZ");
    const QString summerInBerlin = u"2023-07-05T02:30:00.000"_s;
    for (int count = 0; count < 3; ++count) {
        zoneOfFile = "Europe/Berlin";
        clock.advance(1000);
        QCOMPARE(Message().dt().time().hour(), 23);
        QVERIFY(Message::fromVariantMap(dated(summerInBerlin)).dt().isDaylightTime());
        zoneOfFile = "Asia/Kolkata";
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

// A longer value than is remembered.
void TstLocalClock::longZone_isRight()
{
    HeldClock clock;
    clock.setWallClock(QDateTime::fromMSecsSinceEpoch(1700000000000));
    const QByteArray zones = "<" + QByteArray(80, 'A') + ">";
    for (int hours = 1; hours < 4; ++hours) {
        qputenv("TZ", zones + QByteArray::number(-hours));
        QCOMPARE(Message().dt().time(), QTime((22 + hours) % 24, 13, 20));
    }
}

// The C library frees the list of variables when it grows, and what another thread reads of it at that moment.
void TstLocalClock::environmentChangedByAnotherThread_isRead()
{
    std::atomic<bool> isDone{false};
    std::thread reader([&isDone] {
        while (!isDone) {
            Message::fromVariantMap(Message().toVariantMap());
        }
    });
    for (int count = 0; count < 3000; ++count) {
        qputenv(("TST_LOCALCLOCK_" + QByteArray::number(count)).constData(), "1");
    }
    isDone = true;
    reader.join();
    for (int count = 0; count < 3000; ++count) {
        qunsetenv(("TST_LOCALCLOCK_" + QByteArray::number(count)).constData());
    }
}

QTEST_GUILESS_MAIN(TstLocalClock)
#include "tst_localclock.moc"
