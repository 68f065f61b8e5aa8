#include "faults.h"

#include "failure.h"
#include "literals.h"
#include "samples.h"

#include <QTest>

using tarvex::devbus::Fault;
using tarvex::devbus::FaultRule;
using tarvex::devbus::Faults;
using tarvex::devbus::isFailure;
using tarvex::devbus::readFaultRule;
using tarvex::traffic::Port;
using Kind = Faults::Occasion::Kind;

namespace {

void add(Faults& faults, const QString& text)
{
    FaultRule rule;
    QCOMPARE(readFaultRule(text, rule).description(), QString());
    QCOMPARE(faults.add(rule).description(), QString());
}

/// The number of the rule that applies; 0 for none.
int meet(Faults& faults, const QString& operation, const QString& client = u"printer"_s, Kind kind = Kind::Reply,
         Port port = Port::Query, const QVariantMap& data = {})
{
    const std::optional<Fault> fault = faults.meet({kind, port, client, operation, data});
    return fault ? fault->number : 0;
}

int meetPush(Faults& faults, const QString& text = u"text"_s, Kind kind = Kind::Push)
{
    return meet(faults, u"sendMessage"_s, u"printer"_s, kind, Port::Receiver,
                samples::messageTo(u"printer"_s, {}, text));
}

/// Which of the next \a count frames meet a fault.
QList<bool> meetings(Faults& faults, int count)
{
    QList<bool> met;
    for (int number = 0; number < count; ++number) {
        met.append(meet(faults, u"loadState"_s) != 0);
    }
    return met;
}

QList<qint64> hits(const Faults& faults)
{
    QList<qint64> hits;
    const QList<Faults::Entry> entries = faults.entries();
    for (const Faults::Entry& entry : entries) {
        hits.append(entry.hits);
    }
    return hits;
}

} // namespace

class TstFaults : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void meet_withoutRules_isNothing();
    void meet_fitsWhatTheRuleNames();
    void meet_command_isReadFromTheMessage();
    void meet_kinds_areThoseOfTheEffect_data();
    void meet_kinds_areThoseOfTheEffect();
    void meet_latestThatFits_applies();
    void often_decidesWhichFrames_data();
    void often_decidesWhichFrames();
    void often_ruleThatIsOverruled_stillCounts();
    void probability_ofSeed_isTheSameEachTime();
    void probability_ofZero_changesNothing();
    void probability_isAboutThatShare();
    void seed_isChosenOnlyForChance();
    void remove_unknown_removesNothing();
    void remove_numbersAreNotUsedAgain();
    void add_tooMany_isRefused();
    void add_wrongRule_isRefused();
    void words_nameTheRule();
};

void TstFaults::meet_withoutRules_isNothing()
{
    Faults faults;
    QCOMPARE(meet(faults, u"loadState"_s), 0);
    QVERIFY(!faults.hasPushAgain());
}

void TstFaults::meet_fitsWhatTheRuleNames()
{
    Faults faults;
    add(faults, u"client=printer port=query operation=loadState do=drop"_s);
    QCOMPARE(meet(faults, u"loadState"_s), 1);
    QCOMPARE(meet(faults, u"saveState"_s), 0);
    QCOMPARE(meet(faults, u"loadState"_s, u"cashbox"_s), 0);
    QCOMPARE(meet(faults, u"loadState"_s, u"printer"_s, Kind::Reply, Port::Receiver), 0);
    QCOMPARE(hits(faults), (QList<qint64>{1}));
}

