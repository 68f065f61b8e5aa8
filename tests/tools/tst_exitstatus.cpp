#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>

namespace {

constexpr int LIBRARY_TIMEOUT_MS = 30000;

QStringList someVerb()
{
    return {u"settings"_s, u"get"_s, u"printer"_s};
}

QByteArray damagedReply()
{
    return "tarvexctl: what answered is no reply of the bus: a reply that is damaged, or not to what was asked\n";
}

} // namespace

/// What the program ends with when the bus does not do as it is asked; success and wrong use are tested with the verbs.
class TstExitStatus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void noServer_is3();
    void handshakeRefused_is3();
    void connectionClosedInHandshake_is3();
    void handshakeAnsweredByStranger_is3();
    void strangerSpeaksFirst_is3AtOnce_data();
    void strangerSpeaksFirst_is3AtOnce();
    void strangerSendsBlankLine_isTold();
    void handshakeCutOff_is3();
    void handshakeAnsweredBySomethingElse_is3();
    void connectionClosedInRequest_is3();
    void connectionResetInRequest_is3();
    void replyOfStranger_is3();
    void replyCutOff_is3();
    void refused_is1_data();
    void refused_is1();
    void loggingRules_changeNothing_data();
    void loggingRules_changeNothing();
    void silence_is4();
    void interruptedWhileWaiting_is130();
};

void TstExitStatus::noServer_is3()
{
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: no bus to be reached on 127.0.0.1: Connection refused\n"));
}

void TstExitStatus::handshakeRefused_is3()
{
    FakeBus bus;
    bus.willRefuseHandshake(3);
    ProgramRun run(QStringList{u"--as"_s, u"thief"_s} + someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus refused the handshake of \"thief\"\n"));
    QVERIFY(bus.requests().isEmpty());
}

void TstExitStatus::connectionClosedInHandshake_is3()
{
    FakeBus bus;
    bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.close(); });
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus closed the connection during the handshake\n"));
}

void TstExitStatus::handshakeAnsweredByStranger_is3()
{
    FakeBus bus;
    bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send("HTTP/1.1\r\n"); });
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: what answered is no reply of the bus: HTTP/1.1\n"));
}

void TstExitStatus::strangerSpeaksFirst_is3AtOnce_data()
{
    QTest::addColumn<QByteArray>("greeting");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("line") << QByteArray("SSH-2.0-sshd\r\n") << QByteArray("SSH-2.0-sshd\n");
    QTest::newRow("lines") << QByteArray("220-mail\r\n220 ready\r\n") << QByteArray("220-mail\n");
    QTest::newRow("bytes") << QByteArray("\x01\x02\x03") << QByteArray("\\x01\\x02\\x03\n");
    QTest::newRow("zero bytes") << QByteArray(3, '\0') << QByteArray("\\x00\\x00\\x00\n");
    QTest::newRow("many zero bytes") << QByteArray(300000, '\0') << QByteArray("\\x00\\x00\\x00\n");
}

// The greeting is there before our handshake is written, or after it, as it happens: so a few tries.
void TstExitStatus::strangerSpeaksFirst_is3AtOnce()
{
    QFETCH(QByteArray, greeting);
    QFETCH(QByteArray, shown);
    FakeBus bus;
    bus.willGreet(greeting);
    for (int time = 0; time < 5; ++time) {
        bus.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
        QElapsedTimer timer;
        timer.start();
        ProgramRun run(someVerb());
        QCOMPARE(run.status(), 3);
        QVERIFY(timer.elapsed() < LIBRARY_TIMEOUT_MS / 2);
        QCOMPARE(run.out(), QByteArray());
        QVERIFY2(run.err().startsWith("tarvexctl: what answered is no reply of the bus: "), run.err().constData());
        QVERIFY2(run.err().endsWith(shown), run.err().constData());
    }
}

// As above, before or after our handshake.
void TstExitStatus::strangerSendsBlankLine_isTold()
{
    FakeBus bus;
    bus.willGreet("\r\n \r\n");
    for (int time = 0; time < 20; ++time) {
        bus.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
        ProgramRun run(someVerb());
        QCOMPARE(run.status(), 3);
        QCOMPARE(run.err(), QByteArray("tarvexctl: what answered is no reply of the bus: nothing but blanks\n"));
    }
}

void TstExitStatus::handshakeCutOff_is3()
{
    FakeBus bus;
    bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send("[-REPLY-]\r\n5000\r\nabc");
        peer.close();
    });
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus closed the connection during the handshake\n"));
}

