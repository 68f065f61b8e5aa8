#include "kit.h"

#include "client/supportedclients.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>

namespace {

const QLatin1String SENT_UID("of the test");

/// Sends something with a text, as a client.
using Send = std::function<bool(OpenClient& client, const QString& text)>;
/// Waits for it. \return the text that has come; null if none has.
using Wait = std::function<QString(TestBus& bus, int timeoutMs)>;

bool answer(OpenClient& client, const QString& reciever, const QString& text)
{
    Message reply = commandMessage(reciever, u"printed"_s, text);
    reply.setUid(SENT_UID);
    return client.sendMessage(reply);
}

bool saveDescribed(OpenClient& client, const QString& text)
{
    ClientSettings settings = samples::someSettings(printer());
    settings.setDescription(text);
    return client.saveSettings(settings);
}

} // namespace

Q_DECLARE_METATYPE(Send)
Q_DECLARE_METATYPE(Wait)

/// What the test does as another client, and what it sees of what a service does.
class TstTestBusExchange : public KitTest
{
    Q_OBJECT
private Q_SLOTS:
    void sendCommand_reachesAbsentClientLater();
    void sendMessage_keepsItsUid();
    void sendMessage_twoAtOnce_differ();
    void waitForAcknowledged_returnsWhenTaken();
    void saveSettings_tellTheirOwner();
    void saveSettings_withoutMail_tellsNobody();
    void saveState_isStoredAndDated();
    void saveState_tellsSubscribers();
    void refused_saysWhy_data();
    void refused_saysWhy();

    void wait_takesEachOnce_inOrder_data();
    void wait_takesEachOnce_inOrder();
    void wait_doneByTheTest_isNone();
    void waitForCommand_otherName_staysForLater();
    void waitForCommand_filtered_takesTheFirstThatFits();
    void waitForCommand_noCommand_staysForLater();
    void waitForMessage_falseSender_isTheConnectionsOwn();
    void waitForReply_toAnother_isNone();
    void waitForState_filtered_skipsOthers();
    void waitForSettings_ofAnother_staysForLater();
    void waitForRequest_refused_isFound();
    void clear_forgetsWhatCame();

    void wait_runsTheEventLoop();
    void wait_afterQuit_stillWaits();
    void wait_noTime_looksOnce();
    void wait_manyThatNobodyTakes_findsTheOne();
};

void TstTestBusExchange::sendCommand_reachesAbsentClientLater()
{
    const QString uid = m_bus->sendCommand(cashbox(), printer(), print(), {{u"number"_s, 7}});
    QCOMPARE(uid.size(), 24);
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    const Message pushed = Message::fromVariantMap(receiver.read().data);
    QCOMPARE(pushed.uid(), uid);
    QCOMPARE(pushed.sender(), cashbox());
    QCOMPARE(pushed.reciever(), printer());
    QCOMPARE(pushed.message(), uR"({"cmd":"print","data":{"number":7}})"_s);
    QVERIFY(pushed.dt().isValid());
}

void TstTestBusExchange::sendMessage_keepsItsUid()
{
    const Message message = samples::someMessage(printer(), u"hello"_s, SENT_UID);
    QCOMPARE(m_bus->sendMessage(message), SENT_UID);
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    QCOMPARE(receiver.read().data, message.toVariantMap());
}

void TstTestBusExchange::sendMessage_twoAtOnce_differ()
{
    QVERIFY(m_bus->sendCommand(cashbox(), printer(), print()) != m_bus->sendCommand(cashbox(), printer(), print()));
}

void TstTestBusExchange::waitForAcknowledged_returnsWhenTaken()
{
    const QString uid = m_bus->sendCommand(cashbox(), printer(), print());
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    const BusClient::Frame pushed = receiver.read();
    QVERIFY(!m_bus->waitForAcknowledged(uid, SHORT_MS));
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY2(m_bus->waitForAcknowledged(uid), qPrintable(m_bus->errorString()));
}

