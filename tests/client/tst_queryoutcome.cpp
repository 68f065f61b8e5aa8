#include "client/queryoutcome.h"

#include "client/tarvexqueryhandler.h"
#include "client/tarvexqueryworker.h"
#include "fakebus.h"
#include "literals.h"
#include "samples.h"

#include <QTcpSocket>
#include <QTest>

#include <memory>

using namespace tarvex;

namespace {

constexpr int NEVER_MS = 1000000;
/// As it crosses the wire, control characters included.
const QString TEXT = u"no\t\u001b[1msettings\n"_s;

QueryOutcome outcome(QueryOutcome::Kind kind, quint16 code = 0, const QString& text = QString())
{
    return QueryOutcome(kind, code, text);
}

FakeBus::Action sends(const QByteArray& bytes)
{
    return [bytes](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(bytes); };
}

FakeBus::Action sendsAndCloses(const QByteArray& bytes)
{
    return [bytes](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(bytes);
        peer.close();
    };
}

class Worker : public TarvexQueryWorker
{
public:
    Worker() : TarvexQueryWorker(NEVER_MS, u"printer"_s) { }

    void doSendState() override { handler->saveState(ClientState()); }

    void doApplySettings(ClientSettings settings) override { Q_UNUSED(settings) }

    QueryOutcome lastOutcome() const { return handler->lastOutcome(); }
};

} // namespace

Q_DECLARE_METATYPE(FakeBus::Action)
Q_DECLARE_METATYPE(QueryOutcome)

namespace tarvex {

/// What QCOMPARE shows.
char* toString(const QueryOutcome& outcome)
{
    return QTest::toString(outcome.toString());
}

} // namespace tarvex

/// The outcomes that need half a minute each are in tst_connection_timeouts.
class TstQueryOutcome : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void value_keepsWhatItIsMadeOf();
    void value_isComparedWhole();
    void value_asText_data();
    void value_asText();
    void handler_beforeTheFirstExchange_isNotOpen();
    void open_tells_data();
    void open_tells();
    void open_withoutServer_isUnreachable();
    void open_withoutSocket_isUnreachable();
    void request_tells_data();
    void request_tells();
    void request_withoutConnection_isNotOpen();
    void request_whoseSocketGoes_isLost();
    void whatAsksNothing_leavesIt();
    void settingsList_tellsOfTheFirstFailure();
    void slotDuringAnExchange_seesTheOneBefore();
    void slotThatAsksItself_changesNothing();
    void worker_lostPlace_isToldOnce();
    void worker_replyToAnotherOperation_isNotUnderstood();
    void worker_ownCalls_areTold();

private:
    std::unique_ptr<FakeBus> m_bus;
    std::unique_ptr<TarvexQueryHandler> m_handler;
};

void TstQueryOutcome::init()
{
    m_bus = std::make_unique<FakeBus>();
    m_handler = std::make_unique<TarvexQueryHandler>(u"printer"_s);
}

void TstQueryOutcome::cleanup()
{
    m_handler.reset();
    m_bus.reset();
}

void TstQueryOutcome::value_keepsWhatItIsMadeOf()
{
    const QueryOutcome refused = outcome(QueryOutcome::Refused, 65535, TEXT);
    QCOMPARE(refused.kind(), QueryOutcome::Refused);
    QCOMPARE(refused.code(), quint16(65535));
    QCOMPARE(refused.text(), TEXT);
    QVERIFY(!refused.isDone());
    QVERIFY(QueryOutcome(QueryOutcome::Done).isDone());
    QCOMPARE(QueryOutcome(), outcome(QueryOutcome::NotOpen));
}

void TstQueryOutcome::value_isComparedWhole()
{
    const QueryOutcome refused = outcome(QueryOutcome::Refused, 5, TEXT);
    QVERIFY(refused == outcome(QueryOutcome::Refused, 5, TEXT)
            && !(refused != outcome(QueryOutcome::Refused, 5, TEXT)));
    for (const QueryOutcome& other : {outcome(QueryOutcome::HandshakeRefused, 5, TEXT),
                                      outcome(QueryOutcome::Refused, 6, TEXT), outcome(QueryOutcome::Refused, 5)}) {
        QVERIFY(refused != other && !(refused == other));
    }
}

