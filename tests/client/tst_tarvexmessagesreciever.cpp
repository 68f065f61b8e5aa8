#include "client/tarvexmessagesreciever.h"

#include "fakebus.h"
#include "framepieces.h"
#include "literals.h"
#include "logcapture.h"
#include "markingtranslator.h"
#include "reconnection.h"

#include <QByteArrayList>
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

#include <chrono>
#include <future>
#include <memory>
#include <sys/socket.h>
#include <thread>

using namespace tarvex;
using namespace framepieces;
using namespace reconnection;

namespace {

const QString HANDSHAKE = u"handshake"_s;

Message numbered(int number, const QString& text = QString())
{
    Message message;
    message.setSender(u"cashbox"_s);
    message.setReciever(u"printer"_s);
    message.setDt(QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9, 10)));
    message.setMessage(text.isNull() ? u"text %1"_s.arg(number) : text);
    message.setUid(u"uid%1"_s.arg(number));
    return message;
}

QByteArray pushFrame(const Message& message)
{
    return FakeBus::requestFrame(u"sendMessage"_s, message.toVariantMap());
}

QByteArray pushFrames(int first, int last)
{
    QByteArray frames;
    for (int number = first; number <= last; ++number) {
        frames += pushFrame(numbered(number));
    }
    return frames;
}

QList<Message> numberedMessages(int first, int last)
{
    QList<Message> messages;
    for (int number = first; number <= last; ++number) {
        messages.append(numbered(number));
    }
    return messages;
}

/// The messages that incomingMessage() has carried, in order.
QList<Message> deliveredBy(const QSignalSpy& incoming)
{
    QList<Message> messages;
    for (const QList<QVariant>& arguments : incoming) {
        messages.append(arguments.constFirst().value<Message>());
    }
    return messages;
}

QList<QByteArray> inPieces(const QByteArray& bytes, int size)
{
    QList<QByteArray> pieces;
    for (int from = 0; from < bytes.size(); from += size) {
        pieces.append(bytes.mid(from, size));
    }
    return pieces;
}

/// The server's side of one connection: accepts the handshake, pushes bytes, and collects what comes back.
struct PushingBus
{
    PushingBus() : bus(FakeBus::RECEIVER_PORT) { }

    void willPush(const QByteArray& bytes)
    {
        bus.willAnswerHandshake(
            [bytes](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(FakeBus::acceptance() + bytes); });
    }

    void willPushInPieces(const QList<QByteArray>& pieces, int pauseMs)
    {
        bus.willAnswerHandshake([pieces, pauseMs](FakeBus::Peer& peer, const FakeBus::Request&) {
            peer.send(FakeBus::acceptance());
            peer.sendInPieces(pieces, pauseMs);
        });
    }

    /// The frames come back to back, so that a piece may hold the end of one and the beginning of the next. After such
    /// a piece the reader gets the time to be done with the one and to wait for the other.
    void willPushInTinyPieces(const QByteArrayList& frames, int size)
    {
        bus.willAnswerHandshake([frames, size](FakeBus::Peer& peer, const FakeBus::Request&) {
            peer.send(FakeBus::acceptance());
            const QByteArray bytes = frames.join();
            int from = 0;
            int end = 0;
            for (const QByteArray& frame : frames) {
                end += frame.size();
                for (; from < end && peer.send(bytes.mid(from, size)); from += size) {
                    std::this_thread::sleep_for(std::chrono::microseconds(200));
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(15));
            }
        });
    }

    FakeBus bus;
};

QVariantMap acknowledgement(int number)
{
    return {{u"sender"_s, u"cashbox"_s}, {u"reciever"_s, u"printer"_s}, {u"uid"_s, u"uid%1"_s.arg(number)}};
}

} // namespace

