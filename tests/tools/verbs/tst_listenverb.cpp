#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <chrono>
#include <csignal>
#include <thread>

namespace {

/// The same bound as in tst_follower.cpp.
constexpr int BOUND_MS = 15000;

QString listen(const QString& options = QString())
{
    return u"--as monitor listen "_s + options;
}

bool isListening(ProgramRun& run)
{
    return run.waitForWords("listening as monitor\n");
}

/// The ending of a run that has begun to listen.
Ending listened(int status, const QByteArrayList& words = {}, const QByteArray& out = {})
{
    return ended(status, QByteArrayList{"listening as monitor"} + words, out);
}

QStringList texts(ProgramRun& run)
{
    QStringList texts;
    const QList<QVariantMap> objects = run.objects();
    for (const QVariantMap& object : objects) {
        texts.append(object.value(u"message"_s).toString());
    }
    return texts;
}

QStringList numbers(int first, int last)
{
    QStringList numbers;
    for (int number = first; number <= last; ++number) {
        numbers.append(QString::number(number));
    }
    return numbers;
}

bool sendNumbers(ScriptedClient& sender, int first, int last)
{
    bool areSent = true;
    for (int number = first; number <= last; ++number) {
        const QString text = QString::number(number);
        areSent = areSent && sender.send(u"monitor"_s, text, u"uid-"_s + text);
    }
    return areSent;
}

/// Whether no signal waits to be handled. If a signal comes while one of its kind still waits, both count as one.
bool hasHandledSignals(qint64 processId)
{
    QFile status(u"/proc/%1/status"_s.arg(processId));
    return status.open(QIODevice::ReadOnly) && status.readAll().contains("ShdPnd:\t0000000000000000");
}

/// A bus and a client of it.
struct Device
{
    BusProcess bus;
    ScriptedClient gui{u"gui"_s};
};

} // namespace

class TstListenVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void messages_areShownInColumns();
    void messages_asJson_areRecordsWithTheirCommands();
    void message_isShownAtOnce();
    void burst_comesInOrder();
    void count_takesNoMoreThanThat();
    void keptMessages_comeFirst();
    void keptMessages_comeAfterTheName();
    void timeOut_tellsWhetherEnoughCame_data();
    void timeOut_tellsWhetherEnoughCame();
    void subscribe_goals_data();
    void subscribe_goals();
    void subscribe_bringsWhatIsPublished();
    void subscribeRefused_is1();
    void subscribeRefusedWhenBack_isUndone();
    void subscribeUnanswered_isUndone();
    void end_unsubscribes_data();
    void end_unsubscribes();
    void stdoutFails_is1AndUnsubscribes_data();
    void stdoutFails_is1AndUnsubscribes();
    void readerStuck_interruptEndsInTime();
    void killedBus_isWaitedFor();
    void killedBusOften_nothingIsLostOrDoubled();
    void busRefusingWhenBack_isToldAndTriedAgain();
    void hungBus_endsInTime_data();
    void hungBus_endsInTime();
    void quiet_nameTaken_isTold();
    void hungBus_secondInterruptEndsAtOnce();
    void busAway_interruptTellsWhatStays();
};

void TstListenVerb::messages_areShownInColumns()
{
    Device device;
    ScriptedClient door(u"door_sensor"_s);
    ProgramRun run(listen(u"--count 3"_s));
    QVERIFY(isListening(run));
    QVERIFY(device.gui.send(u"monitor"_s, u"a\tb\n\x1b[2J"_s, u"1"_s));
    QVERIFY(run.waitForLines(2));
    QVERIFY(door.send(u"monitor"_s, u"Münze"_s, u"2"_s));
    QVERIFY(run.waitForLines(3));
    QVERIFY(device.gui.send(u"monitor"_s, QString(), u"3"_s));
    QCOMPARE(run.ending(),
             listened(0, {},
                      "SENT                     FROM  TO       MESSAGE\n"
                      "2026-03-01T10:11:00.345  gui   monitor  a\\tb\\n\\x1b[2J\n"
                      "2026-03-01T10:11:00.345  door_sensor  monitor  Münze\n"
                      "2026-03-01T10:11:00.345  gui          monitor  -\n"));
}

