#include "busserver.h"

#include "desk.h"
#include "memoryuse.h"

#include <QFile>
#include <QTest>

#include <memory>
#include <vector>

using samples::messageTo;
using samples::owned;
using tarvex::TarvexError;
using tarvex::devbus::BusConnection;
using tarvex::devbus::BusServer;
using tarvex::devbus::isFailure;

namespace {

QString handshake()
{
    return u"handshake"_s;
}

/// Rows for tests that run on both ports.
void addPorts()
{
    QTest::addColumn<int>("port");
    QTest::newRow("query") << 45535;
    QTest::newRow("receiver") << 45537;
}

QByteArray requestFrame(const QByteArray& envelope)
{
    return FakeBus::frame("[-REQUEST-]", FakeBus::payload(envelope));
}

void dropConnections(BusThread& bus, const QString& client)
{
    bus.call([&](BusServer& server) { server.dropConnections(client); });
}

/// What the codec keeps between two frames, in bytes.
constexpr qint64 CODEC_SIZE = 300000;

/// Starts \a server, which lives in this thread. A client introduces itself and leaves. The server has not noticed the
/// end yet.
void introduceOneClient(BusServer& server)
{
    QVERIFY(!isFailure(server.start()));
    BusClient client(BusClient::QUERY_PORT);
    QVERIFY(client.sendRequest(handshake(), named(u"a"_s)));
    QTRY_COMPARE(server.presences().size(), 1);
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
    void memory_isGivenBack_data();
    void memory_isGivenBack();
    void listen_isLocalOnly();
    void handshake_named_isAccepted_data();
    void handshake_named_isAccepted();
    void request_wrong_isRefused_data();
    void request_wrong_isRefused();
    void handshake_again_changesName();
    void connections_tooMany_areClosed();
    void connections_ofOneNameOnReceiverPort_areWarnedOf();
    void connections_ofServiceThatIsBack_areNot();
    void trace_showsFramesBothWays();
    void trace_off_isSilent();
    void clients_areNamedByPort();
    void requestHandled_carriesTheData();
    void perform_isDoneLikeARequest();
    void setListening_false_keepsOpenConnections();
    void setListening_portTaken_fails();
    void setListening_whenStopped_fails();
    void dropConnections_ofOneClient_sparesOthers();
    void dropConnections_ofAll_keepsListening();
    void dropConnections_ofClientFarBehind_keepsWhatItMay();
    void fault_withError_isRepliedAndNothingDone();
    void fault_silent_getsNoReply();
    void fault_ofHandshake_leavesClientUnknown_data();
    void fault_ofHandshake_leavesClientUnknown();
};

void TstBusServer::start_portInUse_fails_data()
{
    addPorts();
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
    const QString path = u"/dev/null/bus.sqlite"_s;
    BusServer bad(storingIn(path));
    const TarvexError error = bad.start();
    QVERIFY(isFailure(error));
    QVERIFY(error.description().contains(path));
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

void TstBusServer::memory_isGivenBack_data()
{
    QTest::addColumn<bool>("isStopped");
    QTest::newRow("the server stops") << true;
    QTest::newRow("the last client leaves") << false;
}

void TstBusServer::memory_isGivenBack()
{
    QFETCH(bool, isStopped);
    {
        BusServer first{BusServer::Options()}; // Qt keeps some memory of the first use
        introduceOneClient(first);
    }
    BusServer server{BusServer::Options()};
    QVERIFY(!isFailure(server.start()));
    const qint64 before = memoryuse::allocated();
    introduceOneClient(server);
    if (isStopped) {
        server.stop();
    }
    QTRY_COMPARE(server.connectionCount(), 0);
    const qint64 kept = memoryuse::allocated() - before;
    QVERIFY2(kept < CODEC_SIZE / 3, qPrintable(QString::number(kept)));
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
    addPorts();
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

void TstBusServer::request_wrong_isRefused_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<bool>("isIntroduced");
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("operation");
    const auto row = [](int port, bool isIntroduced, const char* what, const QByteArray& frame, int code,
                        const QString& operation) {
        QTest::addRow("%d: %s", port, what) << port << isIntroduced << frame << code << operation;
    };
    const QString load = u"loadState"_s;
    for (const int port : {45535, 45537}) {
        const auto nameRow = [&](const char* what, const QVariantMap& data) {
            row(port, false, what, FakeBus::requestFrame(handshake(), data), 2, handshake());
        };
        nameRow("name empty", named(QLatin1String("")));
        nameRow("name missing", {});
        nameRow("name a number", named(5));
        nameRow("name a list", named(QVariantList{u"a"_s}));
        nameRow("name null", named(QVariant()));
        row(port, false, "not introduced", FakeBus::requestFrame(load, owned(u"a"_s)), 3, load);
        row(port, false, "not introduced, unknown", FakeBus::requestFrame(u"dance"_s, {}), 3, u"dance"_s);
        row(port, false, "not introduced, no operation", requestFrame("{\"a\":1}"), 3, QString());
        row(port, false, "not introduced, reply", FakeBus::replyFrame(u"sendMessage"_s, 0), 3, u"sendMessage"_s);
    }
    row(45535, true, "unknown", FakeBus::requestFrame(u"dance"_s, {}), 4, u"dance"_s);
    row(45535, true, "other case", FakeBus::requestFrame(u"LoadState"_s, {}), 4, u"LoadState"_s);
    row(45535, true, "reply to nothing", FakeBus::replyFrame(load, 0), 4, load);
    row(45537, true, "query on the receiver port", FakeBus::requestFrame(load, owned(u"a"_s)), 4, load);
    row(45535, true, "operation no text", requestFrame("{\"operation\":[],\"data\":{}}"), 2, QString());
    row(45535, true, "no operation", requestFrame("{\"data\":{}}"), 2, QString());
    row(45535, true, "data no object", requestFrame("{\"operation\":\"loadState\",\"data\":3}"), 2, load);
}

void TstBusServer::request_wrong_isRefused()
{
    QFETCH(int, port);
    QFETCH(bool, isIntroduced);
    QFETCH(QByteArray, frame);
    QFETCH(int, code);
    const QMap<int, QString> texts{
        {2, u"Incorrect request data"_s}, {3, u"Unregisterd client"_s}, {4, u"Unsupported request"_s}};
    const BusThread bus;
    BusClient client(static_cast<quint16>(port), isIntroduced ? u"a"_s : QString());
    const BusClient::Frame reply = client.askRaw(frame);
    QVERIFY(reply.isReply);
    QCOMPARE(reply.code, code);
    QCOMPARE(reply.description, texts.value(code));
    QTEST(reply.operation, "operation");
    QVERIFY(reply.data.isEmpty());
    // The refused request has not introduced the client, and the client can still introduce itself.
    QCOMPARE(client.ask(u"dance"_s, {}).code, isIntroduced ? 4 : 3);
    QCOMPARE(client.ask(handshake(), named(u"a"_s)).code, 0);
}

void TstBusServer::handshake_again_changesName()
{
    Desk desk;
    QCOMPARE(desk.ask(handshake(), named(u"second"_s)), 0);
    QCOMPARE(desk.ask(u"loadState"_s, owned(u"x"_s)), 5);
    QCOMPARE(desk.bus.handled().constLast().client, u"second"_s);
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

void TstBusServer::connections_ofOneNameOnReceiverPort_areWarnedOf()
{
    BusThread bus;
    const QString name = u"printer"_s;
    BusClient query(BusClient::QUERY_PORT, name);
    BusClient first(BusClient::RECEIVER_PORT, name);
    BusClient again(BusClient::QUERY_PORT, name); // on the same port, but query connections live side by side
    QCOMPARE(again.ask(u"loadState"_s, owned(name)).code, 5);
    QCOMPARE(query.ask(u"loadState"_s, owned(name)).code, 5);
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
    bus.call([&](BusServer& server) { QCOMPARE(server.takeoverCount(name), 2); });
}

/// This also holds when the bus notices the end of the old connection only after the new one has come.
void TstBusServer::connections_ofServiceThatIsBack_areNot()
{
    BusThread bus;
    const QString name = u"printer"_s;
    // This one is made first, so that the bus deals with it first when both have something for it.
    BusClient second(BusClient::RECEIVER_PORT);
    QCOMPARE(second.ask(u"dance"_s, {}).code, 3);
    auto first = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, name);
    bus.call([&](BusServer&) { // the bus's thread is busy meanwhile
        first.reset();
        second.sendRequest(handshake(), named(name));
    });
    QCOMPARE(second.read().code, 0);
    QCOMPARE(bus.warnings(), QStringList());
}

void TstBusServer::trace_showsFramesBothWays()
{
    BusServer::Options options;
    options.isTracing = true;
    const BusThread bus(options);
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    QCOMPARE(client.ask(u"loadState"_s, owned(u"x"_s)).code, 5);
    QCOMPARE(client.ask(u"sendMessage"_s, messageTo(u"printer"_s)).code, 0);
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
    Desk desk;
    QCOMPARE(desk.ask(u"loadState"_s, owned(u"x"_s)), 5);
    desk.client.send("[-REQUEST-]\r\nx\r\n");
    QVERIFY(desk.client.waitForClose());
    QVERIFY(desk.bus.traceLines().isEmpty());
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
    Desk desk;
    QCOMPARE(desk.ask(u"loadState"_s, owned(u"x"_s)), 5);
    const QList<BusThread::Handled> handled = desk.bus.handled();
    QCOMPARE(handled.value(0).data, named(u"a"_s));
    QCOMPARE(handled.value(1).operation, u"loadState"_s);
    QCOMPARE(handled.value(1).data, owned(u"x"_s));
    QVERIFY(handled.value(1).code == 5);
}

void TstBusServer::perform_isDoneLikeARequest()
{
    BusThread bus;
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    bus.call([](BusServer& server) {
        QVariantMap answer;
        QVERIFY(!isFailure(server.perform(u"cashbox"_s, u"sendMessage"_s, messageTo(u"printer"_s), answer)));
        QCOMPARE(int(server.perform(u"a"_s, u"dance"_s, {}, answer).error()), 4);
    });
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(pushed.data.value(u"sender"_s).toString(), u"cashbox"_s);
    QCOMPARE(pushed.data.value(u"message"_s).toString(), u"text"_s);
    QCOMPARE(bus.handled().size(), 1); // the handshake
}

void TstBusServer::setListening_false_keepsOpenConnections()
{
    BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    bus.call([](BusServer& server) { QVERIFY(!isFailure(server.setListening(false))); });
    QVERIFY(!BusClient(BusClient::QUERY_PORT).isConnected());
    QVERIFY(!BusClient(BusClient::RECEIVER_PORT).isConnected());
    QCOMPARE(client.ask(u"loadState"_s, owned(u"x"_s)).code, 5);
    bus.call([](BusServer& server) {
        QVERIFY(!isFailure(server.setListening(true)));
        QVERIFY(!isFailure(server.setListening(true)));
    });
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
    dropConnections(bus, u"printer"_s);
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
    dropConnections(bus, {});
    QVERIFY(named.waitForClose());
    QVERIFY(unnamed.waitForClose());
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"printer"_s).isConnected());
}

