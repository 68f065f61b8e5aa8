#include "busprocess.h"
#include "literals.h"
#include "programrun.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <future>

namespace {

QStringList call(const QStringList& arguments)
{
    return QStringList{u"--as"_s, u"monitor"_s, u"call"_s, u"printer"_s} + arguments;
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
        ProgramRun clients({u"--json"_s, u"clients"_s});
        clients.status();
        isThere = clients.out().contains("\"name\":\"" + name.toUtf8() + '"');
    }
    return isThere;
}

} // namespace

/// The printer is a client that does what the test tells it; the echo is a real service.
class TstCallVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void echo_replyIsShown();
    void echo_asJson_isRecordWithCommand();
    void data_isSentAsByTheVerbSend_data();
    void data_isSentAsByTheVerbSend();
    void replyNoCommand_isShownAsText();
    void replyWithControlCharacters_isMadeVisible();
    void commandError_is1_data();
    void commandError_is1();
    void otherMessages_areToldAndNoReply();
    void silence_is4();
    void silenceByDefault_is4After10s();
    void silenceOk_is0_data();
    void silenceOk_is0();
    void silenceOk_commandErrorIs1();
    void silenceOk_busSilentIs4();
    void command_isSentWhenTheReplyCanCome();
    void sendRefused_is1();
    void killedBus_replyStillComes();
    void hungBus_timeOutEndsInTime();
    void stdoutFails_is1();
    void oneself_isWrongUse();
};

void TstCallVerb::echo_replyIsShown()
{
    BusProcess bus;
    QProcess echo;
    echo.start(QStringLiteral(ECHO_SERVICE), {u"echo"_s});
    QVERIFY(waitForClient(u"echo"_s)); // sooner, the bus would not know the name
    ProgramRun run(
        QStringList{u"call"_s, u"echo"_s, u"echo"_s, uR"({"text":"Good morning"})"_s, u"--timeout"_s, u"20"_s});
    const int status = run.status(30000);
    echo.terminate();
    QVERIFY(echo.waitForFinished());
    QCOMPARE(status, 0);
    const QList<QByteArray> lines = run.out().split('\n');
    QCOMPARE(lines.size(), 5);
    QCOMPARE(lines.at(0), QByteArray("From     echo"));
    QVERIFY2(lines.at(1).startsWith("Sent     20"), lines.at(1).constData());
    QCOMPARE(lines.at(2), QByteArray("Command  echoed"));
    QCOMPARE(lines.at(3), QByteArray("Data     {\"text\":\"Good morning\"}"));
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstCallVerb::echo_asJson_isRecordWithCommand()
{
    BusProcess bus;
    QProcess echo;
    echo.start(QStringLiteral(ECHO_SERVICE), {u"echo"_s});
    ProgramRun run(QStringList{u"--json"_s, u"call"_s, u"echo"_s, u"echo"_s, uR"({"text":"Good morning"})"_s,
                               u"--timeout"_s, u"20"_s});
    const int status = run.status(30000);
    echo.terminate();
    QVERIFY(echo.waitForFinished());
    QCOMPARE(status, 0);
    QCOMPARE(run.objects().size(), 1);
    const QVariantMap reply = run.objects().constFirst();
    QCOMPARE(reply.keys(),
             (QStringList{u"UID"_s, u"cmd"_s, u"data"_s, u"date"_s, u"message"_s, u"reciever"_s, u"sender"_s}));
    QCOMPARE(reply.value(u"cmd"_s).toString(), u"echoed"_s);
    QCOMPARE(reply.value(u"data"_s).toMap().value(u"text"_s).toString(), u"Good morning"_s);
}

void TstCallVerb::data_isSentAsByTheVerbSend_data()
{
    QTest::addColumn<QStringList>("data");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << QStringList() << uR"({"cmd":"print","data":{}})"_s;
    QTest::newRow("some") << QStringList{uR"({ "b" : [1], "a": "\u0062" })"_s}
                          << uR"({"cmd":"print","data":{"a":"b","b":[1]}})"_s;
}

void TstCallVerb::data_isSentAsByTheVerbSend()
{
    QFETCH(QStringList, data);
    QFETCH(QString, text);
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(call(QStringList{u"print"_s} + data));
    const QVariantMap command = printer.receive();
    QCOMPARE(command.value(u"message"_s).toString(), text);
    QCOMPARE(command.value(u"sender"_s).toString(), u"monitor"_s);
    QCOMPARE(uidOf(command).size(), 24);
    QVERIFY(printer.send(u"monitor"_s, u"ok"_s, uidOf(command)));
    QCOMPARE(run.status(), 0);
}

void TstCallVerb::replyNoCommand_isShownAsText()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(call({u"print"_s}));
    QVERIFY(printer.send(u"monitor"_s, u"{\"printed\":1}"_s, uidOf(printer.receive())));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(),
             QByteArray("From     printer\n"
                        "Sent     2026-03-01T10:11:00.345\n"
                        "Message  {\"printed\":1}\n"));
    QCOMPARE(run.err(), QByteArray());
}

