#include "testbus.h"

#include "busclient.h"
#include "client/supportedclients.h"
#include "client/tarvexqueryhandler.h"
#include "fakebus.h"
#include "literals.h"
#include "printer.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <memory>

Q_DECLARE_METATYPE(tarvex::testing::TestBus::Connections)

using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::TarvexError;
using tarvex::TarvexQueryHandler;
using tarvex::testing::TestBus;

namespace {

constexpr int SHORT_MS = 100; ///< For waits that are to fail.

QString printer()
{
    return u"printer"_s;
}

QString cashbox()
{
    return u"cashbox"_s;
}

QString print()
{
    return u"print"_s;
}

ClientSettings settingsOf(const QString& owner, const QString& paper = u"thick"_s)
{
    ClientSettings settings;
    settings.setOwner(owner);
    settings.setFormattedSettings({{u"paper"_s, QVariantMap{{u"kind"_s, paper}}}}, true);
    return settings;
}

ClientState stateOf(const QString& owner, const QString& text)
{
    ClientState state;
    state.setOwner(owner);
    state.setStateType(static_cast<ClientState::EStateType>(1));
    state.setState(text);
    return state;
}

Message plainMessage(const QString& reciever, const QString& text)
{
    Message message;
    message.setReciever(reciever);
    message.setMessage(text);
    return message;
}

Message commandMessage(const QString& reciever, const QString& name, const QVariantMap& data = {})
{
    TarvexCommand command;
    command.setAgent(reciever);
    command.setName(name);
    command.setData(data);
    return command.toOutgoingMessage();
}

QVariantMap numbered(int number)
{
    return {{u"number"_s, number}};
}

int numberOf(const std::optional<TarvexCommand>& command)
{
    return command ? command->data().value(u"number"_s, -1).toInt() : -1;
}

/// The line with that number of what a failed wait tells; line 0 is the first of what came.
QString toldLine(const TestBus& bus, int number)
{
    return bus.errorString().split(QLatin1Char('\n')).value(number + 2);
}

bool canConnect()
{
    return BusClient(BusClient::QUERY_PORT).isConnected() || BusClient(BusClient::RECEIVER_PORT).isConnected();
}

} // namespace

class TstTestBus : public QObject
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
    void stopped_takesNothing();
    void neverStarted_takesNothing();

    void waitForClient_returnsWithBothConnections();
    void waitForClient_oneConnection_needsNoOther_data();
    void waitForClient_oneConnection_needsNoOther();
    void waitForClient_timedOut_saysWhoIsThere();
    void waitForDisconnected_returnsWhenBothAreGone();
    void waitForDisconnected_timedOut_fails();

    void sendCommand_isAnswered();
    void sendCommand_toAbsentClient_reachesItLater();
    void sendCommand_unknown_getsTheErrorAsReply();
    void sendMessage_withoutSender_fails();
    void sendMessage_keepsItsUid();
    void sendMessage_twoAtOnce_differ();
    void waitForReply_unknownUid_fails();
    void waitForReply_timedOut_fails();
    void waitForReply_toAnother_isNone();
    void waitForAcknowledged_returnsWhenTaken();
    void waitForAcknowledged_absentClient_timesOut();
    void saveSettings_areAppliedByTheirOwner();
    void saveSettings_withoutOwner_areRefused();
    void saveSettings_withoutMail_tellsNobody();
    void saveState_isStoredAndDated();
    void saveState_tellsSubscribers();
    void settings_noneStored_saysSo();
    void state_noneStored_saysSo();

    void waitForCommand_takesEachOnce_inOrder();
    void waitForCommand_otherName_staysForLater();
    void waitForCommand_filtered_takesTheFirstThatFits();
    void waitForCommand_comingDuringTheWait_isTaken();
    void waitForCommand_refusedByTheBus_isNone();
    void waitForCommand_ofTheTestItself_isNone();
    void waitForCommand_findsLogLines();
    void waitForCommand_timedOut_saysWhatCame();
    void waitForCommand_timedOut_tellsNoiseLast();
    void waitForCommand_timedOut_cutsWhatIsLong();
    void waitForCommand_timedOut_isShortInBytes_data();
    void waitForCommand_timedOut_isShortInBytes();
    void waitForCommand_timedOut_showsNoControlCharacters();
    void waitForMessage_takesWhatIsNoCommand();
    void waitForMessage_withoutAddressee_isFound();
    void waitForMessage_falseSender_isTheConnectionsOwn();
    void waitForState_takesTheNextReport();
    void waitForState_filtered_skipsOthers();
    void waitForState_timedOut_fails();
    void waitForState_filtered_tellsWhatItHasSkipped();
    void waits_timedOut_tellFirstWhatTheyAreFor();
    void waitForSettings_findsWhatTheServiceSaves();
    void waitForSettings_timedOut_fails();
    void waitForRequest_findsAnyOperation();
    void waitForRequest_timedOut_fails();
    void clear_forgetsWhatCame();

    void dropConnections_ofOne_comesBackAndGetsItsMessage();
    void dropConnections_ofAll_dropsEverybody();
    void refuseConnections_keepsWhoIsThere();
    void refuseConnections_portTaken_fails();
    void refuseConnections_endsWithRestart();
    void failRequests_ofOneOperation_failsThatAlone();
    void failRequests_ofOneClient_sparesOthers();
    void failRequests_everything_latestRuleCounts();
    void failRequests_handshake_keepsServiceOutside();
    void failRequests_beforeStart_holds();
    void failRequests_doesNotTouchTheTest();
    void ignoreRequests_getNoReply();

    void wait_runsTheEventLoop();
    void wait_afterQuit_stillWaits();
    void wait_noTime_looksOnce();
    void wait_manyThatNobodyTakes_findsTheOne();
};

