#ifndef TCPSEGMENT_H
#define TCPSEGMENT_H

#include <QByteArray>
#include <QString>

#include <optional>

namespace tarvex::traffic {

struct Packet;

/// One end of a TCP connection.
struct Endpoint
{
    QByteArray address; ///< 4 bytes for IPv4, 16 for IPv6.
    quint16 port = 0;

    /// "127.0.0.1:45535" or "[::1]:45535"
    QString text() const;
};

/// A segment of a TCP connection, as a packet has it.
struct TcpSegment
{
    Endpoint source;
    Endpoint destination;
    quint32 sequence = 0;     ///< Of the first byte of the payload; of the SYN, if it has one.
    quint32 acknowledged = 0; ///< What the source expects next. It counts only with isAck.
    bool isSyn = false;
    bool isAck = false;
    bool isFin = false;
    bool isRst = false;
    QByteArray payload;
    int cutOff = 0; ///< How many further bytes of payload the packet had that the capture has not kept.
};

/// The TCP segment in a packet; nothing when there is none, or when the capture has not kept its header. Fragments of
/// IP packets are not put together: on the loopback there are none.
std::optional<TcpSegment> readTcpSegment(const Packet& packet);

} // namespace tarvex::traffic

#endif // TCPSEGMENT_H