class TstTarvexMessagesReciever : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void metaObject_hasItsMethodsInOrder();
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
    void replyToSomethingElse_isJudged();
    void unknownHeaders_areSkippedLineByLine();
    void headerCase_matters();
    void headerWithBlanks_isRecognised();
    void badSize_isReported_data();
    void badSize_isReported();
    void sizeLineThatNeverComes_isReported();
    void badPayload_isReported_data();
    void badPayload_isReported();
    void shortPayload_isReportedOnce();
    void frame_cutAnywhere_isRead();
    void burstOf400_isDeliveredCompletely();
    void burst_inSmallPieces_isDeliveredCompletely();
    void burst_inTinyPieces_isDeliveredCompletely_data();
    void burst_inTinyPieces_isDeliveredCompletely();
    void burst_withSmallSocketBuffer_isDeliveredCompletely();
    void peerClosesAfterPush_messageIsStillDelivered();
    void peerDiesInsidePayload_isReported();
    void logTexts_areTranslated();
    void serverDrop_isReportedOnce();
    void serverDrop_thenOpen_waitsForTheNewAcceptance();
    void close_isSilent();
    void close_pausesBeforeItDisconnects();
    void close_withBytesUntaken_isNotOpenAnyMore();
    void socketGone_everythingFails();
    void destructor_closes();

private:
    std::unique_ptr<PushingBus> m_bus;
    std::unique_ptr<TarvexMessagesReciever> m_receiver;
};

void TstTarvexMessagesReciever::init()
{
    m_bus = std::make_unique<PushingBus>();
    m_receiver = std::make_unique<TarvexMessagesReciever>(u"printer"_s);
}

void TstTarvexMessagesReciever::cleanup()
{
    m_receiver.reset();
    m_bus.reset();
}

void TstTarvexMessagesReciever::metaObject_hasItsMethodsInOrder()
{
    const QMetaObject& meta = TarvexMessagesReciever::staticMetaObject;
    QStringList actual;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        actual.append(QString::fromLatin1(meta.method(i).methodSignature()));
    }
    QCOMPARE(actual,
             QStringList({u"incomingMessage(Message)"_s, u"busDisconnected()"_s, u"tarvexConnected()"_s, u"open()"_s,
                          u"close()"_s, u"socketConnected()"_s, u"socketDisconnected()"_s,
                          u"socketError(QAbstractSocket::SocketError)"_s, u"onSocketReadyRead()"_s, u"handshake()"_s,
                          u"request(QString,QVariantMap)"_s, u"reply(QString,TarvexError,QVariantMap)"_s}));
    QCOMPARE(meta.className(), "tarvex::TarvexMessagesReciever");
}

void TstTarvexMessagesReciever::open_withoutServer_fails()
{
    m_bus.reset();
    const QSignalSpy connected(m_receiver.get(), SIGNAL(tarvexConnected()));
    const LogCapture log;
    QVERIFY(!m_receiver->open());
    QCOMPARE(connected.count(), 0);
    QCOMPARE(log.texts(), QStringList(REFUSED_LINE));
}

void TstTarvexMessagesReciever::open_sendsHandshakeAndReturns()
{
    m_bus->bus.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    const QSignalSpy connected(m_receiver.get(), SIGNAL(tarvexConnected()));
    QVERIFY(m_receiver->open());
    QCOMPARE(connected.count(), 1);
    QVERIFY(!m_receiver->isOpen());
    QVERIFY(m_receiver->isConnected());
    QTRY_COMPARE(m_bus->bus.handshakes().size(), 1);
    const QVariantMap envelope{{u"operation"_s, HANDSHAKE}, {u"data"_s, QVariantMap{{u"name"_s, u"printer"_s}}}};
    QCOMPARE(m_bus->bus.handshakes().constFirst().envelope, envelope);
    QCOMPARE(m_receiver->clientName(), u"printer"_s);
}

