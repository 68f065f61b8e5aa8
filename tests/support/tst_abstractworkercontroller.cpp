#include "abstractworkercontroller.h"

#include "literals.h"
#include "logcapture.h"
#include "recordingworker.h"
#include "virtualtable.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QMetaMethod>
#include <QPointer>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using wexcor::AbstractWorkerController;

static_assert(std::is_abstract_v<AbstractWorkerController>);
static_assert(std::is_base_of_v<QObject, AbstractWorkerController>);
static_assert(!std::is_default_constructible_v<AbstractWorkerController>);

namespace {

const QString STARTED = u"started"_s;
const QString STOPPED = u"stopped"_s;

/// As a service has it: doStart() starts the threads of the workers that were added.
class Controller : public AbstractWorkerController
{
    Q_OBJECT
public:
    explicit Controller(QObject* parent = nullptr, std::shared_ptr<Record> givenHooks = std::make_shared<Record>())
        : AbstractWorkerController(parent), hooks(std::move(givenHooks))
    {
        hooks->setThread(QThread::currentThread());
    }

    void doStart() override
    {
        for (const QPointer<QThread>& thread : m_threads) {
            thread->start(QThread::InheritPriority);
        }
    }

    void processStartedWorker() override { hooks->add(STARTED); }

    void processStoppedWorker() override { hooks->add(STOPPED); }

    QThread* add(RecordingWorker* worker)
    {
        QThread* const thread = addWorkerToThread(worker);
        worker->record->setThread(thread);
        m_threads.emplace_back(thread);
        return thread;
    }

    const std::shared_ptr<Record> hooks;

private:
    std::vector<QPointer<QThread>> m_threads;
};

/// Leaves the hooks to the base class.
class PlainController : public AbstractWorkerController
{
public:
    using AbstractWorkerController::AbstractWorkerController;

    void doStart() override { }
};

using Records = std::vector<std::shared_ptr<Record>>;

RecordingWorker* addWorker(Controller& controller, Records& records)
{
    records.push_back(std::make_shared<Record>());
    auto* const worker = new RecordingWorker(records.back());
    controller.add(worker);
    return worker;
}

bool allHave(const Records& records, const QString& what)
{
    for (const auto& record : records) {
        if (!record->has(what)) {
            return false;
        }
    }
    return true;
}

/// For what comes in other threads; more often than QTRY_VERIFY looks, for tests that go through it many times.
bool waitUntil(const std::function<bool()>& condition)
{
    const QDeadlineTimer deadline(20000);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QThread::usleep(200);
    }
    return true;
}

/// Opens the gate at which the first worker waits, but not before the controller has posted it its stop: the workers'
/// stops are posted in the order in which they were added, and the second worker's has been carried out by then.
std::thread openWhenStopIsPosted(Gate& gate, const Records& records)
{
    return std::thread([&gate, second = records.at(1)] {
        waitUntil([&second] { return second->has(STOP); });
        gate.open();
    });
}

/// How long the controller waits for all its workers together, and three times as much for a machine that is busy.
constexpr qint64 STOP_LIMIT_MS = 1500;
constexpr qint64 STOP_LIMIT_WITH_ROOM_MS = 3 * STOP_LIMIT_MS;

} // namespace

class TstAbstractWorkerController : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void construct_hasItsParent();
    void metaObject_hasNoMethodsOfItsOwn();
    void virtuals_standInTheirOrder();
    void addWorker_null_isRefused();
    void addWorker_withParent_isRefused();
    void addWorker_ofAnotherThread_isRefused();
    void addWorker_movesItAndDoesNotStart();
    void addWorker_twice_givesTheSameThread();
    void addWorker_toTwoControllers_isRefusedByTheSecond();
    void addWorker_each_getsItsOwnThread();
    void addWorker_withChildren_movesThem();
    void thread_started_startsTheWorkerInIt();
    void thread_started_startsOnceWhateverStartReturns();
    void thread_startedAtOnceAfterRestart_startsBeforeTheRestart();
    void hooks_defaults_doNothing();
    void hooks_areCalledFromTheEventLoop();
    void hooks_started_onceInspiteOfRestarts();
    void hooks_afterTheDestructorHasBegun_areNotCalled();
    void events_thatAreNoHooks_arePassedOn();
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
    void doStop_goesAheadOfQueuedCalls();
    void doStop_blockedWorker_comesBackAndStopsLater();
    void doStop_neverStarted_doesNotStartLater();
    void doStop_threadEndingByItself_stopsFirst();
    void doStop_keepsTheThreadRunning();
    void doStop_restartAfterwards_doesNothing();
    void doStop_queuedRestart_isDropped();
    void doStop_repeatingTimer_restartsNoMore();
    void doStop_duringARestart_startsNoMore();
    void doStop_workersAddedLater_areStarted();
    void doKillThreads_deletesTheWorkers();
    void doKillThreads_requestsInterruption();
    void doKillThreads_thenNewWorkers();
    void doStopThenKillThenDestructor_stopsOnce();
    void threadEndingByItself_deletesTheWorkerInIt();
    void workerDeletedElsewhere_isLeftAlone();
    void end_worksTheQueuesOff_data();
    void end_worksTheQueuesOff();
    void end_tellsTheWorkersFirst();
    void end_startsAWorkerWhoseThreadHasJustBegun();
    void end_ofALongQueue_dropsTheRestAndSaysSo();
    void end_ofABlockedWorker_saysWhatIsKnown();
    void end_ofABlockedWorker_saysTheRestLater();
    void end_withNothingLeft_saysNothing();
    void end_ofAHandlerWithALoopOfItsOwn_isWaitedFor();
    void end_thatDestroysTheController_data();
    void end_thatDestroysTheController();
    void end_insideAnEnd_isBounded();
    void doStop_ofALongQueueOfItsOwn_isBounded();
    void applicationsLoopEnds_thenALoopInsideTheEnd_takesNothingIn();
    void doStop_carriesOutItsOwnCalls();
    void doStop_inTheMiddleOfALongQueue_goesAheadOfTheRest();
    void destructor_dropsItsOwnCallsAndSaysSo();
    void destructor_afterWorkingOff_waitsOnce();
    void workOff_carriesOutTheRelaysCalls();
    void applicationsLoopEnds_everythingIsCarriedOut();
    void applicationsLoopEnds_andRunsAgain_goesOn();
    void applicationsLoopEnds_blockedWorker_isNotWaitedForTwice();
    void cycles_destroyedAtEveryStage_data();
    void cycles_destroyedAtEveryStage();
    void cycles_withRestartStorms();
};

void TstAbstractWorkerController::construct_hasItsParent()
{
    QObject parent;
    auto* const controller = new PlainController(&parent);
    QCOMPARE(controller->parent(), &parent);
    QCOMPARE(controller->thread(), QThread::currentThread());
}

