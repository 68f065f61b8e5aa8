#include "frames.h"
#include "packets.h"
#include "traffic/packetobserver.h"
#include "traffic/seenframe.h"

#include "literals.h"

#include <QTest>

#include <random>

Q_DECLARE_METATYPE(tarvex::traffic::PacketObserver::Places)

using namespace tarvex::traffic;
using namespace packets;
using namespace frames;

namespace {

constexpr quint16 CLIENT_PORT = 40000;
constexpr quint16 QUERY = 45535;
constexpr quint16 RECEIVER = 45537;

/// What an observer sees of packets that the test makes, each 100 us after the one before.
class Wire
{
public:
    explicit Wire(PacketObserver::Places places = PacketObserver::WithoutPacket)
        : m_observer(places, [this](const SeenFrame& frame) { m_frames.append(frame); })
    {
    }

    void pass(const QByteArray& segment)
    {
        Packet next = packet(ipv4(segment));
        next.number = ++m_packets;
        next.timeUs = m_packets * 100;
        m_observer.take(next);
    }

    void missPacket() { ++m_packets; }

    void finish() { m_observer.finish(); }

    PacketObserver& observer() { return m_observer; }

    const QList<SeenFrame>& frames() const { return m_frames; }

    /// A word for each: "opened", "request handshake", "gap".
    QStringList shown() const
    {
        QStringList words;
        for (const SeenFrame& frame : m_frames) {
            words.append((kindName(frame.kind) + u' ' + frame.operation).trimmed());
        }
        return words;
    }

private:
    QList<SeenFrame> m_frames;
    PacketObserver m_observer;
    qint64 m_packets = 0;
};

/// A connection, whose numbers are counted as TCP does.
class Connection
{
public:
    explicit Connection(Wire& wire, quint16 bus = QUERY, quint16 client = CLIENT_PORT, quint32 first = 1000)
        : m_wire(wire), m_bus(bus), m_client(client), m_in(first), m_out(first + 5000)
    {
    }

    void open()
    {
        m_wire.pass(tcp(m_client, m_bus, m_in++, 0, SYN));
        m_wire.pass(tcp(m_bus, m_client, m_out++, m_in, SYN | ACK));
        m_wire.pass(tcp(m_client, m_bus, m_in, m_out, ACK));
    }

    void ask(const QByteArray& bytes, int flags = ACK)
    {
        m_wire.pass(tcp(m_client, m_bus, m_in, m_out, flags, bytes));
        skipAsked(bytes.size() + ((flags & FIN) != 0 ? 1 : 0));
    }

    void reply(const QByteArray& bytes, int flags = ACK)
    {
        m_wire.pass(tcp(m_bus, m_client, m_out, m_in, flags, bytes));
        m_out += static_cast<quint32>(bytes.size() + ((flags & FIN) != 0 ? 1 : 0));
    }

    /// Bytes of the client that the capture misses.
    void skipAsked(int count) { m_in += static_cast<quint32>(count); }

    void close()
    {
        ask({}, FIN | ACK);
        reply({}, FIN | ACK);
        ask({});
    }

private:
    Wire& m_wire;
    const quint16 m_bus;
    const quint16 m_client;
    quint32 m_in;
    quint32 m_out;
};

} // namespace

class TstPacketObserver : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void talk_isSeenFromItsBeginningToItsEnd();
    void receiverPort_isTold();
    void repeatedPackets_changeNothing();
    void frameInManyPackets_hasTheTimeOfTheLast();
    void connectionUnderWay_isJoined();
    void connectionUnderWay_withoutData_isNotJoined();
    void missedPacket_isAGap();
    void resetConnection_isClosed();
    void refusedConnection_isNotSeen();
    void portUsedAgain_isANewConnection();
    void portUsedAgain_withoutItsBeginning_isANewConnection();
    void lateSegmentsOfAClosedConnection_areIgnored();
    void badFrame_saysWhere_data();
    void badFrame_saysWhere();
    void endInAFrame_isBad();
    void endOfTheCaptureInAFrame_isAGap();
    void otherPackets_areIgnored();
    void ipv6_isSeen();
    void manyConnections_areBounded();
    void manyHalfFrames_areBounded();
    void randomSegments_areHarmless();
};