void TstTarvexMessagesReciever::open_accepted_becomesOpen()
{
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMessagesReciever::open_whenOpen_doesNothing()
{
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    const QSignalSpy connected(m_receiver.get(), SIGNAL(tarvexConnected()));
    QVERIFY(m_receiver->open());
    QCOMPARE(connected.count(), 0);
    QCOMPARE(m_bus->bus.handshakes().size(), 1);
}

void TstTarvexMessagesReciever::open_unanswered_sendsSecondHandshake()
{
    m_bus->bus.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    QVERIFY(m_receiver->open());
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    QCOMPARE(m_bus->bus.handshakes().size(), 2);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMessagesReciever::open_refused_isClosed()
{
    m_bus->bus.willRefuseHandshake(3);
    const QSignalSpy disconnected(m_receiver.get(), SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(!m_receiver->isConnected());
    QVERIFY(!m_receiver->isOpen());
    QTest::qWait(20);
    QCOMPARE(disconnected.count(), 0);
    QCOMPARE(log.texts(), QStringList(u"warning: Incorrect reply data"_s));
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
}

void TstTarvexMessagesReciever::open_handshakeNotWritten_failsAndCloses()
{
    auto* const socket = m_receiver->findChild<QTcpSocket*>();
    connect(socket, &QTcpSocket::connected, socket,
            [socket] { ::shutdown(static_cast<int>(socket->socketDescriptor()), SHUT_WR); });
    const QSignalSpy connected(m_receiver.get(), SIGNAL(tarvexConnected()));
    const LogCapture log;
    QVERIFY(!m_receiver->open());
    QCOMPARE(connected.count(), 0);
    QVERIFY(!m_receiver->isConnected());
    QVERIFY(socket->signalsBlocked());
}

void TstTarvexMessagesReciever::message_isAcknowledgedAndEmitted()
{
    m_bus->willPush(pushFrame(numbered(1)));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
    QVERIFY(incoming.constFirst().constFirst().value<Message>() == numbered(1));
    QVERIFY(m_bus->bus.waitForRequests(1));
    const FakeBus::Request reply = m_bus->bus.requests().constFirst();
    QVERIFY(reply.frame.startsWith("[-REPLY-]\r\n"));
    const QVariantMap envelope{{u"operation"_s, u"sendMessage"_s},
                               {u"data"_s, acknowledgement(1)},
                               {u"result"_s, QVariantMap{{u"code"_s, 0.0}, {u"description"_s, QString()}}}};
    QCOMPARE(reply.envelope, envelope);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMessagesReciever::message_isAcknowledgedBeforeItIsEmitted()
{
    m_bus->willPush(pushFrame(numbered(1)));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    // Shared: the receiver outlives this function.
    const auto acknowledged = std::make_shared<bool>(false);
    connect(m_receiver.get(), &TarvexMessagesReciever::incomingMessage, m_receiver.get(),
            [this, acknowledged] { *acknowledged = m_bus->bus.waitForRequests(1); });
    QVERIFY(m_receiver->open());
    QTRY_COMPARE_WITH_TIMEOUT(incoming.count(), 1, 60000);
    QVERIFY(*acknowledged);
}

void TstTarvexMessagesReciever::message_withoutData_isEmittedEmpty()
{
    m_bus->willPush(FakeBus::frame("[-REQUEST-]", FakeBus::payload(QByteArray(R"({"operation":"sendMessage"})"))));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
    QVERIFY(!incoming.constFirst().constFirst().value<Message>().dt().isValid());
}

void TstTarvexMessagesReciever::messages_inOneSegment_keepTheirOrder()
{
    m_bus->willPush(pushFrames(1, 2));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 2);
    QVERIFY(incoming.at(0).constFirst().value<Message>() == numbered(1));
    QVERIFY(incoming.at(1).constFirst().value<Message>() == numbered(2));
    QVERIFY(m_bus->bus.waitForRequests(2));
    QCOMPARE(m_bus->bus.requests().at(0).data, acknowledgement(1));
    QCOMPARE(m_bus->bus.requests().at(1).data, acknowledgement(2));
}

void TstTarvexMessagesReciever::repeat_isAcknowledgedButNotEmitted()
{
    m_bus->willPush(pushFrames(1, 1) + pushFrame(numbered(1, u"two\n\nlines"_s)) + pushFrames(2, 2));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(m_bus->bus.requests().size(), 3);
    QTRY_COMPARE(incoming.count(), 2);
    QCOMPARE(m_bus->bus.requests().at(1).data, acknowledgement(1));
    QCOMPARE(log.texts(), QStringList(u"warning: Message repeating: \tcashbox\tprinter\tuid1 \ttwo\n\nlines"_s));
}

void TstTarvexMessagesReciever::repeat_acrossReconnection_isRecognised()
{
    m_bus->willPush(pushFrame(numbered(1)));
    m_bus->willPush(pushFrame(numbered(1)) + pushFrame(numbered(2)));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
    m_receiver->close();
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 2);
    QVERIFY(incoming.at(1).constFirst().value<Message>() == numbered(2));
    QVERIFY(m_bus->bus.waitForRequests(3));
}

void TstTarvexMessagesReciever::repeat_after100Others_isDeliveredAgain()
{
    // The second look at the first does not refresh it: it is still the one to go.
    m_bus->willPush(pushFrames(1, 100) + pushFrames(1, 1) + pushFrames(101, 101) + pushFrames(1, 1) + pushFrames(3, 3));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(m_bus->bus.requests().size(), 104);
    QTRY_COMPARE(incoming.count(), 102);
    QVERIFY(incoming.at(100).constFirst().value<Message>() == numbered(101));
    QVERIFY(incoming.at(101).constFirst().value<Message>() == numbered(1));
    QCOMPARE(log.texts().size(), 2);
}

void TstTarvexMessagesReciever::otherOperation_isRefused()
{
    m_bus->willPush(FakeBus::requestFrame(u"SendMessage"_s, {}) + pushFrames(1, 1));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
    QVERIFY(m_bus->bus.waitForRequests(2));
    const QVariantMap envelope{
        {u"operation"_s, u"SendMessage"_s},
        {u"data"_s, QVariantMap()},
        {u"result"_s, QVariantMap{{u"code"_s, 4.0}, {u"description"_s, u"Unsupported request"_s}}}};
    QCOMPARE(m_bus->bus.requests().constFirst().envelope, envelope);
    QCOMPARE(log.texts(), QStringList(u"warning: Invalid request data"_s));
}

void TstTarvexMessagesReciever::replyToSomethingElse_isJudged()
{
    m_bus->willPush(FakeBus::replyFrame(u"sendMessage"_s, 0) + FakeBus::replyFrame(u"sendMessage"_s, 65536)
                    + FakeBus::replyFrame(u"sendMessage"_s, 2, u"Incorrect request data"_s)
                    + FakeBus::replyFrame(u"Handshake"_s, 3, u"three"_s) + pushFrames(1, 1));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
    QVERIFY(m_receiver->isOpen());
    QCOMPARE(log.texts(),
             QStringList({u"critical: 2 \tIncorrect request data"_s, u"warning: Incorrect reply data"_s,
                          u"critical: 3 \tthree"_s, u"warning: Incorrect reply data"_s}));
}

void TstTarvexMessagesReciever::unknownHeaders_areSkippedLineByLine()
{
    m_bus->willPush("garbage\r\nmore than fifteen\r\n\r\n" + pushFrames(1, 1));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
    QCOMPARE(log.texts(),
             QStringList({u"critical: Unknown request header: garbage"_s,
                          u"critical: Unknown request header: more than fifte"_s,
                          u"critical: Unknown request header: en"_s, u"critical: Unknown request header: "_s}));
}

void TstTarvexMessagesReciever::headerCase_matters()
{
    m_bus->willPush("[-request-]\r\n" + pushFrames(1, 1));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
    QCOMPARE(log.texts(), QStringList(u"critical: Unknown request header: [-request-]"_s));
}

void TstTarvexMessagesReciever::headerWithBlanks_isRecognised()
{
    QByteArray frame = pushFrame(numbered(1));
    m_bus->willPush(" [-REQUEST-] \n" + frame.mid(frame.indexOf("\r\n") + 2));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
}

void TstTarvexMessagesReciever::badSize_isReported_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("texts");
    const QString size = u"warning: Invalid request size"_s;
    const QString reply = u"warning: Incorrect reply data"_s;
    QTest::newRow("words") << QByteArray("[-REQUEST-]\r\nmany\r\n") << QStringList({size + u": many"_s, size});
    QTest::newRow("empty") << QByteArray("[-REQUEST-]\r\n\r\n") << QStringList({size + u": "_s, size});
    QTest::newRow("negative") << QByteArray("[-REQUEST-]\r\n-5\r\n") << QStringList({size});
    QTest::newRow("beyond 32 bits") << QByteArray("[-REQUEST-]\r\n2147483648\r\n")
                                    << QStringList({size + u": 2147483648"_s, size});
    // Of a line that long only the first 15 bytes are taken; the rest is the next line.
    QTest::newRow("longer than a line") << QByteArray("[-REQUEST-]\r\n12345678901234567890\r\n")
                                        << QStringList({size + u": 123456789012345"_s, size,
                                                        u"critical: Unknown request header: 67890"_s});
    QTest::newRow("reply, words") << QByteArray("[-REPLY-]\r\nmany\r\n") << QStringList({size + u": many"_s, reply});
    QTest::newRow("reply, negative") << QByteArray("[-REPLY-]\r\n-5\r\n") << QStringList({reply});
}

void TstTarvexMessagesReciever::badSize_isReported()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, texts);
    m_bus->willPush(bytes + pushFrames(1, 1));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
    QCOMPARE(log.texts(), texts);
}