void TstExitStatus::handshakeAnsweredBySomethingElse_is3()
{
    FakeBus bus;
    bus.willAnswerHandshake(
        [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(FakeBus::replyFrame(u"saveState"_s, 0)); });
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), damagedReply());
    QVERIFY(bus.requests().isEmpty());
}

void TstExitStatus::connectionClosedInRequest_is3()
{
    FakeBus bus;
    bus.willClose();
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus closed the connection\n"));
}

void TstExitStatus::connectionResetInRequest_is3()
{
    FakeBus bus;
    bus.willDo([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.reset(); });
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus closed the connection\n"));
}

void TstExitStatus::replyOfStranger_is3()
{
    FakeBus bus;
    bus.willSend(FakeBus::frame("[-REPLY-]", "no base64, no JSON"));
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), damagedReply());
}

void TstExitStatus::replyCutOff_is3()
{
    FakeBus bus;
    bus.willDo([](FakeBus::Peer& peer, const FakeBus::Request&) {
        const QByteArray frame = FakeBus::replyFrame(u"loadSettings"_s, 0);
        peer.send(frame.left(frame.size() - 1));
        peer.close();
    });
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus closed the connection\n"));
}

void TstExitStatus::refused_is1_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("description");
    QTest::addColumn<QByteArray>("told");
    QTest::newRow("settings") << 5 << u"There are no settings for client"_s
                              << QByteArray("5 There are no settings for client");
    QTest::newRow("largest code") << 65535 << u"?"_s << QByteArray("65535 ?");
    QTest::newRow("no text") << 4 << QString() << QByteArray("4");
    QTest::newRow("text with tab") << 2 << u"a\tb"_s << QByteArray("2 a\\tb");
    QTest::newRow("text with lines") << 2 << u"a\nb\x1b[2J"_s << QByteArray("2 a\\nb\\x1b[2J");
}

void TstExitStatus::refused_is1()
{
    QFETCH(int, code);
    QFETCH(QString, description);
    QFETCH(QByteArray, told);
    FakeBus bus;
    bus.willReply(u"loadSettings"_s, code, description, {{u"note"_s, u"a tab:\t"_s}});
    ProgramRun run(someVerb());
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: refused by the bus: " + told + '\n'));
}

// A user's rules may switch the library's log lines off, or on.
void TstExitStatus::loggingRules_changeNothing_data()
{
    QTest::addColumn<QByteArray>("rules");
    QTest::newRow("off") << QByteArray("*=false");
    QTest::newRow("on") << QByteArray("default=true");
}

void TstExitStatus::loggingRules_changeNothing()
{
    QFETCH(QByteArray, rules);
    qputenv("QT_LOGGING_RULES", rules);
    ProgramRun withoutBus(someVerb());
    QCOMPARE(withoutBus.status(), 3);
    QCOMPARE(withoutBus.err(), QByteArray("tarvexctl: no bus to be reached on 127.0.0.1: Connection refused\n"));
    FakeBus bus;
    bus.willReply(u"loadSettings"_s, 5, u"There are no settings for client"_s);
    ProgramRun refused(someVerb());
    qputenv("QT_LOGGING_RULES", "");
    QCOMPARE(refused.status(), 1);
    QCOMPARE(refused.err(), QByteArray("tarvexctl: refused by the bus: 5 There are no settings for client\n"));
}

// The library waits 30 s for a reply, and nothing can shorten it: the one test that goes through with it.
void TstExitStatus::silence_is4()
{
    FakeBus bus;
    bus.willSayNothing();
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(someVerb());
    QCOMPARE(run.status(60000), 4);
    QVERIFY(timer.elapsed() >= 29000);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus is there, but nothing came within 30 s\n"));
}

void TstExitStatus::interruptedWhileWaiting_is130()
{
    FakeBus bus;
    bus.willReply(u"loadSettings"_s);
    bus.willSayNothing();
    ProgramRun run(someVerb() + QStringList{u"cashbox"_s, u"--json"_s});
    QVERIFY(bus.waitForRequests(2));
    QCOMPARE(::kill(static_cast<pid_t>(run.processId()), SIGINT), 0);
    QCOMPARE(run.status(), 130);
    QCOMPARE(run.objects().size(), 1);
    QCOMPARE(run.err(), QByteArray("tarvexctl: interrupted\n"));
}

QTEST_GUILESS_MAIN(TstExitStatus)
#include "tst_exitstatus.moc"
