#include "busprocess.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <chrono>
#include <csignal>
#include <thread>

namespace {

/// See tst_follower.
constexpr int BOUND_MS = 15000;

QStringList listen(const QString& more = QString())
{
    return (QStringLiteral("--as monitor listen ") + more).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

bool isListening(ProgramRun& run)
{
    return run.waitForWords("listening as monitor\n");
}

QStringList texts(const ProgramRun& run)
{
    QStringList texts;
    const QList<QVariantMap> objects = run.objects();
    for (const QVariantMap& object : objects) {
        texts.append(object.value(QStringLiteral("message")).toString());
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
        areSent = areSent && sender.send(QStringLiteral("monitor"), text, QStringLiteral("uid-") + text);
    }
    return areSent;
}

/// Whether no signal waits to be handled: two that follow each other too closely count as one.
bool hasHandledSignals(qint64 processId)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(processId));
    return status.open(QIODevice::ReadOnly) && status.readAll().contains("ShdPnd:\t0000000000000000");
}

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
    void hungBus_interruptEndsInTime();
    void hungBus_secondInterruptEndsAtOnce();
    void hungBus_timeOutEndsInTime();
    void busAway_interruptTellsWhatStays();
};

void TstListenVerb::messages_areShownInColumns()
{
    BusProcess bus;
    ScriptedClient door(QStringLiteral("door_sensor"));
    ScriptedClient gui(QStringLiteral("gui"));
    ProgramRun run(listen(QStringLiteral("--count 3")));
    QVERIFY(isListening(run));
    QVERIFY(gui.send(QStringLiteral("monitor"), QStringLiteral("a\tb\n\x1b[2J"), QStringLiteral("1")));
    QVERIFY(run.waitForLines(2));
    QVERIFY(door.send(QStringLiteral("monitor"), QStringLiteral("Münze"), QStringLiteral("2")));
    QVERIFY(run.waitForLines(3));
    QVERIFY(gui.send(QStringLiteral("monitor"), QString(), QStringLiteral("3")));
    QCOMPARE(run.status(), 0);
    QCOMPARE(QString::fromUtf8(run.out()),
             QStringLiteral("SENT                     FROM  TO       MESSAGE\n"
                            "2026-03-01T10:11:00.345  gui   monitor  a\\tb\\n\\x1b[2J\n"
                            "2026-03-01T10:11:00.345  door_sensor  monitor  Münze\n"
                            "2026-03-01T10:11:00.345  gui          monitor  -\n"));
    QCOMPARE(run.err(), QByteArray("tarvexctl: listening as monitor\n"));
}

void TstListenVerb::messages_asJson_areRecordsWithTheirCommands()
{
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    ProgramRun run(listen(QStringLiteral("--json --count 2")));
    QVERIFY(isListening(run));
    const QString command = QStringLiteral(R"({"cmd":"beep","data":{"times":2}})");
    QVERIFY(gui.send(QStringLiteral("monitor"), command, QStringLiteral("1")));
    QVERIFY(gui.send(QStringLiteral("monitor"), QStringLiteral("two\nlines"), QStringLiteral("2")));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{QStringLiteral("sender"), QStringLiteral("gui")},
                                  {QStringLiteral("reciever"), QStringLiteral("monitor")},
                                  {QStringLiteral("date"), someDate()},
                                  {QStringLiteral("message"), command},
                                  {QStringLiteral("UID"), QStringLiteral("1")},
                                  {QStringLiteral("cmd"), QStringLiteral("beep")},
                                  {QStringLiteral("data"), QVariantMap{{QStringLiteral("times"), 2}}}},
                                 {{QStringLiteral("sender"), QStringLiteral("gui")},
                                  {QStringLiteral("reciever"), QStringLiteral("monitor")},
                                  {QStringLiteral("date"), someDate()},
                                  {QStringLiteral("message"), QStringLiteral("two\nlines")},
                                  {QStringLiteral("UID"), QStringLiteral("2")}}}));
}