void TstAbstractWorkerController::metaObject_hasNoMethodsOfItsOwn()
{
    const QMetaObject& meta = AbstractWorkerController::staticMetaObject;
    QCOMPARE(meta.className(), "wexcor::AbstractWorkerController");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount(), meta.methodOffset());
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
}

void TstAbstractWorkerController::virtuals_standInTheirOrder()
{
    QVERIFY(virtualtable::followQObject(
        &AbstractWorkerController::doStart, &AbstractWorkerController::doStop, &AbstractWorkerController::doKillThreads,
        &AbstractWorkerController::addWorkerToThread, &AbstractWorkerController::processStartedWorker,
        &AbstractWorkerController::processStoppedWorker));
}

void TstAbstractWorkerController::addWorker_null_isRefused()
{
    PlainController controller(nullptr);
    QVERIFY(controller.addWorkerToThread(nullptr) == nullptr);
    QVERIFY(controller.addWorkerToThread(nullptr) == nullptr);
}

void TstAbstractWorkerController::addWorker_withParent_isRefused()
{
    const auto record = std::make_shared<Record>();
    QObject parent;
    auto* const worker = new RecordingWorker(record);
    worker->setParent(&parent);
    {
        PlainController controller(nullptr);
        QVERIFY(controller.addWorkerToThread(worker) == nullptr);
    }
    // It stays the caller's.
    QCOMPARE(record->events(), QStringList());
    QCOMPARE(worker->thread(), QThread::currentThread());
    QCOMPARE(worker->parent(), &parent);
}

void TstAbstractWorkerController::addWorker_ofAnotherThread_isRefused()
{
    const auto record = std::make_shared<Record>();
    QThread elsewhere;
    auto* const worker = new RecordingWorker(record);
    worker->moveToThread(&elsewhere);
    {
        PlainController controller(nullptr);
        QVERIFY(controller.addWorkerToThread(worker) == nullptr);
    }
    QCOMPARE(worker->thread(), &elsewhere);
    QCOMPARE(record->events(), QStringList());
    delete worker;
}

void TstAbstractWorkerController::addWorker_movesItAndDoesNotStart()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    QThread* const thread = worker->thread();
    QVERIFY(thread != QThread::currentThread());
    QVERIFY(!thread->isRunning());
    QVERIFY(!thread->isFinished());
    QCOMPARE(thread->objectName(), u"RecordingWorker"_s);
    QCOMPARE(thread->thread(), QThread::currentThread());
    QVERIFY(worker->parent() == nullptr);
    QCOMPARE(records[0]->events(), QStringList());
}

void TstAbstractWorkerController::addWorker_twice_givesTheSameThread()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    QThread* const thread = worker->thread();
    QCOMPARE(controller.addWorkerToThread(worker), thread);
    controller.doStart();
    QTRY_VERIFY(records[0]->has(START));
    QCOMPARE(controller.addWorkerToThread(worker), thread);
    controller.doKillThreads();
    QCOMPARE(records[0]->events(), QStringList({START, STOP, DELETED}));
}

void TstAbstractWorkerController::addWorker_toTwoControllers_isRefusedByTheSecond()
{
    Records records;
    {
        Controller first;
        RecordingWorker* const worker = addWorker(first, records);
        PlainController second(nullptr);
        QVERIFY(second.addWorkerToThread(worker) == nullptr);
    }
    QCOMPARE(records[0]->events(), QStringList{DELETED});
}

void TstAbstractWorkerController::addWorker_each_getsItsOwnThread()
{
    Controller controller;
    Records records;
    QThread* const first = addWorker(controller, records)->thread();
    QThread* const second = addWorker(controller, records)->thread();
    QVERIFY(first != second);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    QCOMPARE(records[0]->strays(), QStringList());
    QCOMPARE(records[1]->strays(), QStringList());
}

void TstAbstractWorkerController::addWorker_withChildren_movesThem()
{
    Controller controller;
    Records records{std::make_shared<Record>()};
    auto* const worker = new RecordingWorker(records[0]);
    auto* const timer = new QTimer(worker);
    QThread* const thread = controller.add(worker);
    QCOMPARE(timer->thread(), thread);
}

void TstAbstractWorkerController::thread_started_startsTheWorkerInIt()
{
    Controller controller;
    Records records;
    QThread* const thread = addWorker(controller, records)->thread();
    thread->start(QThread::InheritPriority);
    QTRY_VERIFY(records[0]->has(START));
    QCOMPARE(records[0]->events(), QStringList{START});
    QCOMPARE(records[0]->strays(), QStringList());
}

void TstAbstractWorkerController::thread_started_startsOnceWhateverStartReturns()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    worker->startResult = false;
    controller.doStart();
    QTRY_VERIFY(controller.hooks->has(STARTED));
    QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
    QTRY_VERIFY(records[0]->has(MARK));
    QCOMPARE(records[0]->events(), QStringList({START, MARK}));
    controller.doKillThreads();
    QCOMPARE(records[0]->events(), QStringList({START, MARK, STOP, DELETED}));
}

void TstAbstractWorkerController::thread_startedAtOnceAfterRestart_startsBeforeTheRestart()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    worker->restart();
    controller.doStart();
    QTRY_COMPARE(records[0]->count(START), 2);
    QCOMPARE(records[0]->events(), QStringList({START, STOP, START}));
}

void TstAbstractWorkerController::hooks_defaults_doNothing()
{
    PlainController controller(nullptr);
    controller.processStartedWorker();
    controller.processStoppedWorker();
    const auto record = std::make_shared<Record>();
    QThread* const thread = controller.addWorkerToThread(new RecordingWorker(record));
    thread->start();
    QTRY_VERIFY(record->has(START));
    controller.doStop();
    QCoreApplication::processEvents();
    QCOMPARE(record->events(), QStringList({START, STOP}));
}

void TstAbstractWorkerController::hooks_areCalledFromTheEventLoop()
{
    Controller controller;
    Records records;
    Gate gate;
    RecordingWorker* const worker = addWorker(controller, records);
    addWorker(controller, records);
    worker->onStart = [&gate](RecordingWorker&) { gate.wait(); };
    controller.doStart();
    // The second worker's; the first has not returned from its start.
    QTRY_VERIFY(controller.hooks->has(STARTED));
    QTRY_VERIFY(allHave(records, START));
    QCOMPARE(controller.hooks->events(), QStringList{STARTED});
    gate.open();
    QTRY_COMPARE(controller.hooks->events(), QStringList({STARTED, STARTED}));
    controller.doStop();
    QVERIFY(allHave(records, STOP));
    QCOMPARE(controller.hooks->events(), QStringList({STARTED, STARTED}));
    QTRY_COMPARE(controller.hooks->events(), QStringList({STARTED, STARTED, STOPPED, STOPPED}));
    QCOMPARE(controller.hooks->strays(), QStringList());
}

