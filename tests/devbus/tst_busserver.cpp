#include "busclient.h"
#include "busthread.h"

#include <QFile>
#include <QTest>

#include <memory>
#include <vector>

using tarvex::TarvexError;
using tarvex::devbus::BusConnection;
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

QVariantMap messageTo(const QString& reciever)
{
    return {{QStringLiteral("reciever"), reciever}, {QStringLiteral("message"), QStringLiteral("hello")}};
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
    void connections_ofOneNameOnReceiverPort_areWarnedOf();
    void connections_ofServiceThatIsBack_areNot();
    void hasSeen_namesOfThisRun();
    void trace_showsFramesBothWays();
    void trace_off_isSilent();
    void clients_areNamedByPort();
    void requestHandled_carriesTheData();
    void perform_isDoneLikeARequest();
    void perform_refused_saysWhy();
    void setListening_false_keepsOpenConnections();
    void setListening_portTaken_fails();
    void setListening_whenStopped_fails();
    void dropConnections_ofOneClient_sparesOthers();
    void dropConnections_ofAll_keepsListening();
    void dropConnections_keepsWhatWasNotAcknowledged();
    void dropConnections_ofClientFarBehind_keepsWhatItMay();
    void fault_withError_isRepliedAndNothingDone();
    void fault_silent_getsNoReply();
    void fault_ofHandshake_leavesClientUnknown_data();
    void fault_ofHandshake_leavesClientUnknown();
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
    QCOMPARE(bus.errorString(),
             QStringLiteral("port %1 of 127.0.0.1 is taken: is another bus running there? Stop it, then try again")
                 .arg(port));
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

void TstBusServer::connections_ofOneNameOnReceiverPort_areWarnedOf()
{
    BusThread bus;
    const QString name = QStringLiteral("printer");
    const BusClient query(BusClient::QUERY_PORT, name);
    BusClient first(BusClient::RECEIVER_PORT, name);
    BusClient again(BusClient::QUERY_PORT, name); // of the same port, but they live side by side
    QCOMPARE(again.ask(QStringLiteral("loadState"), owned(name)).code, 5);
    QCOMPARE(first.ask(handshake(), named(name)).code, 0); // the same connection once more
    QCOMPARE(bus.warnings(), QStringList());
    const BusClient second(BusClient::RECEIVER_PORT, name);
    QVERIFY(bus.waitForWarnings(1));
    QVERIFY(first.waitForClose());
    const BusClient third(BusClient::RECEIVER_PORT, name);
    QVERIFY(bus.waitForClients(BusConnection::Port::Receiver, {name}));
    QCOMPARE(bus.warnings().size(), 1);
    QVERIFY2(bus.warnings().constFirst().contains(QLatin1String("\"printer\"")),
             qPrintable(bus.warnings().constFirst()));
    int takeovers = 0;
    bus.call([&](BusServer& server) { takeovers = server.takeoverCount(name); });
    QCOMPARE(takeovers, 2);
}

/// Also when the bus finds the end of the old connection only after the new one has come.
void TstBusServer::connections_ofServiceThatIsBack_areNot()
{
    BusThread bus;
    const QString name = QStringLiteral("printer");
    // Made first, so that the bus deals with it first when it sees both at once.
    BusClient second(BusClient::RECEIVER_PORT);
    QCOMPARE(second.ask(QStringLiteral("dance"), {}).code, 3);
    auto first = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, name);
    bus.call([&](BusServer&) { // its thread is busy meanwhile
        first.reset();
        second.sendRequest(handshake(), named(name));
    });
    QCOMPARE(second.read().code, 0);
    QCOMPARE(bus.warnings(), QStringList());
}

void TstBusServer::hasSeen_namesOfThisRun()
{
    BusThread bus;
    QCOMPARE(BusClient(BusClient::QUERY_PORT).ask(handshake(), named(QStringLiteral("printer"))).code, 0);
    bool hasSeenPrinter = false;
    bool hasSeenCashbox = true;
    bus.call([&](BusServer& server) {
        hasSeenPrinter = server.hasSeen(QStringLiteral("printer"));
        hasSeenCashbox = server.hasSeen(QStringLiteral("cashbox"));
    });
    QVERIFY(hasSeenPrinter);
    QVERIFY(!hasSeenCashbox);
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

void TstBusServer::clients_areNamedByPort()
{
    const BusThread bus;
    BusClient query(BusClient::QUERY_PORT, QStringLiteral("printer"));
    QVERIFY(bus.waitForClients(BusConnection::Port::Query, {QStringLiteral("printer")}));
    QVERIFY(bus.waitForClients(BusConnection::Port::Receiver, {}));
    const BusClient unnamed(BusClient::QUERY_PORT);
    auto receiver = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, QStringLiteral("cashbox"));
    QVERIFY(bus.waitForClients(BusConnection::Port::Receiver, {QStringLiteral("cashbox")}));
    QCOMPARE(query.ask(handshake(), named(QStringLiteral("other"))).code, 0);
    QVERIFY(bus.waitForClients(BusConnection::Port::Query, {QStringLiteral("other")}));
    receiver.reset();
    QVERIFY(bus.waitForClients(BusConnection::Port::Receiver, {}));
}

