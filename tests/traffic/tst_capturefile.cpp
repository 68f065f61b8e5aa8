#include "packets.h"
#include "traffic/capturefile.h"

#include "literals.h"

#include <QTest>

using namespace tarvex::traffic;
using namespace packets;

class TstCaptureFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void pcap_isRead();
    void pcapng_isRead();
    void nanoseconds_becomeMicroseconds();
    void shortenedPacket_hasItsSizeOnTheWire();
    void otherFile_isNotOpen_data();
    void otherFile_isNotOpen();
    void cutFile_isDamaged_afterTheWholePackets();
    void hostileLength_isDamaged();
};

void TstCaptureFile::pcap_isRead()
{
    CaptureFile file(fileWith(fileHeader(DLT_LINUX_SLL) + record("first", 2, 3) + record("second", 4, 5)));
    QVERIFY(file.isOpen());
    Packet packet;
    QCOMPARE(file.next(packet), CaptureFile::Read);
    QCOMPARE(packet.number, 1);
    QCOMPARE(packet.timeUs, 2000003);
    QCOMPARE(packet.linkType, DLT_LINUX_SLL);
    QCOMPARE(packet.bytes, QByteArray("first"));
    QCOMPARE(packet.size, 5);
    QCOMPARE(file.next(packet), CaptureFile::Read);
    QCOMPARE(packet.number, 2);
    QCOMPARE(packet.bytes, QByteArray("second"));
    QCOMPARE(file.next(packet), CaptureFile::AtEnd);
    QCOMPARE(file.errorString(), QString());
    QCOMPARE(file.next(packet), CaptureFile::AtEnd);
}

void TstCaptureFile::pcapng_isRead()
{
    const auto block = [](quint32 type, const QByteArray& body) {
        const QByteArray size = littleEndian(static_cast<quint32>(body.size() + 12));
        return littleEndian(type) + size + body + size;
    };
    const QByteArray section = block(0x0a0d0d0a,
                                     littleEndian(quint32(0x1a2b3c4d)) + littleEndian(quint16(1))
                                         + littleEndian(quint16(0)) + QByteArray(8, '\xff'));
    const QByteArray interface = block(1, littleEndian(quint16(1)) + littleEndian(quint16(0)) + QByteArray(4, '\0'));
    const QByteArray packetBlock = block(6,
                                         littleEndian(quint32(0)) + littleEndian(quint32(0)) + littleEndian(quint32(7))
                                             + littleEndian(quint32(4)) + littleEndian(quint32(4)) + "four");
    CaptureFile file(fileWith(section + interface + packetBlock));
    Packet packet;
    QCOMPARE(file.next(packet), CaptureFile::Read);
    QCOMPARE(packet.bytes, QByteArray("four"));
    QCOMPARE(packet.timeUs, 7);
    QCOMPARE(packet.linkType, DLT_EN10MB);
    QCOMPARE(file.next(packet), CaptureFile::AtEnd);
}

void TstCaptureFile::nanoseconds_becomeMicroseconds()
{
    CaptureFile file(fileWith(fileHeader(DLT_EN10MB, 0xa1b23c4d) + record("x", 1, 2999)));
    Packet packet;
    QCOMPARE(file.next(packet), CaptureFile::Read);
    QCOMPARE(packet.timeUs, 1000002);
}

void TstCaptureFile::shortenedPacket_hasItsSizeOnTheWire()
{
    CaptureFile file(fileWith(fileHeader() + record("kept", 1, 0, 1000)));
    Packet packet;
    QCOMPARE(file.next(packet), CaptureFile::Read);
    QCOMPARE(packet.bytes, QByteArray("kept"));
    QCOMPARE(packet.size, 1000);
}

void TstCaptureFile::otherFile_isNotOpen_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("this is a text and no capture at all");
    QTest::newRow("a header that is cut") << fileHeader().left(23);
}

void TstCaptureFile::otherFile_isNotOpen()
{
    QFETCH(QByteArray, bytes);
    CaptureFile file(fileWith(bytes));
    QVERIFY(!file.isOpen());
    QVERIFY(!file.errorString().isEmpty());
    Packet packet;
    QCOMPARE(file.next(packet), CaptureFile::AtEnd);
}

void TstCaptureFile::cutFile_isDamaged_afterTheWholePackets()
{
    CaptureFile file(fileWith(fileHeader() + record("whole") + record("this one is cut").chopped(1)));
    Packet packet;
    QCOMPARE(file.next(packet), CaptureFile::Read);
    QCOMPARE(file.next(packet), CaptureFile::Damaged);
    QVERIFY(!file.errorString().isEmpty());
    QCOMPARE(file.next(packet), CaptureFile::AtEnd);
}

void TstCaptureFile::hostileLength_isDamaged()
{
    const QByteArray hostile = QByteArray(8, '\0') + QByteArray(8, '\x7f') + "short";
    CaptureFile file(fileWith(fileHeader() + hostile));
    Packet packet;
    QCOMPARE(file.next(packet), CaptureFile::Damaged);
}

QTEST_GUILESS_MAIN(TstCaptureFile)
#include "tst_capturefile.moc"
