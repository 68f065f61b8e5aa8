#include "frames.h"
#include "traffic/frameobserver.h"

#include "literals.h"

#include <QLoggingCategory>
#include <QTest>

using namespace tarvex;
using namespace tarvex::traffic;
using namespace frames;

namespace {

using Finding = FrameObserver::Finding;
using Findings = FrameObserver::Findings;

/// One line for each finding: "0 request handshake", "12 bad: words".
QStringList shown(const Findings& findings)
{
    QStringList lines;
    for (const Finding& finding : findings) {
        const QString at = QString::number(finding.offset) + u' ';
        if (finding.kind == Finding::Frame) {
            lines.append(at + (finding.isReply ? u"reply "_s : u"request "_s)
                         + finding.envelope.value(busframe::KEY_OPERATION).toString());
        } else {
            lines.append(at + (finding.kind == Finding::Bad ? u"bad: "_s : u"gap: "_s) + finding.problem);
        }
    }
    return lines;
}

/// An observer that is given \a bytes in pieces of \a size, and the end after them.
QStringList found(const QByteArray& bytes, FrameObserver::Begin begin = FrameObserver::AtFrame, int size = 1 << 20)
{
    busframe::Codec codec;
    FrameObserver observer(begin, codec);
    QStringList lines;
    for (int at = 0; at < bytes.size(); at += size) {
        lines += shown(observer.append(bytes.mid(at, size), 1));
    }
    return lines + shown(observer.end(true));
}

QString at(int offset, const QString& words)
{
    return QString::number(offset) + u' ' + words;
}

} // namespace

class TstFrameObserver : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void goodFrames_areFound_inPiecesOfAnySize();
    void damage_isNamed_data();
    void damage_isNamed();
    void damage_isNamed_inPiecesOfAnySize_data();
    void damage_isNamed_inPiecesOfAnySize();
    void tooSmallSize_isTold_whenTheNextHeaderIsThere();
    void tooBigSize_isTold_atTheNextHeader();
    void undecodableFrame_keepsThePlace();
    void joinedInAFrame_findsTheNextOne();
    void joinedAtAFrame_skipsNothing();
    void joined_doesNotTrustAHeaderInsideOfOtherBytes();
    void joined_doesNotTrustAFrameThatDoesNotDecode();
    void missingBytes_loseTheFrame();
    void missingBytesBetweenFrames_loseNothingElse();
    void missingBytesTwice_areCountedOnce();
    void end_inAFrame_isBadOrAGap();
    void giveUp_letsTheFrameGo();
    void packet_isTheOneInWhichTheFrameBegins();
    void everyByteChanged_findsTheNextFrame();
    void headersWithoutEnd_takeLinearTime();
};

/// Qt warns about each block that is damaged.
void TstFrameObserver::initTestCase()
{
    QLoggingCategory::defaultCategory()->setEnabled(QtWarningMsg, false);
}

void TstFrameObserver::goodFrames_areFound_inPiecesOfAnySize()
{
    const QByteArray bytes = HANDSHAKE + ACCEPTED + LOAD + REFUSED;
    const QStringList expected{u"0 request handshake"_s, at(HANDSHAKE.size(), u"reply handshake"_s),
                               at(HANDSHAKE.size() + ACCEPTED.size(), u"request loadState"_s),
                               at(HANDSHAKE.size() + ACCEPTED.size() + LOAD.size(), u"reply loadState"_s)};
    for (const int size : {1, 2, 3, 7, 50, 1000}) {
        QCOMPARE(found(bytes, FrameObserver::AtFrame, size), expected);
        QCOMPARE(found(bytes, FrameObserver::Anywhere, size), expected);
    }
}

