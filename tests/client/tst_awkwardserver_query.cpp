#include "client/supportedclients.h"
#include "client/tarvexcontroller.h"
#include "fakebus.h"
#include "framepieces.h"
#include "literals.h"
#include "logcapture.h"
#include "queryside.h"
#include "reconnection.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

using namespace tarvex;
using namespace framepieces;
using namespace queryside;
using namespace reconnection;

namespace {

const QString LOADING_LINE = u"critical: Settings loading error"_s;

/// A query worker for a thread of its own.
class ServiceWorker : public TarvexQueryWorker
{
public:
    ServiceWorker() : TarvexQueryWorker(NEVER_MS, BUSNAME_TICKET_PRINTER) { }

    void doSendState() override { handler->saveState(ClientState()); }

    void doApplySettings(ClientSettings settings) override
    {
        Q_UNUSED(settings)
        ++applied;
    }

    std::atomic<int> applied{0};
};

class Service : public TarvexController
{
public:
    Service() : TarvexController(0, BUSNAME_TICKET_PRINTER, nullptr) { }

    void doStart() override { }
};

} // namespace

/// The asking side against servers that are slow, busy, or wrong.
class TstAwkwardserverQuery : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void lostPlace_isMadeGood_data();
    void lostPlace_isMadeGood();
    void lostPlace_noFurtherExchangeOnThatConnection();
    void lostPlace_ofAYoungConnection_isMadeGoodAfter5s();
    void refusal_isAWholeReply();
    void unaskedBytes_areALostPlace_data();
    void unaskedBytes_areALostPlace();
    void settingsOfAnother_areNotApplied_data();
    void settingsOfAnother_areNotApplied();
    void handshakeNotAccepted_isTriedAgain_data();
    void handshakeNotAccepted_isTriedAgain();
    void handshakeRefusedLater_isTriedAgain();
    void serverThatDropsEveryConnection_isNotStormed_data();
    void serverThatDropsEveryConnection_isNotStormed();
    void restartByTheService_isNotDelayed();
    void replyGivenTwice_isNotTakenForTheSettings();
    void updatesThatQueuedUp_doNotStorm();
    void updatesThatQueuedUp_whileTheBusIsAway_tryOnce();
    void spoiltReplyToALogLine_costsFewLines();

private:
    std::unique_ptr<FakeBus> m_bus;
};

void TstAwkwardserverQuery::init()
{
    m_bus = std::make_unique<FakeBus>();
    m_bus->willAlwaysDo(serve);
}

void TstAwkwardserverQuery::cleanup()
{
    m_bus.reset();
}

void TstAwkwardserverQuery::lostPlace_isMadeGood_data()
{
    QTest::addColumn<QList<QByteArray>>("pieces");
    QTest::addColumn<int>("pauseMs");
    QTest::addColumn<QString>("line");
    const QByteArray whole = FakeBus::replyFrame(u"saveState"_s, 0);
    const QList<QByteArray> parts = inThree(whole);
    QTest::newRow("the payload comes too late")
        << QList<QByteArray>{parts.at(0) + parts.at(1), parts.at(2)} << 600 << u"critical: Incorrect reply data size"_s;
    QTest::newRow("the size line comes too late")
        << QList<QByteArray>{parts.at(0), parts.at(1) + parts.at(2)} << 600 << u"warning: "_s;
    QTest::newRow("another header") << QList<QByteArray>{"[-ANSWER-]\r\n" + parts.at(1) + parts.at(2)} << 0
                                    << u"critical: Incorrect reply header: [-ANSWER-]"_s;
    QTest::newRow("size too small") << QList<QByteArray>{parts.at(0) + "8\r\n" + parts.at(2)} << 0 << u"warning: "_s;
    QTest::newRow("size too large") << QList<QByteArray>{parts.at(0) + "800\r\n" + parts.at(2)} << 0
                                    << u"critical: Incorrect reply data size"_s;
    QTest::newRow("negative size") << QList<QByteArray>{parts.at(0) + "-8\r\n" + parts.at(2)} << 0
                                   << u"critical: Incorrect reply data size"_s;
    QTest::newRow("undecodable") << QList<QByteArray>{FakeBus::frame("[-REPLY-]", QByteArray(40, 'A'))} << 0
                                 << u"warning: "_s;
    QTest::newRow("beyond the bound") << QList<QByteArray>{parts.at(0) + "50331649\r\n" + parts.at(2)} << 0
                                      << u"critical: Incorrect reply data size"_s;
}

