#include "abstractworker.h"

#include "literals.h"
#include "recordingworker.h"

#include <QTest>
#include <QThread>
#include <QTimer>

#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

using wexcor::AbstractWorker;

static_assert(std::is_abstract_v<AbstractWorker>);

namespace {

/// A worker in a thread of its own, without a controller.
class WorkerInThread
{
public:
    WorkerInThread() : record(std::make_shared<Record>()), worker(new RecordingWorker(record)) { }

    ~WorkerInThread() { end(); }

    void start()
    {
        record->setThread(&m_thread);
        worker->moveToThread(&m_thread);
        QObject::connect(&m_thread, SIGNAL(finished()), worker, SLOT(deleteLater()));
        m_thread.start();
    }

    void end()
    {
        m_thread.quit();
        m_thread.wait();
    }

    const std::shared_ptr<Record> record;
    RecordingWorker* const worker;

private:
    QThread m_thread;
};

} // namespace

class TstAbstractWorker : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void init() { m_record = std::make_shared<Record>(); }

    void construct_hasNoParentAndCallsNothing();
    void virtuals_calledThroughTheBase();
    void restart_stopsThenStartsInTheOwnThread();
    void restart_returnsAtOnce();
    void restart_inTheOwnThread_isQueuedToo();
    void restart_whileOneIsQueued_addsNothing();
    void restart_startFollowsWhateverStopReturned_data();
    void restart_startFollowsWhateverStopReturned();
    void restart_insideDoStart_asksForAnotherRound();
    void restart_insideDoStop_addsNothing();
    void restart_fromOutsideDuringOne_getsItsOwnRound_data();
    void restart_fromOutsideDuringOne_getsItsOwnRound();
    void restart_insideDoStopByQueuedSignal_endsAfterOneMoreRound();
    void restart_beforeTheThreadStarts_runsThen();
    void restart_keepsItsPlaceInTheQueue();
    void restart_fromManyThreads_isFollowedByOneRound();
    void restart_showsWhatTheCallerWroteBefore();
    void restart_byRepeatingTimer_keepsStarting();
    void restart_bySignalFromAnotherThread();
    void destructor_withARestartQueued_runsNothing();

private:
    std::shared_ptr<Record> m_record; ///< Of a worker in the test's own thread.
};

void TstAbstractWorker::construct_hasNoParentAndCallsNothing()
{
    {
        RecordingWorker worker(m_record);
        QVERIFY(worker.parent() == nullptr);
        QCOMPARE(worker.thread(), QThread::currentThread());
    }
    QCOMPARE(m_record->events(), QStringList{DELETED});
}

void TstAbstractWorker::virtuals_calledThroughTheBase()
{
    RecordingWorker worker(m_record);
    AbstractWorker& base = worker;
    worker.startResult = false;
    QVERIFY(!base.doStart());
    QVERIFY(base.doStop());
    worker.startResult = true;
    worker.stopResult = false;
    QVERIFY(base.doStart());
    QVERIFY(!base.doStop());
    QCOMPARE(m_record->events(), QStringList({START, STOP, START, STOP}));
}

void TstAbstractWorker::restart_stopsThenStartsInTheOwnThread()
{
    WorkerInThread subject;
    subject.start();
    subject.worker->restart();
    subject.worker->postMarks();
    QTRY_VERIFY(subject.record->has(MARK));
    QCOMPARE(subject.record->events(), QStringList({STOP, START, MARK}));
    QCOMPARE(subject.record->strays(), QStringList());
}

void TstAbstractWorker::restart_returnsAtOnce()
{
    WorkerInThread subject;
    Gate gate;
    subject.worker->onStop = [&gate](RecordingWorker&) { gate.wait(); };
    subject.start();
    // It would never return if it waited for the stop, because the stop waits for the gate.
    subject.worker->restart();
    subject.worker->restart();
    gate.open();
    QTRY_VERIFY(subject.record->has(START));
}

