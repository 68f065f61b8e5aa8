#include "printerqueries.h"

#include "fakebus.h"
#include "literals.h"
#include "printerstate.h"
#include "reconnection.h"

#include <QTest>

#include <atomic>

using namespace reconnection;

namespace {

const QString SEND = u"sendMessage"_s;

TarvexCommand answerTo(const QString& uid)
{
    TarvexCommand answer;
    answer.setAgent(u"cashbox"_s);
    answer.setUid(uid);
    answer.setName(u"printed"_s);
    return answer;
}

QStringList sentTo(const FakeBus& bus)
{
    QStringList uids;
    const QList<FakeBus::Request> requests = bus.requests();
    for (const FakeBus::Request& request : requests) {
        if (request.operation == SEND) {
            uids.append(request.data.value(u"UID"_s).toString());
        }
    }
    return uids;
}

} // namespace

Q_DECLARE_METATYPE(FakeBus::Action)

/// The ticket printer's side of the bus, against a bus that takes no answer the first time.
class TstPrinterQueries : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void answer_notTaken_data();
    void answer_notTaken();
};

void TstPrinterQueries::answer_notTaken_data()
{
    QTest::addColumn<FakeBus::Action>("action");
    QTest::addColumn<bool>("isSentAgain");
    const auto row = [](const char* name, const FakeBus::Action& action, bool isSentAgain) {
        QTest::newRow(name) << action << isSentAgain;
    };
    const QByteArray refusal = FakeBus::replyFrame(SEND, 512);
    row(
        "refused", [=](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(refusal); }, false);
    row(
        "refused, and the connection is closed",
        [=](FakeBus::Peer& peer, const FakeBus::Request&) {
            peer.send(refusal);
            peer.close();
        },
        false);
    row(
        "connection closed", [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.close(); }, true);
    row(
        "not understood", [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send("[-ANSWER-]\r\n"); }, true);
    row(
        "handshake refused",
        [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(FakeBus::replyFrame(u"handshake"_s, 3)); }, true);
}

void TstPrinterQueries::answer_notTaken()
{
    QFETCH(FakeBus::Action, action);
    QFETCH(bool, isSentAgain);
    FakeBus bus;
    std::atomic<bool> isFirst{true};
    bus.willAlwaysDo([&isFirst, action](FakeBus::Peer& peer, const FakeBus::Request& request) {
        if (request.operation == SEND && isFirst.exchange(false)) {
            action(peer, request);
        } else {
            FakeBus::answer(peer, request);
        }
    });
    AbstractStateWrapper::init(QSharedPointer<PrinterState>::create());
    PrinterQueries queries(u"printer"_s, {});
    QVERIFY(queries.doStart());
    letConnectionsAge();
    queries.send(answerTo(u"first"_s));
    queries.send(answerTo(u"second"_s));
    QTRY_VERIFY_WITH_TIMEOUT(sentTo(bus).contains(u"second"_s), LATEST_MS);
    QCOMPARE(sentTo(bus),
             isSentAgain ? QStringList({u"first"_s, u"first"_s, u"second"_s}) : QStringList({u"first"_s, u"second"_s}));
}

QTEST_GUILESS_MAIN(TstPrinterQueries)
#include "tst_printerqueries.moc"