void TstFrameObserver::damage_isNamed_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("words");
    const QByteArray text = payload(LOAD);
    const QByteArray block = QByteArray::fromBase64(text);
    const auto packed = [](const QByteArray& json) { return withPayload(qCompress(json).toBase64()); };
    QTest::newRow("other protocol") << QByteArray("GET / HTTP/1.1\r\n\r\n") << u"\"GET / HTTP/1.1\" begins no frame"_s;
    QTest::newRow("size is a word") << withSize(LOAD, "many") << u"the size line is \"many\", which is no number"_s;
    QTest::newRow("size is beyond the bound")
        << withSize(LOAD, "99999999") << u"the size line is \"99999999\", which is beyond 50331648"_s;
    QTest::newRow("size is odd") << withSize(LOAD, "101")
                                 << u"the size line is \"101\", but base64 has a positive multiple of 4 bytes"_s;
    QTest::newRow("size is 0") << withSize(LOAD, "0")
                               << u"the size line is \"0\", but base64 has a positive multiple of 4 bytes"_s;
    QTest::newRow("no base64")
        << withSize(LOAD, QByteArray::number(text.size())).replace(text, text.left(9) + "\n" + text.mid(10))
        << u"the size line says %1 bytes, but byte 9 of the payload is 0x0a, which is no base64"_s.arg(text.size());
    QTest::newRow("padding inside") << withPayload("QUI=QUI=") << u"the payload of 8 bytes is no base64"_s;
    QTest::newRow("block too short") << withPayload(
        "AAAA") << u"the payload's block does not inflate: it has 3 bytes, and the length alone takes 4"_s;
    QTest::newRow("empty text") << withPayload(QByteArray("\0\0\0\0\x78\x9c\x03\0\0\0\0\x01", 12).toBase64())
                                << u"the payload's block does not inflate: its text is empty"_s;
    QTest::newRow("not zlib's") << withPayload(QByteArray("\0\0\0\x05hello", 9).toBase64())
                                << u"the payload's block does not inflate: incorrect header check, at byte 2 of it"_s;
    QTest::newRow("block is cut") << withPayload(block.chopped(9).toBase64())
                                  << u"the payload's block does not inflate: it ends too early, after "_s;
    QTest::newRow("checksum") << withPayload((block.chopped(1) + char(block.back() ^ 1)).toBase64())
                              << u"the payload's block does not inflate: incorrect data check, at byte "_s;
    QTest::newRow("no JSON") << packed("{\"operation\":") << u"the payload's text is no JSON: "_s;
    QTest::newRow("no object") << packed("[1,2]") << u"the payload's JSON is no object, or an empty one"_s;
}

void TstFrameObserver::damage_isNamed()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, words);
    const QStringList lines = found(HANDSHAKE + bytes);
    QCOMPARE(lines.value(0), u"0 request handshake"_s);
    QVERIFY2(lines.value(1).startsWith(at(HANDSHAKE.size(), u"bad: "_s + words)), qPrintable(lines.join(u'\n')));
}

void TstFrameObserver::damage_isNamed_inPiecesOfAnySize_data()
{
    damage_isNamed_data();
}

/// The next frame is found as well.
void TstFrameObserver::damage_isNamed_inPiecesOfAnySize()
{
    QFETCH(QByteArray, bytes);
    const QByteArray all = HANDSHAKE + bytes + LOAD;
    const QStringList whole = found(all);
    QCOMPARE(whole.last(), at(HANDSHAKE.size() + bytes.size(), u"request loadState"_s));
    for (const int size : {1, 5, 64}) {
        QCOMPARE(found(all, FrameObserver::AtFrame, size), whole);
    }
}

void TstFrameObserver::tooSmallSize_isTold_whenTheNextHeaderIsThere()
{
    const int size = payload(LOAD).size();
    const QByteArray bad = withSize(LOAD, QByteArray::number(size - 4));
    const QStringList lines = found(bad + HANDSHAKE);
    QCOMPARE(lines.size(), 4);
    QVERIFY(lines.at(0).startsWith(u"0 bad: the payload's block does not inflate: it ends too early"_s));
    QCOMPARE(
        lines.at(1),
        at(bad.size() - 4,
           u"bad: the payload before goes on after the %1 bytes of its size line: the size is too small by 4"_s.arg(
               size - 4)));
    QCOMPARE(lines.at(2), at(bad.size() - 4, u"gap: 4 bytes from here on hold no frame that can be trusted"_s));
    QCOMPARE(lines.at(3), at(bad.size(), u"request handshake"_s));
}