void TstTestBusExchange::saveSettings_tellTheirOwner()
{
    QVERIFY(m_bus->saveSettings(samples::someSettings(printer())));
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    const QString text = receiver.read().data.value(u"message"_s).toString();
    QVERIFY2(text.startsWith(uR"({"cmd":"updateSettings")"_s), qPrintable(text));
    ClientSettings loaded;
    QVERIFY(OpenClient().loadSettings(printer(), loaded));
    QVERIFY(loaded == samples::someSettings(printer()));
}

void TstTestBusExchange::saveSettings_withoutMail_tellsNobody()
{
    ClientSettings settings = samples::someSettings(printer());
    settings.setMailOwner(false);
    QVERIFY(m_bus->saveSettings(settings));
    const QString uid = m_bus->sendCommand(cashbox(), printer(), print());
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    QCOMPARE(receiver.read().data.value(u"UID"_s).toString(), uid); // and nothing before it
}

void TstTestBusExchange::saveState_isStoredAndDated()
{
    QVERIFY(m_bus->saveState(stateOf(printer(), u"ready"_s)));
    const auto stored = m_bus->state(printer());
    QVERIFY2(stored, qPrintable(m_bus->errorString()));
    QCOMPARE(stored->state(), u"ready"_s);
    QVERIFY(stored->dt().isValid());
    ClientState dated = stateOf(printer(), u"busy"_s);
    dated.setDt(QDateTime(QDate(2020, 2, 29), QTime(1, 2, 3)));
    QVERIFY(m_bus->saveState(dated));
    QVERIFY(m_bus->state(printer()) == dated);
}

void TstTestBusExchange::saveState_tellsSubscribers()
{
    OpenClient client;
    QVERIFY(client.subscribe(QStringList{cashbox()}));
    QVERIFY(m_bus->saveState(stateOf(cashbox(), u"open"_s)));
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    const QString text = receiver.read().data.value(u"message"_s).toString();
    QVERIFY2(text.startsWith(uR"({"cmd":"stateChanged")"_s), qPrintable(text));
}

void TstTestBusExchange::refused_saysWhy_data()
{
    QTest::addColumn<Act>("act");
    QTest::addColumn<QString>("error");
    const auto row = [](const QString& error, const Act& act) { QTest::newRow(qPrintable(error)) << act << error; };
    row(u"a message needs a sender"_s,
        [](TestBus& bus) { return !bus.sendMessage(plainMessage(printer(), u"hello"_s)).isEmpty(); });
    row(u"saveSettings: refused: 2 Incorrect request data"_s,
        [](TestBus& bus) { return bus.saveSettings(samples::someSettings(QString())); });
    row(u"loadSettings: refused: 5 There are no settings for client"_s,
        [](TestBus& bus) { return bus.settings(printer()).has_value(); });
    row(u"loadState: refused: 5 There is no state for client"_s,
        [](TestBus& bus) { return bus.state(printer()).has_value(); });
    row(u"no message with the uid \"unheard of\" was sent"_s,
        [](TestBus& bus) { return bus.waitForReply(u"unheard of"_s).has_value(); });
}

void TstTestBusExchange::refused_saysWhy()
{
    QFETCH(Act, act);
    QVERIFY(!act(*m_bus));
    QTEST(m_bus->errorString(), "error");
}

