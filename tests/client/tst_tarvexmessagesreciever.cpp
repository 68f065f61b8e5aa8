#include "client/tarvexmessagesreciever.h"

#include "receivertest.h"
#include "reconnection.h"

#include <QElapsedTimer>
#include <QTest>

#include <future>
#include <memory>
#include <sys/socket.h>

using namespace tarvex;
using namespace pushes;
using namespace reconnection;

namespace {

QVariantMap acknowledgement(int number)
{
    return {{u"sender"_s, u"cashbox"_s}, {u"reciever"_s, u"printer"_s}, {u"uid"_s, u"uid%1"_s.arg(number)}};
}

} // namespace

/// How the receiver's connection is made and ended, and what comes of the messages that are pushed.
class TstTarvexMessagesReciever : public ReceiverTest
{
    Q_OBJECT
private Q_SLOTS:
    void open_withoutServer_fails();
    void open_sendsHandshakeAndReturns();
    void open_accepted_becomesOpen();
    void open_whenOpen_doesNothing();
    void open_unanswered_sendsSecondHandshake();
    void open_refused_isClosed();
    void open_handshakeNotWritten_failsAndCloses();
    void message_isAcknowledgedAndEmitted();
    void message_isAcknowledgedBeforeItIsEmitted();
    void message_withoutData_isEmittedEmpty();
    void messages_inOneSegment_keepTheirOrder();
    void repeat_isAcknowledgedButNotEmitted();
    void repeat_acrossReconnection_isRecognised();
    void repeat_after100Others_isDeliveredAgain();
    void otherOperation_isRefused();
    void peerClosesAfterPush_messageIsStillDelivered();
    void serverDrop_isReportedOnce();
    void serverDrop_thenOpen_waitsForTheNewAcceptance();
    void close_isSilent();
    void close_pausesBeforeItDisconnects();
    void close_withBytesUntaken_isNotOpenAnyMore();
    void socketGone_everythingFails();
    void destructor_closes();
};

void TstTarvexMessagesReciever::open_withoutServer_fails()
{
    bus.reset();
    QVERIFY(!subject->receiver.open());
    QCOMPARE(subject->connected.count(), 0);
    QCOMPARE(subject->log.texts(), QStringList(REFUSED_LINE));
}

void TstTarvexMessagesReciever::open_sendsHandshakeAndReturns()
{
    bus->willAnswerHandshake(sayNothing);
    QVERIFY(subject->receiver.open());
    QCOMPARE(subject->connected.count(), 1);
    QVERIFY(!subject->receiver.isOpen());
    QVERIFY(subject->receiver.isConnected());
    QTRY_COMPARE(bus->handshakes().size(), 1);
    const QVariantMap envelope{{u"operation"_s, u"handshake"_s}, {u"data"_s, QVariantMap{{u"name"_s, u"printer"_s}}}};
    QCOMPARE(bus->handshakes().constFirst().envelope, envelope);
    QCOMPARE(subject->receiver.clientName(), u"printer"_s);
}

void TstTarvexMessagesReciever::open_accepted_becomesOpen()
{
    QVERIFY(joinBus());
    QCOMPARE(subject->log.texts(), QStringList());
}

void TstTarvexMessagesReciever::open_whenOpen_doesNothing()
{
    QVERIFY(joinBus());
    QVERIFY(subject->receiver.open());
    QCOMPARE(subject->connected.count(), 1);
    QCOMPARE(bus->handshakes().size(), 1);
}

void TstTarvexMessagesReciever::open_unanswered_sendsSecondHandshake()
{
    bus->willAnswerHandshake(sayNothing);
    QVERIFY(subject->receiver.open());
    QVERIFY(joinBus());
    QCOMPARE(bus->handshakes().size(), 2);
    QCOMPARE(subject->log.texts(), QStringList());
}

void TstTarvexMessagesReciever::open_refused_isClosed()
{
    bus->willRefuseHandshake(3);
    QVERIFY(subject->receiver.open());
    QTRY_VERIFY(!subject->receiver.isConnected());
    QVERIFY(!subject->receiver.isOpen());
    QTest::qWait(20);
    QCOMPARE(subject->lost.count(), 0);
    QCOMPARE(subject->log.texts(), QStringList(u"warning: Incorrect reply data"_s));
    QVERIFY(joinBus());
}

void TstTarvexMessagesReciever::open_handshakeNotWritten_failsAndCloses()
{
    auto* const socket = subject->socket();
    connect(socket, &QTcpSocket::connected, socket,
            [socket] { ::shutdown(static_cast<int>(socket->socketDescriptor()), SHUT_WR); });
    QVERIFY(!subject->receiver.open());
    QCOMPARE(subject->connected.count(), 0);
    QVERIFY(!subject->receiver.isConnected());
    QVERIFY(socket->signalsBlocked());
}

