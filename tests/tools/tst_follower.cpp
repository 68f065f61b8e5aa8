#include "busprocess.h"
#include "literals.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>
#include <limits>

namespace {

/// The program ends 2 s after it should, whatever the bus does; the rest is for a loaded machine. The library's own
/// waits are 30 s.
constexpr int BOUND_MS = 15000;

QStringList words(const QString& line)
{
    return line.split(QLatin1Char(' '));
}

} // namespace

/// What the verbs have in common that follow the bus: beginnings, losses of the bus, ends. Shown by "listen".
class TstFollower : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase_data();

    void noBus_is3AtOnce();
    void receiverPortClosed_is3();
    void handshakeRefused_is3();
    void receiverHandshakeRefused_is3();
    void receiverClosedInHandshake_is3();
    void strangerOnQueryPort_is3AtOnce();
    void strangerOnReceiverPort_is3AtOnce_data();
    void strangerOnReceiverPort_is3AtOnce();
    void slowBus_isWaitedFor();
    void nameTaken_isTold();
    void busHangs_endsAtOnce_data();
    void busHangs_endsAtOnce();
    void busSilentFromTheStart_timeOutIs4();
    void receiverHandshakeUnanswered_timeOutIs4();
    void busSilentFromTheStart_interruptIs130();
    void interrupted_is130();
    void ignoredInterrupt_staysIgnored();
    void twoAtOnce_haveNamesOfTheirOwn();
};

/// The program's name for itself differs, the rest does not.
void TstFollower::initTestCase_data()
{
    QTest::addColumn<QString>("verb");
    QTest::newRow("listen") << u"listen"_s;
    QTest::newRow("listen subscribed") << u"listen --subscribe printer"_s;
    QTest::newRow("call") << u"call printer print"_s;
    QTest::newRow("state watch") << u"state watch printer"_s;
}

void TstFollower::noBus_is3AtOnce()
{
    QFETCH_GLOBAL(QString, verb);
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(words(verb));
    QCOMPARE(run.status(), 3);
    QVERIFY(timer.elapsed() < BOUND_MS);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: no bus to be reached on 127.0.0.1: Connection refused\n"));
}

void TstFollower::receiverPortClosed_is3()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    ProgramRun run(words(verb));
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.err(), QByteArray("tarvexctl: no bus to be reached on 127.0.0.1: Connection refused\n"));
    QVERIFY(query.requests().isEmpty());
}

void TstFollower::handshakeRefused_is3()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willRefuseHandshake(3);
    ProgramRun run(words(verb) + words(u"--as thief"_s));
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus refused the handshake of \"thief\"\n"));
    QVERIFY(query.requests().isEmpty());
}

void TstFollower::receiverHandshakeRefused_is3()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    receiver.willRefuseHandshake(3);
    ProgramRun run(words(verb) + words(u"--as thief"_s));
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus refused the handshake of \"thief\"\n"));
    QVERIFY(query.requests().isEmpty());
}

void TstFollower::receiverClosedInHandshake_is3()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    receiver.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.close(); });
    ProgramRun run(words(verb));
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus closed the connection during the handshake\n"));
    QVERIFY(query.requests().isEmpty());
}

void TstFollower::strangerOnQueryPort_is3AtOnce()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willGreet("220 mail ready\r\n");
    query.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(words(verb));
    QCOMPARE(run.status(), 3);
    QVERIFY(timer.elapsed() < BOUND_MS);
    QVERIFY2(run.err().startsWith("tarvexctl: what answered is no reply of the bus: "), run.err().constData());
    QVERIFY2(run.err().endsWith("220 mail ready\n"), run.err().constData());
}

void TstFollower::strangerOnReceiverPort_is3AtOnce_data()
{
    QTest::addColumn<QByteArray>("greeting");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("closes");
    const QByteArray line = "220 mail ready\r\n";
    QTest::newRow("before the handshake") << line << QByteArray() << false;
    QTest::newRow("after the handshake") << QByteArray() << line << false;
    QTest::newRow("bytes without a line end") << QByteArray("\x01\x02") << QByteArray() << false;
    QTest::newRow("and closes") << QByteArray() << line << true;
    QTest::newRow("a frame's first line") << QByteArray() << QByteArray("[-REPLY-]\r\nready\r\n") << false;
}

void TstFollower::strangerOnReceiverPort_is3AtOnce()
{
    QFETCH_GLOBAL(QString, verb);
    QFETCH(QByteArray, greeting);
    QFETCH(QByteArray, answer);
    QFETCH(bool, closes);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    receiver.willGreet(greeting);
    receiver.willAnswerHandshake([&](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(answer);
        if (closes) {
            peer.close();
        }
    });
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(words(verb));
    QCOMPARE(run.status(), 3);
    QVERIFY(timer.elapsed() < BOUND_MS);
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: what answered is no reply of the bus: something else than the answer to the "
                        "handshake\n"));
    QVERIFY(query.requests().isEmpty());
}

// Slow, but a bus: the answers to both handshakes come late and in pieces.
void TstFollower::slowBus_isWaitedFor()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    const auto answerSlowly = [](FakeBus::Peer& peer, const FakeBus::Request&) {
        const QByteArray frame = FakeBus::acceptance();
        peer.sendInPieces({QByteArray(), frame.left(5), frame.mid(5, 20), frame.mid(25)}, 100);
    };
    query.willAnswerHandshake(answerSlowly);
    receiver.willAnswerHandshake(answerSlowly);
    query.willAlwaysDo(FakeBus::answer);
    ProgramRun run(words(verb) + words(u"--timeout 60"_s));
    // At work, which it is only with both connections accepted.
    if (verb == QLatin1String("listen")) {
        QVERIFY(run.waitForWords("listening as"));
    } else {
        QVERIFY(query.waitForRequests(1));
    }
    run.sendSignal(SIGTERM);
    QCOMPARE(run.status(), 130);
    QVERIFY2(run.err().endsWith("tarvexctl: interrupted\n"), run.err().constData());
}

