#include "busclient.h"
#include "busthread.h"

#include <QFile>
#include <QTest>

#include <memory>
#include <vector>

using tarvex::devbus::BusServer;

namespace {

QString handshake()
{
    return QStringLiteral("handshake");
}

QVariantMap named(const QVariant& name)
{
    return {{QStringLiteral("name"), name}};
}

QVariantMap owned(const QString& owner)
{
    return {{QStringLiteral("owner"), owner}};
}

} // namespace

class TstBusServer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void start_portInUse_fails_data();
    void start_portInUse_fails();
    void start_badStorage_leavesPortsFree();
    void start_afterStop_worksAgain();
    void listen_isLocalOnly();
    void handshake_named_isAccepted_data();
    void handshake_named_isAccepted();
    void handshake_withoutName_isRefused_data();
    void handshake_withoutName_isRefused();
    void request_withoutHandshake_isRefused_data();
    void request_withoutHandshake_isRefused();
    void request_unknownOperation_isRefused_data();
    void request_unknownOperation_isRefused();
    void request_operationNoText_isMalformed();
    void handshake_again_changesName();
    void connections_ofOneName_coexistOnQueryPort();
    void connections_several_areServedAtOnce();
    void connections_tooMany_areClosed();
    void connections_thatEnd_makeRoom();
    void trace_showsFramesBothWays();
    void trace_off_isSilent();
};

void TstBusServer::start_portInUse_fails_data()
{
    QTest::addColumn<int>("port");
    QTest::newRow("query") << 45535;
    QTest::newRow("receiver") << 45537;
}

void TstBusServer::start_portInUse_fails()
{
    QFETCH(int, port);
    const FakeBus occupant(static_cast<quint16>(port));
    QVERIFY(occupant.isListening());
    const BusThread bus;
    QVERIFY(!bus.isRunning());
    QVERIFY2(bus.errorString().contains(QString::number(port)), qPrintable(bus.errorString()));
    const BusClient other(port == 45535 ? BusClient::RECEIVER_PORT : BusClient::QUERY_PORT);
    QVERIFY(!other.isConnected());
}

void TstBusServer::start_badStorage_leavesPortsFree()
{
    BusServer::Options options;
    options.storagePath = QStringLiteral("/dev/null/bus.sqlite");
    BusServer bad(options);
    QVERIFY(!bad.start());
    QVERIFY(bad.errorString().contains(options.storagePath));
    QVERIFY(!bad.errorString().contains(QLatin1Char('\n')));
    const BusThread good;
    QVERIFY(good.isRunning());
}

void TstBusServer::start_afterStop_worksAgain()
{
    BusServer server{BusServer::Options()};
    QVERIFY(server.start());
    QVERIFY(server.start());
    const BusClient client(BusClient::QUERY_PORT);
    QTRY_COMPARE(server.connectionCount(), 1);
    server.stop();
    QCOMPARE(server.connectionCount(), 0);
    QVERIFY(!server.isRunning());
    QVERIFY(server.start());
    QVERIFY(server.isRunning());
}

void TstBusServer::listen_isLocalOnly()
{
    const BusThread bus;
    QVERIFY(bus.isRunning());
    QFile table(QStringLiteral("/proc/net/tcp"));
    QVERIFY(table.open(QIODevice::ReadOnly));
    const QByteArray sockets = table.readAll();
    QVERIFY(sockets.contains(" 0100007F:B1DF 00000000:0000 0A ")); // 127.0.0.1:45535, listening
    QVERIFY(sockets.contains(" 0100007F:B1E1 00000000:0000 0A "));
    QVERIFY(!sockets.contains(" 00000000:B1DF "));
    QVERIFY(!sockets.contains(" 00000000:B1E1 "));
}

void TstBusServer::handshake_named_isAccepted_data()
{
    QTest::addColumn<int>("port");
    QTest::newRow("query") << 45535;
    QTest::newRow("receiver") << 45537;
}

void TstBusServer::handshake_named_isAccepted()
{
    QFETCH(int, port);
    const BusThread bus;
    BusClient client(static_cast<quint16>(port));
    const BusClient::Frame reply = client.ask(handshake(), named(QStringLiteral("printer")));
    QVERIFY(reply.isReply);
    QCOMPARE(reply.operation, handshake());
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.description, QString());
    QCOMPARE(reply.envelope.value(QStringLiteral("data")), QVariant(QVariantMap()));
    QCOMPARE(bus.handled().value(0).client, QStringLiteral("printer"));
}

