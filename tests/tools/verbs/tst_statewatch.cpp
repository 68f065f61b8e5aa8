#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTest>

#include <chrono>
#include <thread>

namespace {

QString watch(const QString& options)
{
    return u"--as monitor state watch "_s + options;
}

/// The printer's state.
QVariantMap record(const QString& state, int second)
{
    return {{u"owner"_s, u"printer"_s},
            {u"date"_s, someDate(second)},
            {u"description"_s, QString()},
            {u"state"_s, state},
            {u"type"_s, 1}};
}

QVariantMap noRecord(const QString& owner = u"printer"_s)
{
    return {{u"owner"_s, owner},
            {u"date"_s, QString()},
            {u"description"_s, QString()},
            {u"state"_s, QString()},
            {u"type"_s, -1}};
}

/// What the bus pushes when the state has changed.
QByteArray pushedChange(const QVariantMap& state)
{
    const QVariantMap command{{u"cmd"_s, u"stateChanged"_s}, {u"data"_s, state}};
    const QByteArray text = QJsonDocument::fromVariant(command).toJson(QJsonDocument::Compact);
    return FakeBus::requestFrame(u"sendMessage"_s,
                                 {{u"sender"_s, state.value(u"owner"_s)},
                                  {u"UID"_s, state.value(u"state"_s)},
                                  {u"message"_s, QString::fromUtf8(text)}});
}

/// The printer, as a client of the bus.
class Printer : public ScriptedClient
{
public:
    Printer() : ScriptedClient(u"printer"_s) { }

    bool save(const QString& state, int second) { return saveState(state, 1, QString(), someDate(second)); }
};

/// A bus that has the state "a" of the printer. The printer itself is not connected.
struct BusWithState : BusProcess
{
    explicit BusWithState(Storage storage = InFile) : BusProcess(storage) { isSaved = Printer().save(u"a"_s, 1); }

    bool isSaved;
};

} // namespace

class TstStateWatch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void presentStatesThenChanges_inColumns();
    void presentStatesThenChanges_asJson_data();
    void presentStatesThenChanges_asJson();
    void diff_showsWhatDiffers_data();
    void diff_showsWhatDiffers();
    void diff_asJson_hasChanges();
    void change_isShownAtOnce();
    void changeWhileReading_isShownOnce();
    void timeOut_tellsWhetherEnoughCame_data();
    void timeOut_tellsWhetherEnoughCame();
    void subscription_isToStatesOnlyAndEnds();
    void otherMessages_areTold();
    void loadRefused_is1();
    void killedBus_changesAfterwardsAreShown();
    void killedBus_keptChangesComeInOrder();
    void changesPushedLate_comeInOrder();
    void killedBusWithoutMemory_lostStateIsShown();
    void hungBus_interruptEndsInTime();
    void stdoutFails_is1AndUnsubscribes();
};

void TstStateWatch::presentStatesThenChanges_inColumns()
{
    BusProcess bus;
    Printer printer;
    QVERIFY(printer.saveState(u"{\"paper\":\"low\"}"_s, 3, u"Printer\nat the door"_s, someDate(1)));
    ProgramRun run(watch(u"printer cashbox --count 1"_s));
    QVERIFY(run.waitForLines(3));
    ScriptedClient cashbox(u"cashbox"_s);
    QVERIFY(cashbox.saveState(u"full"_s, 0, QString(), someDate(2)));
    QCOMPARE(run.ending(),
             ended(0, {},
                   "TAKEN                    OWNER    TYPE  DESCRIPTION           STATE\n"
                   "2026-03-01T10:11:01.345  printer  3     Printer\\nat the door  {\"paper\":\"low\"}\n"
                   "-                        cashbox  -     -                     no state\n"
                   "2026-03-01T10:11:02.345  cashbox  0     -                     full\n"));
}

void TstStateWatch::presentStatesThenChanges_asJson_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QStringList>("saved"); // each state with the second of its date
    QTest::addColumn<int>("present");
    QTest::addColumn<QStringList>("shown");
    QTest::newRow("two owners") << u"cashbox printer --count 2"_s << QStringList{u"b2"_s, u"c3"_s} << 2
                                << QStringList{u"-"_s, u"a1"_s, u"b2"_s, u"c3"_s};
    QTest::newRow("owner twice") << u"printer printer --count 1"_s << QStringList{u"b2"_s} << 1
                                 << QStringList{u"a1"_s, u"b2"_s};
    QTest::newRow("same state again") << u"printer --count 1"_s << QStringList{u"a1"_s, u"a2"_s} << 1
                                      << QStringList{u"a1"_s, u"a2"_s};
    QTest::newRow("to and fro") << u"printer --count 2"_s << QStringList{u"b1"_s, u"a1"_s} << 1
                                << QStringList{u"a1"_s, u"b1"_s, u"a1"_s};
}

