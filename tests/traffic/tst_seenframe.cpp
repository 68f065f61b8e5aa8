#include "traffic/seenframe.h"

#include "fakebus.h"
#include "literals.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace tarvex::traffic;

Q_DECLARE_METATYPE(tarvex::traffic::SeenFrame)

namespace {

const qint64 TIME_US = 1772360000123456; // 2026-03-01T10:13:20.123456Z

SeenFrame message(Direction direction, const QString& client)
{
    SeenFrame frame;
    frame.direction = direction;
    frame.port = direction == Direction::In ? Port::Query : Port::Receiver;
    frame.client = client;
    frame.operation = u"sendMessage"_s;
    frame.data = {{u"sender"_s, u"gui"_s},
                  {u"reciever"_s, u"printer"_s},
                  {u"UID"_s, u"u1"_s},
                  {u"message"_s, u"{\"cmd\":\"print\",\"data\":{}}"_s}};
    return frame;
}

SeenFrame reply(quint16 code)
{
    SeenFrame frame;
    frame.number = 8;
    frame.timeUs = TIME_US;
    frame.kind = Kind::Reply;
    frame.direction = Direction::Out;
    frame.connection = 3;
    frame.client = u"printer"_s;
    frame.operation = u"loadState"_s;
    frame.data = {{u"owner"_s, u"printer"_s}};
    frame.size = 120;
    frame.code = code;
    frame.answers = 7;
    frame.tookUs = 1250;
    return frame;
}

QVariantMap jsonObject(const QByteArray& text)
{
    return QJsonDocument::fromJson(text).object().toVariantMap();
}

QByteArray jsonText(const QVariantMap& map)
{
    return QJsonDocument(QJsonObject::fromVariantMap(map)).toJson(QJsonDocument::Compact);
}

} // namespace

class TstSeenFrame : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void from_to_data();
    void from_to();
    void command_ofAMessageOnly();
    void uid_ofMessageAndAcknowledgement();
    void isError_data();
    void isError();
    void toVariantMap_data();
    void toVariantMap();
    void fromVariantMap_isTheOtherWayRound_data();
    void fromVariantMap_isTheOtherWayRound();
    void fromVariantMap_noFrame_isInvalid_data();
    void fromVariantMap_noFrame_isInvalid();
    void timeName_hasMicroseconds();
    void decodePayload_request();
    void decodePayload_reply();
    void decodePayload_damaged_isBad_data();
    void decodePayload_damaged_isBad();
};

void TstSeenFrame::from_to_data()
{
    QTest::addColumn<SeenFrame>("frame");
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::newRow("message to the bus") << message(Direction::In, u"gui"_s) << u"gui"_s << u"printer"_s;
    QTest::newRow("push") << message(Direction::Out, u"printer"_s) << u"gui"_s << u"printer"_s;
    SeenFrame open = message(Direction::In, u"gui"_s);
    open.data.remove(u"sender"_s);
    open.data.remove(u"reciever"_s);
    QTest::newRow("to nobody, without a sender") << open << u"gui"_s << QString();
    SeenFrame foreign = message(Direction::In, u"tool"_s);
    QTest::newRow("in another's name") << foreign << u"gui"_s << u"printer"_s;
    SeenFrame asking;
    asking.client = u"gui"_s;
    asking.operation = u"loadState"_s;
    QTest::newRow("request") << asking << u"gui"_s << QString();
    QTest::newRow("reply") << reply(0) << QString() << u"printer"_s;
    SeenFrame handshake;
    handshake.operation = u"handshake"_s;
    handshake.data = {{u"name"_s, u"printer"_s}};
    QTest::newRow("handshake") << handshake << u"printer"_s << QString();
    SeenFrame acknowledgement = reply(0);
    acknowledgement.port = Port::Receiver;
    acknowledgement.direction = Direction::In;
    acknowledgement.operation = u"sendMessage"_s;
    QTest::newRow("acknowledgement") << acknowledgement << u"printer"_s << QString();
}

void TstSeenFrame::from_to()
{
    QFETCH(SeenFrame, frame);
    QTEST(frame.from(), "from");
    QTEST(frame.to(), "to");
}

void TstSeenFrame::command_ofAMessageOnly()
{
    SeenFrame frame = message(Direction::In, u"gui"_s);
    QCOMPARE(frame.command(), u"print"_s);
    frame.kind = Kind::Reply;
    QCOMPARE(frame.command(), QString());
    frame = message(Direction::In, u"gui"_s);
    frame.operation = u"saveState"_s;
    QCOMPARE(frame.command(), QString());
    frame = message(Direction::In, u"gui"_s);
    frame.data.insert(u"message"_s, u"plain words"_s);
    QCOMPARE(frame.command(), QString());
}