void TstTarvexMessagesReciever::sizeLineThatNeverComes_isReported()
{
    m_bus->willPush("[-REQUEST-]\r\n12");
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(log.texts().size(), 3);
    QCOMPARE(log.texts(),
             QStringList({u"warning: Socket is empty"_s, u"warning: Invalid request size"_s,
                          u"critical: Unknown request header: 12"_s}));
}

void TstTarvexMessagesReciever::badPayload_isReported_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("texts");
    const QByteArray words = FakeBus::payload(QByteArray("plain w\xc3\xb6rds"));
    QTest::newRow("request") << FakeBus::frame("[-REQUEST-]", words)
                             << QStringList({u"warning: illegal value \tplain w\u00f6rds"_s,
                                             u"warning: Invalid request data"_s});
    QTest::newRow("reply") << FakeBus::frame("[-REPLY-]", words)
                           << QStringList(
                                  {u"warning: illegal value \tplain w\u00f6rds"_s, u"warning: Incorrect reply data"_s});
    QTest::newRow("of size 0") << QByteArray("[-REQUEST-]\r\n0\r\n")
                               << QStringList({u"warning: qUncompress: Input data is corrupted"_s,
                                               u"warning: illegal value \t "_s, u"warning: Invalid request data"_s});
}

void TstTarvexMessagesReciever::badPayload_isReported()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, texts);
    m_bus->willPush(bytes + pushFrames(1, 1));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 1);
    // An empty dump may end in a blank or not.
    QStringList actual = log.texts();
    for (QString& text : actual) {
        text = text.trimmed();
    }
    for (QString& text : texts) {
        text = text.trimmed();
    }
    QCOMPARE(actual, texts);
}