void TstBusServer::dropConnections_ofClientFarBehind_keepsWhatItMay()
{
    BusServer::Options options;
    options.keep = 1;
    Desk desk(options);
    const BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    QVERIFY(desk.sendMany(u"printer"_s, 1, 3));
    dropConnections(desk.bus, u"printer"_s);
    BusClient again(BusClient::RECEIVER_PORT, u"printer"_s);
    QCOMPARE(again.read().uid(), u"3"_s);
}

void TstBusServer::fault_withError_isRepliedAndNothingDone()
{
    Desk desk;
    QVERIFY(addFault(desk.bus, u"operation=saveState client=a do=error:512"_s));
    QCOMPARE(desk.ask(u"saveState"_s, owned(u"printer"_s)), 512);
    QVERIFY(desk.bus.handled().constLast().code == 512);
    QCOMPARE(desk.ask(u"loadState"_s, owned(u"printer"_s)), 5);
    BusClient other(BusClient::QUERY_PORT, u"other"_s);
    QCOMPARE(other.ask(u"saveState"_s, owned(u"cashbox"_s)).code, 0);
}

void TstBusServer::fault_silent_getsNoReply()
{
    Desk desk;
    QVERIFY(addFault(desk.bus, u"operation=saveState do=silence"_s));
    QVERIFY(desk.client.sendRequest(u"saveState"_s, owned(u"printer"_s)));
    // Requests are answered in order: this is the reply to the second one, and the first was not carried out.
    const BusClient::Frame reply = desk.client.ask(u"loadState"_s, owned(u"printer"_s));
    QCOMPARE(reply.operation, u"loadState"_s);
    QCOMPARE(reply.code, 5);
    QCOMPARE(desk.bus.handled().value(1).operation, u"saveState"_s);
    QVERIFY(!desk.bus.handled().value(1).code);
}

void TstBusServer::fault_ofHandshake_leavesClientUnknown_data()
{
    addPorts();
}

void TstBusServer::fault_ofHandshake_leavesClientUnknown()
{
    QFETCH(int, port);
    BusThread bus;
    QVERIFY(addFault(bus, u"operation=handshake do=error:3"_s));
    BusClient client(static_cast<quint16>(port));
    QCOMPARE(client.ask(handshake(), named(u"printer"_s)).code, 3);
    QCOMPARE(bus.handled().value(0).client, u"printer"_s);
    bus.call([](BusServer& server) { server.faults().clear(); });
    QCOMPARE(client.ask(u"loadState"_s, owned(u"x"_s)).code, 3);
}

QTEST_GUILESS_MAIN(TstBusServer)
#include "tst_busserver.moc"
