#include "busprocess.h"
#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QTest>

namespace {

/// \return the code of the reply; -1 when none came
int loadState(BusClient& client)
{
    return client.ask(u"loadState"_s, {{u"owner"_s, u"printer"_s}}).code;
}

} // namespace

/// The verbs "fault add", "fault list" and "fault clear", with the development bus and with others.
class TstFaultVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void add_happensFromThenOn();
    void add_wordsAreOneRule_data();
    void add_wordsAreOneRule();
    void add_asJson_isOneObject();
    void add_wrongRule_isRefusedInTheBusWords();
    void list_tellsHits();
    void list_asJson_isOneObjectEach();
    void list_withoutFaults_isTold();
    void list_controlCharacters_areShownAsEscapes();
    void clear_numbers_leavesTheOthers();
    void clear_everything_endsThem();
    void clear_unknown_isRefusedAndEndsNone();
    void clear_noNumber_isWrongUse_data();
    void clear_noNumber_isWrongUse();
    void otherBus_isRefused_data();
    void otherBus_isRefused();
    void noBus_is3();
};

void TstFaultVerb::add_happensFromThenOn()
{
    const BusProcess bus;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    QCOMPARE(loadState(client), 5);
    ProgramRun run(u"fault add client=printer operation=loadState do=error:512:locked"_s);
    QCOMPARE(run.ending(), ended(0, {"added fault 1: client=printer operation=loadState do=error:512:locked"}));
    QCOMPARE(loadState(client), 512);
    ProgramRun clear(u"fault clear"_s);
    QCOMPARE(clear.status(), 0);
    QCOMPARE(loadState(client), 5);
}

void TstFaultVerb::add_wordsAreOneRule_data()
{
    QTest::addColumn<QByteArray>("rule");
    QTest::newRow("nth=3 do=drop") << QByteArray("nth=3 do=drop");
    QTest::newRow("do=drop nth=3") << QByteArray("nth=3 do=drop");
    QTest::newRow("'nth=3, do=drop'") << QByteArray("nth=3 do=drop");
    QTest::newRow("'client=\"a b\"' do=drop") << QByteArray("client=\"a b\" do=drop");
    QTest::newRow("'do=\"error:5:no paper\"'") << QByteArray("do=\"error:5:no paper\"");
    QTest::newRow("-- do=size:-1") << QByteArray("do=size:-1");
}

/// The name of each row is the rule on the command line.
void TstFaultVerb::add_wordsAreOneRule()
{
    QFETCH(QByteArray, rule);
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun run(u"fault add "_s + QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(run.ending(), ended(0, {"added fault 1: " + rule}));
}

void TstFaultVerb::add_asJson_isOneObject()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun run(u"--json fault add seed=5 probability=0.5 do=drop"_s);
    QCOMPARE(
        run.ending(),
        ended(0, {}, "{\"done\":\"fault add\",\"hits\":0,\"number\":1,\"rule\":\"probability=0.5 seed=5 do=drop\"}\n"));
}

void TstFaultVerb::add_wrongRule_isRefusedInTheBusWords()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun run(u"fault add nth=1 from=2 do=drop"_s);
    QCOMPARE(
        run.ending(),
        ended(1,
              {"refused by the bus: \"nth\" and \"from\" exclude each other: only one of nth, from, once and every "
               "is possible"}));
    ProgramRun list(u"fault list"_s);
    QCOMPARE(list.ending(), ended(0, {"there are no faults"}));
    ProgramRun nothing(u"fault add"_s);
    QCOMPARE(nothing.status(), 2);
}

void TstFaultVerb::list_tellsHits()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun first(u"fault add operation=loadState do=error:512"_s);
    QCOMPARE(first.status(), 0);
    ProgramRun second(u"fault add client=cashbox do=silence"_s);
    QCOMPARE(second.status(), 0);
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    QCOMPARE(loadState(client), 512);
    QCOMPARE(loadState(client), 512);
    ProgramRun run(u"fault list"_s);
    QCOMPARE(run.ending(),
             ended(0, {},
                   "NUMBER  HITS  RULE\n"
                   "1       2     operation=loadState do=\"error:512:Storage access error\"\n"
                   "2       0     client=cashbox do=silence\n"));
}

