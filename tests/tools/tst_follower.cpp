#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>
#include <limits>
#include <memory>

namespace {

/// The program ends at most 2 s after there is a reason to end, whatever the bus does. The rest is for a loaded
/// machine. The library's own waits take 30 s.
constexpr int BOUND_MS = 15000;
const QByteArray NO_REPLY("what answered is no reply of the bus: ");

/// A bus that does not accept the program's connections.
struct Misbehaviour
{
    const char* name;
    FakeBus::Action query;    ///< Its answer to the handshake on the query port; empty when it accepts.
    FakeBus::Action receiver; ///< The same on the receiver port.
    QByteArray greeting;      ///< What the receiver port sends first.
    const char* options;
    Ending ending;
};

QList<Misbehaviour> misbehaviours()
{
    const Ending refused = ended(3, {"the bus refused the handshake of \"thief\""});
    const Ending closed = ended(3, {"the bus closed the connection during the handshake"});
    const Ending silent = ended(4, {"the bus is there, but did not answer within the time-out"});
    const Ending strange = ended(3, {NO_REPLY + "something else than the answer to the handshake"});
    const QByteArray line = "220 mail ready\r\n";
    return {
        {"refused", refuses(), {}, {}, "--as thief", refused},
        {"silent", sayNothing, {}, {}, "--timeout 0.5", silent},
        {"stranger", sends(line), {}, {}, "", ended(3, {NO_REPLY + "220 mail ready"})},
        {"receiver refused", {}, refuses(), {}, "--as thief", refused},
        {"receiver closed", {}, closeConnection, {}, "", closed},
        {"receiver silent", {}, sayNothing, {}, "--timeout 0.5", silent},
        {"receiver's stranger, before the handshake", {}, sayNothing, line, "", strange},
        {"receiver's stranger, no line end", {}, sayNothing, "\x01\x02", "", strange},
        {"receiver's stranger, after the handshake", {}, sends(line), {}, "", strange},
        {"receiver's stranger, and closes", {}, sends(line, true), {}, "", strange},
        {"receiver's stranger, a frame's first line", {}, sends("[-REPLY-]\r\nready\r\n"), {}, "", strange},
    };
}

} // namespace

/// What the verbs that follow the bus have in common: the beginning, the loss of the bus, the end.
class TstFollower : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase_data();

    void noBus_is3AtOnce_data();
    void noBus_is3AtOnce();
    void notTakenIn_endsAtOnce_data();
    void notTakenIn_endsAtOnce();
    void slowBus_isWaitedFor();
    void nameTaken_isTold();
    void busHangs_endsAtOnce_data();
    void busHangs_endsAtOnce();
    void interrupted_is130();
    void ignoredInterrupt_staysIgnored();
    void twoAtOnce_haveNamesOfTheirOwn();

private:
    static bool isAtWork(ProgramRun& run, ScriptedClient& printer);
};

/// Every test function runs once with each of these command lines.
void TstFollower::initTestCase_data()
{
    QTest::addColumn<QString>("verb");
    for (const char* const verb : {"listen", "listen --subscribe printer", "call printer print", "state watch printer",
                                   "settings watch printer"}) {
        QTest::newRow(verb) << QString::fromLatin1(verb);
    }
}

/// Waits until the verb shows that it is at work.
bool TstFollower::isAtWork(ProgramRun& run, ScriptedClient& printer)
{
    QFETCH_GLOBAL(QString, verb);
    if (verb.startsWith(QLatin1String("listen"))) {
        return run.waitForWords("listening as");
    }
    if (verb.startsWith(QLatin1String("settings"))) {
        return run.waitForWords("watching the settings of");
    }
    return verb.startsWith(QLatin1String("call")) ? printer.receive().contains(u"UID"_s) : run.waitForLines(2);
}

void TstFollower::noBus_is3AtOnce_data()
{
    QTest::addColumn<bool>("hasQueryPort");
    QTest::newRow("no port") << false;
    QTest::newRow("query port only") << true;
}

void TstFollower::noBus_is3AtOnce()
{
    QFETCH_GLOBAL(QString, verb);
    QFETCH(bool, hasQueryPort);
    const auto query = hasQueryPort ? std::make_unique<FakeBus>() : nullptr;
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(verb);
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
    QVERIFY(timer.elapsed() < BOUND_MS);
    QVERIFY(!query || query->requests().isEmpty());
}

void TstFollower::notTakenIn_endsAtOnce_data()
{
    QTest::addColumn<int>("index");
    const QList<Misbehaviour> all = misbehaviours();
    for (int index = 0; index < all.size(); ++index) {
        QTest::newRow(all.at(index).name) << index;
    }
}

