#include "client/tarvexcontroller.h"

#include "logging/tarvexloggingcategory.h"
#include "servicetest.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPointer>
#include <QTest>
#include <QThread>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <thread>

using namespace tarvex;

namespace {

/// The end of each controller takes 100 or 200 ms, in which its workers sleep while they close. So ten end at a time.
constexpr int THREADS = 10;
constexpr int CONTROLLERS_OF_A_THREAD = 5;
/// After this many the servers are made anew, because they keep what they have accepted.
constexpr int CONTROLLERS_OF_A_BATCH = THREADS * CONTROLLERS_OF_A_THREAD;

enum class Server {
    None,
    Answering,
    Slow,
    Hanging,
    Cutting,
    Dropping,
    Refusing
};
enum class Moment {
    NotStarted,
    AtOnce,
    SomeTimeLater,
    InAnExchange,
    Retrying,
    RetriedOnce
};

/// One pair of workers, as a service has it.
class PairService : public Service
{
public:
    explicit PairService(int repeatInterval)
        : Service(repeatInterval), m_msg(new MsgWorker), m_query(new QueryWorker(1))
    {
        addWorkerToThread(m_msg);
        addWorkerToThread(m_query);
    }

    void doStart() override { initWorkers(m_msg, m_query); }

    bool hasTried(int times) const { return m_msg->tries >= times && m_query->tries >= times; }

    /// From then on the query worker waits for the server nearly all the time.
    bool hasBegun() const { return m_query->starts > 0; }

private:
    MsgWorker* const m_msg;
    QueryWorker* const m_query;
};

bool processEventsUntil(const std::function<bool()>& condition)
{
    QEventLoop loop; // A thread that Qt did not make has no event loop of its own.
    const QDeadlineTimer deadline(20000);
    while (!condition() && !deadline.hasExpired()) {
        loop.processEvents();
        QThread::msleep(1);
    }
    return condition();
}

void begin(PairService& service, Moment moment, int number)
{
    if (moment != Moment::NotStarted) {
        service.doStart();
    }
    qCWarning(GUILOGGER) << "service" << number;
    Q_EMIT service.stateChanged();
}

/// \return whether the moment came.
bool waitForMoment(const PairService& service, Moment moment, int number)
{
    QElapsedTimer clock;
    clock.start();
    switch (moment) {
    case Moment::NotStarted:
    case Moment::AtOnce:
        break;
    case Moment::SomeTimeLater:
        // From nothing at all to a few exchanges, spread evenly.
        return processEventsUntil([&clock, number] { return clock.elapsed() >= number * 37 % 250; });
    case Moment::InAnExchange:
        return processEventsUntil([&service] { return service.hasBegun(); })
            && processEventsUntil([&clock, number] { return clock.elapsed() >= number * 7 % 50; });
    case Moment::Retrying:
        return processEventsUntil([&service] { return service.hasTried(1); });
    case Moment::RetriedOnce:
        return processEventsUntil([&service] { return service.hasTried(2); });
    }
    return true;
}

struct Counts
{
    std::atomic<int> missed{0}; ///< Services whose moment did not come.
    std::atomic<int> late{0};   ///< Services that took too long to end.
    std::atomic<int> left{0};   ///< Threads that did not end.
};

void createAndDestroy(int count, int first, Moment moment, Counts& counts)
{
    std::list<std::unique_ptr<PairService>> services;
    for (int number = first; number < first + count; ++number) {
        services.push_back(std::make_unique<PairService>(number % 2 == 0 ? 0 : 5000));
        begin(*services.back(), moment, number);
    }
    for (std::unique_ptr<PairService>& service : services) {
        counts.missed += waitForMoment(*service, moment, first) ? 0 : 1;
        const QList<QPointer<QThread>> threads = service->threads;
        QElapsedTimer clock;
        clock.start();
        service.reset();
        counts.late += clock.elapsed() < BOUND_MS ? 0 : 1;
        // A worker that was not done in time ends by itself, but this thread deletes its thread's object.
        for (const QPointer<QThread>& thread : threads) {
            counts.left += processEventsUntil([&thread] { return thread.isNull(); }) ? 0 : 1;
        }
    }
}

FakeBus::Action actionOf(Server server)
{
    switch (server) {
    case Server::Slow:
        return [](FakeBus::Peer& peer, const FakeBus::Request& request) {
            peer.sendInPieces({QByteArray(), FakeBus::replyFrame(request.operation, 0)}, 60);
        };
    case Server::Hanging:
        // For longer than the destructor waits.
        return [](FakeBus::Peer& peer, const FakeBus::Request&) {
            QThread::msleep(2500);
            peer.close();
        };
    case Server::Cutting:
        return [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send("[-REPLY-]\r\n10000000\r\nabc"); };
    case Server::Dropping: {
        const auto count = std::make_shared<std::atomic<int>>(0);
        return [count](FakeBus::Peer& peer, const FakeBus::Request& request) {
            switch (++*count % 3) {
            case 0:
                return peer.reset();
            case 1:
                return peer.close();
            default:
                FakeBus::answer(peer, request);
            }
        };
    }
    case Server::None:
    case Server::Answering:
    case Server::Refusing:
        break;
    }
    return FakeBus::answer;
}

} // namespace

