#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>

namespace {

QString waitState(const QString& options)
{
    return u"--as monitor --json wait state printer "_s + options;
}

bool save(const QString& state, int type)
{
    return ScriptedClient(u"printer"_s).saveState(state, type, QString(), someDate());
}

} // namespace

/// The verbs "wait client", "wait state" and "wait message", and the option --wait-for-bus.
class TstWaitFor : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void client_there_is0();
    void client_comes_isWaitedFor();
    void client_notComplete_is4_data();
    void client_notComplete_is4();
    void client_busHangs_guessIsKept();
    void client_busRestarts_isWaitedFor();
    void client_otherBus_cannotTell();
    void client_otherBusHangs_is4InTime();
    void client_noBus_is3();
    void client_interrupted_is130_data();
    void client_interrupted_is130();
    void state_wanted_isShown_data();
    void state_wanted_isShown();
    void state_comes_isWaitedFor_data();
    void state_comes_isWaitedFor();
    void state_notWanted_is4();
    void state_ofNobody_is4();
    void state_forPeople_isARow();
    void message_wanted_isShown_data();
    void message_wanted_isShown();
    void message_otherOnes_areTold();
    void message_otherOnes_quiet_areTold();
    void message_published_isTaken();
    void message_none_is4();
    void waitForBus_precedesTheVerb();
    void waitForBus_noBus_is4();
    void waitForBus_interrupted_is130();
};

void TstWaitFor::client_there_is0()
{
    const BusProcess bus;
    const ScriptedClient printer(u"printer"_s);
    ProgramRun run(u"wait client printer"_s);
    QCOMPARE(run.ending(), ended(0));
    ProgramRun json(u"wait client printer --json"_s);
    QCOMPARE(json.status(), 0);
    QCOMPARE(json.objects().size(), 1);
    const QVariantMap object = json.objects().constFirst();
    QCOMPARE(object.value(u"done"_s).toString(), u"wait client"_s);
    QCOMPARE(object.value(u"name"_s).toString(), u"printer"_s);
    QVERIFY(!object.value(u"receiverSince"_s).toString().isEmpty());
}

void TstWaitFor::client_comes_isWaitedFor()
{
    const BusProcess bus;
    const BusClient query(BusClient::QUERY_PORT, u"printer"_s);
    ProgramRun run(u"wait client printer"_s);
    QVERIFY(run.waitForWords("waiting for \"printer\""));
    QVERIFY(!run.waitForMore(500));
    QVERIFY(run.isRunning());
    const BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    QCOMPARE(run.ending(), ended(0, {"waiting for \"printer\""}));
}

void TstWaitFor::client_notComplete_is4_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("query only") << u"asker"_s
                                << QByteArray("only the query connection of \"asker\" is there after 3 s");
    QTest::newRow("receiver only") << u"listener"_s
                                   << QByteArray("only the receiving connection of \"listener\" is there after 3 s");
    QTest::newRow("nobody") << u"nobody"_s << QByteArray("\"nobody\" has not connected within 3 s");
    QTest::newRow("mistyped") << u"listner"_s
                              << QByteArray("\"listner\" has not connected within 3 s; did you mean \"listener\"?");
}

void TstWaitFor::client_notComplete_is4()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, words);
    const BusProcess bus;
    const BusClient query(BusClient::QUERY_PORT, u"asker"_s);
    const BusClient receiver(BusClient::RECEIVER_PORT, u"listener"_s);
    ProgramRun run(u"--json wait client %1 --timeout 3"_s.arg(name));
    QCOMPARE(run.ending(), ended(4, {"waiting for \"" + name.toUtf8() + '"', words}));
}

/// The guess is made of what the bus has told before, so that the time-out does not become longer.
void TstWaitFor::client_busHangs_guessIsKept()
{
    BusProcess bus;
    const ScriptedClient client(u"kiosk_guider"_s);
    QVERIFY(client.isConnected());
    ProgramRun run(u"wait client kiosk_gudier --timeout 3"_s);
    QVERIFY2(run.waitForWords("waiting for \"kiosk_gudier\""), run.err().constData());
    bus.hang();
    const Ending ending = run.ending();
    bus.goOn();
    QCOMPARE(ending.status, 4);
    QVERIFY2(ending.err.endsWith("\"kiosk_gudier\" has not connected within 3 s; did you mean \"kiosk_guider\"?\n"),
             ending.err.constData());
}

void TstWaitFor::client_busRestarts_isWaitedFor()
{
    BusProcess bus;
    ProgramRun run(u"wait client printer"_s);
    QVERIFY(run.waitForWords("waiting for \"printer\""));
    bus.killHard();
    QVERIFY(run.waitForWords("the bus has gone; waiting for it to come back"));
    QVERIFY(bus.start());
    const ScriptedClient printer(u"printer"_s);
    QCOMPARE(run.status(), 0);
}

