#include "client/tarvexmessagesreciever.h"
#include "heldclock.h"
#include "literals.h"
#include "pushes.h"
#include "queryside.h"
#include "reconnection.h"
#include "servicetest.h"

#include <QAbstractEventDispatcher>
#include <QTest>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

using namespace tarvex;
using namespace reconnection;
using queryside::replies;

namespace {

/// Less than a timer of 5000 ms needs, also one that is early.
constexpr int TOO_SOON_MS = 4700;
/// The rest of INTERVAL_MS.
constexpr int REST_MS = INTERVAL_MS - TOO_SOON_MS;

/// The intervals of all timers that run for \a object and for what it owns, Qt's own among them. To be called in the
/// object's thread.
QList<int> runningTimers(QObject* object)
{
    QObjectList all = object->findChildren<QObject*>();
    all.prepend(object);
    QList<int> intervals;
    for (QObject* const one : qAsConst(all)) {
        const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(one);
        for (const auto& timer : timers) {
            intervals.append(timer.interval);
        }
    }
    return intervals;
}

/// Tells the timers of a worker that runs in a thread of its own. Must be destroyed after that thread has ended.
class TimerProbe : public QObject
{
public:
    void watch(QObject* worker)
    {
        m_worker = worker;
        moveToThread(worker->thread());
    }

    QList<int> runningTimers()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_answer.reset();
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
        m_answered.wait(lock, [this] { return m_answer.has_value(); });
        return *m_answer;
    }

    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User) {
            return QObject::event(event);
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_answer = ::runningTimers(m_worker);
        m_answered.notify_one();
        return true;
    }

private:
    QObject* m_worker = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_answered;
    std::optional<QList<int>> m_answer;
};

/// The report of the state, which the service asks for.
const QList<int> REPORT_ALONE{NEVER_MS};
const QList<int> REPORT_AND_LOOK{NEVER_MS, 5000};

using Close = std::function<void(FakeBus&, queryside::Worker&)>;

} // namespace

Q_DECLARE_METATYPE(Close)

/// A worker that has nothing to wait for never wakes up. One whose connection was closed without a signal looks at it
/// after 5000 ms.
class TstConnectionWatch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void query_connected_noTimerRuns();
    void query_closedWithoutASignal_isBackAfter5s_data();
    void query_closedWithoutASignal_isBackAfter5s();
    void query_closedAndOpened_comesToRest();
    void query_closedWhileNotStarted_isLeftAlone();
    void query_stoppedWhileClosed_isLeftAlone();
    void query_handlerGone_comesToRest();
    void receiver_accepted_comesToRest();
    void receiver_acceptedAfterALook_comesToRest();
    void receiver_acceptanceTakenBack_isBackAndComesToRest();
    void receiver_gone_comesToRest();
    void service_connected_noTimerRuns();
    void service_goesOnAfterItsEnd_readsWhatCameMeanwhile();

private:
    std::unique_ptr<FakeBus> m_queryBus;
    std::unique_ptr<FakeBus> m_receiverBus;
};

void TstConnectionWatch::init()
{
    m_queryBus = std::make_unique<FakeBus>(FakeBus::QUERY_PORT);
    m_queryBus->willAlwaysDo(FakeBus::answer);
    m_receiverBus = std::make_unique<FakeBus>(FakeBus::RECEIVER_PORT);
}

void TstConnectionWatch::cleanup()
{
    m_queryBus.reset();
    m_receiverBus.reset();
}

void TstConnectionWatch::query_connected_noTimerRuns()
{
    queryside::Worker worker;
    QVERIFY(worker.doStart());
    QVERIFY(worker.connection()->isOpen());
    QCOMPARE(runningTimers(&worker), REPORT_ALONE);
    QVERIFY(worker.saveState());
    worker.updateSettings();
    QCOMPARE(runningTimers(&worker), REPORT_ALONE);
}

void TstConnectionWatch::query_closedWithoutASignal_isBackAfter5s_data()
{
    QTest::addColumn<Close>("close");
    QTest::newRow("handshake refused later") << Close([](FakeBus& bus, queryside::Worker& worker) {
        bus.willReply(u"handshake"_s, 3);
        worker.saveState();
    });
    QTest::newRow("closed by the service")
        << Close([](FakeBus&, queryside::Worker& worker) { worker.connection()->close(); });
    QTest::newRow("closed by the service, and refused when it opens")
        << Close([](FakeBus& bus, queryside::Worker& worker) {
               bus.willRefuseHandshake(3);
               worker.connection()->close();
               worker.connection()->open();
           });
    QTest::newRow("closed by the service, and accepted under another name")
        << Close([](FakeBus& bus, queryside::Worker& worker) {
               bus.willAnswerHandshake(replies(u"welcome"_s));
               worker.connection()->close();
               worker.connection()->open();
           });
    QTest::newRow("lost, and the worker does not hear of it") << Close([](FakeBus& bus, queryside::Worker& worker) {
        disconnect(worker.connection(), SIGNAL(busDisconnected()), nullptr, nullptr);
        bus.dropConnections();
        HeldClock::waitFor([&worker] { return !worker.connection()->isOpen(); });
    });
}

