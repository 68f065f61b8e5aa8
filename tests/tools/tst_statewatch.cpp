#include "busprocess.h"
#include "literals.h"
#include "programrun.h"

#include <QJsonDocument>
#include <QTest>

#include <chrono>
#include <csignal>
#include <thread>

namespace {

QStringList watch(const QString& more)
{
    return (u"--as monitor state watch "_s + more).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QVariantMap record(const QString& owner, const QString& state, int second)
{
    return {{u"owner"_s, owner},
            {u"date"_s, someDate(second)},
            {u"description"_s, QString()},
            {u"state"_s, state},
            {u"type"_s, 1}};
}

QVariantMap noRecord(const QString& owner)
{
    return {{u"owner"_s, owner},
            {u"date"_s, QString()},
            {u"description"_s, QString()},
            {u"state"_s, QString()},
            {u"type"_s, -1}};
}

QString handshake()
{
    return u"handshake"_s;
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

bool save(ScriptedClient& client, const QString& state, int second)
{
    return client.saveState(state, 1, QString(), someDate(second));
}

} // namespace

class TstStateWatch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void presentStatesThenChanges_inColumns();
    void presentStatesThenChanges_asJson();
    void ownerGivenTwice_isShownOnce();
    void change_isShownAtOnce();
    void sameStateAgain_isNoChange();
    void changeToAndFro_isShown();
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
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.saveState(u"{\"paper\":\"low\"}"_s, 3, u"Printer\nat the door"_s, someDate(1)));
    ProgramRun run(watch(u"printer cashbox --count 1"_s));
    QVERIFY(run.waitForLines(3));
    ScriptedClient cashbox(u"cashbox"_s);
    QVERIFY(cashbox.saveState(u"full"_s, 0, QString(), someDate(2)));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(),
             QByteArray("TAKEN                    OWNER    TYPE  DESCRIPTION           STATE\n"
                        "2026-03-01T10:11:01.345  printer  3     Printer\\nat the door  {\"paper\":\"low\"}\n"
                        "-                        cashbox  -     -                     no state\n"
                        "2026-03-01T10:11:02.345  cashbox  0     -                     full\n"));
    QCOMPARE(run.err(), QByteArray());
}

void TstStateWatch::presentStatesThenChanges_asJson()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(save(printer, u"a"_s, 1));
    ProgramRun run(watch(u"cashbox printer --json --count 2"_s));
    QVERIFY(run.waitForLines(2));
    QVERIFY(save(printer, u"b"_s, 2));
    QVERIFY(save(printer, u"c"_s, 3));
    QCOMPARE(run.status(), 0);
    const QString owner = u"printer"_s;
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{noRecord(u"cashbox"_s), record(owner, u"a"_s, 1), record(owner, u"b"_s, 2),
                                 record(owner, u"c"_s, 3)}));
}

void TstStateWatch::ownerGivenTwice_isShownOnce()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(watch(u"printer printer --json --count 1"_s));
    QVERIFY(run.waitForLines(1));
    QVERIFY(save(printer, u"a"_s, 1));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 2);
}

void TstStateWatch::change_isShownAtOnce()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(watch(u"printer --json"_s));
    QVERIFY(run.waitForLines(1));
    QVERIFY(save(printer, u"a"_s, 1));
    QVERIFY(run.waitForLines(2));
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QCOMPARE(run.objects().constLast(), record(u"printer"_s, u"a"_s, 1));
}

void TstStateWatch::sameStateAgain_isNoChange()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(save(printer, u"a"_s, 1));
    ProgramRun run(watch(u"printer --json --count 1"_s));
    QVERIFY(run.waitForLines(1));
    QVERIFY(save(printer, u"a"_s, 1));
    QVERIFY(save(printer, u"a"_s, 2));
    QCOMPARE(run.status(), 0);
    const QString owner = u"printer"_s;
    QCOMPARE(run.objects(), (QList<QVariantMap>{record(owner, u"a"_s, 1), record(owner, u"a"_s, 2)}));
}

void TstStateWatch::changeToAndFro_isShown()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(save(printer, u"a"_s, 1));
    ProgramRun run(watch(u"printer --json --count 2"_s));
    QVERIFY(run.waitForLines(1));
    QVERIFY(save(printer, u"b"_s, 1));
    QVERIFY(save(printer, u"a"_s, 1));
    QCOMPARE(run.status(), 0);
    const QString owner = u"printer"_s;
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{record(owner, u"a"_s, 1), record(owner, u"b"_s, 1), record(owner, u"a"_s, 1)}));
}