void TstTestBusExchange::wait_takesEachOnce_inOrder_data()
{
    QTest::addColumn<Send>("send");
    QTest::addColumn<Wait>("wait");
    const auto row = [](const char* name, const Send& send, const Wait& wait) { QTest::newRow(name) << send << wait; };
    row(
        "command",
        [](OpenClient& client, const QString& text) {
            return client.sendMessage(commandMessage(cashbox(), print(), text));
        },
        [](TestBus& bus, int timeoutMs) { return textOf(bus.waitForCommand(cashbox(), print(), timeoutMs)); });
    row(
        "log line",
        [](OpenClient& client, const QString& text) {
            return client.sendMessage(commandMessage(tarvex::BUSNAME_LOGGER, u"saveLog"_s, text));
        },
        [](TestBus& bus, int timeoutMs) {
            return textOf(bus.waitForCommand(tarvex::BUSNAME_LOGGER, QString(), timeoutMs));
        });
    row(
        "reply", [](OpenClient& client, const QString& text) { return answer(client, cashbox(), text); },
        [](TestBus& bus, int timeoutMs) { return textOf(bus.waitForReply(SENT_UID, timeoutMs)); });
    row(
        "message",
        [](OpenClient& client, const QString& text) { return client.sendMessage(plainMessage(cashbox(), text)); },
        [](TestBus& bus, int timeoutMs) {
            return bus.waitForMessage(cashbox(), timeoutMs).value_or(Message()).message();
        });
    row(
        "message to nobody",
        [](OpenClient& client, const QString& text) {
            return client.sendMessage(plainMessage(QLatin1String(""), text));
        },
        [](TestBus& bus, int timeoutMs) {
            return bus.waitForMessage(QString(), timeoutMs).value_or(Message()).message();
        });
    row(
        "state", [](OpenClient& client, const QString& text) { return client.saveState(stateOf(QString(), text)); },
        [](TestBus& bus, int timeoutMs) {
            return bus.waitForState(printer(), timeoutMs).value_or(ClientState()).state();
        });
    row("settings", &saveDescribed, [](TestBus& bus, int timeoutMs) {
        return bus.waitForSettings(printer(), timeoutMs).value_or(ClientSettings()).description();
    });
    row(
        "request", [](OpenClient& client, const QString& text) { return client.subscribe(QStringList{text}); },
        [](TestBus& bus, int timeoutMs) {
            const auto data = bus.waitForRequest(printer(), u"subscribe"_s, timeoutMs).value_or(QVariantMap());
            return data.value(u"publishers"_s).toList().value(0).toMap().value(u"name"_s).toString();
        });
}

void TstTestBusExchange::wait_takesEachOnce_inOrder()
{
    QFETCH(Send, send);
    QFETCH(Wait, wait);
    QCOMPARE(m_bus->sendMessage(samples::someMessage(printer(), u"hello"_s, SENT_UID)), SENT_UID);
    OpenClient client;
    QVERIFY(send(client, u"1"_s));
    QVERIFY(send(client, u"2"_s));
    QCOMPARE(wait(*m_bus, TestBus::DEFAULT_TIMEOUT_MS), u"1"_s);
    QCOMPARE(wait(*m_bus, TestBus::DEFAULT_TIMEOUT_MS), u"2"_s);
    QCOMPARE(wait(*m_bus, SHORT_MS), QString());
    QTimer::singleShot(SHORT_MS, this, [&] { send(client, u"during the wait"_s); });
    QCOMPARE(wait(*m_bus, TestBus::DEFAULT_TIMEOUT_MS), u"during the wait"_s);
    m_bus->failRequests(QString(), TarvexError::StorageAccessError);
    QVERIFY(!send(client, u"refused"_s));
    // A refused request counts as a request, but not as a message, a state or settings.
    const QString expected = qstrcmp(QTest::currentDataTag(), "request") == 0 ? u"refused"_s : QString();
    QCOMPARE(wait(*m_bus, SHORT_MS), expected);
}

void TstTestBusExchange::wait_doneByTheTest_isNone()
{
    QVERIFY(!m_bus->sendCommand(cashbox(), printer(), print()).isEmpty());
    QVERIFY(m_bus->saveSettings(samples::someSettings(printer())));
    QVERIFY(m_bus->saveState(stateOf(printer(), u"ready"_s)));
    QVERIFY(!m_bus->waitForCommand(printer(), print(), SHORT_MS));
    QVERIFY(!m_bus->waitForSettings(printer(), 0));
    QVERIFY(!m_bus->waitForState(printer(), 0));
}