void TstStateWatch::presentStatesThenChanges_asJson()
{
    QFETCH(QString, options);
    QFETCH(QStringList, saved);
    QFETCH(int, present);
    QFETCH(QStringList, shown);
    const BusWithState bus;
    QVERIFY(bus.isSaved);
    Printer printer;
    ProgramRun run(watch(u"--json "_s + options));
    QVERIFY(run.waitForLines(present));
    for (const QString& state : qAsConst(saved)) {
        QVERIFY(printer.save(state.at(0), state.midRef(1).toInt()));
    }
    QCOMPARE(run.status(), 0);
    QList<QVariantMap> records;
    for (const QString& state : qAsConst(shown)) {
        records.append(state == u"-"_s ? noRecord(u"cashbox"_s) : record(state.at(0), state.midRef(1).toInt()));
    }
    QCOMPARE(run.objects(), records);
}

void TstStateWatch::diff_showsWhatDiffers_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QByteArrayList>("rows"); // without time and owner
    const auto row = [](const char* name, const char* before, const char* after, const QByteArrayList& rows) {
        QTest::newRow(name) << QString::fromUtf8(before) << QString::fromUtf8(after) << rows;
    };
    row("texts", "ready", "busy", {"state ready busy"});
    row("object and text", R"({"a":1})", "busy", {R"(state {"a":1} busy)"});
    row("object and list", R"({"a":1})", "[1]", {R"(state {"a":1} [1])"});
    row("value", R"({"a":1,"b":2})", R"({"b":3,"a":1})", {"state.b 2 3"});
    row("number and text", R"({"a":1})", R"({"a":"1"})", {R"(state.a 1 "1")"});
    row("added and removed", R"({"a":1})", R"({"b":null})", {"state.a 1 -", "state.b - null"});
    row("inside", R"({"a":{"b":{"c":1,"d":2}}})", R"({"a":{"b":{"c":3,"d":2}}})", {"state.a.b.c 1 3"});
    row("list inside", R"({"a":[1,2]})", R"({"a":[1,3]})", {"state.a [1,2] [1,3]"});
    row("object and value", R"({"a":{}})", R"({"a":5})", {"state.a {} 5"});
    row("control characters", R"({"a\u001b":1})", R"({"a\u001b":"\u001b"})", {R"(state.a\x1b 1 "\u001b")"});
    row("layout only", R"({"a":1})", R"({ "a" : 1 })", {"date 2026-03-01T10:11:01.345 2026-03-01T10:11:02.345"});
    row("the time only", "ready", "ready", {"date 2026-03-01T10:11:01.345 2026-03-01T10:11:02.345"});
    row("a dash", "-", "--", {"state \"-\" --"});
}

void TstStateWatch::diff_showsWhatDiffers()
{
    QFETCH(QString, before);
    QFETCH(QString, after);
    QFETCH(QByteArrayList, rows);
    BusProcess bus;
    Printer printer;
    QVERIFY(printer.save(before, 1));
    ProgramRun run(watch(u"printer --diff --count 1"_s));
    QVERIFY(run.waitForLines(2));
    QVERIFY(printer.save(after, 2));
    QCOMPARE(run.status(), 0);
    const QStringList lines = run.lines();
    QCOMPARE(lines.at(0).simplified(), u"TAKEN OWNER CHANGED BEFORE AFTER"_s);
    const QString first = before == u"-"_s ? u"\"-\""_s : before;
    QCOMPARE(lines.at(1).simplified(), u"2026-03-01T10:11:01.345 printer state - "_s + first);
    QCOMPARE(lines.size(), rows.size() + 2);
    for (int i = 0; i < rows.size(); ++i) {
        QCOMPARE(lines.at(i + 2).simplified().toUtf8(), "2026-03-01T10:11:02.345 printer " + rows.at(i));
    }
}

void TstStateWatch::diff_asJson_hasChanges()
{
    BusProcess bus;
    ProgramRun run(watch(u"printer --diff --json --count 2"_s));
    QVERIFY(run.waitForLines(1));
    Printer printer;
    QVERIFY(printer.save(uR"({"a":{"b":1},"c":2})"_s, 1));
    QVERIFY(printer.saveState(uR"({"a":{"b":null},"d":3})"_s, 2, u"new"_s, someDate(2)));
    QCOMPARE(run.status(), 0);
    QList<QVariantMap> objects = run.objects();
    QCOMPARE(objects.size(), 3);
    QCOMPARE(objects.at(0), noRecord());
    const auto changes = [](const QVariantMap& object) {
        return QJsonDocument::fromVariant(object.value(u"changes"_s)).toJson(QJsonDocument::Compact);
    };
    const QByteArray firstState = "{\\\"a\\\":{\\\"b\\\":1},\\\"c\\\":2}";
    QCOMPARE(changes(objects.at(1)),
             "[{\"after\":\"\",\"path\":[\"description\"]},{\"after\":\"" + firstState
                 + "\",\"path\":[\"state\"]},{\"after\":1,\"path\":[\"type\"]}]");
    const QByteArrayList expected{R"({"after":"new","before":"","path":["description"]})",
                                  R"({"after":null,"before":1,"path":["state","a","b"]})",
                                  R"({"before":2,"path":["state","c"]})", R"({"after":3,"path":["state","d"]})",
                                  R"({"after":2,"before":1,"path":["type"]})"};
    QCOMPARE(changes(objects.at(2)), '[' + expected.join(',') + ']');
    objects[1].remove(u"changes"_s);
    QCOMPARE(objects.at(1), record(uR"({"a":{"b":1},"c":2})"_s, 1));
}

