#include "busprocess.h"
#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>
#include <memory>

/// "wait": for scripts that start a bus and go on when it answers.
class TstWaitVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void busIsThere_is0AndSilent();
    void busIsThere_asJson_isOneObject();
    void busComesLater_isWaitedFor();
    void busStartsToAnswerLater_isWaitedFor();
    void timeOut_is4AndTellsWhatWasSeen_data();
    void timeOut_is4AndTellsWhatWasSeen();
    void busHangs_timeOutIs4();
    void busHangs_defaultTimeOut_isToldTheSame();
    void interrupted_is130();
    void stdoutFull_isTold();
};

void TstWaitVerb::busIsThere_is0AndSilent()
{
    FakeBus bus;
    ProgramRun run({u"wait"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(bus.handshakes().size(), 1);
    QCOMPARE(bus.requests().size(), 0);
}

void TstWaitVerb::busIsThere_asJson_isOneObject()
{
    FakeBus bus;
    ProgramRun run({u"wait"_s, u"--json"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{{{u"done"_s, u"wait"_s}}}));
    QCOMPARE(run.err(), QByteArray());
}

void TstWaitVerb::busComesLater_isWaitedFor()
{
    ProgramRun run({u"wait"_s});
    BusProcess bus(BusProcess::InMemory);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray());
}

void TstWaitVerb::busStartsToAnswerLater_isWaitedFor()
{
    FakeBus bus;
    bus.willRefuseHandshake(3);
    bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.close(); });
    bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send("HTTP/1.1 400\r\n"); });
    ProgramRun run({u"wait"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(bus.handshakes().size(), 4);
}

void TstWaitVerb::timeOut_is4AndTellsWhatWasSeen_data()
{
    QTest::addColumn<QByteArray>("greeting");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("nothing") << QByteArray() << QByteArray("no bus to be reached on 127.0.0.1: Connection refused\n");
    QTest::newRow("no bus") << QByteArray("220 mail\r\n") << QByteArray("220 mail\n");
}

void TstWaitVerb::timeOut_is4AndTellsWhatWasSeen()
{
    QFETCH(QByteArray, greeting);
    QFETCH(QByteArray, words);
    std::unique_ptr<FakeBus> stranger;
    if (!greeting.isEmpty()) {
        stranger = std::make_unique<FakeBus>();
        stranger->willGreet(greeting);
    }
    ProgramRun run({u"--json"_s, u"wait"_s, u"--timeout"_s, u"1"_s});
    QCOMPARE(run.status(), 4);
    QCOMPARE(run.out(), QByteArray());
    QVERIFY2(run.err().startsWith("tarvexctl: no bus has answered within 1 s: "), run.err().constData());
    QVERIFY2(run.err().endsWith(words), run.err().constData());
}

void TstWaitVerb::busHangs_timeOutIs4()
{
    BusProcess bus(BusProcess::InMemory);
    bus.hang();
    QElapsedTimer timer;
    timer.start();
    ProgramRun run({u"wait"_s, u"--timeout"_s, u"0.5"_s});
    QCOMPARE(run.status(), 4);
    QVERIFY(timer.elapsed() < 15000); // the library's own wait takes 30 s
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: no bus has answered within 0.5 s: something is there, but does not answer\n"));
}

// The library gives up after 30 s as well, so that the try itself ends by a time-out.
void TstWaitVerb::busHangs_defaultTimeOut_isToldTheSame()
{
    FakeBus bus;
    bus.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    bus.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    ProgramRun run({u"wait"_s});
    QCOMPARE(run.status(60000), 4);
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: no bus has answered within 30 s: something is there, but does not answer\n"));
}

void TstWaitVerb::interrupted_is130()
{
    FakeBus bus;
    bus.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    ProgramRun run({u"wait"_s});
    QVERIFY(bus.waitForConnections(1));
    run.sendSignal(SIGINT);
    QCOMPARE(run.status(), 130);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: interrupted\n"));
}

void TstWaitVerb::stdoutFull_isTold()
{
    FakeBus bus;
    QProcess process;
    process.setStandardOutputFile(u"/dev/full"_s);
    process.start(ProgramRun::program(), {u"--json"_s, u"wait"_s});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
}

QTEST_GUILESS_MAIN(TstWaitVerb)
#include "tst_waitverb.moc"