void TstBusServer::requestHandled_carriesTheData()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("printer"));
    QCOMPARE(client.ask(QStringLiteral("loadState"), owned(QStringLiteral("x"))).code, 5);
    QCOMPARE(bus.handled().value(0).data, named(QStringLiteral("printer")));
    QCOMPARE(bus.handled().value(1).operation, QStringLiteral("loadState"));
    QCOMPARE(bus.handled().value(1).data, owned(QStringLiteral("x")));
    QCOMPARE(bus.handled().value(1).code, 5);
}

void TstBusServer::perform_isDoneLikeARequest()
{
    BusThread bus;
    BusClient receiver(BusClient::RECEIVER_PORT, QStringLiteral("printer"));
    int code = -1;
    bus.call([&code](BusServer& server) {
        QVariantMap answer;
        code = server
                   .perform(QStringLiteral("cashbox"), QStringLiteral("sendMessage"),
                            messageTo(QStringLiteral("printer")), answer)
                   .error();
    });
    QCOMPARE(code, 0);
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(pushed.data.value(QStringLiteral("sender")).toString(), QStringLiteral("cashbox"));
    QCOMPARE(pushed.data.value(QStringLiteral("message")).toString(), QStringLiteral("hello"));
    QCOMPARE(bus.handled().size(), 1); // the handshake
}

void TstBusServer::perform_refused_saysWhy()
{
    BusThread bus;
    TarvexError error;
    bus.call([&error](BusServer& server) {
        QVariantMap answer;
        error = server.perform(QStringLiteral("a"), QStringLiteral("dance"), {}, answer);
    });
    QCOMPARE(int(error.error()), 4);
}

void TstBusServer::setListening_false_keepsOpenConnections()
{
    BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("printer"));
    bool isDone = false;
    bus.call([&isDone](BusServer& server) { isDone = server.setListening(false); });
    QVERIFY(isDone);
    QVERIFY(!BusClient(BusClient::QUERY_PORT).isConnected());
    QVERIFY(!BusClient(BusClient::RECEIVER_PORT).isConnected());
    QCOMPARE(client.ask(QStringLiteral("loadState"), owned(QStringLiteral("x"))).code, 5);
    bus.call([&isDone](BusServer& server) { isDone = server.setListening(true) && server.setListening(true); });
    QVERIFY(isDone);
    QVERIFY(BusClient(BusClient::QUERY_PORT, QStringLiteral("a")).isConnected());
    QVERIFY(BusClient(BusClient::RECEIVER_PORT, QStringLiteral("a")).isConnected());
}

void TstBusServer::setListening_portTaken_fails()
{
    BusThread bus;
    bus.call([](BusServer& server) { server.setListening(false); });
    const FakeBus occupant(FakeBus::RECEIVER_PORT);
    bool isDone = true;
    QString errorString;
    bus.call([&](BusServer& server) {
        isDone = server.setListening(true);
        errorString = server.errorString();
    });
    QVERIFY(!isDone);
    QVERIFY2(errorString.contains(QLatin1String("45537")), qPrintable(errorString));
    QVERIFY(!BusClient(BusClient::QUERY_PORT).isConnected());
}

void TstBusServer::setListening_whenStopped_fails()
{
    BusServer server{BusServer::Options()};
    QVERIFY(!server.setListening(true));
    QVERIFY(!server.errorString().isEmpty());
    QVERIFY(!BusClient(BusClient::QUERY_PORT).isConnected());
    QVERIFY(server.setListening(false));
}

void TstBusServer::dropConnections_ofOneClient_sparesOthers()
{
    BusThread bus;
    BusClient query(BusClient::QUERY_PORT, QStringLiteral("printer"));
    BusClient receiver(BusClient::RECEIVER_PORT, QStringLiteral("printer"));
    BusClient other(BusClient::QUERY_PORT, QStringLiteral("cashbox"));
    bus.call([](BusServer& server) { server.dropConnections(QStringLiteral("printer")); });
    QVERIFY(query.waitForClose());
    QVERIFY(receiver.waitForClose());
    QCOMPARE(other.ask(QStringLiteral("loadState"), owned(QStringLiteral("x"))).code, 5);
    QVERIFY(bus.waitForClients(BusConnection::Port::Query, {QStringLiteral("cashbox")}));
}

void TstBusServer::dropConnections_ofAll_keepsListening()
{
    BusThread bus;
    BusClient named(BusClient::QUERY_PORT, QStringLiteral("printer"));
    BusClient unnamed(BusClient::RECEIVER_PORT);
    QCOMPARE(unnamed.ask(QStringLiteral("loadState"), owned(QStringLiteral("x"))).code, 3); // so it was accepted
    bus.call([](BusServer& server) { server.dropConnections({}); });
    QVERIFY(named.waitForClose());
    QVERIFY(unnamed.waitForClose());
    QVERIFY(BusClient(BusClient::QUERY_PORT, QStringLiteral("printer")).isConnected());
}

