#include "client/tarvexmessagesreciever.h"

#include "framepieces.h"
#include "markingtranslator.h"
#include "receivertest.h"
#include "reconnection.h"

#include <QByteArrayList>
#include <QTest>

#include <chrono>
#include <thread>

using namespace tarvex;
using namespace framepieces;
using namespace pushes;
using namespace reconnection;

namespace {

QList<Message> numberedMessages(int count)
{
    QList<Message> messages;
    for (int number = 1; number <= count; ++number) {
        messages.append(numbered(number));
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

/// The frames come back to back, so that a piece may hold the end of one and the beginning of the next. After such a
/// piece the reader has the time to finish the one and to wait for the other.
FakeBus::Action acceptAndPushInTinyPieces(const QByteArrayList& frames, int size)
{
    return [frames, size](FakeBus::Peer& peer, const FakeBus::Request&) {
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
    };
}

} // namespace

/// What the receiver makes of frames that are wrong, and of frames that are cut.
class TstReceiverFrames : public ReceiverTest
{
    Q_OBJECT
private Q_SLOTS:
    void awkwardFrame_isReportedAndTheNextOneRead_data();
    void awkwardFrame_isReportedAndTheNextOneRead();
    void sizeLineThatNeverComes_isReported();
    void shortPayload_isReportedOnce();
    void frame_cutAnywhere_isRead();
    void burst_isDeliveredCompletely_data();
    void burst_isDeliveredCompletely();
    void burst_inTinyPieces_isDeliveredCompletely_data();
    void burst_inTinyPieces_isDeliveredCompletely();
    void peerDiesInsidePayload_isReported();
    void logTexts_areTranslated();
};

void TstReceiverFrames::awkwardFrame_isReportedAndTheNextOneRead_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("texts");
    const auto row = [](const char* name, const QByteArray& bytes, const QStringList& texts) {
        QTest::newRow(name) << bytes << texts;
    };
    const QString header = u"critical: Unknown request header: "_s;
    row("unknown header lines", "garbage\r\nmore than fifteen\r\n\r\n",
        {header + u"garbage"_s, header + u"more than fifte"_s, header + u"en"_s, header});
    row("header in another case", "[-request-]\r\n", {header + u"[-request-]"_s});
    const QByteArray other = FakeBus::requestFrame(u"other"_s, {});
    row("header with blanks", " [-REQUEST-] \n" + other.mid(other.indexOf("\r\n") + 2),
        {u"warning: Invalid request data"_s});

    const QString size = u"warning: Invalid request size"_s;
    const QString badReply = u"warning: Incorrect reply data"_s;
    row("size in words", "[-REQUEST-]\r\nmany\r\n", {size + u": many"_s, size});
    row("size empty", "[-REQUEST-]\r\n\r\n", {size + u": "_s, size});
    row("size negative", "[-REQUEST-]\r\n-5\r\n", {size});
    row("size beyond 32 bits", "[-REQUEST-]\r\n2147483648\r\n", {size + u": 2147483648"_s, size});
    // Only the first 15 bytes of such a long line are read. The rest is the next line.
    row("size longer than a line", "[-REQUEST-]\r\n12345678901234567890\r\n",
        {size + u": 123456789012345"_s, size, header + u"67890"_s});
    row("reply, size in words", "[-REPLY-]\r\nmany\r\n", {size + u": many"_s, badReply});
    row("reply, size negative", "[-REPLY-]\r\n-5\r\n", {badReply});

    const QByteArray words = FakeBus::payload(QByteArray("plain w\xc3\xb6rds"));
    const QString illegal = u"warning: illegal value \tplain w\u00f6rds"_s;
    const QString badRequest = u"warning: Invalid request data"_s;
    row("request, payload of words", FakeBus::frame("[-REQUEST-]", words), {illegal, badRequest});
    row("reply, payload of words", FakeBus::frame("[-REPLY-]", words), {illegal, badReply});
    row("request, payload of size 0", "[-REQUEST-]\r\n0\r\n",
        {u"warning: qUncompress: Input data is corrupted"_s, u"warning: illegal value"_s, badRequest});

    row("reply, accepted", FakeBus::replyFrame(u"sendMessage"_s, 0), {});
    row("reply, code that wraps to 0", FakeBus::replyFrame(u"sendMessage"_s, 65536), {});
    row("reply, refused", FakeBus::replyFrame(u"sendMessage"_s, 2, u"Incorrect request data"_s),
        {u"critical: 2 \tIncorrect request data"_s, badReply});
    row("reply, to something like a handshake", FakeBus::replyFrame(u"Handshake"_s, 3, u"three"_s),
        {u"critical: 3 \tthree"_s, badReply});
}

void TstReceiverFrames::awkwardFrame_isReportedAndTheNextOneRead()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, texts);
    bus->willAnswerHandshake(acceptAndPush(bytes + pushFrames(1, 1)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->incoming.count(), 1);
    QVERIFY(subject->receiver.isOpen());
    // An empty dump may end in a blank or not.
    QStringList actual = subject->log.texts();
    for (QStringList* const list : {&actual, &texts}) {
        for (QString& text : *list) {
            text = text.trimmed();
        }
    }
    QCOMPARE(actual, texts);
}

void TstReceiverFrames::sizeLineThatNeverComes_isReported()
{
    bus->willAnswerHandshake(acceptAndPush("[-REQUEST-]\r\n12"));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->log.texts(),
                 QStringList({u"warning: Socket is empty"_s, u"warning: Invalid request size"_s,
                              u"critical: Unknown request header: 12"_s}));
}

