// The filter of repeats that the bridge of log lines has.

#include "bridgeend.h"
#include "heldclock.h"
#include "literals.h"

#include <QDateTime>
#include <QTest>

#include <limits>

namespace {

/// A line, its ms after the line before, and whether it is sent or held back.
struct Step
{
    int ms;
    QString text;
    bool isSent;
};

using Steps = QList<Step>;

const QString LINE = u"line"_s;
const QString OTHER = u"another"_s;

/// LINE and its repeats. Each is held back 1 ms before its interval is over, and sent when it is over.
Steps repeatsAfter(const QList<int>& intervals)
{
    Steps steps{{0, LINE, true}};
    for (const int interval : intervals) {
        steps << Step{interval - 1, LINE, false} << Step{1, LINE, true};
    }
    return steps;
}

} // namespace

Q_DECLARE_METATYPE(Steps)

class TstRepeatFilter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void lines_areSentOrHeldBack_data();
    void lines_areSentOrHeldBack();
    void init_forgets();
    void release_turnsItOff();
    void bridgeDown_goesOn();
    void bothOutputs_shareIt();
    void guiLine_countsOnce();
    void wallClockJumps_countsTheTimeGoneBy_data();
    void wallClockJumps_countsTheTimeGoneBy();
};

void TstRepeatFilter::cleanup()
{
    TarvexLogCreator::release();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TstRepeatFilter::lines_areSentOrHeldBack_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<Steps>("steps");
    const Steps allSent{{0, LINE, true}, {0, LINE, true}, {0, LINE, true}, {0, LINE, true}};
    QTest::newRow("off at 1000") << 1000 << allSent;
    QTest::newRow("off at 0") << 0 << allSent;
    QTest::newRow("off below 0") << -5 << allSent;
    QTest::newRow("off at the smallest") << std::numeric_limits<int>::min() << allSent;
    QTest::newRow("on at 1001") << 1001 << repeatsAfter({1001});
    // Each is the integer part of 1.3 times the one before.
    QTest::newRow("interval grows") << 2000 << repeatsAfter({2000, 2600, 3380, 4394, 5712, 7425, 9652, 12547});
    QTest::newRow("what comes late counts from then")
        << 2000 << Steps{{0, LINE, true}, {500, LINE, false}, {1600, LINE, true}, {2599, LINE, false}, {1, LINE, true}};
    QTest::newRow("interval is capped") << 230000 << repeatsAfter({230000, 299000, 300000, 300000, 300000});
    for (const int interval : {300000, 300001, 400000, std::numeric_limits<int>::max()}) {
        QTest::addRow("base is capped: %d", interval) << interval << repeatsAfter({300000});
    }
    QTest::newRow("another line sets the interval back")
        << 2000 << Steps{{0, LINE, true}, {2000, LINE, true}, {0, OTHER, true}, {1999, OTHER, false}, {1, OTHER, true}};
    QTest::newRow("lines that take turns")
        << 300000 << Steps{{0, LINE, true}, {0, OTHER, true}, {0, LINE, true}, {0, OTHER, true}};
    QTest::newRow("compares exactly")
        << 2000 << Steps{{0, LINE, true}, {0, u"Line"_s, true}, {0, u"Line "_s, true}, {0, u"Line "_s, false}};
    QTest::newRow("empty line first") << 2000 << Steps{{0, QString(), true}, {0, QString(QLatin1String("")), false}};
}

void TstRepeatFilter::lines_areSentOrHeldBack()
{
    QFETCH(int, interval);
    QFETCH(Steps, steps);
    HeldClock clock;
    Receiver receiver;
    receiver.setUp(interval);
    for (const Step& step : qAsConst(steps)) {
        receiver.messages.clear();
        clock.advance(step.ms);
        store(step.text);
        QCOMPARE(receiver.messages.size(), step.isSent ? 1 : 0);
    }
}

void TstRepeatFilter::init_forgets()
{
    HeldClock clock;
    Receiver receiver;
    for (int time = 0; time < 2; ++time) {
        receiver.setUp(2000);
        QVERIFY(passes(LINE));
        clock.advance(2000);
        QVERIFY(passes(LINE));
    }
}

void TstRepeatFilter::release_turnsItOff()
{
    Receiver receiver;
    receiver.setUp(300000);
    QVERIFY(passes(LINE));
    QVERIFY(!passes(LINE));
    TarvexLogCreator::release();
    QVERIFY(passes(LINE));
    QVERIFY(passes(LINE));
}

void TstRepeatFilter::bridgeDown_goesOn()
{
    const HeldClock clock;
    TarvexLogCreator::init(nullptr, QByteArray(), CLIENT, 2000);
    store(LINE);
    QVERIFY(!passes(LINE));
}

void TstRepeatFilter::bothOutputs_shareIt()
{
    const HeldClock clock;
    Receiver receiver;
    receiver.setUp(2000);
    store(LINE);
    // The level differs, the text is the same.
    show(LINE, QtCriticalMsg);
    QCOMPARE(receiver.messages.size(), 1);
}

void TstRepeatFilter::guiLine_countsOnce()
{
    HeldClock clock;
    Receiver receiver;
    receiver.setUp(2000);
    for (const int interval : {2000, 2600, 0}) {
        show(LINE);
        clock.advance(interval);
    }
    QCOMPARE(receiver.messages.size(), 6);
}

void TstRepeatFilter::wallClockJumps_countsTheTimeGoneBy_data()
{
    QTest::addColumn<QTime>("start");
    QTest::addColumn<int>("jumpS");
    const QTime noon(12, 0);
    const QTime beforeMidnight(23, 59, 59, 500);
    QTest::newRow("none") << noon << 0;
    QTest::newRow("back by 2 s") << noon << -2;
    QTest::newRow("back by an hour") << noon << -3600;
    QTest::newRow("forward by 2 s") << noon << 2;
    QTest::newRow("forward by an hour") << noon << 3600;
    QTest::newRow("back by a day") << noon << -86400;
    QTest::newRow("forward by a day") << noon << 86400;
    QTest::newRow("midnight in between") << beforeMidnight << 0;
    QTest::newRow("midnight in between, back before it") << beforeMidnight << -60;
    QTest::newRow("back over midnight") << QTime(0, 0, 0, 500) << -3600;
    QTest::newRow("forward over midnight") << beforeMidnight << 3600;
}

void TstRepeatFilter::wallClockJumps_countsTheTimeGoneBy()
{
    QFETCH(QTime, start);
    QFETCH(int, jumpS);
    HeldClock clock;
    const QDateTime before(QDate(2024, 3, 5), start);
    clock.setWallClock(before);
    Receiver receiver;
    receiver.setUp(2000);
    QVERIFY(passes(LINE));
    clock.advance(1000);
    clock.setWallClock(before.addSecs(1 + jumpS));
    QVERIFY(!passes(LINE));
    clock.advance(999);
    QVERIFY(!passes(LINE));
    clock.advance(1);
    QCOMPARE(QDateTime::currentDateTime(), before.addSecs(2 + jumpS));
    QVERIFY(passes(LINE));
    // The same for the interval that has grown.
    clock.setWallClock(before);
    clock.advance(2599);
    QVERIFY(!passes(LINE));
    clock.advance(1);
    QVERIFY(passes(LINE));
}

QTEST_GUILESS_MAIN(TstRepeatFilter)
#include "tst_repeatfilter.moc"