void TstConnectionWatch::query_closedWithoutASignal_isBackAfter5s()
{
    QFETCH(Close, close);
    queryside::Worker worker;
    QVERIFY(worker.doStart());
    HeldClock clock;
    clock.letPass(EARLY_LOSS_MS + 100);
    close(*m_queryBus, worker);
    QVERIFY(!worker.connection()->isOpen());
    QCOMPARE(runningTimers(&worker), REPORT_AND_LOOK);
    clock.letPass(TOO_SOON_MS);
    QCOMPARE(worker.starts, 1);
    clock.letPass(REST_MS);
    QVERIFY(HeldClock::waitFor([&worker] { return worker.applied.size() == 2; }));
    QCOMPARE(worker.starts, 2);
    QVERIFY(worker.connection()->isOpen());
    QCOMPARE(runningTimers(&worker), REPORT_ALONE);
}

void TstConnectionWatch::query_closedAndOpened_comesToRest()
{
    queryside::Worker worker;
    QVERIFY(worker.doStart());
    worker.connection()->close();
    QVERIFY(worker.connection()->open());
    HeldClock clock;
    clock.letPass(INTERVAL_MS);
    QCOMPARE(runningTimers(&worker), REPORT_ALONE);
    QVERIFY(worker.connection()->isOpen());
    QCOMPARE(worker.starts, 1);
    // It is looked after again.
    worker.connection()->close();
    clock.letPass(INTERVAL_MS);
    QVERIFY(HeldClock::waitFor([&worker] { return worker.connection()->isOpen(); }));
    QCOMPARE(worker.starts, 2);
}

void TstConnectionWatch::query_closedWhileNotStarted_isLeftAlone()
{
    queryside::Worker worker;
    QVERIFY(worker.connection()->open());
    worker.connection()->close();
    QCOMPARE(runningTimers(&worker), QList<int>());
    QVERIFY(worker.doStart());
    QVERIFY(worker.doStop());
    QCOMPARE(runningTimers(&worker), QList<int>());
    QVERIFY(worker.connection()->open());
    worker.connection()->close();
    QCOMPARE(runningTimers(&worker), QList<int>());
}

void TstConnectionWatch::query_stoppedWhileClosed_isLeftAlone()
{
    queryside::Worker worker;
    QVERIFY(worker.doStart());
    worker.connection()->close();
    QVERIFY(worker.doStop());
    QCOMPARE(runningTimers(&worker), QList<int>());
}

void TstConnectionWatch::query_handlerGone_comesToRest()
{
    queryside::Worker worker;
    QVERIFY(worker.doStart());
    worker.connection()->close();
    delete worker.connection();
    HeldClock clock;
    clock.letPass(INTERVAL_MS);
    QCOMPARE(runningTimers(&worker), REPORT_ALONE);
    QCOMPARE(worker.starts, 1);
}

void TstConnectionWatch::receiver_accepted_comesToRest()
{
    TarvexMsgWorker worker(PRINTER);
    const auto* const receiver = worker.findChild<TarvexMessagesReciever*>();
    QVERIFY(worker.doStart());
    QTRY_VERIFY(receiver->isOpen());
    HeldClock clock;
    clock.letPass(INTERVAL_MS);
    QCOMPARE(runningTimers(&worker), QList<int>());
    QVERIFY(receiver->isOpen());
    QCOMPARE(m_receiverBus->connectionCount(), 1);
}

void TstConnectionWatch::receiver_acceptedAfterALook_comesToRest()
{
    std::promise<void> accept;
    m_receiverBus->willAnswerHandshake([&accept](FakeBus::Peer& peer, const FakeBus::Request&) {
        accept.get_future().wait();
        peer.send(FakeBus::acceptance());
    });
    TarvexMsgWorker worker(PRINTER);
    const auto* const receiver = worker.findChild<TarvexMessagesReciever*>();
    QVERIFY(worker.doStart());
    HeldClock clock;
    for (int look = 0; look < 3; ++look) {
        clock.letPass(INTERVAL_MS);
        QCOMPARE(runningTimers(&worker), QList<int>{5000});
    }
    accept.set_value();
    QVERIFY(HeldClock::waitFor([receiver] { return receiver->isOpen(); }));
    clock.letPass(INTERVAL_MS);
    QCOMPARE(runningTimers(&worker), QList<int>());
    QCOMPARE(m_receiverBus->connectionCount(), 1);
}

