#include "traffic/framememory.h"

#include "fakebus.h"
#include "literals.h"

#include <QSignalSpy>
#include <QTest>

using namespace tarvex::traffic;

namespace {

const QByteArray JSON = R"({"operation":"loadState","data":{"owner":"a"},"result":{"code":5,"description":"no"}})";

SeenFrame someFrame(Kind kind = Kind::Request)
{
    SeenFrame frame;
    frame.kind = kind;
    frame.direction = kind == Kind::Request ? Direction::In : Direction::Out;
    frame.connection = 1;
    frame.client = u"printer"_s;
    frame.operation = u"loadState"_s;
    return frame;
}

} // namespace

class TstFrameMemory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void run_differsFromOneToTheNext();
    void add_fillsNumberAndTime();
    void add_tells();
    void frame_isDecodedFromThePayload();
    void frame_reply_answersItsRequest();
    void frame_event_isWhole();
    void frame_notThere_isNothing();
    void add_overTheBound_dropsTheOldest();
    void add_largePayload_leavesDataOut();
    void add_longName_isCut();
    void add_oneLargerThanTheBound_isKept();
};

void TstFrameMemory::add_fillsNumberAndTime()
{
    FrameMemory memory;
    QCOMPARE(memory.firstNumber(), 1);
    QCOMPARE(memory.nextNumber(), 1);
    const qint64 before = currentTimeUs();
    memory.add(someFrame(), FakeBus::payload(JSON));
    memory.add(someFrame(), FakeBus::payload(JSON));
    QCOMPARE(memory.firstNumber(), 1);
    QCOMPARE(memory.nextNumber(), 3);
    QCOMPARE(memory.frame(2)->number, 2);
    QVERIFY(memory.frame(1)->timeUs >= before);
    QVERIFY(memory.frame(2)->timeUs <= currentTimeUs());
}

void TstFrameMemory::add_tells()
{
    FrameMemory memory;
    QSignalSpy added(&memory, &FrameMemory::added);
    memory.add(someFrame(), FakeBus::payload(JSON));
    QCOMPARE(added.count(), 1);
}

void TstFrameMemory::frame_isDecodedFromThePayload()
{
    FrameMemory memory;
    memory.add(someFrame(Kind::Reply), FakeBus::payload(JSON));
    const auto frame = memory.frame(1);
    QVERIFY(frame);
    QCOMPARE(frame->client, u"printer"_s);
    QCOMPARE(frame->operation, u"loadState"_s);
    QCOMPARE(frame->data, (QVariantMap{{u"owner"_s, u"a"_s}}));
    QCOMPARE(int(frame->code), 5);
    QCOMPARE(frame->description, u"no"_s);
}

void TstFrameMemory::frame_reply_answersItsRequest()
{
    FrameMemory memory;
    memory.add(someFrame(), FakeBus::payload(JSON));
    memory.add(someFrame(Kind::Reply), FakeBus::payload(JSON));
    QCOMPARE(memory.frame(2)->answers, 1);
    QVERIFY(memory.frame(2)->tookUs >= 0);
}

void TstFrameMemory::frame_event_isWhole()
{
    FrameMemory memory;
    SeenFrame bad = someFrame(Kind::Bad);
    bad.problem = u"no frame"_s;
    memory.add(bad);
    QCOMPARE(memory.frame(1)->kind, Kind::Bad);
    QCOMPARE(memory.frame(1)->problem, u"no frame"_s);
}

void TstFrameMemory::frame_notThere_isNothing()
{
    FrameMemory memory;
    QVERIFY(!memory.frame(1));
    memory.add(someFrame());
    QVERIFY(!memory.frame(0));
    QVERIFY(!memory.frame(2));
}

void TstFrameMemory::add_overTheBound_dropsTheOldest()
{
    const QByteArray payload = FakeBus::payload(JSON);
    const qint64 entryBytes = FrameMemory::ENTRY_BYTES + payload.size() + 2 * someFrame().client.size();
    FrameMemory memory(3 * entryBytes);
    for (int count = 0; count < 10; ++count) {
        memory.add(someFrame(), payload);
    }
    QCOMPARE(memory.nextNumber(), 11);
    QCOMPARE(memory.firstNumber(), 8);
    QVERIFY(!memory.frame(7));
    QCOMPARE(memory.frame(8)->number, 8);
}

void TstFrameMemory::add_largePayload_leavesDataOut()
{
    FrameMemory memory;
    SeenFrame frame = someFrame();
    frame.data = {{u"owner"_s, u"a"_s}};
    frame.operation = QString(1000, QLatin1Char('o'));
    memory.add(frame, QByteArray(FrameMemory::MAX_PAYLOAD + 1, 'A'));
    const auto kept = memory.frame(1);
    QVERIFY(kept->isDataLeftOut);
    QVERIFY(kept->data.isEmpty());
    QCOMPARE(kept->operation, QString(256, QLatin1Char('o')));
    memory.add(someFrame(), QByteArray(FrameMemory::MAX_PAYLOAD, 'A'));
    QVERIFY(!memory.frame(2)->isDataLeftOut);
}

void TstFrameMemory::add_longName_isCut()
{
    FrameMemory memory;
    SeenFrame frame = someFrame();
    frame.client = QString(100000, QLatin1Char('c'));
    memory.add(frame, FakeBus::payload(JSON));
    QCOMPARE(memory.frame(1)->client, QString(256, QLatin1Char('c')));
}

void TstFrameMemory::add_oneLargerThanTheBound_isKept()
{
    FrameMemory memory(10);
    memory.add(someFrame(), FakeBus::payload(JSON));
    memory.add(someFrame(), FakeBus::payload(JSON));
    QCOMPARE(memory.firstNumber(), 2);
    QVERIFY(memory.frame(2));
}

void TstFrameMemory::run_differsFromOneToTheNext()
{
    const FrameMemory first;
    const FrameMemory second;
    QVERIFY(!first.run().isEmpty());
    QVERIFY(first.run() != second.run());
}

QTEST_GUILESS_MAIN(TstFrameMemory)
#include "tst_framememory.moc"
