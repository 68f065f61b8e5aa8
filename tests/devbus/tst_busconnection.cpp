#include "busconnection.h"

#include "desk.h"

#include <QTest>

#include <poll.h>
#include <sys/socket.h>

using samples::owned;

namespace {

QByteArray loadRequest(const QString& owner)
{
    return FakeBus::requestFrame(u"loadState"_s, owned(owner));
}

QVariantMap largeState(int size)
{
    return {{u"owner"_s, u"large"_s}, {u"state"_s, noise(size)}};
}

/// Asks the bus \a times times. Each answer shows that the bus has dealt with everything that came before.
bool goRound(BusClient& client, int times)
{
    for (int round = 0; round < times; ++round) {
        if (client.askRaw(loadRequest(u"nobody"_s)).code != 5) {
            return false;
        }
    }
    return true;
}

} // namespace

class TstBusConnection : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void frames_literalBytes_areUnderstood();
    void frames_cutAtEveryPosition_areUnderstood();
    void frames_backToBack_areAnsweredInOrder();
    void frames_sentBeforeTheClientCloses_areHandled();
    void lostTrack_isAnsweredThenClosed_data();
    void lostTrack_isAnsweredThenClosed();
    void payload_noEnvelope_isAnsweredAndGoesOn_data();
    void payload_noEnvelope_isAnsweredAndGoesOn();
    void largePayload_isUnderstood();
    void reader_thatNeverReads_isReadNoFurther();
    void flood_ofRequests_leavesOthersTheirTurn();
};

void TstBusConnection::frames_literalBytes_areUnderstood()
{
    // {"operation":"handshake","data":{"name":"a"}}, deflated without compression.
    const QByteArray text = R"({"operation":"handshake","data":{"name":"a"}})";
    QCOMPARE(text.size(), 45);
    const QByteArray payload = "AAAALXgBAS0A0v97Im9wZXJhdGlvbiI6ImhhbmRzaGFrZSIsImRhdGEiOnsibmFtZSI6ImEifX1rbw8z";
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT);
    const BusClient::Frame reply = client.askRaw("[-REQUEST-]\r\n80\r\n" + payload);
    QCOMPARE(reply.operation, u"handshake"_s);
    QCOMPARE(reply.code, 0);
}

void TstBusConnection::frames_cutAtEveryPosition_areUnderstood()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    BusClient other(BusClient::QUERY_PORT, u"b"_s);
    const QByteArray frame = loadRequest(u"x"_s);
    for (int position = 1; position < frame.size(); ++position) {
        QVERIFY(client.send(frame.left(position)));
        // When the other client has its answer, the bus has read the first piece.
        QVERIFY(goRound(other, 1));
        QVERIFY(!client.hasBytes());
        QCOMPARE(client.askRaw(frame.mid(position)).code, 5);
    }
}

void TstBusConnection::frames_backToBack_areAnsweredInOrder()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT);
    QByteArray bytes = FakeBus::requestFrame(u"handshake"_s, named(u"a"_s));
    for (int number = 0; number < 200; ++number) {
        bytes += FakeBus::requestFrame(QString::number(number), {});
    }
    QVERIFY(client.send(bytes));
    QCOMPARE(client.read().code, 0);
    for (int number = 0; number < 200; ++number) {
        QCOMPARE(client.read().operation, QString::number(number));
    }
}

void TstBusConnection::frames_sentBeforeTheClientCloses_areHandled()
{
    const BusThread bus;
    {
        BusClient client(BusClient::QUERY_PORT, u"a"_s);
        QVERIFY(client.sendRequest(u"saveState"_s, owned(u"a"_s)));
        ::shutdown(client.descriptor(), SHUT_WR);
        QCOMPARE(client.read().code, 0);
    }
    BusClient other(BusClient::QUERY_PORT, u"b"_s);
    QCOMPARE(other.askRaw(loadRequest(u"a"_s)).code, 0);
}

void TstBusConnection::lostTrack_isAnsweredThenClosed_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("code");
    for (const int port : {45535, 45537}) {
        QTest::addRow("%d: size no number", port) << port << QByteArray("[-REQUEST-]\r\nmany\r\n") << 1;
        QTest::addRow("%d: size zero", port) << port << QByteArray("[-REQUEST-]\r\n0\r\n") << 1;
        QTest::addRow("%d: size negative", port) << port << QByteArray("[-REQUEST-]\r\n-8\r\n") << 1;
        QTest::addRow("%d: size too large", port) << port << QByteArray("[-REQUEST-]\r\n50331652\r\n") << 1;
        QTest::addRow("%d: size no whole groups", port) << port << QByteArray("[-REQUEST-]\r\n6\r\n") << 1;
        QTest::addRow("%d: unknown header", port) << port << QByteArray("[-request-]\r\n4\r\nAAAA") << 2;
        QTest::addRow("%d: more to come", port) << port << "[-REQUEST-]\r\n0\r\n" + QByteArray(50000, 'x') << 1;
    }
}