void TstTarvexMessagesReciever::shortPayload_isReportedOnce()
{
    const QByteArray frame = pushFrame(numbered(1));
    m_bus->willPushInPieces({frame.chopped(1), "X"}, 2000);
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(log.texts(), QStringList(u"warning: Invalid request data"_s));
}

// A loaded machine may hold the second piece back for longer than the reader waits: one of five tries must do.
void TstTarvexMessagesReciever::frame_cutAnywhere_isRead()
{
    const int length = pushFrame(numbered(10000)).size();
    // Every place in the two lines, then every third in the payload.
    for (int cut = 1; cut < length - 1; cut += cut < 20 ? 1 : 3) {
        bool delivered = false;
        for (int attempt = 0; attempt < 5 && !delivered; ++attempt) {
            m_receiver = std::make_unique<TarvexMessagesReciever>(u"printer"_s);
            const QByteArray frame = pushFrame(numbered(10000));
            m_bus->willPushInPieces({frame.left(cut), frame.mid(cut)}, 1);
            QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
            const LogCapture log;
            QVERIFY(m_receiver->open());
            QTRY_VERIFY(incoming.count() == 1 || !log.texts().isEmpty());
            delivered = incoming.count() == 1 && log.texts().isEmpty();
        }
        QVERIFY2(delivered, qPrintable(QString::number(cut)));
    }
}

