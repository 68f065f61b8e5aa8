#include "abstractworkercontroller.h"
#include "client/tarvexmessagesreciever.h"
#include "client/tarvexmsgworker.h"
#include "framepieces.h"
#include "memoryuse.h"
#include "receivertest.h"
#include "reconnection.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

using namespace tarvex;
using namespace framepieces;
using namespace pushes;
using namespace reconnection;

namespace {

const QString PRINTER = u"printer"_s;

int residentKiB()
{
    QFile file(u"/proc/self/status"_s);
    static const QRegularExpression line(u"VmRSS:\\s*(\\d+)"_s);
    return file.open(QIODevice::ReadOnly) ? line.match(QString::fromLatin1(file.readAll())).captured(1).toInt() : 0;
}

/// A service that only receives. Its messages are handled in a thread of its own, one after the other.
class Service : public wexcor::AbstractWorkerController
{
public:
    Service() : AbstractWorkerController(nullptr) { }

    void doStart() override { }

    void start(wexcor::AbstractWorker* worker) { addWorkerToThread(worker)->start(); }
};

class HandlingWorker : public wexcor::AbstractWorker
{
    Q_OBJECT
public:
    explicit HandlingWorker(std::atomic<int>& handled) : m_handled(handled) { }

    bool doStart() override { return true; }

    bool doStop() override { return true; }

public Q_SLOTS:

    void handle(Message message)
    {
        Q_UNUSED(message)
        ++m_handled;
    }

private:
    std::atomic<int>& m_handled;
};

} // namespace

/// The receiving side against servers that are slow, busy, or wrong.
class TstAwkwardserverReceiver : public ReceiverTest
{
    Q_OBJECT
private Q_SLOTS:
    void frameInThreeCalls_isRead_data();
    void frameInThreeCalls_isRead();
    void framesOfABacklog_giveWay();
    void framesLeftByALostConnection_areReadBeforeTheWorkerRestarts();
    void backlogAtTheEnd_isNotAcknowledged();
    void payloadUnderWayAtTheEnd_isGivenUp_data();
    void payloadUnderWayAtTheEnd_isGivenUp();
    void oversizedFrame_endsTheConnection_data();
    void oversizedFrame_endsTheConnection();
    void oversizedFrameAndItsBytes_costFewLines();
    void rubbish_endsTheConnection_data();
    void rubbish_endsTheConnection();
    void rubbish_inBetween_isForgiven();
    void serverThatDropsEveryConnection_isNotStormed_data();
    void serverThatDropsEveryConnection_isNotStormed();
    void restartByTheService_isNotDelayed();
    void unreadBytes_waitInTheServer();
    void largeMessages_leaveNothingBehind();
    void largeKeys_leaveNothingBehind();
    void serverThatGoesBehindAFullBuffer_hasItsMessagesRead();
};

void TstAwkwardserverReceiver::frameInThreeCalls_isRead_data()
{
    QTest::addColumn<int>("pauseMs");
    QTest::addColumn<int>("length");
    for (const int pauseMs : {15, 40, 100}) {
        for (const int length : {1, 20000}) {
            QTest::addRow("%d ms, %d characters", pauseMs, length) << pauseMs << length;
        }
    }
}

void TstAwkwardserverReceiver::frameInThreeCalls_isRead()
{
    QFETCH(int, pauseMs);
    QFETCH(int, length);
    constexpr int COUNT = 10;
    QList<QByteArray> pieces;
    for (int number = 1; number <= COUNT; ++number) {
        pieces += inThree(pushFrame(numbered(number, QString(length, QLatin1Char('x')))));
    }
    bus->willAnswerHandshake(acceptAndPushInPieces(pieces, pauseMs));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(subject->incoming.count(), COUNT, 20000);
    QCOMPARE(subject->log.texts(), QStringList());
}

// A timer that is always due gets its turns in between. If the frames were read in one go, it would get one or two.
void TstAwkwardserverReceiver::framesOfABacklog_giveWay()
{
    constexpr int COUNT = 30;
    bus->willAnswerHandshake(acceptAndPush(pushFrames(1, COUNT)));
    QVERIFY(subject->receiver.open());
    QTRY_VERIFY(subject->receiver.isOpen());
    int turns = 0;
    int seen = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, &timer, [&] {
        turns += subject->incoming.count() > seen ? 1 : 0;
        seen = subject->incoming.count();
    });
    timer.start(1);
    QTRY_COMPARE(subject->incoming.count(), COUNT);
    QVERIFY2(turns >= COUNT / 4, qPrintable(QString::number(turns)));
}