void TstAbstractWorkerController::hooks_started_onceInspiteOfRestarts()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(controller.hooks->has(STARTED));
    worker->restart();
    QTRY_COMPARE(records[0]->count(START), 2);
    controller.doStop();
    QTRY_VERIFY(controller.hooks->has(STOPPED));
    QCOMPARE(controller.hooks->events(), QStringList({STARTED, STOPPED}));
}

void TstAbstractWorkerController::hooks_afterTheDestructorHasBegun_areNotCalled()
{
    const auto hooks = std::make_shared<Record>();
    Records records;
    {
        Controller controller(nullptr, hooks);
        addWorker(controller, records);
        addWorker(controller, records);
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        // Without a turn of the event loop in between, so that at least one hook may still be queued.
        hooks->clear();
    }
    QVERIFY(allHave(records, STOP));
    QCoreApplication::processEvents();
    QCOMPARE(hooks->events(), QStringList());
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

void TstAbstractWorkerController::destructor_stopsAndDeletesInTheWorkersThread()
{
    Records records;
    QPointer<QThread> thread;
    QPointer<RecordingWorker> worker;
    {
        Controller controller;
        worker = addWorker(controller, records);
        thread = worker->thread();
        addWorker(controller, records);
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
    }
    QVERIFY(worker.isNull());
    QVERIFY(thread.isNull());
    for (const auto& record : records) {
        QCOMPARE(record->events(), QStringList({START, STOP, DELETED}));
        QCOMPARE(record->strays(), QStringList());
    }
}

void TstAbstractWorkerController::destructor_withoutWorkers()
{
    QElapsedTimer time;
    time.start();
    for (int round = 0; round < 10; ++round) {
        PlainController controller(nullptr);
        controller.doStop();
        controller.doKillThreads();
    }
    // With nobody to wait for; 30 limits would be 45 s.
    QVERIFY(time.elapsed() < STOP_LIMIT_WITH_ROOM_MS);
}

void TstAbstractWorkerController::destructor_byParent()
{
    Records records;
    {
        QObject parent;
        auto* const controller = new Controller(&parent);
        addWorker(*controller, records);
        controller->doStart();
        QTRY_VERIFY(allHave(records, START));
    }
    QCOMPARE(records[0]->events(), QStringList({START, STOP, DELETED}));
}

void TstAbstractWorkerController::destructor_neverStarted_deletesTheWorker()
{
    Records records;
    QPointer<QThread> thread;
    {
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        thread = worker->thread();
        worker->restart();
    }
    QVERIFY(thread.isNull());
    QCoreApplication::processEvents();
    QCOMPARE(records[0]->events(), QStringList{DELETED});
}

void TstAbstractWorkerController::destructor_someStarted_deletesAll()
{
    Records records;
    {
        Controller controller;
        addWorker(controller, records);
        QThread* const thread = addWorker(controller, records)->thread();
        addWorker(controller, records);
        thread->start();
        QTRY_VERIFY(records[1]->has(START));
    }
    QCOMPARE(records[0]->events(), QStringList{DELETED});
    QCOMPARE(records[1]->events(), QStringList({START, STOP, DELETED}));
    QCOMPARE(records[2]->events(), QStringList{DELETED});
}

void TstAbstractWorkerController::destructor_rightAfterStart_deletes()
{
    Records records;
    {
        Controller controller;
        addWorker(controller, records);
        controller.doStart();
    }
    // Started or not, depending on who was faster; stopped and deleted in any case.
    const QStringList events = records[0]->events();
    QCOMPARE(events.mid(events.size() - 2), QStringList({STOP, DELETED}));
    QVERIFY(events.count(START) <= 1);
    QCOMPARE(records[0]->strays(), QStringList());
}

void TstAbstractWorkerController::destructor_interruptsALongRead()
{
    Records records;
    {
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        // For as long as nobody asks: what a worker does in the rounds of a long read.
        worker->onStart = [](RecordingWorker& self) {
            while (!QThread::currentThread()->isInterruptionRequested()) {
                QThread::msleep(1);
            }
            self.record->add(u"interrupted"_s);
        };
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
    }
    QCOMPARE(records[0]->events(), QStringList({START, u"interrupted"_s, STOP, DELETED}));
}

void TstAbstractWorkerController::destructor_ofBlockedWorker_comesBack()
{
    Records records;
    Gate gate;
    const auto hooks = std::make_shared<Record>();
    std::optional<Controller> controller(std::in_place, nullptr, hooks);
    RecordingWorker* const worker = addWorker(*controller, records);
    const QPointer<QThread> thread = worker->thread();
    worker->onStart = [&gate](RecordingWorker&) { gate.wait(); };
    controller->doStart();
    QTRY_VERIFY(allHave(records, START));
    QElapsedTimer time;
    time.start();
    controller.reset();
    QVERIFY2(time.elapsed() < STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(time.elapsed())));
    // It is not ended by force, but goes by itself when its wait is over.
    QCOMPARE(records[0]->events(), QStringList{START});
    QVERIFY(thread->isRunning());
    // Another controller in the same place would hear what the worker's thread says to the one that has gone.
    controller.emplace(nullptr, hooks);
    gate.open();
    QTRY_VERIFY(thread.isNull());
    QCOMPARE(records[0]->events(), QStringList({START, STOP, DELETED}));
    QCOMPARE(records[0]->strays(), QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(hooks->events(), QStringList());
}

void TstAbstractWorkerController::destructor_ofSeveralBlockedWorkers_comesBack()
{
    Records records;
    Gate gate;
    std::vector<QPointer<QThread>> threads;
    QElapsedTimer time;
    {
        Controller controller;
        for (int number = 0; number < 4; ++number) {
            RecordingWorker* const worker = addWorker(controller, records);
            threads.emplace_back(worker->thread());
            worker->onStart = [&gate](RecordingWorker&) { gate.wait(); };
        }
        addWorker(controller, records);
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        time.start();
    }
    // The limit is for all of them together: four in a row would take longer than this.
    QVERIFY2(time.elapsed() < STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(time.elapsed())));
    for (int number = 0; number < 4; ++number) {
        QCOMPARE(records.at(static_cast<size_t>(number))->events(), QStringList{START});
    }
    // The one that was free went in order.
    QCOMPARE(records.back()->events(), QStringList({START, STOP, DELETED}));
    gate.open();
    for (const QPointer<QThread>& thread : threads) {
        QTRY_VERIFY(thread.isNull());
    }
    for (const auto& record : records) {
        QCOMPARE(record->events(), QStringList({START, STOP, DELETED}));
        QCOMPARE(record->strays(), QStringList());
    }
}

void TstAbstractWorkerController::destructor_workerGoneBefore()
{
    Records records;
    {
        Controller controller;
        delete addWorker(controller, records);
        controller.doStart();
        QVERIFY(!controller.hooks->has(STARTED));
    }
    QCOMPARE(records[0]->events(), QStringList{DELETED});
}

