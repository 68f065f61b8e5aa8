#ifndef PACKETS_H
#define PACKETS_H

#include "traffic/capturefile.h"

#include <QByteArray>
#include <QtEndian>

#include <cstdio>
#include <pcap/dlt.h>

// Packets by hand.
namespace packets {

template <typename Number>
QByteArray bigEndian(Number number)
{
    QByteArray bytes(sizeof number, '\0');
    qToBigEndian(number, bytes.data());
    return bytes;
}

template <typename Number>
QByteArray littleEndian(Number number)
{
    QByteArray bytes(sizeof number, '\0');
    qToLittleEndian(number, bytes.data());
    return bytes;
}

enum Flags : quint8 {
    FIN = 1,
    SYN = 2,
    RST = 4,
    ACK = 16
};

/// A TCP header of 20 bytes, and the payload.
inline QByteArray tcp(quint16 from, quint16 to, quint32 sequence, quint32 acknowledged, int flags,
                      const QByteArray& payload = {})
{
    return bigEndian(from) + bigEndian(to) + bigEndian(sequence) + bigEndian(acknowledged) + char(0x50) + char(flags)
        + bigEndian(quint16(512)) + bigEndian(quint32(0)) + payload;
}

/// An IPv4 packet on the loopback. \a total is what its header says about its size; -1 for what is true.
inline QByteArray ipv4(const QByteArray& content, int total = -1, quint16 fragment = 0x4000, quint8 protocol = 6)
{
    const auto size = static_cast<quint16>(total < 0 ? 20 + content.size() : total);
    return QByteArray("\x45\0", 2) + bigEndian(size) + bigEndian(quint16(1)) + bigEndian(fragment) + char(64)
        + char(protocol) + bigEndian(quint16(0)) + QByteArray("\x7f\0\0\x01\x7f\0\0\x01", 8) + content;
}

/// An IPv6 packet on the loopback. \a next is the type of its content.
inline QByteArray ipv6(const QByteArray& content, quint8 next = 6)
{
    const QByteArray address = QByteArray(15, '\0') + '\x01';
    return QByteArray("\x60\0\0\0", 4) + bigEndian(static_cast<quint16>(content.size())) + char(next) + char(64)
        + address + address + content;
}

inline QByteArray ethernet(const QByteArray& content, quint16 type = 0x0800)
{
    return QByteArray(12, '\0') + bigEndian(type) + content;
}

inline tarvex::traffic::Packet packet(const QByteArray& bytes, int linkType = DLT_RAW, int size = -1)
{
    tarvex::traffic::Packet packet;
    packet.number = 1;
    packet.linkType = linkType;
    packet.size = size < 0 ? bytes.size() : size;
    packet.bytes = bytes;
    return packet;
}

/// The beginning of a pcap file, in little endian.
inline QByteArray fileHeader(quint32 linkType = DLT_EN10MB, quint32 magic = 0xa1b2c3d4)
{
    return littleEndian(magic) + littleEndian(quint16(2)) + littleEndian(quint16(4)) + littleEndian(quint32(0))
        + littleEndian(quint32(0)) + littleEndian(quint32(262144)) + littleEndian(linkType);
}

/// A packet in a pcap file.
inline QByteArray record(const QByteArray& bytes, quint32 seconds = 1, quint32 fraction = 0, int size = -1)
{
    return littleEndian(seconds) + littleEndian(fraction) + littleEndian(static_cast<quint32>(bytes.size()))
        + littleEndian(static_cast<quint32>(size < 0 ? bytes.size() : size)) + bytes;
}

/// A file with these bytes, at its beginning.
inline std::FILE* fileWith(const QByteArray& bytes)
{
    std::FILE* const file = std::tmpfile();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), file);
    std::rewind(file);
    return file;
}

} // namespace packets

#endif // PACKETS_H