void TstListenVerb::message_isShownAtOnce()
{
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    ProgramRun run(listen(QStringLiteral("--json")));
    QVERIFY(isListening(run));
    QVERIFY(sendNumbers(gui, 1, 1));
    QVERIFY(run.waitForLines(1));
    QVERIFY(sendNumbers(gui, 2, 2));
    QVERIFY(run.waitForLines(2));
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QCOMPARE(texts(run), numbers(1, 2));
}

void TstListenVerb::burst_comesInOrder()
{
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    ProgramRun run(listen(QStringLiteral("--json --count 300")));
    QVERIFY(isListening(run));
    QVERIFY(sendNumbers(gui, 1, 300));
    QCOMPARE(run.status(), 0);
    QCOMPARE(texts(run), numbers(1, 300));
}

void TstListenVerb::count_takesNoMoreThanThat()
{
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    QVERIFY(sendNumbers(gui, 1, 50));
    ProgramRun first(listen(QStringLiteral("--json --count 2")));
    QCOMPARE(first.status(), 0);
    QCOMPARE(texts(first), numbers(1, 2));
    ProgramRun rest(listen(QStringLiteral("--json --count 48")));
    QCOMPARE(rest.status(), 0);
    QCOMPARE(texts(rest), numbers(3, 50));
}

void TstListenVerb::keptMessages_comeFirst()
{
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    QVERIFY(sendNumbers(gui, 1, 3));
    ProgramRun run(listen(QStringLiteral("--json --count 4")));
    QVERIFY(run.waitForLines(3));
    QVERIFY(sendNumbers(gui, 4, 4));
    QCOMPARE(run.status(), 0);
    QCOMPARE(texts(run), numbers(1, 4));
}

// Both streams in one, as a terminal shows them.
void TstListenVerb::keptMessages_comeAfterTheName()
{
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    QVERIFY(sendNumbers(gui, 1, 2));
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(ProgramRun::program(), listen(QStringLiteral("--count 2")));
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(process.readAll(),
             QByteArray("tarvexctl: listening as monitor\n"
                        "SENT                     FROM  TO       MESSAGE\n"
                        "2026-03-01T10:11:00.345  gui   monitor  1\n"
                        "2026-03-01T10:11:00.345  gui   monitor  2\n"));
}

void TstListenVerb::timeOut_tellsWhetherEnoughCame_data()
{
    QTest::addColumn<int>("messages");
    QTest::addColumn<QString>("count");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("nothing") << 0 << QString() << 4 << QByteArray("tarvexctl: nothing came within 2.5 s\n");
    QTest::newRow("something") << 2 << QString() << 0 << QByteArray();
    QTest::newRow("nothing of 3") << 0 << QStringLiteral("--count 3") << 4
                                  << QByteArray("tarvexctl: nothing came within 2.5 s\n");
    QTest::newRow("2 of 3") << 2 << QStringLiteral("--count 3") << 4
                            << QByteArray("tarvexctl: only 2 of 3 came within 2.5 s\n");
}

void TstListenVerb::timeOut_tellsWhetherEnoughCame()
{
    QFETCH(int, messages);
    QFETCH(QString, count);
    QFETCH(int, status);
    QFETCH(QByteArray, words);
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    QVERIFY(sendNumbers(gui, 1, messages));
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(listen(QStringLiteral("--json --timeout 2.5 ") + count));
    QCOMPARE(run.status(), status);
    QVERIFY(timer.elapsed() >= 2500);
    QCOMPARE(texts(run), numbers(1, messages));
    QCOMPARE(run.err(), QByteArray("tarvexctl: listening as monitor\n") + words);
}