void TstAbstractWorkerController::destructor_threadEndedBefore()
{
    Records records;
    {
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        QThread* const thread = worker->thread();
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        QMetaObject::invokeMethod(worker, "endThread", Qt::QueuedConnection);
        // No turn of the event loop: the thread object is still there.
        QVERIFY(thread->wait());
        QCOMPARE(records[0]->events(), QStringList({START, DELETED}));
    }
    QCOMPARE(records[0]->events(), QStringList({START, DELETED}));
    QCOMPARE(records[0]->strays(), QStringList());
}

void TstAbstractWorkerController::destructor_threadEndedAndDeletedBefore()
{
    Records records;
    {
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        const QPointer<QThread> thread = worker->thread();
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        thread->quit();
        QTRY_VERIFY(thread.isNull());
        controller.doStop();
    }
    QCOMPARE(records[0]->events(), QStringList({START, DELETED}));
    QCOMPARE(records[0]->strays(), QStringList());
}

void TstAbstractWorkerController::destructor_inAnotherThread()
{
    Records records;
    std::thread service([&records] {
        Controller controller;
        addWorker(controller, records);
        controller.doStart();
        while (!allHave(records, START)) {
            QThread::msleep(1);
        }
    });
    service.join();
    QCOMPARE(records[0]->events(), QStringList({START, STOP, DELETED}));
    QCOMPARE(records[0]->strays(), QStringList());
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

// For the thread sanitizer above all: nothing but the end of the thread orders the number.
void TstAbstractWorkerController::destructor_showsWhatItsThreadsWroteLast()
{
    int number = 0;
    {
        Controller controller;
        auto* const worker = new RecordingWorker(std::make_shared<Record>());
        new LastWord(worker, number);
        QThread* const thread = controller.add(worker);
        controller.doStart();
        thread->quit();
        // A wait for the thread would order the two before the controller does.
        QVERIFY(waitUntil([thread] { return thread->isFinished(); }));
    }
    QCOMPARE(number, 17);
}

void TstAbstractWorkerController::doStop_runsInTheWorkersThreadAndWaits()
{
    Controller controller;
    Records records;
    addWorker(controller, records);
    addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    controller.doStop();
    for (const auto& record : records) {
        QCOMPARE(record->events(), QStringList({START, STOP}));
        QCOMPARE(record->strays(), QStringList());
    }
}

void TstAbstractWorkerController::doStop_twice_stopsOnce()
{
    Controller controller;
    Records records;
    addWorker(controller, records)->stopResult = false;
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    controller.doStop();
    controller.doStop();
    QTRY_VERIFY(controller.hooks->has(STOPPED));
    QCoreApplication::processEvents();
    QCOMPARE(controller.hooks->events(), QStringList({STARTED, STOPPED}));
    QCOMPARE(records[0]->events(), QStringList({START, STOP}));
}

void TstAbstractWorkerController::doStop_goesAheadOfQueuedCalls()
{
    Controller controller;
    Records records;
    Gate gate;
    RecordingWorker* const worker = addWorker(controller, records);
    worker->onStart = [&gate](RecordingWorker&) { gate.wait(); };
    addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    for (int call = 0; call < 3; ++call) {
        QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
    }
    std::thread opener = openWhenStopIsPosted(gate, records);
    controller.doStop();
    opener.join();
    QTRY_COMPARE(records[0]->count(MARK), 3);
    QCOMPARE(records[0]->events(), QStringList({START, STOP, MARK, MARK, MARK}));
}

void TstAbstractWorkerController::doStop_blockedWorker_comesBackAndStopsLater()
{
    Controller controller;
    Records records;
    Gate gate;
    RecordingWorker* const worker = addWorker(controller, records);
    worker->onStart = [&gate](RecordingWorker&) { gate.wait(); };
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    // Comes back although the worker cannot stop until we let it.
    controller.doStop();
    QCOMPARE(records[0]->events(), QStringList{START});
    gate.open();
    QTRY_VERIFY(controller.hooks->has(STOPPED));
    QCOMPARE(records[0]->events(), QStringList({START, STOP}));
}

void TstAbstractWorkerController::doStop_neverStarted_doesNotStartLater()
{
    Records records;
    {
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        controller.doStop();
        controller.doStart();
        QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
        QTRY_VERIFY(records[0]->has(MARK));
        QVERIFY(!records[0]->has(START));
        QVERIFY(!controller.hooks->has(STARTED));
    }
    QVERIFY(!records[0]->has(START));
    QVERIFY(records[0]->has(DELETED));
}

void TstAbstractWorkerController::doStop_threadEndingByItself_stopsFirst()
{
    Controller controller;
    Records records;
    Gate gate;
    RecordingWorker* const worker = addWorker(controller, records);
    QThread* const thread = worker->thread();
    worker->onStart = [&gate](RecordingWorker& self) {
        gate.wait();
        self.endThread();
    };
    addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    // The thread ends without taking in what is posted while the worker waits at the gate.
    std::thread opener = openWhenStopIsPosted(gate, records);
    QElapsedTimer time;
    time.start();
    controller.doStop();
    const qint64 elapsed = time.elapsed();
    opener.join();
    QVERIFY(thread->wait());
    QCOMPARE(records[0]->events(), QStringList({START, STOP, DELETED}));
    QCOMPARE(records[0]->strays(), QStringList());
    // Not kept waiting for an answer that cannot come.
    QVERIFY2(elapsed < STOP_LIMIT_MS, qPrintable(QString::number(elapsed)));
    QTRY_COMPARE(controller.hooks->count(STOPPED), 2);
}

void TstAbstractWorkerController::doStop_keepsTheThreadRunning()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    controller.doStop();
    QVERIFY(worker->thread()->isRunning());
    QVERIFY(!worker->thread()->isInterruptionRequested());
    QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
    QTRY_VERIFY(records[0]->has(MARK));
}

void TstAbstractWorkerController::doStop_restartAfterwards_doesNothing()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    controller.doStop();
    worker->restart();
    QMetaObject::invokeMethod(worker, "restart", Qt::QueuedConnection);
    QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
    QTRY_VERIFY(records[0]->has(MARK));
    QCOMPARE(records[0]->events(), QStringList({START, STOP, MARK}));
}

void TstAbstractWorkerController::doStop_queuedRestart_isDropped()
{
    Controller controller;
    Records records;
    Gate gate;
    RecordingWorker* const worker = addWorker(controller, records);
    worker->onStart = [&gate](RecordingWorker&) { gate.wait(); };
    addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    worker->restart();
    QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
    std::thread opener = openWhenStopIsPosted(gate, records);
    controller.doStop();
    opener.join();
    QTRY_VERIFY(records[0]->has(MARK));
    QCOMPARE(records[0]->events(), QStringList({START, STOP, MARK}));
}

