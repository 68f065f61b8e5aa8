#include "kit.h"

#include "fakebus.h"

#include <QRegularExpression>

Q_DECLARE_METATYPE(TestBus::Connections)

namespace {

bool canConnect()
{
    return BusClient(BusClient::QUERY_PORT).isConnected() || BusClient(BusClient::RECEIVER_PORT).isConnected();
}

bool isAccepted(const QString& name)
{
    return BusClient(BusClient::QUERY_PORT, name).isConnected();
}

} // namespace

/// The bus itself: start and end, who is connected, and the faults that it can have.
class TstTestBus : public KitTest
{
    Q_OBJECT
private Q_SLOTS:
    void start_again_changesNothing();
    void start_portInUse_fails_data();
    void start_portInUse_fails();
    void start_secondBus_fails();
    void stop_closesEverything();
    void end_closesEverything();
    void restart_severalTimes_keepsWhatIsStored();
    void notRunning_takesNothing_data();
    void notRunning_takesNothing();
    void neverStarted_isHarmless();

    void waitForClient_returnsWithBothConnections();
    void waitForClient_oneConnection_needsNoOther_data();
    void waitForClient_oneConnection_needsNoOther();
    void waitForDisconnected_returnsWhenBothAreGone();

    void dropConnections_ofOne_sparesOthers();
    void dropConnections_ofAll_dropsEverybody();
    void refuseConnections_keepsWhoIsThere();
    void refuseConnections_portTaken_fails();
    void refuseConnections_endsWithStart_data();
    void refuseConnections_endsWithStart();
    void failRequests_ofOneOperation_failsThatAlone();
    void failRequests_ofOneClient_sparesOthers();
    void failRequests_everything_latestRuleCounts();
    void failRequests_handshake_keepsClientOutside();
    void failRequests_beforeStart_holds();
    void failRequests_doesNotTouchTheTest();
    void failRequests_impossible_isWarnedOf();
    void ignoreRequests_getNoReply();
};

void TstTestBus::start_again_changesNothing()
{
    OpenClient client(cashbox());
    QVERIFY(m_bus->start());
    QVERIFY(m_bus->isRunning());
    QVERIFY(client.saveState(stateOf(cashbox(), u"open"_s)));
}

void TstTestBus::start_portInUse_fails_data()
{
    QTest::addColumn<int>("port");
    QTest::newRow("query") << 45535;
    QTest::newRow("receiver") << 45537;
}

void TstTestBus::start_portInUse_fails()
{
    QFETCH(int, port);
    m_bus->stop();
    TestBus bus;
    {
        const FakeBus occupant(static_cast<quint16>(port));
        QVERIFY(occupant.isListening());
        QVERIFY(!bus.start());
        const QString words = u"port %1 of 127.0.0.1 is taken: is another bus running there?"_s.arg(port);
        QVERIFY2(bus.errorString().contains(words), qPrintable(bus.errorString()));
        QVERIFY(!bus.isRunning());
    }
    QVERIFY2(bus.start(), qPrintable(bus.errorString()));
}

void TstTestBus::start_secondBus_fails()
{
    TestBus second;
    QVERIFY(!second.start());
    QVERIFY(m_bus->isRunning());
    QVERIFY(canConnect());
}

void TstTestBus::stop_closesEverything()
{
    BusClient client(BusClient::QUERY_PORT, printer());
    QVERIFY(m_bus->waitForClient(printer(), TestBus::DEFAULT_TIMEOUT_MS, TestBus::Connections::Query));
    m_bus->stop();
    QVERIFY(client.waitForClose());
    QVERIFY(!canConnect());
    QVERIFY(!m_bus->isRunning());
    QVERIFY(m_bus->waitForDisconnected(printer(), 0));
}

void TstTestBus::end_closesEverything()
{
    BusClient client(BusClient::QUERY_PORT, printer());
    m_bus.reset();
    QVERIFY(client.waitForClose());
    QVERIFY(!canConnect());
}

