#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QTest>

#include <chrono>
#include <thread>

namespace {

constexpr int SLOW_MS = 300;

/// Refuses like a bus that has no such state.
void refuse(FakeBus::Peer& peer, const FakeBus::Request& request)
{
    peer.send(FakeBus::replyFrame(request.operation, 5));
}

void answerLate(FakeBus::Peer& peer, const FakeBus::Request& request)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(SLOW_MS));
    refuse(peer, request);
}

int histogramCount(const QVariantMap& object)
{
    int count = 0;
    const QVariantList bins = object.value(u"histogram"_s).toList();
    for (const QVariant& bin : bins) {
        count += bin.toMap().value(u"count"_s).toInt();
    }
    return count;
}

/// A bin of the histogram.
struct Bin
{
    int before; ///< How many times are in the bins before it.
    int count;
};

/// The bin in which this time must be.
Bin binOf(const QVariantMap& object, double milliseconds)
{
    Bin found{0, 0};
    const QVariantList bins = object.value(u"histogram"_s).toList();
    for (const QVariant& bin : bins) {
        found.before += found.count;
        found.count = bin.toMap().value(u"count"_s).toInt();
        if (milliseconds < bin.toMap().value(u"toMs"_s).toDouble()) {
            break;
        }
    }
    return found;
}

double milliseconds(const QVariantMap& object, const char* key)
{
    return object.value(QLatin1String(key)).toDouble();
}

} // namespace

/// The verb "ping".
class TstPingVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void answers_areMeasured();
    void answers_forPeople_areSummarised();
    void answers_slowOnes_areSeen();
    void byDefault_thereAre100();
    void lostBus_is3AndSummarised();
    void silence_is4AndSummarised();
    void silenceFromTheStart_is4();
    void tooFew_is4();
    void interrupted_is130AndSummarised();
    void noBus_is3();
    void stdoutFull_is1();
};

void TstPingVerb::answers_areMeasured()
{
    FakeBus bus;
    bus.willAlwaysDo(refuse);
    ProgramRun run(u"--as monitor ping --count 20 --interval 0 --json"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects().size(), 1);
    const QVariantMap object = run.objects().constFirst();
    QCOMPARE(object.keys(),
             (QStringList{u"count"_s, u"histogram"_s, u"maxMs"_s, u"medianMs"_s, u"minMs"_s, u"p99Ms"_s}));
    QCOMPARE(object.value(u"count"_s).toInt(), 20);
    QVERIFY(milliseconds(object, "minMs") > 0);
    QVERIFY(milliseconds(object, "minMs") <= milliseconds(object, "medianMs"));
    QVERIFY(milliseconds(object, "medianMs") <= milliseconds(object, "p99Ms"));
    QVERIFY(milliseconds(object, "p99Ms") <= milliseconds(object, "maxMs"));
    QCOMPARE(histogramCount(object), 20);
    // One connection, and nothing that changes something.
    QCOMPARE(bus.connectionCount(), 1);
    QStringList asked = operations(bus);
    asked.removeDuplicates();
    QCOMPARE(asked, QStringList{u"loadState"_s});
    QCOMPARE(requested(bus).value(u"owner"_s).toString(), u"monitor"_s);
}

void TstPingVerb::answers_forPeople_areSummarised()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun run(u"ping --count 1"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    const QStringList lines = run.lines();
    QCOMPARE(lines.size(), 7);
    QCOMPARE(lines.at(0), u"Exchanges  1"_s);
    const QString time = lines.at(1).section(QLatin1Char(' '), 1).trimmed();
    QCOMPARE(lines.mid(1, 4),
             (QStringList{u"Min        "_s + time, u"Median     "_s + time, u"p99        "_s + time,
                          u"Max        "_s + time}));
    QCOMPARE(lines.at(6), u"%1 to %1  1  "_s.arg(time) + QString(40, QLatin1Char('#')));
}