void TstPacketObserver::talk_isSeenFromItsBeginningToItsEnd()
{
    Wire wire;
    Connection connection(wire);
    connection.open();
    connection.ask(HANDSHAKE);
    connection.reply(ACCEPTED);
    connection.ask(LOAD);
    connection.reply(REFUSED);
    connection.close();
    wire.finish();
    QCOMPARE(wire.shown(),
             (QStringList{u"opened"_s, u"request handshake"_s, u"reply handshake"_s, u"request loadState"_s,
                          u"reply loadState"_s, u"closed"_s}));
    for (int i = 0; i < wire.frames().size(); ++i) {
        QCOMPARE(wire.frames().at(i).number, i + 1);
        QCOMPARE(wire.frames().at(i).connection, 1);
    }
    const SeenFrame reply = wire.frames().at(4);
    QCOMPARE(reply.client, u"printer"_s);
    QCOMPARE(reply.direction, Direction::Out);
    QCOMPARE(reply.code, quint16(5));
    QCOMPARE(reply.answers, 4);
    QCOMPARE(reply.tookUs, 100);
    QCOMPARE(reply.timeUs, 700);
    QCOMPARE(wire.frames().at(5).client, u"printer"_s);
    QCOMPARE(wire.observer().busPackets(), 10);
}

void TstPacketObserver::receiverPort_isTold()
{
    Wire wire;
    Connection connection(wire, RECEIVER);
    connection.open();
    connection.ask(HANDSHAKE);
    connection.reply(ACCEPTED + LOAD);
    QCOMPARE(wire.frames().size(), 4);
    QCOMPARE(wire.frames().at(3).port, Port::Receiver);
    QCOMPARE(wire.frames().at(3).direction, Direction::Out);
    QCOMPARE(wire.frames().at(3).kind, Kind::Request);
}

void TstPacketObserver::repeatedPackets_changeNothing()
{
    Wire wire;
    const QList<QByteArray> segments{tcp(CLIENT_PORT, QUERY, 1000, 0, SYN),
                                     tcp(QUERY, CLIENT_PORT, 5000, 1001, SYN | ACK),
                                     tcp(CLIENT_PORT, QUERY, 1001, 5001, ACK, HANDSHAKE),
                                     tcp(QUERY, CLIENT_PORT, 5001, 1001 + quint32(HANDSHAKE.size()), ACK, ACCEPTED)};
    for (const QByteArray& segment : segments) {
        wire.pass(segment);
        wire.pass(segment);
    }
    wire.pass(segments.at(2));
    QCOMPARE(wire.shown(), (QStringList{u"opened"_s, u"request handshake"_s, u"reply handshake"_s}));
}

void TstPacketObserver::frameInManyPackets_hasTheTimeOfTheLast()
{
    Wire wire;
    Connection connection(wire);
    connection.open();
    for (const char byte : HANDSHAKE) {
        connection.ask(QByteArray(1, byte));
    }
    QCOMPARE(wire.shown(), (QStringList{u"opened"_s, u"request handshake"_s}));
    QCOMPARE(wire.frames().at(1).timeUs, (3 + HANDSHAKE.size()) * 100);
}

void TstPacketObserver::connectionUnderWay_isJoined()
{
    Wire wire;
    Connection connection(wire);
    connection.ask(LOAD.mid(50) + LOAD);
    connection.reply(REFUSED);
    QCOMPARE(wire.shown(), (QStringList{u"gap"_s, u"gap"_s, u"request loadState"_s, u"reply loadState"_s}));
    QCOMPARE(wire.frames().at(0).problem,
             u"127.0.0.1:40000 -> 127.0.0.1:45535: the beginning of the connection was not seen"_s);
    QCOMPARE(
        wire.frames().at(1).problem,
        u"byte 0 of 127.0.0.1:40000 -> 127.0.0.1:45535: %1 bytes from here on hold no frame that can be trusted"_s.arg(
            LOAD.size() - 50));
    QCOMPARE(wire.frames().at(3).answers, 3);
}

void TstPacketObserver::connectionUnderWay_withoutData_isNotJoined()
{
    Wire wire;
    Connection connection(wire);
    connection.ask({});
    connection.reply({});
    connection.close();
    QCOMPARE(wire.shown(), QStringList());
}

void TstPacketObserver::missedPacket_isAGap()
{
    Wire wire;
    Connection connection(wire);
    connection.open();
    connection.skipAsked(HANDSHAKE.size());
    connection.reply(ACCEPTED); // acknowledges what nobody has seen
    connection.ask(LOAD);
    QCOMPARE(wire.shown(), (QStringList{u"opened"_s, u"gap"_s, u"reply handshake"_s, u"request loadState"_s}));
    QCOMPARE(wire.frames().at(1).problem,
             u"byte 0 of 127.0.0.1:40000 -> 127.0.0.1:45535: %1 bytes were not captured"_s.arg(HANDSHAKE.size()));
    QCOMPARE(wire.frames().at(3).client, QString()); // the name was in the gap
}