void TstTestBus::start_again_changesNothing()
{
    TestBus bus;
    QVERIFY(!bus.isRunning());
    QVERIFY2(bus.start(), qPrintable(bus.errorString()));
    TarvexQueryHandler client(cashbox());
    QVERIFY(client.open());
    QVERIFY(bus.start());
    QVERIFY(bus.isRunning());
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
    TestBus first;
    QVERIFY(first.start());
    TestBus second;
    QVERIFY(!second.start());
    QVERIFY(first.isRunning());
    QVERIFY(canConnect());
}

void TstTestBus::stop_closesEverything()
{
    TestBus bus;
    bus.stop();
    QVERIFY(bus.start());
    BusClient client(BusClient::QUERY_PORT, printer());
    QVERIFY(bus.waitForClient(printer(), TestBus::DEFAULT_TIMEOUT_MS, TestBus::Connections::Query));
    bus.stop();
    QVERIFY(client.waitForClose());
    QVERIFY(!canConnect());
    QVERIFY(!bus.isRunning());
    QVERIFY(bus.waitForDisconnected(printer(), 0));
}

void TstTestBus::end_closesEverything()
{
    auto bus = std::make_unique<TestBus>();
    QVERIFY(bus->start());
    BusClient client(BusClient::QUERY_PORT, printer());
    bus.reset();
    QVERIFY(client.waitForClose());
    QVERIFY(!canConnect());
}

void TstTestBus::restart_severalTimes_keepsWhatIsStored()
{
    TestBus bus;
    QVERIFY(bus.start());
    ClientSettings settings = settingsOf(printer());
    settings.setMailOwner(false); // so that the command below is the first message
    QVERIFY(bus.saveSettings(settings));
    QVERIFY(bus.saveState(stateOf(printer(), u"ready"_s)));
    const QString uid = bus.sendCommand(cashbox(), printer(), print());
    QVERIFY(!uid.isEmpty());
    for (int round = 0; round < 3; ++round) {
        QVERIFY2(bus.restart(), qPrintable(bus.errorString()));
    }
    QCOMPARE(bus.settings(printer()).value_or(ClientSettings()).formattedSettings(), settings.formattedSettings());
    QCOMPARE(bus.state(printer()).value_or(ClientState()).state(), u"ready"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    QCOMPARE(receiver.read().data.value(u"UID"_s).toString(), uid);
    QVERIFY(!TestBus().settings(printer()));
}

void TstTestBus::stopped_takesNothing()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(bus.saveState(stateOf(printer(), u"ready"_s)));
    bus.stop();
    QCOMPARE(bus.sendCommand(cashbox(), printer(), print()), QString());
    QVERIFY2(bus.errorString().contains(u"not running"_s), qPrintable(bus.errorString()));
    QVERIFY(!bus.saveSettings(settingsOf(printer())));
    QVERIFY(!bus.state(printer()));
    QVERIFY(!bus.refuseConnections(false));
    QVERIFY(!canConnect());
    bus.dropConnections();
}

void TstTestBus::neverStarted_takesNothing()
{
    TestBus bus;
    QVERIFY(!bus.saveState(stateOf(printer(), u"ready"_s)));
    QVERIFY(!bus.refuseConnections(true));
    bus.dropConnections();
    bus.clear();
    bus.serveRequests();
    QVERIFY(!bus.waitForState(printer(), 0));
    QVERIFY(!bus.isRunning());
}

void TstTestBus::waitForClient_returnsWithBothConnections()
{
    TestBus bus;
    QVERIFY(bus.start());
    const BusClient query(BusClient::QUERY_PORT, printer());
    QVERIFY(!bus.waitForClient(printer(), SHORT_MS));
    const BusClient receiver(BusClient::RECEIVER_PORT, printer());
    QVERIFY2(bus.waitForClient(printer()), qPrintable(bus.errorString()));
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
    TestBus bus;
    QVERIFY(bus.start());
    const BusClient client(static_cast<quint16>(port), printer());
    QVERIFY(bus.waitForClient(printer(), TestBus::DEFAULT_TIMEOUT_MS, wanted));
    QVERIFY(!bus.waitForClient(printer(), SHORT_MS, other));
    QVERIFY(!bus.waitForClient(cashbox(), SHORT_MS, wanted));
}

void TstTestBus::waitForClient_timedOut_saysWhoIsThere()
{
    TestBus bus;
    QVERIFY(bus.start());
    const BusClient client(BusClient::QUERY_PORT, printer());
    QVERIFY(!bus.waitForClient(printer(), SHORT_MS));
    const QString expected = u"\"printer\" has not joined the bus within 100 ms. "
                             "There: printer on the query port; nobody on the receiver port.\n"
                             "Came and was not taken, 1 in all:\n"
                             "  \"printer\", handshake: {\"name\":\"printer\"}"_s;
    QCOMPARE(bus.errorString(), expected);
}

void TstTestBus::waitForDisconnected_returnsWhenBothAreGone()
{
    TestBus bus;
    QVERIFY(bus.start());
    auto query = std::make_unique<BusClient>(BusClient::QUERY_PORT, printer());
    auto receiver = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, printer());
    QVERIFY(bus.waitForClient(printer()));
    query.reset();
    QVERIFY(!bus.waitForDisconnected(printer(), SHORT_MS));
    receiver.reset();
    QVERIFY2(bus.waitForDisconnected(printer()), qPrintable(bus.errorString()));
}

void TstTestBus::waitForDisconnected_timedOut_fails()
{
    TestBus bus;
    QVERIFY(bus.start());
    const BusClient receiver(BusClient::RECEIVER_PORT, printer());
    QVERIFY(bus.waitForClient(printer(), TestBus::DEFAULT_TIMEOUT_MS, TestBus::Connections::Receiver));
    QVERIFY(!bus.waitForDisconnected(printer(), SHORT_MS));
    QVERIFY(bus.errorString().startsWith(u"\"printer\" has not left the bus within 100 ms."_s));
}

