#include "wire/framestream_p.h"

#include "literals.h"

#include <QTest>

using tarvex::Frame;
using tarvex::FrameStream;

namespace {

const QByteArray TWO_FRAMES = "[-REQUEST-]\r\n8\r\nAAAABBBB[-REPLY-]\r\n4\r\nCCCC";

QList<QByteArray> take(FrameStream& stream)
{
    QList<QByteArray> frames;
    Frame frame;
    while (stream.next(frame) == FrameStream::Complete) {
        frames.append((frame.isReply ? "reply " : "request ") + frame.payload);
    }
    return frames;
}

QList<QByteArray> twoFrames()
{
    return {"request AAAABBBB", "reply CCCC"};
}

} // namespace

class TstFrameStream : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void next_withoutBytes_isIncomplete();
    void next_framesBackToBack_givesEach();
    void next_cutAtEveryPosition_givesTheSame();
    void next_byteByByte_givesTheSame();
    void next_lineVariants_areUnderstood_data();
    void next_lineVariants_areUnderstood();
    void next_wrongSize_losesTrack_data();
    void next_wrongSize_losesTrack();
    void next_largestSize_isAwaited();
    void next_unknownHeader_losesTrack_data();
    void next_unknownHeader_losesTrack();
    void next_afterLosingTrack_staysLost();
};

void TstFrameStream::next_withoutBytes_isIncomplete()
{
    FrameStream stream;
    Frame frame;
    QCOMPARE(stream.next(frame), FrameStream::Incomplete);
    stream.append("[-REQUEST-]\r\n8\r\nAAAABBB");
    QCOMPARE(stream.next(frame), FrameStream::Incomplete);
    stream.append("B");
    QCOMPARE(stream.next(frame), FrameStream::Complete);
    QCOMPARE(stream.next(frame), FrameStream::Incomplete);
}

void TstFrameStream::next_framesBackToBack_givesEach()
{
    FrameStream stream;
    stream.append(TWO_FRAMES);
    QCOMPARE(take(stream), twoFrames());
}

void TstFrameStream::next_cutAtEveryPosition_givesTheSame()
{
    for (int position = 0; position <= TWO_FRAMES.size(); ++position) {
        FrameStream stream;
        stream.append(TWO_FRAMES.left(position));
        QList<QByteArray> frames = take(stream);
        stream.append(TWO_FRAMES.mid(position));
        frames += take(stream);
        QVERIFY2(frames == twoFrames(), qPrintable(QString::number(position)));
    }
}

void TstFrameStream::next_byteByByte_givesTheSame()
{
    FrameStream stream;
    QList<QByteArray> frames;
    for (const char byte : TWO_FRAMES) {
        stream.append(QByteArray(1, byte));
        frames += take(stream);
    }
    QCOMPARE(frames, twoFrames());
}

void TstFrameStream::next_lineVariants_areUnderstood_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("line feeds alone") << QByteArray("[-REPLY-]\n4\nAAAA");
    QTest::newRow("white space around") << QByteArray("  [-REPLY-] \t\r\n \t4 \r\nAAAA");
    QTest::newRow("15 bytes of header") << QByteArray("[-REPLY-]    \r\n4\r\nAAAA");
    QTest::newRow("15 bytes of size") << QByteArray("[-REPLY-]\r\n0000000000004\r\nAAAA");
}

void TstFrameStream::next_lineVariants_areUnderstood()
{
    QFETCH(QByteArray, bytes);
    FrameStream stream;
    stream.append(bytes);
    QCOMPARE(take(stream), QList<QByteArray>{"reply AAAA"});
}

void TstFrameStream::next_wrongSize_losesTrack_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("zero") << QByteArray("0\r\n");
    QTest::newRow("negative") << QByteArray("-4\r\n");
    QTest::newRow("empty") << QByteArray("\r\n");
    QTest::newRow("text") << QByteArray("four\r\n");
    QTest::newRow("two numbers") << QByteArray("4 4\r\n");
    QTest::newRow("hexadecimal") << QByteArray("0x10\r\n");
    QTest::newRow("no whole groups") << QByteArray("5\r\n");
    QTest::newRow("above the bound") << QByteArray("50331652\r\n");
    QTest::newRow("beyond 32 bits") << QByteArray("4294967300\r\n");
    QTest::newRow("16 bytes") << QByteArray("00000000000004\r\n");
    QTest::newRow("no end in sight") << QByteArray("000000000000004");
}

void TstFrameStream::next_wrongSize_losesTrack()
{
    QFETCH(QByteArray, line);
    FrameStream stream;
    Frame frame;
    stream.append("[-REQUEST-]\r\n" + line + "AAAA");
    QCOMPARE(stream.next(frame), FrameStream::WrongSize);
}

void TstFrameStream::next_largestSize_isAwaited()
{
    FrameStream stream;
    Frame frame;
    stream.append("[-REQUEST-]\r\n50331648\r\nAAAA");
    QCOMPARE(stream.next(frame), FrameStream::Incomplete);
}

void TstFrameStream::next_unknownHeader_losesTrack_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("line");
    QTest::newRow("lower case") << QByteArray("[-request-]\r\n") << u"[-request-]"_s;
    QTest::newRow("empty line") << QByteArray("\r\n") << QString();
    QTest::newRow("another protocol") << QByteArray("GET / HTTP/1.1\r\n") << u"GET / HTTP/1.1"_s;
    QTest::newRow("no end in sight") << QByteArray("[-REQUEST-]    ") << u"[-REQUEST-]"_s;
    QTest::newRow("16 bytes") << QByteArray("[-REPLY-]     \r\n") << u"[-REPLY-]"_s;
    QTest::newRow("zeros") << QByteArray(64, '\0') << QString(15, QChar(0));
}

void TstFrameStream::next_unknownHeader_losesTrack()
{
    QFETCH(QByteArray, bytes);
    FrameStream stream;
    Frame frame;
    stream.append(bytes);
    QCOMPARE(stream.next(frame), FrameStream::UnknownHeader);
    QTEST(stream.lostLine(), "line");
}

void TstFrameStream::next_afterLosingTrack_staysLost()
{
    FrameStream stream;
    Frame frame;
    stream.append("[-REQUEST-]\r\n0\r\n" + TWO_FRAMES);
    QCOMPARE(stream.next(frame), FrameStream::WrongSize);
    stream.append(TWO_FRAMES);
    QCOMPARE(stream.next(frame), FrameStream::WrongSize);
}

QTEST_GUILESS_MAIN(TstFrameStream)
#include "tst_framestream.moc"
