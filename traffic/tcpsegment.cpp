#include "traffic/tcpsegment.h"

#include "traffic/capturefile.h"

#include <QHostAddress>
#include <QtEndian>

#include <pcap/dlt.h>

namespace tarvex::traffic {

namespace {

constexpr int ETHERTYPE_IPV4 = 0x0800;
constexpr int ETHERTYPE_IPV6 = 0x86dd;
constexpr int ETHERTYPE_VLAN = 0x8100;
constexpr int ETHERTYPE_OUTER_VLAN = 0x88a8;
constexpr int PROTOCOL_TCP = 6;
constexpr int IPV4_SIZE = 20;
constexpr int IPV6_SIZE = 40;
constexpr int TCP_SIZE = 20;

/// What is left of a packet. The kept bytes end before the others do when the capture has cut the packet off.
class Rest
{
public:
    Rest(const QByteArray& bytes, int size) : m_bytes(bytes), m_size(qMax(size, bytes.size())) { }

    /// Whether this many bytes from here were kept.
    bool has(int count) const { return count <= m_bytes.size() - m_at; }

    int byte(int at) const { return static_cast<uchar>(m_bytes.at(m_at + at)); }

    int number16(int at) const { return qFromBigEndian<quint16>(m_bytes.constData() + m_at + at); }

    quint32 number32(int at) const { return qFromBigEndian<quint32>(m_bytes.constData() + m_at + at); }

    QByteArray text(int at, int count) const { return m_bytes.mid(m_at + at, count); }

    void skip(int count) { m_at += count; }

    /// How many bytes there are from here, kept or not.
    int size() const { return m_size - m_at; }

    /// Drops what stands behind this many bytes.
    void limit(int count) { m_size = qMin(m_size, m_at + count); }