void TstTarvexMessagesReciever::burstOf400_isDeliveredCompletely()
{
    m_bus->willPush(pushFrames(1, 400));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE_WITH_TIMEOUT(incoming.count(), 400, 60000);
    QVERIFY(m_bus->bus.waitForRequests(400));
    for (int i = 0; i < 400; ++i) {
        QVERIFY(incoming.at(i).constFirst().value<Message>() == numbered(i + 1));
        QCOMPARE(m_bus->bus.requests().at(i).data, acknowledgement(i + 1));
    }
    QCOMPARE(m_bus->bus.requests().size(), 400);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMessagesReciever::burst_inSmallPieces_isDeliveredCompletely()
{
    m_bus->willPushInPieces(inPieces(pushFrames(1, 300), 700), 3);
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE_WITH_TIMEOUT(incoming.count(), 300, 60000);
    QVERIFY(m_bus->bus.waitForRequests(300));
    QVERIFY(deliveredBy(incoming) == numberedMessages(1, 300));
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMessagesReciever::burst_inTinyPieces_isDeliveredCompletely_data()
{
    QTest::addColumn<int>("pieceSize");
    QTest::addColumn<int>("count");
    // Each takes a few seconds, and the cuts go through every place of a frame, its lines included.
    QTest::newRow("7 bytes") << 7 << 50;
    QTest::newRow("13 bytes") << 13 << 100;
}

// The pieces come faster than the reader gives up, by a factor of two or more, and slower than it reads, so that it
// runs dry all the time. A loaded machine may hold one back for longer than it waits: one of ten tries must do.
void TstTarvexMessagesReciever::burst_inTinyPieces_isDeliveredCompletely()
{
    QFETCH(int, pieceSize);
    QFETCH(int, count);
    QList<Message> messages;
    QByteArrayList frames;
    for (int number = 1; number <= count; ++number) {
        messages.append(numbered(number, irregularText(900, unsigned(number))));
        frames.append(pushFrame(messages.constLast()));
    }
    QList<Message> delivered;
    QStringList lines;
    for (int attempt = 0; attempt < 10 && (delivered != messages || !lines.isEmpty()); ++attempt) {
        m_receiver = std::make_unique<TarvexMessagesReciever>(u"printer"_s);
        m_bus->willPushInTinyPieces(frames, pieceSize);
        QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
        const LogCapture log;
        QVERIFY(m_receiver->open());
        QTRY_VERIFY_WITH_TIMEOUT(incoming.count() == count || !log.texts().isEmpty(), 60000);
        delivered = deliveredBy(incoming);
        lines = log.texts();
    }
    QVERIFY2(delivered == messages, qPrintable(QString::number(delivered.size())));
    QCOMPARE(lines, QStringList());
}

void TstTarvexMessagesReciever::burst_withSmallSocketBuffer_isDeliveredCompletely()
{
    m_bus->willPush(pushFrames(1, 300));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    auto* const socket = m_receiver->findChild<QTcpSocket*>();
    connect(socket, &QTcpSocket::connected, socket,
            [socket] { socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 4096); });
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE_WITH_TIMEOUT(incoming.count(), 300, 60000);
    QVERIFY(m_bus->bus.waitForRequests(300));
    QVERIFY(incoming.constLast().constFirst().value<Message>() == numbered(300));
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMessagesReciever::peerClosesAfterPush_messageIsStillDelivered()
{
    m_bus->bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance() + pushFrames(1, 3));
        peer.close();
    });
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    QSignalSpy disconnected(m_receiver.get(), SIGNAL(busDisconnected()));
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(incoming.count(), 3);
    QTRY_COMPARE(disconnected.count(), 1);
}

void TstTarvexMessagesReciever::peerDiesInsidePayload_isReported()
{
    m_bus->bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance() + pushFrame(numbered(1, QString(20000, QLatin1Char('x')))).chopped(100));
        peer.close();
    });
    QSignalSpy disconnected(m_receiver.get(), SIGNAL(busDisconnected()));
    QSignalSpy incoming(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(disconnected.count(), 1);
    QTRY_COMPARE(log.texts(), QStringList({CLOSED_LINE, u"warning: Invalid request data"_s}));
    QTest::qWait(20);
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(incoming.count(), 0);
}

void TstTarvexMessagesReciever::logTexts_areTranslated()
{
    const auto marked = [](const char* level, const char* text) {
        return QString::fromLatin1(level)
            + MarkingTranslator::marked("tarvex::TarvexMessagesReciever", QString::fromLatin1(text));
    };
    // The last is a size line that never comes.
    m_bus->willPush("garbage\r\n" + QByteArray("[-REQUEST-]\r\nmany\r\n") + "[-REPLY-]\r\n-5\r\n" + pushFrames(1, 1)
                    + pushFrames(1, 1) + FakeBus::requestFrame(u"other"_s, {}) + "[-REPLY-]\r\n");
    const MarkingTranslator translator;
    const LogCapture log;
    QVERIFY(m_receiver->open());
    QTRY_COMPARE(log.texts().size(), 8);
    QStringList texts = log.texts();
    QCOMPARE(texts.takeAt(0),
             u"critical: "_s
                 + MarkingTranslator::marked("tarvex::TarvexMessagesReciever", u"Unknown request header: garbage"_s));
    QCOMPARE(texts.takeAt(0), marked("warning: ", "Invalid request size: ") + u"many"_s);
    QVERIFY(texts.takeAt(2).startsWith(marked("warning: ", "Message repeating:")));
    QCOMPARE(texts,
             QStringList({marked("warning: ", "Invalid request size"), marked("warning: ", "Incorrect reply data"),
                          marked("warning: ", "Invalid request data"), marked("warning: ", "Socket is empty"),
                          marked("warning: ", "Incorrect reply data")}));
}