void TstTestBus::sendCommand_isAnswered()
{
    TestBus bus;
    QVERIFY(bus.start());
    Printer service;
    service.doStart();
    QVERIFY2(bus.waitForClient(printer()), qPrintable(bus.errorString()));
    const QString uid = bus.sendCommand(cashbox(), printer(), print(), numbered(1));
    QCOMPARE(uid.size(), 24);
    const auto reply = bus.waitForReply(uid);
    QVERIFY2(reply, qPrintable(bus.errorString()));
    QCOMPARE(reply->name(), u"printed"_s);
    QCOMPARE(reply->agent(), printer());
    QCOMPARE(reply->uid(), uid);
    QVERIFY(!bus.waitForReply(uid, SHORT_MS)); // taken
}

void TstTestBus::sendCommand_toAbsentClient_reachesItLater()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(!bus.sendCommand(cashbox(), printer(), print(), numbered(7)).isEmpty());
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    const Message pushed = Message::fromVariantMap(receiver.read().data);
    QCOMPARE(pushed.sender(), cashbox());
    QCOMPARE(pushed.reciever(), printer());
    QCOMPARE(pushed.message(), uR"({"cmd":"print","data":{"number":7}})"_s);
    QVERIFY(pushed.dt().isValid());
}

void TstTestBus::sendCommand_unknown_getsTheErrorAsReply()
{
    TestBus bus;
    QVERIFY(bus.start());
    Printer service;
    service.doStart();
    const auto reply = bus.waitForReply(bus.sendCommand(cashbox(), printer(), u"dance"_s));
    QVERIFY2(reply, qPrintable(bus.errorString()));
    QCOMPARE(reply->name(), u"commandError"_s);
}

void TstTestBus::sendMessage_withoutSender_fails()
{
    TestBus bus;
    QVERIFY(bus.start());
    QCOMPARE(bus.sendMessage(plainMessage(printer(), u"hello"_s)), QString());
    QCOMPARE(bus.errorString(), u"a message needs a sender"_s);
}

void TstTestBus::sendMessage_keepsItsUid()
{
    TestBus bus;
    QVERIFY(bus.start());
    Message message = plainMessage(printer(), u"hello"_s);
    message.setSender(cashbox());
    message.setUid(u"my own"_s);
    QCOMPARE(bus.sendMessage(message), u"my own"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    QCOMPARE(receiver.read().data, message.toVariantMap());
}

void TstTestBus::sendMessage_twoAtOnce_differ()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(bus.sendCommand(cashbox(), printer(), print()) != bus.sendCommand(cashbox(), printer(), print()));
}

void TstTestBus::waitForReply_unknownUid_fails()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(!bus.waitForReply(u"unheard of"_s));
    QCOMPARE(bus.errorString(), u"no message with the uid \"unheard of\" was sent"_s);
}

void TstTestBus::waitForReply_timedOut_fails()
{
    TestBus bus;
    QVERIFY(bus.start());
    const QString uid = bus.sendCommand(cashbox(), printer(), print());
    QVERIFY(!bus.waitForReply(uid, SHORT_MS));
    QVERIFY(bus.errorString().startsWith(
        u"a reply to \"cashbox\" with the uid \"%1\" has not come within 100 ms."_s.arg(uid)));
}

void TstTestBus::waitForReply_toAnother_isNone()
{
    TestBus bus;
    QVERIFY(bus.start());
    const QString uid = bus.sendCommand(cashbox(), printer(), print());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    Message elsewhere = commandMessage(u"display"_s, u"printed"_s);
    elsewhere.setUid(uid);
    QVERIFY(client.sendMessage(elsewhere));
    QVERIFY(!bus.waitForReply(uid, SHORT_MS));
    elsewhere.setReciever(cashbox());
    QVERIFY(client.sendMessage(elsewhere));
    QVERIFY2(bus.waitForReply(uid), qPrintable(bus.errorString()));
}

void TstTestBus::waitForAcknowledged_returnsWhenTaken()
{
    TestBus bus;
    QVERIFY(bus.start());
    const QString uid = bus.sendCommand(cashbox(), printer(), print());
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    const BusClient::Frame pushed = receiver.read();
    QVERIFY(!bus.waitForAcknowledged(uid, SHORT_MS));
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY2(bus.waitForAcknowledged(uid), qPrintable(bus.errorString()));
}

void TstTestBus::waitForAcknowledged_absentClient_timesOut()
{
    TestBus bus;
    QVERIFY(bus.start());
    const QString uid = bus.sendCommand(cashbox(), printer(), print());
    QVERIFY(!bus.waitForAcknowledged(uid, SHORT_MS));
    QVERIFY(bus.errorString().startsWith(
        u"the message \"%1\" was not acknowledged within 100 ms. There: nobody"_s.arg(uid)));
}

void TstTestBus::saveSettings_areAppliedByTheirOwner()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(bus.saveSettings(settingsOf(printer(), u"thick"_s)));
    Printer service;
    service.doStart();
    QVERIFY2(bus.waitForRequest(printer(), u"loadSettings"_s), qPrintable(bus.errorString()));
    const auto before = bus.waitForReply(bus.sendCommand(cashbox(), printer(), print()));
    QVERIFY(bus.saveSettings(settingsOf(printer(), u"thin"_s)));
    QVERIFY2(bus.waitForRequest(printer(), u"loadSettings"_s), qPrintable(bus.errorString()));
    const auto after = bus.waitForReply(bus.sendCommand(cashbox(), printer(), print()));
    QVERIFY2(before && after, qPrintable(bus.errorString()));
    QCOMPARE(before->data().value(u"paper"_s).toString(), u"thick"_s);
    QCOMPARE(after->data().value(u"paper"_s).toString(), u"thin"_s);
}

void TstTestBus::saveSettings_withoutOwner_areRefused()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(!bus.saveSettings(settingsOf(QString())));
    QCOMPARE(bus.errorString(), u"saveSettings: refused: 2 Incorrect request data"_s);
}

void TstTestBus::saveSettings_withoutMail_tellsNobody()
{
    TestBus bus;
    QVERIFY(bus.start());
    ClientSettings settings = settingsOf(printer());
    settings.setMailOwner(false);
    QVERIFY(bus.saveSettings(settings));
    const QString uid = bus.sendCommand(cashbox(), printer(), print());
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    QCOMPARE(receiver.read().data.value(u"UID"_s).toString(), uid); // and nothing before it
}

