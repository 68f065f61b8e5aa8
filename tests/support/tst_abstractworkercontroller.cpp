#include "abstractworkercontroller.h"

#include "crew.h"

#include <QPointer>
#include <QTest>
#include <QTimer>

#include <memory>
#include <type_traits>

using wexcor::AbstractWorkerController;

static_assert(std::is_abstract_v<AbstractWorkerController>);
static_assert(!std::is_default_constructible_v<AbstractWorkerController>);

/// How workers are taken over and started, and what the controller hears of it.
class TstAbstractWorkerController : public CrewTest
{
    Q_OBJECT
private Q_SLOTS:
    void construct_hasItsParent();
    void addWorker_null_isRefused();
    void addWorker_withParent_isRefused();
    void addWorker_ofAnotherThread_isRefused();
    void addWorker_movesItAndDoesNotStart();
    void addWorker_twice_givesTheSameThread();
    void addWorker_toTwoControllers_isRefusedByTheSecond();
    void addWorker_each_getsItsOwnThread();
    void addWorker_withChildren_movesThem();
    void thread_started_startsOnceInIt_data();
    void thread_started_startsOnceInIt();
    void thread_startedAtOnceAfterRestart_startsBeforeTheRestart();
    void thread_endingByItself_deletesTheWorkerInIt();
    void workerDeletedElsewhere_isLeftAlone();
    void hooks_defaults_doNothing();
    void hooks_areCalledFromTheEventLoop();
    void hooks_started_onceInspiteOfRestarts();
    void hooks_afterTheDestructorHasBegun_areNotCalled();
    void events_thatAreNoHooks_arePassedOn();
};

void TstAbstractWorkerController::construct_hasItsParent()
{
    QObject parent;
    auto* const controller = new PlainController(&parent);
    QCOMPARE(controller->parent(), &parent);
    QCOMPARE(controller->thread(), QThread::currentThread());
}

void TstAbstractWorkerController::addWorker_null_isRefused()
{
    QVERIFY(crew->controller->addWorkerToThread(nullptr) == nullptr);
    QVERIFY(crew->controller->addWorkerToThread(nullptr) == nullptr);
}

void TstAbstractWorkerController::addWorker_withParent_isRefused()
{
    const auto record = std::make_shared<Record>();
    QObject parent;
    auto* const worker = new RecordingWorker(record);
    worker->setParent(&parent);
    QVERIFY(crew->controller->addWorkerToThread(worker) == nullptr);
    crew->end();
    // It stays the caller's.
    QCOMPARE(record->events(), QStringList());
    QCOMPARE(worker->thread(), QThread::currentThread());
    QCOMPARE(worker->parent(), &parent);
}

void TstAbstractWorkerController::addWorker_ofAnotherThread_isRefused()
{
    const auto record = std::make_shared<Record>();
    QThread elsewhere;
    const auto worker = std::make_unique<RecordingWorker>(record);
    worker->moveToThread(&elsewhere);
    QVERIFY(crew->controller->addWorkerToThread(worker.get()) == nullptr);
    crew->end();
    QCOMPARE(worker->thread(), &elsewhere);
    QCOMPARE(record->events(), QStringList());
}

void TstAbstractWorkerController::addWorker_movesItAndDoesNotStart()
{
    const RecordingWorker* const worker = crew->add();
    const QThread* const thread = worker->thread();
    QVERIFY(thread != QThread::currentThread());
    QVERIFY(!thread->isRunning());
    QVERIFY(!thread->isFinished());
    QCOMPARE(thread->objectName(), u"RecordingWorker"_s);
    QCOMPARE(thread->thread(), QThread::currentThread());
    QVERIFY(worker->parent() == nullptr);
    QCOMPARE(crew->events(), QStringList());
}

void TstAbstractWorkerController::addWorker_twice_givesTheSameThread()
{
    RecordingWorker* const worker = crew->add();
    QThread* const thread = worker->thread();
    QCOMPARE(crew->controller->addWorkerToThread(worker), thread);
    QVERIFY(crew->start());
    QCOMPARE(crew->controller->addWorkerToThread(worker), thread);
    crew->controller->doKillThreads();
    QCOMPARE(crew->events(), QStringList({START, STOP, DELETED}));
}

void TstAbstractWorkerController::addWorker_toTwoControllers_isRefusedByTheSecond()
{
    RecordingWorker* const worker = crew->add();
    {
        PlainController second;
        QVERIFY(second.addWorkerToThread(worker) == nullptr);
    }
    QCOMPARE(crew->events(), QStringList());
    crew->end();
    QCOMPARE(crew->events(), QStringList{DELETED});
}

void TstAbstractWorkerController::addWorker_each_getsItsOwnThread()
{
    const QThread* const first = crew->add()->thread();
    const QThread* const second = crew->add()->thread();
    QVERIFY(first != second);
    QVERIFY(crew->start());
}

void TstAbstractWorkerController::addWorker_withChildren_movesThem()
{
    auto* const worker = new RecordingWorker(std::make_shared<Record>());
    const auto* const timer = new QTimer(worker);
    QCOMPARE(timer->thread(), crew->controller->add(worker));
}