void TstTarvexMessagesReciever::serverDrop_isReportedOnce()
{
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    QSignalSpy disconnected(m_receiver.get(), SIGNAL(busDisconnected()));
    const LogCapture log;
    m_bus->bus.dropConnections();
    QVERIFY(disconnected.wait(20000));
    QCOMPARE(disconnected.count(), 1);
    QVERIFY(!m_receiver->isOpen());
    QCOMPARE(log.texts(), QStringList(CLOSED_LINE));
}

void TstTarvexMessagesReciever::serverDrop_thenOpen_waitsForTheNewAcceptance()
{
    std::promise<void> accept;
    const std::shared_future<void> accepted = accept.get_future().share();
    m_bus->bus.willAnswerHandshake(
        [](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(FakeBus::acceptance()); });
    m_bus->bus.willAnswerHandshake([accepted](FakeBus::Peer& peer, const FakeBus::Request&) {
        accepted.wait();
        peer.send(FakeBus::acceptance());
    });
    QSignalSpy disconnected(m_receiver.get(), SIGNAL(busDisconnected()));
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    m_bus->bus.dropConnections();
    QTRY_COMPARE(disconnected.count(), 1);
    const bool opened = m_receiver->open();
    const bool openBeforeTheAnswer = m_receiver->isOpen();
    accept.set_value();
    QVERIFY(opened);
    QVERIFY(!openBeforeTheAnswer);
    QTRY_VERIFY(m_receiver->isOpen());
    QCOMPARE(m_bus->bus.connectionCount(), 2);
}

void TstTarvexMessagesReciever::close_isSilent()
{
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    const QSignalSpy disconnected(m_receiver.get(), SIGNAL(busDisconnected()));
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    m_receiver->close();
    QVERIFY(timer.elapsed() >= 99);
    QVERIFY(!m_receiver->isOpen());
    m_bus->bus.dropConnections();
    QTest::qWait(50);
    QCOMPARE(disconnected.count(), 0);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMessagesReciever::close_pausesBeforeItDisconnects()
{
    std::promise<qint64> seen;
    QElapsedTimer timer;
    timer.start();
    m_bus->bus.willAnswerHandshake([&seen, &timer](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        peer.waitForClose();
        seen.set_value(timer.elapsed());
    });
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    const qint64 before = timer.elapsed();
    m_receiver->close();
    QVERIFY(seen.get_future().get() - before >= 99);
}

// Qt goes on trying to get rid of the bytes: until then the connection is still there.
void TstTarvexMessagesReciever::close_withBytesUntaken_isNotOpenAnyMore()
{
    m_bus->bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        peer.hang();
    });
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    m_receiver->findChild<QTcpSocket*>()->write(QByteArray(64 * 1024 * 1024, 'x'));
    m_receiver->close();
    QVERIFY(m_receiver->isConnected());
    QVERIFY(!m_receiver->isOpen());
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    QCOMPARE(m_bus->bus.connectionCount(), 2);
}

void TstTarvexMessagesReciever::socketGone_everythingFails()
{
    QVERIFY(m_receiver->open());
    delete m_receiver->findChild<QTcpSocket*>();
    const LogCapture log;
    QVERIFY(!m_receiver->isOpen());
    QVERIFY(!m_receiver->open());
    QVERIFY(!m_receiver->handshake());
    QVERIFY(!m_receiver->request(u"x"_s, {}));
    QVERIFY(!m_receiver->reply(u"x"_s, TarvexError(), {}));
    m_receiver->close();
    QVERIFY(QMetaObject::invokeMethod(m_receiver.get(), "onSocketReadyRead", Qt::DirectConnection));
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMessagesReciever::destructor_closes()
{
    std::promise<bool> closed;
    m_bus->bus.willAnswerHandshake([&closed](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        closed.set_value(peer.waitForClose());
    });
    QVERIFY(m_receiver->open());
    QTRY_VERIFY(m_receiver->isOpen());
    m_receiver.reset();
    QVERIFY(closed.get_future().get());
}

QTEST_GUILESS_MAIN(TstTarvexMessagesReciever)
#include "tst_tarvexmessagesreciever.moc"
