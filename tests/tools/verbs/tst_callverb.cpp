#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <future>

namespace {

/// The command line by which the monitor calls the printer's command "print".
QString callPrint(const QString& options = QString())
{
    return u"--as monitor call printer print "_s + options;
}

QString errorReply(const QString& errorText, const QString& data = u"{}"_s)
{
    return uR"({"cmd":"commandError","data":{"command":"print","data":%1,"errorText":"%2"}})"_s.arg(data, errorText);
}

QString uidOf(const QVariantMap& message)
{
    return message.value(u"UID"_s).toString();
}

/// Waits until the bus knows a client of this name, up to 30 s.
bool waitForClient(const QString& name)
{
    const QDeadlineTimer deadline(30000);
    bool isThere = false;
    while (!isThere && !deadline.hasExpired()) {
        ProgramRun clients(u"--json clients"_s);
        isThere = clients.ending().out.contains("\"name\":\"" + name.toUtf8() + '"');
    }
    return isThere;
}

/// A bus, and the printer as its client, which does what the test tells it.
struct Device
{
    BusProcess bus;
    ScriptedClient printer{u"printer"_s};
};

} // namespace

/// The verb "call". The printer is a client that does what the test tells it. The echo is a real service.
class TstCallVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void echo_replyIsShown();
    void data_isSentAsByTheVerbSend_data();
    void data_isSentAsByTheVerbSend();
    void reply_isShown_data();
    void reply_isShown();
    void commandError_is1_data();
    void commandError_is1();
    void otherMessages_areToldAndNoReply();
    void silence_untilTimeOut_data();
    void silence_untilTimeOut();
    void silenceByDefault_is4After10s();
    void silenceOk_busSilentIs4();
    void command_isSentWhenTheReplyCanCome();
    void sendRefused_is1();
    void killedBus_replyStillComes();
    void hungBus_timeOutEndsInTime();
    void stdoutFails_is1();
};

void TstCallVerb::echo_replyIsShown()
{
    BusProcess bus;
    ChildProcess echo(QStringLiteral(ECHO_SERVICE), {u"echo"_s});
    QVERIFY(echo.start());
    QVERIFY(waitForClient(u"echo"_s)); // before that the bus does not know the name
    const QString line = uR"(call echo echo '{"text":"Good morning"}' --timeout 20)"_s;
    ProgramRun run(line);
    const Ending ending = run.ending();
    ProgramRun json(u"--json "_s + line);
    QCOMPARE(json.status(), 0);
    echo.terminate();
    QCOMPARE(ending, ended(0, {}, ending.out));
    const QList<QByteArray> lines = ending.out.split('\n');
    QCOMPARE(lines.size(), 5);
    QCOMPARE(lines.at(0), QByteArray("From     echo"));
    QVERIFY2(lines.at(1).startsWith("Sent     20"), lines.at(1).constData());
    QCOMPARE(lines.at(2), QByteArray("Command  echoed"));
    QCOMPARE(lines.at(3), QByteArray("Data     {\"text\":\"Good morning\"}"));
    QCOMPARE(bus.subscriptions(), QStringList());

    // With --json it is the record, and the command in it.
    QCOMPARE(json.objects().size(), 1);
    const QVariantMap reply = json.objects().constFirst();
    QCOMPARE(reply.keys(),
             (QStringList{u"UID"_s, u"cmd"_s, u"data"_s, u"date"_s, u"message"_s, u"reciever"_s, u"sender"_s}));
    QCOMPARE(reply.value(u"cmd"_s).toString(), u"echoed"_s);
    QCOMPARE(reply.value(u"data"_s).toMap().value(u"text"_s).toString(), u"Good morning"_s);
}

void TstCallVerb::data_isSentAsByTheVerbSend_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << QString() << uR"({"cmd":"print","data":{}})"_s;
    QTest::newRow("some") << uR"('{ "b" : [1], "a": "\u0062" }')"_s << uR"({"cmd":"print","data":{"a":"b","b":[1]}})"_s;
    QTest::newRow("pairs") << u"a=b --timeout 20 b:=[1]"_s << uR"({"cmd":"print","data":{"a":"b","b":[1]}})"_s;
    QTest::newRow("option") << uR"(--data '{"a":"b"}')"_s << uR"({"cmd":"print","data":{"a":"b"}})"_s;
}