void TstSeenFrame::uid_ofMessageAndAcknowledgement()
{
    QCOMPARE(message(Direction::Out, u"printer"_s).uid(), u"u1"_s);
    SeenFrame acknowledgement = reply(0);
    acknowledgement.data = {{u"uid"_s, u"u2"_s}};
    QCOMPARE(acknowledgement.uid(), u"u2"_s);
    QCOMPARE(SeenFrame().uid(), QString());
}

void TstSeenFrame::isError_data()
{
    QTest::addColumn<SeenFrame>("frame");
    QTest::addColumn<bool>("isError");
    QTest::newRow("request") << SeenFrame() << false;
    QTest::newRow("code 0") << reply(0) << false;
    QTest::newRow("code 5") << reply(5) << true;
    SeenFrame bad;
    bad.kind = Kind::Bad;
    QTest::newRow("bad") << bad << true;
    SeenFrame gap;
    gap.kind = Kind::Gap;
    QTest::newRow("gap") << gap << true;
    SeenFrame closed;
    closed.kind = Kind::Closed;
    QTest::newRow("closed") << closed << false;
    SeenFrame faulty = reply(0);
    faulty.fault = u"fault 1: delay 5 ms"_s;
    QTest::newRow("fault") << faulty << true;
}

void TstSeenFrame::isError()
{
    QFETCH(SeenFrame, frame);
    QTEST(frame.isError(), "isError");
}

void TstSeenFrame::toVariantMap_data()
{
    QTest::addColumn<SeenFrame>("frame");
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("reply") << reply(5)
                           << QByteArray(R"({"answers":7,"client":"printer","code":5,"connection":3,)"
                                         R"("data":{"owner":"printer"},"direction":"out","kind":"reply",)"
                                         R"("number":8,"operation":"loadState","port":"query","size":120,)"
                                         R"("time":"2026-03-01T10:13:20.123456Z","to":"printer",)"
                                         R"("tookMs":1.25})");
    SeenFrame push = message(Direction::Out, u"printer"_s);
    push.data.remove(u"UID"_s);
    push.data.remove(u"reciever"_s);
    QTest::newRow("push")
        << push
        << QByteArray(
               R"({"client":"printer","command":"print","connection":0,"data":{"message":"{\"cmd\":\"print\",\"data\":{}}",)"
               R"("sender":"gui"},"direction":"out","from":"gui","kind":"request","number":0,"operation":"sendMessage",)"
               R"("port":"receiver","time":"1970-01-01T00:00:00.000000Z","to":"printer"})");
    SeenFrame answer;
    answer.operation = u"sendMessage"_s;
    answer.call = 12;
    answer.callUs = 1802500;
    QTest::newRow("answer") << answer
                            << QByteArray(R"({"call":12,"callMs":1802.5,"connection":0,"data":{},)"
                                          R"("direction":"in","kind":"request","number":0,)"
                                          R"("operation":"sendMessage","port":"query",)"
                                          R"("time":"1970-01-01T00:00:00.000000Z"})");
    SeenFrame bad;
    bad.kind = Kind::Bad;
    bad.size = 4;
    bad.problem = u"no frame"_s;
    QTest::newRow("bad") << bad
                         << QByteArray(R"({"connection":0,"direction":"in","kind":"bad","number":0,)"
                                       R"("port":"query","problem":"no frame","size":4,)"
                                       R"("time":"1970-01-01T00:00:00.000000Z"})");
    SeenFrame closed;
    closed.kind = Kind::Closed;
    closed.operation = u"loadState"_s;
    QTest::newRow("closed") << closed
                            << QByteArray(R"({"connection":0,"kind":"closed","number":0,"port":"query",)"
                                          R"("time":"1970-01-01T00:00:00.000000Z"})");
    SeenFrame gap;
    gap.kind = Kind::Gap;
    gap.problem = u"why"_s;
    QTest::newRow("gap of the whole bus")
        << gap << QByteArray(R"({"kind":"gap","number":0,"problem":"why","time":"1970-01-01T00:00:00.000000Z"})");
    gap.connection = 2;
    QTest::newRow("gap of a connection") << gap
                                         << QByteArray(R"({"connection":2,"kind":"gap","number":0,"port":"query",)"
                                                       R"("problem":"why","time":"1970-01-01T00:00:00.000000Z"})");
    SeenFrame large;
    large.isDataLeftOut = true;
    large.fault = u"fault 2: silence"_s;
    QTest::newRow("left out") << large
                              << QByteArray(R"({"connection":0,"dataLeftOut":true,"direction":"in",)"
                                            R"("fault":"fault 2: silence","kind":"request","number":0,)"
                                            R"("operation":"","port":"query",)"
                                            R"("time":"1970-01-01T00:00:00.000000Z"})");
}