void TstListenVerb::messages_asJson_areRecordsWithTheirCommands()
{
    Device device;
    ProgramRun run(listen(u"--json --count 2"_s));
    QVERIFY(isListening(run));
    const QString command = uR"({"cmd":"beep","data":{"times":2}})"_s;
    QVERIFY(device.gui.send(u"monitor"_s, command, u"1"_s));
    QVERIFY(device.gui.send(u"monitor"_s, u"two\nlines"_s, u"2"_s));
    QCOMPARE(run.status(), 0);
    const QVariantMap common{{u"sender"_s, u"gui"_s}, {u"reciever"_s, u"monitor"_s}, {u"date"_s, someDate()}};
    QVariantMap first = common;
    first.insert(u"message"_s, command);
    first.insert(u"UID"_s, u"1"_s);
    first.insert(u"cmd"_s, u"beep"_s);
    first.insert(u"data"_s, QVariantMap{{u"times"_s, 2}});
    QVariantMap second = common;
    second.insert(u"message"_s, u"two\nlines"_s);
    second.insert(u"UID"_s, u"2"_s);
    QCOMPARE(run.objects(), (QList<QVariantMap>{first, second}));
}

void TstListenVerb::message_isShownAtOnce()
{
    Device device;
    ProgramRun run(listen(u"--json"_s));
    QVERIFY(isListening(run));
    for (int number = 1; number <= 2; ++number) {
        QVERIFY(sendNumbers(device.gui, number, number));
        QVERIFY(run.waitForLines(number));
    }
    QCOMPARE(run.interrupted().status, 130);
    QCOMPARE(texts(run), numbers(1, 2));
}

void TstListenVerb::burst_comesInOrder()
{
    Device device;
    ProgramRun run(listen(u"--json --count 300"_s));
    QVERIFY(isListening(run));
    QVERIFY(sendNumbers(device.gui, 1, 300));
    QCOMPARE(run.status(), 0);
    QCOMPARE(texts(run), numbers(1, 300));
}

void TstListenVerb::count_takesNoMoreThanThat()
{
    Device device;
    QVERIFY(sendNumbers(device.gui, 1, 50));
    ProgramRun first(listen(u"--json --count 2"_s));
    QCOMPARE(first.status(), 0);
    QCOMPARE(texts(first), numbers(1, 2));
    ProgramRun rest(listen(u"--json --count 48"_s));
    QCOMPARE(rest.status(), 0);
    QCOMPARE(texts(rest), numbers(3, 50));
}

void TstListenVerb::keptMessages_comeFirst()
{
    Device device;
    QVERIFY(sendNumbers(device.gui, 1, 3));
    ProgramRun run(listen(u"--json --count 4"_s));
    QVERIFY(run.waitForLines(3));
    QVERIFY(sendNumbers(device.gui, 4, 4));
    QCOMPARE(run.status(), 0);
    QCOMPARE(texts(run), numbers(1, 4));
}

// Both streams go to the same place, as on a terminal.
void TstListenVerb::keptMessages_comeAfterTheName()
{
    Device device;
    QVERIFY(sendNumbers(device.gui, 1, 2));
    ProgramRun run(listen(u"--count 2"_s), ProgramRun::StreamsTogether);
    QCOMPARE(run.ending(),
             ended(0, {},
                   "tarvexctl: listening as monitor\n"
                   "SENT                     FROM  TO       MESSAGE\n"
                   "2026-03-01T10:11:00.345  gui   monitor  1\n"
                   "2026-03-01T10:11:00.345  gui   monitor  2\n"));
}

void TstListenVerb::timeOut_tellsWhetherEnoughCame_data()
{
    QTest::addColumn<int>("messages");
    QTest::addColumn<QString>("count");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArrayList>("words");
    QTest::newRow("nothing") << 0 << QString() << 4 << QByteArrayList{"nothing came within 2.5 s"};
    QTest::newRow("something") << 2 << QString() << 0 << QByteArrayList();
    QTest::newRow("nothing of 3") << 0 << u"--count 3"_s << 4 << QByteArrayList{"nothing came within 2.5 s"};
    QTest::newRow("2 of 3") << 2 << u"--count 3"_s << 4 << QByteArrayList{"only 2 of 3 came within 2.5 s"};
}

