#include "busclient.h"
#include "busthread.h"
#include "literals.h"

#include <QFile>
#include <QTest>

#include <memory>
#include <vector>

using tarvex::TarvexError;
using tarvex::devbus::BusConnection;
using tarvex::devbus::BusServer;
using tarvex::devbus::isFailure;

namespace {

QString handshake()
{
    return u"handshake"_s;
}

QVariantMap named(const QVariant& name)
{
    return {{u"name"_s, name}};
}

QVariantMap messageTo(const QString& reciever)
{
    return {{u"reciever"_s, reciever}, {u"message"_s, u"hello"_s}};
}

QVariantMap owned(const QString& owner)
{
    return {{u"owner"_s, owner}};
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
             u"port %1 of 127.0.0.1 is taken: is another bus running there? Stop it, then try again"_s.arg(port));
    const BusClient other(port == 45535 ? BusClient::RECEIVER_PORT : BusClient::QUERY_PORT);
    QVERIFY(!other.isConnected());
}

void TstBusServer::start_badStorage_leavesPortsFree()
{
    BusServer::Options options;
    options.storagePath = u"/dev/null/bus.sqlite"_s;
    BusServer bad(options);
    const TarvexError error = bad.start();
    QVERIFY(isFailure(error));
    QVERIFY(error.description().contains(options.storagePath));
    QVERIFY(!error.description().contains(QLatin1Char('\n')));
    const BusThread good;
    QVERIFY(good.isRunning());
}

void TstBusServer::start_afterStop_worksAgain()
{
    BusServer server{BusServer::Options()};
    QVERIFY(!isFailure(server.start()));
    QVERIFY(!isFailure(server.start()));
    const BusClient client(BusClient::QUERY_PORT);
    QTRY_COMPARE(server.connectionCount(), 1);
    server.stop();
    QCOMPARE(server.connectionCount(), 0);
    QVERIFY(!server.isRunning());
    QVERIFY(!isFailure(server.start()));
    QVERIFY(server.isRunning());
}

void TstBusServer::listen_isLocalOnly()
{
    const BusThread bus;
    QVERIFY(bus.isRunning());
    QFile table(u"/proc/net/tcp"_s);
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
    const BusClient::Frame reply = client.ask(handshake(), named(u"printer"_s));
    QVERIFY(reply.isReply);
    QCOMPARE(reply.operation, handshake());
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.description, QString());
    QCOMPARE(reply.envelope.value(u"data"_s), QVariant(QVariantMap()));
    QCOMPARE(bus.handled().value(0).client, u"printer"_s);
}

void TstBusServer::handshake_withoutName_isRefused_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<QVariantMap>("data");
    for (const int port : {45535, 45537}) {
        QTest::addRow("%d: empty", port) << port << named(QLatin1String(""));
        QTest::addRow("%d: missing", port) << port << QVariantMap();
        QTest::addRow("%d: number", port) << port << named(5);
        QTest::addRow("%d: list", port) << port << named(QVariantList{u"a"_s});
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
    QCOMPARE(reply.description, u"Incorrect request data"_s);
    QCOMPARE(reply.operation, handshake());
    QCOMPARE(client.ask(u"loadState"_s, owned(u"a"_s)).code, 3);
    QCOMPARE(client.ask(handshake(), named(u"a"_s)).code, 0);
}

void TstBusServer::request_withoutHandshake_isRefused_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<QByteArray>("frame");
    for (const int port : {45535, 45537}) {
        QTest::addRow("%d: known", port) << port << FakeBus::requestFrame(u"loadState"_s, owned(u"a"_s));
        QTest::addRow("%d: unknown", port) << port << FakeBus::requestFrame(u"dance"_s, {});
        QTest::addRow("%d: no operation", port) << port << FakeBus::frame("[-REQUEST-]", FakeBus::payload("{\"a\":1}"));
        QTest::addRow("%d: reply", port) << port << FakeBus::replyFrame(u"sendMessage"_s, 0);
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
    QCOMPARE(reply.description, u"Unregisterd client"_s);
    QCOMPARE(client.ask(handshake(), named(u"a"_s)).code, 0);
}

void TstBusServer::request_unknownOperation_isRefused_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("operation");
    QTest::newRow("unknown") << 45535 << FakeBus::requestFrame(u"dance"_s, {}) << u"dance"_s;
    QTest::newRow("other case") << 45535 << FakeBus::requestFrame(u"LoadState"_s, {}) << u"LoadState"_s;
    QTest::newRow("reply to nothing") << 45535 << FakeBus::replyFrame(u"loadState"_s, 0) << u"loadState"_s;
    QTest::newRow("query on the receiver port")
        << 45537 << FakeBus::requestFrame(u"loadState"_s, owned(u"a"_s)) << u"loadState"_s;
}

