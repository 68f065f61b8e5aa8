#ifndef PACKETOBSERVER_H
#define PACKETOBSERVER_H

#include "traffic/conversation.h"
#include "traffic/correlator.h"
#include "traffic/frameobserver.h"
#include "traffic/tcpsegment.h"
#include "traffic/tcpstream.h"

#include <QHash>

#include <functional>
#include <memory>
#include <optional>

namespace tarvex::traffic {

struct Packet;

/// Makes frames of captured packets: it finds the connections with the bus's two ports, puts their streams together,
/// and finds the frames in them.
///
/// A capture may begin while connections are there. Then frames are found from the first header on that can be trusted.
/// The memory that it takes is bounded, whatever the packets hold.
class PacketObserver
{
public:
    /// This many connections are remembered. When there are more, those that were silent for longest are forgotten.
    static constexpr int MAX_CONNECTIONS = 4096;
    /// What all connections may hold together, of streams with holes and of frames that are not complete, in bytes.
    static constexpr qint64 MAX_HELD = 256 << 20;

    enum Places {
        WithoutPacket,
        WithPacket ///< Words about what is wrong name the packet by its number. This is for files.
    };

    using Sink = std::function<void(const SeenFrame& frame)>;

    /// Calls \a sink for each frame and each event, in order.
    PacketObserver(Places places, Sink sink) : m_places(places), m_sink(std::move(sink)) { }

    /// Takes the next packet. A packet of something else than the bus is ignored.
    void take(const Packet& packet);

    /// There is no further packet. Frames that are not complete become gaps.
    void finish();

    /// How many packets belonged to the bus.
    qint64 busPackets() const { return m_busPackets; }

private:
    /// What one side of a connection sends.
    struct Side
    {
        explicit Side(Direction to) : direction(to) { }

        const Direction direction;
        QString place; ///< "127.0.0.1:40000 -> 127.0.0.1:45535"
        std::optional<TcpStream> stream;
        std::unique_ptr<FrameObserver> frames;
        bool isEnded = false;
        qint64 heldBytes = 0;
    };

    struct Connection
    {
        explicit Connection(const Conversation& of) : conversation(of) { }

        Conversation conversation;
        Side in{Direction::In};
        Side out{Direction::Out};
        std::optional<quint32> syn; ///< The number of the client's SYN.
        bool isOpen = false;        ///< The bus has accepted it.
        bool isClosed = false;
        qint64 lastUs = 0;
        qint64 lastPacket = 0;
    };

    using Connections = QHash<QByteArray, std::shared_ptr<Connection>>;

    void takeSegment(const TcpSegment& segment, Direction direction);
    std::shared_ptr<Connection> connectionFor(const TcpSegment& segment, Direction direction);
    std::shared_ptr<Connection> connectionWith(const TcpSegment& segment, Direction direction,
                                               const std::shared_ptr<Connection>& known);
    std::shared_ptr<Connection> makeConnection(const TcpSegment& segment, Direction direction);
    void takeSyn(Connection& connection, const TcpSegment& segment, Direction direction);
    void takeData(Connection& connection, const TcpSegment& segment, Direction direction);
    void begin(Side& side, quint32 sequence, FrameObserver::Begin begin);
    void takeStream(Connection& connection, Side& side, const TcpStream::Pieces& pieces);
    void takePieces(Connection& connection, const Side& side, const TcpStream::Pieces& pieces);
    void takeFindings(Connection& connection, const Side& side, const FrameObserver::Findings& findings);
    void boundMemory(Connection& connection, Side& side);
    void endSide(Connection& connection, Side& side, bool isWhole);
    void open(Connection& connection);
    void close(Connection& connection, bool isWhole);
    void join(Connection& connection);
    void forgetOldest();
    void forget(Connection& connection);
    void hand(SeenFrame frame);

    const Places m_places;
    const Sink m_sink;
    busframe::Codec m_codec;
    Correlator m_correlator;
    Connections m_connections;
    qint64 m_lastConnection = 0;
    qint64 m_lastFrame = 0;
    qint64 m_busPackets = 0;
    qint64 m_packet = 0; ///< The number of the present packet.
    qint64 m_timeUs = 0; ///< The time of the present packet.
    qint64 m_heldBytes = 0;
};

} // namespace tarvex::traffic

#endif // PACKETOBSERVER_H
