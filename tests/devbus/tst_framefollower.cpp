#include "framefollower.h"

#include "fakebus.h"
#include "literals.h"
#include "traffic/framememory.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

using tarvex::devbus::FrameFollower;
using tarvex::traffic::FrameMemory;
using tarvex::traffic::SeenFrame;

namespace {

void add(FrameMemory& memory, int count)
{
    for (int done = 0; done < count; ++done) {
        SeenFrame frame;
        frame.operation = u"loadState"_s;
        memory.add(frame, FakeBus::payload(QByteArray(R"({"operation":"loadState","data":{"owner":"a"}})")));
    }
}

/// The items of the lines.
QList<QVariantMap> items(const QByteArray& lines)
{
    QList<QVariantMap> items;
    QList<QByteArray> texts = lines.split('\n');
    texts.removeLast(); // nothing follows the last line end
    for (const QByteArray& text : qAsConst(texts)) {
        items.append(QJsonDocument::fromJson(text).object().value(u"item"_s).toObject().toVariantMap());
    }
    return items;
}

QList<int> numbers(const QByteArray& lines)
{
    QList<int> numbers;
    const QList<QVariantMap> frames = items(lines);
    for (const QVariantMap& frame : frames) {
        numbers.append(frame.value(u"number"_s).toInt());
    }
    return numbers;
}

} // namespace

class TstFrameFollower : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void next_beginsWithTheLast_data();
    void next_beginsWithTheLast();
    void next_givesWholeFrames();
    void next_deepData_isLeftOut_data();
    void next_deepData_isLeftOut();
    void next_goesOnWithWhatIsNew();
    void next_tooLate_tellsOfAGap();
    void next_givesNoMoreThanATurn();
    void ready_withEachFrame();
};

void TstFrameFollower::next_beginsWithTheLast_data()
{
    QTest::addColumn<qint64>("last");
    QTest::addColumn<QList<int>>("expected");
    QTest::newRow("none") << qint64(0) << QList<int>();
    QTest::newRow("two") << qint64(2) << QList<int>{4, 5};
    QTest::newRow("more than there are") << qint64(100) << QList<int>{1, 2, 3, 4, 5};
    QTest::newRow("very many") << std::numeric_limits<qint64>::max() << QList<int>{1, 2, 3, 4, 5};
}

void TstFrameFollower::next_beginsWithTheLast()
{
    QFETCH(qint64, last);
    FrameMemory memory;
    add(memory, 5);
    FrameFollower follower(memory, last);
    QTEST(numbers(follower.next()), "expected");
}

void TstFrameFollower::next_givesWholeFrames()
{
    FrameMemory memory;
    add(memory, 1);
    FrameFollower follower(memory, 1);
    const QVariantMap item = items(follower.next()).value(0);
    QCOMPARE(item, QJsonDocument::fromVariant(memory.frame(1)->toVariantMap()).object().toVariantMap());
    QCOMPARE(item.value(u"data"_s).toMap().value(u"owner"_s).toString(), u"a"_s);
}

void TstFrameFollower::next_deepData_isLeftOut_data()
{
    QTest::addColumn<int>("levels");
    QTest::addColumn<bool>("isLeftOut");
    QTest::newRow("as deep as may be") << FrameFollower::MAX_LEVELS << false;
    QTest::newRow("one deeper") << FrameFollower::MAX_LEVELS + 1 << true;
    QTest::newRow("as deep as the bus takes") << 1023 << true;
}

void TstFrameFollower::next_deepData_isLeftOut()
{
    QFETCH(int, levels);
    // The data itself is a level.
    const QByteArray deep = QByteArray(levels - 1, '[') + QByteArray(levels - 1, ']');
    FrameMemory memory;
    memory.add(SeenFrame(), FakeBus::payload(R"({"operation":"saveState","data":{"a":)" + deep + "}}"));
    QCOMPARE(memory.frame(1)->operation, u"saveState"_s);
    FrameFollower follower(memory, 1);
    const QVariantMap item = items(follower.next()).value(0);
    QCOMPARE(item.value(u"operation"_s).toString(), u"saveState"_s);
    QTEST(item.value(u"dataLeftOut"_s).toBool(), "isLeftOut");
    QCOMPARE(item.contains(u"data"_s), !item.value(u"dataLeftOut"_s).toBool());
}

void TstFrameFollower::next_goesOnWithWhatIsNew()
{
    FrameMemory memory;
    add(memory, 3);
    FrameFollower follower(memory, 0);
    QCOMPARE(follower.next(), QByteArray());
    add(memory, 2);
    QCOMPARE(numbers(follower.next()), (QList<int>{4, 5}));
    QCOMPARE(follower.next(), QByteArray());
}

void TstFrameFollower::next_tooLate_tellsOfAGap()
{
    FrameMemory memory(10 * FrameMemory::ENTRY_BYTES);
    FrameFollower follower(memory, 0);
    add(memory, 100);
    const int first = static_cast<int>(memory.firstNumber());
    QVERIFY(first > 1);
    const QByteArray lines = follower.next();
    const QVariantMap gap = items(lines).value(0);
    QCOMPARE(gap.value(u"kind"_s).toString(), u"gap"_s);
    QCOMPARE(gap.value(u"problem"_s).toString(),
             u"%1 frames are missing, because this reader is too slow"_s.arg(first - 1));
    QCOMPARE(numbers(lines).mid(1).value(0), first);
    QCOMPARE(numbers(lines).constLast(), 100);
}

void TstFrameFollower::next_givesNoMoreThanATurn()
{
    FrameMemory memory;
    add(memory, 2000);
    FrameFollower follower(memory, 2000);
    const QByteArray lines = follower.next();
    QVERIFY(lines.size() >= FrameFollower::TURN_BYTES);
    QVERIFY(lines.size() < FrameFollower::TURN_BYTES + 1000);
    QCOMPARE(numbers(follower.next()).value(0), numbers(lines).constLast() + 1);
}

void TstFrameFollower::ready_withEachFrame()
{
    FrameMemory memory;
    FrameFollower follower(memory, 0);
    QSignalSpy ready(&follower, &FrameFollower::ready);
    add(memory, 2);
    QCOMPARE(ready.count(), 2);
}

QTEST_GUILESS_MAIN(TstFrameFollower)
#include "tst_framefollower.moc"