// The loss is noticed at once, or it comes while the frames are being read.
void TstAwkwardserverReceiver::framesLeftByALostConnection_areReadBeforeTheWorkerRestarts()
{
    for (const bool closesLater : {false, true}) {
        bus->willAnswerHandshake([closesLater](FakeBus::Peer& peer, const FakeBus::Request&) {
            peer.send(FakeBus::acceptance() + pushFrames(1, 20));
            FakeBus::Request reply;
            if (closesLater) {
                peer.readRequest(reply);
            }
            peer.close();
        });
        TarvexMsgWorker worker(PRINTER);
        const QSignalSpy messages(&worker, SIGNAL(unprocessedMessage(Message)));
        QVERIFY(worker.doStart());
        QTRY_COMPARE(messages.count(), 20);
    }
}

// What is acknowledged is handled. What is not acknowledged is pushed again.
void TstAwkwardserverReceiver::backlogAtTheEnd_isNotAcknowledged()
{
    for (int round = 0; round < 10; ++round) {
        bus.reset();
        bus = std::make_unique<FakeBus>(FakeBus::RECEIVER_PORT);
        bus->willAnswerHandshake(acceptAndPush(pushFrames(1, 200)));
        std::atomic<int> handled{0};
        QElapsedTimer time;
        {
            Service service;
            auto* const messages = new TarvexMsgWorker(PRINTER);
            auto* const handler = new HandlingWorker(handled);
            connect(messages, SIGNAL(unprocessedMessage(Message)), handler, SLOT(handle(Message)),
                    Qt::QueuedConnection);
            service.start(handler);
            service.start(messages);
            QTRY_VERIFY(handled >= 3);
            time.start();
        }
        // It takes one frame, the rounds, and the pause before a connection is closed. The whole backlog would take 2
        // s.
        QVERIFY2(time.elapsed() < 1400, qPrintable(QString::number(time.elapsed())));
        QVERIFY(handled < 200);
        QTRY_COMPARE(bus->requests().size(), handled.load());
    }
}

void TstAwkwardserverReceiver::payloadUnderWayAtTheEnd_isGivenUp_data()
{
    QTest::addColumn<bool>("trickles");
    QTest::newRow("most has come, and no more does") << false;
    // Each round brings something, for a thousand seconds.
    QTest::newRow("it trickles") << true;
}

void TstAwkwardserverReceiver::payloadUnderWayAtTheEnd_isGivenUp()
{
    QFETCH(bool, trickles);
    std::atomic<bool> isOver{false};
    bus->willAnswerHandshake([&isOver, trickles](FakeBus::Peer& peer, const FakeBus::Request&) {
        const QByteArray frame = FakeBus::frame("[-REQUEST-]", QByteArray(1000000, 'A'));
        peer.send(FakeBus::acceptance() + (trickles ? frame.left(frame.indexOf("AA")) : frame.chopped(10)));
        while (trickles && !isOver && peer.send("A")) {
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    });
    QElapsedTimer time;
    {
        Service service;
        service.start(new TarvexMsgWorker(PRINTER));
        QVERIFY(bus->waitForConnections(1));
        QTest::qWait(500);
        time.start();
    }
    const qint64 elapsed = time.elapsed();
    isOver = true;
    // The silence would take 30 s, and a worker that is blocked 1500 ms.
    QVERIFY2(elapsed < 1000, qPrintable(QString::number(elapsed)));
    QCOMPARE(bus->requests().size(), 0);
}

void TstAwkwardserverReceiver::oversizedFrame_endsTheConnection_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QString>("line");
    QTest::newRow("request") << QByteArray("[-REQUEST-]") << u"warning: Invalid request data"_s;
    QTest::newRow("reply") << QByteArray("[-REPLY-]") << u"warning: Incorrect reply data"_s;
}

void TstAwkwardserverReceiver::oversizedFrame_endsTheConnection()
{
    QFETCH(QByteArray, header);
    QFETCH(QString, line);
    bus->willAnswerHandshake(acceptAndPush(header + "\r\n50331649\r\nAAAA" + pushFrames(1, 1)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->lost.count(), 1);
    QVERIFY(!subject->receiver.isConnected());
    QTest::qWait(50);
    QCOMPARE(subject->log.texts(), QStringList(line));
    QCOMPARE(subject->incoming.count(), 0);
    QCOMPARE(subject->lost.count(), 1);
    // It can be opened again.
    bus->willAnswerHandshake(acceptAndPush(pushFrames(1, 1)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->incoming.count(), 1);
}

void TstAwkwardserverReceiver::oversizedFrameAndItsBytes_costFewLines()
{
    bus->willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance() + "[-REQUEST-]\r\n50331649\r\n");
        const QByteArray bytes(65536, 'A');
        for (int sent = 0; sent < 50331649 && peer.send(bytes); sent += bytes.size()) { }
    });
    bus->willAnswerHandshake(acceptAndPush(pushFrames(1, 3)));
    TarvexMsgWorker worker(PRINTER);
    const QSignalSpy messages(&worker, SIGNAL(unprocessedMessage(Message)));
    QVERIFY(worker.doStart());
    QTRY_COMPARE_WITH_TIMEOUT(messages.count(), 3, LATEST_MS);
    // Each message says that it is no command.
    QVERIFY2(subject->log.texts().size() <= 70, qPrintable(QString::number(subject->log.texts().size())));
    QCOMPARE(subject->log.texts().constFirst(), u"warning: Invalid request data"_s);
}

