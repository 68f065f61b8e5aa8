#include "traffic/tcpstream.h"

#include "literals.h"

#include <QTest>

using namespace tarvex::traffic;

namespace {

/// The bytes, with the holes as "<5>".
QByteArray shown(const TcpStream::Pieces& pieces)
{
    QByteArray text;
    for (const TcpStream::Piece& piece : pieces) {
        text += piece.missing > 0 ? '<' + QByteArray::number(piece.missing) + '>' : piece.bytes;
    }
    return text;
}

constexpr quint32 BEGIN = 1000;

} // namespace

class TstTcpStream : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void segmentsInOrder_passAtOnce();
    void repeatedSegment_isDropped();
    void overlap_isCut();
    void laterSegment_waits();
    void segmentsInAnyOrder_areSorted();
    void longerCopyOfAWaitingSegment_replacesIt();
    void hole_isGivenUp_whenItIsAcknowledged();
    void hole_isGivenUp_whenTooMuchWaits();
    void hole_isGivenUp_atTheEnd();
    void acknowledgedEnd_isNoHole();
    void acknowledgementFarAway_isIgnored();
    void cutOff_isAHole();
    void numbers_startAgainAtZero();
    void end_isSeen_whenEverythingWasThere();
    void distance_tellsAnotherConnection();
    void manyTinySegments_areBounded();
};

void TstTcpStream::segmentsInOrder_passAtOnce()
{
    TcpStream stream(BEGIN);
    QCOMPARE(shown(stream.take(BEGIN, "abc")), QByteArray("abc"));
    QCOMPARE(shown(stream.take(BEGIN + 3, "de")), QByteArray("de"));
    QCOMPARE(stream.waitingBytes(), 0);
}

void TstTcpStream::repeatedSegment_isDropped()
{
    TcpStream stream(BEGIN);
    stream.take(BEGIN, "abc");
    QCOMPARE(shown(stream.take(BEGIN, "abc")), QByteArray());
    QCOMPARE(shown(stream.take(BEGIN + 2, "c")), QByteArray());
    QCOMPARE(shown(stream.take(BEGIN - 1, "x")), QByteArray()); // keeps the connection alive
    QCOMPARE(shown(stream.take(BEGIN + 3, "d")), QByteArray("d"));
}

void TstTcpStream::overlap_isCut()
{
    TcpStream stream(BEGIN);
    stream.take(BEGIN, "abc");
    QCOMPARE(shown(stream.take(BEGIN + 1, "bcde")), QByteArray("de"));
}

void TstTcpStream::laterSegment_waits()
{
    TcpStream stream(BEGIN);
    QCOMPARE(shown(stream.take(BEGIN + 3, "de")), QByteArray());
    QVERIFY(stream.waitingBytes() > 0);
    QCOMPARE(shown(stream.take(BEGIN, "abc")), QByteArray("abcde"));
    QCOMPARE(stream.waitingBytes(), 0);
}

void TstTcpStream::segmentsInAnyOrder_areSorted()
{
    const QByteArray text = "abcdefghij";
    QList<int> order{0, 1, 2, 3, 4};
    do {
        TcpStream stream(BEGIN);
        QByteArray result;
        for (const int i : qAsConst(order)) { // each overlaps the next one by a byte
            result += shown(stream.take(BEGIN + static_cast<quint32>(2 * i), text.mid(2 * i, 3)));
        }
        QCOMPARE(result, text);
        QCOMPARE(stream.waitingBytes(), 0);
    } while (std::next_permutation(order.begin(), order.end()));
}

void TstTcpStream::longerCopyOfAWaitingSegment_replacesIt()
{
    TcpStream stream(BEGIN);
    stream.take(BEGIN + 2, "c");
    stream.take(BEGIN + 2, "cde");
    stream.take(BEGIN + 2, "cd");
    QCOMPARE(shown(stream.take(BEGIN, "ab")), QByteArray("abcde"));
}