void TstTarvexMessagesReciever::message_isAcknowledgedAndEmitted()
{
    bus->willAnswerHandshake(acceptAndPush(pushFrames(1, 1)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->incoming.count(), 1);
    QVERIFY(subject->messages().constFirst() == numbered(1));
    QVERIFY(bus->waitForRequests(1));
    const FakeBus::Request reply = bus->requests().constFirst();
    QVERIFY(reply.frame.startsWith("[-REPLY-]\r\n"));
    const QVariantMap envelope{{u"operation"_s, u"sendMessage"_s},
                               {u"data"_s, acknowledgement(1)},
                               {u"result"_s, QVariantMap{{u"code"_s, 0.0}, {u"description"_s, QString()}}}};
    QCOMPARE(reply.envelope, envelope);
    QCOMPARE(subject->log.texts(), QStringList());
}

void TstTarvexMessagesReciever::message_isAcknowledgedBeforeItIsEmitted()
{
    bus->willAnswerHandshake(acceptAndPush(pushFrames(1, 1)));
    // Shared, because the receiver outlives this function.
    const auto acknowledged = std::make_shared<bool>(false);
    connect(&subject->receiver, &TarvexMessagesReciever::incomingMessage, &subject->receiver,
            [this, acknowledged] { *acknowledged = bus->waitForRequests(1); });
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(subject->incoming.count(), 1, 60000);
    QVERIFY(*acknowledged);
}

void TstTarvexMessagesReciever::message_withoutData_isEmittedEmpty()
{
    bus->willAnswerHandshake(
        acceptAndPush(FakeBus::frame("[-REQUEST-]", FakeBus::payload(QByteArray(R"({"operation":"sendMessage"})")))));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->incoming.count(), 1);
    QVERIFY(!subject->messages().constFirst().dt().isValid());
}