void TstCallVerb::data_isSentAsByTheVerbSend()
{
    QFETCH(QString, data);
    QFETCH(QString, text);
    Device device;
    ProgramRun run(callPrint(data));
    const QVariantMap command = device.printer.receive();
    QCOMPARE(command.value(u"message"_s).toString(), text);
    QCOMPARE(command.value(u"sender"_s).toString(), u"monitor"_s);
    QCOMPARE(uidOf(command).size(), 24);
    QVERIFY(device.printer.send(u"monitor"_s, u"ok"_s, uidOf(command)));
    QCOMPARE(run.status(), 0);
}

void TstCallVerb::reply_isShown_data()
{
    QTest::addColumn<QString>("reply");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("no command") << u"{\"printed\":1}"_s << QByteArray("Message  {\"printed\":1}\n");
    QTest::newRow("control characters") << uR"({"cmd":"a\u001b[2J","data":{}})"_s
                                        << QByteArray("Command  a\\x1b[2J\nData     {}\n");
}

void TstCallVerb::reply_isShown()
{
    QFETCH(QString, reply);
    QFETCH(QByteArray, shown);
    Device device;
    ProgramRun run(callPrint());
    QVERIFY(device.printer.send(u"monitor"_s, reply, uidOf(device.printer.receive())));
    QCOMPARE(run.ending(), ended(0, {}, "From     printer\nSent     2026-03-01T10:11:00.345\n" + shown));
}

void TstCallVerb::commandError_is1_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("reply");
    QTest::addColumn<QByteArray>("words");
    const QString json = u"--json"_s;
    const QString some = uR"({"text":"a"})"_s;
    QTest::newRow("with text") << json << errorReply(u"Paper is out"_s) << QByteArray("Paper is out");
    QTest::newRow("without text") << json << errorReply(QString()) << QByteArray("no reason given");
    QTest::newRow("with lines") << json << errorReply(uR"(a\nb\u001b[2J)"_s) << QByteArray("a\\nb\\x1b[2J");
    QTest::newRow("no method, no data") << json << errorReply(u"No such method (print)"_s)
                                        << QByteArray("No such method (print) for a command without data");
    QTest::newRow("no method, data") << json << errorReply(u"No such method (print)"_s, some)
                                     << QByteArray("No such method (print) for a command with data");
    QTest::newRow("no method of another command")
        << json << errorReply(u"No such method (fold)"_s) << QByteArray("No such method (fold)");
    QTest::newRow("silence is ok") << u"--silence-ok"_s << errorReply(u"No paper"_s) << QByteArray("No paper");
}

void TstCallVerb::commandError_is1()
{
    QFETCH(QString, options);
    QFETCH(QString, reply);
    QFETCH(QByteArray, words);
    Device device;
    ProgramRun run(callPrint(options));
    QVERIFY(device.printer.send(u"monitor"_s, reply, uidOf(device.printer.receive())));
    QCOMPARE(run.ending(), ended(1, {"refused by printer: " + words}));
}

void TstCallVerb::otherMessages_areToldAndNoReply()
{
    Device device;
    ProgramRun run(callPrint());
    const QString uid = uidOf(device.printer.receive());
    QVERIFY(device.printer.send(u"monitor"_s, u"low\npaper"_s, u"other"_s));
    QVERIFY(device.printer.send(u"monitor"_s, errorReply(u"?"_s), u"another"_s));
    QVERIFY(device.printer.send(u"monitor"_s, u"printed"_s, uid));
    const Ending ending = run.ending();
    const QByteArray words = "taken from the bus meanwhile, from printer, UID ";
    QCOMPARE(ending,
             ended(0, {words + "other: low\\npaper", words + "another: " + errorReply(u"?"_s).toUtf8()}, ending.out));
    QVERIFY(ending.out.endsWith("Message  printed\n"));
}

void TstCallVerb::silence_untilTimeOut_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArrayList>("words");
    QTest::newRow("not ok") << QString() << 4 << QByteArrayList{"no reply from printer within 1.5 s"};
    QTest::newRow("ok, for people") << u"--silence-ok"_s << 0 << QByteArrayList();
    QTest::newRow("ok, json") << u"--silence-ok --json"_s << 0 << QByteArrayList();
}