void TstTestBusExchange::waitForCommand_otherName_staysForLater()
{
    OpenClient client;
    QVERIFY(client.sendMessage(commandMessage(cashbox(), u"first"_s)));
    QVERIFY(client.sendMessage(commandMessage(u"display"_s, u"second"_s)));
    QVERIFY(client.sendMessage(commandMessage(cashbox(), u"second"_s)));
    const auto second = m_bus->waitForCommand(cashbox(), u"second"_s);
    const auto any = m_bus->waitForCommand(cashbox(), QString());
    QVERIFY(second && any);
    QCOMPARE(second->name(), u"second"_s);
    QCOMPARE(second->agent(), printer());
    QCOMPARE(any->name(), u"first"_s);
    QVERIFY(m_bus->waitForCommand(u"display"_s, u"second"_s));
}

void TstTestBusExchange::waitForCommand_filtered_takesTheFirstThatFits()
{
    OpenClient client;
    for (const QString& text : {u"a"_s, u"bb"_s, u"cc"_s}) {
        QVERIFY(client.sendMessage(commandMessage(cashbox(), print(), text)));
    }
    const auto hasTwoLetters = [](const TarvexCommand& command) { return textOf(command).size() == 2; };
    QCOMPARE(textOf(m_bus->waitForCommand(cashbox(), print(), hasTwoLetters)), u"bb"_s);
    QCOMPARE(textOf(m_bus->waitForCommand(cashbox(), print())), u"a"_s);
    const auto isEmpty = [](const TarvexCommand& command) { return textOf(command).isEmpty(); };
    QVERIFY(!m_bus->waitForCommand(cashbox(), print(), isEmpty, SHORT_MS));
}

void TstTestBusExchange::waitForCommand_noCommand_staysForLater()
{
    OpenClient client;
    QVERIFY(client.sendMessage(plainMessage(cashbox(), u"plain words"_s)));
    QVERIFY(!m_bus->waitForCommand(cashbox(), QString(), SHORT_MS));
    QCOMPARE(m_bus->waitForMessage(cashbox()).value_or(Message()).message(), u"plain words"_s);
}

void TstTestBusExchange::waitForMessage_falseSender_isTheConnectionsOwn()
{
    BusClient client(BusClient::QUERY_PORT, printer());
    Message message = plainMessage(cashbox(), u"from somebody else"_s);
    message.setSender(u"display"_s);
    QCOMPARE(client.ask(u"sendMessage"_s, message.toVariantMap()).code, 0);
    QCOMPARE(m_bus->waitForMessage(cashbox()).value_or(Message()).sender(), printer());
}

void TstTestBusExchange::waitForReply_toAnother_isNone()
{
    QCOMPARE(m_bus->sendMessage(samples::someMessage(printer(), u"hello"_s, SENT_UID)), SENT_UID);
    OpenClient client;
    QVERIFY(answer(client, u"display"_s, u"elsewhere"_s));
    QVERIFY(!m_bus->waitForReply(SENT_UID, SHORT_MS));
    QVERIFY(client.sendMessage(commandMessage(cashbox(), u"printed"_s, u"with another uid"_s)));
    QVERIFY(answer(client, cashbox(), u"here"_s));
    const auto reply = m_bus->waitForReply(SENT_UID);
    QVERIFY2(reply, qPrintable(m_bus->errorString()));
    QCOMPARE(textOf(reply), u"here"_s);
    QCOMPARE(reply->name(), u"printed"_s);
    QCOMPARE(reply->agent(), printer());
    QCOMPARE(reply->uid(), SENT_UID);
}