void TstBusServer::handshake_withoutName_isRefused_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<QVariantMap>("data");
    for (const int port : {45535, 45537}) {
        QTest::addRow("%d: empty", port) << port << named(QLatin1String(""));
        QTest::addRow("%d: missing", port) << port << QVariantMap();
        QTest::addRow("%d: number", port) << port << named(5);
        QTest::addRow("%d: list", port) << port << named(QVariantList{QStringLiteral("a")});
        QTest::addRow("%d: null", port) << port << named(QVariant());
    }
}

void TstBusServer::handshake_withoutName_isRefused()
{
    QFETCH(int, port);
    QFETCH(QVariantMap, data);
    const BusThread bus;
    BusClient client(static_cast<quint16>(port));
    const BusClient::Frame reply = client.ask(handshake(), data);
    QCOMPARE(reply.code, 2);
    QCOMPARE(reply.description, QStringLiteral("Incorrect request data"));
    QCOMPARE(reply.operation, handshake());
    QCOMPARE(client.ask(QStringLiteral("loadState"), owned(QStringLiteral("a"))).code, 3);
    QCOMPARE(client.ask(handshake(), named(QStringLiteral("a"))).code, 0);
}

void TstBusServer::request_withoutHandshake_isRefused_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<QByteArray>("frame");
    for (const int port : {45535, 45537}) {
        QTest::addRow("%d: known", port) << port
                                         << FakeBus::requestFrame(QStringLiteral("loadState"),
                                                                  owned(QStringLiteral("a")));
        QTest::addRow("%d: unknown", port) << port << FakeBus::requestFrame(QStringLiteral("dance"), {});
        QTest::addRow("%d: no operation", port) << port << FakeBus::frame("[-REQUEST-]", FakeBus::payload("{\"a\":1}"));
        QTest::addRow("%d: reply", port) << port << FakeBus::replyFrame(QStringLiteral("sendMessage"), 0);
    }
}

void TstBusServer::request_withoutHandshake_isRefused()
{
    QFETCH(int, port);
    QFETCH(QByteArray, frame);
    const BusThread bus;
    BusClient client(static_cast<quint16>(port));
    const BusClient::Frame reply = client.askRaw(frame);
    QVERIFY(reply.isReply);
    QCOMPARE(reply.code, 3);
    QCOMPARE(reply.description, QStringLiteral("Unregisterd client"));
    QCOMPARE(client.ask(handshake(), named(QStringLiteral("a"))).code, 0);
}

void TstBusServer::request_unknownOperation_isRefused_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("operation");
    QTest::newRow("unknown") << 45535 << FakeBus::requestFrame(QStringLiteral("dance"), {}) << QStringLiteral("dance");
    QTest::newRow("other case") << 45535 << FakeBus::requestFrame(QStringLiteral("LoadState"), {})
                                << QStringLiteral("LoadState");
    QTest::newRow("reply to nothing") << 45535 << FakeBus::replyFrame(QStringLiteral("loadState"), 0)
                                      << QStringLiteral("loadState");
    QTest::newRow("query on the receiver port")
        << 45537 << FakeBus::requestFrame(QStringLiteral("loadState"), owned(QStringLiteral("a")))
        << QStringLiteral("loadState");
}

void TstBusServer::request_unknownOperation_isRefused()
{
    QFETCH(int, port);
    QFETCH(QByteArray, frame);
    const BusThread bus;
    BusClient client(static_cast<quint16>(port), QStringLiteral("a"));
    QVERIFY(client.isConnected());
    const BusClient::Frame reply = client.askRaw(frame);
    QCOMPARE(reply.code, 4);
    QCOMPARE(reply.description, QStringLiteral("Unsupported request"));
    QTEST(reply.operation, "operation");
    QVERIFY(reply.data.isEmpty());
}

void TstBusServer::request_operationNoText_isMalformed()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("a"));
    QCOMPARE(client.askRaw(FakeBus::frame("[-REQUEST-]", FakeBus::payload("{\"operation\":[],\"data\":{}}"))).code, 2);
    QCOMPARE(client.askRaw(FakeBus::frame("[-REQUEST-]", FakeBus::payload("{\"data\":{}}"))).code, 2);
    QCOMPARE(
        client.askRaw(FakeBus::frame("[-REQUEST-]", FakeBus::payload("{\"operation\":\"loadState\",\"data\":3}"))).code,
        2);
}

void TstBusServer::handshake_again_changesName()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("first"));
    QCOMPARE(client.ask(handshake(), named(QStringLiteral("second"))).code, 0);
    QCOMPARE(client.ask(QStringLiteral("loadState"), owned(QStringLiteral("x"))).code, 5);
    QCOMPARE(bus.handled().constLast().client, QStringLiteral("second"));
}