void TstListenVerb::timeOut_tellsWhetherEnoughCame()
{
    QFETCH(int, messages);
    QFETCH(QString, count);
    QFETCH(int, status);
    QFETCH(QByteArrayList, words);
    Device device;
    QVERIFY(sendNumbers(device.gui, 1, messages));
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(listen(u"--json --timeout 2.5 "_s + count));
    const Ending ending = run.ending();
    QCOMPARE(ending, listened(status, words, ending.out));
    QVERIFY(timer.elapsed() >= 2500);
    QCOMPARE(texts(run), numbers(1, messages));
}

void TstListenVerb::subscribe_goals_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QStringList>("subscriptions");
    QTest::newRow("none") << QString() << QStringList();
    QTest::newRow("without goal") << u"--subscribe printer"_s << QStringList{u"monitor printer 3"_s};
    QTest::newRow("states") << u"--subscribe printer:1"_s << QStringList{u"monitor printer 1"_s};
    QTest::newRow("messages") << u"--subscribe printer:2"_s << QStringList{u"monitor printer 2"_s};
    QTest::newRow("both") << u"--subscribe=printer:3"_s << QStringList{u"monitor printer 3"_s};
    QTest::newRow("name with colon") << u"--subscribe printer:4:1"_s << QStringList{u"monitor printer:4 1"_s};
    QTest::newRow("several") << u"--subscribe printer --subscribe cashbox:2"_s
                             << QStringList{u"monitor cashbox 2"_s, u"monitor printer 3"_s};
}

void TstListenVerb::subscribe_goals()
{
    QFETCH(QString, options);
    QFETCH(QStringList, subscriptions);
    BusProcess bus;
    ProgramRun run(listen(options));
    QVERIFY(isListening(run));
    QCOMPARE(bus.subscriptions(), subscriptions);
    QCOMPARE(run.interrupted(), listened(130, {"interrupted"}));
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstListenVerb::subscribe_bringsWhatIsPublished()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(listen(u"--json --count 2 --subscribe printer"_s));
    QVERIFY(isListening(run));
    QVERIFY(printer.send(QString(), u"to whom it may concern"_s, u"1"_s));
    QVERIFY(printer.saveState(u"ready"_s, 1, QString(), someDate()));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().constFirst().value(u"message"_s).toString(), u"to whom it may concern"_s);
    const QVariantMap change = run.objects().constLast();
    QCOMPARE(change.value(u"cmd"_s).toString(), u"stateChanged"_s);
    QCOMPARE(change.value(u"data"_s).toMap().value(u"state"_s).toString(), u"ready"_s);
}

void TstListenVerb::subscribeRefused_is1()
{
    FakeBuses bus;
    bus.query.willReply(u"subscribe"_s, 512, u"Storage access error"_s);
    ProgramRun run(listen(u"--subscribe printer:1"_s));
    QCOMPARE(run.ending(), ended(1, {"refused by the bus: 512 Storage access error"}));
    // Nothing was subscribed, so there is nothing to undo.
    QCOMPARE(bus.query.requests().size(), 1);
    QCOMPARE(requested(bus.query),
             (QVariantMap{{u"publishers"_s, QVariantList{QVariantMap{{u"name"_s, u"printer"_s}, {u"goal"_s, 1}}}}}));
}

// The bus keeps the subscription that it took before it went away.
void TstListenVerb::subscribeRefusedWhenBack_isUndone()
{
    FakeBuses bus;
    bus.query.willReply(u"subscribe"_s);
    bus.query.willReply(u"subscribe"_s, 256, u"Invalid data storage"_s);
    bus.query.willReply(u"unsubscribe"_s, 256, u"Invalid data storage"_s);
    ProgramRun run(listen(u"--subscribe printer"_s));
    QVERIFY(isListening(run));
    bus.receiver.dropConnections();
    QCOMPARE(run.status(), 1);
    QCOMPARE(bus.query.requests().size(), 3);
    QCOMPARE(requested(bus.query, 2), (QVariantMap{{u"publishers"_s, QVariantList{u"printer"_s}}}));
    QVERIFY2(run.err().contains("monitor stays subscribed to printer: refused by the bus: 256 "),
             run.err().constData());
}