void TstListenVerb::subscribe_goals_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QStringList>("subscriptions");
    QTest::newRow("none") << QString() << QStringList();
    QTest::newRow("without goal") << QStringLiteral("--subscribe printer")
                                  << QStringList{QStringLiteral("monitor printer 3")};
    QTest::newRow("states") << QStringLiteral("--subscribe printer:1")
                            << QStringList{QStringLiteral("monitor printer 1")};
    QTest::newRow("messages") << QStringLiteral("--subscribe printer:2")
                              << QStringList{QStringLiteral("monitor printer 2")};
    QTest::newRow("both") << QStringLiteral("--subscribe=printer:3")
                          << QStringList{QStringLiteral("monitor printer 3")};
    QTest::newRow("name with colon") << QStringLiteral("--subscribe printer:4:1")
                                     << QStringList{QStringLiteral("monitor printer:4 1")};
    QTest::newRow("several") << QStringLiteral("--subscribe printer --subscribe cashbox:2")
                             << QStringList{QStringLiteral("monitor cashbox 2"), QStringLiteral("monitor printer 3")};
}

void TstListenVerb::subscribe_goals()
{
    QFETCH(QString, options);
    QFETCH(QStringList, subscriptions);
    BusProcess bus;
    ProgramRun run(listen(options));
    QVERIFY(isListening(run));
    QCOMPARE(bus.subscriptions(), subscriptions);
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstListenVerb::subscribe_bringsWhatIsPublished()
{
    BusProcess bus;
    ScriptedClient printer(QStringLiteral("printer"));
    ProgramRun run(listen(QStringLiteral("--json --count 2 --subscribe printer")));
    QVERIFY(isListening(run));
    QVERIFY(printer.send(QString(), QStringLiteral("to whom it may concern"), QStringLiteral("1")));
    QVERIFY(printer.saveState(QStringLiteral("ready"), 1, QString(), someDate()));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().constFirst().value(QStringLiteral("message")).toString(),
             QStringLiteral("to whom it may concern"));
    const QVariantMap change = run.objects().constLast();
    QCOMPARE(change.value(QStringLiteral("cmd")).toString(), QStringLiteral("stateChanged"));
    QCOMPARE(change.value(QStringLiteral("data")).toMap().value(QStringLiteral("state")).toString(),
             QStringLiteral("ready"));
}

void TstListenVerb::subscribeRefused_is1()
{
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willReply(QStringLiteral("subscribe"), 512, QStringLiteral("Storage access error"));
    ProgramRun run(listen(QStringLiteral("--subscribe printer:1")));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: refused by the bus: 512 Storage access error\n"));
    // Nothing was subscribed, so there is nothing to undo.
    QCOMPARE(query.requests().size(), 1);
    QCOMPARE(query.requests().constFirst().data,
             (QVariantMap{{QStringLiteral("publishers"),
                           QVariantList{QVariantMap{{QStringLiteral("name"), QStringLiteral("printer")},
                                                    {QStringLiteral("goal"), 1}}}}}));
}

// The bus keeps what it took before it went away.
void TstListenVerb::subscribeRefusedWhenBack_isUndone()
{
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willReply(QStringLiteral("subscribe"));
    query.willReply(QStringLiteral("subscribe"), 256, QStringLiteral("Invalid data storage"));
    query.willReply(QStringLiteral("unsubscribe"), 256, QStringLiteral("Invalid data storage"));
    ProgramRun run(listen(QStringLiteral("--subscribe printer")));
    QVERIFY(isListening(run));
    receiver.dropConnections();
    QCOMPARE(run.status(), 1);
    QCOMPARE(query.requests().size(), 3);
    QCOMPARE(query.requests().constLast().data,
             (QVariantMap{{QStringLiteral("publishers"), QVariantList{QStringLiteral("printer")}}}));
    QVERIFY2(run.err().contains("monitor stays subscribed to printer: refused by the bus: 256 "),
             run.err().constData());
}

// The bus may have done what it did not answer.
void TstListenVerb::subscribeUnanswered_isUndone()
{
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willClose();
    query.willReply(QStringLiteral("unsubscribe"));
    ProgramRun run(listen(QStringLiteral("--subscribe printer")));
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus closed the connection\n"));
    QCOMPARE(query.requests().size(), 2);
    QCOMPARE(query.requests().constLast().data,
             (QVariantMap{{QStringLiteral("publishers"), QVariantList{QStringLiteral("printer")}}}));
}