void TstBusServer::connections_ofOneName_coexistOnQueryPort()
{
    const BusThread bus;
    BusClient first(BusClient::QUERY_PORT, QStringLiteral("a"));
    BusClient second(BusClient::QUERY_PORT, QStringLiteral("a"));
    QCOMPARE(second.ask(QStringLiteral("loadState"), owned(QStringLiteral("a"))).code, 5);
    QCOMPARE(first.ask(QStringLiteral("loadState"), owned(QStringLiteral("a"))).code, 5);
}

void TstBusServer::connections_several_areServedAtOnce()
{
    const BusThread bus;
    std::vector<std::unique_ptr<BusClient>> clients;
    for (int number = 0; number < 30; ++number) {
        clients.push_back(std::make_unique<BusClient>(BusClient::QUERY_PORT, QString::number(number)));
    }
    for (int round = 0; round < 5; ++round) {
        for (const auto& client : clients) {
            QVERIFY(client->sendRequest(QStringLiteral("loadState"), owned(QStringLiteral("a"))));
        }
        for (const auto& client : clients) {
            QCOMPARE(client->read().code, 5);
        }
    }
}

void TstBusServer::connections_tooMany_areClosed()
{
    const BusThread bus;
    std::vector<std::unique_ptr<BusClient>> clients;
    for (int number = 0; number < BusServer::MAX_CONNECTIONS; ++number) {
        clients.push_back(std::make_unique<BusClient>(BusClient::QUERY_PORT, QString::number(number)));
        QVERIFY(clients.back()->isConnected());
    }
    BusClient excess(BusClient::RECEIVER_PORT);
    QVERIFY(excess.waitForClose());
    QVERIFY(bus.waitForWarnings(1));
    QCOMPARE(clients.front()->ask(QStringLiteral("loadState"), owned(QStringLiteral("a"))).code, 5);
}

void TstBusServer::connections_thatEnd_makeRoom()
{
    BusServer server{BusServer::Options()};
    QVERIFY(server.start());
    auto client = std::make_unique<BusClient>(BusClient::QUERY_PORT);
    QTRY_COMPARE(server.connectionCount(), 1);
    client.reset();
    QTRY_COMPARE(server.connectionCount(), 0);
}

void TstBusServer::trace_showsFramesBothWays()
{
    BusServer::Options options;
    options.isTracing = true;
    const BusThread bus(options);
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("printer"));
    BusClient receiver(BusClient::RECEIVER_PORT, QStringLiteral("printer"));
    QCOMPARE(client.ask(QStringLiteral("loadState"), owned(QStringLiteral("x"))).code, 5);
    QCOMPARE(client
                 .ask(QStringLiteral("sendMessage"),
                      {{QStringLiteral("reciever"), QStringLiteral("printer")},
                       {QStringLiteral("message"), QStringLiteral("hello")}})
                 .code,
             0);
    QVERIFY(receiver.acknowledge(receiver.read()));
    client.send("[-REQUEST-]\r\nx\r\n");
    QVERIFY(bus.waitForTraceLine(QStringLiteral("in  query/- REQUEST handshake {\"name\":\"printer\"}")));
    QVERIFY(bus.waitForTraceLine(QStringLiteral("out query/printer REPLY handshake {} 0")));
    QVERIFY(bus.waitForTraceLine(QStringLiteral("in  query/printer REQUEST loadState {\"owner\":\"x\"}")));
    QVERIFY(bus.waitForTraceLine(QStringLiteral("out query/printer REPLY loadState {} 5")));
    QVERIFY(bus.waitForTraceLine(QStringLiteral("out receiver/printer REQUEST sendMessage {\"UID\":")));
    QVERIFY(bus.waitForTraceLine(QStringLiteral("in  receiver/printer REPLY sendMessage {\"reciever\":\"printer\"")));
    QVERIFY(bus.waitForTraceLine(QStringLiteral("in  query/printer wrong size: x")));
}

void TstBusServer::trace_off_isSilent()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("printer"));
    QCOMPARE(client.ask(QStringLiteral("loadState"), owned(QStringLiteral("x"))).code, 5);
    client.send("[-REQUEST-]\r\nx\r\n");
    QVERIFY(client.waitForClose());
    QVERIFY(bus.traceLines().isEmpty());
}

QTEST_GUILESS_MAIN(TstBusServer)
#include "tst_busserver.moc"