// The bus pushes the change, and the state that is read holds it already.
void TstStateWatch::changeWhileReading_isShownOnce()
{
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    const QString owner = u"printer"_s;
    const QVariantMap state = record(owner, u"a"_s, 1);
    const QVariantMap next = record(owner, u"b"_s, 2);
    receiver.willAnswerHandshake([&](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::replyFrame(handshake(), 0));
        query.waitForRequests(2);
        peer.send(pushedChange(state));
        peer.send(pushedChange(next));
    });
    query.willReply(u"subscribe"_s);
    query.willReply(u"loadState"_s, 0, QString(), state);
    query.willReply(u"unsubscribe"_s);
    ProgramRun run(watch(u"printer --json --count 1"_s));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{state, next}));
    QStringList operations;
    const QList<FakeBus::Request> requests = query.requests();
    for (const FakeBus::Request& request : requests) {
        operations.append(request.operation);
    }
    QCOMPARE(operations, (QStringList{u"subscribe"_s, u"loadState"_s, u"unsubscribe"_s}));
}

void TstStateWatch::timeOut_tellsWhetherEnoughCame_data()
{
    QTest::addColumn<int>("changes");
    QTest::addColumn<QString>("count");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("nothing") << 0 << QString() << 4 << QByteArray("tarvexctl: no change came within 3 s\n");
    QTest::newRow("something") << 1 << QString() << 0 << QByteArray();
    QTest::newRow("1 of 2") << 1 << u"--count 2"_s << 4 << QByteArray("tarvexctl: only 1 of 2 came within 3 s\n");
}

void TstStateWatch::timeOut_tellsWhetherEnoughCame()
{
    QFETCH(int, changes);
    QFETCH(QString, count);
    QFETCH(int, status);
    QFETCH(QByteArray, words);
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(watch(u"printer --json --timeout 3 "_s + count));
    QVERIFY(run.waitForLines(1));
    for (int change = 0; change < changes; ++change) {
        QVERIFY(save(printer, u"a"_s, change));
    }
    QCOMPARE(run.status(), status);
    QCOMPARE(run.objects().size(), 1 + changes);
    QCOMPARE(run.err(), words);
}

void TstStateWatch::subscription_isToStatesOnlyAndEnds()
{
    BusProcess bus;
    ProgramRun run(watch(u"printer cashbox --json"_s));
    QVERIFY(run.waitForLines(2));
    QCOMPARE(bus.subscriptions(), (QStringList{u"monitor cashbox 1"_s, u"monitor printer 1"_s}));
    run.sendSignal(SIGTERM);
    QCOMPARE(run.status(), 130);
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstStateWatch::otherMessages_areTold()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(watch(u"printer --json --count 1"_s));
    QVERIFY(run.waitForLines(1));
    QVERIFY(printer.send(u"monitor"_s, u"hello"_s, u"1"_s));
    const QString stranger = uR"({"cmd":"stateChanged","data":{"owner":"cashbox","state":"a"}})"_s;
    QVERIFY(printer.send(u"monitor"_s, stranger, u"2"_s));
    QVERIFY(save(printer, u"a"_s, 1));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 2);
    const QByteArray told = "tarvexctl: taken from the bus meanwhile, from printer, UID ";
    QCOMPARE(run.err(), told + "1: hello\n" + told + "2: " + stranger.toUtf8() + '\n');
}

void TstStateWatch::loadRefused_is1()
{
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willReply(u"subscribe"_s);
    query.willReply(u"loadState"_s, 256, u"Invalid data storage"_s);
    query.willReply(u"unsubscribe"_s);
    ProgramRun run(watch(u"printer"_s));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: refused by the bus: 256 Invalid data storage\n"));
    QCOMPARE(query.requests().constLast().operation, u"unsubscribe"_s);
}