void TstTestBus::saveState_isStoredAndDated()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(bus.saveState(stateOf(printer(), u"ready"_s)));
    const auto stored = bus.state(printer());
    QVERIFY2(stored, qPrintable(bus.errorString()));
    QCOMPARE(stored->state(), u"ready"_s);
    QVERIFY(stored->dt().isValid());
    ClientState dated = stateOf(printer(), u"busy"_s);
    dated.setDt(QDateTime(QDate(2020, 2, 29), QTime(1, 2, 3)));
    QVERIFY(bus.saveState(dated));
    QVERIFY(bus.state(printer()) == dated);
}

void TstTestBus::saveState_tellsSubscribers()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(client.subscribe(QStringList{cashbox()}));
    QVERIFY(bus.saveState(stateOf(cashbox(), u"open"_s)));
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    const QString text = receiver.read().data.value(u"message"_s).toString();
    QVERIFY2(text.startsWith(uR"({"cmd":"stateChanged")"_s), qPrintable(text));
}

void TstTestBus::settings_noneStored_saysSo()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(!bus.settings(printer()));
    QCOMPARE(bus.errorString(), u"loadSettings: refused: 5 There are no settings for client"_s);
}

void TstTestBus::state_noneStored_saysSo()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(!bus.state(printer()));
    QCOMPARE(bus.errorString(), u"loadState: refused: 5 There is no state for client"_s);
}

void TstTestBus::waitForCommand_takesEachOnce_inOrder()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    for (int number = 1; number <= 3; ++number) {
        QVERIFY(client.sendMessage(commandMessage(cashbox(), print(), numbered(number))));
    }
    for (int number = 1; number <= 3; ++number) {
        QCOMPARE(numberOf(bus.waitForCommand(cashbox(), print())), number);
    }
    QVERIFY(!bus.waitForCommand(cashbox(), print(), SHORT_MS));
}

void TstTestBus::waitForCommand_otherName_staysForLater()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(client.sendMessage(commandMessage(cashbox(), u"first"_s)));
    QVERIFY(client.sendMessage(commandMessage(u"display"_s, u"second"_s)));
    QVERIFY(client.sendMessage(commandMessage(cashbox(), u"second"_s)));
    const auto second = bus.waitForCommand(cashbox(), u"second"_s);
    const auto any = bus.waitForCommand(cashbox(), QString());
    QVERIFY(second && any);
    QCOMPARE(second->name(), u"second"_s);
    QCOMPARE(second->agent(), printer());
    QCOMPARE(any->name(), u"first"_s);
    QVERIFY(bus.waitForCommand(u"display"_s, u"second"_s));
}

void TstTestBus::waitForCommand_filtered_takesTheFirstThatFits()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    for (int number = 1; number <= 3; ++number) {
        QVERIFY(client.sendMessage(commandMessage(cashbox(), print(), numbered(number))));
    }
    const auto isAboveOne = [](const TarvexCommand& command) { return numberOf(command) > 1; };
    QCOMPARE(numberOf(bus.waitForCommand(cashbox(), print(), isAboveOne)), 2);
    QCOMPARE(numberOf(bus.waitForCommand(cashbox(), print())), 1);
    const auto isAboveThree = [](const TarvexCommand& command) { return numberOf(command) > 3; };
    QVERIFY(!bus.waitForCommand(cashbox(), print(), isAboveThree, SHORT_MS));
}

void TstTestBus::waitForCommand_comingDuringTheWait_isTaken()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QTimer::singleShot(SHORT_MS, this,
                       [&client] { client.sendMessage(commandMessage(cashbox(), print(), numbered(1))); });
    QCOMPARE(numberOf(bus.waitForCommand(cashbox(), print())), 1);
}

void TstTestBus::waitForCommand_refusedByTheBus_isNone()
{
    TestBus bus;
    QVERIFY(bus.start());
    bus.failRequests(u"sendMessage"_s, TarvexError::StorageAccessError);
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(!client.sendMessage(commandMessage(cashbox(), print())));
    QVERIFY(!bus.waitForCommand(cashbox(), print(), SHORT_MS));
    QCOMPARE(toldLine(bus, 0), u"  \"printer\" to \"cashbox\": {\"cmd\":\"print\",\"data\":{}} (refused: 512 Storage access error)"_s);
}

void TstTestBus::waitForCommand_ofTheTestItself_isNone()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(!bus.sendCommand(cashbox(), printer(), print()).isEmpty());
    QVERIFY(!bus.waitForCommand(printer(), print(), SHORT_MS));
}

void TstTestBus::waitForCommand_findsLogLines()
{
    TestBus bus;
    QVERIFY(bus.start());
    Printer service;
    service.doStart();
    QVERIFY(bus.waitForClient(printer()));
    qWarning("out of paper");
    const auto isAboutPaper = [](const TarvexCommand& command) {
        return command.data().value(u"text"_s).toString().contains(u"out of paper"_s);
    };
    const auto line = bus.waitForCommand(tarvex::BUSNAME_LOGGER, u"saveLog"_s, isAboutPaper);
    QVERIFY2(line, qPrintable(bus.errorString()));
    QCOMPARE(line->agent(), printer());
}