Q_DECLARE_METATYPE(Server)
Q_DECLARE_METATYPE(Moment)

/// Destroys a controller with its pair of workers a thousand times, at all moments of their lives. The sanitizers look
/// for what is left behind.
class TstControllerDestruction : public ServiceTest
{
    Q_OBJECT
private Q_SLOTS:
    void destroyed_atAnyMoment_isGone_data();
    void destroyed_atAnyMoment_isGone();

private:
    void startServer(Server server);
};

void TstControllerDestruction::startServer(Server server)
{
    queryBus.reset();
    receiverBus.reset();
    if (server == Server::None) {
        return;
    }
    queryBus = std::make_unique<FakeBus>(FakeBus::QUERY_PORT);
    receiverBus = std::make_unique<FakeBus>(FakeBus::RECEIVER_PORT);
    queryBus->willAlwaysDo(actionOf(server));
    for (int i = 0; server == Server::Refusing && i < CONTROLLERS_OF_A_BATCH; ++i) {
        queryBus->willRefuseHandshake(3);
        receiverBus->willRefuseHandshake(3);
    }
}

void TstControllerDestruction::destroyed_atAnyMoment_isGone_data()
{
    QTest::addColumn<int>("controllers");
    QTest::addColumn<Server>("server");
    QTest::addColumn<Moment>("moment");
    QTest::newRow("before the threads have started") << 100 << Server::None << Moment::NotStarted;
    QTest::newRow("at once") << 150 << Server::Answering << Moment::AtOnce;
    QTest::newRow("some time later") << 150 << Server::Answering << Moment::SomeTimeLater;
    QTest::newRow("in an exchange") << 150 << Server::Slow << Moment::InAnExchange;
    QTest::newRow("in one that outlasts it") << 50 << Server::Hanging << Moment::InAnExchange;
    QTest::newRow("in a payload") << 50 << Server::Cutting << Moment::InAnExchange;
    QTest::newRow("reconnecting") << 100 << Server::Dropping << Moment::SomeTimeLater;
    QTest::newRow("refused") << 100 << Server::Refusing << Moment::SomeTimeLater;
    QTest::newRow("retrying") << 100 << Server::None << Moment::Retrying;
    QTest::newRow("retried once") << 50 << Server::None << Moment::RetriedOnce;
}

void TstControllerDestruction::destroyed_atAnyMoment_isGone()
{
    QFETCH(int, controllers);
    QFETCH(Server, server);
    QFETCH(Moment, moment);
    Counts counts;
    // All five of a thread wait their 5 s together. The others come one after the other.
    const int together = moment == Moment::RetriedOnce ? CONTROLLERS_OF_A_THREAD : 1;
    const auto createAndDestroyFive = [&counts, moment, together](int first) {
        for (int number = first; number < first + CONTROLLERS_OF_A_THREAD; number += together) {
            createAndDestroy(together, number, moment, counts);
        }
    };
    for (int done = 0; done < controllers; done += CONTROLLERS_OF_A_BATCH) {
        startServer(server);
        std::list<std::thread> threads;
        for (int number = 0; number < THREADS; ++number) {
            threads.emplace_back(createAndDestroyFive, done + number * CONTROLLERS_OF_A_THREAD);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        QCOMPARE(counts.missed.load(), 0);
        QCOMPARE(counts.late.load(), 0);
        QCOMPARE(counts.left.load(), 0);
    }
}

QTEST_GUILESS_MAIN(TstControllerDestruction)
#include "tst_controller_destruction.moc"