void TstQueryOutcome::value_asText_data()
{
    QTest::addColumn<QueryOutcome>("value");
    QTest::addColumn<QString>("text");
    const auto row = [](const QueryOutcome& value, const QString& text) {
        QTest::newRow(qPrintable(text)) << value << text;
    };
    row(outcome(QueryOutcome::Done), u"done"_s);
    row(outcome(QueryOutcome::NotOpen), u"not open"_s);
    row(outcome(QueryOutcome::Unreachable), u"unreachable"_s);
    row(outcome(QueryOutcome::HandshakeRefused, 3, u"who?"_s), u"handshake refused: 3 who?"_s);
    row(outcome(QueryOutcome::Refused, 5, TEXT), u"refused: 5 "_s + TEXT);
    row(outcome(QueryOutcome::Refused, 5), u"refused: 5"_s);
    row(outcome(QueryOutcome::Refused, 0, u"so"_s), u"refused: so"_s);
    row(outcome(QueryOutcome::Lost), u"connection lost"_s);
    row(outcome(QueryOutcome::TimedOut), u"timed out"_s);
    row(outcome(QueryOutcome::NotUnderstood), u"reply not understood"_s);
}

void TstQueryOutcome::value_asText()
{
    QFETCH(QueryOutcome, value);
    QTEST(value.toString(), "text");
}

void TstQueryOutcome::handler_beforeTheFirstExchange_isNotOpen()
{
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::NotOpen));
}

void TstQueryOutcome::open_tells_data()
{
    QTest::addColumn<FakeBus::Action>("action");
    QTest::addColumn<bool>("opens");
    QTest::addColumn<QueryOutcome>("expected");
    const auto reply = [](const QString& operation, int code) {
        return FakeBus::replyFrame(operation, code, code == 0 ? QString() : TEXT);
    };
    QTest::newRow("accepted") << sends(reply(u"handshake"_s, 0)) << true << outcome(QueryOutcome::Done);
    QTest::newRow("refused") << sends(reply(u"handshake"_s, 3)) << false
                             << outcome(QueryOutcome::HandshakeRefused, 3, TEXT);
    QTest::newRow("refused under another name")
        << sends(reply(u"welcome"_s, 3)) << false << outcome(QueryOutcome::HandshakeRefused, 3, TEXT);
    QTest::newRow("accepted under another name")
        << sends(reply(u"welcome"_s, 0)) << true << outcome(QueryOutcome::NotUnderstood);
    QTest::newRow("no bus") << sendsAndCloses("HTTP/1.1 400 Bad Request\r\n\r\n") << false
                            << outcome(QueryOutcome::NotUnderstood);
    QTest::newRow("closed") << sendsAndCloses(QByteArray()) << false << outcome(QueryOutcome::Lost);
}

void TstQueryOutcome::open_tells()
{
    QFETCH(FakeBus::Action, action);
    m_bus->willAnswerHandshake(action);
    QTEST(m_handler->open(), "opens");
    QTEST(m_handler->lastOutcome(), "expected");
}

void TstQueryOutcome::open_withoutServer_isUnreachable()
{
    m_bus.reset();
    QVERIFY(!m_handler->open());
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Unreachable));
}

void TstQueryOutcome::open_withoutSocket_isUnreachable()
{
    delete m_handler->findChild<QTcpSocket*>();
    QVERIFY(!m_handler->open());
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Unreachable));
    QVERIFY(!m_handler->saveState(ClientState()));
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::NotOpen));
}

