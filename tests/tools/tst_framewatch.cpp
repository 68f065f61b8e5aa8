#include "framewatch.h"

#include "framesource.h"
#include "someframes.h"

#include <QTest>

#include <utility>

using namespace someframes;
using tarvexctl::FrameSource;
using tarvexctl::FrameTask;
using tarvexctl::FrameWatch;

namespace {

/// Gives these frames, and ends.
class ScriptedSource : public FrameSource
{
    Q_OBJECT
public:
    explicit ScriptedSource(QList<SeenFrame> frames) : m_frames(std::move(frames)) { }

    void start() override
    {
        QMetaObject::invokeMethod(
            this,
            [this] {
                Q_EMIT started();
                for (const SeenFrame& frame : qAsConst(m_frames)) {
                    Q_EMIT seen(frame);
                }
                Q_EMIT ended();
            },
            Qt::QueuedConnection);
    }

private:
    const QList<SeenFrame> m_frames;
};

SeenFrame load(qint64 number)
{
    return request(number, u"gui"_s, u"loadState"_s, {});
}

SeenFrame restart()
{
    return incident(0, Kind::Gap, QString(), u"the bus was away"_s);
}

/// The numbers of what is shown.
QList<int> shown(const QList<SeenFrame>& frames, const tarvexctl::FramePast& past)
{
    QList<int> numbers;
    FrameTask task;
    task.wants = [](const SeenFrame&) { return true; };
    task.show = [&](const SeenFrame& frame) { numbers.append(static_cast<int>(frame.number)); };
    ScriptedSource source(frames);
    FrameWatch(source, task, {}, past).run();
    return numbers;
}

} // namespace

Q_DECLARE_METATYPE(SeenFrame)

class TstFrameWatch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void frames_areShown_data();
    void frames_areShown();
    void largePast_isCutAtItsBeginning();
    void start_isCalledBeforeTheFrames();
};

void TstFrameWatch::frames_areShown_data()
{
    QTest::addColumn<QList<SeenFrame>>("frames");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("lastNumber");
    QTest::addColumn<QList<int>>("expected");
    const QList<SeenFrame> three{load(1), load(2), load(3)};
    QTest::newRow("no past") << three << 0 << 0 << QList<int>{1, 2, 3};
    QTest::newRow("the last of the past") << three << 1 << 2 << QList<int>{2, 3};
    QTest::newRow("restart") << QList<SeenFrame>{load(8), restart(), load(1)} << 0 << 0 << QList<int>{8, 0, 1};
    QTest::newRow("restart after the past")
        << QList<SeenFrame>{load(7), load(8), restart(), load(1)} << 1 << 8 << QList<int>{8, 0, 1};
    QTest::newRow("restart before the past was asked for")
        << QList<SeenFrame>{restart(), load(1), load(2)} << 5 << 8 << QList<int>{0, 1, 2};
    QTest::newRow("restart in the past") << QList<SeenFrame>{load(6), load(7), restart(), load(1)} << 1 << 8
                                         << QList<int>{7, 0, 1};
}

void TstFrameWatch::frames_areShown()
{
    QFETCH(QList<SeenFrame>, frames);
    QFETCH(int, count);
    QFETCH(int, lastNumber);
    QTEST(shown(frames, {count, lastNumber}), "expected");
}

void TstFrameWatch::largePast_isCutAtItsBeginning()
{
    // Each takes a little less than a third of the bound.
    const QString text(static_cast<int>(FrameWatch::MAX_KEPT_BYTES / 2 / 3 - 10000), u'x');
    QList<SeenFrame> frames;
    for (int number = 1; number <= 5; ++number) {
        frames.append(message(number, u"gui"_s, u"printer"_s, text + QString::number(number)));
    }
    QCOMPARE(shown(frames, {5, 5}), (QList<int>{3, 4, 5}));
    QCOMPARE(shown(frames, {2, 5}), (QList<int>{4, 5}));
}

void TstFrameWatch::start_isCalledBeforeTheFrames()
{
    QStringList calls;
    FrameTask task;
    task.start = [&] { calls.append(u"start"_s); };
    task.wants = [](const SeenFrame&) { return true; };
    task.show = [&](const SeenFrame&) { calls.append(u"show"_s); };
    ScriptedSource source({load(1)});
    FrameWatch(source, task, {}).run();
    QCOMPARE(calls, (QStringList{u"start"_s, u"show"_s}));
}

QTEST_GUILESS_MAIN(TstFrameWatch)
#include "tst_framewatch.moc"