void TstFollower::nameTaken_isTold()
{
    QFETCH_GLOBAL(QString, verb);
    BusProcess bus;
    ProgramRun run(words(verb) + words(u"--as shared --timeout 60"_s));
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.isConnected());
    if (verb.startsWith(QLatin1String("call"))) {
        QVERIFY(printer.receive().contains(u"UID"_s));
    } else if (verb.startsWith(QLatin1String("listen"))) {
        QVERIFY(run.waitForWords("listening as"));
    } else {
        QVERIFY(run.waitForLines(2));
    }
    {
        ScriptedClient other(u"shared"_s);
        QVERIFY(other.isConnected());
        QVERIFY2(
            run.waitForWords("the bus is there, but has closed the connection that receives: another program took the "
                             "name \"shared\", most likely"),
            run.err().constData());
    }
    QVERIFY2(run.waitForWords("receiving as shared again"), run.err().constData());
    QVERIFY2(!run.err().contains("the bus has gone"), run.err().constData());
    run.sendSignal(SIGTERM);
    QCOMPARE(run.status(), 130);
}

void TstFollower::busHangs_endsAtOnce_data()
{
    QTest::addColumn<bool>("isInterrupted");
    QTest::newRow("time-out") << false;
    QTest::newRow("interrupt") << true;
}

// Nothing is subscribed yet, so there is nothing to wait for. With something to unsubscribe it takes 2 s.
void TstFollower::busHangs_endsAtOnce()
{
    QFETCH_GLOBAL(QString, verb);
    QFETCH(bool, isInterrupted);
    constexpr int UNSUBSCRIBING_MS = 2000;
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    qint64 quickest = std::numeric_limits<qint64>::max();
    // The quickest of some, since others may be at work on this machine.
    for (int time = 1; time <= 10 && quickest >= UNSUBSCRIBING_MS; ++time) {
        query.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
        QElapsedTimer timer;
        timer.start();
        ProgramRun run(words(verb) + words(QLatin1String("--timeout ") + QLatin1String(isInterrupted ? "60" : "0.1")));
        if (isInterrupted) {
            QVERIFY(query.waitForConnections(time));
            timer.start();
            run.sendSignal(SIGINT);
        }
        QCOMPARE(run.status(), isInterrupted ? 130 : 4);
        quickest = qMin(quickest, timer.elapsed());
    }
    QVERIFY2(quickest < UNSUBSCRIBING_MS, qPrintable(QString::number(quickest)));
}

void TstFollower::busSilentFromTheStart_timeOutIs4()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(words(verb) + words(u"--timeout 0.5"_s));
    QCOMPARE(run.status(), 4);
    QVERIFY(timer.elapsed() < BOUND_MS);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus is there, but did not answer within the time-out\n"));
}

void TstFollower::receiverHandshakeUnanswered_timeOutIs4()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    receiver.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    ProgramRun run(words(verb) + words(u"--timeout 0.5"_s));
    QCOMPARE(run.status(), 4);
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus is there, but did not answer within the time-out\n"));
    QVERIFY(query.requests().isEmpty());
}

void TstFollower::busSilentFromTheStart_interruptIs130()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    ProgramRun run(words(verb));
    QVERIFY(query.waitForConnections(1));
    QElapsedTimer timer;
    timer.start();
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QVERIFY(timer.elapsed() < BOUND_MS);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: interrupted\n"));
}

void TstFollower::interrupted_is130()
{
    QFETCH_GLOBAL(QString, verb);
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.isConnected());
    ProgramRun run(words(verb) + words(u"--timeout 60"_s));
    // Each has something that shows that it is at work.
    if (verb.startsWith(QLatin1String("listen"))) {
        QVERIFY(run.waitForWords("listening as"));
    } else if (verb.startsWith(QLatin1String("call"))) {
        QVERIFY(printer.receive().contains(u"UID"_s));
    } else {
        QVERIFY(run.waitForLines(2));
    }
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QVERIFY2(run.err().endsWith("tarvexctl: interrupted\n"), run.err().constData());
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstFollower::ignoredInterrupt_staysIgnored()
{
    QFETCH_GLOBAL(QString, verb);
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    // As the shell starts a background job.
    process.start(u"/bin/sh"_s,
                  QStringList{u"-c"_s, u"trap '' INT; exec \"$0\" \"$@\""_s, ProgramRun::program()} + words(verb)
                      + words(u"--timeout 2"_s));
    QVERIFY(process.waitForStarted());
    if (verb.startsWith(QLatin1String("call"))) {
        QVERIFY(printer.receive().contains(u"UID"_s));
    } else {
        QVERIFY(process.waitForReadyRead());
    }
    ::kill(static_cast<pid_t>(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 4);
}

void TstFollower::twoAtOnce_haveNamesOfTheirOwn()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    ProgramRun one(words(verb));
    ProgramRun other(words(verb));
    QVERIFY(query.waitForConnections(2) && receiver.waitForConnections(2));
    QTRY_COMPARE(receiver.handshakes().size(), 2);
    const QList<FakeBus::Request> handshakes = receiver.handshakes();
    QStringList names;
    for (const FakeBus::Request& handshake : handshakes) {
        names.append(handshake.data.value(u"name"_s).toString());
    }
    names.sort();
    QStringList expected{u"tarvexctl-%1"_s.arg(one.processId()), u"tarvexctl-%1"_s.arg(other.processId())};
    expected.sort();
    QCOMPARE(names, expected);
}

QTEST_GUILESS_MAIN(TstFollower)
#include "tst_follower.moc"