void TstAbstractWorkerController::doStop_repeatingTimer_restartsNoMore()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    worker->onStart = [](RecordingWorker& self) {
        // The first start sets it up, as a worker does whose connection failed.
        if (self.findChildren<QTimer*>().isEmpty()) {
            auto* const timer = new QTimer(&self);
            QObject::connect(timer, SIGNAL(timeout()), &self, SLOT(restart()));
            QObject::connect(timer, SIGNAL(timeout()), &self, SLOT(mark()));
            timer->start(1);
        }
    };
    controller.doStart();
    QTRY_VERIFY(records[0]->count(START) >= 3);
    controller.doStop();
    const int starts = records[0]->count(START);
    const int stops = records[0]->count(STOP);
    const int marks = records[0]->count(MARK);
    QTRY_VERIFY(records[0]->count(MARK) >= marks + 5);
    QCOMPARE(records[0]->count(START), starts);
    QCOMPARE(records[0]->count(STOP), stops);
    QCOMPARE(stops, starts);
}

void TstAbstractWorkerController::doStop_duringARestart_startsNoMore()
{
    Controller controller;
    Records records;
    Gate gate;
    RecordingWorker* const worker = addWorker(controller, records);
    int stops = 0;
    worker->onStop = [&gate, &stops](RecordingWorker&) {
        if (stops++ == 0) {
            gate.wait();
        }
    };
    addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    worker->restart();
    QTRY_VERIFY(records[0]->has(STOP));
    std::thread opener = openWhenStopIsPosted(gate, records);
    controller.doStop();
    opener.join();
    QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
    QTRY_VERIFY(records[0]->has(MARK));
    QCOMPARE(records[0]->events(), QStringList({START, STOP, STOP, MARK}));
}

void TstAbstractWorkerController::doStop_workersAddedLater_areStarted()
{
    Records records;
    {
        Controller controller;
        addWorker(controller, records);
        controller.doStart();
        QTRY_VERIFY(records[0]->has(START));
        controller.doStop();
        addWorker(controller, records)->thread()->start();
        QTRY_VERIFY(records[1]->has(START));
        QCOMPARE(records[0]->events(), QStringList({START, STOP}));
    }
    QCOMPARE(records[0]->events(), QStringList({START, STOP, DELETED}));
    QCOMPARE(records[1]->events(), QStringList({START, STOP, DELETED}));
}

void TstAbstractWorkerController::doKillThreads_deletesTheWorkers()
{
    Controller controller;
    Records records;
    const QPointer<QThread> started = addWorker(controller, records)->thread();
    controller.doStart();
    const QPointer<QThread> neverStarted = addWorker(controller, records)->thread();
    QTRY_VERIFY(records[0]->has(START));
    controller.doKillThreads();
    QVERIFY(started.isNull());
    QVERIFY(neverStarted.isNull());
    QCOMPARE(records[0]->events(), QStringList({START, STOP, DELETED}));
    QCOMPARE(records[1]->events(), QStringList{DELETED});
    // The controller is still there to hear of it.
    QTRY_COMPARE(controller.hooks->events(), QStringList({STARTED, STOPPED}));
    controller.doKillThreads();
    QCOMPARE(records[0]->strays(), QStringList());
}

void TstAbstractWorkerController::doKillThreads_requestsInterruption()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    std::atomic<bool> requestedInStop{false};
    worker->onStop = [&requestedInStop](RecordingWorker&) {
        // Asked for after the stop was posted, so it may come a moment later.
        while (!QThread::currentThread()->isInterruptionRequested()) {
            QThread::msleep(1);
        }
        requestedInStop = true;
    };
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    controller.doKillThreads();
    QVERIFY(requestedInStop);
    QVERIFY(records[0]->has(DELETED));
}

void TstAbstractWorkerController::doKillThreads_thenNewWorkers()
{
    Controller controller;
    Records records;
    addWorker(controller, records);
    controller.doKillThreads();
    addWorker(controller, records)->thread()->start();
    QTRY_VERIFY(records[1]->has(START));
    controller.doKillThreads();
    QCOMPARE(records[0]->events(), QStringList{DELETED});
    QCOMPARE(records[1]->events(), QStringList({START, STOP, DELETED}));
}

void TstAbstractWorkerController::doStopThenKillThenDestructor_stopsOnce()
{
    const auto hooks = std::make_shared<Record>();
    Records records;
    {
        Controller controller(nullptr, hooks);
        addWorker(controller, records);
        addWorker(controller, records);
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        controller.doStop();
        QVERIFY(allHave(records, STOP));
        QVERIFY(!records[0]->has(DELETED));
        controller.doKillThreads();
        QVERIFY(allHave(records, DELETED));
        QTRY_COMPARE(hooks->count(STOPPED), 2);
    }
    for (const auto& record : records) {
        QCOMPARE(record->events(), QStringList({START, STOP, DELETED}));
        QCOMPARE(record->strays(), QStringList());
    }
    QCOMPARE(hooks->events(), QStringList({STARTED, STARTED, STOPPED, STOPPED}));
}

void TstAbstractWorkerController::threadEndingByItself_deletesTheWorkerInIt()
{
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    const QPointer<QThread> thread = worker->thread();
    worker->onStart = [](RecordingWorker& self) { self.endThread(); };
    controller.doStart();
    QTRY_VERIFY(thread.isNull());
    QCOMPARE(records[0]->events(), QStringList({START, DELETED}));
    QCOMPARE(records[0]->strays(), QStringList());
    QTRY_COMPARE(controller.hooks->events(), QStringList{STARTED});
    controller.doStop();
    controller.doKillThreads();
}

void TstAbstractWorkerController::workerDeletedElsewhere_isLeftAlone()
{
    const auto hooks = std::make_shared<Record>();
    Records records;
    {
        Controller controller(nullptr, hooks);
        RecordingWorker* const worker = addWorker(controller, records);
        const QPointer<QThread> thread = worker->thread();
        controller.doStart();
        QTRY_VERIFY(hooks->has(STARTED));
        worker->deleteLater();
        QTRY_VERIFY(records[0]->has(DELETED));
        controller.doStop();
        QVERIFY(thread->isRunning());
    }
    QCOMPARE(records[0]->events(), QStringList({START, DELETED}));
    QCOMPARE(hooks->events(), QStringList{STARTED});
}

void TstAbstractWorkerController::cycles_destroyedAtEveryStage_data()
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