void TstStateWatch::killedBus_changesAfterwardsAreShown()
{
    BusProcess bus;
    const QString owner = u"printer"_s;
    {
        ScriptedClient printer(owner);
        QVERIFY(save(printer, u"a"_s, 1));
    }
    ProgramRun run(watch(u"printer --json --count 1"_s));
    QVERIFY(run.waitForLines(1));
    bus.killHard();
    QVERIFY(run.waitForWords("the bus has gone"));
    QVERIFY(bus.start());
    QVERIFY(run.waitForWords("the bus is back"));
    ScriptedClient printer(owner);
    QVERIFY(save(printer, u"b"_s, 2));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{record(owner, u"a"_s, 1), record(owner, u"b"_s, 2)}));
    QVERIFY2(run.err().endsWith("tarvexctl: the bus is back\n"), run.err().constData());
    QCOMPARE(bus.subscriptions(), QStringList());
}

// Made before the program is back: the bus keeps them for it.
void TstStateWatch::killedBus_keptChangesComeInOrder()
{
    BusProcess bus;
    const QString owner = u"printer"_s;
    {
        ScriptedClient printer(owner);
        QVERIFY(save(printer, u"a"_s, 1));
    }
    ProgramRun run(watch(u"printer --json --timeout 10"_s));
    QVERIFY(run.waitForLines(1));
    run.sendSignal(SIGSTOP);
    bus.killHard();
    QVERIFY(bus.start());
    ScriptedClient printer(owner);
    QVERIFY(save(printer, u"b"_s, 2));
    QVERIFY(save(printer, u"c"_s, 3));
    run.sendSignal(SIGCONT);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{record(owner, u"a"_s, 1), record(owner, u"b"_s, 2), record(owner, u"c"_s, 3)}));
}

// The bus is back and takes a moment before it pushes what it has kept, of which the state that it has now is the last.
void TstStateWatch::changesPushedLate_comeInOrder()
{
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    const QString owner = u"printer"_s;
    const QList<QVariantMap> states{record(owner, u"a"_s, 1), record(owner, u"b"_s, 2), record(owner, u"c"_s, 3)};
    receiver.willAnswerHandshake(
        [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(FakeBus::replyFrame(handshake(), 0)); });
    receiver.willAnswerHandshake([&](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::replyFrame(handshake(), 0));
        query.waitForRequests(3);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        peer.send(pushedChange(states.at(1)));
        peer.send(pushedChange(states.at(2)));
    });
    query.willReply(u"subscribe"_s);
    query.willReply(u"loadState"_s, 0, QString(), states.at(0));
    query.willReply(u"subscribe"_s);
    query.willReply(u"loadState"_s, 0, QString(), states.at(2));
    query.willReply(u"unsubscribe"_s);
    ProgramRun run(watch(u"printer --json"_s));
    QVERIFY(run.waitForLines(1));
    receiver.dropConnections();
    QVERIFY(query.waitForRequests(4));
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QCOMPARE(run.objects(), states);
}

// Nobody tells of a state that is gone: it is looked for.
void TstStateWatch::killedBusWithoutMemory_lostStateIsShown()
{
    BusProcess bus(BusProcess::InMemory);
    const QString owner = u"printer"_s;
    {
        ScriptedClient printer(owner);
        QVERIFY(save(printer, u"a"_s, 1));
    }
    ProgramRun run(watch(u"printer --json --count 2"_s));
    QVERIFY(run.waitForLines(1));
    bus.killHard();
    QVERIFY(bus.start());
    QVERIFY(run.waitForLines(2));
    ScriptedClient printer(owner);
    QVERIFY(save(printer, u"a"_s, 1));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{record(owner, u"a"_s, 1), noRecord(owner), record(owner, u"a"_s, 1)}));
}

void TstStateWatch::hungBus_interruptEndsInTime()
{
    BusProcess bus;
    ProgramRun run(watch(u"printer --json"_s));
    QVERIFY(run.waitForLines(1));
    bus.hang();
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(15000), 130);
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: interrupted\n"
                        "tarvexctl: monitor stays subscribed: unsubscribing takes too long\n"));
    bus.goOn();
}

void TstStateWatch::stdoutFails_is1AndUnsubscribes()
{
    BusProcess bus;
    QProcess reader;
    ProgramRun run(watch(u"printer"_s), reader);
    reader.start(u"head"_s, {u"-n"_s, u"2"_s});
    QVERIFY(reader.waitForFinished());
    ScriptedClient printer(u"printer"_s);
    QVERIFY(save(printer, u"a"_s, 1));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.err(), QByteArray("tarvexctl: cannot write to stdout: Broken pipe\n"));
    QCOMPARE(bus.subscriptions(), QStringList());
}

QTEST_GUILESS_MAIN(TstStateWatch)
#include "tst_statewatch.moc"
