#include "abstractworkercontroller.h"

#include "crew.h"

#include <QPointer>
#include <QTest>
#include <QTimer>

#include <atomic>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

/// How workers are stopped and deleted: by the destructor, by doStop() and by doKillThreads().
class TstControllerEnd : public CrewTest
{
    Q_OBJECT
private Q_SLOTS:
    void destructor_stopsAndDeletesInTheWorkersThread();
    void destructor_withoutWorkers();
    void destructor_byParent();
    void destructor_neverStarted_deletesTheWorker();
    void destructor_someStarted_deletesAll();
    void destructor_rightAfterStart_deletes();
    void destructor_interruptsALongRead();
    void destructor_ofBlockedWorker_comesBack();
    void destructor_ofSeveralBlockedWorkers_comesBack();
    void destructor_workerGoneBefore();
    void destructor_threadEndedBefore();
    void destructor_threadEndedAndDeletedBefore();
    void destructor_inAnotherThread();
    void destructor_showsWhatItsThreadsWroteLast();
    void doStop_runsInTheWorkersThreadAndWaits();
    void doStop_twice_stopsOnce();
    void doStop_goesAheadOfQueuedCalls_data();
    void doStop_goesAheadOfQueuedCalls();
    void doStop_blockedWorker_comesBackAndStopsLater();
    void doStop_neverStarted_doesNotStartLater();
    void doStop_threadEndingByItself_stopsFirst();
    void doStop_keepsTheThreadRunning();
    void doStop_restartAfterwards_doesNothing();
    void doStop_repeatingTimer_restartsNoMore();
    void doStop_duringARestart_startsNoMore();
    void doStop_workersAddedLater_areStarted();
    void doKillThreads_deletesTheWorkers();
    void doKillThreads_requestsInterruption();
    void doKillThreads_thenNewWorkers();
    void doStopThenKillThenDestructor_stopsOnce();
    void cycles_destroyedAtEveryStage_data();
    void cycles_destroyedAtEveryStage();
    void cycles_withRestartStorms();
};

void TstControllerEnd::destructor_stopsAndDeletesInTheWorkersThread()
{
    const QPointer<RecordingWorker> worker = crew->add();
    const QPointer<QThread> thread = worker->thread();
    crew->add();
    QVERIFY(crew->start());
    crew->end();
    QVERIFY(worker.isNull());
    QVERIFY(thread.isNull());
    QVERIFY(crew->allWent({START, STOP, DELETED}));
}

void TstControllerEnd::destructor_withoutWorkers()
{
    const qint64 time = timeOf([] {
        for (int round = 0; round < 10; ++round) {
            PlainController controller;
            controller.doStop();
            controller.doKillThreads();
        }
    });
    // Nothing has to be waited for. 30 limits would be 45 s.
    QVERIFY(time < STOP_LIMIT_WITH_ROOM_MS);
}

void TstControllerEnd::destructor_byParent()
{
    auto parent = std::make_unique<QObject>();
    crew->add();
    QVERIFY(crew->start());
    crew->controller.release()->setParent(parent.get());
    parent.reset();
    QCOMPARE(crew->events(), QStringList({START, STOP, DELETED}));
}

void TstControllerEnd::destructor_neverStarted_deletesTheWorker()
{
    RecordingWorker* const worker = crew->add();
    const QPointer<QThread> thread = worker->thread();
    worker->restart();
    crew->end();
    QVERIFY(thread.isNull());
    QCoreApplication::processEvents();
    QCOMPARE(crew->events(), QStringList{DELETED});
}

void TstControllerEnd::destructor_someStarted_deletesAll()
{
    crew->add();
    QThread* const thread = crew->add()->thread();
    crew->add();
    thread->start();
    QTRY_VERIFY(crew->has(START, 1));
    crew->end();
    QCOMPARE(crew->events(0), QStringList{DELETED});
    QCOMPARE(crew->events(1), QStringList({START, STOP, DELETED}));
    QCOMPARE(crew->events(2), QStringList{DELETED});
}