void TstTestBus::restart_severalTimes_keepsWhatIsStored()
{
    ClientSettings settings = samples::someSettings(printer());
    settings.setMailOwner(false); // so that the command below is the first message
    QVERIFY(m_bus->saveSettings(settings));
    QVERIFY(m_bus->saveState(stateOf(printer(), u"ready"_s)));
    const QString uid = m_bus->sendCommand(cashbox(), printer(), print());
    QVERIFY(!uid.isEmpty());
    for (int round = 0; round < 3; ++round) {
        QVERIFY2(m_bus->restart(), qPrintable(m_bus->errorString()));
    }
    QCOMPARE(m_bus->settings(printer()).value_or(ClientSettings()).formattedSettings(), settings.formattedSettings());
    QCOMPARE(m_bus->state(printer()).value_or(ClientState()).state(), u"ready"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    QCOMPARE(receiver.read().data.value(u"UID"_s).toString(), uid);
}

void TstTestBus::notRunning_takesNothing_data()
{
    QTest::addColumn<Act>("act");
    const auto row = [](const char* name, const Act& act) { QTest::newRow(name) << act; };
    row("sendCommand", [](TestBus& bus) { return !bus.sendCommand(cashbox(), printer(), print()).isEmpty(); });
    row("saveSettings", [](TestBus& bus) { return bus.saveSettings(samples::someSettings()); });
    row("saveState", [](TestBus& bus) { return bus.saveState(samples::someState()); });
    row("settings", [](TestBus& bus) { return bus.settings(printer()).has_value(); });
    row("state", [](TestBus& bus) { return bus.state(printer()).has_value(); });
    row("refuseConnections", [](TestBus& bus) { return bus.refuseConnections(true); });
    row("refuseConnections(false)", [](TestBus& bus) { return bus.refuseConnections(false); });
}

void TstTestBus::notRunning_takesNothing()
{
    QFETCH(Act, act);
    QVERIFY(m_bus->saveState(stateOf(printer(), u"ready"_s)));
    m_bus->stop();
    TestBus neverStarted;
    for (TestBus* bus : {m_bus.get(), &neverStarted}) {
        QVERIFY(!act(*bus));
        QVERIFY2(bus->errorString().endsWith(u"the bus is not running"_s), qPrintable(bus->errorString()));
        QVERIFY(!bus->isRunning());
    }
    QVERIFY(!canConnect());
}

void TstTestBus::neverStarted_isHarmless()
{
    TestBus bus;
    QVERIFY(!bus.isRunning());
    bus.stop();
    bus.dropConnections();
    bus.clear();
    bus.serveRequests();
    QVERIFY(!bus.waitForState(printer(), 0));
    QVERIFY(!bus.isRunning());
    m_bus->stop();
    m_bus->dropConnections();
    QVERIFY2(bus.start(), qPrintable(bus.errorString()));
}

void TstTestBus::waitForClient_returnsWithBothConnections()
{
    const BusClient query(BusClient::QUERY_PORT, printer());
    QVERIFY(!m_bus->waitForClient(printer(), SHORT_MS));
    const BusClient receiver(BusClient::RECEIVER_PORT, printer());
    QVERIFY2(m_bus->waitForClient(printer()), qPrintable(m_bus->errorString()));
}

void TstTestBus::waitForClient_oneConnection_needsNoOther_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<TestBus::Connections>("wanted");
    QTest::addColumn<TestBus::Connections>("other");
    QTest::newRow("query") << 45535 << TestBus::Connections::Query << TestBus::Connections::Receiver;
    QTest::newRow("receiver") << 45537 << TestBus::Connections::Receiver << TestBus::Connections::Query;
}

void TstTestBus::waitForClient_oneConnection_needsNoOther()
{
    QFETCH(int, port);
    QFETCH(TestBus::Connections, wanted);
    QFETCH(TestBus::Connections, other);
    const BusClient client(static_cast<quint16>(port), printer());
    QVERIFY(m_bus->waitForClient(printer(), TestBus::DEFAULT_TIMEOUT_MS, wanted));
    QVERIFY(!m_bus->waitForClient(printer(), SHORT_MS, other));
    QVERIFY(!m_bus->waitForClient(cashbox(), SHORT_MS, wanted));
}

void TstTestBus::waitForDisconnected_returnsWhenBothAreGone()
{
    auto query = std::make_unique<BusClient>(BusClient::QUERY_PORT, printer());
    auto receiver = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, printer());
    QVERIFY(m_bus->waitForClient(printer()));
    query.reset();
    QVERIFY(!m_bus->waitForDisconnected(printer(), SHORT_MS));
    receiver.reset();
    QVERIFY2(m_bus->waitForDisconnected(printer()), qPrintable(m_bus->errorString()));
}

void TstTestBus::dropConnections_ofOne_sparesOthers()
{
    const BusClient other(BusClient::QUERY_PORT, cashbox());
    BusClient query(BusClient::QUERY_PORT, printer());
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    m_bus->dropConnections(printer());
    QVERIFY(query.waitForClose());
    QVERIFY(receiver.waitForClose());
    QVERIFY(m_bus->waitForClient(cashbox(), 0, TestBus::Connections::Query));
    QVERIFY(!other.hasBytes());
    QVERIFY(isAccepted(printer()));
}

void TstTestBus::dropConnections_ofAll_dropsEverybody()
{
    BusClient one(BusClient::QUERY_PORT, printer());
    BusClient other(BusClient::RECEIVER_PORT, cashbox());
    m_bus->dropConnections();
    QVERIFY(one.waitForClose());
    QVERIFY(other.waitForClose());
    QVERIFY(m_bus->waitForDisconnected(printer(), 0));
    QVERIFY(isAccepted(printer()));
}

void TstTestBus::refuseConnections_keepsWhoIsThere()
{
    OpenClient client;
    QVERIFY(m_bus->refuseConnections(true));
    QVERIFY(!canConnect());
    QVERIFY(client.saveState(stateOf(printer(), u"here"_s)));
    QVERIFY2(m_bus->refuseConnections(false), qPrintable(m_bus->errorString()));
    QVERIFY(canConnect());
}