void TstAbstractWorkerController::thread_started_startsOnceInIt_data()
{
    QTest::addColumn<bool>("startResult");
    QTest::newRow("started") << true;
    QTest::newRow("not started") << false;
}

void TstAbstractWorkerController::thread_started_startsOnceInIt()
{
    QFETCH(bool, startResult);
    RecordingWorker* const worker = crew->add();
    worker->startResult = startResult;
    worker->thread()->start(QThread::InheritPriority);
    QTRY_VERIFY(crew->hooks->has(STARTED));
    worker->postMarks();
    QTRY_VERIFY(crew->has(MARK));
    QCOMPARE(crew->events(), QStringList({START, MARK}));
    crew->controller->doKillThreads();
    QCOMPARE(crew->events(), QStringList({START, MARK, STOP, DELETED}));
}

void TstAbstractWorkerController::thread_startedAtOnceAfterRestart_startsBeforeTheRestart()
{
    crew->add()->restart();
    QVERIFY(crew->start());
    QTRY_COMPARE(crew->count(START), 2);
    QCOMPARE(crew->events(), QStringList({START, STOP, START}));
}

void TstAbstractWorkerController::thread_endingByItself_deletesTheWorkerInIt()
{
    RecordingWorker* const worker = crew->add();
    const QPointer<QThread> thread = worker->thread();
    worker->onStart = [](RecordingWorker& self) { self.endThread(); };
    QVERIFY(crew->start());
    QTRY_VERIFY(thread.isNull());
    QCOMPARE(crew->events(), QStringList({START, DELETED}));
    QTRY_COMPARE(crew->hooks->events(), QStringList{STARTED});
    crew->controller->doStop();
    crew->controller->doKillThreads();
}

void TstAbstractWorkerController::workerDeletedElsewhere_isLeftAlone()
{
    RecordingWorker* const worker = crew->add();
    const QPointer<QThread> thread = worker->thread();
    QVERIFY(crew->start());
    QTRY_VERIFY(crew->hooks->has(STARTED));
    worker->deleteLater();
    QTRY_VERIFY(crew->has(DELETED));
    crew->controller->doStop();
    QVERIFY(thread->isRunning());
    crew->end();
    QCOMPARE(crew->events(), QStringList({START, DELETED}));
    QCOMPARE(crew->hooks->events(), QStringList{STARTED});
}

void TstAbstractWorkerController::hooks_defaults_doNothing()
{
    PlainController controller;
    controller.processStartedWorker();
    controller.processStoppedWorker();
    const auto record = std::make_shared<Record>();
    controller.addWorkerToThread(new RecordingWorker(record))->start();
    QTRY_VERIFY(record->has(START));
    controller.doStop();
    QCoreApplication::processEvents();
    QCOMPARE(record->events(), QStringList({START, STOP}));
}

void TstAbstractWorkerController::hooks_areCalledFromTheEventLoop()
{
    crew->add()->onStart = crew->waitAtGate();
    crew->add();
    QVERIFY(crew->start());
    // It is the second worker's. The first one has not returned from its start.
    QTRY_COMPARE(crew->hooks->events(), QStringList{STARTED});
    crew->gate->open();
    QTRY_COMPARE(crew->hooks->events(), QStringList({STARTED, STARTED}));
    crew->controller->doStop();
    QVERIFY(crew->allHave(STOP));
    QCOMPARE(crew->hooks->events(), QStringList({STARTED, STARTED}));
    QTRY_COMPARE(crew->hooks->events(), QStringList({STARTED, STARTED, STOPPED, STOPPED}));
}

void TstAbstractWorkerController::hooks_started_onceInspiteOfRestarts()
{
    RecordingWorker* const worker = crew->add();
    QVERIFY(crew->start());
    QTRY_VERIFY(crew->hooks->has(STARTED));
    worker->restart();
    QTRY_COMPARE(crew->count(START), 2);
    crew->controller->doStop();
    QTRY_VERIFY(crew->hooks->has(STOPPED));
    QCOMPARE(crew->hooks->events(), QStringList({STARTED, STOPPED}));
}

void TstAbstractWorkerController::hooks_afterTheDestructorHasBegun_areNotCalled()
{
    crew->add(2);
    // Without a turn of the event loop, so that at least one hook may still be queued.
    QVERIFY(crew->start());
    crew->end();
    QVERIFY(crew->allHave(STOP));
    QCoreApplication::processEvents();
    QCOMPARE(crew->hooks->events(), QStringList());
}

void TstAbstractWorkerController::events_thatAreNoHooks_arePassedOn()
{
    const QPointer<Controller> controller = new Controller;
    QTimer timer;
    timer.setSingleShot(true);
    // Both come as events of their own.
    QVERIFY(QObject::connect(&timer, SIGNAL(timeout()), controller, SLOT(deleteLater()), Qt::QueuedConnection));
    timer.start(0);
    QTRY_VERIFY(controller.isNull());
}

QTEST_GUILESS_MAIN(TstAbstractWorkerController)
#include "tst_abstractworkercontroller.moc"
