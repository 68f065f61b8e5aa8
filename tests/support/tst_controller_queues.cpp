#include "abstractworkercontroller.h"

#include "crew.h"
#include "logcapture.h"

#include <QEventLoop>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace {

enum class End {
    Destructor,
    DoStop,
    DoKillThreads,
    Loop,
};

void addEnds(const QList<End>& ends)
{
    QTest::addColumn<End>("end");
    const QHash<int, const char*> names{{int(End::Destructor), "destructor"},
                                        {int(End::DoStop), "doStop()"},
                                        {int(End::DoKillThreads), "doKillThreads()"},
                                        {int(End::Loop), "the event loop's"}};
    for (const End end : ends) {
        QTest::newRow(names.value(int(end))) << end;
    }
}

/// Runs the application's event loop for one turn.
void runLoopOnce()
{
    QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();
}

void queueCall(QObject* receiver, const std::function<void()>& call)
{
    QMetaObject::invokeMethod(receiver, call, Qt::QueuedConnection);
}

/// Works its queues off before it destroys what its workers need.
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
Q_DECLARE_METATYPE(End)

/// What the end of the workers does with what is queued, for the workers and for the controller itself.
class TstControllerQueues : public CrewTest
{
    Q_OBJECT
private Q_SLOTS:
    void end_worksTheQueuesOff_data();
    void end_worksTheQueuesOff();
    void end_tellsTheWorkersFirst();
    void end_startsAWorkerWhoseThreadHasJustBegun();
    void end_ofALongQueue_dropsTheRestAndSaysSo();
    void end_ofABlockedWorker_saysWhatIsKnown();
    void end_ofABlockedWorker_saysTheRestLater();
    void end_withNothingLeft_saysNothing_data();
    void end_withNothingLeft_saysNothing();
    void end_ofAHandlerWithALoopOfItsOwn_isWaitedFor();
    void end_thatDestroysTheController_data();
    void end_thatDestroysTheController();
    void end_insideAnEnd_isBounded_data();
    void end_insideAnEnd_isBounded();
    void doStop_ofALongQueueOfItsOwn_isBounded();
    void doStop_carriesOutItsOwnCalls();
    void doStop_inTheMiddleOfALongQueue_goesAheadOfTheRest();
    void destructor_dropsItsOwnCallsAndSaysSo();
    void destructor_ofABlockedWorker_waitsOnce_data();
    void destructor_ofABlockedWorker_waitsOnce();
    void workOff_carriesOutTheRelaysCalls();
    void applicationsLoopEnds_everythingIsCarriedOut();
    void applicationsLoopEnds_andRunsAgain_goesOn();
    void applicationsLoopEnds_thenALoopInsideTheEnd_takesNothingIn();
};

void TstControllerQueues::end_worksTheQueuesOff_data()
{
    addEnds({End::Destructor, End::DoStop, End::DoKillThreads});
}

// The calls go from the first worker to the second, to the third and to the first again, twice. Only the end itself
// waits for that.
void TstControllerQueues::end_worksTheQueuesOff()
{
    QFETCH(End, end);
    for (int round = 0; round < 20; ++round) {
        Crew ring;
        std::vector<RecordingWorker*> workers;
        for (int number = 0; number < 3; ++number) {
            workers.push_back(ring.add());
        }
        for (size_t number = 0; number < 3; ++number) {
            workers[number]->onMark = [next = workers[(number + 1) % 3]](RecordingWorker& self) {
                QThread::msleep(1);
                if (self.record->count(MARK) <= 2) {
                    next->postMarks();
                }
            };
        }
        QVERIFY(ring.start());
        workers[0]->postMarks();
        if (end == End::DoStop) {
            ring.controller->doStop();
        } else if (end == End::DoKillThreads) {
            ring.controller->doKillThreads();
        }
        ring.end();
        QCOMPARE(ring.events(0), QStringList({START, MARK, MARK, MARK, STOP, DELETED}));
        QCOMPARE(ring.events(1), QStringList({START, MARK, MARK, STOP, DELETED}));
        QCOMPARE(ring.events(2), QStringList({START, MARK, MARK, STOP, DELETED}));
    }
}

void TstControllerQueues::end_tellsTheWorkersFirst()
{
    RecordingWorker* const worker = crew->add();
    std::atomic<bool> wasEnding[3] = {};
    worker->onStart = [&wasEnding](RecordingWorker& self) { wasEnding[0] = self.isEnding(); };
    worker->onMark = [&wasEnding](RecordingWorker& self) {
        // The call comes before the end begins, and is carried out when it has.
        wasEnding[1] = waitUntil([&self] { return self.isEnding(); });
    };
    worker->onStop = [&wasEnding](RecordingWorker& self) { wasEnding[2] = self.isEnding(); };
    QVERIFY(crew->start());
    worker->postMarks();
    QTRY_VERIFY(crew->has(MARK));
    QVERIFY(!wasEnding[0]);
    crew->controller->doStop();
    QVERIFY(wasEnding[1]);
    QVERIFY(wasEnding[2]);
}