void TstBusServer::request_unknownOperation_isRefused()
{
    QFETCH(int, port);
    QFETCH(QByteArray, frame);
    const BusThread bus;
    BusClient client(static_cast<quint16>(port), u"a"_s);
    QVERIFY(client.isConnected());
    const BusClient::Frame reply = client.askRaw(frame);
    QCOMPARE(reply.code, 4);
    QCOMPARE(reply.description, u"Unsupported request"_s);
    QTEST(reply.operation, "operation");
    QVERIFY(reply.data.isEmpty());
}

void TstBusServer::request_operationNoText_isMalformed()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    QCOMPARE(client.askRaw(FakeBus::frame("[-REQUEST-]", FakeBus::payload("{\"operation\":[],\"data\":{}}"))).code, 2);
    QCOMPARE(client.askRaw(FakeBus::frame("[-REQUEST-]", FakeBus::payload("{\"data\":{}}"))).code, 2);
    QCOMPARE(
        client.askRaw(FakeBus::frame("[-REQUEST-]", FakeBus::payload("{\"operation\":\"loadState\",\"data\":3}"))).code,
        2);
}

void TstBusServer::handshake_again_changesName()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"first"_s);
    QCOMPARE(client.ask(handshake(), named(u"second"_s)).code, 0);
    QCOMPARE(client.ask(u"loadState"_s, owned(u"x"_s)).code, 5);
    QCOMPARE(bus.handled().constLast().client, u"second"_s);
}

void TstBusServer::connections_ofOneName_coexistOnQueryPort()
{
    const BusThread bus;
    BusClient first(BusClient::QUERY_PORT, u"a"_s);
    BusClient second(BusClient::QUERY_PORT, u"a"_s);
    QCOMPARE(second.ask(u"loadState"_s, owned(u"a"_s)).code, 5);
    QCOMPARE(first.ask(u"loadState"_s, owned(u"a"_s)).code, 5);
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
            QVERIFY(client->sendRequest(u"loadState"_s, owned(u"a"_s)));
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
    QCOMPARE(clients.front()->ask(u"loadState"_s, owned(u"a"_s)).code, 5);
}

void TstBusServer::connections_thatEnd_makeRoom()
{
    BusServer server{BusServer::Options()};
    QVERIFY(!isFailure(server.start()));
    auto client = std::make_unique<BusClient>(BusClient::QUERY_PORT);
    QTRY_COMPARE(server.connectionCount(), 1);
    client.reset();
    QTRY_COMPARE(server.connectionCount(), 0);
}

void TstBusServer::connections_ofOneNameOnReceiverPort_areWarnedOf()
{
    BusThread bus;
    const QString name = u"printer"_s;
    const BusClient query(BusClient::QUERY_PORT, name);
    BusClient first(BusClient::RECEIVER_PORT, name);
    BusClient again(BusClient::QUERY_PORT, name); // of the same port, but they live side by side
    QCOMPARE(again.ask(u"loadState"_s, owned(name)).code, 5);
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
    const QString name = u"printer"_s;
    // Made first, so that the bus deals with it first when it sees both at once.
    BusClient second(BusClient::RECEIVER_PORT);
    QCOMPARE(second.ask(u"dance"_s, {}).code, 3);
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
    QCOMPARE(BusClient(BusClient::QUERY_PORT).ask(handshake(), named(u"printer"_s)).code, 0);
    bool hasSeenPrinter = false;
    bool hasSeenCashbox = true;
    bus.call([&](BusServer& server) {
        hasSeenPrinter = server.hasSeen(u"printer"_s);
        hasSeenCashbox = server.hasSeen(u"cashbox"_s);
    });
    QVERIFY(hasSeenPrinter);
    QVERIFY(!hasSeenCashbox);
}