void TstReceiverFrames::shortPayload_isReportedOnce()
{
    bus->willAnswerHandshake(acceptAndPushInPieces({pushFrames(1, 1).chopped(1), "X"}, 2000));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->log.texts(), QStringList(u"warning: Invalid request data"_s));
}

// A loaded machine may hold the second piece back for longer than the reader waits. One of five tries must succeed.
void TstReceiverFrames::frame_cutAnywhere_isRead()
{
    const QByteArray frame = pushFrame(numbered(10000));
    // Every place in the two lines, then every third in the payload.
    for (int cut = 1; cut < frame.size() - 1; cut += cut < 20 ? 1 : 3) {
        bool delivered = false;
        for (int attempt = 0; attempt < 5 && !delivered; ++attempt) {
            subject.reset();
            subject.emplace();
            bus->willAnswerHandshake(acceptAndPushInPieces({frame.left(cut), frame.mid(cut)}, 1));
            QVERIFY(subject->receiver.open());
            QTRY_VERIFY(subject->incoming.count() == 1 || !subject->log.texts().isEmpty());
            delivered = subject->incoming.count() == 1 && subject->log.texts().isEmpty();
        }
        QVERIFY2(delivered, qPrintable(QString::number(cut)));
    }
}

void TstReceiverFrames::burst_isDeliveredCompletely_data()
{
    QTest::addColumn<int>("pieceSize");
    QTest::addColumn<int>("socketBuffer");
    QTest::newRow("in small pieces") << 700 << 0;
    QTest::newRow("with a small socket buffer") << 10000000 << 4096;
}

void TstReceiverFrames::burst_isDeliveredCompletely()
{
    QFETCH(int, pieceSize);
    QFETCH(int, socketBuffer);
    constexpr int COUNT = 300;
    bus->willAnswerHandshake(acceptAndPushInPieces(inPieces(pushFrames(1, COUNT), pieceSize), 3));
    auto* const socket = subject->socket();
    connect(socket, &QTcpSocket::connected, socket, [socket, socketBuffer] {
        if (socketBuffer > 0) {
            socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, socketBuffer);
        }
    });
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(subject->incoming.count(), COUNT, 60000);
    QVERIFY(bus->waitForRequests(COUNT));
    QVERIFY(subject->messages() == numberedMessages(COUNT));
    QCOMPARE(subject->log.texts(), QStringList());
}

void TstReceiverFrames::burst_inTinyPieces_isDeliveredCompletely_data()
{
    QTest::addColumn<int>("pieceSize");
    QTest::addColumn<int>("count");
    // Each takes a few seconds, and the cuts go through every place of a frame, its lines included.
    QTest::newRow("7 bytes") << 7 << 50;
    QTest::newRow("13 bytes") << 13 << 100;
}

// The pieces come faster than the reader gives up, by a factor of two or more, and slower than it reads, so that it
// runs dry all the time. A loaded machine may hold one back for longer than it waits. One of ten tries must succeed.
void TstReceiverFrames::burst_inTinyPieces_isDeliveredCompletely()
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
        subject.reset();
        subject.emplace();
        bus->willAnswerHandshake(acceptAndPushInTinyPieces(frames, pieceSize));
        QVERIFY(subject->receiver.open());
        QTRY_VERIFY_WITH_TIMEOUT(subject->incoming.count() == count || !subject->log.texts().isEmpty(), 60000);
        delivered = subject->messages();
        lines = subject->log.texts();
    }
    QVERIFY2(delivered == messages, qPrintable(QString::number(delivered.size())));
    QCOMPARE(lines, QStringList());
}

void TstReceiverFrames::peerDiesInsidePayload_isReported()
{
    bus->willAnswerHandshake(acceptPushAndClose(pushFrame(numbered(1, QString(20000, QLatin1Char('x')))).chopped(100)));
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->lost.count(), 1);
    QTRY_COMPARE(subject->log.texts(), QStringList({CLOSED_LINE, u"warning: Invalid request data"_s}));
    QTest::qWait(20);
    QCOMPARE(subject->lost.count(), 1);
    QCOMPARE(subject->incoming.count(), 0);
}

void TstReceiverFrames::logTexts_areTranslated()
{
    const auto marked = [](const QString& level, const QString& text) {
        return level + MarkingTranslator::marked("tarvex::TarvexMessagesReciever", text);
    };
    // The last is a size line that never comes.
    bus->willAnswerHandshake(acceptAndPush("garbage\r\n" + QByteArray("[-REQUEST-]\r\nmany\r\n") + "[-REPLY-]\r\n-5\r\n"
                                           + pushFrames(1, 1) + pushFrames(1, 1) + FakeBus::requestFrame(u"other"_s, {})
                                           + "[-REPLY-]\r\n"));
    const MarkingTranslator translator;
    QVERIFY(subject->receiver.open());
    QTRY_COMPARE(subject->log.texts().size(), 8);
    const QString warning = u"warning: "_s;
    QStringList texts = subject->log.texts();
    QCOMPARE(texts.takeAt(0), marked(u"critical: "_s, u"Unknown request header: garbage"_s));
    QCOMPARE(texts.takeAt(0), marked(warning, u"Invalid request size: "_s) + u"many"_s);
    QVERIFY(texts.takeAt(2).startsWith(marked(warning, u"Message repeating:"_s)));
    QCOMPARE(texts,
             QStringList({marked(warning, u"Invalid request size"_s), marked(warning, u"Incorrect reply data"_s),
                          marked(warning, u"Invalid request data"_s), marked(warning, u"Socket is empty"_s),
                          marked(warning, u"Incorrect reply data"_s)}));
}

QTEST_GUILESS_MAIN(TstReceiverFrames)
#include "tst_receiver_frames.moc"
