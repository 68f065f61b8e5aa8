// What the bus remembers of the frames that have passed.

#include "desk.h"

#include "traffic/framememory.h"

#include <QTest>

#include <vector>

using tarvex::devbus::BusServer;
using tarvex::devbus::isFailure;
using tarvex::traffic::Direction;
using tarvex::traffic::Kind;
using tarvex::traffic::Port;
using tarvex::traffic::SeenFrame;

namespace {

constexpr int PATIENCE_MS = 20000;

std::vector<SeenFrame> framesOf(BusThread& bus)
{
    std::vector<SeenFrame> frames;
    bus.call([&](BusServer& server) {
        for (qint64 number = server.frames().firstNumber(); number < server.frames().nextNumber(); ++number) {
            frames.push_back(*server.frames().frame(number));
        }
    });
    return frames;
}

/// "in request handshake", one for each frame.
QStringList outline(BusThread& bus)
{
    QStringList lines;
    for (const SeenFrame& frame : framesOf(bus)) {
        lines.append(u"%1 %2 %3 %4"_s
                         .arg(QString::number(frame.connection), directionName(frame.direction), kindName(frame.kind),
                              frame.operation)
                         .trimmed());
    }
    return lines;
}

/// Reads up to the bus's own end of the exchange: the client has the reply before the bus has noted everything else.
bool waitForLast(BusThread& bus, Kind kind)
{
    return QTest::qWaitFor([&] { return framesOf(bus).back().kind == kind; }, PATIENCE_MS);
}

} // namespace

class TstBusServerFrames : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void exchange_isRemembered();
    void push_isRememberedWithItsAcknowledgement();
    void refusal_hasItsCode();
    void bytesThatAreNoFrame_areBad_data();
    void bytesThatAreNoFrame_areBad();
    void connectionsEnd_isRemembered();
    void connections_haveNumbersOfTheirOwn();
    void sizes_areThoseOfThePayload();
    void frames_stayWhenTheServerStops();
    void frames_areBoundedAsTheOptionsSay();
};

void TstBusServerFrames::exchange_isRemembered()
{
    Desk desk;
    desk.ask(u"loadState"_s, {{u"owner"_s, u"b"_s}});
    QCOMPARE(outline(desk.bus),
             (QStringList{u"1 in opened"_s, u"1 in request handshake"_s, u"1 out reply handshake"_s,
                          u"1 in request loadState"_s, u"1 out reply loadState"_s}));
    const std::vector<SeenFrame> frames = framesOf(desk.bus);
    QCOMPARE(frames[1].client, QString());
    QCOMPARE(frames[1].data, named(u"a"_s));
    QCOMPARE(frames[2].client, u"a"_s);
    QCOMPARE(frames[2].answers, frames[1].number);
    QCOMPARE(frames[3].data, (QVariantMap{{u"owner"_s, u"b"_s}}));
    QCOMPARE(frames[3].port, Port::Query);
    QCOMPARE(frames[4].answers, frames[3].number);
    QVERIFY(frames[4].tookUs >= 0);
}

void TstBusServerFrames::push_isRememberedWithItsAcknowledgement()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(desk.send(u"b"_s, u"u1"_s));
    const BusClient::Frame pushed = receiver.read();
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY(desk.bus.waitForAcknowledged(1));
    const std::vector<SeenFrame> frames = framesOf(desk.bus);
    const SeenFrame& acknowledgement = frames.back();
    QCOMPARE(acknowledgement.kind, Kind::Reply);
    QCOMPARE(acknowledgement.direction, Direction::In);
    QCOMPARE(acknowledgement.port, Port::Receiver);
    QCOMPARE(acknowledgement.uid(), u"u1"_s);
    const SeenFrame& push = frames[static_cast<std::size_t>(acknowledgement.answers - 1)];
    QCOMPARE(push.kind, Kind::Request);
    QCOMPARE(push.direction, Direction::Out);
    QCOMPARE(push.uid(), u"u1"_s);
    QCOMPARE(push.from(), u"a"_s);
    QCOMPARE(push.to(), u"b"_s);
}