void TstBusServer::dropConnections_keepsWhatWasNotAcknowledged()
{
    BusThread bus;
    BusClient sender(BusClient::QUERY_PORT, QStringLiteral("cashbox"));
    BusClient receiver(BusClient::RECEIVER_PORT, QStringLiteral("printer"));
    QCOMPARE(sender.ask(QStringLiteral("sendMessage"), messageTo(QStringLiteral("printer"))).code, 0);
    QVERIFY(receiver.read().isValid);
    bus.call([](BusServer& server) { server.dropConnections(QStringLiteral("printer")); });
    BusClient again(BusClient::RECEIVER_PORT, QStringLiteral("printer"));
    QCOMPARE(again.read().data.value(QStringLiteral("message")).toString(), QStringLiteral("hello"));
}

void TstBusServer::dropConnections_ofClientFarBehind_keepsWhatItMay()
{
    BusServer::Options options;
    options.keep = 1;
    BusThread bus(options);
    BusClient sender(BusClient::QUERY_PORT, QStringLiteral("cashbox"));
    BusClient receiver(BusClient::RECEIVER_PORT, QStringLiteral("printer"));
    for (int number = 1; number <= 3; ++number) {
        QVariantMap message = messageTo(QStringLiteral("printer"));
        message.insert(QStringLiteral("UID"), QString::number(number));
        QCOMPARE(sender.ask(QStringLiteral("sendMessage"), message).code, 0);
    }
    bus.call([](BusServer& server) { server.dropConnections(QStringLiteral("printer")); });
    BusClient again(BusClient::RECEIVER_PORT, QStringLiteral("printer"));
    QCOMPARE(again.read().data.value(QStringLiteral("UID")).toString(), QStringLiteral("3"));
}

void TstBusServer::fault_withError_isRepliedAndNothingDone()
{
    BusThread bus;
    bus.call([](BusServer& server) {
        server.setFaultSource([](const QString& client, const QString& operation) -> std::optional<BusServer::Fault> {
            if (client != QLatin1String("printer") || operation != QLatin1String("saveState")) {
                return std::nullopt;
            }
            return BusServer::Fault{false, TarvexError(TarvexError::StorageAccessError)};
        });
    });
    BusClient printer(BusClient::QUERY_PORT, QStringLiteral("printer"));
    BusClient cashbox(BusClient::QUERY_PORT, QStringLiteral("cashbox"));
    QCOMPARE(printer.ask(QStringLiteral("saveState"), owned(QStringLiteral("printer"))).code, 512);
    QCOMPARE(bus.handled().constLast().code, 512);
    QCOMPARE(printer.ask(QStringLiteral("loadState"), owned(QStringLiteral("printer"))).code, 5);
    QCOMPARE(cashbox.ask(QStringLiteral("saveState"), owned(QStringLiteral("cashbox"))).code, 0);
}

void TstBusServer::fault_silent_getsNoReply()
{
    BusThread bus;
    bus.call([](BusServer& server) {
        server.setFaultSource([](const QString&, const QString& operation) -> std::optional<BusServer::Fault> {
            if (operation != QLatin1String("saveState")) {
                return std::nullopt;
            }
            return BusServer::Fault{true, {}};
        });
    });
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("printer"));
    QVERIFY(client.sendRequest(QStringLiteral("saveState"), owned(QStringLiteral("printer"))));
    // Requests are answered in order: this is the reply to the second one, and the first was not carried out.
    const BusClient::Frame reply = client.ask(QStringLiteral("loadState"), owned(QStringLiteral("printer")));
    QCOMPARE(reply.operation, QStringLiteral("loadState"));
    QCOMPARE(reply.code, 5);
    QCOMPARE(bus.handled().value(1).operation, QStringLiteral("saveState"));
    QCOMPARE(bus.handled().value(1).code, BusServer::SILENCE);
}

void TstBusServer::fault_ofHandshake_leavesClientUnknown_data()
{
    QTest::addColumn<int>("port");
    QTest::newRow("query") << 45535;
    QTest::newRow("receiver") << 45537;
}

void TstBusServer::fault_ofHandshake_leavesClientUnknown()
{
    QFETCH(int, port);
    BusThread bus;
    bus.call([](BusServer& server) {
        server.setFaultSource([](const QString&, const QString&) {
            return BusServer::Fault{false, TarvexError(TarvexError::UnregisteredClient)};
        });
    });
    BusClient client(static_cast<quint16>(port));
    QCOMPARE(client.ask(handshake(), named(QStringLiteral("printer"))).code, 3);
    QCOMPARE(bus.handled().value(0).client, QStringLiteral("printer"));
    bus.call([](BusServer& server) { server.setFaultSource({}); });
    QCOMPARE(client.ask(QStringLiteral("loadState"), owned(QStringLiteral("x"))).code, 3);
}

QTEST_GUILESS_MAIN(TstBusServer)
#include "tst_busserver.moc"