void TstFrameObserver::tooBigSize_isTold_atTheNextHeader()
{
    const int size = payload(LOAD).size();
    const QByteArray bad = withSize(LOAD, QByteArray::number(size + 4));
    QCOMPARE(
        found(bad + HANDSHAKE),
        (QStringList{u"0 bad: the size line says %1 bytes, but a header follows after %2: the size is too big by 4"_s
                         .arg(size + 4)
                         .arg(size),
                     at(bad.size(), u"request handshake"_s)}));
}

void TstFrameObserver::undecodableFrame_keepsThePlace()
{
    const QStringList lines = found(withPayload("AAAA") + LOAD);
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines.at(0).startsWith(u"0 bad: "_s));
    QCOMPARE(lines.at(1), at(withPayload("AAAA").size(), u"request loadState"_s));
}

void TstFrameObserver::joinedInAFrame_findsTheNextOne()
{
    for (int cut = 1; cut < HANDSHAKE.size(); ++cut) {
        const int rest = HANDSHAKE.size() - cut;
        const QString gap = rest == 1 ? u"1 byte"_s : u"%1 bytes"_s.arg(rest);
        QCOMPARE(found(HANDSHAKE.mid(cut) + LOAD, FrameObserver::Anywhere, 10),
                 (QStringList{u"0 gap: %1 from here on hold no frame that can be trusted"_s.arg(gap),
                              at(rest, u"request loadState"_s)}));
    }
}

void TstFrameObserver::joinedAtAFrame_skipsNothing()
{
    QCOMPARE(found(LOAD, FrameObserver::Anywhere), QStringList{u"0 request loadState"_s});
}

void TstFrameObserver::joined_doesNotTrustAHeaderInsideOfOtherBytes()
{
    const QByteArray other = "[-REQUEST-]\r\n[-REPLY-]\r\n12\r\n!!";
    const QStringList lines = found(other + LOAD, FrameObserver::Anywhere, 1);
    QCOMPARE(lines.last(), at(other.size(), u"request loadState"_s));
}

void TstFrameObserver::joined_doesNotTrustAFrameThatDoesNotDecode()
{
    const QByteArray other = withPayload("AAAABBBB");
    QCOMPARE(found(other + LOAD, FrameObserver::Anywhere),
             (QStringList{u"0 gap: %1 bytes from here on hold no frame that can be trusted"_s.arg(other.size()),
                          at(other.size(), u"request loadState"_s)}));
}

void TstFrameObserver::missingBytes_loseTheFrame()
{
    busframe::Codec codec;
    FrameObserver observer(FrameObserver::AtFrame, codec);
    const int headerSize = header(LOAD).size();
    observer.append(LOAD.left(headerSize + 10), 1);
    QCOMPARE(shown(observer.miss(20, 2)),
             QStringList{at(headerSize + 10,
                            u"gap: 20 bytes were not captured, in the middle of a frame: 10 of its %1 bytes of payload "
                            "were there"_s.arg(payload(LOAD).size()))});
    const QByteArray rest = LOAD.mid(headerSize + 30);
    QCOMPARE(shown(observer.append(rest + HANDSHAKE, 3)),
             (QStringList{at(headerSize + 30,
                             u"gap: %1 bytes from here on hold no frame that can be trusted"_s.arg(rest.size())),
                          at(LOAD.size(), u"request handshake"_s)}));
}

void TstFrameObserver::missingBytesBetweenFrames_loseNothingElse()
{
    busframe::Codec codec;
    FrameObserver observer(FrameObserver::AtFrame, codec);
    observer.append(LOAD, 1);
    QCOMPARE(shown(observer.miss(1, 2)), QStringList{at(LOAD.size(), u"gap: 1 byte were not captured"_s)});
    QCOMPARE(shown(observer.append(LOAD, 3)), QStringList{at(LOAD.size() + 1, u"request loadState"_s)});
}