// The bus may have carried out a request that it has not answered.
void TstListenVerb::subscribeUnanswered_isUndone()
{
    FakeBuses bus;
    bus.query.willClose();
    bus.query.willReply(u"unsubscribe"_s);
    ProgramRun run(listen(u"--subscribe printer"_s));
    QCOMPARE(run.ending(), ended(3, {"the bus closed the connection"}));
    QCOMPARE(bus.query.requests().size(), 2);
    QCOMPARE(requested(bus.query, 1), (QVariantMap{{u"publishers"_s, QVariantList{u"printer"_s}}}));
}

void TstListenVerb::end_unsubscribes_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("signal");
    QTest::newRow("count") << u"--count 1"_s << 0;
    QTest::newRow("timeout") << u"--timeout 3"_s << 0;
    QTest::newRow("SIGINT") << QString() << SIGINT;
    QTest::newRow("SIGTERM") << QString() << SIGTERM;
    QTest::newRow("SIGHUP") << QString() << SIGHUP;
}

void TstListenVerb::end_unsubscribes()
{
    QFETCH(QString, options);
    QFETCH(int, signal);
    Device device;
    ProgramRun run(listen(u"--json --subscribe printer --subscribe cashbox:1 "_s + options));
    QVERIFY(isListening(run));
    QCOMPARE(device.bus.subscriptions().size(), 2);
    QVERIFY(sendNumbers(device.gui, 1, 1));
    QVERIFY(run.waitForLines(1));
    if (signal != 0) {
        run.sendSignal(signal);
    }
    const Ending ending = run.ending();
    QCOMPARE(ending,
             signal != 0 ? listened(130, {"interrupted"}, ending.out) : listened(0, QByteArrayList(), ending.out));
    QCOMPARE(device.bus.subscriptions(), QStringList());
}

void TstListenVerb::stdoutFails_is1AndUnsubscribes_data()
{
    QTest::addColumn<QString>("options");
    QTest::newRow("table") << QString();
    QTest::newRow("json") << u"--json"_s;
}

void TstListenVerb::stdoutFails_is1AndUnsubscribes()
{
    QFETCH(QString, options);
    Device device;
    ProgramRun run(listen(u"--subscribe printer "_s + options), ProgramRun::StdoutUnread);
    QVERIFY(isListening(run));
    QVERIFY(sendNumbers(device.gui, 1, 1));
    QCOMPARE(run.ending(), listened(1, {"cannot write to stdout: Broken pipe"}));
    QCOMPARE(device.bus.subscriptions(), QStringList());
}

void TstListenVerb::readerStuck_interruptEndsInTime()
{
    Device device;
    QProcess reader;
    ProgramRun run(listen(u"--subscribe printer"_s), reader);
    reader.start(u"sleep"_s, {u"60"_s});
    QVERIFY(isListening(run));
    // The text is longer than a pipe takes. When it is acknowledged, the program is writing it.
    QVERIFY(device.gui.send(u"monitor"_s, QString(500000, QLatin1Char('a')), u"1"_s));
    QTRY_COMPARE_WITH_TIMEOUT(device.bus.messages(), QStringList(), ChildProcess::PATIENCE_MS);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(run.interrupted(),
             listened(130, {"interrupted", "monitor stays subscribed: unsubscribing takes too long"}));
    QVERIFY(timer.elapsed() < BOUND_MS);
    reader.kill();
    QVERIFY(reader.waitForFinished());
}

// The bus stores in memory, so that it forgets the subscriptions.
void TstListenVerb::killedBus_isWaitedFor()
{
    BusProcess bus(BusProcess::InMemory);
    ProgramRun run(listen(u"--json --count 2 --subscribe printer:2"_s));
    QVERIFY(isListening(run));
    bus.killHard();
    QVERIFY(run.waitForWords(told("the bus has gone; waiting for it to come back")));
    QVERIFY(run.waitForWords(told("no bus to be reached on 127.0.0.1: Connection refused")));
    QVERIFY(bus.start());
    QVERIFY(run.waitForWords(told("the bus is back")));
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.send(QString(), u"1"_s, u"uid-1"_s));
    QVERIFY(run.waitForLines(1));
    bus.killHard();
    QVERIFY(bus.start());
    QVERIFY(run.waitForWords("the bus is back", 2));
    ScriptedClient again(u"printer"_s);
    QVERIFY(again.send(QString(), u"2"_s, u"uid-2"_s));
    QCOMPARE(run.status(), 0);
    QCOMPARE(texts(run), numbers(1, 2));
    QCOMPARE(run.err().count("the bus has gone"), 2);
    QVERIFY(run.err().count("no bus to be reached") <= 2);
}