void TstAbstractWorkerController::cycles_destroyedAtEveryStage()
{
    QFETCH(int, stage);
    for (int round = 0; round < 60; ++round) {
        Records records;
        {
            Controller controller;
            RecordingWorker* const first = addWorker(controller, records);
            addWorker(controller, records);
            if (stage > 0) {
                controller.doStart();
            }
            if (stage > 1) {
                QVERIFY(waitUntil([&records] { return allHave(records, START); }));
            }
            if (stage == 3) {
                first->restart();
            } else if (stage == 4) {
                first->thread()->quit();
            } else if (stage > 4) {
                controller.doStop();
                QVERIFY(allHave(records, STOP));
            }
            if (stage > 5) {
                controller.doKillThreads();
            }
        }
        QVERIFY(allHave(records, DELETED));
        for (const auto& record : records) {
            QCOMPARE(record->events().last(), DELETED);
            QCOMPARE(record->count(DELETED), 1);
            QVERIFY(stage != 0 || record->events().size() == 1);
            if (stage > 0) {
                QCOMPARE(record->strays(), QStringList());
            }
        }
    }
}

void TstAbstractWorkerController::cycles_withRestartStorms()
{
    for (int round = 0; round < 30; ++round) {
        Records records;
        {
            Controller controller;
            RecordingWorker* const worker = addWorker(controller, records);
            controller.doStart();
            std::vector<std::thread> threads;
            for (int thread = 0; thread < 4; ++thread) {
                threads.emplace_back([worker] {
                    for (int call = 0; call < 50; ++call) {
                        worker->restart();
                    }
                });
            }
            // In the middle of the storm: from here on the calls have no effect.
            controller.doStop();
            const int stops = records[0]->count(STOP);
            const int starts = records[0]->count(START);
            for (std::thread& thread : threads) {
                thread.join();
            }
            QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
            QVERIFY(waitUntil([&records] { return records[0]->has(MARK); }));
            QCOMPARE(records[0]->count(STOP), stops);
            QCOMPARE(records[0]->count(START), starts);
        }
        QCOMPARE(records[0]->events().last(), DELETED);
        QCOMPARE(records[0]->strays(), QStringList());
    }
}

void TstAbstractWorkerController::end_worksTheQueuesOff_data()
{
    QTest::addColumn<int>("end");
    QTest::newRow("destructor") << 0;
    QTest::newRow("doStop()") << 1;
    QTest::newRow("doKillThreads()") << 2;
}

// From the first worker to the second, back, and so on, twice through each of three threads. Nobody but the end itself
// waits for that.
void TstAbstractWorkerController::end_worksTheQueuesOff()
{
    QFETCH(int, end);
    for (int round = 0; round < 20; ++round) {
        Records records;
        auto controller = std::make_unique<Controller>();
        std::vector<RecordingWorker*> workers;
        for (int number = 0; number < 3; ++number) {
            workers.push_back(addWorker(*controller, records));
        }
        for (size_t number = 0; number < 3; ++number) {
            workers[number]->onMark = [next = workers[(number + 1) % 3]](RecordingWorker& self) {
                QThread::msleep(1);
                if (self.record->count(MARK) <= 2) {
                    QMetaObject::invokeMethod(next, "mark", Qt::QueuedConnection);
                }
            };
        }
        controller->doStart();
        QVERIFY(waitUntil([&records] { return allHave(records, START); }));
        QMetaObject::invokeMethod(workers[0], "mark", Qt::QueuedConnection);
        if (end == 1) {
            controller->doStop();
        } else if (end == 2) {
            controller->doKillThreads();
        }
        controller.reset();
        QCOMPARE(records[0]->events(), QStringList({START, MARK, MARK, MARK, STOP, DELETED}));
        QCOMPARE(records[1]->events(), QStringList({START, MARK, MARK, STOP, DELETED}));
        QCOMPARE(records[2]->events(), QStringList({START, MARK, MARK, STOP, DELETED}));
    }
}

void TstAbstractWorkerController::end_tellsTheWorkersFirst()
{
    Records records;
    Controller controller;
    RecordingWorker* const worker = addWorker(controller, records);
    std::atomic<bool> wasEnding[3] = {};
    worker->onStart = [&wasEnding](RecordingWorker& self) { wasEnding[0] = self.isEnding(); };
    worker->onMark = [&wasEnding](RecordingWorker& self) {
        // The call comes before the end begins, and is carried out when it has.
        wasEnding[1] = waitUntil([&self] { return self.isEnding(); });
    };
    worker->onStop = [&wasEnding](RecordingWorker& self) { wasEnding[2] = self.isEnding(); };
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
    QTRY_VERIFY(records[0]->has(MARK));
    QVERIFY(!wasEnding[0]);
    controller.doStop();
    QVERIFY(wasEnding[1]);
    QVERIFY(wasEnding[2]);
}

// A service that logs why it cannot run, and goes: its workers still start and send that.
void TstAbstractWorkerController::end_startsAWorkerWhoseThreadHasJustBegun()
{
    for (int round = 0; round < 20; ++round) {
        Records records;
        {
            Controller controller;
            RecordingWorker* const worker = addWorker(controller, records);
            controller.doStart();
            QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
        }
        QCOMPARE(records[0]->events(), QStringList({START, MARK, STOP, DELETED}));
    }
}

void TstAbstractWorkerController::end_ofALongQueue_dropsTheRestAndSaysSo()
{
    constexpr int CALLS = 1000;
    Records records;
    const LogCapture log;
    QElapsedTimer time;
    {
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        worker->onMark = [](RecordingWorker&) { QThread::msleep(10); };
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        for (int call = 0; call < CALLS; ++call) {
            QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
        }
        time.start();
    }
    QVERIFY2(time.elapsed() < STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(time.elapsed())));
    const int carriedOut = records[0]->count(MARK);
    QVERIFY(carriedOut > 0 && carriedOut < CALLS);
    QVERIFY(records[0]->has(DELETED));
    QCOMPARE(log.texts(),
             QStringList(u"warning: Dropped %1 queued messages and calls when the workers were stopped"_s.arg(
                 CALLS - carriedOut)));
}

void TstAbstractWorkerController::end_ofABlockedWorker_saysWhatIsKnown()
{
    Records records;
    Gate gate;
    const LogCapture log;
    QPointer<QThread> thread;
    {
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        thread = worker->thread();
        worker->onMark = [&gate](RecordingWorker&) { gate.wait(); };
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        for (int call = 0; call < 4; ++call) {
            QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
        }
        worker->countWaiting(3);
        QTRY_VERIFY(records[0]->has(MARK));
    }
    const QStringList lines{u"warning: Dropped 3 queued messages and calls when the workers were stopped"_s};
    QCOMPARE(log.texts(), lines);
    gate.open();
    QTRY_VERIFY(thread.isNull());
    // All of them have been told of.
    QCOMPARE(log.texts(), lines);
    QCOMPARE(records[0]->events(), QStringList({START, MARK, STOP, DELETED}));
}