void TstAwkwardserverQuery::lostPlace_isMadeGood()
{
    QFETCH(QList<QByteArray>, pieces);
    QFETCH(int, pauseMs);
    QFETCH(QString, line);
    Worker worker;
    QVERIFY(worker.doStart());
    QCOMPARE(worker.applied.size(), 1);
    letConnectionsAge();
    m_bus->willSendInPieces(pieces, pauseMs);
    const LogCapture log;
    QVERIFY(!worker.saveState());
    QVERIFY(!worker.connection()->isOpen());
    QVERIFY2(log.texts().constLast().startsWith(line), qPrintable(log.texts().constLast()));
    QElapsedTimer time;
    time.start();
    QTRY_COMPARE(worker.applied.size(), 2);
    QVERIFY(time.elapsed() < AT_ONCE_MS);
    QCOMPARE(m_bus->connectionCount(), 2);
    QCOMPARE(worker.starts, 2);
    for (int exchange = 0; exchange < 20; ++exchange) {
        QVERIFY(worker.saveState());
    }
    worker.updateSettings();
    QCOMPARE(worker.applied, QStringList({PRINTER, PRINTER, PRINTER}));
    QCOMPARE(m_bus->connectionCount(), 2);
}

void TstAwkwardserverQuery::lostPlace_noFurtherExchangeOnThatConnection()
{
    Worker worker;
    QVERIFY(worker.doStart());
    letConnectionsAge();
    m_bus->willSend("rubbish\r\n");
    QVERIFY(!worker.saveState());
    const int requests = m_bus->requests().size();
    const LogCapture log;
    // The worker restarts in the next turn of the event loop.
    QVERIFY(!worker.saveState());
    worker.sendMessage(Message());
    QCOMPARE(m_bus->requests().size(), requests);
    // The same line as on a connection that the server has dropped.
    QCOMPARE(log.texts(), QStringList(WAIT_ERROR));
}

void TstAwkwardserverQuery::lostPlace_ofAYoungConnection_isMadeGoodAfter5s()
{
    Worker worker;
    QElapsedTimer time;
    time.start();
    QVERIFY(worker.doStart());
    m_bus->willSend("rubbish\r\n");
    QVERIFY(!worker.saveState());
    QTRY_COMPARE_WITH_TIMEOUT(worker.applied.size(), 2, LATEST_MS);
    QVERIFY(time.elapsed() >= EARLIEST_MS);
}

void TstAwkwardserverQuery::refusal_isAWholeReply()
{
    Worker worker;
    QVERIFY(worker.doStart());
    m_bus->willReply(u"saveState"_s, 5, u"no"_s);
    QVERIFY(!worker.saveState());
    QVERIFY(worker.connection()->isOpen());
    QVERIFY(worker.saveState());
    QTest::qWait(50);
    QCOMPARE(m_bus->connectionCount(), 1);
    QCOMPARE(worker.starts, 1);
}

void TstAwkwardserverQuery::unaskedBytes_areALostPlace_data()
{
    QTest::addColumn<bool>("inTheLoop");
    QTest::newRow("seen by the event loop") << true;
    QTest::newRow("seen by the next exchange") << false;
}