void TstAwkwardserverReceiver::rubbish_endsTheConnection_data()
{
    QTest::addColumn<QByteArray>("rubbish");
    QTest::addColumn<int>("unknownHeaders");
    QTest::addColumn<int>("maxLines");
    QTest::newRow("lines") << QByteArray("rubbish\r\n").repeated(1000) << 64 << 65;
    QTest::newRow("no lines") << QByteArray(100000, 'A') << 64 << 65;
    // In these the size line is the rubbish.
    QTest::newRow("headers") << QByteArray("[-REQUEST-]\r\n").repeated(2000) << 0 << 3 * 64;
    QTest::newRow("headers, and no sizes") << QByteArray("[-REQUEST-]\r\nx\r\n").repeated(2000) << 0 << 3 * 64;
    QTest::newRow("negative sizes") << QByteArray("[-REPLY-]\r\n-1\r\n").repeated(2000) << 0 << 3 * 64;
    QTest::newRow("empty payloads") << QByteArray("[-REPLY-]\r\n0\r\n").repeated(2000) << 0 << 3 * 64;
}

// The server waits after that, or it has closed the connection.
void TstAwkwardserverReceiver::rubbish_endsTheConnection()
{
    QFETCH(QByteArray, rubbish);
    QFETCH(int, unknownHeaders);
    QFETCH(int, maxLines);
    for (const auto& action : {acceptAndPush(rubbish), acceptPushAndClose(rubbish)}) {
        subject.reset();
        subject.emplace();
        bus->willAnswerHandshake(action);
        QVERIFY(subject->receiver.open());
        QTRY_COMPARE(subject->lost.count(), 1);
        QTest::qWait(50);
        QStringList lines = subject->log.texts();
        lines.removeOne(CLOSED_LINE);
        QCOMPARE(lines.filter(u"critical: Unknown request header: "_s).size(), unknownHeaders);
        QVERIFY2(lines.size() <= maxLines, qPrintable(QString::number(lines.size())));
        QVERIFY(!subject->receiver.isConnected());
    }
}

void TstAwkwardserverReceiver::rubbish_inBetween_isForgiven()
{
    const QByteArray rubbish = QByteArray("rubbish\r\n").repeated(63);
    bus->willAnswerHandshake(acceptAndPush(rubbish + pushFrames(1, 1) + rubbish + FakeBus::replyFrame(u"x"_s, 0)
                                           + rubbish + pushFrames(2, 2)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->incoming.count(), 2);
    QCOMPARE(subject->lost.count(), 0);
    QCOMPARE(subject->log.texts().size(), 3 * 63);
}

void TstAwkwardserverReceiver::serverThatDropsEveryConnection_isNotStormed_data()
{
    QTest::addColumn<bool>("accepts");
    QTest::newRow("before the handshake is answered") << false;
    QTest::newRow("after it") << true;
}

void TstAwkwardserverReceiver::serverThatDropsEveryConnection_isNotStormed()
{
    QFETCH(bool, accepts);
    for (int connection = 0; connection < 100; ++connection) {
        bus->willAnswerHandshake([accepts](FakeBus::Peer& peer, const FakeBus::Request&) {
            if (accepts) {
                peer.send(FakeBus::acceptance());
            }
            peer.close();
        });
    }
    TarvexMsgWorker worker(PRINTER);
    QVERIFY(worker.doStart());
    QTest::qWait(9000);
    QVERIFY2(bus->connectionCount() >= 2 && bus->connectionCount() <= 3,
             qPrintable(QString::number(bus->connectionCount())));
}

void TstAwkwardserverReceiver::restartByTheService_isNotDelayed()
{
    bus->willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.close(); });
    TarvexMsgWorker worker(PRINTER);
    QElapsedTimer time;
    time.start();
    QVERIFY(worker.doStart());
    // The loss has been noticed, and its own restart has decided to wait.
    QTest::qWait(500);
    QCOMPARE(bus->connectionCount(), 1);
    worker.restart();
    QTRY_COMPARE(bus->connectionCount(), 2);
    QVERIFY(time.elapsed() < AT_ONCE_MS);
}