void TstAbstractWorker::restart_inTheOwnThread_isQueuedToo()
{
    RecordingWorker worker(m_record);
    worker.restart();
    QCOMPARE(m_record->events(), QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(m_record->events(), QStringList({STOP, START}));
}

void TstAbstractWorker::restart_whileOneIsQueued_addsNothing()
{
    RecordingWorker worker(m_record);
    worker.restart();
    worker.restart();
    QVERIFY(QMetaObject::invokeMethod(&worker, "restart", Qt::DirectConnection));
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    QCOMPARE(m_record->events(), QStringList({STOP, START}));
}

void TstAbstractWorker::restart_startFollowsWhateverStopReturned_data()
{
    QTest::addColumn<bool>("startResult");
    QTest::addColumn<bool>("stopResult");
    QTest::newRow("both done") << true << true;
    QTest::newRow("not stopped") << true << false;
    QTest::newRow("not started") << false << true;
    QTest::newRow("neither") << false << false;
}

void TstAbstractWorker::restart_startFollowsWhateverStopReturned()
{
    QFETCH(bool, startResult);
    QFETCH(bool, stopResult);
    RecordingWorker worker(m_record);
    worker.startResult = startResult;
    worker.stopResult = stopResult;
    for (int round = 0; round < 3; ++round) {
        worker.restart();
        QCoreApplication::processEvents();
    }
    QCOMPARE(m_record->events(), QStringList({STOP, START, STOP, START, STOP, START}));
}

void TstAbstractWorker::restart_insideDoStart_asksForAnotherRound()
{
    RecordingWorker worker(m_record);
    int calls = 2;
    worker.onStart = [&calls](RecordingWorker& self) {
        if (calls-- > 0) {
            self.restart();
            self.restart();
        }
    };
    worker.restart();
    QTRY_COMPARE(m_record->count(START), 3);
    QCoreApplication::processEvents();
    QCOMPARE(m_record->events(), QStringList({STOP, START, STOP, START, STOP, START}));
}

void TstAbstractWorker::restart_insideDoStop_addsNothing()
{
    RecordingWorker worker(m_record);
    worker.onStop = [](RecordingWorker& self) { self.restart(); };
    worker.restart();
    for (int round = 0; round < 5; ++round) {
        QCoreApplication::processEvents();
    }
    QCOMPARE(m_record->events(), QStringList({STOP, START}));
    // The next one from outside works like the first.
    worker.restart();
    QCoreApplication::processEvents();
    QCOMPARE(m_record->events(), QStringList({STOP, START, STOP, START}));
}

void TstAbstractWorker::restart_fromOutsideDuringOne_getsItsOwnRound_data()
{
    QTest::addColumn<bool>("duringStop");
    QTest::newRow("during doStop()") << true;
    QTest::newRow("during doStart()") << false;
}

void TstAbstractWorker::restart_fromOutsideDuringOne_getsItsOwnRound()
{
    QFETCH(bool, duringStop);
    WorkerInThread subject;
    Gate gate;
    (duringStop ? subject.worker->onStop : subject.worker->onStart) = [&gate](RecordingWorker&) { gate.wait(); };
    subject.start();
    subject.worker->restart();
    QTRY_VERIFY(subject.record->has(duringStop ? STOP : START));
    subject.worker->restart();
    subject.worker->restart();
    gate.open();
    QTRY_COMPARE(subject.record->count(START), 2);
    subject.worker->postMarks();
    QTRY_VERIFY(subject.record->has(MARK));
    QCOMPARE(subject.record->events(), QStringList({STOP, START, STOP, START, MARK}));
    QCOMPARE(subject.record->strays(), QStringList());
}

void TstAbstractWorker::restart_insideDoStopByQueuedSignal_endsAfterOneMoreRound()
{
    // A queued signal from inside doStop() arrives when the restart is over. It looks like one from outside.
    RecordingWorker worker(m_record);
    int signalsLeft = 1;
    worker.onStop = [&signalsLeft](RecordingWorker& self) {
        if (signalsLeft-- > 0) {
            QMetaObject::invokeMethod(&self, "restart", Qt::QueuedConnection);
        }
    };
    worker.restart();
    QTRY_COMPARE(m_record->count(START), 2);
    QCoreApplication::processEvents();
    QCOMPARE(m_record->events(), QStringList({STOP, START, STOP, START}));
}

void TstAbstractWorker::restart_beforeTheThreadStarts_runsThen()
{
    WorkerInThread subject;
    subject.worker->restart();
    subject.worker->restart();
    QCOMPARE(subject.record->events(), QStringList());
    subject.start();
    subject.worker->postMarks();
    QTRY_VERIFY(subject.record->has(MARK));
    QCOMPARE(subject.record->events(), QStringList({STOP, START, MARK}));
    QCOMPARE(subject.record->strays(), QStringList());
}

void TstAbstractWorker::restart_keepsItsPlaceInTheQueue()
{
    WorkerInThread subject;
    subject.worker->postMarks();
    subject.worker->restart();
    subject.worker->postMarks();
    subject.start();
    QTRY_COMPARE(subject.record->count(MARK), 2);
    QCOMPARE(subject.record->events(), QStringList({MARK, STOP, START, MARK}));
}

void TstAbstractWorker::restart_fromManyThreads_isFollowedByOneRound()
{
    constexpr int THREADS = 8;
    constexpr int CALLS = 500;
    WorkerInThread subject;
    std::atomic<int> callsBegun{0};
    std::atomic<int> seenByLastStop{0};
    subject.worker->onStop = [&](RecordingWorker&) { seenByLastStop = callsBegun.load(); };
    subject.start();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&] {
            for (int call = 0; call < CALLS; ++call) {
                ++callsBegun;
                subject.worker->restart();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    subject.worker->postMarks();
    QTRY_VERIFY(subject.record->has(MARK));
    const QStringList events = subject.record->events();
    QCOMPARE(events.last(), MARK);
    QCOMPARE(events.count(STOP), events.count(START));
    QCOMPARE(2 * events.count(STOP) + 1, events.size());
    for (int event = 0; event + 1 < events.size(); ++event) {
        QCOMPARE(events.at(event), event % 2 == 0 ? STOP : START);
    }
    // The last round began after the last call.
    QCOMPARE(seenByLastStop.load(), THREADS * CALLS);
    QVERIFY(events.count(STOP) <= THREADS * CALLS);
    QCOMPARE(subject.record->strays(), QStringList());
    // And it was the last: nothing more is under way.
    subject.record->clear();
    subject.worker->restart();
    subject.worker->postMarks();
    QTRY_VERIFY(subject.record->has(MARK));
    QCOMPARE(subject.record->events(), QStringList({STOP, START, MARK}));
}

// This is mainly for the thread sanitizer: only restart() orders the write of the number before the read. The second
// call finds one queued already. The flags are relaxed, so that they order nothing.
void TstAbstractWorker::restart_showsWhatTheCallerWroteBefore()
{
    WorkerInThread subject;
    int number = 0;
    std::atomic<bool> goOn{false};
    std::atomic<int> seen{0};
    subject.worker->onStop = [&](RecordingWorker&) {
        if (goOn.load(std::memory_order_relaxed)) {
            seen.store(number, std::memory_order_relaxed);
        }
        while (!goOn.load(std::memory_order_relaxed)) {
            std::this_thread::yield();
        }
    };
    subject.start();
    subject.worker->restart();
    QTRY_VERIFY(subject.record->has(STOP));
    std::thread caller([&] {
        subject.worker->restart();
        number = 17;
        subject.worker->restart();
        goOn.store(true, std::memory_order_relaxed);
    });
    QTRY_COMPARE(seen.load(std::memory_order_relaxed), 17);
    caller.join();
}

void TstAbstractWorker::restart_byRepeatingTimer_keepsStarting()
{
    RecordingWorker worker(m_record);
    // Nothing works: both fail every time.
    worker.startResult = false;
    worker.stopResult = false;
    QTimer timer;
    QVERIFY(QObject::connect(&timer, SIGNAL(timeout()), &worker, SLOT(restart())));
    timer.start(1);
    QTRY_VERIFY(m_record->count(START) >= 5);
    timer.stop();
    QVERIFY(QObject::disconnect(&timer, SIGNAL(timeout()), &worker, SLOT(restart())));
}

void TstAbstractWorker::restart_bySignalFromAnotherThread()
{
    WorkerInThread subject;
    QObject sender;
    QVERIFY(QObject::connect(&sender, SIGNAL(objectNameChanged(QString)), subject.worker, SLOT(restart())));
    subject.start();
    sender.setObjectName(u"new"_s);
    QTRY_VERIFY(subject.record->has(START));
    QCOMPARE(subject.record->events(), QStringList({STOP, START}));
    QCOMPARE(subject.record->strays(), QStringList());
}

void TstAbstractWorker::destructor_withARestartQueued_runsNothing()
{
    {
        RecordingWorker worker(m_record);
        worker.restart();
    }
    QCoreApplication::processEvents();
    QCOMPARE(m_record->events(), QStringList{DELETED});
}

QTEST_GUILESS_MAIN(TstAbstractWorker)
#include "tst_abstractworker.moc"