void TstAwkwardserverQuery::unaskedBytes_areALostPlace()
{
    QFETCH(bool, inTheLoop);
    Worker worker;
    QVERIFY(worker.doStart());
    letConnectionsAge();
    std::promise<void> sent;
    m_bus->willDo([&sent](FakeBus::Peer& peer, const FakeBus::Request& request) {
        FakeBus::answer(peer, request);
        // A second answer, which would be taken for the answer to the next request.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        peer.send(FakeBus::replyFrame(u"saveState"_s, 7));
        sent.set_value();
    });
    QVERIFY(worker.saveState());
    sent.get_future().wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (!inTheLoop) {
        const int requests = m_bus->requests().size();
        const LogCapture log;
        QVERIFY(!worker.saveState());
        QCOMPARE(log.texts(), QStringList(WAIT_ERROR));
        QCOMPARE(m_bus->requests().size(), requests);
    }
    QTRY_COMPARE(worker.applied.size(), 2);
    QCOMPARE(m_bus->connectionCount(), 2);
    QVERIFY(worker.saveState());
}

void TstAwkwardserverQuery::settingsOfAnother_areNotApplied_data()
{
    QTest::addColumn<QString>("owner");
    QTest::addColumn<bool>("isApplied");
    QTest::newRow("own") << PRINTER << true;
    QTest::newRow("nobody's") << QString() << true;
    QTest::newRow("another's") << u"cashbox"_s << false;
    QTest::newRow("in capitals") << u"Printer"_s << false;
}

void TstAwkwardserverQuery::settingsOfAnother_areNotApplied()
{
    QFETCH(QString, owner);
    QFETCH(bool, isApplied);
    m_bus->willSend(settingsReply(owner));
    Worker worker;
    const LogCapture log;
    QVERIFY(worker.doStart());
    QCOMPARE(worker.applied, isApplied ? QStringList(owner) : QStringList());
    QCOMPARE(log.texts().contains(LOADING_LINE), !isApplied);
    // The exchange itself was in order.
    QVERIFY(worker.connection()->isOpen());
}

void TstAwkwardserverQuery::handshakeNotAccepted_isTriedAgain_data()
{
    QTest::addColumn<FakeBus::Action>("action");
    QTest::newRow("refused") << replies(u"handshake"_s, 3);
    QTest::newRow("accepted under another name") << replies(u"welcome"_s);
}