void TstFaultVerb::list_asJson_isOneObjectEach()
{
    const BusProcess bus(BusProcess::InMemory);
    for (const QString& rule : {u"do=drop client=x"_s, u"do=delay:1"_s}) {
        ProgramRun run(u"fault add "_s + rule);
        QCOMPARE(run.status(), 0);
    }
    ProgramRun run(u"--json fault list"_s);
    QCOMPARE(run.ending(),
             ended(0, {},
                   "{\"hits\":0,\"number\":1,\"rule\":\"client=x do=drop\"}\n"
                   "{\"hits\":0,\"number\":2,\"rule\":\"do=delay:1\"}\n"));
}

void TstFaultVerb::list_withoutFaults_isTold()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun run(u"fault list"_s);
    QCOMPARE(run.ending(), ended(0, {"there are no faults"}));
    ProgramRun json(u"--json fault list"_s);
    QCOMPARE(json.ending(), ended(0, {"there are no faults"}));
}

void TstFaultVerb::list_controlCharacters_areShownAsEscapes()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun add(QStringList{u"fault"_s, u"add"_s, u"client=a\x1b[2J"_s, u"do=drop"_s});
    QCOMPARE(add.ending(), ended(0, {"added fault 1: client=a\\x1b[2J do=drop"}));
    ProgramRun list(u"fault list"_s);
    QCOMPARE(list.status(), 0);
    QCOMPARE(list.lines().value(1), u"1       0     client=a\\x1b[2J do=drop"_s);
}

void TstFaultVerb::clear_numbers_leavesTheOthers()
{
    const BusProcess bus(BusProcess::InMemory);
    for (int ms = 1; ms <= 3; ++ms) {
        ProgramRun run(u"fault add do=delay:%1"_s.arg(ms));
        QCOMPARE(run.status(), 0);
    }
    ProgramRun clear(u"fault clear 3 1"_s);
    QCOMPARE(clear.ending(), ended(0, {"ended the faults 1, 3"}));
    ProgramRun list(u"--json fault list"_s);
    QCOMPARE(list.status(), 0);
    QCOMPARE(list.objects().size(), 1);
    QCOMPARE(list.objects().at(0).value(u"rule"_s).toString(), u"do=delay:2"_s);
}

void TstFaultVerb::clear_everything_endsThem()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun add(u"fault add do=delay:1"_s);
    QCOMPARE(add.status(), 0);
    ProgramRun clear(u"--json fault clear"_s);
    QCOMPARE(clear.ending(), ended(0, {}, "{\"done\":\"fault clear\",\"numbers\":[1]}\n"));
    ProgramRun again(u"fault clear"_s);
    QCOMPARE(again.ending(), ended(0, {"there are no faults"}));
}

void TstFaultVerb::clear_unknown_isRefusedAndEndsNone()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun add(u"fault add do=delay:1"_s);
    QCOMPARE(add.status(), 0);
    ProgramRun clear(u"fault clear 1 2"_s);
    QCOMPARE(clear.ending(), ended(1, {"refused by the bus: there is no fault 2"}));
    ProgramRun list(u"--json fault list"_s);
    QCOMPARE(list.status(), 0);
    QCOMPARE(list.objects().size(), 1);
}

void TstFaultVerb::clear_noNumber_isWrongUse_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* const text : {"x", "0", "-1", "1.5", "2147483648"}) {
        QTest::newRow(text) << QByteArray(text);
    }
}

void TstFaultVerb::clear_noNumber_isWrongUse()
{
    QFETCH(QByteArray, text);
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun run(u"fault clear -- "_s + QString::fromLatin1(text));
    QCOMPARE(run.ending(), ended(2, {"NUMBER must be a whole number from 1 to 2147483647, not \"" + text + '"'}));
}

void TstFaultVerb::otherBus_isRefused_data()
{
    QTest::addColumn<QString>("words");
    for (const char* const words : {"fault add do=drop", "fault list", "fault clear"}) {
        QTest::newRow(words) << QString::fromLatin1(words);
    }
}

void TstFaultVerb::otherBus_isRefused()
{
    const FakeBus bus;
    ProgramRun run(QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(run.ending(), ended(1, {"this bus brings about no faults: only a development bus of the same user can"}));
}

void TstFaultVerb::noBus_is3()
{
    {
        const BusProcess killed; // leaves its socket behind
    }
    ProgramRun run(u"fault list"_s);
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
}

QTEST_GUILESS_MAIN(TstFaultVerb)
#include "tst_faultverb.moc"