void TstFollower::notTakenIn_endsAtOnce()
{
    QFETCH_GLOBAL(QString, verb);
    QFETCH(int, index);
    const Misbehaviour misbehaviour = misbehaviours().at(index);
    FakeBuses bus;
    bus.receiver.willGreet(misbehaviour.greeting);
    if (misbehaviour.query) {
        bus.query.willAnswerHandshake(misbehaviour.query);
    }
    if (misbehaviour.receiver) {
        bus.receiver.willAnswerHandshake(misbehaviour.receiver);
    }
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(verb + u' ' + QLatin1String(misbehaviour.options));
    QCOMPARE(run.ending(), misbehaviour.ending);
    QVERIFY(timer.elapsed() < BOUND_MS);
    QCOMPARE(operations(bus.query), QStringList());
}

// The answers to both handshakes come late and in pieces, but they are those of a bus.
void TstFollower::slowBus_isWaitedFor()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBuses bus;
    const auto answerSlowly = [](FakeBus::Peer& peer, const FakeBus::Request&) {
        const QByteArray frame = FakeBus::acceptance();
        peer.sendInPieces({QByteArray(), frame.left(5), frame.mid(5, 20), frame.mid(25)}, 100);
    };
    bus.query.willAnswerHandshake(answerSlowly);
    bus.receiver.willAnswerHandshake(answerSlowly);
    bus.query.willAlwaysDo(FakeBus::answer);
    ProgramRun run(verb + u" --timeout 60"_s);
    // The verb is at work only after both connections are accepted.
    QVERIFY(verb == QLatin1String("listen") ? run.waitForWords("listening as") : bus.query.waitForRequests(1));
    run.sendSignal(SIGTERM);
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 130);
    QVERIFY2(ending.err.endsWith(told("interrupted")), ending.err.constData());
}

void TstFollower::nameTaken_isTold()
{
    QFETCH_GLOBAL(QString, verb);
    BusProcess bus;
    ProgramRun run(verb + u" --as shared --timeout 60"_s);
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.isConnected());
    QVERIFY(isAtWork(run, printer));
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
    QCOMPARE(run.interrupted().status, 130);
}

void TstFollower::busHangs_endsAtOnce_data()
{
    QTest::addColumn<bool>("isInterrupted");
    QTest::newRow("time-out") << false;
    QTest::newRow("interrupt") << true;
}

// Nothing is subscribed yet, so the program does not wait. If it had to unsubscribe, it would take 2 s.
void TstFollower::busHangs_endsAtOnce()
{
    QFETCH_GLOBAL(QString, verb);
    QFETCH(bool, isInterrupted);
    constexpr int UNSUBSCRIBING_MS = 2000;
    FakeBuses bus;
    qint64 quickest = std::numeric_limits<qint64>::max();
    // The quickest of several runs counts, because other programs may be at work on this machine.
    for (int time = 1; time <= 10 && quickest >= UNSUBSCRIBING_MS; ++time) {
        bus.query.willAnswerHandshake(sayNothing);
        QElapsedTimer timer;
        timer.start();
        ProgramRun run(verb + (isInterrupted ? QString() : u" --timeout 0.1"_s));
        if (isInterrupted) {
            QVERIFY(bus.query.waitForConnections(time));
            timer.start();
            QCOMPARE(run.interrupted(), ended(130, {"interrupted"}));
        } else {
            QCOMPARE(run.status(), 4);
        }
        quickest = qMin(quickest, timer.elapsed());
    }
    QVERIFY2(quickest < UNSUBSCRIBING_MS, qPrintable(QString::number(quickest)));
}

void TstFollower::interrupted_is130()
{
    QFETCH_GLOBAL(QString, verb);
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.isConnected());
    ProgramRun run(verb + u" --timeout 60"_s);
    QVERIFY(isAtWork(run, printer));
    const Ending ending = run.interrupted();
    QCOMPARE(ending.status, 130);
    QVERIFY2(ending.err.endsWith(told("interrupted")), ending.err.constData());
    QCOMPARE(bus.subscriptions(), QStringList());
}

void TstFollower::ignoredInterrupt_staysIgnored()
{
    QFETCH_GLOBAL(QString, verb);
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    ProgramRun run(verb + u" --timeout 2"_s, ProgramRun::InterruptIgnored);
    QVERIFY(isAtWork(run, printer));
    QCOMPARE(run.interrupted().status, 4);
}

void TstFollower::twoAtOnce_haveNamesOfTheirOwn()
{
    QFETCH_GLOBAL(QString, verb);
    FakeBuses bus;
    ProgramRun one(verb);
    ProgramRun other(verb);
    QTRY_COMPARE_WITH_TIMEOUT(bus.receiver.handshakes().size(), 2, ChildProcess::PATIENCE_MS);
    QStringList names;
    const QList<FakeBus::Request> handshakes = bus.receiver.handshakes();
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