void TstWaitFor::client_otherBus_cannotTell()
{
    const FakeBus bus;
    ProgramRun run(u"wait client printer"_s);
    QCOMPARE(run.ending(),
             ended(1, {"this bus cannot tell who is there: only a development bus of the same user can"}));
}

void TstWaitFor::client_otherBusHangs_is4InTime()
{
    FakeBus bus;
    bus.willAnswerHandshake(sayNothing);
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(u"wait client printer --timeout 0.5"_s);
    QCOMPARE(run.ending(), ended(4, {"the bus is there, but did not answer within the time-out"}));
    QVERIFY(timer.elapsed() < 15000); // the library's own wait takes 30 s
}

void TstWaitFor::client_noBus_is3()
{
    ProgramRun run(u"wait client printer"_s);
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
}

void TstWaitFor::client_interrupted_is130_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TstWaitFor::client_interrupted_is130()
{
    QFETCH(int, signal);
    const BusProcess bus;
    ProgramRun run(u"wait client printer"_s);
    QVERIFY2(run.waitForWords("waiting for \"printer\""), run.err().constData());
    run.sendSignal(signal);
    QCOMPARE(run.ending(), ended(130, {"waiting for \"printer\"", "interrupted"}));
}

void TstWaitFor::state_wanted_isShown_data()
{
    QTest::addColumn<QString>("options");
    QTest::newRow("any") << QString();
    QTest::newRow("exactly") << u"--is 'Papér is low'"_s;
    QTest::newRow("pattern") << u"--matches 'p\\wr'"_s;
    QTest::newRow("type") << u"--type 3"_s;
    QTest::newRow("all") << u"--is 'Papér is low' --matches low$ --type 3"_s;
}

void TstWaitFor::state_wanted_isShown()
{
    QFETCH(QString, options);
    const BusProcess bus;
    QVERIFY(save(u"Papér is low"_s, 3));
    ProgramRun run(waitState(options));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{u"owner"_s, u"printer"_s},
                                  {u"date"_s, someDate()},
                                  {u"description"_s, QString()},
                                  {u"state"_s, u"Papér is low"_s},
                                  {u"type"_s, 3}}}));
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstWaitFor::state_comes_isWaitedFor_data()
{
    QTest::addColumn<QString>("options");
    QTest::newRow("text") << u"--is ready"_s;
    QTest::newRow("part of the text") << u"--matches 'r.*y$'"_s;
    QTest::newRow("case") << u"--matches ^ready"_s;
    QTest::newRow("type") << u"--type 2"_s;
    QTest::newRow("all") << u"--type 2 --is ready --matches eady"_s;
}

void TstWaitFor::state_comes_isWaitedFor()
{
    QFETCH(QString, options);
    const BusProcess bus;
    ProgramRun run(waitState(options));
    QTRY_VERIFY_WITH_TIMEOUT(bus.subscriptions().contains(u"monitor printer 1"_s), 30000);
    QVERIFY(save(u"READY?"_s, 1));
    QVERIFY(save(u"ready"_s, 2));
    // The program may read the present state only now. The bus has kept the change for it.
    QVERIFY(save(u"gone"_s, 1));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 1);
    QCOMPARE(run.objects().constFirst().value(u"state"_s).toString(), u"ready"_s);
    QCOMPARE(run.objects().constFirst().value(u"type"_s).toInt(), 2);
}

void TstWaitFor::state_notWanted_is4()
{
    const BusProcess bus;
    QVERIFY(save(u"busy"_s, 1));
    ProgramRun run(waitState(u"--is busy --type 2 --timeout 4"_s));
    QCOMPARE(run.ending(), ended(4, {"the state of printer did not become that within 4 s; it is, with type 1: busy"}));
}

void TstWaitFor::state_ofNobody_is4()
{
    const BusProcess bus;
    ProgramRun run(u"wait state cashbux --timeout 4"_s);
    QCOMPARE(
        run.ending(),
        ended(4,
              {"there is no client \"cashbux\" so far; did you mean \"cashbox\"?", "cashbux has no state after 4 s"}));
}

void TstWaitFor::state_forPeople_isARow()
{
    const BusProcess bus;
    QVERIFY(save(u"busy"_s, 1));
    ProgramRun run(u"wait state printer"_s);
    QCOMPARE(run.ending(),
             ended(0, {},
                   "TAKEN                    OWNER    TYPE  DESCRIPTION  STATE\n"
                   "2026-03-01T10:11:00.345  printer  1     -            busy\n"));
}