void TstSeenFrame::toVariantMap()
{
    QFETCH(SeenFrame, frame);
    QTEST(jsonText(frame.toVariantMap()), "json");
}

void TstSeenFrame::fromVariantMap_isTheOtherWayRound_data()
{
    toVariantMap_data();
}

void TstSeenFrame::fromVariantMap_isTheOtherWayRound()
{
    QFETCH(QByteArray, json);
    bool isValid = false;
    const SeenFrame frame = SeenFrame::fromVariantMap(jsonObject(json), isValid);
    QVERIFY(isValid);
    QCOMPARE(jsonText(frame.toVariantMap()), json);
}

void TstSeenFrame::fromVariantMap_noFrame_isInvalid_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("empty") << QByteArray("{}");
    QTest::newRow("no direction") << QByteArray(
        R"({"kind":"reply","port":"query","time":"2026-03-01T10:13:20.123456Z"})");
    QTest::newRow("no port") << QByteArray(R"({"connection":1,"kind":"bad","time":"2026-03-01T10:13:20.123456Z"})");
    QTest::newRow("unknown kind") << QByteArray(
        R"({"kind":"push","port":"query","direction":"in","time":"2026-03-01T10:13:20.123456Z"})");
    QTest::newRow("unknown port") << QByteArray(
        R"({"kind":"reply","port":"45535","direction":"in","time":"2026-03-01T10:13:20.123456Z"})");
    QTest::newRow("time without Z") << QByteArray(
        R"({"kind":"reply","port":"query","direction":"in","time":"2026-03-01T10:13:20.123456"})");
    QTest::newRow("time in ms") << QByteArray(
        R"({"kind":"reply","port":"query","direction":"in","time":"2026-03-01T10:13:20.123Z"})");
    QTest::newRow("time with a sign") << QByteArray(
        R"({"kind":"reply","port":"query","direction":"in","time":"2026-03-01T10:13:20.-12345Z"})");
    QTest::newRow("no such day") << QByteArray(
        R"({"kind":"reply","port":"query","direction":"in","time":"2026-02-31T10:13:20.123456Z"})");
}

void TstSeenFrame::fromVariantMap_noFrame_isInvalid()
{
    QFETCH(QByteArray, json);
    bool isValid = true;
    SeenFrame::fromVariantMap(jsonObject(json), isValid);
    QVERIFY(!isValid);
}

void TstSeenFrame::timeName_hasMicroseconds()
{
    QCOMPARE(timeName(TIME_US), u"2026-03-01T10:13:20.123456Z"_s);
    QCOMPARE(timeName(1000000), u"1970-01-01T00:00:01.000000Z"_s);
    QCOMPARE(timeName(7), u"1970-01-01T00:00:00.000007Z"_s);
}

void TstSeenFrame::decodePayload_request()
{
    SeenFrame frame;
    decodePayload(FakeBus::payload(QByteArray(R"({"operation":"loadState","data":{"owner":"a"}})")), frame);
    QCOMPARE(frame.kind, Kind::Request);
    QCOMPARE(frame.operation, u"loadState"_s);
    QCOMPARE(frame.data, (QVariantMap{{u"owner"_s, u"a"_s}}));
    QCOMPARE(int(frame.code), 0);
}

void TstSeenFrame::decodePayload_reply()
{
    SeenFrame frame;
    frame.kind = Kind::Reply;
    const QByteArray json = R"({"operation":"loadState","data":{},"result":{"code":512,"description":"no"}})";
    decodePayload(FakeBus::payload(json), frame);
    QCOMPARE(frame.kind, Kind::Reply);
    QCOMPARE(int(frame.code), 512);
    QCOMPARE(frame.description, u"no"_s);
}

void TstSeenFrame::decodePayload_damaged_isBad_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("problem");
    QTest::newRow("list") << FakeBus::payload(QByteArray("[1]")) << u"20 bytes of payload that hold no object"_s;
    QTest::newRow("no base64") << QByteArray("????") << u"4 bytes of payload that hold no envelope: "_s;
    QTest::newRow("no JSON") << FakeBus::payload(QByteArray("{")) << u"20 bytes of payload that hold no envelope: "_s;
}

void TstSeenFrame::decodePayload_damaged_isBad()
{
    QFETCH(QByteArray, payload);
    QFETCH(QString, problem);
    SeenFrame frame;
    decodePayload(payload, frame);
    QCOMPARE(frame.kind, Kind::Bad);
    QVERIFY2(frame.problem.startsWith(problem), qPrintable(frame.problem));
    QVERIFY(frame.operation.isEmpty());
}

QTEST_GUILESS_MAIN(TstSeenFrame)
#include "tst_seenframe.moc"