void TstControllerEnd::destructor_rightAfterStart_deletes()
{
    crew->add();
    crew->controller->doStart();
    crew->end();
    // It was started or not, depending on which thread was faster. It was stopped and deleted in any case.
    const QStringList events = crew->events();
    QCOMPARE(events.mid(events.size() - 2), QStringList({STOP, DELETED}));
    QVERIFY(events.count(START) <= 1);
    QCOMPARE(crew->records[0]->strays(), QStringList());
}

void TstControllerEnd::destructor_interruptsALongRead()
{
    // It waits until the interruption is requested, as a worker does in the rounds of a long read.
    crew->add()->onStart = [](RecordingWorker& self) {
        while (!QThread::currentThread()->isInterruptionRequested()) {
            QThread::msleep(1);
        }
        self.record->add(u"interrupted"_s);
    };
    QVERIFY(crew->start());
    crew->end();
    QCOMPARE(crew->events(), QStringList({START, u"interrupted"_s, STOP, DELETED}));
}

void TstControllerEnd::destructor_ofBlockedWorker_comesBack()
{
    const auto hooks = std::make_shared<Record>();
    std::optional<Controller> controller(std::in_place, nullptr, hooks);
    const auto record = std::make_shared<Record>();
    auto* const worker = new RecordingWorker(record);
    worker->onStart = crew->waitAtGate();
    const QPointer<QThread> thread = controller->add(worker);
    controller->doStart();
    QTRY_VERIFY(record->has(START));
    const qint64 time = timeOf([&controller] { controller.reset(); });
    QVERIFY2(time < STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(time)));
    // It is not ended by force. It ends by itself when its wait is over.
    QCOMPARE(record->events(), QStringList{START});
    QVERIFY(thread->isRunning());
    // If the worker's thread still sent something to the old controller, the new one in the same place would get it.
    controller.emplace(nullptr, hooks);
    crew->gate->open();
    QTRY_VERIFY(thread.isNull());
    QCOMPARE(record->events(), QStringList({START, STOP, DELETED}));
    QCOMPARE(record->strays(), QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(hooks->events(), QStringList());
}

void TstControllerEnd::destructor_ofSeveralBlockedWorkers_comesBack()
{
    constexpr size_t BLOCKED = 4;
    for (size_t number = 0; number < BLOCKED; ++number) {
        crew->add()->onStart = crew->waitAtGate();
    }
    crew->add();
    QVERIFY(crew->start());
    const qint64 time = timeOf([this] { crew->end(); });
    // The limit is for all of them together. Four in a row would take longer than this.
    QVERIFY2(time < STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(time)));
    for (size_t number = 0; number < BLOCKED; ++number) {
        QCOMPARE(crew->events(number), QStringList{START});
    }
    // The one that was not blocked ended in order.
    QCOMPARE(crew->events(BLOCKED), QStringList({START, STOP, DELETED}));
    crew->gate->open();
    QTRY_VERIFY(crew->allWent({START, STOP, DELETED}));
}

void TstControllerEnd::destructor_workerGoneBefore()
{
    delete crew->add();
    crew->controller->doStart();
    QVERIFY(!crew->hooks->has(STARTED));
    crew->end();
    QCOMPARE(crew->events(), QStringList{DELETED});
}

void TstControllerEnd::destructor_threadEndedBefore()
{
    RecordingWorker* const worker = crew->add();
    QThread* const thread = worker->thread();
    QVERIFY(crew->start());
    QMetaObject::invokeMethod(worker, "endThread", Qt::QueuedConnection);
    // The event loop has not run, so the thread object still exists.
    QVERIFY(thread->wait());
    QCOMPARE(crew->events(), QStringList({START, DELETED}));
    crew->end();
    QCOMPARE(crew->events(), QStringList({START, DELETED}));
}

void TstControllerEnd::destructor_threadEndedAndDeletedBefore()
{
    const QPointer<QThread> thread = crew->add()->thread();
    QVERIFY(crew->start());
    thread->quit();
    QTRY_VERIFY(thread.isNull());
    crew->controller->doStop();
    crew->end();
    QCOMPARE(crew->events(), QStringList({START, DELETED}));
}