// A service may log why it cannot run, and end at once. Its workers still start and send that.
void TstControllerQueues::end_startsAWorkerWhoseThreadHasJustBegun()
{
    for (int round = 0; round < 20; ++round) {
        Crew brief;
        RecordingWorker* const worker = brief.add();
        brief.controller->doStart();
        worker->postMarks();
        brief.end();
        QCOMPARE(brief.events(), QStringList({START, MARK, STOP, DELETED}));
    }
}

void TstControllerQueues::end_ofALongQueue_dropsTheRestAndSaysSo()
{
    constexpr int CALLS = 1000;
    const LogCapture log;
    RecordingWorker* const worker = crew->add();
    worker->onMark = [](RecordingWorker&) { QThread::msleep(10); };
    QVERIFY(crew->start());
    worker->postMarks(CALLS);
    const qint64 time = timeOf([this] { crew->end(); });
    QVERIFY2(time < STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(time)));
    const int carriedOut = crew->count(MARK);
    QVERIFY(carriedOut > 0 && carriedOut < CALLS);
    QVERIFY(crew->has(DELETED));
    QCOMPARE(log.texts(), QStringList(droppedLine(CALLS - carriedOut)));
}

void TstControllerQueues::end_ofABlockedWorker_saysWhatIsKnown()
{
    const LogCapture log;
    RecordingWorker* const worker = crew->add();
    worker->onMark = crew->waitAtGate();
    QVERIFY(crew->start());
    worker->postMarks(4);
    worker->countWaiting(3);
    QTRY_VERIFY(crew->has(MARK));
    crew->end();
    QCOMPARE(log.texts(), QStringList(droppedLine(3)));
    crew->gate->open();
    QTRY_VERIFY(crew->has(DELETED));
    // All of them have been reported.
    QCOMPARE(log.texts(), QStringList(droppedLine(3)));
    QCOMPARE(crew->events(), QStringList({START, MARK, STOP, DELETED}));
}

void TstControllerQueues::end_ofABlockedWorker_saysTheRestLater()
{
    const LogCapture log;
    RecordingWorker* const worker = crew->add();
    worker->onMark = crew->waitAtGate();
    QVERIFY(crew->start());
    worker->postMarks(4);
    QTRY_VERIFY(crew->has(MARK));
    crew->end();
    const QString leftBehind = u"warning: RecordingWorker did not stop in time: what is queued for it may be lost"_s;
    QCOMPARE(log.texts(), QStringList(leftBehind));
    crew->gate->open();
    QTRY_VERIFY(crew->has(DELETED));
    QCOMPARE(log.texts(), QStringList({leftBehind, droppedLine(3)}));
    QCOMPARE(crew->events(), QStringList({START, MARK, STOP, DELETED}));
}

void TstControllerQueues::end_withNothingLeft_saysNothing_data()
{
    addEnds({End::Destructor, End::DoStop, End::DoKillThreads});
}

void TstControllerQueues::end_withNothingLeft_saysNothing()
{
    QFETCH(End, end);
    const LogCapture log;
    RecordingWorker* const worker = crew->add(2);
    QVERIFY(crew->start());
    worker->postMarks();
    if (end != End::Destructor) {
        crew->controller->doStop();
    }
    if (end == End::DoKillThreads) {
        crew->controller->doKillThreads();
    }
    crew->end();
    QCOMPARE(log.texts(), QStringList());
}

// A handler that talks to a device in an event loop of its own must still be able to give its answer.
void TstControllerQueues::end_ofAHandlerWithALoopOfItsOwn_isWaitedFor()
{
    RecordingWorker* const first = crew->add();
    RecordingWorker* const second = crew->add();
    first->onMark = [second](RecordingWorker&) {
        QEventLoop loop;
        QTimer::singleShot(300, &loop, &QEventLoop::quit);
        loop.exec();
        second->postMarks();
    };
    QVERIFY(crew->start());
    first->postMarks();
    QTRY_VERIFY(crew->has(MARK));
    crew->controller->doStop();
    QCOMPARE(crew->events(1), QStringList({START, MARK, STOP}));
}

void TstControllerQueues::end_thatDestroysTheController_data()
{
    addEnds({End::Loop, End::DoStop, End::DoKillThreads});
}