void TstTestBus::refuseConnections_portTaken_fails()
{
    QVERIFY(m_bus->refuseConnections(true));
    const FakeBus occupant(FakeBus::RECEIVER_PORT);
    QVERIFY(!m_bus->refuseConnections(false));
    QVERIFY2(m_bus->errorString().contains(u"45537"_s), qPrintable(m_bus->errorString()));
    QVERIFY(m_bus->isRunning());
}

void TstTestBus::refuseConnections_endsWithStart_data()
{
    QTest::addColumn<Act>("act");
    QTest::newRow("start") << Act([](TestBus& bus) { return bus.start(); });
    QTest::newRow("restart") << Act([](TestBus& bus) { return bus.restart(); });
}

void TstTestBus::refuseConnections_endsWithStart()
{
    QFETCH(Act, act);
    QVERIFY(m_bus->refuseConnections(true));
    QVERIFY(act(*m_bus));
    QVERIFY(canConnect());
}

void TstTestBus::failRequests_ofOneOperation_failsThatAlone()
{
    m_bus->failRequests(u"saveState"_s, TarvexError::StorageAccessError);
    OpenClient client;
    QVERIFY(!client.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(!m_bus->state(printer()));
    QVERIFY(!m_bus->waitForState(printer(), 0));
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print())));
    m_bus->serveRequests();
    QVERIFY(client.saveState(stateOf(QString(), u"2"_s)));
    QCOMPARE(m_bus->waitForState(printer()).value_or(ClientState()).state(), u"2"_s);
}

void TstTestBus::failRequests_ofOneClient_sparesOthers()
{
    m_bus->failRequests(u"saveState"_s, TarvexError::StorageAccessError, printer());
    OpenClient one(printer());
    OpenClient other(cashbox());
    QVERIFY(!one.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(other.saveState(stateOf(QString(), u"1"_s)));
}

void TstTestBus::failRequests_everything_latestRuleCounts()
{
    BusClient client(BusClient::QUERY_PORT, printer());
    m_bus->failRequests(u"loadState"_s, TarvexError::InvalidDataStorage);
    m_bus->failRequests(QString(), TarvexError::StorageAccessError, printer());
    const QVariantMap owner{{u"owner"_s, cashbox()}};
    QCOMPARE(client.ask(u"loadState"_s, owner).code, 512);
    QCOMPARE(client.ask(u"loadSettings"_s, owner).code, 512);
    m_bus->failRequests(u"loadState"_s, TarvexError::InvalidDataStorage);
    QCOMPARE(client.ask(u"loadState"_s, owner).code, 256);
}

void TstTestBus::failRequests_handshake_keepsClientOutside()
{
    m_bus->failRequests(u"handshake"_s, TarvexError::UnregisteredClient, printer());
    QVERIFY(!isAccepted(printer()));
    QVERIFY2(m_bus->waitForRequest(printer(), u"handshake"_s), qPrintable(m_bus->errorString()));
    QVERIFY(m_bus->waitForDisconnected(printer(), 0));
    m_bus->serveRequests();
    QVERIFY(isAccepted(printer()));
}

void TstTestBus::failRequests_beforeStart_holds()
{
    m_bus = std::make_unique<TestBus>();
    m_bus->failRequests(u"handshake"_s, TarvexError::UnregisteredClient);
    QVERIFY(m_bus->start());
    QVERIFY(!isAccepted(printer()));
    QVERIFY(m_bus->restart());
    QVERIFY(!isAccepted(printer()));
}

void TstTestBus::failRequests_doesNotTouchTheTest()
{
    m_bus->failRequests(QString(), TarvexError::StorageAccessError);
    QVERIFY2(m_bus->saveSettings(samples::someSettings(printer())), qPrintable(m_bus->errorString()));
    QVERIFY(m_bus->settings(printer()));
}

void TstTestBus::failRequests_impossible_isWarnedOf()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"do=error needs a code from 0 to 65534, not 65535"_s));
    m_bus->failRequests(QString(), static_cast<TarvexError::Error>(65535));
}

void TstTestBus::ignoreRequests_getNoReply()
{
    BusClient client(BusClient::QUERY_PORT, printer());
    m_bus->ignoreRequests(u"saveState"_s, printer());
    QVERIFY(client.sendRequest(u"saveState"_s, stateOf(printer(), u"1"_s).toVariantMap()));
    QVERIFY2(m_bus->waitForRequest(printer(), u"saveState"_s), qPrintable(m_bus->errorString()));
    // Requests are answered in order, so a reply to the ignored one would come first.
    const BusClient::Frame reply = client.ask(u"loadState"_s, {{u"owner"_s, printer()}});
    QCOMPARE(reply.operation, u"loadState"_s);
    QCOMPARE(reply.code, 5);
}

QTEST_GUILESS_MAIN(TstTestBus)
#include "tst_testbus.moc"