void TstPacketObserver::resetConnection_isClosed()
{
    Wire wire;
    Connection connection(wire);
    connection.open();
    connection.ask(HANDSHAKE);
    connection.reply({}, RST);
    connection.ask(LOAD);
    QCOMPARE(wire.shown(), (QStringList{u"opened"_s, u"request handshake"_s, u"closed"_s}));
}

void TstPacketObserver::refusedConnection_isNotSeen()
{
    Wire wire;
    wire.pass(tcp(CLIENT_PORT, QUERY, 1000, 0, SYN));
    wire.pass(tcp(QUERY, CLIENT_PORT, 0, 1001, RST | ACK));
    wire.finish();
    QCOMPARE(wire.shown(), QStringList());
}

void TstPacketObserver::portUsedAgain_isANewConnection()
{
    Wire wire;
    Connection first(wire);
    first.open();
    first.ask(HANDSHAKE);
    first.reply(ACCEPTED);
    Connection second(wire, QUERY, CLIENT_PORT, 77777);
    second.open();
    second.ask(LOAD);
    QCOMPARE(wire.shown(),
             (QStringList{u"opened"_s, u"request handshake"_s, u"reply handshake"_s, u"closed"_s, u"opened"_s,
                          u"request loadState"_s}));
    QCOMPARE(wire.frames().at(3).connection, 1);
    QCOMPARE(wire.frames().at(4).connection, 2);
    QCOMPARE(wire.frames().at(5).client, QString());
}

void TstPacketObserver::portUsedAgain_withoutItsBeginning_isANewConnection()
{
    Wire wire;
    Connection first(wire);
    first.open();
    first.ask(HANDSHAKE);
    Connection second(wire, QUERY, CLIENT_PORT, 0x70000000);
    second.ask(LOAD);
    QCOMPARE(wire.shown(),
             (QStringList{u"opened"_s, u"request handshake"_s, u"closed"_s, u"gap"_s, u"request loadState"_s}));
    QCOMPARE(wire.frames().at(4).connection, 2);
}

void TstPacketObserver::lateSegmentsOfAClosedConnection_areIgnored()
{
    Wire wire;
    Connection connection(wire);
    connection.open();
    connection.close();
    connection.ask(LOAD);
    QCOMPARE(wire.shown(), (QStringList{u"opened"_s, u"closed"_s}));
    for (int i = 0; i < 50000; ++i) { // 5 s
        wire.missPacket();
    }
    connection.ask(LOAD);
    QCOMPARE(wire.shown(), (QStringList{u"opened"_s, u"closed"_s, u"gap"_s, u"request loadState"_s}));
}

void TstPacketObserver::badFrame_saysWhere_data()
{
    QTest::addColumn<PacketObserver::Places>("places");
    QTest::addColumn<QString>("packet");
    QTest::newRow("live") << PacketObserver::WithoutPacket << QString();
    QTest::newRow("file") << PacketObserver::WithPacket << u" (packet 5)"_s;
}

void TstPacketObserver::badFrame_saysWhere()
{
    QFETCH(PacketObserver::Places, places);
    QFETCH(QString, packet);
    Wire wire(places);
    Connection connection(wire);
    connection.open();
    connection.ask(HANDSHAKE);
    connection.ask(withSize(LOAD, "x"));
    QCOMPARE(wire.shown(), (QStringList{u"opened"_s, u"request handshake"_s, u"bad"_s}));
    QCOMPARE(wire.frames().at(2).problem,
             u"byte %1 of 127.0.0.1:40000 -> 127.0.0.1:45535%2: the size line is \"x\", which is no number"_s.arg(
                 QString::number(HANDSHAKE.size()), packet));
    QCOMPARE(wire.frames().at(2).direction, Direction::In);
}

void TstPacketObserver::endInAFrame_isBad()
{
    Wire wire;
    Connection connection(wire);
    connection.open();
    connection.ask(HANDSHAKE.chopped(1));
    connection.close();
    QCOMPARE(wire.shown(), (QStringList{u"opened"_s, u"bad"_s, u"closed"_s}));
}