void TstTestBusExchange::waitForState_filtered_skipsOthers()
{
    OpenClient client;
    for (const QString& text : {u"1"_s, u"2"_s, u"3"_s}) {
        QVERIFY(client.saveState(stateOf(QString(), text)));
    }
    const auto isTwo = [](const ClientState& state) { return state.state() == QLatin1String("2"); };
    QCOMPARE(m_bus->waitForState(printer(), isTwo).value_or(ClientState()).state(), u"2"_s);
    QCOMPARE(m_bus->waitForState(printer()).value_or(ClientState()).state(), u"3"_s);
    QCOMPARE(m_bus->state(printer()).value_or(ClientState()).state(), u"3"_s);
}

void TstTestBusExchange::waitForSettings_ofAnother_staysForLater()
{
    OpenClient client;
    QVERIFY(client.saveSettings(samples::someSettings(cashbox())));
    QVERIFY(!m_bus->waitForSettings(printer(), SHORT_MS));
    QVERIFY2(m_bus->waitForSettings(cashbox()), qPrintable(m_bus->errorString()));
}

void TstTestBusExchange::waitForRequest_refused_isFound()
{
    OpenClient client;
    ClientState state;
    QVERIFY(!client.loadState(cashbox(), state));
    QCOMPARE(m_bus->waitForRequest(printer(), u"loadState"_s).value_or(QVariantMap()), samples::owned(cashbox()));
    QVERIFY(!m_bus->waitForRequest(cashbox(), u"handshake"_s, SHORT_MS));
    QVERIFY(m_bus->waitForRequest(printer(), u"handshake"_s));
}

void TstTestBusExchange::clear_forgetsWhatCame()
{
    OpenClient client;
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print(), u"1"_s)));
    m_bus->clear();
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print(), u"2"_s)));
    QCOMPARE(textOf(m_bus->waitForCommand(cashbox(), print())), u"2"_s);
}

void TstTestBusExchange::wait_runsTheEventLoop()
{
    bool hasTicked = false;
    QTimer::singleShot(0, this, [&hasTicked] { hasTicked = true; });
    const QPointer<QObject> doomed(new QObject);
    doomed->deleteLater();
    QVERIFY(!m_bus->waitForClient(printer(), SHORT_MS));
    QVERIFY(hasTicked);
    QVERIFY(doomed.isNull());
}

void TstTestBusExchange::wait_afterQuit_stillWaits()
{
    QCoreApplication::quit();
    tarvex::TarvexQueryHandler client(printer());
    QTimer::singleShot(SHORT_MS, this, [&client] { client.open(); });
    QVERIFY2(m_bus->waitForClient(printer(), TestBus::DEFAULT_TIMEOUT_MS, TestBus::Connections::Query),
             qPrintable(m_bus->errorString()));
}

void TstTestBusExchange::wait_noTime_looksOnce()
{
    OpenClient client;
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print())));
    QVERIFY(m_bus->waitForCommand(cashbox(), print(), 0));
    QVERIFY(!m_bus->waitForCommand(cashbox(), print(), 0));
    QVERIFY(!m_bus->waitForCommand(cashbox(), print(), -1));
}

void TstTestBusExchange::wait_manyThatNobodyTakes_findsTheOne()
{
    BusClient client(BusClient::QUERY_PORT, printer()); // the library's own client takes 10 ms for each
    for (int number = 0; number < 5000; ++number) {
        const Message message = commandMessage(cashbox(), print(), QString::number(number));
        QCOMPARE(client.ask(u"sendMessage"_s, message.toVariantMap()).code, 0);
    }
    const auto isLast = [](const TarvexCommand& command) { return textOf(command) == QLatin1String("4999"); };
    QVERIFY2(m_bus->waitForCommand(cashbox(), print(), isLast), qPrintable(m_bus->errorString()));
    QCOMPARE(textOf(m_bus->waitForCommand(cashbox(), print())), u"0"_s);
}

QTEST_GUILESS_MAIN(TstTestBusExchange)
#include "tst_testbus_exchange.moc"