void TstCallVerb::silence_untilTimeOut()
{
    QFETCH(QString, options);
    QFETCH(int, status);
    QFETCH(QByteArrayList, words);
    Device device;
    ProgramRun run(callPrint(u"--timeout 1.5 "_s + options));
    QVERIFY(!uidOf(device.printer.receive()).isEmpty());
    QCOMPARE(run.ending(), ended(status, words));
}

void TstCallVerb::silenceByDefault_is4After10s()
{
    BusProcess bus;
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(callPrint());
    // Nobody has that name. The bus takes the command, and tells the program that it does not know the name.
    QCOMPARE(run.ending(),
             ended(4,
                   {"nobody has ever been \"printer\" on this bus, as far as it knows; it treats the message like one "
                    "for any absent client",
                    "no reply from printer within 10 s"}));
    QVERIFY(timer.elapsed() >= 10000);
}

// If the bus has not taken the command, the silence is not that of the receiver.
void TstCallVerb::silenceOk_busSilentIs4()
{
    FakeBuses bus;
    ProgramRun run(callPrint(u"--silence-ok --timeout 1.5"_s));
    QVERIFY(bus.query.waitForRequests(1));
    QCOMPARE(run.ending(), ended(4, {"the bus is there, but did not answer within the time-out"}));
}

void TstCallVerb::command_isSentWhenTheReplyCanCome()
{
    FakeBuses bus;
    std::promise<void> mayAnswer;
    std::atomic<int> requestsBefore{-1};
    bus.receiver.willAnswerHandshake([&](FakeBus::Peer& peer, const FakeBus::Request&) {
        mayAnswer.get_future().wait();
        requestsBefore = bus.query.requests().size();
        peer.send(FakeBus::acceptance());
    });
    bus.query.willReply(u"sendMessage"_s);
    ProgramRun run(callPrint(u"--timeout 5"_s));
    QVERIFY(bus.receiver.waitForConnections(1));
    // A program that does not wait for the handshake would send within this time.
    QVERIFY(!QTest::qWaitFor([&bus] { return !bus.query.requests().isEmpty(); }, 500));
    mayAnswer.set_value();
    QVERIFY(bus.query.waitForRequests(1));
    QCOMPARE(requestsBefore.load(), 0);
    QCOMPARE(run.status(), 4);
    QCOMPARE(operations(bus.query), QStringList{u"sendMessage"_s});
}

void TstCallVerb::sendRefused_is1()
{
    FakeBuses bus;
    bus.query.willReply(u"sendMessage"_s, 512, u"Storage access error"_s);
    ProgramRun run(callPrint(u"--silence-ok"_s));
    QCOMPARE(run.ending(), ended(1, {"refused by the bus: 512 Storage access error"}));
}

void TstCallVerb::killedBus_replyStillComes()
{
    BusProcess bus;
    QString uid;
    ProgramRun run(callPrint(u"--timeout 60"_s));
    {
        ScriptedClient printer(u"printer"_s);
        uid = uidOf(printer.receive());
    }
    bus.killHard();
    QVERIFY(run.waitForWords("the bus has gone"));
    QVERIFY(bus.start());
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.send(u"monitor"_s, u"printed"_s, uid));
    QCOMPARE(run.status(), 0);
    QVERIFY(run.out().endsWith("Message  printed\n"));
}

void TstCallVerb::hungBus_timeOutEndsInTime()
{
    Device device;
    ProgramRun run(callPrint(u"--timeout 2"_s));
    QVERIFY(!uidOf(device.printer.receive()).isEmpty());
    device.bus.hang();
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(run.ending(), ended(4, {"no reply from printer within 2 s"}));
    QVERIFY(timer.elapsed() < 15000);
    device.bus.goOn();
}

void TstCallVerb::stdoutFails_is1()
{
    Device device;
    ProgramRun run(callPrint(), ProgramRun::StdoutUnread);
    QVERIFY(device.printer.send(u"monitor"_s, u"printed"_s, uidOf(device.printer.receive())));
    QCOMPARE(run.ending(), ended(1, {"cannot write to stdout: Broken pipe"}));
}

QTEST_GUILESS_MAIN(TstCallVerb)
#include "tst_callverb.moc"