void TstTarvexMessagesReciever::messages_inOneSegment_keepTheirOrder()
{
    constexpr int COUNT = 400;
    bus->willAnswerHandshake(acceptAndPush(pushFrames(1, COUNT)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(subject->incoming.count(), COUNT, 60000);
    QVERIFY(bus->waitForRequests(COUNT));
    for (int i = 0; i < COUNT; ++i) {
        QVERIFY(subject->messages().at(i) == numbered(i + 1));
        QCOMPARE(bus->requests().at(i).data, acknowledgement(i + 1));
    }
    QCOMPARE(bus->requests().size(), COUNT);
    QCOMPARE(subject->log.texts(), QStringList());
}

void TstTarvexMessagesReciever::repeat_isAcknowledgedButNotEmitted()
{
    bus->willAnswerHandshake(
        acceptAndPush(pushFrames(1, 1) + pushFrame(numbered(1, u"two\n\nlines"_s)) + pushFrames(2, 2)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(bus->requests().size(), 3);
    QTRY_COMPARE(subject->incoming.count(), 2);
    QCOMPARE(bus->requests().at(1).data, acknowledgement(1));
    QCOMPARE(subject->log.texts(),
             QStringList(u"warning: Message repeating: \tcashbox\tprinter\tuid1 \ttwo\n\nlines"_s));
}

void TstTarvexMessagesReciever::repeat_acrossReconnection_isRecognised()
{
    bus->willAnswerHandshake(acceptAndPush(pushFrames(1, 1)));
    bus->willAnswerHandshake(acceptAndPush(pushFrames(1, 2)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->incoming.count(), 1);
    subject->receiver.close();
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->incoming.count(), 2);
    QVERIFY(subject->messages().at(1) == numbered(2));
    QVERIFY(bus->waitForRequests(3));
}

void TstTarvexMessagesReciever::repeat_after100Others_isDeliveredAgain()
{
    // The repeat of the first does not refresh it, so the first is still the one that is forgotten next.
    bus->willAnswerHandshake(acceptAndPush(pushFrames(1, 100) + pushFrames(1, 1) + pushFrames(101, 101)
                                           + pushFrames(1, 1) + pushFrames(3, 3)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(bus->requests().size(), 104);
    QTRY_COMPARE(subject->incoming.count(), 102);
    QVERIFY(subject->messages().at(100) == numbered(101));
    QVERIFY(subject->messages().at(101) == numbered(1));
    QCOMPARE(subject->log.texts().size(), 2);
}

void TstTarvexMessagesReciever::otherOperation_isRefused()
{
    bus->willAnswerHandshake(acceptAndPush(FakeBus::requestFrame(u"SendMessage"_s, {}) + pushFrames(1, 1)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->incoming.count(), 1);
    QVERIFY(bus->waitForRequests(2));
    const QVariantMap envelope{
        {u"operation"_s, u"SendMessage"_s},
        {u"data"_s, QVariantMap()},
        {u"result"_s, QVariantMap{{u"code"_s, 4.0}, {u"description"_s, u"Unsupported request"_s}}}};
    QCOMPARE(bus->requests().constFirst().envelope, envelope);
    QCOMPARE(subject->log.texts(), QStringList(u"warning: Invalid request data"_s));
}

void TstTarvexMessagesReciever::peerClosesAfterPush_messageIsStillDelivered()
{
    bus->willAnswerHandshake(acceptPushAndClose(pushFrames(1, 3)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->incoming.count(), 3);
    QTRY_COMPARE(subject->lost.count(), 1);
}

void TstTarvexMessagesReciever::serverDrop_isReportedOnce()
{
    QVERIFY(joinBus());
    bus->dropConnections();
    QVERIFY(subject->lost.wait(20000));
    QCOMPARE(subject->lost.count(), 1);
    QVERIFY(!subject->receiver.isOpen());
    QCOMPARE(subject->log.texts(), QStringList(CLOSED_LINE));
}

void TstTarvexMessagesReciever::serverDrop_thenOpen_waitsForTheNewAcceptance()
{
    std::promise<void> accept;
    bus->willAnswerHandshake(acceptAndPush({}));
    bus->willAnswerHandshake([accepted = accept.get_future().share()](FakeBus::Peer& peer, const FakeBus::Request&) {
        accepted.wait();
        peer.send(FakeBus::acceptance());
    });
    QVERIFY(joinBus());
    bus->dropConnections();
    QTRY_COMPARE(subject->lost.count(), 1);
    const bool opened = subject->receiver.open();
    const bool openBeforeTheAnswer = subject->receiver.isOpen();
    accept.set_value();
    QVERIFY(opened);
    QVERIFY(!openBeforeTheAnswer);
    QTRY_VERIFY(subject->receiver.isOpen());
    QCOMPARE(bus->connectionCount(), 2);
}

void TstTarvexMessagesReciever::close_isSilent()
{
    QVERIFY(joinBus());
    subject->receiver.close();
    QVERIFY(!subject->receiver.isOpen());
    bus->dropConnections();
    QTest::qWait(50);
    QCOMPARE(subject->lost.count(), 0);
    QCOMPARE(subject->log.texts(), QStringList());
}

void TstTarvexMessagesReciever::close_pausesBeforeItDisconnects()
{
    std::promise<qint64> seen;
    QElapsedTimer timer;
    timer.start();
    bus->willAnswerHandshake([&seen, &timer](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        peer.waitForClose();
        seen.set_value(timer.elapsed());
    });
    QVERIFY(joinBus());
    const qint64 before = timer.elapsed();
    subject->receiver.close();
    QVERIFY(timer.elapsed() - before >= 99);
    QVERIFY(seen.get_future().get() - before >= 99);
}

// Qt goes on trying to write the bytes. Until they are written the connection is still there.
void TstTarvexMessagesReciever::close_withBytesUntaken_isNotOpenAnyMore()
{
    bus->willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        peer.hang();
    });
    QVERIFY(joinBus());
    subject->socket()->write(QByteArray(64 * 1024 * 1024, 'x'));
    subject->receiver.close();
    QVERIFY(subject->receiver.isConnected());
    QVERIFY(!subject->receiver.isOpen());
    QVERIFY(joinBus());
    QCOMPARE(bus->connectionCount(), 2);
}

void TstTarvexMessagesReciever::socketGone_everythingFails()
{
    QVERIFY(subject->receiver.open());
    delete subject->socket();
    subject->log.clear();
    QVERIFY(!subject->receiver.isOpen());
    QVERIFY(!subject->receiver.open());
    QVERIFY(!subject->receiver.handshake());
    QVERIFY(!subject->receiver.request(u"x"_s, {}));
    QVERIFY(!subject->receiver.reply(u"x"_s, TarvexError(), {}));
    subject->receiver.close();
    QVERIFY(QMetaObject::invokeMethod(&subject->receiver, "onSocketReadyRead", Qt::DirectConnection));
    QCOMPARE(subject->log.texts(), QStringList());
}

void TstTarvexMessagesReciever::destructor_closes()
{
    std::promise<bool> closed;
    bus->willAnswerHandshake([&closed](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        closed.set_value(peer.waitForClose());
    });
    QVERIFY(joinBus());
    subject.reset();
    QVERIFY(closed.get_future().get());
}

QTEST_GUILESS_MAIN(TstTarvexMessagesReciever)
#include "tst_tarvexmessagesreciever.moc"
