#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>

namespace {

constexpr int LIBRARY_TIMEOUT_MS = 30000;
const QByteArray NO_REPLY("what answered is no reply of the bus: ");

QString someVerb()
{
    return u"settings get printer"_s;
}

/// A bus that does not do what it is asked, and what the program says about it.
struct Misbehaviour
{
    const char* name;
    FakeBus::Action handshake; ///< Its answer to the handshake; empty when it accepts.
    FakeBus::Action request;   ///< Its answer to the request; empty when there is no request.
    QByteArray words;
};

QList<Misbehaviour> misbehaviours()
{
    const QByteArray closed = "the bus closed the connection";
    const QByteArray refused = "the bus refused the handshake of \"thief\"";
    const QByteArray damaged = NO_REPLY + "a reply that is damaged, or not to what was asked";
    const QByteArray reply = FakeBus::replyFrame(u"loadSettings"_s, 0);
    const auto reset = [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.reset(); };
    return {
        {"handshake refused", refuses(), {}, refused},
        {"handshake, closed", closeConnection, {}, closed + " during the handshake"},
        {"handshake, stranger", sends("HTTP/1.1\r\n"), {}, NO_REPLY + "HTTP/1.1"},
        {"handshake cut off", sends("[-REPLY-]\r\n5000\r\nabc", true), {}, closed + " during the handshake"},
        {"handshake, other reply", sends(reply), {}, damaged},
        {"request, closed", {}, closeConnection, closed},
        {"request, reset", {}, reset, closed},
        {"request, handshake refused", {}, refuses(), refused},
        {"request, damaged reply", {}, sends(FakeBus::frame("[-REPLY-]", "no base64, no JSON")), damaged},
        {"request cut off", {}, sends(reply.chopped(1), true), closed},
    };
}

} // namespace

/// The exit status when the bus does not do what it is asked. The tests of the verbs test success and wrong use.
class TstExitStatus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void noServer_is3();
    void noGoodReply_is3_data();
    void noGoodReply_is3();
    void strangerSpeaksFirst_is3AtOnce_data();
    void strangerSpeaksFirst_is3AtOnce();
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
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
}

void TstExitStatus::noGoodReply_is3_data()
{
    QTest::addColumn<int>("index");
    const QList<Misbehaviour> all = misbehaviours();
    for (int index = 0; index < all.size(); ++index) {
        QTest::newRow(all.at(index).name) << index;
    }
}

void TstExitStatus::noGoodReply_is3()
{
    QFETCH(int, index);
    const Misbehaviour misbehaviour = misbehaviours().at(index);
    FakeBus bus;
    if (misbehaviour.handshake) {
        bus.willAnswerHandshake(misbehaviour.handshake);
    }
    if (misbehaviour.request) {
        bus.willDo(misbehaviour.request);
    }
    ProgramRun run(u"--as thief "_s + someVerb());
    QCOMPARE(run.ending(), ended(3, {misbehaviour.words}));
    QCOMPARE(bus.requests().size(), misbehaviour.request ? 1 : 0);
}

void TstExitStatus::strangerSpeaksFirst_is3AtOnce_data()
{
    QTest::addColumn<QByteArray>("greeting");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("line") << QByteArray("SSH-2.0-sshd\r\n") << QByteArray("SSH-2.0-sshd");
    QTest::newRow("lines") << QByteArray("220-mail\r\n220 ready\r\n") << QByteArray("220-mail");
    QTest::newRow("bytes") << QByteArray("\x01\x02\x03") << QByteArray("\\x01\\x02\\x03");
    QTest::newRow("zero bytes") << QByteArray(3, '\0') << QByteArray("\\x00\\x00\\x00");
    QTest::newRow("many zero bytes") << QByteArray(300000, '\0') << QByteArray("\\x00\\x00\\x00");
    QTest::newRow("blanks") << QByteArray("\r\n \r\n") << QByteArray("nothing but blanks");
    QTest::newRow("long line") << QByteArray(300, 'a') << QByteArray(200, 'a');
}

// The greeting may come before or after the program has written its handshake, so the test tries several times.
void TstExitStatus::strangerSpeaksFirst_is3AtOnce()
{
    QFETCH(QByteArray, greeting);
    QFETCH(QByteArray, shown);
    FakeBus bus;
    bus.willGreet(greeting);
    for (int time = 0; time < 8; ++time) {
        bus.willAnswerHandshake(sayNothing);
        QElapsedTimer timer;
        timer.start();
        ProgramRun run(someVerb());
        const Ending ending = run.ending();
        QVERIFY(timer.elapsed() < LIBRARY_TIMEOUT_MS / 2);
        QCOMPARE(ending.status, 3);
        QCOMPARE(ending.out, QByteArray());
        QVERIFY2(ending.err.startsWith("tarvexctl: " + NO_REPLY), ending.err.constData());
        QVERIFY2(ending.err.endsWith(shown + '\n'), ending.err.constData());
    }
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
    QCOMPARE(run.ending(), ended(1, {"refused by the bus: " + told}));
}

void TstExitStatus::loggingRules_changeNothing_data()
{
    QTest::addColumn<QByteArray>("rules");
    QTest::newRow("off") << QByteArray("*=false");
    QTest::newRow("on") << QByteArray("default=true");
}

// A user's rules may switch the library's log lines off or on.
void TstExitStatus::loggingRules_changeNothing()
{
    QFETCH(QByteArray, rules);
    qputenv("QT_LOGGING_RULES", rules);
    ProgramRun withoutBus(someVerb());
    QCOMPARE(withoutBus.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
    FakeBus bus;
    bus.willReply(u"loadSettings"_s, 5, u"There are no settings for client"_s);
    ProgramRun refused(someVerb());
    qputenv("QT_LOGGING_RULES", "");
    QCOMPARE(refused.ending(), ended(1, {"refused by the bus: 5 There are no settings for client"}));
}

// The library waits 30 s for a reply, and nothing can shorten that. This is the only test here that waits so long.
void TstExitStatus::silence_is4()
{
    FakeBus bus;
    bus.willSayNothing();
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(someVerb());
    QCOMPARE(run.ending(60000), ended(4, {"the bus is there, but nothing came within 30 s"}));
    QVERIFY(timer.elapsed() >= 29000);
}

void TstExitStatus::interruptedWhileWaiting_is130()
{
    FakeBus bus;
    bus.willReply(u"loadSettings"_s);
    bus.willSayNothing();
    ProgramRun run(someVerb() + u" cashbox --json"_s);
    QVERIFY(bus.waitForRequests(2));
    const Ending ending = run.interrupted();
    QCOMPARE(ending.status, 130);
    QCOMPARE(run.objects().size(), 1);
    QCOMPARE(ending.err, told("interrupted"));
}

QTEST_GUILESS_MAIN(TstExitStatus)
#include "tst_exitstatus.moc"