void TstStateWatch::change_isShownAtOnce()
{
    BusProcess bus;
    Printer printer;
    ProgramRun run(watch(u"printer --json"_s));
    QVERIFY(run.waitForLines(1));
    QVERIFY(printer.save(u"a"_s, 1));
    QVERIFY(run.waitForLines(2));
    QCOMPARE(run.interrupted().status, 130);
    QCOMPARE(run.objects().constLast(), record(u"a"_s, 1));
}

// The program reads a state, and then the bus pushes the change to just this state.
void TstStateWatch::changeWhileReading_isShownOnce()
{
    FakeBuses bus;
    const QVariantMap state = record(u"a"_s, 1);
    const QVariantMap next = record(u"b"_s, 2);
    bus.receiver.willAnswerHandshake([&](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        bus.query.waitForRequests(2);
        peer.send(pushedChange(state));
        peer.send(pushedChange(next));
    });
    bus.query.willReply(u"subscribe"_s);
    bus.query.willReply(u"loadState"_s, 0, QString(), state);
    bus.query.willReply(u"unsubscribe"_s);
    ProgramRun run(watch(u"printer --json --count 1"_s));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{state, next}));
    QCOMPARE(operations(bus.query), (QStringList{u"subscribe"_s, u"loadState"_s, u"unsubscribe"_s}));
}

void TstStateWatch::timeOut_tellsWhetherEnoughCame_data()
{
    QTest::addColumn<int>("changes");
    QTest::addColumn<QString>("count");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArrayList>("words");
    QTest::newRow("nothing") << 0 << QString() << 4 << QByteArrayList{"no change came within 3 s"};
    QTest::newRow("something") << 1 << QString() << 0 << QByteArrayList();
    QTest::newRow("1 of 2") << 1 << u"--count 2"_s << 4 << QByteArrayList{"only 1 of 2 came within 3 s"};
}

void TstStateWatch::timeOut_tellsWhetherEnoughCame()
{
    QFETCH(int, changes);
    QFETCH(QString, count);
    QFETCH(int, status);
    QFETCH(QByteArrayList, words);
    BusProcess bus;
    Printer printer;
    ProgramRun run(watch(u"printer --json --timeout 3 "_s + count));
    QVERIFY(run.waitForLines(1));
    for (int change = 0; change < changes; ++change) {
        QVERIFY(printer.save(u"a"_s, change));
    }
    const Ending ending = run.ending();
    QCOMPARE(ending, ended(status, words, ending.out));
    QCOMPARE(run.objects().size(), 1 + changes);
}

void TstStateWatch::subscription_isToStatesOnlyAndEnds()
{
    BusProcess bus;
    ProgramRun run(watch(u"printer cashbox --json"_s));
    QVERIFY(run.waitForLines(2));
    QCOMPARE(bus.subscriptions(), (QStringList{u"monitor cashbox 1"_s, u"monitor printer 1"_s}));
    QCOMPARE(run.terminate(), 130);
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstStateWatch::otherMessages_areTold()
{
    BusProcess bus;
    Printer printer;
    ProgramRun run(watch(u"printer --json --count 1"_s));
    QVERIFY(run.waitForLines(1));
    QVERIFY(printer.send(u"monitor"_s, u"hello"_s, u"1"_s));
    const QString stranger = uR"({"cmd":"stateChanged","data":{"owner":"cashbox","state":"a"}})"_s;
    QVERIFY(printer.send(u"monitor"_s, stranger, u"2"_s));
    QVERIFY(printer.save(u"a"_s, 1));
    const Ending ending = run.ending();
    const QByteArray words = "taken from the bus meanwhile, from printer, UID ";
    QCOMPARE(ending, ended(0, {words + "1: hello", words + "2: " + stranger.toUtf8()}, ending.out));
    QCOMPARE(run.objects().size(), 2);
}

void TstStateWatch::loadRefused_is1()
{
    FakeBuses bus;
    bus.query.willReply(u"subscribe"_s);
    bus.query.willReply(u"loadState"_s, 256, u"Invalid data storage"_s);
    bus.query.willReply(u"unsubscribe"_s);
    ProgramRun run(watch(u"printer"_s));
    QCOMPARE(run.ending(), ended(1, {"refused by the bus: 256 Invalid data storage"}));
    QCOMPARE(operations(bus.query).constLast(), u"unsubscribe"_s);
}

void TstStateWatch::killedBus_changesAfterwardsAreShown()
{
    BusWithState bus;
    ProgramRun run(watch(u"printer --json --count 1"_s));
    QVERIFY(run.waitForLines(1));
    bus.killHard();
    QVERIFY(run.waitForWords("the bus has gone"));
    QVERIFY(bus.start());
    QVERIFY(run.waitForWords("the bus is back"));
    QVERIFY(Printer().save(u"b"_s, 2));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{record(u"a"_s, 1), record(u"b"_s, 2)}));
    QVERIFY2(run.err().endsWith(told("the bus is back")), run.err().constData());
    QCOMPARE(bus.subscriptions(), QStringList());
}