void TstWaitFor::message_wanted_isShown_data()
{
    QTest::addColumn<QString>("options");
    QTest::newRow("any") << QString();
    QTest::newRow("from") << u"--from printer"_s;
    QTest::newRow("command") << u"--command printed"_s;
    QTest::newRow("pattern") << u"--matches 'pages\":\\d'"_s;
    QTest::newRow("all") << u"--from printer --command printed --matches pages"_s;
}

void TstWaitFor::message_wanted_isShown()
{
    QFETCH(QString, options);
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.send(u"gui"_s, uR"({"cmd":"printed","data":{"pages":2}})"_s, u"1"_s));
    ProgramRun run(u"--as gui --json wait message "_s + options);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), told("waiting as gui"));
    QCOMPARE(run.objects().size(), 1);
    QCOMPARE(run.objects().constFirst().value(u"cmd"_s).toString(), u"printed"_s);
    QCOMPARE(run.objects().constFirst().value(u"UID"_s).toString(), u"1"_s);
}

void TstWaitFor::message_otherOnes_areTold()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ScriptedClient cashbox(u"cashbox"_s);
    QVERIFY(cashbox.send(u"gui"_s, uR"({"cmd":"printed","data":{}})"_s, u"1"_s));
    QVERIFY(printer.send(u"gui"_s, u"printed"_s, u"2"_s));
    QVERIFY(printer.send(u"gui"_s, uR"({"cmd":"printed","data":{}})"_s, u"3"_s));
    QVERIFY(printer.send(u"gui"_s, u"later"_s, u"4"_s));
    ProgramRun run(u"--as gui wait message --from printer --command printed"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.lines().size(), 2);
    QVERIFY2(run.err().contains("taken from the bus meanwhile, from cashbox, UID 1: "), run.err().constData());
    QVERIFY2(run.err().contains("taken from the bus meanwhile, from printer, UID 2: printed"), run.err().constData());
    QCOMPARE(run.errorLines().size(), 3);
    QCOMPARE(bus.messages().size(), 1); // what came after it stays with the bus
}

void TstWaitFor::message_otherOnes_quiet_areTold()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.send(u"gui"_s, u"paper is low"_s, u"1"_s));
    QVERIFY(printer.send(u"gui"_s, uR"({"cmd":"printed","data":{}})"_s, u"2"_s));
    ProgramRun run(u"--as gui --quiet wait message --command printed"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending, ended(0, {"taken from the bus meanwhile, from printer, UID 1: paper is low"}, ending.out));
    QCOMPARE(bus.messages(), QStringList());
}

void TstWaitFor::message_published_isTaken()
{
    const BusProcess bus;
    ProgramRun run(u"--as gui --json wait message --subscribe printer:2"_s);
    QTRY_VERIFY_WITH_TIMEOUT(bus.subscriptions().contains(u"gui printer 2"_s), 30000);
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.send(QString(), u"to all"_s, u"1"_s));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().value(0).value(u"message"_s).toString(), u"to all"_s);
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstWaitFor::message_none_is4()
{
    const BusProcess bus;
    ProgramRun run(u"--quiet wait message --timeout 4"_s);
    QCOMPARE(run.ending(), ended(4, {"no such message came within 4 s"}));
}

void TstWaitFor::waitForBus_precedesTheVerb()
{
    FakeBus bus;
    bus.willRefuseHandshake(3);
    bus.willAnswerHandshake(closeConnection);
    bus.willAlwaysDo(FakeBus::answer);
    ProgramRun run(u"--wait-for-bus 30 state set ready --as printer"_s);
    QCOMPARE(run.ending(), ended(0, {"saved the state of printer"}));
    QCOMPARE(bus.handshakes().size(), 4); // three of the search, and the verb's own
    QCOMPARE(operations(bus), QStringList{u"saveState"_s});
}

void TstWaitFor::waitForBus_noBus_is4()
{
    ProgramRun run(u"state set ready --wait-for-bus 0.5"_s);
    QCOMPARE(run.ending(),
             ended(4, {"no bus has answered within 0.5 s: no bus to be reached on 127.0.0.1: Connection refused"}));
}

void TstWaitFor::waitForBus_interrupted_is130()
{
    FakeBus bus;
    bus.willAnswerHandshake(sayNothing);
    ProgramRun run(u"--wait-for-bus 30 state set ready"_s);
    QVERIFY(bus.waitForConnections(1));
    QCOMPARE(run.interrupted(), ended(130, {"interrupted"}));
}

QTEST_GUILESS_MAIN(TstWaitFor)
#include "tst_waitfor.moc"
