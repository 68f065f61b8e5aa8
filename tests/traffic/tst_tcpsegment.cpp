#include "packets.h"
#include "traffic/tcpsegment.h"

#include "literals.h"

#include <QTest>

using namespace tarvex::traffic;
using namespace packets;

namespace {

QByteArray hello(const QByteArray& payload = "hello")
{
    return tcp(40000, 45535, 0x01020304, 0x05060708, ACK | FIN, payload);
}

} // namespace

class TstTcpSegment : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fields_areRead();
    void everyLinkType_isUnderstood_data();
    void everyLinkType_isUnderstood();
    void ipv6_isRead();
    void ipv6Extensions_areSkipped();
    void padding_isDropped();
    void cutPacket_saysHowMuchIsMissing();
    void sizeZero_isThatOfTheWire();
    void noSegment_isNothing_data();
    void noSegment_isNothing();
    void everyPrefix_isHarmless();
    void endpoints_areShown();
};

void TstTcpSegment::fields_areRead()
{
    const auto segment = readTcpSegment(packet(ipv4(hello())));
    QVERIFY(segment);
    QCOMPARE(segment->source.text(), u"127.0.0.1:40000"_s);
    QCOMPARE(segment->destination.text(), u"127.0.0.1:45535"_s);
    QCOMPARE(segment->sequence, 0x01020304U);
    QCOMPARE(segment->acknowledged, 0x05060708U);
    QVERIFY(segment->isAck && segment->isFin && !segment->isSyn && !segment->isRst);
    QCOMPARE(segment->payload, QByteArray("hello"));
    QCOMPARE(segment->cutOff, 0);
}

void TstTcpSegment::everyLinkType_isUnderstood_data()
{
    const QByteArray ip = ipv4(hello());
    const QByteArray tag = bigEndian(quint16(5)) + bigEndian(quint16(0x0800));
    QTest::addColumn<int>("linkType");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("ethernet") << DLT_EN10MB << ethernet(ip);
    QTest::newRow("vlan") << DLT_EN10MB << ethernet(tag + ip, 0x8100);
    QTest::newRow("two tags") << DLT_EN10MB
                              << ethernet(bigEndian(quint16(1)) + bigEndian(quint16(0x8100)) + tag + ip, 0x88a8);
    QTest::newRow("raw") << DLT_RAW << ip;
    QTest::newRow("ipv4") << DLT_IPV4 << ip;
    QTest::newRow("cooked") << DLT_LINUX_SLL << QByteArray(14, '\0') + bigEndian(quint16(0x0800)) + ip;
    QTest::newRow("cooked 2") << DLT_LINUX_SLL2 << bigEndian(quint16(0x0800)) + QByteArray(18, '\0') + ip;
    QTest::newRow("null") << DLT_NULL << littleEndian(quint32(2)) + ip;
    QTest::newRow("loop") << DLT_LOOP << bigEndian(quint32(2)) + ip;
}

void TstTcpSegment::everyLinkType_isUnderstood()
{
    QFETCH(int, linkType);
    QFETCH(QByteArray, bytes);
    const auto segment = readTcpSegment(packet(bytes, linkType));
    QVERIFY(segment);
    QCOMPARE(segment->payload, QByteArray("hello"));
}

void TstTcpSegment::ipv6_isRead()
{
    const auto segment = readTcpSegment(packet(ethernet(ipv6(hello()), 0x86dd), DLT_EN10MB));
    QVERIFY(segment);
    QCOMPARE(segment->source.text(), u"[::1]:40000"_s);
    QCOMPARE(segment->payload, QByteArray("hello"));
}

void TstTcpSegment::ipv6Extensions_areSkipped()
{
    const QByteArray options = QByteArray("\x06\0", 2) + QByteArray(6, '\0');    // the next one is TCP, 8 bytes
    const QByteArray routing = QByteArray("\x3c\x01", 2) + QByteArray(14, '\0'); // then options, 16 bytes
    const auto segment = readTcpSegment(packet(ipv6(routing + options + hello(), 43)));
    QVERIFY(segment);
    QCOMPARE(segment->payload, QByteArray("hello"));
}