void TstAbstractWorkerController::end_ofABlockedWorker_saysTheRestLater()
{
    Records records;
    Gate gate;
    const LogCapture log;
    QPointer<QThread> thread;
    {
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        thread = worker->thread();
        worker->onMark = [&gate](RecordingWorker&) { gate.wait(); };
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        for (int call = 0; call < 4; ++call) {
            QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
        }
        QTRY_VERIFY(records[0]->has(MARK));
    }
    const QString leftBehind = u"warning: RecordingWorker did not stop in time: what is queued for it may be lost"_s;
    QCOMPARE(log.texts(), QStringList(leftBehind));
    gate.open();
    QTRY_VERIFY(thread.isNull());
    QCOMPARE(
        log.texts(),
        QStringList({leftBehind, u"warning: Dropped 3 queued messages and calls when the workers were stopped"_s}));
    QCOMPARE(records[0]->events(), QStringList({START, MARK, STOP, DELETED}));
}

void TstAbstractWorkerController::end_withNothingLeft_saysNothing()
{
    const LogCapture log;
    for (int end = 0; end < 3; ++end) {
        Records records;
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        addWorker(controller, records);
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
        if (end > 0) {
            controller.doStop();
        }
        if (end > 1) {
            controller.doKillThreads();
        }
    }
    QCOMPARE(log.texts(), QStringList());
}

// A handler that talks to a device in an event loop of its own still has its answer to give.
void TstAbstractWorkerController::end_ofAHandlerWithALoopOfItsOwn_isWaitedFor()
{
    Records records;
    Controller controller;
    RecordingWorker* const first = addWorker(controller, records);
    RecordingWorker* const second = addWorker(controller, records);
    first->onMark = [second](RecordingWorker&) {
        QEventLoop loop;
        QTimer::singleShot(300, &loop, &QEventLoop::quit);
        loop.exec();
        QMetaObject::invokeMethod(second, "mark", Qt::QueuedConnection);
    };
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    QMetaObject::invokeMethod(first, "mark", Qt::QueuedConnection);
    QTRY_VERIFY(records[0]->has(MARK));
    controller.doStop();
    QCOMPARE(records[1]->events(), QStringList({START, MARK, STOP}));
}

void TstAbstractWorkerController::end_thatDestroysTheController_data()
{
    QTest::addColumn<int>("end");
    QTest::newRow("the event loop's") << 0;
    QTest::newRow("doStop()") << 1;
    QTest::newRow("doKillThreads()") << 2;
}

// A call that the end carries out may be the one that deletes the service.
void TstAbstractWorkerController::end_thatDestroysTheController()
{
    QFETCH(int, end);
    Records records;
    const QPointer<Controller> controller = new Controller;
    addWorker(*controller, records);
    controller->doStart();
    QTRY_VERIFY(allHave(records, START));
    const auto queueTheCall = [controller] {
        QMetaObject::invokeMethod(
            controller, [controller] { delete controller.data(); }, Qt::QueuedConnection);
    };
    if (end == 0) {
        // Queued when the loop has been told to end already.
        QTimer::singleShot(0, controller, [queueTheCall] {
            QCoreApplication::quit();
            queueTheCall();
        });
        QCoreApplication::exec();
    } else {
        queueTheCall();
        end == 1 ? controller->doStop() : controller->doKillThreads();
    }
    QVERIFY(controller.isNull());
    QCOMPARE(records[0]->events(), QStringList({START, STOP, DELETED}));
}

// A command to shut down that is queued already when the service is told to end.
void TstAbstractWorkerController::end_insideAnEnd_isBounded()
{
    for (const bool killsInside : {false, true}) {
        for (const bool killsOutside : {false, true}) {
            Records records;
            Gate gate;
            QPointer<QThread> thread;
            QElapsedTimer time;
            {
                Controller controller;
                RecordingWorker* const worker = addWorker(controller, records);
                thread = worker->thread();
                worker->onStart = [&gate](RecordingWorker&) { gate.wait(); };
                controller.doStart();
                QTRY_VERIFY(allHave(records, START));
                QMetaObject::invokeMethod(
                    &controller,
                    [&controller, killsInside] { killsInside ? controller.doKillThreads() : controller.doStop(); },
                    Qt::QueuedConnection);
                time.start();
                killsOutside ? controller.doKillThreads() : controller.doStop();
            }
            const qint64 elapsed = time.elapsed();
            gate.open();
            QTRY_VERIFY(thread.isNull());
            QVERIFY2(elapsed < 2 * STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(elapsed)));
            QCOMPARE(records[0]->events(), QStringList({START, STOP, DELETED}));
        }
    }
}

void TstAbstractWorkerController::doStop_ofALongQueueOfItsOwn_isBounded()
{
    constexpr int CALLS = 1000;
    Records records;
    const LogCapture log;
    Controller controller;
    addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    int carriedOut = 0;
    for (int call = 0; call < CALLS; ++call) {
        QMetaObject::invokeMethod(
            &controller,
            [&carriedOut] {
                ++carriedOut;
                QThread::msleep(10);
            },
            Qt::QueuedConnection);
    }
    QElapsedTimer time;
    time.start();
    controller.doStop();
    QVERIFY2(time.elapsed() < STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(time.elapsed())));
    QVERIFY(carriedOut > 0 && carriedOut < CALLS);
    QCOMPARE(log.texts(),
             QStringList(u"warning: Dropped %1 queued messages and calls when the workers were stopped"_s.arg(
                 CALLS - carriedOut)));
}

void TstAbstractWorkerController::applicationsLoopEnds_thenALoopInsideTheEnd_takesNothingIn()
{
    Records records;
    Controller controller;
    RecordingWorker* const worker = addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();
    bool wasEnding = false;
    QMetaObject::invokeMethod(
        &controller,
        [&] {
            QCoreApplication::processEvents();
            wasEnding = worker->isEnding();
        },
        Qt::QueuedConnection);
    controller.doStop();
    QVERIFY(wasEnding);
}

// On its way from one worker to another a call often takes a turn through the controller, or through what it owns.
void TstAbstractWorkerController::doStop_carriesOutItsOwnCalls()
{
    Controller controller;
    Records records;
    RecordingWorker* const first = addWorker(controller, records);
    RecordingWorker* const second = addWorker(controller, records);
    auto* const child = new QTimer(&controller);
    child->setSingleShot(true);
    // By a timer's signal, because that is a signal that anybody may emit.
    QVERIFY(connect(
        child, &QTimer::objectNameChanged, &controller,
        [second] { QMetaObject::invokeMethod(second, "mark", Qt::QueuedConnection); }, Qt::QueuedConnection));
    first->onMark = [child](RecordingWorker&) {
        QMetaObject::invokeMethod(
            child, [child] { child->setObjectName(u"called"_s); }, Qt::QueuedConnection);
    };
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    QMetaObject::invokeMethod(first, "mark", Qt::QueuedConnection);
    controller.doStop();
    QCOMPARE(records[0]->events(), QStringList({START, MARK, STOP}));
    QCOMPARE(records[1]->events(), QStringList({START, MARK, STOP}));
}