void TstFaults::meet_command_isReadFromTheMessage()
{
    Faults faults;
    add(faults, u"command=print do=drop"_s);
    QCOMPARE(meetPush(faults, u"{\"cmd\":\"print\",\"data\":{}}"_s), 1);
    QCOMPARE(meetPush(faults, u"{\"cmd\":\"stop\",\"data\":{}}"_s), 0);
    QCOMPARE(meetPush(faults, u"print"_s), 0);
    const QVariantMap sent = samples::messageTo(u"x"_s, {}, u"{\"cmd\":\"print\"}"_s);
    QCOMPARE(meet(faults, u"sendMessage"_s, u"cashbox"_s, Kind::Reply, Port::Query, sent), 1);
    QCOMPARE(meet(faults, u"saveState"_s, u"cashbox"_s, Kind::Reply, Port::Query, sent), 0);
}

void TstFaults::meet_kinds_areThoseOfTheEffect_data()
{
    QTest::addColumn<bool>("isReply");
    QTest::addColumn<bool>("isPush");
    QTest::addColumn<bool>("isAcknowledged");
    QTest::newRow("do=drop") << true << true << false;
    QTest::newRow("do=silence") << true << true << false;
    QTest::newRow("frame=reply do=silence") << true << false << false;
    QTest::newRow("frame=push do=silence") << false << true << false;
    QTest::newRow("do=error:5") << true << false << false;
    QTest::newRow("do=operation:x") << true << false << false;
    QTest::newRow("do=again") << false << false << true;
    QTest::newRow("frame=push do=again") << false << false << true;
}