// A call that the end carries out may be the one that deletes the service.
void TstControllerQueues::end_thatDestroysTheController()
{
    QFETCH(End, end);
    crew->add();
    QVERIFY(crew->start());
    const QPointer<Controller> controller = crew->controller.release();
    const auto queueTheCall = [controller] { queueCall(controller, [controller] { delete controller.data(); }); };
    if (end == End::Loop) {
        // It is queued after the loop has been told to end.
        QTimer::singleShot(0, controller, [queueTheCall] {
            QCoreApplication::quit();
            queueTheCall();
        });
        QCoreApplication::exec();
    } else {
        queueTheCall();
        end == End::DoStop ? controller->doStop() : controller->doKillThreads();
    }
    QVERIFY(controller.isNull());
    QCOMPARE(crew->events(), QStringList({START, STOP, DELETED}));
}

void TstControllerQueues::end_insideAnEnd_isBounded_data()
{
    QTest::addColumn<bool>("killsInside");
    QTest::addColumn<bool>("killsOutside");
    QTest::newRow("a stop inside a stop") << false << false;
    QTest::newRow("a stop inside an end of the threads") << false << true;
    QTest::newRow("an end of the threads inside a stop") << true << false;
    QTest::newRow("an end of the threads inside another") << true << true;
}

// A command to shut down may be queued already when the service is told to end.
void TstControllerQueues::end_insideAnEnd_isBounded()
{
    QFETCH(bool, killsInside);
    QFETCH(bool, killsOutside);
    crew->add()->onStart = crew->waitAtGate();
    QVERIFY(crew->start());
    const auto end = [controller = crew->controller.get()](bool kills) {
        kills ? controller->doKillThreads() : controller->doStop();
    };
    queueCall(crew->controller.get(), [end, killsInside] { end(killsInside); });
    const qint64 time = timeOf([&] {
        end(killsOutside);
        crew->end();
    });
    crew->gate->open();
    QTRY_VERIFY(crew->has(DELETED));
    QVERIFY2(time < 2 * STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(time)));
    QCOMPARE(crew->events(), QStringList({START, STOP, DELETED}));
}

void TstControllerQueues::doStop_ofALongQueueOfItsOwn_isBounded()
{
    constexpr int CALLS = 1000;
    const LogCapture log;
    crew->add();
    QVERIFY(crew->start());
    int carriedOut = 0;
    for (int call = 0; call < CALLS; ++call) {
        queueCall(crew->controller.get(), [&carriedOut] {
            ++carriedOut;
            QThread::msleep(10);
        });
    }
    const qint64 time = timeOf([this] { crew->controller->doStop(); });
    QVERIFY2(time < STOP_LIMIT_WITH_ROOM_MS, qPrintable(QString::number(time)));
    QVERIFY(carriedOut > 0 && carriedOut < CALLS);
    QCOMPARE(log.texts(), QStringList(droppedLine(CALLS - carriedOut)));
}

// On its way from one worker to another a call often passes through the controller, or through what it owns.
void TstControllerQueues::doStop_carriesOutItsOwnCalls()
{
    RecordingWorker* const first = crew->add();
    RecordingWorker* const second = crew->add();
    auto* const child = new QObject(crew->controller.get());
    QVERIFY(connect(
        child, &QObject::objectNameChanged, crew->controller.get(), [second] { second->postMarks(); },
        Qt::QueuedConnection));
    first->onMark = [child](RecordingWorker&) { queueCall(child, [child] { child->setObjectName(u"called"_s); }); };
    QVERIFY(crew->start());
    first->postMarks();
    crew->controller->doStop();
    QVERIFY(crew->allWent({START, MARK, STOP}));
}

// Qt takes up a whole queue at once. Whatever comes later waits behind that, whatever its priority.
void TstControllerQueues::doStop_inTheMiddleOfALongQueue_goesAheadOfTheRest()
{
    constexpr int CALLS = 1000;
    const LogCapture log;
    RecordingWorker* const worker = crew->add();
    worker->onMark = [](RecordingWorker& self) {
        if (!self.record->has(STOP)) {
            QThread::msleep(10);
        }
    };
    QVERIFY(crew->start());
    worker->postMarks(CALLS);
    crew->controller->doStop();
    const int before = crew->events().indexOf(STOP);
    QVERIFY(before > 0 && before < CALLS);
    QTRY_COMPARE(crew->count(MARK), CALLS);
    QCOMPARE(crew->count(STOP), 1);
    // The log says how many calls came too late.
    const int late = CALLS - crew->events().mid(0, before).count(MARK);
    QTRY_COMPARE(log.texts(),
                 QStringList(u"warning: Stopped a worker ahead of %1 queued messages and calls"_s.arg(late)));
}