void TstTcpSegment::padding_isDropped()
{
    const auto segment = readTcpSegment(packet(ethernet(ipv4(hello("")) + QByteArray(6, '\0')), DLT_EN10MB));
    QVERIFY(segment);
    QCOMPARE(segment->payload, QByteArray());
    QCOMPARE(segment->cutOff, 0);
}

void TstTcpSegment::cutPacket_saysHowMuchIsMissing()
{
    const QByteArray whole = ipv4(hello());
    const auto segment = readTcpSegment(packet(whole.chopped(3), DLT_RAW, whole.size()));
    QVERIFY(segment);
    QCOMPARE(segment->payload, QByteArray("he"));
    QCOMPARE(segment->cutOff, 3);
}

void TstTcpSegment::sizeZero_isThatOfTheWire()
{
    const auto segment = readTcpSegment(packet(ipv4(hello(), 0)));
    QVERIFY(segment);
    QCOMPARE(segment->payload, QByteArray("hello"));
}

void TstTcpSegment::noSegment_isNothing_data()
{
    QByteArray shortHeader = hello();
    shortHeader[12] = 0x40; // 16 bytes, and 20 are the least
    QByteArray longHeader = hello("");
    longHeader[12] = char(0xf0);
    QByteArray version = ipv4(hello());
    version[0] = 0x55;
    QByteArray smallIpHeader = ipv4(hello());
    smallIpHeader[0] = 0x44;
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("linkType");
    QTest::newRow("empty") << QByteArray() << DLT_RAW;
    QTest::newRow("arp") << ethernet(QByteArray(46, '\x01'), 0x0806) << DLT_EN10MB;
    QTest::newRow("udp") << ipv4(hello(), -1, 0, 17) << DLT_RAW;
    QTest::newRow("first fragment") << ipv4(hello(), -1, 0x2000) << DLT_RAW;
    QTest::newRow("later fragment") << ipv4(hello(), -1, 0x0010) << DLT_RAW;
    QTest::newRow("ipv6 fragment") << ipv6(QByteArray("\x06\0", 2) + QByteArray(6, '\0') + hello(), 44) << DLT_RAW;
    QTest::newRow("unknown version") << version << DLT_RAW;
    QTest::newRow("small ip header") << smallIpHeader << DLT_RAW;
    QTest::newRow("small tcp header") << ipv4(shortHeader) << DLT_RAW;
    QTest::newRow("tcp header beyond the packet") << ipv4(longHeader) << DLT_RAW;
    QTest::newRow("total smaller than the header") << ipv4(hello(), 19) << DLT_RAW;
    QTest::newRow("unknown link") << ipv4(hello()) << DLT_IEEE802_11;
}

void TstTcpSegment::noSegment_isNothing()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, linkType);
    QVERIFY(!readTcpSegment(packet(bytes, linkType)));
}

/// Whatever the capture has kept of a packet, nothing is read behind it. The sanitizers look on.
void TstTcpSegment::everyPrefix_isHarmless()
{
    const QByteArray extension = QByteArray("\x06\0", 2) + QByteArray(6, '\0');
    const QList<QByteArray> wholes{ethernet(ipv4(hello())), ethernet(ipv6(extension + hello(), 0), 0x86dd)};
    for (const QByteArray& whole : wholes) {
        const int headers = whole.size() - 5;
        for (int size = 0; size <= whole.size(); ++size) {
            const auto segment = readTcpSegment(packet(whole.left(size), DLT_EN10MB, whole.size()));
            QCOMPARE(segment.has_value(), size >= headers);
            QVERIFY(!segment || segment->payload.size() + segment->cutOff == 5);
        }
    }
}

void TstTcpSegment::endpoints_areShown()
{
    QCOMPARE((Endpoint{QByteArray("\x0a\x01\x02\x03", 4), 80}).text(), u"10.1.2.3:80"_s);
    QCOMPARE((Endpoint{QByteArray(15, '\0') + '\x01', 80}).text(), u"[::1]:80"_s);
}

QTEST_GUILESS_MAIN(TstTcpSegment)
#include "tst_tcpsegment.moc"