void TstBusServer::trace_showsFramesBothWays()
{
    BusServer::Options options;
    options.isTracing = true;
    const BusThread bus(options);
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    QCOMPARE(client.ask(u"loadState"_s, owned(u"x"_s)).code, 5);
    QCOMPARE(client.ask(u"sendMessage"_s, {{u"reciever"_s, u"printer"_s}, {u"message"_s, u"hello"_s}}).code, 0);
    QVERIFY(receiver.acknowledge(receiver.read()));
    client.send("[-REQUEST-]\r\nx\r\n");
    QVERIFY(bus.waitForTraceLine(u"in  query/- REQUEST handshake {\"name\":\"printer\"}"_s));
    QVERIFY(bus.waitForTraceLine(u"out query/printer REPLY handshake {} 0"_s));
    QVERIFY(bus.waitForTraceLine(u"in  query/printer REQUEST loadState {\"owner\":\"x\"}"_s));
    QVERIFY(bus.waitForTraceLine(u"out query/printer REPLY loadState {} 5"_s));
    QVERIFY(bus.waitForTraceLine(u"out receiver/printer REQUEST sendMessage {\"UID\":"_s));
    QVERIFY(bus.waitForTraceLine(u"in  receiver/printer REPLY sendMessage {\"reciever\":\"printer\""_s));
    QVERIFY(bus.waitForTraceLine(u"in  query/printer wrong size: x"_s));
}

void TstBusServer::trace_off_isSilent()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    QCOMPARE(client.ask(u"loadState"_s, owned(u"x"_s)).code, 5);
    client.send("[-REQUEST-]\r\nx\r\n");
    QVERIFY(client.waitForClose());
    QVERIFY(bus.traceLines().isEmpty());
}

void TstBusServer::clients_areNamedByPort()
{
    const BusThread bus;
    BusClient query(BusClient::QUERY_PORT, u"printer"_s);
    QVERIFY(bus.waitForClients(BusConnection::Port::Query, {u"printer"_s}));
    QVERIFY(bus.waitForClients(BusConnection::Port::Receiver, {}));
    const BusClient unnamed(BusClient::QUERY_PORT);
    auto receiver = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, u"cashbox"_s);
    QVERIFY(bus.waitForClients(BusConnection::Port::Receiver, {u"cashbox"_s}));
    QCOMPARE(query.ask(handshake(), named(u"other"_s)).code, 0);
    QVERIFY(bus.waitForClients(BusConnection::Port::Query, {u"other"_s}));
    receiver.reset();
    QVERIFY(bus.waitForClients(BusConnection::Port::Receiver, {}));
}

void TstBusServer::requestHandled_carriesTheData()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    QCOMPARE(client.ask(u"loadState"_s, owned(u"x"_s)).code, 5);
    QCOMPARE(bus.handled().value(0).data, named(u"printer"_s));
    QCOMPARE(bus.handled().value(1).operation, u"loadState"_s);
    QCOMPARE(bus.handled().value(1).data, owned(u"x"_s));
    QVERIFY(bus.handled().value(1).code == 5);
}

void TstBusServer::perform_isDoneLikeARequest()
{
    BusThread bus;
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    int code = -1;
    bus.call([&code](BusServer& server) {
        QVariantMap answer;
        code = server.perform(u"cashbox"_s, u"sendMessage"_s, messageTo(u"printer"_s), answer).error();
    });
    QCOMPARE(code, 0);
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(pushed.data.value(u"sender"_s).toString(), u"cashbox"_s);
    QCOMPARE(pushed.data.value(u"message"_s).toString(), u"hello"_s);
    QCOMPARE(bus.handled().size(), 1); // the handshake
}

void TstBusServer::perform_refused_saysWhy()
{
    BusThread bus;
    TarvexError error;
    bus.call([&error](BusServer& server) {
        QVariantMap answer;
        error = server.perform(u"a"_s, u"dance"_s, {}, answer);
    });
    QCOMPARE(int(error.error()), 4);
}

void TstBusServer::setListening_false_keepsOpenConnections()
{
    BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    bool isDone = false;
    bus.call([&isDone](BusServer& server) { isDone = !isFailure(server.setListening(false)); });
    QVERIFY(isDone);
    QVERIFY(!BusClient(BusClient::QUERY_PORT).isConnected());
    QVERIFY(!BusClient(BusClient::RECEIVER_PORT).isConnected());
    QCOMPARE(client.ask(u"loadState"_s, owned(u"x"_s)).code, 5);
    bus.call([&isDone](BusServer& server) {
        isDone = !isFailure(server.setListening(true)) && !isFailure(server.setListening(true));
    });
    QVERIFY(isDone);
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"a"_s).isConnected());
    QVERIFY(BusClient(BusClient::RECEIVER_PORT, u"a"_s).isConnected());
}

void TstBusServer::setListening_portTaken_fails()
{
    BusThread bus;
    bus.call([](BusServer& server) { server.setListening(false); });
    const FakeBus occupant(FakeBus::RECEIVER_PORT);
    TarvexError error;
    bus.call([&](BusServer& server) { error = server.setListening(true); });
    QVERIFY(isFailure(error));
    QVERIFY2(error.description().contains(QLatin1String("45537")), qPrintable(error.description()));
    QVERIFY(!BusClient(BusClient::QUERY_PORT).isConnected());
}