void TstAwkwardserverQuery::handshakeNotAccepted_isTriedAgain()
{
    QFETCH(FakeBus::Action, action);
    m_bus->willAnswerHandshake(action);
    Worker worker;
    QElapsedTimer time;
    time.start();
    QVERIFY(worker.doStart());
    QVERIFY(!worker.connection()->isOpen());
    QCOMPARE(worker.applied, QStringList());
    QCOMPARE(m_bus->requests().size(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(worker.applied.size(), 1, LATEST_MS);
    QVERIFY(time.elapsed() >= EARLIEST_MS);
    QCOMPARE(worker.starts, 2);
}

void TstAwkwardserverQuery::handshakeRefusedLater_isTriedAgain()
{
    Worker worker;
    QVERIFY(worker.doStart());
    m_bus->willReply(u"handshake"_s, 3);
    QVERIFY(!worker.saveState());
    QVERIFY(!worker.connection()->isOpen());
    QTRY_COMPARE_WITH_TIMEOUT(worker.applied.size(), 2, LATEST_MS);
    QCOMPARE(m_bus->connectionCount(), 2);
}

void TstAwkwardserverQuery::serverThatDropsEveryConnection_isNotStormed_data()
{
    QTest::addColumn<int>("stage");
    QTest::newRow("before the handshake is answered") << 0;
    QTest::newRow("after it") << 1;
    QTest::newRow("in the middle of the first exchange") << 2;
}

void TstAwkwardserverQuery::serverThatDropsEveryConnection_isNotStormed()
{
    QFETCH(int, stage);
    for (int connection = 0; connection < 100; ++connection) {
        m_bus->willAnswerHandshake([stage](FakeBus::Peer& peer, const FakeBus::Request&) {
            if (stage > 0) {
                peer.send(FakeBus::acceptance());
            }
            if (stage < 2) {
                peer.close();
            }
        });
        m_bus->willClose();
    }
    const LogCapture log;
    Worker worker;
    QVERIFY(worker.doStart());
    QTest::qWait(9000);
    QVERIFY2(m_bus->connectionCount() >= 2 && m_bus->connectionCount() <= 3,
             qPrintable(QString::number(m_bus->connectionCount())));
    QVERIFY2(log.texts().size() <= 20, qPrintable(QString::number(log.texts().size())));
}

void TstAwkwardserverQuery::restartByTheService_isNotDelayed()
{
    m_bus->willAnswerHandshake(sendsAndCloses(QByteArray()));
    Worker worker;
    QElapsedTimer time;
    time.start();
    QVERIFY(worker.doStart());
    QTest::qWait(500);
    QCOMPARE(m_bus->connectionCount(), 1);
    worker.restart();
    QTRY_COMPARE(worker.applied.size(), 1);
    QVERIFY(time.elapsed() < AT_ONCE_MS);
}

void TstAwkwardserverQuery::replyGivenTwice_isNotTakenForTheSettings()
{
    Worker worker;
    QVERIFY(worker.doStart());
    letConnectionsAge();
    m_bus->willAlwaysDo([](FakeBus::Peer& peer, const FakeBus::Request& request) {
        if (request.operation == QLatin1String("loadSettings")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        serve(peer, request);
    });
    m_bus->willDo([](FakeBus::Peer& peer, const FakeBus::Request& request) {
        FakeBus::answer(peer, request);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        FakeBus::answer(peer, request);
    });
    QVERIFY(worker.saveState());
    // The second answer comes while this request is under way.
    worker.updateSettings();
    QTRY_COMPARE(m_bus->connectionCount(), 2);
    QTRY_VERIFY(worker.applied.size() >= 2);
    QCOMPARE(worker.applied.count(PRINTER), worker.applied.size());
}

void TstAwkwardserverQuery::updatesThatQueuedUp_doNotStorm()
{
    for (int connection = 0; connection < 100; ++connection) {
        m_bus->willAnswerHandshake(sendsAndCloses(QByteArray()));
    }
    Worker worker;
    QVERIFY(worker.doStart());
    for (int call = 0; call < 30; ++call) {
        QMetaObject::invokeMethod(&worker, "updateSettings", Qt::QueuedConnection);
    }
    QTest::qWait(3000);
    QCOMPARE(m_bus->connectionCount(), 1);
}

void TstAwkwardserverQuery::updatesThatQueuedUp_whileTheBusIsAway_tryOnce()
{
    m_bus.reset();
    Worker worker;
    QVERIFY(worker.doStart());
    const LogCapture log;
    for (int call = 0; call < 30; ++call) {
        worker.updateSettings();
    }
    QCOMPARE(log.texts(), QStringList(REFUSED_LINE));
}

// Each failed attempt to forward a line is logged, and the new line is forwarded as well.
void TstAwkwardserverQuery::spoiltReplyToALogLine_costsFewLines()
{
    std::atomic<bool> spoils{false};
    m_bus->willAlwaysDo([&spoils](FakeBus::Peer& peer, const FakeBus::Request& request) {
        const QList<QByteArray> parts = inThree(FakeBus::replyFrame(request.operation, 0));
        if (spoils && request.operation == QLatin1String("sendMessage")) {
            spoils = false;
            peer.send(parts.at(0) + QByteArray::number(parts.at(2).size() + 8) + "\r\n" + parts.at(2));
        } else {
            FakeBus::answer(peer, request);
        }
    });
    const LogCapture log;
    Service service;
    auto* const worker = new ServiceWorker;
    service.initWorkers(nullptr, worker);
    QTRY_COMPARE(worker->applied.load(), 1);
    letConnectionsAge();
    spoils = true;
    qWarning("kick");
    QTRY_COMPARE(worker->applied.load(), 2);
    QTest::qWait(1000);
    QVERIFY2(log.texts().size() <= 10, qPrintable(log.texts().join(QLatin1Char('\n'))));
    QCOMPARE(m_bus->connectionCount(), 2);
}

QTEST_GUILESS_MAIN(TstAwkwardserverQuery)
#include "tst_awkwardserver_query.moc"