void TstQueryOutcome::request_tells_data()
{
    QTest::addColumn<FakeBus::Action>("action");
    QTest::addColumn<QueryOutcome>("expected");
    const QByteArray whole = FakeBus::replyFrame(u"saveState"_s, 0);
    const QByteArray undecodable = FakeBus::frame("[-REPLY-]", QByteArray(40, 'A'));
    const auto row = [](const char* name, const FakeBus::Action& action, const QueryOutcome& expected) {
        QTest::newRow(name) << action << expected;
    };
    const auto refuses = [](const QString& operation, int code) {
        return sends(FakeBus::replyFrame(operation, code, TEXT));
    };
    row("done", sends(whole), outcome(QueryOutcome::Done));
    row("done and closed", sendsAndCloses(whole), outcome(QueryOutcome::Done));
    row("reply to another operation", sends(FakeBus::replyFrame(u"else"_s, 0)), outcome(QueryOutcome::Done));
    row("text, but code 0", refuses(u"saveState"_s, 0), outcome(QueryOutcome::Done));
    row("refused", refuses(u"saveState"_s, 512), outcome(QueryOutcome::Refused, 512, TEXT));
    row("refused with 17 bits", refuses(u"saveState"_s, 65538), outcome(QueryOutcome::Refused, 2, TEXT));
    row("refused as a handshake", refuses(u"handshake"_s, 3), outcome(QueryOutcome::HandshakeRefused, 3, TEXT));
    row("closed", sendsAndCloses(QByteArray()), outcome(QueryOutcome::Lost));
    row(
        "reset", [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.reset(); }, outcome(QueryOutcome::Lost));
    row("closed in the header line", sendsAndCloses(whole.left(5)), outcome(QueryOutcome::Lost));
    row("closed after the header line", sendsAndCloses(whole.left(11)), outcome(QueryOutcome::Lost));
    row("closed in the size line", sendsAndCloses(whole.left(12)), outcome(QueryOutcome::Lost));
    row("closed in the payload", sendsAndCloses(whole.chopped(1)), outcome(QueryOutcome::Lost));
    row("short payload", sends(whole.chopped(1)), outcome(QueryOutcome::NotUnderstood));
    row("wrong header", sends("[-ANSWER-]\r\n"), outcome(QueryOutcome::NotUnderstood));
    row("wrong header without an end", sends("[-ANS"), outcome(QueryOutcome::NotUnderstood));
    row("wrong header and closed", sendsAndCloses("[-ANSWER-]\r\n"), outcome(QueryOutcome::NotUnderstood));
    row("long header and closed", sendsAndCloses("[-ANOTHERKINDOFBUS-]"), outcome(QueryOutcome::NotUnderstood));
    row("negative size and closed", sendsAndCloses("[-REPLY-]\r\n-5\r\n"), outcome(QueryOutcome::NotUnderstood));
    row("beyond the bound", sends("[-REPLY-]\r\n50331649\r\n"), outcome(QueryOutcome::NotUnderstood));
    row("undecodable", sends(undecodable), outcome(QueryOutcome::NotUnderstood));
    row("undecodable and closed", sendsAndCloses(undecodable), outcome(QueryOutcome::NotUnderstood));
}

void TstQueryOutcome::request_tells()
{
    QFETCH(FakeBus::Action, action);
    QFETCH(QueryOutcome, expected);
    m_bus->willDo(action);
    QVERIFY(m_handler->open());
    QCOMPARE(m_handler->saveState(ClientState()), expected.isDone());
    QCOMPARE(m_handler->lastOutcome(), expected);
}

void TstQueryOutcome::request_withoutConnection_isNotOpen()
{
    m_bus->willReply(u"saveState"_s, 5);
    QVERIFY(m_handler->open());
    QVERIFY(!m_handler->saveState(ClientState()));
    m_handler->close();
    QVERIFY(!m_handler->saveState(ClientState()));
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::NotOpen));

    QVERIFY(m_handler->open());
    m_bus->dropConnections();
    QTRY_VERIFY(!m_handler->isOpen());
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Done));
    QVERIFY(!m_handler->saveState(ClientState()));
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::NotOpen));
}

void TstQueryOutcome::request_whoseSocketGoes_isLost()
{
    m_bus->willDo(sendsAndCloses("[-REPLY-]\r\n5000\r\nabc"));
    QVERIFY(m_handler->open());
    connect(m_handler.get(), &TarvexQueryHandler::busDisconnected, m_handler.get(),
            [this] { delete m_handler->findChild<QTcpSocket*>(); });
    QVERIFY(!m_handler->saveState(ClientState()));
    QVERIFY(m_handler->findChild<QTcpSocket*>() == nullptr);
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Lost));
}