void TstCallVerb::replyWithControlCharacters_isMadeVisible()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(call({u"print"_s}));
    const QString reply = uR"({"cmd":"a\u001b[2J","data":{}})"_s;
    QVERIFY(printer.send(u"monitor"_s, reply, uidOf(printer.receive())));
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().contains("Command  a\\x1b[2J\n"), run.out().constData());
}

void TstCallVerb::commandError_is1_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<QString>("errorText");
    QTest::addColumn<QByteArray>("words");
    const QString none = u"{}"_s;
    const QString some = uR"({"text":"a"})"_s;
    QTest::newRow("with text") << none << u"Paper is out"_s << QByteArray("Paper is out");
    QTest::newRow("without text") << none << QString() << QByteArray("no reason given");
    QTest::newRow("with lines") << none << uR"(a\nb\u001b[2J)"_s << QByteArray("a\\nb\\x1b[2J");
    QTest::newRow("no method, no data") << none << u"No such method (print)"_s
                                        << QByteArray("No such method (print) for a command without data");
    QTest::newRow("no method, data") << some << u"No such method (print)"_s
                                     << QByteArray("No such method (print) for a command with data");
    QTest::newRow("no method of another command")
        << none << u"No such method (fold)"_s << QByteArray("No such method (fold)");
}

void TstCallVerb::commandError_is1()
{
    QFETCH(QString, data);
    QFETCH(QString, errorText);
    QFETCH(QByteArray, words);
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(call({u"--json"_s, u"print"_s}));
    QVERIFY(printer.send(u"monitor"_s, errorReply(errorText, data), uidOf(printer.receive())));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: refused by printer: " + words + '\n'));
}

void TstCallVerb::otherMessages_areToldAndNoReply()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(call({u"print"_s}));
    const QString uid = uidOf(printer.receive());
    QVERIFY(printer.send(u"monitor"_s, u"low\npaper"_s, u"other"_s));
    QVERIFY(printer.send(u"monitor"_s, errorReply(u"?"_s), u"another"_s));
    QVERIFY(printer.send(u"monitor"_s, u"printed"_s, uid));
    QCOMPARE(run.status(), 0);
    QVERIFY(run.out().endsWith("Message  printed\n"));
    const QByteArray told = "tarvexctl: taken from the bus meanwhile, from printer, UID ";
    QCOMPARE(run.err(), told + "other: low\\npaper\n" + told + "another: " + errorReply(u"?"_s).toUtf8() + '\n');
}

void TstCallVerb::silence_is4()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(call({u"print"_s, u"--timeout"_s, u"1.5"_s}));
    QVERIFY(!uidOf(printer.receive()).isEmpty());
    QCOMPARE(run.status(), 4);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: no reply from printer within 1.5 s\n"));
}

void TstCallVerb::silenceByDefault_is4After10s()
{
    BusProcess bus;
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(call({u"print"_s}));
    QCOMPARE(run.status(30000), 4);
    QVERIFY(timer.elapsed() >= 10000);
    // Sent to nobody: the bus takes the command, and tells that it does not know the name.
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: nobody has ever been \"printer\" on this bus, as far as it knows; it treats "
                        "the message like one for any absent client\n"
                        "tarvexctl: no reply from printer within 10 s\n"));
}