void TstListenVerb::end_unsubscribes_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("status");
    QTest::newRow("count") << QStringLiteral("--count 1") << 0 << 0;
    QTest::newRow("timeout") << QStringLiteral("--timeout 3") << 0 << 0;
    QTest::newRow("SIGINT") << QString() << SIGINT << 130;
    QTest::newRow("SIGTERM") << QString() << SIGTERM << 130;
    QTest::newRow("SIGHUP") << QString() << SIGHUP << 130;
}

void TstListenVerb::end_unsubscribes()
{
    QFETCH(QString, options);
    QFETCH(int, signal);
    QFETCH(int, status);
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    ProgramRun run(listen(QStringLiteral("--json --subscribe printer --subscribe cashbox:1 ") + options));
    QVERIFY(isListening(run));
    QCOMPARE(bus.subscriptions().size(), 2);
    QVERIFY(sendNumbers(gui, 1, 1));
    QVERIFY(run.waitForLines(1));
    if (signal != 0) {
        run.sendSignal(signal);
    }
    QCOMPARE(run.status(), status);
    QCOMPARE(bus.subscriptions(), QStringList());
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: listening as monitor\n") + (signal != 0 ? "tarvexctl: interrupted\n" : ""));
}

void TstListenVerb::stdoutFails_is1AndUnsubscribes_data()
{
    QTest::addColumn<QString>("options");
    QTest::newRow("table") << QString();
    QTest::newRow("json") << QStringLiteral("--json");
}

void TstListenVerb::stdoutFails_is1AndUnsubscribes()
{
    QFETCH(QString, options);
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    QProcess reader;
    ProgramRun run(listen(QStringLiteral("--subscribe printer ") + options), reader);
    reader.start(QStringLiteral("true"), QStringList());
    QVERIFY(reader.waitForFinished());
    QVERIFY(isListening(run));
    QVERIFY(sendNumbers(gui, 1, 1));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: listening as monitor\n"
                        "tarvexctl: cannot write to stdout: Broken pipe\n"));
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstListenVerb::readerStuck_interruptEndsInTime()
{
    BusProcess bus;
    ScriptedClient gui(QStringLiteral("gui"));
    QProcess reader;
    ProgramRun run(listen(QStringLiteral("--subscribe printer")), reader);
    reader.start(QStringLiteral("sleep"), {QStringLiteral("60")});
    QVERIFY(isListening(run));
    // More than a pipe takes. Once acknowledged, it is being written.
    QVERIFY(gui.send(QStringLiteral("monitor"), QString(500000, QLatin1Char('a')), QStringLiteral("1")));
    QTRY_COMPARE(bus.messages(), QStringList());
    QElapsedTimer timer;
    timer.start();
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QVERIFY(timer.elapsed() < BOUND_MS);
    QVERIFY(run.err().endsWith("tarvexctl: monitor stays subscribed: unsubscribing takes too long\n"));
    reader.kill();
    QVERIFY(reader.waitForFinished());
}

// In memory, so that the bus has forgotten the subscriptions.
void TstListenVerb::killedBus_isWaitedFor()
{
    BusProcess bus(BusProcess::InMemory);
    ProgramRun run(listen(QStringLiteral("--json --count 2 --subscribe printer:2")));
    QVERIFY(isListening(run));
    bus.killHard();
    QVERIFY(run.waitForWords("tarvexctl: the bus has gone; waiting for it to come back\n"));
    QVERIFY(run.waitForWords("tarvexctl: no bus to be reached on 127.0.0.1: Connection refused\n"));
    QVERIFY(bus.start());
    QVERIFY(run.waitForWords("tarvexctl: the bus is back\n"));
    ScriptedClient printer(QStringLiteral("printer"));
    QVERIFY(printer.send(QString(), QStringLiteral("1"), QStringLiteral("uid-1")));
    QVERIFY(run.waitForLines(1));
    bus.killHard();
    QVERIFY(bus.start());
    QVERIFY(run.waitForWords("the bus is back", 2));
    ScriptedClient again(QStringLiteral("printer"));
    QVERIFY(again.send(QString(), QStringLiteral("2"), QStringLiteral("uid-2")));
    QCOMPARE(run.status(), 0);
    QCOMPARE(texts(run), numbers(1, 2));
    QCOMPARE(run.err().count("the bus has gone"), 2);
    QVERIFY(run.err().count("no bus to be reached") <= 2);
}