void TstConnectionWatch::receiver_acceptanceTakenBack_isBackAndComesToRest()
{
    std::promise<void> takeBack;
    m_receiverBus->willAnswerHandshake([&takeBack](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        takeBack.get_future().wait();
        peer.send(FakeBus::replyFrame(u"handshake"_s, 3, u"refused"_s));
    });
    TarvexMsgWorker worker(PRINTER);
    const auto* const receiver = worker.findChild<TarvexMessagesReciever*>();
    QVERIFY(worker.doStart());
    QTRY_VERIFY(receiver->isOpen());
    HeldClock clock;
    clock.letPass(INTERVAL_MS);
    QCOMPARE(runningTimers(&worker), QList<int>());
    takeBack.set_value();
    QVERIFY(HeldClock::waitFor([receiver] { return !receiver->isOpen(); }));
    QCOMPARE(runningTimers(&worker), QList<int>{5000});
    clock.letPass(TOO_SOON_MS);
    QCOMPARE(m_receiverBus->connectionCount(), 1);
    clock.letPass(REST_MS);
    QVERIFY(HeldClock::waitFor([receiver] { return receiver->isOpen(); }));
    QCOMPARE(m_receiverBus->connectionCount(), 2);
    clock.letPass(INTERVAL_MS);
    QCOMPARE(runningTimers(&worker), QList<int>());
}

void TstConnectionWatch::receiver_gone_comesToRest()
{
    TarvexMsgWorker worker(PRINTER);
    QVERIFY(worker.doStart());
    delete worker.findChild<TarvexMessagesReciever*>();
    HeldClock clock;
    clock.letPass(INTERVAL_MS);
    QCOMPARE(runningTimers(&worker), QList<int>());
}

void TstConnectionWatch::service_connected_noTimerRuns()
{
    TimerProbe msgTimers;
    TimerProbe queryTimers;
    Service service;
    auto* const msgWorker = new MsgWorker;
    auto* const queryWorker = new QueryWorker;
    service.initWorkers(msgWorker, queryWorker);
    msgTimers.watch(msgWorker);
    queryTimers.watch(queryWorker);
    QTRY_COMPARE_WITH_TIMEOUT(queryWorker->tries.load(), 1, LATEST_MS);
    QTRY_COMPARE_WITH_TIMEOUT(msgWorker->tries.load(), 1, LATEST_MS);
    QCOMPARE(queryTimers.runningTimers(), REPORT_ALONE);
    // The first look finds that the bus has accepted the receiver.
    QTRY_COMPARE_WITH_TIMEOUT(msgTimers.runningTimers(), QList<int>(), LATEST_MS);
    QCOMPARE(queryTimers.runningTimers(), REPORT_ALONE);
    QCOMPARE(runningTimers(&service), QList<int>());
}

// While a service ends, its receiver takes nothing in. Here the service goes on, because its event loop runs again.
void TstConnectionWatch::service_goesOnAfterItsEnd_readsWhatCameMeanwhile()
{
    std::promise<void> push;
    m_receiverBus->willAnswerHandshake([&push](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        push.get_future().wait();
        peer.send(pushFrame(u"plain words"_s, u"uid1"_s));
    });
    TimerProbe timers;
    Counter messages;
    Service service;
    auto* const worker = new MsgWorker;
    connect(worker, SIGNAL(unprocessedMessage(Message)), &messages, SLOT(count()), Qt::DirectConnection);
    service.initWorkers(worker, nullptr);
    timers.watch(worker);
    QTRY_COMPARE_WITH_TIMEOUT(worker->tries.load(), 1, LATEST_MS);
    QTRY_COMPARE_WITH_TIMEOUT(timers.runningTimers(), QList<int>(), LATEST_MS);

    QMetaObject::invokeMethod(
        qApp, [] { QCoreApplication::quit(); }, Qt::QueuedConnection);
    QCoreApplication::exec();
    push.set_value();
    // This thread's event loop does not run here. The receiver has noticed the message, and has left it.
    for (int turn = 0; turn < 2000 && timers.runningTimers().isEmpty(); ++turn) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    QCOMPARE(timers.runningTimers(), QList<int>{5000});
    QCOMPARE(messages.calls.load(), 0);

    QTRY_COMPARE_WITH_TIMEOUT(messages.calls.load(), 1, LATEST_MS);
    QTRY_COMPARE(timers.runningTimers(), QList<int>());
}

QTEST_GUILESS_MAIN(TstConnectionWatch)
#include "tst_connectionwatch.moc"