void TstTestBus::waitForCommand_timedOut_saysWhatCame()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print(), numbered(1))));
    QVERIFY(client.subscribe(QStringList{cashbox()}));
    bus.ignoreRequests(u"handshake"_s);
    BusClient unheard(BusClient::QUERY_PORT);
    QVERIFY(unheard.sendRequest(u"handshake"_s, {{u"name"_s, cashbox()}}));
    QVERIFY(!bus.waitForCommand(cashbox(), u"printed"_s, SHORT_MS));
    const QString expected = u"the command \"printed\" to \"cashbox\" has not come within 100 ms. "
                             "There: printer on the query port; nobody on the receiver port.\n"
                             "Came and was not taken, 4 in all:\n"
                             "  \"printer\" to \"cashbox\": {\"cmd\":\"print\",\"data\":{\"number\":1}}\n"
                             "  \"cashbox\", handshake: {\"name\":\"cashbox\"} (not answered)\n"
                             "  \"printer\", subscribe: {\"publishers\":[{\"goal\":3,\"name\":\"cashbox\"}]}\n"
                             "  \"printer\", handshake: {\"name\":\"printer\"}"_s;
    QCOMPARE(bus.errorString(), expected);
    bus.clear();
    QVERIFY(!bus.waitForCommand(cashbox(), QString(), 0));
    QCOMPARE(bus.errorString(),
             u"a command to \"cashbox\" has not come within 0 ms. There: printer on the query port; "
             "nobody on the receiver port.\nNothing came that was not taken."_s);
}

void TstTestBus::waitForCommand_timedOut_tellsNoiseLast()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    const QVariantMap line = {{u"text"_s, u"line"_s}};
    QVERIFY(client.sendMessage(commandMessage(cashbox(), u"commandError"_s)));
    QVERIFY(client.saveState(stateOf(QString(), u"idle"_s)));
    QVERIFY(client.sendMessage(commandMessage(tarvex::BUSNAME_LOGGER, u"saveLog"_s, line)));
    QVERIFY(client.sendMessage(commandMessage(tarvex::BUSNAME_LOGGER, u"rotate"_s)));
    QVERIFY(client.sendMessage(commandMessage(tarvex::BUSNAME_TERMINAL_GUI, u"showLogMessage"_s, line)));
    QVERIFY(!bus.waitForCommand(cashbox(), u"printed"_s, 0));
    QStringList lines = bus.errorString().split(QLatin1Char('\n'));
    QVERIFY(lines.value(4).startsWith(QLatin1String("  \"printer\", saveState: {")));
    lines.removeAt(4); // it bears the time
    QCOMPARE(lines.join(QLatin1Char('\n')),
             u"the command \"printed\" to \"cashbox\" has not come within 0 ms. "
             "There: printer on the query port; nobody on the receiver port.\n"
             "Came and was not taken, 6 in all:\n"
             "  \"printer\" to \"cashbox\": {\"cmd\":\"commandError\",\"data\":{}}\n"
             "  \"printer\" to \"logger\": {\"cmd\":\"rotate\",\"data\":{}}\n"
             "  \"printer\" to \"terminal_gui\": "
             "{\"cmd\":\"showLogMessage\",\"data\":{\"text\":\"line\"}}\n"
             "  \"printer\" to \"logger\": {\"cmd\":\"saveLog\",\"data\":{\"text\":\"line\"}}\n"
             "  \"printer\", handshake: {\"name\":\"printer\"}"_s);
}

void TstTestBus::waitForCommand_timedOut_cutsWhatIsLong()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    for (int number = 1; number <= 30; ++number) {
        const QString text = u"number %1 "_s.arg(number) + QString(100000, QLatin1Char('x'));
        QVERIFY(client.sendMessage(plainMessage(cashbox(), text + u" end"_s)));
    }
    QVERIFY(!bus.waitForCommand(cashbox(), print(), 0));
    const QString begin(53, QLatin1Char('x'));
    const QString end(59, QLatin1Char('x'));
    QString expected = u"the command \"print\" to \"cashbox\" has not come within 0 ms. "
                       "There: printer on the query port; nobody on the receiver port.\n"
                       "Came and was not taken, 31 in all:\n"_s;
    for (const int number : {30, 29, 28, 27}) {
        // The text has 100014 characters, 126 of which are shown.
        expected += u"  \"printer\" to \"cashbox\": number %1 %2...(+99888)...%3 end\n"_s.arg(QString::number(number),
                                                                                              begin, end);
    }
    QCOMPARE(bus.errorString(), expected + u"  and 27 more"_s);
}

/// QtTest cuts a message at 1024 bytes, whatever part of it is a tested expression.
void TstTestBus::waitForCommand_timedOut_isShortInBytes_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("one byte") << u"x"_s;
    QTest::newRow("two bytes") << u"\u0436"_s;
    QTest::newRow("three bytes") << u"\u20ac"_s;
    QTest::newRow("four bytes") << u"\U0001f39f"_s;
    QTest::newRow("escaped in JSON") << u"\u0001"_s;
}

void TstTestBus::waitForCommand_timedOut_isShortInBytes()
{
    QFETCH(QString, text);
    TestBus bus;
    QVERIFY(bus.start());
    const QString name = text.repeated(100);
    TarvexQueryHandler client(name);
    QVERIFY(client.open());
    const BusClient receiver(BusClient::RECEIVER_PORT, name);
    const BusClient second(BusClient::QUERY_PORT, name + cashbox());
    for (int number = 1; number <= 12; ++number) {
        QVERIFY(client.sendMessage(commandMessage(name, text.repeated(number * 20))));
    }
    QVERIFY(!bus.waitForCommand(name, text.repeated(1000), 0));
    const QByteArray said = bus.errorString().toUtf8();
    QVERIFY2(said.size() <= 900, said.constData());
    QVERIFY2(said.contains("\nCame and was not taken, 15 in all:\n  \""), said.constData());
    const int shown = said.count("\n  \"");
    QVERIFY2(said.endsWith(u"\n  and %1 more"_s.arg(15 - shown).toUtf8()), said.constData());
    QVERIFY2(!said.contains("\ufffd"), said.constData()); // no character was cut in two
}

void TstTestBus::waitForCommand_timedOut_showsNoControlCharacters()
{
    TestBus bus;
    QVERIFY(bus.start());
    const QString hostile = u"\x1b[2J\nfaked line"_s;
    TarvexQueryHandler client(hostile);
    QVERIFY(client.open());
    QVERIFY(client.sendMessage(plainMessage(hostile, hostile)));
    QVERIFY(!bus.waitForCommand(cashbox(), print(), 0));
    QCOMPARE(bus.errorString(),
             u"the command \"print\" to \"cashbox\" has not come within 0 ms. There: ?[2J?faked line on the "
             "query port; nobody on the receiver port.\n"
             "Came and was not taken, 2 in all:\n"
             "  \"?[2J?faked line\" to \"?[2J?faked line\": ?[2J?faked line\n"
             "  \"?[2J?faked line\", handshake: {\"name\":\"\\u001b[2J\\nfaked line\"}"_s);
}