void TstQueryOutcome::whatAsksNothing_leavesIt()
{
    m_bus->willReply(u"saveState"_s, 5, TEXT);
    QVERIFY(m_handler->open());
    QVERIFY(!m_handler->saveState(ClientState()));
    QVERIFY(m_handler->open());
    QVERIFY(m_handler->subscribe(QStringList()));
    QVERIFY(m_handler->saveSettings(QList<ClientSettings>()));
    m_handler->close();
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Refused, 5, TEXT));
}

void TstQueryOutcome::settingsList_tellsOfTheFirstFailure()
{
    const QList<ClientSettings> list{ClientSettings(), ClientSettings(), ClientSettings(), ClientSettings()};
    for (const int code : {0, 512, 256, 0, 0, 0, 0, 0}) {
        m_bus->willReply(u"saveSettings"_s, code);
    }
    QVERIFY(m_handler->open());
    QVERIFY(!m_handler->saveSettings(list));
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Refused, 512));
    QVERIFY(m_handler->saveSettings(list));
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Done));
}

void TstQueryOutcome::slotDuringAnExchange_seesTheOneBefore()
{
    m_bus->willReply(u"saveState"_s, 5, TEXT);
    m_bus->willClose();
    QVERIFY(m_handler->open());
    QVERIFY(!m_handler->saveState(ClientState()));
    QueryOutcome seen;
    connect(m_handler.get(), &TarvexQueryHandler::busDisconnected, m_handler.get(),
            [this, &seen] { seen = m_handler->lastOutcome(); });
    QVERIFY(!m_handler->saveState(ClientState()));
    QCOMPARE(seen, outcome(QueryOutcome::Refused, 5, TEXT));
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Lost));
}

void TstQueryOutcome::slotThatAsksItself_changesNothing()
{
    m_bus->willClose();
    QVERIFY(m_handler->open());
    QueryOutcome inside;
    connect(m_handler.get(), &TarvexQueryHandler::busDisconnected, m_handler.get(), [this, &inside] {
        m_handler->saveState(ClientState());
        inside = m_handler->lastOutcome();
    });
    QVERIFY(!m_handler->saveState(ClientState()));
    QCOMPARE(inside, outcome(QueryOutcome::NotOpen));
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Lost));
}

// The worker ends the connection before the call returns; that is not what the call failed for.
void TstQueryOutcome::worker_lostPlace_isToldOnce()
{
    m_bus->willReply(u"loadSettings"_s);
    m_bus->willSend("[-ANSWER-]\r\n");
    Worker worker;
    QVERIFY(worker.doStart());
    worker.doSendState();
    QCOMPARE(worker.lastOutcome(), outcome(QueryOutcome::NotUnderstood));
    worker.doSendState();
    QCOMPARE(worker.lastOutcome(), outcome(QueryOutcome::NotOpen));
}

void TstQueryOutcome::worker_replyToAnotherOperation_isNotUnderstood()
{
    m_bus->willReply(u"loadSettings"_s);
    m_bus->willReply(u"loadSettings"_s);
    Worker worker;
    QVERIFY(worker.doStart());
    worker.doSendState();
    QCOMPARE(worker.lastOutcome(), outcome(QueryOutcome::NotUnderstood));
}

void TstQueryOutcome::worker_ownCalls_areTold()
{
    m_bus->willReply(u"loadSettings"_s, 5, TEXT);
    m_bus->willReply(u"sendMessage"_s, 2, TEXT);
    Worker worker;
    QVERIFY(worker.doStart());
    QCOMPARE(worker.lastOutcome(), outcome(QueryOutcome::Refused, 5, TEXT));
    worker.sendMessage(samples::someMessage());
    QCOMPARE(worker.lastOutcome(), outcome(QueryOutcome::Refused, 2, TEXT));
}

QTEST_GUILESS_MAIN(TstQueryOutcome)
#include "tst_queryoutcome.moc"