void TstBusServerFrames::refusal_hasItsCode()
{
    Desk desk;
    QCOMPARE(desk.ask(u"dance"_s), 4);
    const SeenFrame reply = framesOf(desk.bus).back();
    QCOMPARE(int(reply.code), 4);
    QCOMPARE(reply.description, u"Unsupported request"_s);
    QVERIFY(reply.isError());
}

void TstBusServerFrames::bytesThatAreNoFrame_areBad_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("problem");
    QTest::newRow("header") << QByteArray("[-QUESTION-]\r\n") << u"unknown header: [-QUESTION-]"_s;
    QTest::newRow("size") << QByteArray("[-REQUEST-]\r\nmany\r\n") << u"wrong size: many"_s;
    QTest::newRow("payload") << QByteArray("[-REQUEST-]\r\n4\r\n????") << u"the payload of 4 bytes is no base64"_s;
}

void TstBusServerFrames::bytesThatAreNoFrame_areBad()
{
    QFETCH(QByteArray, bytes);
    Desk desk;
    desk.client.askRaw(bytes);
    const std::vector<SeenFrame> frames = framesOf(desk.bus);
    QCOMPARE(frames[3].kind, Kind::Bad);
    QCOMPARE(frames[3].client, u"a"_s);
    QTEST(frames[3].problem, "problem");
    QCOMPARE(frames[4].kind, Kind::Reply);
    QVERIFY(frames[4].code != 0);
}

void TstBusServerFrames::connectionsEnd_isRemembered()
{
    Desk desk;
    {
        const BusClient other(BusClient::RECEIVER_PORT, u"b"_s);
    }
    QVERIFY(waitForLast(desk.bus, Kind::Closed));
    const SeenFrame end = framesOf(desk.bus).back();
    QCOMPARE(end.client, u"b"_s);
    QCOMPARE(end.port, Port::Receiver);
    QCOMPARE(end.connection, 2);
    desk.bus.call([](BusServer& server) { server.dropConnections(u"a"_s); });
    QCOMPARE(framesOf(desk.bus).back().kind, Kind::Closed);
    QCOMPARE(framesOf(desk.bus).back().connection, 1);
}

void TstBusServerFrames::connections_haveNumbersOfTheirOwn()
{
    Desk desk;
    for (int number = 2; number < 5; ++number) {
        const BusClient client(BusClient::QUERY_PORT, u"a"_s);
        QCOMPARE(framesOf(desk.bus).back().connection, number);
    }
}

void TstBusServerFrames::sizes_areThoseOfThePayload()
{
    Desk desk;
    const QByteArray payload = FakeBus::payload(QVariantMap{{u"operation"_s, u"loadState"_s}});
    desk.client.askRaw(FakeBus::frame("[-REQUEST-]", payload));
    const std::vector<SeenFrame> frames = framesOf(desk.bus);
    QCOMPARE(frames[3].size, payload.size());
    QVERIFY(frames[4].size > 0);
}

void TstBusServerFrames::frames_stayWhenTheServerStops()
{
    Desk desk;
    desk.bus.call([](BusServer& server) { server.stop(); });
    QCOMPARE(framesOf(desk.bus).back().kind, Kind::Closed);
    desk.bus.call([](BusServer& server) { QVERIFY(!isFailure(server.start())); });
    const BusClient again(BusClient::QUERY_PORT, u"a"_s);
    QCOMPARE(framesOf(desk.bus).back().connection, 2);
}

void TstBusServerFrames::frames_areBoundedAsTheOptionsSay()
{
    BusServer::Options options;
    options.frameBytes = 4000;
    Desk desk(options);
    for (int count = 0; count < 50; ++count) {
        desk.ask(u"loadState"_s);
    }
    QVERIFY(framesOf(desk.bus).size() < 15);
    QVERIFY(framesOf(desk.bus).size() > 2);
}

QTEST_GUILESS_MAIN(TstBusServerFrames)
#include "tst_busserverframes.moc"