void TstTestBus::waitForMessage_takesWhatIsNoCommand()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(client.sendMessage(plainMessage(cashbox(), u"plain words"_s)));
    QVERIFY(!bus.waitForCommand(cashbox(), QString(), SHORT_MS));
    const auto message = bus.waitForMessage(cashbox());
    QVERIFY2(message, qPrintable(bus.errorString()));
    QCOMPARE(message->message(), u"plain words"_s);
    QCOMPARE(message->sender(), printer());
    QVERIFY(!bus.waitForMessage(cashbox(), SHORT_MS));
    QVERIFY(bus.errorString().startsWith(u"a message to \"cashbox\" has not come within 100 ms."_s));
}

void TstTestBus::waitForMessage_withoutAddressee_isFound()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(client.sendMessage(plainMessage(QLatin1String(""), u"to whom it may concern"_s)));
    const auto message = bus.waitForMessage(QString());
    QVERIFY2(message, qPrintable(bus.errorString()));
    QCOMPARE(message->message(), u"to whom it may concern"_s);
}

void TstTestBus::waitForMessage_falseSender_isTheConnectionsOwn()
{
    TestBus bus;
    QVERIFY(bus.start());
    BusClient client(BusClient::QUERY_PORT, printer());
    Message message = plainMessage(cashbox(), u"from somebody else"_s);
    message.setSender(u"display"_s);
    QCOMPARE(client.ask(u"sendMessage"_s, message.toVariantMap()).code, 0);
    QCOMPARE(bus.waitForMessage(cashbox()).value_or(Message()).sender(), printer());
}

void TstTestBus::waitForState_takesTheNextReport()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(client.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(client.saveState(stateOf(QString(), u"2"_s)));
    QCOMPARE(bus.waitForState(printer()).value_or(ClientState()).state(), u"1"_s);
    QCOMPARE(bus.waitForState(printer()).value_or(ClientState()).state(), u"2"_s);
    QVERIFY(!bus.waitForState(printer(), SHORT_MS));
}

void TstTestBus::waitForState_filtered_skipsOthers()
{
    TestBus bus;
    QVERIFY(bus.start());
    Printer service;
    service.doStart();
    QVERIFY(bus.waitForClient(printer()));
    for (int number = 1; number <= 3; ++number) {
        QVERIFY(!bus.sendCommand(cashbox(), printer(), print()).isEmpty());
    }
    const auto isTwo = [](const ClientState& state) { return state.state() == QLatin1String("2"); };
    const auto two = bus.waitForState(printer(), isTwo);
    QVERIFY2(two, qPrintable(bus.errorString()));
    QCOMPARE(two->state(), u"2"_s);
    const auto next = bus.waitForState(printer());
    QVERIFY2(next, qPrintable(bus.errorString()));
    QCOMPARE(next->state(), u"3"_s);
    QCOMPARE(bus.state(printer()).value_or(ClientState()).state(), u"3"_s);
}

void TstTestBus::waitForState_timedOut_fails()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(cashbox());
    QVERIFY(client.open());
    QVERIFY(client.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(!bus.waitForState(printer(), SHORT_MS));
    QVERIFY(bus.errorString().startsWith(u"a state of \"printer\" has not come within 100 ms."_s));
    QVERIFY(!bus.waitForState(
        cashbox(), [](const ClientState&) { return false; }, SHORT_MS));
    QVERIFY(bus.errorString().startsWith(u"the state of \"cashbox\" that was wanted has not come"_s));
}

void TstTestBus::waitForState_filtered_tellsWhatItHasSkipped()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(cashbox());
    QVERIFY(client.open());
    QVERIFY(client.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(client.saveState(stateOf(QString(), u"2"_s)));
    QVERIFY(client.sendMessage(plainMessage(printer(), u"later"_s)));
    QVERIFY(!bus.waitForState(
        cashbox(), [](const ClientState& state) { return state.state() == QLatin1String("3"); }, 0));
    QVERIFY2(bus.errorString().contains(QLatin1String("\nCame and was not taken, 4 in all:\n")),
             qPrintable(bus.errorString()));
    QVERIFY2(toldLine(bus, 0).contains(QLatin1String(R"("state":"2")")), qPrintable(bus.errorString()));
    QVERIFY2(toldLine(bus, 1).contains(QLatin1String(R"("state":"1")")), qPrintable(bus.errorString()));
    QCOMPARE(toldLine(bus, 2), u"  \"cashbox\" to \"printer\": later"_s);
}