// Qt takes a whole queue up at once: whatever comes later stands behind all of that, urgent or not.
void TstAbstractWorkerController::doStop_inTheMiddleOfALongQueue_goesAheadOfTheRest()
{
    constexpr int CALLS = 1000;
    const LogCapture log;
    Controller controller;
    Records records;
    RecordingWorker* const worker = addWorker(controller, records);
    worker->onMark = [](RecordingWorker& self) {
        if (!self.record->has(STOP)) {
            QThread::msleep(10);
        }
    };
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    for (int call = 0; call < CALLS; ++call) {
        QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
    }
    controller.doStop();
    const int before = records[0]->events().indexOf(STOP);
    QVERIFY(before > 0 && before < CALLS);
    QTRY_COMPARE(records[0]->count(MARK), CALLS);
    QCOMPARE(records[0]->count(STOP), 1);
    // Whoever stops it this way learns how much came too late.
    const int late = CALLS - records[0]->events().mid(0, before).count(MARK);
    QTRY_COMPARE(log.texts(),
                 QStringList(u"warning: Stopped a worker ahead of %1 queued messages and calls"_s.arg(late)));
}

void TstAbstractWorkerController::destructor_dropsItsOwnCallsAndSaysSo()
{
    const LogCapture log;
    int carriedOut = 0;
    {
        Controller controller;
        for (int call = 0; call < 3; ++call) {
            QMetaObject::invokeMethod(
                &controller, [&carriedOut] { ++carriedOut; }, Qt::QueuedConnection);
        }
    }
    QCoreApplication::processEvents();
    // The derived class, for which they were meant, is gone by then.
    QCOMPARE(carriedOut, 0);
    QCOMPARE(log.texts(), QStringList(u"warning: Dropped 3 queued messages and calls when the workers were stopped"_s));
}

namespace {

/// Works its queues off before it lets go of what its workers need.
class WorkingOffController : public Controller
{
public:
    explicit WorkingOffController(QObject* relay = nullptr) : m_relay(relay) { }

    ~WorkingOffController() override
    {
        workOff(m_relay);
        hooks->add(u"worked off"_s);
    }

private:
    QObject* const m_relay;
};

} // namespace

void TstAbstractWorkerController::destructor_afterWorkingOff_waitsOnce()
{
    Records records;
    Gate gate;
    QPointer<QThread> thread;
    QElapsedTimer time;
    {
        WorkingOffController controller;
        RecordingWorker* const worker = addWorker(controller, records);
        thread = worker->thread();
        worker->onStart = [&gate](RecordingWorker&) { gate.wait(); };
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        time.start();
    }
    const qint64 elapsed = time.elapsed();
    gate.open();
    QTRY_VERIFY(thread.isNull());
    // Two limits would be 3000 ms, and 2500 ms if only the queues were waited for twice.
    QVERIFY2(elapsed >= 1400 && elapsed < 2400, qPrintable(QString::number(elapsed)));
}

void TstAbstractWorkerController::workOff_carriesOutTheRelaysCalls()
{
    Records records;
    QObject relay;
    std::shared_ptr<Record> hooks;
    {
        WorkingOffController controller(&relay);
        hooks = controller.hooks;
        RecordingWorker* const first = addWorker(controller, records);
        RecordingWorker* const second = addWorker(controller, records);
        first->onMark = [&relay, second](RecordingWorker&) {
            QMetaObject::invokeMethod(
                &relay, [second] { QMetaObject::invokeMethod(second, "mark", Qt::QueuedConnection); },
                Qt::QueuedConnection);
        };
        second->onMark = [hooks](RecordingWorker&) { hooks->add(MARK); };
        controller.doStart();
        QTRY_VERIFY(controller.hooks->count(STARTED) == 2);
        QMetaObject::invokeMethod(first, "mark", Qt::QueuedConnection);
    }
    QCOMPARE(records[1]->events(), QStringList({START, MARK, STOP, DELETED}));
    QCOMPARE(hooks->events(), QStringList({STARTED, STARTED, MARK, u"worked off"_s}));
}

// An object that belongs to nobody stands for the service's own dispatcher.
void TstAbstractWorkerController::applicationsLoopEnds_everythingIsCarriedOut()
{
    Records records;
    QObject dispatcher;
    Controller controller;
    RecordingWorker* const first = addWorker(controller, records);
    RecordingWorker* const second = addWorker(controller, records);
    first->onMark = [&dispatcher, second](RecordingWorker& self) {
        // Not before the loop has ended.
        waitUntil([&self] { return self.isEnding(); });
        QMetaObject::invokeMethod(
            &dispatcher, [second] { QMetaObject::invokeMethod(second, "mark", Qt::QueuedConnection); },
            Qt::QueuedConnection);
    };
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    QMetaObject::invokeMethod(first, "mark", Qt::QueuedConnection);
    QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();
    QVERIFY(first->isEnding());
    QCOMPARE(records[0]->events(), QStringList({START, MARK}));
    QCOMPARE(records[1]->events(), QStringList({START, MARK}));
}

void TstAbstractWorkerController::applicationsLoopEnds_andRunsAgain_goesOn()
{
    Records records;
    Controller controller;
    RecordingWorker* const worker = addWorker(controller, records);
    controller.doStart();
    QTRY_VERIFY(allHave(records, START));
    for (int round = 0; round < 3; ++round) {
        QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
        QCoreApplication::exec();
        QVERIFY(worker->isEnding());
        QTRY_VERIFY(!worker->isEnding());
    }
    QCOMPARE(records[0]->events(), QStringList({START}));
    controller.doStop();
    QCOMPARE(records[0]->events(), QStringList({START, STOP}));
    QCoreApplication::processEvents();
    QVERIFY(worker->isEnding());
}

void TstAbstractWorkerController::applicationsLoopEnds_blockedWorker_isNotWaitedForTwice()
{
    Records records;
    Gate gate;
    QPointer<QThread> thread;
    QElapsedTimer time;
    {
        Controller controller;
        RecordingWorker* const worker = addWorker(controller, records);
        thread = worker->thread();
        worker->onMark = [&gate](RecordingWorker&) { gate.wait(); };
        controller.doStart();
        QTRY_VERIFY(allHave(records, START));
        QMetaObject::invokeMethod(worker, "mark", Qt::QueuedConnection);
        QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
        time.start();
        QCoreApplication::exec();
    }
    const qint64 elapsed = time.elapsed();
    gate.open();
    QTRY_VERIFY(thread.isNull());
    QVERIFY2(elapsed >= 1400 && elapsed < 2400, qPrintable(QString::number(elapsed)));
}

QTEST_GUILESS_MAIN(TstAbstractWorkerController)
#include "tst_abstractworkercontroller.moc"
