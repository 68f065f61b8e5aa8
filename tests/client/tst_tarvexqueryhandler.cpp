#include "client/tarvexqueryhandler.h"

#include "fakebus.h"
#include "literals.h"
#include "logcapture.h"
#include "queryside.h"
#include "reconnection.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

#include <future>
#include <memory>

using namespace tarvex;
using namespace queryside;
using namespace reconnection;

/// The handler's connection: how it is opened, lost and closed. tst_queryreplies tests what becomes of a reply.
class TstTarvexQueryHandler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void construct_isClosed();
    void open_withoutServer_fails();
    void open_answered_data();
    void open_answered();
    void open_asksForTheHandshakeAlone();
    void open_whenOpen_doesNothing();
    void open_betweenConnectAndReply_isNotOpen();
    void reopenedUnderAnotherName_isNotOpen();
    void request_whenClosed_isSilent();
    void request_afterServerWent_fails();
    void request_afterNoticedDrop_logsOnce();
    void serverDrop_isReportedOnce();
    void close_isSilent();
    void close_pausesBeforeItDisconnects();
    void close_thenOpen_worksAgain();
    void socketGone_everythingFails();

private:
    bool saveState() { return m_handler->saveState(ClientState()); }

    std::unique_ptr<FakeBus> m_bus;
    std::unique_ptr<TarvexQueryHandler> m_handler;
    std::unique_ptr<QSignalSpy> m_connected;
    std::unique_ptr<QSignalSpy> m_disconnected;
};

void TstTarvexQueryHandler::init()
{
    m_bus = std::make_unique<FakeBus>();
    m_handler = std::make_unique<TarvexQueryHandler>(PRINTER);
    m_connected = std::make_unique<QSignalSpy>(m_handler.get(), SIGNAL(tarvexConnected()));
    m_disconnected = std::make_unique<QSignalSpy>(m_handler.get(), SIGNAL(busDisconnected()));
}

void TstTarvexQueryHandler::cleanup()
{
    m_connected.reset();
    m_disconnected.reset();
    m_handler.reset();
    m_bus.reset();
}

void TstTarvexQueryHandler::construct_isClosed()
{
    QObject parent;
    const auto* handler = new TarvexQueryHandler(PRINTER, &parent);
    QCOMPARE(handler->parent(), &parent);
    QCOMPARE(handler->clientName(), PRINTER);
    QVERIFY(!handler->isOpen());
    QVERIFY(!handler->handshaked());
    QVERIFY(handler->findChild<QTcpSocket*>() != nullptr);
    QCOMPARE(handler->lastOutcome(), QueryOutcome(QueryOutcome::NotOpen));
}

void TstTarvexQueryHandler::open_withoutServer_fails()
{
    m_bus.reset();
    const LogCapture log;
    QVERIFY(!m_handler->open());
    QVERIFY(!m_handler->isOpen());
    QCOMPARE(m_connected->count(), 0);
    QCOMPARE(log.texts(), QStringList(REFUSED_LINE));
    QCOMPARE(m_handler->lastOutcome(), QueryOutcome(QueryOutcome::Unreachable));
}

void TstTarvexQueryHandler::open_answered_data()
{
    QTest::addColumn<FakeBus::Action>("action");
    QTest::addColumn<bool>("opens");
    QTest::addColumn<QueryOutcome>("outcome");
    QTest::addColumn<QStringList>("log");
    const auto row = [](const char* name, const FakeBus::Action& action, bool opens, const QueryOutcome& outcome,
                        const QStringList& log = {}) { QTest::newRow(name) << action << opens << outcome << log; };
    const QueryOutcome refused(QueryOutcome::HandshakeRefused, 3, u"three"_s);
    row("accepted", replies(u"handshake"_s), true, QueryOutcome(QueryOutcome::Done));
    row("accepted with an empty low 16 bits", replies(u"handshake"_s, 65536), true, QueryOutcome(QueryOutcome::Done));
    row("accepted under another name", replies(u"welcome"_s), true, QueryOutcome(QueryOutcome::NotUnderstood));
    row("refused", replies(u"handshake"_s, 3, u"three"_s), false, refused);
    row("refused under another name", replies(u"welcome"_s, 3, u"three"_s), false, refused,
        {u"critical: 3 \tthree \twelcome \t{} \t{\"code\":3,\"description\":\"three\"}"_s});
    row("no bus", sendsAndCloses("HTTP/1.1 400 Bad Request\r\n\r\n"), false, QueryOutcome(QueryOutcome::NotUnderstood),
        {u"critical: Incorrect reply header: HTTP/1.1 400 Ba"_s});
    row("closed", sendsAndCloses(QByteArray()), false, QueryOutcome(QueryOutcome::Lost), {CLOSED_LINE, WAIT_ERROR});
}