void TstControllerEnd::destructor_inAnotherThread()
{
    std::unique_ptr<Crew> other;
    std::thread([&other] {
        other = std::make_unique<Crew>();
        other->add();
        other->start();
        other->end();
    }).join();
    QCOMPARE(other->events(), QStringList({START, STOP, DELETED}));
    QCOMPARE(other->strays(), QStringList());
}

namespace {

/// Writes in its destructor. As a child of a worker it is the last that is destroyed in the worker's thread.
class LastWord : public QObject
{
public:
    LastWord(QObject* parent, int& number) : QObject(parent), m_number(number) { }

    ~LastWord() override { m_number = 17; }

private:
    int& m_number;
};

} // namespace

// This is mainly for the thread sanitizer: only the end of the thread orders the write of the number before the read.
void TstControllerEnd::destructor_showsWhatItsThreadsWroteLast()
{
    int number = 0;
    auto* const worker = new RecordingWorker(std::make_shared<Record>());
    new LastWord(worker, number);
    QThread* const thread = crew->controller->add(worker);
    crew->controller->doStart();
    thread->quit();
    // A wait for the thread would order the write and the read already.
    QVERIFY(waitUntil([thread] { return thread->isFinished(); }));
    crew->end();
    QCOMPARE(number, 17);
}

void TstControllerEnd::doStop_runsInTheWorkersThreadAndWaits()
{
    crew->add(2);
    QVERIFY(crew->start());
    crew->controller->doStop();
    QVERIFY(crew->allWent({START, STOP}));
}

void TstControllerEnd::doStop_twice_stopsOnce()
{
    crew->add()->stopResult = false;
    QVERIFY(crew->start());
    crew->controller->doStop();
    crew->controller->doStop();
    QTRY_VERIFY(crew->hooks->has(STOPPED));
    QCoreApplication::processEvents();
    QCOMPARE(crew->hooks->events(), QStringList({STARTED, STOPPED}));
    QCOMPARE(crew->events(), QStringList({START, STOP}));
}

void TstControllerEnd::doStop_goesAheadOfQueuedCalls_data()
{
    QTest::addColumn<bool>("restarts");
    QTest::newRow("calls") << false;
    QTest::newRow("a restart, which is dropped") << true;
}

void TstControllerEnd::doStop_goesAheadOfQueuedCalls()
{
    QFETCH(bool, restarts);
    RecordingWorker* const worker = crew->add();
    worker->onStart = crew->waitAtGate();
    crew->add();
    QVERIFY(crew->start());
    if (restarts) {
        worker->restart();
    }
    worker->postMarks(3);
    crew->doStopWhileFirstWaits();
    QTRY_COMPARE(crew->count(MARK), 3);
    QCOMPARE(crew->events(), QStringList({START, STOP, MARK, MARK, MARK}));
}

void TstControllerEnd::doStop_blockedWorker_comesBackAndStopsLater()
{
    crew->add()->onStart = crew->waitAtGate();
    QVERIFY(crew->start());
    // It returns although the worker cannot stop before the gate is opened.
    crew->controller->doStop();
    QCOMPARE(crew->events(), QStringList{START});
    crew->gate->open();
    QTRY_VERIFY(crew->hooks->has(STOPPED));
    QCOMPARE(crew->events(), QStringList({START, STOP}));
}

void TstControllerEnd::doStop_neverStarted_doesNotStartLater()
{
    RecordingWorker* const worker = crew->add();
    crew->controller->doStop();
    crew->controller->doStart();
    worker->postMarks();
    QTRY_VERIFY(crew->has(MARK));
    QVERIFY(!crew->has(START));
    QVERIFY(!crew->hooks->has(STARTED));
    crew->end();
    QVERIFY(!crew->has(START));
    QVERIFY(crew->has(DELETED));
}