void TstPingVerb::answers_slowOnes_areSeen()
{
    FakeBus bus;
    bus.willDo(refuse);
    bus.willDo(answerLate);
    bus.willAlwaysDo(refuse);
    ProgramRun run(u"ping --count 12 --json"_s);
    QCOMPARE(run.status(), 0);
    const QVariantMap object = run.objects().value(0);
    QVERIFY(milliseconds(object, "maxMs") >= SLOW_MS);
    QCOMPARE(milliseconds(object, "p99Ms"), milliseconds(object, "maxMs"));
    QVERIFY(milliseconds(object, "minMs") < milliseconds(object, "maxMs"));
    const QVariantList bins = object.value(u"histogram"_s).toList();
    QCOMPARE(bins.constFirst().toMap().value(u"fromMs"_s), object.value(u"minMs"_s));
    QCOMPARE(bins.constLast().toMap().value(u"toMs"_s), object.value(u"maxMs"_s));
    QCOMPARE(histogramCount(object), 12);
    // The median is the sixth of twelve, so its bin holds the sixth.
    const Bin bin = binOf(object, milliseconds(object, "medianMs"));
    QVERIFY2(bin.before < 6 && bin.before + bin.count >= 6, run.out().constData());
}

void TstPingVerb::byDefault_thereAre100()
{
    FakeBus bus;
    bus.willAlwaysDo(refuse);
    ProgramRun run(u"ping"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.lines().value(0), u"Exchanges  100"_s);
    QCOMPARE(bus.requests().size(), 100);
}

void TstPingVerb::lostBus_is3AndSummarised()
{
    FakeBus bus;
    bus.willDo(refuse);
    bus.willDo(refuse);
    bus.willClose();
    ProgramRun run(u"ping --json"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending, ended(3, {"the bus closed the connection"}, ending.out));
    QCOMPARE(run.objects().value(0).value(u"count"_s).toInt(), 2);
}

void TstPingVerb::silence_is4AndSummarised()
{
    FakeBus bus;
    bus.willDo(refuse);
    bus.willDo(refuse);
    ProgramRun run(u"ping --count 3 --timeout 12"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending, ended(4, {"only 2 of 3 came within 12 s"}, ending.out));
    QCOMPARE(run.lines().value(0), u"Exchanges  2"_s);
}

void TstPingVerb::silenceFromTheStart_is4()
{
    FakeBus bus;
    bus.willAnswerHandshake(sayNothing);
    ProgramRun run(u"ping --timeout 0.5"_s);
    QCOMPARE(run.ending(20000), ended(4, {"no answer came within 0.5 s"}));
}

void TstPingVerb::tooFew_is4()
{
    FakeBus bus;
    bus.willAlwaysDo(refuse);
    ProgramRun run(u"ping --count 3 --interval 60000 --timeout 12 --json"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending, ended(4, {"only 1 of 3 came within 12 s"}, ending.out));
    QCOMPARE(run.objects().value(0).value(u"count"_s).toInt(), 1);
}

void TstPingVerb::interrupted_is130AndSummarised()
{
    FakeBus bus;
    bus.willAlwaysDo(refuse);
    ProgramRun run(u"ping --count 1000 --interval 500 --json"_s);
    QVERIFY(bus.waitForRequests(2));
    const Ending ending = run.interrupted();
    QCOMPARE(ending, ended(130, {"interrupted"}, ending.out));
    QVERIFY(run.objects().value(0).value(u"count"_s).toInt() >= 1);
}

void TstPingVerb::noBus_is3()
{
    ProgramRun run(u"ping"_s);
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
}

void TstPingVerb::stdoutFull_is1()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun run(u"ping --count 1"_s, ProgramRun::StdoutFull);
    QCOMPARE(run.ending(), ended(1, {"cannot write to stdout: No space left on device"}));
}

QTEST_GUILESS_MAIN(TstPingVerb)
#include "tst_pingverb.moc"