void TstFrameObserver::missingBytesTwice_areCountedOnce()
{
    busframe::Codec codec;
    FrameObserver observer(FrameObserver::AtFrame, codec);
    observer.miss(10, 1);
    observer.append("rubbish", 2);
    QCOMPARE(shown(observer.miss(20, 3)),
             (QStringList{u"10 gap: 7 bytes from here on hold no frame that can be trusted"_s,
                          u"17 gap: 20 bytes were not captured"_s}));
    QCOMPARE(shown(observer.append(LOAD, 4)), QStringList{u"37 request loadState"_s});
}

void TstFrameObserver::end_inAFrame_isBadOrAGap()
{
    busframe::Codec codec;
    const QString words = u"the bytes end in the middle of a frame: "_s;
    for (const bool isWhole : {true, false}) {
        const QString kind = isWhole ? u"0 bad: "_s : u"0 gap: "_s;
        FrameObserver inPayload(FrameObserver::AtFrame, codec);
        inPayload.append(LOAD.chopped(1), 1);
        const int size = payload(LOAD).size();
        QCOMPARE(shown(inPayload.end(isWhole)),
                 QStringList{kind + words + u"%1 of its %2 bytes of payload were there"_s.arg(size - 1).arg(size)});
        FrameObserver inHeader(FrameObserver::AtFrame, codec);
        inHeader.append("[-REP", 1);
        QCOMPARE(shown(inHeader.end(isWhole)), QStringList{kind + words + u"5 bytes of its header were there"_s});
    }
    FrameObserver between(FrameObserver::AtFrame, codec);
    between.append(LOAD, 1);
    QCOMPARE(shown(between.end(true)), QStringList());
}

void TstFrameObserver::giveUp_letsTheFrameGo()
{
    busframe::Codec codec;
    FrameObserver observer(FrameObserver::AtFrame, codec);
    observer.append("[-REPLY-]\r\n40000000\r\n" + QByteArray(1000000, 'A'), 1);
    QVERIFY(observer.heldBytes() >= 1000000);
    QCOMPARE(shown(observer.giveUp()),
             QStringList{u"0 gap: too much to keep: 1000000 of its 40000000 bytes of payload were there"_s});
    QVERIFY(observer.heldBytes() < 100);
    QCOMPARE(shown(observer.append(LOAD, 2)), QStringList{at(1000021, u"request loadState"_s)});
}

void TstFrameObserver::packet_isTheOneInWhichTheFrameBegins()
{
    busframe::Codec codec;
    FrameObserver observer(FrameObserver::AtFrame, codec);
    observer.append(HANDSHAKE, 1);
    observer.append(LOAD.left(20), 5);
    const Findings findings = observer.append(LOAD.mid(20), 7);
    QCOMPARE(findings.size(), std::size_t(1));
    QCOMPARE(findings.front().packet, 5);
    QCOMPARE(findings.front().size, payload(LOAD).size());
}

/// Each byte of a frame, changed, spoils this frame at most.
void TstFrameObserver::everyByteChanged_findsTheNextFrame()
{
    for (int i = 0; i < LOAD.size(); ++i) {
        for (const int bit : {0x01, 0x80}) {
            QByteArray changed = LOAD;
            changed[i] = static_cast<char>(changed.at(i) ^ bit);
            const QStringList lines = found(changed + HANDSHAKE + ACCEPTED);
            QCOMPARE(lines.last(), at(LOAD.size() + HANDSHAKE.size(), u"reply handshake"_s));
        }
    }
}

/// With the square of their number it would take minutes.
void TstFrameObserver::headersWithoutEnd_takeLinearTime()
{
    QByteArray bytes;
    for (int i = 0; i < 200000; ++i) {
        bytes += "[-REPLY-]\r\n";
    }
    const QStringList lines = found(bytes + LOAD);
    QCOMPARE(lines.last(), at(bytes.size(), u"request loadState"_s));
}

QTEST_GUILESS_MAIN(TstFrameObserver)
#include "tst_frameobserver.moc"
