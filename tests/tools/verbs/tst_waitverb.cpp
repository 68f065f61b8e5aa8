#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QTest>

#include <memory>

/// The verb "wait", for scripts that start a bus and go on when it answers.
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
    ProgramRun run(u"wait"_s);
    QCOMPARE(run.ending(), ended(0));
    QCOMPARE(bus.handshakes().size(), 1);
    QCOMPARE(bus.requests().size(), 0);
}

void TstWaitVerb::busIsThere_asJson_isOneObject()
{
    FakeBus bus;
    ProgramRun run(u"wait --json"_s);
    QCOMPARE(run.ending(), ended(0, {}, "{\"done\":\"wait\"}\n"));
}

void TstWaitVerb::busComesLater_isWaitedFor()
{
    ProgramRun run(u"wait"_s);
    BusProcess bus(BusProcess::InMemory);
    QCOMPARE(run.ending(), ended(0));
}

void TstWaitVerb::busStartsToAnswerLater_isWaitedFor()
{
    FakeBus bus;
    bus.willRefuseHandshake(3);
    bus.willAnswerHandshake(closeConnection);
    bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send("HTTP/1.1 400\r\n"); });
    ProgramRun run(u"wait"_s);
    QCOMPARE(run.ending(), ended(0));
    QCOMPARE(bus.handshakes().size(), 4);
}

void TstWaitVerb::timeOut_is4AndTellsWhatWasSeen_data()
{
    QTest::addColumn<QByteArray>("greeting");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("nothing") << QByteArray() << QByteArray("no bus to be reached on 127.0.0.1: Connection refused");
    QTest::newRow("no bus") << QByteArray("220 mail\r\n")
                            << QByteArray("what answered is no reply of the bus: 220 mail");
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
    ProgramRun run(u"--json wait --timeout 1"_s);
    QCOMPARE(run.ending(), ended(4, {"no bus has answered within 1 s: " + words}));
}

void TstWaitVerb::busHangs_timeOutIs4()
{
    BusProcess bus(BusProcess::InMemory);
    bus.hang();
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(u"wait --timeout 0.5"_s);
    QCOMPARE(run.ending(), ended(4, {"no bus has answered within 0.5 s: something is there, but does not answer"}));
    QVERIFY(timer.elapsed() < 15000); // the library's own wait takes 30 s
}

// The library gives up after 30 s as well, so here the try itself ends by its time-out.
void TstWaitVerb::busHangs_defaultTimeOut_isToldTheSame()
{
    FakeBus bus;
    bus.willAnswerHandshake(sayNothing);
    bus.willAnswerHandshake(sayNothing);
    ProgramRun run(u"wait"_s);
    QCOMPARE(run.ending(60000), ended(4, {"no bus has answered within 30 s: something is there, but does not answer"}));
}

void TstWaitVerb::interrupted_is130()
{
    FakeBus bus;
    bus.willAnswerHandshake(sayNothing);
    ProgramRun run(u"wait"_s);
    QVERIFY(bus.waitForConnections(1));
    QCOMPARE(run.interrupted(), ended(130, {"interrupted"}));
}

void TstWaitVerb::stdoutFull_isTold()
{
    FakeBus bus;
    ProgramRun run(u"--json wait"_s, ProgramRun::StdoutFull);
    QCOMPARE(run.ending(), ended(1, {"cannot write to stdout: No space left on device"}));
}

QTEST_GUILESS_MAIN(TstWaitVerb)
#include "tst_waitverb.moc"