void TstBusConnection::lostTrack_isAnsweredThenClosed()
{
    QFETCH(int, port);
    QFETCH(QByteArray, bytes);
    QFETCH(int, code);
    const BusThread bus;
    BusClient client(static_cast<quint16>(port));
    const BusClient::Frame reply = client.askRaw(bytes);
    QVERIFY(reply.isReply);
    QCOMPARE(reply.code, code);
    QCOMPARE(reply.description, code == 1 ? u"Incorret request size"_s : u"Incorrect request data"_s);
    QVERIFY(client.waitForClose());
}

void TstBusConnection::payload_noEnvelope_isAnsweredAndGoesOn_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::newRow("no base64") << QByteArray("....");
    QTest::newRow("not compressed") << QByteArray("hello there, bus").toBase64();
    QTest::newRow("no JSON") << FakeBus::payload(QByteArray("hello"));
    QTest::newRow("a list") << FakeBus::payload(QByteArray("[1,2]"));
    QTest::newRow("an empty object") << FakeBus::payload(QByteArray("{}"));
    QTest::newRow("cut short") << FakeBus::payload(QByteArray("{\"operation\":\"loadState\"}")).left(24);
    QTest::newRow("inflates beyond the bound")
        << FakeBus::payload("{\"operation\":\"" + QByteArray(33 * 1024 * 1024, 'x') + "\"}");
}

void TstBusConnection::payload_noEnvelope_isAnsweredAndGoesOn()
{
    QFETCH(QByteArray, payload);
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT);
    const BusClient::Frame reply = client.askRaw(FakeBus::frame("[-REQUEST-]", payload));
    QCOMPARE(reply.code, 2);
    QCOMPARE(reply.description, u"Incorrect request data"_s);
    QCOMPARE(client.ask(u"handshake"_s, named(u"a"_s)).code, 0);
}

void TstBusConnection::largePayload_isUnderstood()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    const QVariantMap state = largeState(8 * 1024 * 1024);
    QCOMPARE(client.ask(u"saveState"_s, state).code, 0);
    const BusClient::Frame reply = client.askRaw(loadRequest(u"large"_s));
    QCOMPARE(reply.code, 0);
    QVERIFY(reply.data.value(u"state"_s) == state.value(u"state"_s));
}

// The replies to these small requests have some 50 MB. More requests follow for as long as the connection takes them.
void TstBusConnection::reader_thatNeverReads_isReadNoFurther()
{
    const BusThread bus;
    BusClient other(BusClient::QUERY_PORT, u"other"_s);
    QCOMPARE(other.ask(u"saveState"_s, largeState(256 * 1024)).code, 0);
    BusClient stubborn(BusClient::QUERY_PORT, u"stubborn"_s);
    const int requests = 250;
    QVERIFY(stubborn.send(loadRequest(u"large"_s).repeated(requests)));
    QVERIFY(goRound(other, 100));

    // Both figures are bounds for what the system and the bus hold for this client: answers first, then bytes of
    // requests.
    QVERIFY2(bus.handledCount(u"stubborn"_s) < 110, "the bus goes on answering");
    const QByteArray junk = loadRequest(u"nobody"_s).repeated(5000);
    qint64 taken = 0;
    for (int round = 0; round < 60; ++round) {
        taken += stubborn.sendWithoutWaiting(junk);
        QVERIFY(goRound(other, 5));
    }
    QVERIFY2(taken < 16 * 1024 * 1024, qPrintable(QString::number(taken)));

    // Once it reads, it gets everything.
    for (int number = 0; number < requests; ++number) {
        QCOMPARE(stubborn.read().code, 0);
    }
}

void TstBusConnection::flood_ofRequests_leavesOthersTheirTurn()
{
    const BusThread bus;
    BusClient flooding(BusClient::QUERY_PORT, u"flooding"_s);
    BusClient other(BusClient::QUERY_PORT, u"other"_s);
    const int requests = 20000;
    const QByteArray flood = loadRequest(u"nobody"_s).repeated(requests);
    qint64 sent = flooding.sendWithoutWaiting(flood);
    QVERIFY(goRound(other, 1));
    const int handled = bus.handledCount(u"flooding"_s);
    QVERIFY2(handled < requests / 2, qPrintable(QString::number(handled)));
    QVERIFY(sent > 0);
}

QTEST_GUILESS_MAIN(TstBusConnection)
#include "tst_busconnection.moc"