// Otherwise Qt would take in all that the server sends, while the frames are read one after the other.
void TstAwkwardserverReceiver::unreadBytes_waitInTheServer()
{
    constexpr int COUNT = 60;
    QByteArray frames;
    for (int number = 1; number <= COUNT; ++number) {
        frames += pushFrame(numbered(number, irregularText(100000, unsigned(number))));
    }
    bus->willAnswerHandshake(acceptAndPush(frames));
    TarvexMessagesReciever receiver(PRINTER);
    const auto* const socket = receiver.findChild<QTcpSocket*>();
    int received = 0;
    qint64 buffered = 0;
    connect(&receiver, &TarvexMessagesReciever::incomingMessage, &receiver, [&] {
        ++received;
        buffered = qMax(buffered, socket->bytesAvailable());
    });
    QVERIFY(receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(received, COUNT, 60000);
    QVERIFY2(buffered > 0 && buffered <= 1024 * 1024, qPrintable(QString::number(buffered)));
}

// It runs in a thread of its own, as in a service, because each thread has a heap of its own.
void TstAwkwardserverReceiver::largeMessages_leaveNothingBehind()
{
    constexpr int COUNT = 120;
    constexpr int GROWTH_KIB = 40 * 1024;
    std::atomic<int> handled{0};
    bus->willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        for (int number = 1; number <= COUNT; ++number) {
            if (!peer.send(pushFrame(numbered(number, QString(2 * 1024 * 1024, QLatin1Char('x')))))) {
                return;
            }
        }
    });
    Service service;
    auto* const messages = new TarvexMsgWorker(PRINTER);
    auto* const handler = new HandlingWorker(handled);
    connect(messages, SIGNAL(unprocessedMessage(Message)), handler, SLOT(handle(Message)), Qt::QueuedConnection);
    const int before = residentKiB();
    service.start(handler);
    service.start(messages);
    QTRY_COMPARE_WITH_TIMEOUT(handled.load(), COUNT, 90000);
    const int after = residentKiB();
    qInfo("resident: %d -> %d KiB", before, after);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    QVERIFY2(after - before < GROWTH_KIB, qPrintable(QString::number(after - before)));
#else
    Q_UNUSED(GROWTH_KIB)
#endif
}

// A compressed frame of some kB may hold an identifier of many MiB.
void TstAwkwardserverReceiver::largeKeys_leaveNothingBehind()
{
    constexpr int COUNT = 20;
    QByteArray frames;
    for (int number = 1; number <= COUNT; ++number) {
        Message message;
        message.setUid(QString(2 * 1024 * 1024, QLatin1Char('u')) + QString::number(number));
        const QByteArray frame = FakeBus::requestFrame(u"sendMessage"_s, message.toVariantMap());
        // Each comes twice, and the repeat is recognised.
        frames += frame + frame;
    }
    bus->willAnswerHandshake(acceptAndPush(frames));
    TarvexMessagesReciever receiver(PRINTER);
    int received = 0;
    connect(&receiver, &TarvexMessagesReciever::incomingMessage, &receiver, [&received] { ++received; });
    const qint64 before = memoryuse::allocated();
    QVERIFY(receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(bus->requests().size(), 2 * COUNT, 60000);
    // Each repeat is logged, but not in MiB.
    QTRY_COMPARE(subject->log.texts().size(), COUNT);
    QVERIFY(subject->log.texts().constFirst().size() < 200000);
    subject->log.clear();
    QCOMPARE(received, COUNT);
    bus.reset();
    // The sanitizers' allocators do not say how much is allocated.
    QVERIFY2(memoryuse::allocated() - before < 20 * 1024 * 1024,
             qPrintable(QString::number(memoryuse::allocated() - before)));
}

// With a full buffer Qt does not notice that the server has gone.
void TstAwkwardserverReceiver::serverThatGoesBehindAFullBuffer_hasItsMessagesRead()
{
    constexpr int COUNT = 40;
    QByteArray frames;
    for (int number = 1; number <= COUNT; ++number) {
        frames += pushFrame(numbered(number, irregularText(20000, unsigned(number))));
    }
    bus->willAnswerHandshake([frames](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance() + frames);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        peer.close();
    });
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(subject->lost.count(), 1, 20000);
    QTRY_COMPARE(subject->incoming.count(), COUNT);
}

QTEST_GUILESS_MAIN(TstAwkwardserverReceiver)
#include "tst_awkwardserver_receiver.moc"