void TstListenVerb::killedBusOften_nothingIsLostOrDoubled()
{
    BusProcess bus;
    ProgramRun run(listen(u"--json --count 60"_s));
    QVERIFY(isListening(run));
    for (int round = 0; round < 6; ++round) {
        {
            ScriptedClient gui(u"gui"_s);
            QVERIFY(sendNumbers(gui, 10 * round + 1, 10 * round + 10));
        }
        bus.killHard();
        QVERIFY(bus.start());
    }
    QCOMPARE(run.status(60000), 0);
    QCOMPARE(texts(run), numbers(1, 60));
}

void TstListenVerb::busRefusingWhenBack_isToldAndTriedAgain()
{
    FakeBuses bus;
    ProgramRun run(listen());
    QVERIFY(isListening(run));
    bus.query.willRefuseHandshake(3);
    bus.query.willRefuseHandshake(3);
    // The answer comes late, because a program that still holds the former handshake's acceptance would go on at once.
    bus.receiver.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        peer.send(FakeBus::replyFrame(u"handshake"_s, 3));
    });
    bus.receiver.dropConnections();
    QVERIFY(run.waitForWords(told("the bus is back")));
    // These are the first handshake, the refused one, and the one that was accepted at last.
    QCOMPARE(bus.receiver.handshakes().size(), 3);
    QCOMPARE(run.interrupted(),
             listened(130,
                      {"the bus has gone; waiting for it to come back", "the bus refused the handshake of \"monitor\"",
                       "the bus is back", "interrupted"}));
}

void TstListenVerb::hungBus_endsInTime_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("interrupt") << QString() << 130 << QByteArray("interrupted");
    QTest::newRow("time-out") << u"--timeout 3"_s << 4 << QByteArray("nothing came within 3 s");
}

void TstListenVerb::hungBus_endsInTime()
{
    QFETCH(QString, options);
    QFETCH(int, status);
    QFETCH(QByteArray, words);
    BusProcess bus;
    ProgramRun run(listen(u"--subscribe printer "_s + options));
    QVERIFY(isListening(run));
    bus.hang();
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(options.isEmpty() ? run.interrupted() : run.ending(),
             listened(status, {words, "monitor stays subscribed: unsubscribing takes too long"}));
    QVERIFY(timer.elapsed() < BOUND_MS);
    bus.goOn();
}

void TstListenVerb::quiet_nameTaken_isTold()
{
    const BusProcess bus;
    ProgramRun run(u"--quiet "_s + listen(u"--subscribe printer"_s));
    QTRY_COMPARE_WITH_TIMEOUT(bus.subscriptions().size(), 1, ChildProcess::PATIENCE_MS);
    {
        const ScriptedClient other(u"monitor"_s);
        QVERIFY2(run.waitForWords("another program took the name \"monitor\""), run.err().constData());
    }
    QCOMPARE(run.interrupted().status, 130);
}

void TstListenVerb::hungBus_secondInterruptEndsAtOnce()
{
    BusProcess bus;
    ProgramRun run(listen(u"--subscribe printer"_s));
    QVERIFY(isListening(run));
    bus.hang();
    run.sendSignal(SIGINT);
    QTRY_VERIFY_WITH_TIMEOUT(hasHandledSignals(run.processId()), ChildProcess::PATIENCE_MS);
    // No words about what stays subscribed, because these come only after the 2 s for unsubscribing.
    QCOMPARE(run.interrupted(), listened(130, {"interrupted"}));
    bus.goOn();
}

void TstListenVerb::busAway_interruptTellsWhatStays()
{
    BusProcess bus;
    ProgramRun run(listen(u"--subscribe printer --subscribe cashbox:1"_s));
    QVERIFY(isListening(run));
    bus.killHard();
    QVERIFY(run.waitForWords("the bus has gone"));
    run.sendSignal(SIGTERM);
    QCOMPARE(run.status(), 130);
    QVERIFY2(run.err().contains(told("monitor stays subscribed to printer, cashbox: no bus to be reached on "
                                     "127.0.0.1: Connection refused")),
             run.err().constData());
    QVERIFY(run.err().endsWith(told("interrupted")));
}

QTEST_GUILESS_MAIN(TstListenVerb)
#include "tst_listenverb.moc"