void TstListenVerb::killedBusOften_nothingIsLostOrDoubled()
{
    BusProcess bus;
    ProgramRun run(listen(QStringLiteral("--json --count 60")));
    QVERIFY(isListening(run));
    for (int round = 0; round < 6; ++round) {
        {
            ScriptedClient gui(QStringLiteral("gui"));
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
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    ProgramRun run(listen());
    QVERIFY(isListening(run));
    query.willRefuseHandshake(3);
    query.willRefuseHandshake(3);
    // Late, so that whoever takes the former handshake's acceptance for this one's is found out.
    receiver.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        peer.send(FakeBus::replyFrame(QStringLiteral("handshake"), 3));
    });
    receiver.dropConnections();
    QVERIFY(run.waitForWords("tarvexctl: the bus is back\n"));
    // The first one, the refused one, and the one that made it come back.
    QCOMPARE(receiver.handshakes().size(), 3);
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: listening as monitor\n"
                        "tarvexctl: the bus has gone; waiting for it to come back\n"
                        "tarvexctl: the bus refused the handshake of \"monitor\"\n"
                        "tarvexctl: the bus is back\n"
                        "tarvexctl: interrupted\n"));
}

void TstListenVerb::hungBus_interruptEndsInTime()
{
    BusProcess bus;
    ProgramRun run(listen(QStringLiteral("--subscribe printer")));
    QVERIFY(isListening(run));
    bus.hang();
    QElapsedTimer timer;
    timer.start();
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QVERIFY(timer.elapsed() < BOUND_MS);
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: listening as monitor\n"
                        "tarvexctl: interrupted\n"
                        "tarvexctl: monitor stays subscribed: unsubscribing takes too long\n"));
    bus.goOn();
}

void TstListenVerb::hungBus_secondInterruptEndsAtOnce()
{
    BusProcess bus;
    ProgramRun run(listen(QStringLiteral("--subscribe printer")));
    QVERIFY(isListening(run));
    bus.hang();
    run.sendSignal(SIGINT);
    QTRY_VERIFY(hasHandledSignals(run.processId()));
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    // Without a word about what it leaves: that takes the 2 s of patience.
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: listening as monitor\n"
                        "tarvexctl: interrupted\n"));
    bus.goOn();
}

void TstListenVerb::hungBus_timeOutEndsInTime()
{
    BusProcess bus;
    ProgramRun run(listen(QStringLiteral("--subscribe printer --timeout 3")));
    QVERIFY(isListening(run));
    bus.hang();
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(run.status(), 4);
    QVERIFY(timer.elapsed() < BOUND_MS);
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: listening as monitor\n"
                        "tarvexctl: nothing came within 3 s\n"
                        "tarvexctl: monitor stays subscribed: unsubscribing takes too long\n"));
    bus.goOn();
}

void TstListenVerb::busAway_interruptTellsWhatStays()
{
    BusProcess bus;
    ProgramRun run(listen(QStringLiteral("--subscribe printer --subscribe cashbox:1")));
    QVERIFY(isListening(run));
    bus.killHard();
    QVERIFY(run.waitForWords("the bus has gone"));
    run.sendSignal(SIGTERM);
    QCOMPARE(run.status(), 130);
    QVERIFY2(run.err().contains("tarvexctl: monitor stays subscribed to printer, cashbox: no bus to be reached on "
                                "127.0.0.1: Connection refused\n"),
             run.err().constData());
    QVERIFY(run.err().endsWith("tarvexctl: interrupted\n"));
}

QTEST_GUILESS_MAIN(TstListenVerb)
#include "tst_listenverb.moc"