void TstFaults::meet_kinds_areThoseOfTheEffect()
{
    QFETCH(bool, isReply);
    QFETCH(bool, isPush);
    QFETCH(bool, isAcknowledged);
    Faults faults;
    add(faults, QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(meet(faults, u"sendMessage"_s) != 0, isReply);
    QCOMPARE(meetPush(faults) != 0, isPush);
    QCOMPARE(meetPush(faults, u"text"_s, Kind::Acknowledged) != 0, isAcknowledged);
    QCOMPARE(faults.hasPushAgain(), isAcknowledged);
}

void TstFaults::meet_latestThatFits_applies()
{
    Faults faults;
    add(faults, u"do=drop"_s);
    add(faults, u"operation=loadState do=silence"_s);
    add(faults, u"client=cashbox do=silence"_s);
    QCOMPARE(meet(faults, u"loadState"_s), 2);
    QCOMPARE(meet(faults, u"saveState"_s), 1);
    QCOMPARE(meet(faults, u"loadState"_s, u"cashbox"_s), 3);
    QCOMPARE(hits(faults), (QList<qint64>{1, 1, 1}));
}

void TstFaults::often_decidesWhichFrames_data()
{
    QTest::addColumn<QList<bool>>("expected");
    QTest::newRow("every") << QList<bool>{true, true, true, true};
    QTest::newRow("nth=3") << QList<bool>{false, false, true, false};
    QTest::newRow("from=3") << QList<bool>{false, false, true, true};
    QTest::newRow("once") << QList<bool>{true, false, false, false};
    QTest::newRow("probability=1") << QList<bool>{true, true, true, true};
    QTest::newRow("probability=0") << QList<bool>{false, false, false, false};
}

void TstFaults::often_decidesWhichFrames()
{
    QFETCH(QList<bool>, expected);
    Faults faults;
    add(faults, QLatin1String(QTest::currentDataTag()) + QLatin1String(" operation=loadState do=drop"));
    QCOMPARE(meet(faults, u"saveState"_s), 0); // does not fit and does not count
    QCOMPARE(meetings(faults, 4), expected);
}

void TstFaults::often_ruleThatIsOverruled_stillCounts()
{
    Faults faults;
    add(faults, u"nth=2 do=drop"_s);
    add(faults, u"nth=1 do=silence"_s);
    QCOMPARE(meet(faults, u"loadState"_s), 2);
    QCOMPARE(meet(faults, u"loadState"_s), 1);
    QCOMPARE(meet(faults, u"loadState"_s), 0);
}

void TstFaults::probability_ofSeed_isTheSameEachTime()
{
    Faults first;
    Faults second;
    Faults other;
    add(first, u"probability=0.5 seed=1 do=drop"_s);
    add(second, u"probability=0.5 seed=1 do=drop"_s);
    add(second, u"nth=5 do=silence"_s); // changes nothing for the first rule
    add(other, u"probability=0.5 seed=2 do=drop"_s);
    QList<bool> expected = meetings(first, 100);
    QList<bool> beside = meetings(second, 100);
    beside[4] = expected.at(4);
    QCOMPARE(beside, expected);
    QVERIFY(meetings(other, 100) != expected);
    QVERIFY(expected.contains(true) && expected.contains(false));
}

void TstFaults::probability_ofZero_changesNothing()
{
    Faults faults;
    add(faults, u"probability=0 do=drop"_s);
    QVERIFY(!meetings(faults, 1000).contains(true));
    QCOMPARE(hits(faults), (QList<qint64>{0}));
}

void TstFaults::probability_isAboutThatShare()
{
    Faults faults;
    add(faults, u"probability=0.25 seed=3 do=drop"_s);
    const int share = meetings(faults, 4000).count(true);
    QVERIFY2(share > 900 && share < 1100, qPrintable(QString::number(share)));
    QCOMPARE(hits(faults), (QList<qint64>{share}));
}

void TstFaults::seed_isChosenOnlyForChance()
{
    Faults faults;
    add(faults, u"do=drop"_s);
    add(faults, u"probability=0.5 do=drop"_s);
    add(faults, u"do=damage"_s);
    add(faults, u"probability=0.5 seed=5 do=drop"_s);
    const QList<Faults::Entry> entries = faults.entries();
    QVERIFY(!entries.at(0).rule.seed);
    QVERIFY(entries.at(1).rule.seed);
    QVERIFY(entries.at(2).rule.seed);
    QVERIFY(entries.at(3).rule.seed == 5U);
}

void TstFaults::remove_unknown_removesNothing()
{
    Faults faults;
    add(faults, u"do=drop"_s);
    QCOMPARE(faults.remove({1, 7}).description(), u"there is no fault 7"_s);
    QCOMPARE(faults.entries().size(), 1);
}

void TstFaults::remove_numbersAreNotUsedAgain()
{
    Faults faults;
    add(faults, u"do=drop"_s);
    add(faults, u"do=silence"_s);
    add(faults, u"do=again"_s);
    QVERIFY(!isFailure(faults.remove({1, 3})));
    add(faults, u"do=drop"_s);
    QCOMPARE(faults.entries().size(), 2);
    QCOMPARE(faults.entries().at(0).number, 2);
    QCOMPARE(faults.entries().at(1).number, 4);
    faults.clear();
    QVERIFY(faults.entries().isEmpty());
    QCOMPARE(meet(faults, u"loadState"_s), 0);
}

void TstFaults::add_tooMany_isRefused()
{
    Faults faults;
    for (int number = 0; number < Faults::MAX_RULES; ++number) {
        add(faults, u"do=drop"_s);
    }
    QCOMPARE(faults.add(FaultRule()).description(), u"there are 256 faults already, and no more are possible"_s);
    QCOMPARE(faults.entries().size(), 256);
}

void TstFaults::add_wrongRule_isRefused()
{
    Faults faults;
    FaultRule rule;
    rule.effect = FaultRule::Effect::Delay;
    QCOMPARE(faults.add(rule).description(), u"do=delay needs a time in ms from 1 to 600000, not 0"_s);
    QVERIFY(faults.entries().isEmpty());
}

void TstFaults::words_nameTheRule()
{
    Faults faults;
    add(faults, u"do=silence"_s);
    add(faults, u"do=delay:500"_s);
    const QString client = u"a"_s;
    const QString operation = u"loadState"_s;
    const QVariantMap data;
    QCOMPARE(faults.meet({Kind::Reply, Port::Query, client, operation, data})->words(), u"fault 2: delay of 500 ms"_s);
}

QTEST_GUILESS_MAIN(TstFaults)
#include "tst_faults.moc"