void TstBusServer::setListening_whenStopped_fails()
{
    BusServer server{BusServer::Options()};
    QCOMPARE(server.setListening(true).description(), u"the server is not running"_s);
    QVERIFY(!BusClient(BusClient::QUERY_PORT).isConnected());
    QVERIFY(!isFailure(server.setListening(false)));
}

void TstBusServer::dropConnections_ofOneClient_sparesOthers()
{
    BusThread bus;
    BusClient query(BusClient::QUERY_PORT, u"printer"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    BusClient other(BusClient::QUERY_PORT, u"cashbox"_s);
    bus.call([](BusServer& server) { server.dropConnections(u"printer"_s); });
    QVERIFY(query.waitForClose());
    QVERIFY(receiver.waitForClose());
    QCOMPARE(other.ask(u"loadState"_s, owned(u"x"_s)).code, 5);
    QVERIFY(bus.waitForClients(BusConnection::Port::Query, {u"cashbox"_s}));
}

void TstBusServer::dropConnections_ofAll_keepsListening()
{
    BusThread bus;
    BusClient named(BusClient::QUERY_PORT, u"printer"_s);
    BusClient unnamed(BusClient::RECEIVER_PORT);
    QCOMPARE(unnamed.ask(u"loadState"_s, owned(u"x"_s)).code, 3); // so it was accepted
    bus.call([](BusServer& server) { server.dropConnections({}); });
    QVERIFY(named.waitForClose());
    QVERIFY(unnamed.waitForClose());
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"printer"_s).isConnected());
}

void TstBusServer::dropConnections_keepsWhatWasNotAcknowledged()
{
    BusThread bus;
    BusClient sender(BusClient::QUERY_PORT, u"cashbox"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    QCOMPARE(sender.ask(u"sendMessage"_s, messageTo(u"printer"_s)).code, 0);
    QVERIFY(receiver.read().isValid);
    bus.call([](BusServer& server) { server.dropConnections(u"printer"_s); });
    BusClient again(BusClient::RECEIVER_PORT, u"printer"_s);
    QCOMPARE(again.read().data.value(u"message"_s).toString(), u"hello"_s);
}

void TstBusServer::dropConnections_ofClientFarBehind_keepsWhatItMay()
{
    BusServer::Options options;
    options.keep = 1;
    BusThread bus(options);
    BusClient sender(BusClient::QUERY_PORT, u"cashbox"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    for (int number = 1; number <= 3; ++number) {
        QVariantMap message = messageTo(u"printer"_s);
        message.insert(u"UID"_s, QString::number(number));
        QCOMPARE(sender.ask(u"sendMessage"_s, message).code, 0);
    }
    bus.call([](BusServer& server) { server.dropConnections(u"printer"_s); });
    BusClient again(BusClient::RECEIVER_PORT, u"printer"_s);
    QCOMPARE(again.read().data.value(u"UID"_s).toString(), u"3"_s);
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
    BusClient printer(BusClient::QUERY_PORT, u"printer"_s);
    BusClient cashbox(BusClient::QUERY_PORT, u"cashbox"_s);
    QCOMPARE(printer.ask(u"saveState"_s, owned(u"printer"_s)).code, 512);
    QVERIFY(bus.handled().constLast().code == 512);
    QCOMPARE(printer.ask(u"loadState"_s, owned(u"printer"_s)).code, 5);
    QCOMPARE(cashbox.ask(u"saveState"_s, owned(u"cashbox"_s)).code, 0);
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
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    QVERIFY(client.sendRequest(u"saveState"_s, owned(u"printer"_s)));
    // Requests are answered in order: this is the reply to the second one, and the first was not carried out.
    const BusClient::Frame reply = client.ask(u"loadState"_s, owned(u"printer"_s));
    QCOMPARE(reply.operation, u"loadState"_s);
    QCOMPARE(reply.code, 5);
    QCOMPARE(bus.handled().value(1).operation, u"saveState"_s);
    QVERIFY(!bus.handled().value(1).code);
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
    QCOMPARE(client.ask(handshake(), named(u"printer"_s)).code, 3);
    QCOMPARE(bus.handled().value(0).client, u"printer"_s);
    bus.call([](BusServer& server) { server.setFaultSource({}); });
    QCOMPARE(client.ask(u"loadState"_s, owned(u"x"_s)).code, 3);
}

QTEST_GUILESS_MAIN(TstBusServer)
#include "tst_busserver.moc"