void TstTarvexQueryHandler::open_answered()
{
    QFETCH(FakeBus::Action, action);
    QFETCH(bool, opens);
    QFETCH(QueryOutcome, outcome);
    m_bus->willAnswerHandshake(action);
    const LogCapture log;
    QCOMPARE(m_handler->open(), opens);
    QTEST(log.texts(), "log");
    QCOMPARE(m_handler->lastOutcome(), outcome);
    QCOMPARE(m_handler->isOpen(), outcome.isDone());
    QCOMPARE(m_handler->handshaked(), outcome.isDone());
    QCOMPARE(isClosed(*m_handler), !opens);
    QTest::qWait(20);
    QCOMPARE(m_connected->count(), opens ? 1 : 0);
    QCOMPARE(m_disconnected->count(), outcome.kind() == QueryOutcome::Lost ? 1 : 0);
    if (!opens) {
        QVERIFY(m_handler->open());
        QCOMPARE(m_connected->count(), 1);
        QCOMPARE(m_bus->connectionCount(), 2);
    }
}

void TstTarvexQueryHandler::open_asksForTheHandshakeAlone()
{
    QVERIFY(m_handler->open());
    QCOMPARE(m_bus->handshakes().size(), 1);
    const FakeBus::Request handshake = m_bus->handshakes().constFirst();
    QVERIFY(handshake.frame.startsWith("[-REQUEST-]\r\n"));
    const QVariantMap envelope{{u"operation"_s, u"handshake"_s}, {u"data"_s, QVariantMap{{u"name"_s, PRINTER}}}};
    QCOMPARE(handshake.envelope, envelope);
    QCOMPARE(m_bus->requests().size(), 0);
}

void TstTarvexQueryHandler::open_whenOpen_doesNothing()
{
    QVERIFY(m_handler->open());
    QVERIFY(m_handler->open());
    QCOMPARE(m_connected->count(), 1);
    QCOMPARE(m_bus->handshakes().size(), 1);
    QCOMPARE(m_bus->connectionCount(), 1);
}

void TstTarvexQueryHandler::open_betweenConnectAndReply_isNotOpen()
{
    bool wasConnected = false;
    bool wasOpen = true;
    connect(m_handler->findChild<QTcpSocket*>(), &QTcpSocket::connected, m_handler.get(), [&] {
        wasConnected = true;
        wasOpen = m_handler->isOpen();
    });
    QVERIFY(m_handler->open());
    QVERIFY(wasConnected);
    QVERIFY(!wasOpen);
}

// The acceptance of the connection that was lost says nothing about this one.
void TstTarvexQueryHandler::reopenedUnderAnotherName_isNotOpen()
{
    QVERIFY(m_handler->open());
    m_bus->dropConnections();
    QTRY_VERIFY(!m_handler->isOpen());
    m_bus->willAnswerHandshake(replies(u"welcome"_s));
    QVERIFY(m_handler->open());
    QVERIFY(!m_handler->isOpen());
}