void TstControllerEnd::doStop_threadEndingByItself_stopsFirst()
{
    RecordingWorker* const worker = crew->add();
    QThread* const thread = worker->thread();
    worker->onStart = [gate = crew->gate](RecordingWorker& self) {
        gate->wait();
        self.endThread();
    };
    crew->add();
    QVERIFY(crew->start());
    // The thread ends without taking in what is posted while the worker waits at the gate.
    const qint64 time = timeOf([this] { crew->doStopWhileFirstWaits(); });
    QVERIFY(thread->wait());
    QCOMPARE(crew->events(), QStringList({START, STOP, DELETED}));
    // It does not wait for an answer that cannot come.
    QVERIFY2(time < STOP_LIMIT_MS, qPrintable(QString::number(time)));
    QTRY_COMPARE(crew->hooks->count(STOPPED), 2);
}

void TstControllerEnd::doStop_keepsTheThreadRunning()
{
    RecordingWorker* const worker = crew->add();
    QVERIFY(crew->start());
    crew->controller->doStop();
    QVERIFY(worker->thread()->isRunning());
    QVERIFY(!worker->thread()->isInterruptionRequested());
    worker->postMarks();
    QTRY_VERIFY(crew->has(MARK));
}

void TstControllerEnd::doStop_restartAfterwards_doesNothing()
{
    RecordingWorker* const worker = crew->add();
    QVERIFY(crew->start());
    crew->controller->doStop();
    worker->restart();
    QMetaObject::invokeMethod(worker, "restart", Qt::QueuedConnection);
    worker->postMarks();
    QTRY_VERIFY(crew->has(MARK));
    QCOMPARE(crew->events(), QStringList({START, STOP, MARK}));
}

void TstControllerEnd::doStop_repeatingTimer_restartsNoMore()
{
    crew->add()->onStart = [](RecordingWorker& self) {
        // The first start sets the timer up, like a worker whose connection failed.
        if (self.findChildren<QTimer*>().isEmpty()) {
            auto* const timer = new QTimer(&self);
            QObject::connect(timer, SIGNAL(timeout()), &self, SLOT(restart()));
            QObject::connect(timer, SIGNAL(timeout()), &self, SLOT(mark()));
            timer->start(1);
        }
    };
    QVERIFY(crew->start());
    QTRY_VERIFY(crew->count(START) >= 3);
    crew->controller->doStop();
    const int starts = crew->count(START);
    const int stops = crew->count(STOP);
    const int marks = crew->count(MARK);
    QTRY_VERIFY(crew->count(MARK) >= marks + 5);
    QCOMPARE(crew->count(START), starts);
    QCOMPARE(crew->count(STOP), stops);
    QCOMPARE(stops, starts);
}

void TstControllerEnd::doStop_duringARestart_startsNoMore()
{
    RecordingWorker* const worker = crew->add();
    worker->onStop = crew->waitAtGate();
    crew->add();
    QVERIFY(crew->start());
    worker->restart();
    QTRY_VERIFY(crew->has(STOP));
    crew->doStopWhileFirstWaits();
    worker->postMarks();
    QTRY_VERIFY(crew->has(MARK));
    QCOMPARE(crew->events(), QStringList({START, STOP, STOP, MARK}));
}

void TstControllerEnd::doStop_workersAddedLater_areStarted()
{
    crew->add();
    QVERIFY(crew->start());
    crew->controller->doStop();
    crew->add()->thread()->start();
    QTRY_VERIFY(crew->has(START, 1));
    QCOMPARE(crew->events(), QStringList({START, STOP}));
    crew->end();
    QVERIFY(crew->allWent({START, STOP, DELETED}));
}

void TstControllerEnd::doKillThreads_deletesTheWorkers()
{
    const QPointer<QThread> started = crew->add()->thread();
    QVERIFY(crew->start());
    const QPointer<QThread> neverStarted = crew->add()->thread();
    crew->controller->doKillThreads();
    QVERIFY(started.isNull());
    QVERIFY(neverStarted.isNull());
    QCOMPARE(crew->events(0), QStringList({START, STOP, DELETED}));
    QCOMPARE(crew->events(1), QStringList{DELETED});
    // The controller is still there to hear of it.
    QTRY_COMPARE(crew->hooks->events(), QStringList({STARTED, STOPPED}));
    crew->controller->doKillThreads();
}