void TstPacketObserver::endOfTheCaptureInAFrame_isAGap()
{
    Wire wire;
    Connection connection(wire);
    connection.open();
    connection.ask(HANDSHAKE.chopped(1));
    QCOMPARE(wire.shown(), QStringList{u"opened"_s});
    wire.finish();
    QCOMPARE(wire.shown(), (QStringList{u"opened"_s, u"gap"_s}));
}

void TstPacketObserver::otherPackets_areIgnored()
{
    Wire wire;
    wire.pass(tcp(CLIENT_PORT, 80, 1, 1, ACK, LOAD));
    wire.pass("no segment");
    QCOMPARE(wire.shown(), QStringList());
    QCOMPARE(wire.observer().busPackets(), 0);
}

void TstPacketObserver::ipv6_isSeen()
{
    QStringList problems;
    PacketObserver observer(PacketObserver::WithoutPacket,
                            [&](const SeenFrame& frame) { problems.append(frame.problem); });
    observer.take(packet(ipv6(tcp(CLIENT_PORT, QUERY, 1, 1, ACK, LOAD))));
    QCOMPARE(problems.size(), 2);
    QVERIFY(problems.at(0).startsWith(u"[::1]:40000 -> [::1]:45535"_s));
}

/// Those that were silent for longest are forgotten, with a word.
void TstPacketObserver::manyConnections_areBounded()
{
    Wire wire;
    constexpr int COUNT = PacketObserver::MAX_CONNECTIONS + 1;
    for (int i = 0; i < COUNT; ++i) {
        Connection connection(wire, QUERY, static_cast<quint16>(i + 1));
        connection.open();
    }
    const int forgotten = wire.shown().count(u"gap"_s);
    QVERIFY2(forgotten > 1000 && forgotten < COUNT, qPrintable(QString::number(forgotten)));
    for (const SeenFrame& frame : wire.frames()) {
        QVERIFY(frame.kind == Kind::Opened || frame.connection <= forgotten);
    }
    QVERIFY(wire.frames().last().problem.endsWith(u"is followed no longer: there are too many connections"_s)
            || wire.frames().last().kind == Kind::Opened);
}

/// All of them together hold no more than is allowed.
void TstPacketObserver::manyHalfFrames_areBounded()
{
    Wire wire;
    const QByteArray piece(60000, 'A');
    constexpr int PIECES = 800; // of each connection, so that it is still a frame
    const auto isGivenUp = [&] { return wire.frames().last().kind == Kind::Gap; };
    qint64 passed = 0;
    int pieces = PIECES;
    for (quint16 client = 1; client < 10 && pieces == PIECES; ++client) {
        Connection connection(wire, QUERY, client);
        connection.open();
        connection.ask("[-REQUEST-]\r\n50000000\r\n");
        for (pieces = 0; pieces < PIECES && !isGivenUp(); ++pieces) {
            connection.ask(piece);
            passed += piece.size();
        }
    }
    QVERIFY(wire.frames().last().problem.contains(u"too much to keep"_s));
    QVERIFY(passed <= PacketObserver::MAX_HELD + piece.size());
    QVERIFY(passed >= PacketObserver::MAX_HELD - piece.size());
}

/// Segments without any sense. The sanitizers look on.
void TstPacketObserver::randomSegments_areHarmless()
{
    std::mt19937 random(1);
    const auto below = [&](unsigned bound) { return static_cast<unsigned>(random() % bound); };
    const QByteArray text = HANDSHAKE + ACCEPTED + LOAD;
    for (int round = 0; round < 50; ++round) {
        Wire wire;
        for (int i = 0; i < 1000; ++i) {
            const auto client = static_cast<quint16>(40000 + below(3));
            const bool isIn = below(2) == 0;
            const QByteArray payload =
                text.mid(static_cast<int>(below(static_cast<unsigned>(text.size()))), static_cast<int>(below(300)));
            const quint32 sequence = 0xffffff00U + below(1000);
            const int flags = below(20) == 0 ? static_cast<int>(below(32)) : static_cast<int>(ACK);
            wire.pass(
                tcp(isIn ? client : QUERY, isIn ? QUERY : client, sequence, 0xffffff00U + below(1000), flags, payload));
        }
        wire.finish();
        qint64 number = 0;
        for (const SeenFrame& frame : wire.frames()) {
            QCOMPARE(frame.number, ++number);
        }
    }
}

QTEST_GUILESS_MAIN(TstPacketObserver)
#include "tst_packetobserver.moc"