void TstTestBus::waits_timedOut_tellFirstWhatTheyAreFor()
{
    TestBus bus;
    QVERIFY(bus.start());
    bus.failRequests(u"handshake"_s, TarvexError::UnregisteredClient, printer());
    BusClient refused(BusClient::QUERY_PORT);
    QCOMPARE(refused.ask(u"handshake"_s, {{u"name"_s, printer()}}).code, 3);
    TarvexQueryHandler client(cashbox());
    QVERIFY(client.open());
    const QString uid = bus.sendCommand(cashbox(), cashbox(), print());
    QVERIFY(client.sendMessage(plainMessage(cashbox(), u"to itself"_s)));
    bus.failRequests(u"saveSettings"_s, TarvexError::StorageAccessError);
    QVERIFY(!client.saveSettings(settingsOf(QString())));
    QVERIFY(client.sendMessage(plainMessage(printer(), u"the latest"_s)));

    const QString handshake = uR"(  "printer", handshake: {"name":"printer"} (refused: 3 Unregisterd client))"_s;
    QVERIFY(!bus.waitForClient(printer(), 0));
    QCOMPARE(toldLine(bus, 0), handshake);
    QVERIFY(!bus.waitForRequest(printer(), u"loadState"_s, 0));
    QCOMPARE(toldLine(bus, 0), handshake);
    QVERIFY(!bus.waitForReply(uid, 0));
    QCOMPARE(toldLine(bus, 0), u"  \"cashbox\" to \"cashbox\": to itself"_s);
    QVERIFY(!bus.waitForCommand(cashbox(), print(), 0));
    QCOMPARE(toldLine(bus, 0), u"  \"cashbox\" to \"cashbox\": to itself"_s);
    QVERIFY(!bus.waitForMessage(tarvex::BUSNAME_MONITORING, 0));
    QCOMPARE(toldLine(bus, 0), u"  \"cashbox\" to \"printer\": the latest"_s);
    QVERIFY(!bus.waitForAcknowledged(bus.sendCommand(cashbox(), printer(), print()), 0));
    QCOMPARE(toldLine(bus, 0), handshake);
    QVERIFY(!bus.waitForSettings(cashbox(), 0));
    QVERIFY2(toldLine(bus, 0).startsWith(QLatin1String("  \"cashbox\", saveSettings: {"))
                 && toldLine(bus, 0).endsWith(QLatin1String(" (refused: 512 Storage access error)")),
             qPrintable(bus.errorString()));
}

void TstTestBus::waitForSettings_findsWhatTheServiceSaves()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(bus.saveSettings(settingsOf(printer()))); // the test's own, not to be found
    Printer service;
    service.doStart();
    QVERIFY(!bus.sendCommand(cashbox(), printer(), u"store"_s).isEmpty());
    const auto settings = bus.waitForSettings(printer());
    QVERIFY2(settings, qPrintable(bus.errorString()));
    QCOMPARE(settings->description(), u"stored by the printer"_s);
    QCOMPARE(bus.settings(printer()).value_or(ClientSettings()).description(), u"stored by the printer"_s);
}

void TstTestBus::waitForSettings_timedOut_fails()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(!bus.waitForSettings(printer(), SHORT_MS));
    QVERIFY(bus.errorString().startsWith(u"settings of \"printer\" have not come within 100 ms."_s));
}

void TstTestBus::waitForRequest_findsAnyOperation()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    ClientState state;
    QVERIFY(!client.loadState(cashbox(), state)); // refused, and found all the same
    const auto data = bus.waitForRequest(printer(), u"loadState"_s);
    QVERIFY2(data, qPrintable(bus.errorString()));
    QCOMPARE(*data, (QVariantMap{{u"owner"_s, cashbox()}}));
    QVERIFY(bus.waitForRequest(printer(), u"handshake"_s));
    QVERIFY(!bus.waitForRequest(printer(), u"handshake"_s, SHORT_MS));
}

void TstTestBus::waitForRequest_timedOut_fails()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(!bus.waitForRequest(cashbox(), u"handshake"_s, SHORT_MS));
    QVERIFY(bus.errorString().startsWith(u"the request \"handshake\" of \"cashbox\" has not come within 100 ms."_s));
}

void TstTestBus::clear_forgetsWhatCame()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print(), numbered(1))));
    bus.clear();
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print(), numbered(2))));
    QCOMPARE(numberOf(bus.waitForCommand(cashbox(), print())), 2);
}

void TstTestBus::dropConnections_ofOne_comesBackAndGetsItsMessage()
{
    TestBus bus;
    QVERIFY(bus.start());
    const BusClient other(BusClient::QUERY_PORT, cashbox());
    Printer service;
    service.doStart();
    QVERIFY(bus.waitForClient(printer()));
    bus.dropConnections(printer());
    const QString uid = bus.sendCommand(cashbox(), printer(), print());
    QVERIFY2(bus.waitForClient(printer()), qPrintable(bus.errorString()));
    QVERIFY2(bus.waitForAcknowledged(uid), qPrintable(bus.errorString()));
    QVERIFY(bus.waitForClient(cashbox(), 0, TestBus::Connections::Query));
    QVERIFY(!other.hasBytes());
}

void TstTestBus::dropConnections_ofAll_dropsEverybody()
{
    TestBus bus;
    QVERIFY(bus.start());
    BusClient one(BusClient::QUERY_PORT, printer());
    BusClient other(BusClient::RECEIVER_PORT, cashbox());
    bus.dropConnections();
    QVERIFY(one.waitForClose());
    QVERIFY(other.waitForClose());
    QVERIFY(bus.waitForDisconnected(printer(), 0));
    QVERIFY(BusClient(BusClient::QUERY_PORT, printer()).isConnected());
}

void TstTestBus::refuseConnections_keepsWhoIsThere()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(bus.refuseConnections(true));
    QVERIFY(!canConnect());
    QVERIFY(client.saveState(stateOf(QString(), u"here"_s)));
    QVERIFY2(bus.refuseConnections(false), qPrintable(bus.errorString()));
    QVERIFY(canConnect());
}

void TstTestBus::refuseConnections_portTaken_fails()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(bus.refuseConnections(true));
    const FakeBus occupant(FakeBus::RECEIVER_PORT);
    QVERIFY(!bus.refuseConnections(false));
    QVERIFY2(bus.errorString().contains(u"45537"_s), qPrintable(bus.errorString()));
    QVERIFY(bus.isRunning());
}

void TstTestBus::refuseConnections_endsWithRestart()
{
    TestBus bus;
    QVERIFY(bus.start());
    QVERIFY(bus.refuseConnections(true));
    QVERIFY(bus.start());
    QVERIFY(canConnect());
    QVERIFY(bus.refuseConnections(true));
    QVERIFY(bus.restart());
    QVERIFY(canConnect());
}

void TstTestBus::failRequests_ofOneOperation_failsThatAlone()
{
    TestBus bus;
    QVERIFY(bus.start());
    bus.failRequests(u"saveState"_s, TarvexError::StorageAccessError);
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(!client.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(!bus.state(printer()));
    QVERIFY(!bus.waitForState(printer(), 0));
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print())));
    bus.serveRequests();
    QVERIFY(client.saveState(stateOf(QString(), u"2"_s)));
    QCOMPARE(bus.waitForState(printer()).value_or(ClientState()).state(), u"2"_s);
}