void TstTarvexQueryHandler::request_whenClosed_isSilent()
{
    const LogCapture log;
    QVERIFY(!saveState());
    QCOMPARE(m_bus->connectionCount(), 0);
    QVERIFY(m_handler->open());
    m_handler->close();
    QVERIFY(!saveState());
    QCOMPARE(m_handler->lastOutcome(), QueryOutcome(QueryOutcome::NotOpen));
    QCOMPARE(m_bus->requests().size(), 0);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryHandler::request_afterServerWent_fails()
{
    QVERIFY(m_handler->open());
    m_bus->dropConnections();
    const LogCapture log;
    QVERIFY(!saveState());
    QVERIFY(!m_handler->isOpen());
    QCOMPARE(m_disconnected->count(), 1);
    QCOMPARE(log.texts().constLast(), WAIT_ERROR);
    QVERIFY(m_handler->open());
}

void TstTarvexQueryHandler::request_afterNoticedDrop_logsOnce()
{
    QVERIFY(m_handler->open());
    m_bus->dropConnections();
    QVERIFY(m_disconnected->wait(20000));
    QCOMPARE(m_handler->lastOutcome(), QueryOutcome(QueryOutcome::Done));
    const LogCapture log;
    QVERIFY(!saveState());
    QCOMPARE(log.texts(), QStringList(WAIT_ERROR));
    QCOMPARE(m_handler->lastOutcome(), QueryOutcome(QueryOutcome::NotOpen));
}

void TstTarvexQueryHandler::serverDrop_isReportedOnce()
{
    QVERIFY(m_handler->open());
    const LogCapture log;
    m_bus->dropConnections();
    QVERIFY(m_disconnected->wait(20000));
    QVERIFY(!m_handler->isOpen());
    QVERIFY(m_handler->handshaked());
    QCOMPARE(m_disconnected->count(), 1);
    QCOMPARE(log.texts(), QStringList(CLOSED_LINE));
    m_handler->close();
    QVERIFY(!m_handler->handshaked());
}

void TstTarvexQueryHandler::close_isSilent()
{
    QVERIFY(m_handler->open());
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    m_handler->close();
    QVERIFY(timer.elapsed() >= 99);
    QVERIFY(!m_handler->isOpen());
    QVERIFY(!m_handler->handshaked());
    m_bus->dropConnections();
    QTest::qWait(50);
    QCOMPARE(m_disconnected->count(), 0);
    QCOMPARE(log.texts(), QStringList());
}

// The server's last bytes have this time to arrive, and a busy server has it to read ours.
void TstTarvexQueryHandler::close_pausesBeforeItDisconnects()
{
    std::promise<qint64> seen;
    QElapsedTimer timer;
    timer.start();
    m_bus->willAnswerHandshake([&seen, &timer](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        peer.waitForClose();
        seen.set_value(timer.elapsed());
    });
    QVERIFY(m_handler->open());
    const qint64 before = timer.elapsed();
    m_handler->close();
    QVERIFY(seen.get_future().get() - before >= 99);
}

void TstTarvexQueryHandler::close_thenOpen_worksAgain()
{
    m_bus->willReply(u"saveState"_s);
    QVERIFY(m_handler->open());
    m_handler->close();
    QVERIFY(m_handler->open());
    QVERIFY(saveState());
    QCOMPARE(m_bus->handshakes().size(), 2);
    m_bus->dropConnections();
    QVERIFY(m_disconnected->wait(20000));
}

void TstTarvexQueryHandler::socketGone_everythingFails()
{
    QVERIFY(m_handler->open());
    delete m_handler->findChild<QTcpSocket*>();
    const LogCapture log;
    QVERIFY(!m_handler->isOpen());
    QVERIFY(!m_handler->open());
    QCOMPARE(m_handler->lastOutcome(), QueryOutcome(QueryOutcome::Unreachable));
    QVERIFY(!saveState());
    QCOMPARE(m_handler->lastOutcome(), QueryOutcome(QueryOutcome::NotOpen));
    m_handler->close();
    QCOMPARE(log.texts(), QStringList());
}

QTEST_GUILESS_MAIN(TstTarvexQueryHandler)
#include "tst_tarvexqueryhandler.moc"
