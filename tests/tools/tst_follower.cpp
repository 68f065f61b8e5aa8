#include "busprocess.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>

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
    QTest::newRow("listen") << QStringLiteral("listen");
    QTest::newRow("listen subscribed") << QStringLiteral("listen --subscribe printer");
    QTest::newRow("call") << QStringLiteral("call printer print");
    QTest::newRow("state watch") << QStringLiteral("state watch printer");
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
    ProgramRun run(words(verb) + words(QStringLiteral("--as thief")));
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
    ProgramRun run(words(verb) + words(QStringLiteral("--as thief")));
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

void TstFollower::busSilentFromTheStart_timeOutIs4()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBus query;
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(words(verb) + words(QStringLiteral("--timeout 0.5")));
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
    ProgramRun run(words(verb) + words(QStringLiteral("--timeout 0.5")));
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
    ScriptedClient printer(QStringLiteral("printer"));
    QVERIFY(printer.isConnected());
    ProgramRun run(words(verb) + words(QStringLiteral("--timeout 60")));
    // Each has something that shows that it is at work.
    if (verb.startsWith(QLatin1String("listen"))) {
        QVERIFY(run.waitForWords("listening as"));
    } else if (verb.startsWith(QLatin1String("call"))) {
        QVERIFY(printer.receive().contains(QStringLiteral("UID")));
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
    ScriptedClient printer(QStringLiteral("printer"));
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    // As the shell starts a background job.
    process.start(
        QStringLiteral("/bin/sh"),
        QStringList{QStringLiteral("-c"), QStringLiteral("trap '' INT; exec \"$0\" \"$@\""), ProgramRun::program()}
            + words(verb) + words(QStringLiteral("--timeout 2")));
    QVERIFY(process.waitForStarted());
    if (verb.startsWith(QLatin1String("call"))) {
        QVERIFY(printer.receive().contains(QStringLiteral("UID")));
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
        names.append(handshake.data.value(QStringLiteral("name")).toString());
    }
    names.sort();
    QStringList expected{QStringLiteral("tarvexctl-%1").arg(one.processId()),
                         QStringLiteral("tarvexctl-%1").arg(other.processId())};
    expected.sort();
    QCOMPARE(names, expected);
}

QTEST_GUILESS_MAIN(TstFollower)
#include "tst_follower.moc"