void TstControllerEnd::doKillThreads_requestsInterruption()
{
    std::atomic<bool> requestedInStop{false};
    crew->add()->onStop = [&requestedInStop](RecordingWorker&) {
        // It is requested after the stop was posted, so it may come a moment later.
        while (!QThread::currentThread()->isInterruptionRequested()) {
            QThread::msleep(1);
        }
        requestedInStop = true;
    };
    QVERIFY(crew->start());
    crew->controller->doKillThreads();
    QVERIFY(requestedInStop);
    QVERIFY(crew->has(DELETED));
}

void TstControllerEnd::doKillThreads_thenNewWorkers()
{
    crew->add();
    crew->controller->doKillThreads();
    crew->add()->thread()->start();
    QTRY_VERIFY(crew->has(START, 1));
    crew->controller->doKillThreads();
    QCOMPARE(crew->events(0), QStringList{DELETED});
    QCOMPARE(crew->events(1), QStringList({START, STOP, DELETED}));
}

void TstControllerEnd::doStopThenKillThenDestructor_stopsOnce()
{
    crew->add(2);
    QVERIFY(crew->start());
    QTRY_COMPARE(crew->hooks->count(STARTED), 2);
    crew->controller->doStop();
    QVERIFY(crew->allHave(STOP));
    QVERIFY(!crew->has(DELETED));
    crew->controller->doKillThreads();
    QVERIFY(crew->allHave(DELETED));
    QTRY_COMPARE(crew->hooks->count(STOPPED), 2);
    crew->end();
    QVERIFY(crew->allWent({START, STOP, DELETED}));
    QCOMPARE(crew->hooks->events(), QStringList({STARTED, STARTED, STOPPED, STOPPED}));
}

void TstControllerEnd::cycles_destroyedAtEveryStage_data()
{
    QTest::addColumn<int>("stage");
    QTest::newRow("not started") << 0;
    QTest::newRow("starting") << 1;
    QTest::newRow("started") << 2;
    QTest::newRow("restarting") << 3;
    QTest::newRow("ending by itself") << 4;
    QTest::newRow("stopped") << 5;
    QTest::newRow("ended") << 6;
}

void TstControllerEnd::cycles_destroyedAtEveryStage()
{
    QFETCH(int, stage);
    for (int round = 0; round < 60; ++round) {
        Crew cycle;
        RecordingWorker* const first = cycle.add();
        cycle.add();
        if (stage > 0) {
            cycle.controller->doStart();
        }
        if (stage > 1) {
            QVERIFY(waitUntil([&cycle] { return cycle.allHave(START); }));
        }
        if (stage == 3) {
            first->restart();
        } else if (stage == 4) {
            first->thread()->quit();
        } else if (stage > 4) {
            cycle.controller->doStop();
            QVERIFY(cycle.allHave(STOP));
        }
        if (stage > 5) {
            cycle.controller->doKillThreads();
        }
        cycle.end();
        for (const auto& record : cycle.records) {
            QCOMPARE(record->events().constLast(), DELETED);
            QCOMPARE(record->count(DELETED), 1);
            QVERIFY(stage != 0 || record->events().size() == 1);
            QCOMPARE(stage > 0 ? record->strays() : QStringList(), QStringList());
        }
    }
}

void TstControllerEnd::cycles_withRestartStorms()
{
    for (int round = 0; round < 30; ++round) {
        Crew cycle;
        RecordingWorker* const worker = cycle.add();
        cycle.controller->doStart();
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([worker] {
                for (int call = 0; call < 50; ++call) {
                    worker->restart();
                }
            });
        }
        // This is in the middle of the storm. From here on the calls have no effect.
        cycle.controller->doStop();
        const int stops = cycle.count(STOP);
        const int starts = cycle.count(START);
        for (std::thread& thread : threads) {
            thread.join();
        }
        worker->postMarks();
        QVERIFY(waitUntil([&cycle] { return cycle.has(MARK); }));
        QCOMPARE(cycle.count(STOP), stops);
        QCOMPARE(cycle.count(START), starts);
        cycle.end();
        QCOMPARE(cycle.events().constLast(), DELETED);
        QCOMPARE(cycle.strays(), QStringList());
    }
}

QTEST_GUILESS_MAIN(TstControllerEnd)
#include "tst_controller_end.moc"