void TstTestBus::failRequests_ofOneClient_sparesOthers()
{
    TestBus bus;
    QVERIFY(bus.start());
    bus.failRequests(u"saveState"_s, TarvexError::StorageAccessError, printer());
    TarvexQueryHandler one(printer());
    TarvexQueryHandler other(cashbox());
    QVERIFY(one.open() && other.open());
    QVERIFY(!one.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(other.saveState(stateOf(QString(), u"1"_s)));
}

void TstTestBus::failRequests_everything_latestRuleCounts()
{
    TestBus bus;
    QVERIFY(bus.start());
    BusClient client(BusClient::QUERY_PORT, printer());
    bus.failRequests(u"loadState"_s, TarvexError::InvalidDataStorage);
    bus.failRequests(QString(), TarvexError::StorageAccessError, printer());
    const QVariantMap owner{{u"owner"_s, cashbox()}};
    QCOMPARE(client.ask(u"loadState"_s, owner).code, 512);
    QCOMPARE(client.ask(u"loadSettings"_s, owner).code, 512);
    bus.failRequests(u"loadState"_s, TarvexError::InvalidDataStorage);
    QCOMPARE(client.ask(u"loadState"_s, owner).code, 256);
}

void TstTestBus::failRequests_handshake_keepsServiceOutside()
{
    TestBus bus;
    QVERIFY(bus.start());
    bus.failRequests(u"handshake"_s, TarvexError::UnregisteredClient, printer());
    Printer service;
    service.doStart();
    // One for each connection.
    QVERIFY2(bus.waitForRequest(printer(), u"handshake"_s), qPrintable(bus.errorString()));
    QVERIFY2(bus.waitForRequest(printer(), u"handshake"_s), qPrintable(bus.errorString()));
    QVERIFY(bus.waitForDisconnected(printer(), 0));
    bus.serveRequests();
    QVERIFY2(bus.waitForClient(printer()), qPrintable(bus.errorString()));
}

void TstTestBus::failRequests_beforeStart_holds()
{
    TestBus bus;
    bus.failRequests(u"handshake"_s, TarvexError::UnregisteredClient);
    QVERIFY(bus.start());
    QVERIFY(!BusClient(BusClient::QUERY_PORT, printer()).isConnected());
    QVERIFY(bus.restart());
    QVERIFY(!BusClient(BusClient::QUERY_PORT, printer()).isConnected());
}

void TstTestBus::failRequests_doesNotTouchTheTest()
{
    TestBus bus;
    QVERIFY(bus.start());
    bus.failRequests(QString(), TarvexError::StorageAccessError);
    QVERIFY2(bus.saveSettings(settingsOf(printer())), qPrintable(bus.errorString()));
    QVERIFY(bus.settings(printer()));
}

void TstTestBus::ignoreRequests_getNoReply()
{
    TestBus bus;
    QVERIFY(bus.start());
    BusClient client(BusClient::QUERY_PORT, printer());
    bus.ignoreRequests(u"saveState"_s, printer());
    QVERIFY(client.sendRequest(u"saveState"_s, stateOf(printer(), u"1"_s).toVariantMap()));
    QVERIFY2(bus.waitForRequest(printer(), u"saveState"_s), qPrintable(bus.errorString()));
    // Requests are answered in order: had there been a reply, it would come first.
    const BusClient::Frame reply = client.ask(u"loadState"_s, {{u"owner"_s, printer()}});
    QCOMPARE(reply.operation, u"loadState"_s);
    QCOMPARE(reply.code, 5);
}

void TstTestBus::wait_runsTheEventLoop()
{
    TestBus bus;
    QVERIFY(bus.start());
    bool hasTicked = false;
    QTimer::singleShot(0, this, [&hasTicked] { hasTicked = true; });
    const QPointer<QObject> doomed(new QObject);
    doomed->deleteLater();
    QVERIFY(!bus.waitForClient(printer(), SHORT_MS));
    QVERIFY(hasTicked);
    QVERIFY(doomed.isNull());
}

void TstTestBus::wait_afterQuit_stillWaits()
{
    TestBus bus;
    QVERIFY(bus.start());
    QCoreApplication::quit();
    TarvexQueryHandler client(printer());
    QTimer::singleShot(SHORT_MS, this, [&client] { client.open(); });
    QVERIFY2(bus.waitForClient(printer(), TestBus::DEFAULT_TIMEOUT_MS, TestBus::Connections::Query),
             qPrintable(bus.errorString()));
}

void TstTestBus::wait_noTime_looksOnce()
{
    TestBus bus;
    QVERIFY(bus.start());
    TarvexQueryHandler client(printer());
    QVERIFY(client.open());
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print())));
    QVERIFY(bus.waitForCommand(cashbox(), print(), 0));
    QVERIFY(!bus.waitForCommand(cashbox(), print(), 0));
    QVERIFY(!bus.waitForCommand(cashbox(), print(), -1));
}

void TstTestBus::wait_manyThatNobodyTakes_findsTheOne()
{
    TestBus bus;
    QVERIFY(bus.start());
    BusClient client(BusClient::QUERY_PORT, printer()); // the library's own takes 10 ms for each
    for (int number = 0; number < 5000; ++number) {
        const Message message = commandMessage(cashbox(), print(), numbered(number));
        QCOMPARE(client.ask(u"sendMessage"_s, message.toVariantMap()).code, 0);
    }
    const auto isLast = [](const TarvexCommand& command) { return numberOf(command) == 4999; };
    QVERIFY2(bus.waitForCommand(cashbox(), print(), isLast), qPrintable(bus.errorString()));
    QCOMPARE(numberOf(bus.waitForCommand(cashbox(), print())), 0);
}

QTEST_GUILESS_MAIN(TstTestBus)
#include "tst_testbus.moc"
