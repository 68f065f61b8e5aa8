#include "client/queryoutcome.h"

#include "client/tarvexqueryhandler.h"
#include "fakebus.h"
#include "literals.h"
#include "queryside.h"
#include "samples.h"

#include <QTest>

#include <memory>

using namespace tarvex;
using namespace queryside;

namespace {

const QString TEXT = u"no\t\u001b[1msettings\n"_s;

QueryOutcome outcome(QueryOutcome::Kind kind, quint16 code = 0, const QString& text = QString())
{
    return QueryOutcome(kind, code, text);
}

} // namespace

/// The value, and what lastOutcome() tells over several calls. tst_tarvexqueryhandler tests the outcome of open(),
/// tst_queryreplies that of one request, and tst_connection_timeouts those that take half a minute.
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
    QueryOutcome m_seen; ///< By a slot.
};

void TstQueryOutcome::init()
{
    m_bus = std::make_unique<FakeBus>();
    m_handler = std::make_unique<TarvexQueryHandler>(PRINTER);
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
    connect(m_handler.get(), &TarvexQueryHandler::busDisconnected, m_handler.get(),
            [this] { m_seen = m_handler->lastOutcome(); });
    QVERIFY(!m_handler->saveState(ClientState()));
    QCOMPARE(m_seen, outcome(QueryOutcome::Refused, 5, TEXT));
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Lost));
}

void TstQueryOutcome::slotThatAsksItself_changesNothing()
{
    m_bus->willClose();
    QVERIFY(m_handler->open());
    connect(m_handler.get(), &TarvexQueryHandler::busDisconnected, m_handler.get(), [this] {
        m_handler->saveState(ClientState());
        m_seen = m_handler->lastOutcome();
    });
    QVERIFY(!m_handler->saveState(ClientState()));
    QCOMPARE(m_seen, outcome(QueryOutcome::NotOpen));
    QCOMPARE(m_handler->lastOutcome(), outcome(QueryOutcome::Lost));
}

// The worker ends the connection before the call returns. That is not the reason why the call failed.
void TstQueryOutcome::worker_lostPlace_isToldOnce()
{
    m_bus->willReply(u"loadSettings"_s);
    m_bus->willSend("[-ANSWER-]\r\n");
    Worker worker;
    QVERIFY(worker.doStart());
    QVERIFY(!worker.saveState());
    QCOMPARE(worker.lastOutcome(), outcome(QueryOutcome::NotUnderstood));
    QVERIFY(!worker.saveState());
    QCOMPARE(worker.lastOutcome(), outcome(QueryOutcome::NotOpen));
}

void TstQueryOutcome::worker_replyToAnotherOperation_isNotUnderstood()
{
    m_bus->willReply(u"loadSettings"_s);
    m_bus->willReply(u"loadSettings"_s);
    Worker worker;
    QVERIFY(worker.doStart());
    QVERIFY(!worker.saveState());
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