void TstTcpStream::hole_isGivenUp_whenItIsAcknowledged()
{
    TcpStream stream(BEGIN);
    stream.take(BEGIN + 3, "de");
    stream.take(BEGIN + 7, "hi");
    QCOMPARE(shown(stream.acknowledge(BEGIN + 5)), QByteArray("<3>de"));
    QCOMPARE(shown(stream.acknowledge(BEGIN + 12)), QByteArray("<2>hi<3>"));
    QCOMPARE(shown(stream.take(BEGIN, "abc")), QByteArray()); // too late
    QCOMPARE(shown(stream.take(BEGIN + 12, "m")), QByteArray("m"));
}

void TstTcpStream::hole_isGivenUp_whenTooMuchWaits()
{
    const QByteArray piece(64 * 1024, 'x');
    TcpStream stream(BEGIN);
    QByteArray result;
    for (quint32 i = 1; result.isEmpty() && i < 1000; ++i) {
        result = shown(stream.take(BEGIN + i * static_cast<quint32>(piece.size()), piece));
        QVERIFY(stream.waitingBytes() <= TcpStream::MAX_WAITING);
    }
    QVERIFY(result.startsWith("<65536>x"));
    QVERIFY(result.size() > TcpStream::MAX_WAITING - piece.size());
    QCOMPARE(stream.waitingBytes(), 0);
}

void TstTcpStream::hole_isGivenUp_atTheEnd()
{
    TcpStream stream(BEGIN);
    stream.take(BEGIN + 3, "de");
    stream.end(BEGIN + 7);
    QCOMPARE(shown(stream.flush()), QByteArray("<3>de<2>"));
    QVERIFY(stream.isEnded());
}

void TstTcpStream::acknowledgedEnd_isNoHole()
{
    TcpStream stream(BEGIN);
    stream.end(BEGIN + 3);
    stream.take(BEGIN, "abc");
    QCOMPARE(shown(stream.acknowledge(BEGIN + 4)), QByteArray());
}

void TstTcpStream::acknowledgementFarAway_isIgnored()
{
    TcpStream stream(BEGIN);
    QCOMPARE(shown(stream.acknowledge(BEGIN + 0x70000000)), QByteArray());
    QCOMPARE(shown(stream.acknowledge(BEGIN - 5)), QByteArray());
    QCOMPARE(shown(stream.take(BEGIN, "a")), QByteArray("a"));
}

void TstTcpStream::cutOff_isAHole()
{
    TcpStream stream(BEGIN);
    QCOMPARE(shown(stream.take(BEGIN, "ab", 3)), QByteArray("ab<3>"));
    QCOMPARE(shown(stream.take(BEGIN + 5, "f")), QByteArray("f"));
}

void TstTcpStream::numbers_startAgainAtZero()
{
    TcpStream stream(0xfffffffe);
    QCOMPARE(shown(stream.take(2, "ef")), QByteArray());
    QCOMPARE(shown(stream.take(0xfffffffe, "abcd")), QByteArray("abcdef"));
    QCOMPARE(shown(stream.take(0xfffffffe, "ab")), QByteArray());
    QCOMPARE(shown(stream.acknowledge(6)), QByteArray("<2>"));
}

void TstTcpStream::end_isSeen_whenEverythingWasThere()
{
    TcpStream stream(BEGIN);
    stream.end(BEGIN + 3);
    QVERIFY(!stream.isEnded());
    stream.take(BEGIN + 2, "c");
    QVERIFY(!stream.isEnded());
    stream.take(BEGIN, "ab");
    QVERIFY(stream.isEnded());
}

void TstTcpStream::distance_tellsAnotherConnection()
{
    const TcpStream stream(BEGIN);
    QVERIFY(stream.isNear(BEGIN + 1000000));
    QVERIFY(stream.isNear(BEGIN - 1000000));
    QVERIFY(!stream.isNear(BEGIN + 0x20000000));
    QVERIFY(!stream.isNear(BEGIN - 0x20000000));
}

/// Each of them takes more than its byte.
void TstTcpStream::manyTinySegments_areBounded()
{
    TcpStream stream(BEGIN);
    QByteArray result;
    quint32 count = 0;
    while (result.isEmpty() && count < 1000000) {
        result = shown(stream.take(BEGIN + 2 + 2 * count, "x"));
        ++count;
    }
    QVERIFY(count < 100000);
}

QTEST_APPLESS_MAIN(TstTcpStream)
#include "tst_tcpstream.moc"