void TstCallVerb::silenceOk_is0_data()
{
    QTest::addColumn<QString>("form");
    QTest::newRow("for people") << QString();
    QTest::newRow("json") << u"--json"_s;
}

void TstCallVerb::silenceOk_is0()
{
    QFETCH(QString, form);
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QStringList arguments{u"print"_s, u"--silence-ok"_s, u"--timeout"_s, u"1.5"_s};
    if (!form.isEmpty()) {
        arguments.append(form);
    }
    ProgramRun run(call(arguments));
    QVERIFY(!uidOf(printer.receive()).isEmpty());
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray());
}

void TstCallVerb::silenceOk_commandErrorIs1()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(call({u"print"_s, u"--silence-ok"_s}));
    QVERIFY(printer.send(u"monitor"_s, errorReply(u"No paper"_s), uidOf(printer.receive())));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.err(), QByteArray("tarvexctl: refused by printer: No paper\n"));
}

// What the bus has not taken is no silence of the receiver.
void TstCallVerb::silenceOk_busSilentIs4()
{
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    ProgramRun run(call({u"print"_s, u"--silence-ok"_s, u"--timeout"_s, u"1.5"_s}));
    QVERIFY(query.waitForRequests(1));
    QCOMPARE(run.status(), 4);
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus is there, but did not answer within the time-out\n"));
}

void TstCallVerb::command_isSentWhenTheReplyCanCome()
{
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    std::promise<void> mayAnswer;
    std::atomic<int> requestsBefore{-1};
    receiver.willAnswerHandshake([&](FakeBus::Peer& peer, const FakeBus::Request&) {
        mayAnswer.get_future().wait();
        requestsBefore = query.requests().size();
        peer.send(FakeBus::replyFrame(u"handshake"_s, 0));
    });
    query.willReply(u"sendMessage"_s);
    ProgramRun run(call({u"print"_s, u"--timeout"_s, u"5"_s}));
    QVERIFY(receiver.waitForConnections(1));
    // Whoever sends without waiting does so within this time.
    QVERIFY(!QTest::qWaitFor([&query] { return !query.requests().isEmpty(); }, 500));
    mayAnswer.set_value();
    QVERIFY(query.waitForRequests(1));
    QCOMPARE(requestsBefore.load(), 0);
    QCOMPARE(query.requests().constFirst().operation, u"sendMessage"_s);
    QCOMPARE(run.status(), 4);
    QCOMPARE(query.requests().size(), 1);
}

void TstCallVerb::sendRefused_is1()
{
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willReply(u"sendMessage"_s, 512, u"Storage access error"_s);
    ProgramRun run(call({u"print"_s, u"--silence-ok"_s}));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: refused by the bus: 512 Storage access error\n"));
}

void TstCallVerb::killedBus_replyStillComes()
{
    BusProcess bus;
    QString uid;
    ProgramRun run(call({u"print"_s, u"--timeout"_s, u"60"_s}));
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
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(call({u"print"_s, u"--timeout"_s, u"2"_s}));
    QVERIFY(!uidOf(printer.receive()).isEmpty());
    bus.hang();
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(run.status(), 4);
    QVERIFY(timer.elapsed() < 15000);
    QCOMPARE(run.err(), QByteArray("tarvexctl: no reply from printer within 2 s\n"));
    bus.goOn();
}

void TstCallVerb::stdoutFails_is1()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QProcess reader;
    ProgramRun run(call({u"print"_s}), reader);
    reader.start(u"true"_s, QStringList());
    QVERIFY(reader.waitForFinished());
    QVERIFY(printer.send(u"monitor"_s, u"printed"_s, uidOf(printer.receive())));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.err(), QByteArray("tarvexctl: cannot write to stdout: Broken pipe\n"));
}

void TstCallVerb::oneself_isWrongUse()
{
    FakeBus query;
    ProgramRun run({u"--as"_s, u"printer"_s, u"call"_s, u"printer"_s, u"print"_s});
    QCOMPARE(run.status(), 2);
    QCOMPARE(run.err(), QByteArray("tarvexctl: a call to oneself has nobody to answer it\n"));
    QCOMPARE(query.connectionCount(), 0);
}

QTEST_GUILESS_MAIN(TstCallVerb)
#include "tst_callverb.moc"