    QByteArray kept() const { return m_bytes.mid(m_at, qMax(0, size())); }

private:
    const QByteArray m_bytes;
    int m_at = 0;
    int m_size;
};

bool isIp(int etherType)
{
    return etherType == ETHERTYPE_IPV4 || etherType == ETHERTYPE_IPV6;
}

/// A header of \a size bytes with the type of what follows at \a typeAt.
bool skipTyped(Rest& rest, int size, int typeAt)
{
    if (!rest.has(size) || !isIp(rest.number16(typeAt))) {
        return false;
    }
    rest.skip(size);
    return true;
}

bool skipEthernet(Rest& rest)
{
    constexpr int SIZE = 14;
    constexpr int TYPE_AT = 12;
    constexpr int TAG_SIZE = 4;
    int size = SIZE;
    for (int tags = 0; tags < 2 && rest.has(size); ++tags) {
        const int type = rest.number16(size - 2);
        if (type == ETHERTYPE_VLAN || type == ETHERTYPE_OUTER_VLAN) {
            size += TAG_SIZE;
        }
    }
    return skipTyped(rest, size, size - SIZE + TYPE_AT);
}

/// Skips what stands before the IP header.
bool skipLink(Rest& rest, int linkType)
{
    constexpr int FAMILY_SIZE = 4;
    constexpr int COOKED_SIZE = 16;
    constexpr int COOKED_TYPE_AT = 14;
    constexpr int COOKED2_SIZE = 20;
    switch (linkType) {
    case DLT_EN10MB:
        return skipEthernet(rest);
    case DLT_LINUX_SLL:
        return skipTyped(rest, COOKED_SIZE, COOKED_TYPE_AT);
    case DLT_LINUX_SLL2:
        return skipTyped(rest, COOKED2_SIZE, 0);
    case DLT_NULL:
    case DLT_LOOP: // The family's number differs between systems. The IP header tells it as well.
        rest.skip(FAMILY_SIZE);
        return true;
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_IPV6:
        return true;
    default:
        return false;
    }
}

bool readIpv4(Rest& rest, TcpSegment& segment)
{
    constexpr int FRAGMENT_BITS = 0x3fff; // "more fragments" and the offset
    constexpr int BYTES_PER_WORD = 4;
    const int headerSize = (rest.byte(0) & 0x0f) * BYTES_PER_WORD;
    const int totalSize = rest.number16(2);
    if (!rest.has(IPV4_SIZE) || headerSize < IPV4_SIZE || !rest.has(headerSize) || rest.byte(9) != PROTOCOL_TCP
        || (rest.number16(6) & FRAGMENT_BITS) != 0) {
        return false;
    }
    segment.source.address = rest.text(12, 4);
    segment.destination.address = rest.text(16, 4);
    if (totalSize != 0) { // a packet that the hardware will cut up may say 0
        rest.limit(totalSize);
    }
    rest.skip(headerSize);
    return true;
}

/// Skips the headers between the IPv6 header and that of TCP.
bool skipExtensions(Rest& rest, int nextHeader)
{
    constexpr int HOP_BY_HOP = 0;
    constexpr int ROUTING = 43;
    constexpr int DESTINATION = 60;
    constexpr int UNIT = 8;
    constexpr int MAX_EXTENSIONS = 8;
    for (int count = 0; count < MAX_EXTENSIONS && nextHeader != PROTOCOL_TCP; ++count) {
        if ((nextHeader != HOP_BY_HOP && nextHeader != ROUTING && nextHeader != DESTINATION) || !rest.has(UNIT)) {
            return false;
        }
        nextHeader = rest.byte(0);
        const int size = (rest.byte(1) + 1) * UNIT;
        if (!rest.has(size)) {
            return false;
        }
        rest.skip(size);
    }
    return nextHeader == PROTOCOL_TCP;
}

bool readIpv6(Rest& rest, TcpSegment& segment)
{
    if (!rest.has(IPV6_SIZE)) {
        return false;
    }
    const int payloadSize = rest.number16(4);
    const int nextHeader = rest.byte(6);
    segment.source.address = rest.text(8, 16);
    segment.destination.address = rest.text(24, 16);
    rest.skip(IPV6_SIZE);
    if (payloadSize != 0) { // 0 stands for a size that does not fit
        rest.limit(payloadSize);
    }
    return skipExtensions(rest, nextHeader);
}

bool readIp(Rest& rest, TcpSegment& segment)
{
    if (!rest.has(IPV4_SIZE)) {
        return false;
    }
    switch (rest.byte(0) >> 4) {
    case 4:
        return readIpv4(rest, segment);
    case 6:
        return readIpv6(rest, segment);
    default:
        return false;
    }
}

bool readTcp(Rest& rest, TcpSegment& segment)
{
    constexpr int FIN = 0x01;
    constexpr int SYN = 0x02;
    constexpr int RST = 0x04;
    constexpr int ACK = 0x10;
    constexpr int BYTES_PER_WORD = 4;
    if (!rest.has(TCP_SIZE)) {
        return false;
    }
    const int headerSize = (rest.byte(12) >> 4) * BYTES_PER_WORD;
    if (headerSize < TCP_SIZE || headerSize > rest.size()) {
        return false;
    }
    segment.source.port = static_cast<quint16>(rest.number16(0));
    segment.destination.port = static_cast<quint16>(rest.number16(2));
    segment.sequence = rest.number32(4);
    segment.acknowledged = rest.number32(8);
    const int flags = rest.byte(13);
    segment.isFin = (flags & FIN) != 0;
    segment.isSyn = (flags & SYN) != 0;
    segment.isRst = (flags & RST) != 0;
    segment.isAck = (flags & ACK) != 0;
    rest.skip(headerSize);
    segment.payload = rest.kept();
    segment.cutOff = rest.size() - segment.payload.size();
    return true;
}

} // namespace

QString Endpoint::text() const
{
    constexpr int IPV6_ADDRESS_SIZE = 16;
    if (address.size() == IPV6_ADDRESS_SIZE) {
        const QHostAddress host(reinterpret_cast<const quint8*>(address.constData()));
        return QStringLiteral("[%1]:%2").arg(host.toString()).arg(port);
    }
    const QHostAddress host(address.size() == 4 ? qFromBigEndian<quint32>(address.constData()) : 0);
    return QStringLiteral("%1:%2").arg(host.toString()).arg(port);
}

std::optional<TcpSegment> readTcpSegment(const Packet& packet)
{
    Rest rest(packet.bytes, packet.size);
    TcpSegment segment;
    if (!skipLink(rest, packet.linkType) || !readIp(rest, segment) || !readTcp(rest, segment)) {
        return std::nullopt;
    }
    return segment;
}

} // namespace tarvex::traffic
