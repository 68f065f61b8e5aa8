#include "traffic/packetobserver.h"

#include "traffic/capturefile.h"
#include "wire/busterms_p.h"

#include <algorithm>
#include <vector>

namespace tarvex::traffic {

namespace {

/// After the end of a connection its last segments may come again, up to this long. Then its ports are free again.
constexpr qint64 AFTER_END_US = 5000000;

bool isBusPort(quint16 port)
{
    return port == busterms::QUERY_PORT || port == busterms::RECEIVER_PORT;
}

/// The direction of a segment of the bus; nothing for any other segment. When both ports are the bus's, a client has
/// got one of them by chance, and the answer is the same for both sides.
std::optional<Direction> directionOf(const TcpSegment& segment)
{
    const quint16 from = segment.source.port;
    const quint16 to = segment.destination.port;
    if (!isBusPort(from) && !isBusPort(to)) {
        return std::nullopt;
    }
    return isBusPort(to) && (!isBusPort(from) || to < from) ? Direction::In : Direction::Out;
}

QByteArray keyOf(const Endpoint& client, const Endpoint& bus)
{
    return client.address + '/' + QByteArray::number(client.port) + '/' + bus.address + '/'
        + QByteArray::number(bus.port);
}

} // namespace

void PacketObserver::take(const Packet& packet)
{
    const std::optional<TcpSegment> segment = readTcpSegment(packet);
    const std::optional<Direction> direction = segment ? directionOf(*segment) : std::nullopt;
    if (!direction) {
        return;
    }
    ++m_busPackets;
    m_packet = packet.number;
    m_timeUs = packet.timeUs;
    takeSegment(*segment, *direction);
}

void PacketObserver::finish()
{
    std::vector<std::shared_ptr<Connection>> connections(m_connections.cbegin(), m_connections.cend());
    std::sort(connections.begin(), connections.end(),
              [](const auto& a, const auto& b) { return a->lastPacket < b->lastPacket; });
    for (const auto& connection : connections) {
        endSide(*connection, connection->in, false);
        endSide(*connection, connection->out, false);
    }
    m_connections.clear();
}

void PacketObserver::takeSegment(const TcpSegment& segment, Direction direction)
{
    const std::shared_ptr<Connection> connection = connectionFor(segment, direction);
    if (!connection) {
        return;
    }
    connection->lastUs = m_timeUs;
    connection->lastPacket = m_packet;
    if (segment.isRst) {
        close(*connection, true);
    } else if (segment.isSyn) {
        takeSyn(*connection, segment, direction);
    } else {
        takeData(*connection, segment, direction);
    }
}

/// The connection to which a segment belongs; null when there is nothing to be learned from the segment.
std::shared_ptr<PacketObserver::Connection> PacketObserver::connectionFor(const TcpSegment& segment,
                                                                          Direction direction)
{
    const bool isIn = direction == Direction::In;
    const QByteArray key =
        isIn ? keyOf(segment.source, segment.destination) : keyOf(segment.destination, segment.source);
    const std::shared_ptr<Connection> known = m_connections.value(key);
    std::shared_ptr<Connection> connection = connectionWith(segment, direction, known);
    if (connection && connection != known) {
        if (known) {
            close(*known, false);
        }
        m_connections.insert(key, connection);
        if (!segment.isSyn) {
            join(*connection);
        }
        forgetOldest();
    }
    return connection;
}

std::shared_ptr<PacketObserver::Connection> PacketObserver::connectionWith(const TcpSegment& segment,
                                                                           Direction direction,
                                                                           const std::shared_ptr<Connection>& known)
{
    const bool hasData = !segment.payload.isEmpty() || segment.cutOff > 0;
    if (segment.isSyn && !segment.isAck) {
        const bool isRepeated = known && !known->isClosed && known->syn == segment.sequence;
        return isRepeated ? known : makeConnection(segment, direction);
    }
    const bool canBegin = !segment.isRst && (hasData || segment.isSyn);
    if (!known || known->isClosed) {
        const bool isOver = known && m_timeUs - known->lastUs < AFTER_END_US;
        return canBegin && !isOver ? makeConnection(segment, direction) : nullptr;
    }
    const Side& side = direction == Direction::In ? known->in : known->out;
    if (!segment.isRst && side.stream && !side.stream->isNear(segment.sequence)) {
        return canBegin ? makeConnection(segment, direction) : nullptr;
    }
    return known;
}

std::shared_ptr<PacketObserver::Connection> PacketObserver::makeConnection(const TcpSegment& segment,
                                                                           Direction direction)
{
    const bool isIn = direction == Direction::In;
    const QString client = (isIn ? segment.source : segment.destination).text();
    const Endpoint& bus = isIn ? segment.destination : segment.source;
    const QString there = client + QStringLiteral(" -> ") + bus.text();
    const QString back = bus.text() + QStringLiteral(" -> ") + client;
    const Port port = bus.port == busterms::QUERY_PORT ? Port::Query : Port::Receiver;
    const Conversation::Beginning beginning = segment.isSyn ? Conversation::Seen : Conversation::NotSeen;
    auto connection = std::make_shared<Connection>(Conversation(++m_lastConnection, port, beginning));
    connection->in.place = there;
    connection->out.place = back;
    connection->lastPacket = m_packet;
    return connection;
}

/// The connection was there before the capture, or its beginning was missed.
void PacketObserver::join(Connection& connection)
{
    connection.isOpen = true;
    hand(connection.conversation.event(
        Kind::Gap, QStringLiteral("%1: the beginning of the connection was not seen").arg(connection.in.place)));
}

void PacketObserver::takeSyn(Connection& connection, const TcpSegment& segment, Direction direction)
{
    if (direction == Direction::In) {
        connection.syn = segment.sequence;
    }
    Side& side = direction == Direction::In ? connection.in : connection.out;
    Side& other = direction == Direction::In ? connection.out : connection.in;
    if (!side.stream) {
        begin(side, segment.sequence + 1, FrameObserver::AtFrame);
    }
    if (segment.isAck) {
        if (!other.stream) {
            begin(other, segment.acknowledged, FrameObserver::AtFrame);
        }
        open(connection);
    }
}

void PacketObserver::takeData(Connection& connection, const TcpSegment& segment, Direction direction)
{
    Side& side = direction == Direction::In ? connection.in : connection.out;
    Side& other = direction == Direction::In ? connection.out : connection.in;
    open(connection);
    if (segment.isAck && other.stream && !other.isEnded) {
        takeStream(connection, other, other.stream->acknowledge(segment.acknowledged));
    }
    if (!side.stream) {
        begin(side, segment.sequence, FrameObserver::Anywhere);
    }
    if (segment.isFin) {
        const auto size = static_cast<quint32>(segment.payload.size() + segment.cutOff);
        side.stream->end(segment.sequence + size);
    }
    if (!side.isEnded) {
        takeStream(connection, side, side.stream->take(segment.sequence, segment.payload, segment.cutOff));
    }
    if (connection.in.isEnded && connection.out.isEnded) {
        close(connection, true);
    }
}

void PacketObserver::begin(Side& side, quint32 sequence, FrameObserver::Begin begin)
{
    side.stream.emplace(sequence);
    side.frames = std::make_unique<FrameObserver>(begin, m_codec);
}

void PacketObserver::takeStream(Connection& connection, Side& side, const TcpStream::Pieces& pieces)
{
    takePieces(connection, side, pieces);
    boundMemory(connection, side);
    if (side.stream->isEnded()) {
        endSide(connection, side, true);
    }
}

void PacketObserver::takePieces(Connection& connection, const Side& side, const TcpStream::Pieces& pieces)
{
    for (const TcpStream::Piece& piece : pieces) {
        takeFindings(connection, side,
                     piece.missing > 0 ? side.frames->miss(piece.missing, m_packet)
                                       : side.frames->append(piece.bytes, m_packet));
    }
}

void PacketObserver::takeFindings(Connection& connection, const Side& side, const FrameObserver::Findings& findings)
{
    for (const FrameObserver::Finding& finding : findings) {
        SeenFrame frame = connection.conversation.frame(finding, side.direction);
        if (!frame.problem.isEmpty()) {
            const QString packet =
                m_places == WithPacket ? QStringLiteral(" (packet %1)").arg(finding.packet) : QString();
            frame.problem = QStringLiteral("byte %1 of %2").arg(QString::number(finding.offset), side.place) + packet
                + QStringLiteral(": ") + finding.problem;
        }
        hand(std::move(frame));
    }
}

void PacketObserver::boundMemory(Connection& connection, Side& side)
{
    const auto update = [&] {
        const qint64 held = side.stream->waitingBytes() + side.frames->heldBytes();
        m_heldBytes += held - side.heldBytes;
        side.heldBytes = held;
    };
    update();
    if (m_heldBytes > MAX_HELD) {
        takePieces(connection, side, side.stream->flush());
        takeFindings(connection, side, side.frames->giveUp());
        update();
    }
}

/// \a isWhole when the side itself has ended, and not only the capture.
void PacketObserver::endSide(Connection& connection, Side& side, bool isWhole)
{
    if (side.isEnded || !side.stream) {
        return;
    }
    side.isEnded = true;
    takePieces(connection, side, side.stream->flush());
    takeFindings(connection, side, side.frames->end(isWhole));
    m_heldBytes -= std::exchange(side.heldBytes, 0);
}

void PacketObserver::open(Connection& connection)
{
    if (!connection.isOpen) {
        connection.isOpen = true;
        hand(connection.conversation.event(Kind::Opened));
    }
}

void PacketObserver::close(Connection& connection, bool isWhole)
{
    if (connection.isClosed) {
        return;
    }
    endSide(connection, connection.in, isWhole);
    endSide(connection, connection.out, isWhole);
    connection.isClosed = true;
    for (Side* side : {&connection.in, &connection.out}) {
        side->stream.reset();
        side->frames.reset();
    }
    if (connection.isOpen) {
        hand(connection.conversation.event(Kind::Closed));
    }
}

/// Half of the connections are forgotten at once, because each time all of them are looked at.
void PacketObserver::forgetOldest()
{
    if (m_connections.size() <= MAX_CONNECTIONS) {
        return;
    }
    std::vector<qint64> ages;
    for (const auto& connection : qAsConst(m_connections)) {
        ages.push_back(connection->lastPacket);
    }
    const auto middle = ages.begin() + static_cast<std::ptrdiff_t>(ages.size() / 2);
    std::nth_element(ages.begin(), middle, ages.end());
    for (auto i = m_connections.begin(); i != m_connections.end();) {
        const std::shared_ptr<Connection> connection = *i;
        if (connection->lastPacket >= *middle) {
            ++i;
            continue;
        }
        i = m_connections.erase(i);
        forget(*connection);
    }
}

void PacketObserver::forget(Connection& connection)
{
    endSide(connection, connection.in, false);
    endSide(connection, connection.out, false);
    if (!connection.isClosed) {
        hand(connection.conversation.event(
            Kind::Gap,
            QStringLiteral("%1 is followed no longer: there are too many connections").arg(connection.in.place)));
        SeenFrame closed = connection.conversation.event(Kind::Closed);
        m_correlator.take(closed, m_timeUs); // nobody has seen this, but its requests find no reply any more
    }
}

void PacketObserver::hand(SeenFrame frame)
{
    frame.number = ++m_lastFrame;
    frame.timeUs = m_timeUs;
    m_correlator.take(frame, m_timeUs);
    m_sink(frame);
}

} // namespace tarvex::traffic