void TstControllerQueues::destructor_dropsItsOwnCallsAndSaysSo()
{
    const LogCapture log;
    int carriedOut = 0;
    for (int call = 0; call < 3; ++call) {
        queueCall(crew->controller.get(), [&carriedOut] { ++carriedOut; });
    }
    crew->end();
    QCoreApplication::processEvents();
    // They were meant for the derived class, which has gone by then.
    QCOMPARE(carriedOut, 0);
    QCOMPARE(log.texts(), QStringList(droppedLine(3)));
}

void TstControllerQueues::destructor_ofABlockedWorker_waitsOnce_data()
{
    QTest::addColumn<bool>("loopEndsBefore");
    QTest::newRow("after working off") << false;
    QTest::newRow("after the event loop's end") << true;
}

void TstControllerQueues::destructor_ofABlockedWorker_waitsOnce()
{
    QFETCH(bool, loopEndsBefore);
    crew = std::make_unique<Crew>(loopEndsBefore ? std::make_unique<Controller>()
                                                 : std::make_unique<WorkingOffController>());
    RecordingWorker* const worker = crew->add();
    worker->onMark = crew->waitAtGate();
    QVERIFY(crew->start());
    worker->postMarks();
    QTRY_VERIFY(crew->has(MARK));
    const qint64 time = timeOf([this, loopEndsBefore] {
        if (loopEndsBefore) {
            runLoopOnce();
        }
        crew->end();
    });
    // Two limits would be 3000 ms, and 2500 ms if only the queues were waited for twice.
    QVERIFY2(time >= 1400 && time < 2400, qPrintable(QString::number(time)));
}

void TstControllerQueues::workOff_carriesOutTheRelaysCalls()
{
    QObject relay;
    crew = std::make_unique<Crew>(std::make_unique<WorkingOffController>(&relay));
    RecordingWorker* const first = crew->add();
    RecordingWorker* const second = crew->add();
    first->onMark = [&relay, second](RecordingWorker&) { queueCall(&relay, [second] { second->postMarks(); }); };
    QStringList hooksAtMark;
    second->onMark = [&hooksAtMark, hooks = crew->hooks](RecordingWorker&) { hooksAtMark = hooks->events(); };
    QVERIFY(crew->start());
    QTRY_COMPARE(crew->hooks->count(STARTED), 2);
    first->postMarks();
    crew->end();
    QCOMPARE(crew->events(1), QStringList({START, MARK, STOP, DELETED}));
    QCOMPARE(hooksAtMark, QStringList({STARTED, STARTED}));
    QCOMPARE(crew->hooks->events(), QStringList({STARTED, STARTED, u"worked off"_s}));
}

// An object that belongs to nobody stands for the service's own dispatcher.
void TstControllerQueues::applicationsLoopEnds_everythingIsCarriedOut()
{
    QObject dispatcher;
    RecordingWorker* const first = crew->add();
    RecordingWorker* const second = crew->add();
    first->onMark = [&dispatcher, second](RecordingWorker& self) {
        // It does not go on before the loop has ended.
        waitUntil([&self] { return self.isEnding(); });
        queueCall(&dispatcher, [second] { second->postMarks(); });
    };
    QVERIFY(crew->start());
    first->postMarks();
    runLoopOnce();
    QVERIFY(first->isEnding());
    QVERIFY(crew->allWent({START, MARK}));
}

void TstControllerQueues::applicationsLoopEnds_andRunsAgain_goesOn()
{
    const RecordingWorker* const worker = crew->add();
    QVERIFY(crew->start());
    for (int round = 0; round < 3; ++round) {
        runLoopOnce();
        QVERIFY(worker->isEnding());
        QTRY_VERIFY(!worker->isEnding());
    }
    QCOMPARE(crew->events(), QStringList({START}));
    crew->controller->doStop();
    QCOMPARE(crew->events(), QStringList({START, STOP}));
    QCoreApplication::processEvents();
    QVERIFY(worker->isEnding());
}

void TstControllerQueues::applicationsLoopEnds_thenALoopInsideTheEnd_takesNothingIn()
{
    const RecordingWorker* const worker = crew->add();
    QVERIFY(crew->start());
    runLoopOnce();
    bool wasEnding = false;
    queueCall(crew->controller.get(), [&wasEnding, worker] {
        QCoreApplication::processEvents();
        wasEnding = worker->isEnding();
    });
    crew->controller->doStop();
    QVERIFY(wasEnding);
}

QTEST_GUILESS_MAIN(TstControllerQueues)
#include "tst_controller_queues.moc"