// The changes are made before the program is back. The bus keeps them for it.
void TstStateWatch::killedBus_keptChangesComeInOrder()
{
    BusWithState bus;
    ProgramRun run(watch(u"printer --json --timeout 10"_s));
    QVERIFY(run.waitForLines(1));
    run.hang();
    bus.killHard();
    QVERIFY(bus.start());
    Printer printer;
    QVERIFY(printer.save(u"b"_s, 2));
    QVERIFY(printer.save(u"c"_s, 3));
    run.resume();
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{record(u"a"_s, 1), record(u"b"_s, 2), record(u"c"_s, 3)}));
}

// The bus is back, and pushes the kept changes a moment later. The last of them is the state that it has stored by
// then.
void TstStateWatch::changesPushedLate_comeInOrder()
{
    FakeBuses bus;
    const QList<QVariantMap> states{record(u"a"_s, 1), record(u"b"_s, 2), record(u"c"_s, 3)};
    bus.receiver.willAnswerHandshake(
        [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(FakeBus::acceptance()); });
    bus.receiver.willAnswerHandshake([&](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        bus.query.waitForRequests(3);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        peer.send(pushedChange(states.at(1)));
        peer.send(pushedChange(states.at(2)));
    });
    bus.query.willReply(u"subscribe"_s);
    bus.query.willReply(u"loadState"_s, 0, QString(), states.at(0));
    bus.query.willReply(u"subscribe"_s);
    bus.query.willReply(u"loadState"_s, 0, QString(), states.at(2));
    bus.query.willReply(u"unsubscribe"_s);
    ProgramRun run(watch(u"printer --json"_s));
    QVERIFY(run.waitForLines(1));
    bus.receiver.dropConnections();
    QVERIFY(bus.query.waitForRequests(4));
    QCOMPARE(run.interrupted().status, 130);
    QCOMPARE(run.objects(), states);
}

// No message says that a state is gone, so the program has to look for it.
void TstStateWatch::killedBusWithoutMemory_lostStateIsShown()
{
    BusWithState bus(BusProcess::InMemory);
    ProgramRun run(watch(u"printer --json --count 2"_s));
    QVERIFY(run.waitForLines(1));
    bus.killHard();
    QVERIFY(bus.start());
    QVERIFY(run.waitForLines(2));
    QVERIFY(Printer().save(u"a"_s, 1));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{record(u"a"_s, 1), noRecord(), record(u"a"_s, 1)}));
}

void TstStateWatch::hungBus_interruptEndsInTime()
{
    BusProcess bus;
    ProgramRun run(watch(u"printer --json"_s));
    QVERIFY(run.waitForLines(1));
    bus.hang();
    QElapsedTimer timer;
    timer.start();
    const Ending ending = run.interrupted();
    QVERIFY(timer.elapsed() < 15000); // the library's own wait takes 30 s
    QCOMPARE(ending, ended(130, {"interrupted", "monitor stays subscribed: unsubscribing takes too long"}, ending.out));
    bus.goOn();
}

void TstStateWatch::stdoutFails_is1AndUnsubscribes()
{
    BusProcess bus;
    QProcess reader;
    ProgramRun run(watch(u"printer"_s), reader);
    reader.start(u"head"_s, {u"-n"_s, u"2"_s});
    QVERIFY(reader.waitForFinished(ChildProcess::PATIENCE_MS));
    QVERIFY(Printer().save(u"a"_s, 1));
    QCOMPARE(run.ending(), ended(1, {"cannot write to stdout: Broken pipe"}));
    QCOMPARE(bus.subscriptions(), QStringList());
}

QTEST_GUILESS_MAIN(TstStateWatch)
#include "tst_statewatch.moc"
