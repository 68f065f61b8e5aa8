#include "mockservices.h"

#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "literals.h"
#include "mockfile.h"
#include "testbus.h"

#include <QElapsedTimer>
#include <QTest>

using namespace tarvex::mock;
using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::Message;
using tarvex::TarvexError;
using tarvex::testing::TestBus;

namespace {

const auto DESCRIPTION = R"({"services": {"printer": {
    "state": {"text": {"left": 3}, "type": 1, "description": "ready"},
    "settings": [{"group": "printer", "key": "copies", "value": 2}],
    "commands": {
        "print": {"reply": {"name": "printed", "data": {"text": "${data.text}"}},
                  "state": {"text": {"last": "${data.text}"}, "type": 2}},
        "fail": {"error": "Out of paper"},
        "ignore": {"silence": true},
        "slow": {"delay": 300, "reply": {}},
        "tomorrow": {"delay": 86400000, "reply": {}},
        "pass": {"silence": true, "send": {"to": "gate", "name": "open", "data": {"for": "${sender}"}}},
        "publish": {"silence": true, "send": {"to": "", "name": "opened"}}
    }}}})";

QString printer()
{
    return u"printer"_s;
}

QString cashbox()
{
    return u"cashbox"_s;
}

/// A commands worker without a single command.
class EmptyWorker : public AbstractTarvexCommandsWorker
{
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }
};

ClientSettings someSettings()
{
    ClientSettings settings;
    settings.setOwner(printer());
    settings.setFormattedSettings({{u"printer"_s, QVariantMap{{u"copies"_s, 9}}}}, true);
    return settings;
}

int copiesIn(const std::optional<ClientSettings>& settings)
{
    return settings.value_or(ClientSettings())
        .formattedSettings()
        .value(u"printer"_s)
        .toMap()
        .value(u"copies"_s)
        .toInt();
}

} // namespace

/// A stand-in among other clients of a bus.
class TstMockService : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void start_storesStateAndSettings();
    void start_keepsStoredSettings();
    void start_replacesStoredSettings();
    void reply_hasTheUidAndTheData();
    void reply_setsTheState();
    void error_isThatOfTheLibrary();
    void unknownCommand_isAnsweredAsByTheLibrary();
    void silence_isNoAnswer();
    void delay_isKept();
    void delay_holdsNobodyUp();
    void sent_goesToTheOther();
    void sent_toNobody_goesToTheSubscribers();
    void answersAndErrors_areNotAnswered();
    void restartedBus_isServedAgain();
    void lostConnection_answersLater();
    void refusedHandshake_isToldAndTriedAgain();
    void refusedSettings_areToldAndItGoesOn();
    void blockedByTheBus_canBeEnded();

private:
    void standIn(const QByteArray& description = DESCRIPTION);
    /// Waits for the next event of this kind. \return it; its service is empty when none has come.
    MockEvent waitFor(MockEvent::Kind kind, int timeoutMs = TestBus::DEFAULT_TIMEOUT_MS);
    QString send(const QString& name, const QVariantMap& data = {});

    std::unique_ptr<TestBus> m_bus;
    std::unique_ptr<QObject> m_receiver;
    std::shared_ptr<MockEvents> m_events;
    std::unique_ptr<MockServices> m_services;
    QList<MockEvent> m_told;
};

void TstMockService::init()
{
    m_bus = std::make_unique<TestBus>();
    QVERIFY2(m_bus->start(), qPrintable(m_bus->errorString()));
    m_receiver = std::make_unique<QObject>();
    m_events = std::make_shared<MockEvents>(m_receiver.get());
    m_told.clear();
}

void TstMockService::cleanup()
{
    m_services.reset();
    m_events->detach();
    m_bus.reset();
}

void TstMockService::standIn(const QByteArray& description)
{
    const MockFile file = mockFileFrom(description);
    QCOMPARE(file.errorLines(QString()), QStringList());
    m_services = std::make_unique<MockServices>(file.services, m_events);
    m_services->doStart();
    QCOMPARE(waitFor(MockEvent::Ready).service, printer());
}

MockEvent TstMockService::waitFor(MockEvent::Kind kind, int timeoutMs)
{
    MockEvent found{kind, {}, {}, {}, {}, {}};
    const auto look = [&] {
        m_told += m_events->take();
        while (found.service.isEmpty() && !m_told.isEmpty()) {
            const MockEvent next = m_told.takeFirst();
            found = next.kind == kind ? next : found;
        }
        return !found.service.isEmpty();
    };
    if (!QTest::qWaitFor(look, timeoutMs)) {
        qWarning("No such event has come");
    }
    return found;
}

QString TstMockService::send(const QString& name, const QVariantMap& data)
{
    return m_bus->sendCommand(cashbox(), printer(), name, data);
}

void TstMockService::start_storesStateAndSettings()
{
    standIn();
    const auto state = m_bus->state(printer());
    QVERIFY(state);
    QCOMPARE(state->state(), u"{\"left\":3}"_s);
    QCOMPARE(int(state->stateType()), 1);
    QCOMPARE(state->description(), u"ready"_s);
    QVERIFY(state->dt().isValid());
    QCOMPARE(copiesIn(m_bus->settings(printer())), 2);
}

void TstMockService::start_keepsStoredSettings()
{
    QVERIFY(m_bus->saveSettings(someSettings()));
    standIn();
    QCOMPARE(copiesIn(m_bus->settings(printer())), 9);
}

void TstMockService::start_replacesStoredSettings()
{
    QVERIFY(m_bus->saveSettings(someSettings()));
    standIn(QByteArray(DESCRIPTION).replace("\"commands\"", "\"replaceSettings\": true, \"commands\""));
    QCOMPARE(copiesIn(m_bus->settings(printer())), 2);
}

void TstMockService::reply_hasTheUidAndTheData()
{
    standIn();
    const QString uid = send(u"print"_s, {{u"text"_s, u"zone A"_s}});
    const auto reply = m_bus->waitForReply(uid);
    QVERIFY2(reply, qPrintable(m_bus->errorString()));
    QCOMPARE(reply->name(), u"printed"_s);
    QCOMPARE(reply->data(), (QVariantMap{{u"text"_s, u"zone A"_s}}));
    const MockEvent event = waitFor(MockEvent::Handled);
    QCOMPARE(event.service, printer());
    QCOMPARE(event.command.name(), u"print"_s);
    QCOMPARE(event.command.agent(), cashbox());
    QCOMPARE(event.answer.name, u"printed"_s);
}

void TstMockService::reply_setsTheState()
{
    standIn();
    send(u"print"_s, {{u"text"_s, u"zone A"_s}});
    const auto state = m_bus->waitForState(printer(), [](const ClientState& next) { return next.stateType() == 2; });
    QVERIFY2(state, qPrintable(m_bus->errorString()));
    QCOMPARE(state->state(), u"{\"last\":\"zone A\"}"_s);
    QCOMPARE(state->description(), u"ready"_s);
}

void TstMockService::error_isThatOfTheLibrary()
{
    standIn();
    const auto reply = m_bus->waitForReply(send(u"fail"_s, {{u"a"_s, 1}}));
    QVERIFY2(reply, qPrintable(m_bus->errorString()));
    QCOMPARE(reply->name(), u"commandError"_s);
    QCOMPARE(reply->data().value(u"command"_s), QVariant(u"fail"_s));
    QCOMPARE(reply->data().value(u"errorText"_s), QVariant(u"Out of paper"_s));
    QCOMPARE(reply->data().value(u"data"_s).toMap().value(u"a"_s).toInt(), 1);
}

void TstMockService::unknownCommand_isAnsweredAsByTheLibrary()
{
    TarvexCommand command;
    command.setName(u"nonsense"_s);
    command.setAgent(cashbox());
    command.setData({{u"a"_s, u"b"_s}});
    TarvexCommand expected;
    EmptyWorker worker;
    connect(&worker, &EmptyWorker::sendCommand, &worker, [&](const TarvexCommand& answer) { expected = answer; });
    worker.exec(command);

    standIn();
    const auto reply = m_bus->waitForReply(send(command.name(), command.data()));
    QVERIFY2(reply, qPrintable(m_bus->errorString()));
    QCOMPARE(reply->name(), expected.name());
    QCOMPARE(reply->data(), expected.data());
}

void TstMockService::silence_isNoAnswer()
{
    standIn();
    const QString uid = send(u"ignore"_s);
    QCOMPARE(waitFor(MockEvent::Handled).answer.kind, Answer::Silence);
    // What comes later is answered, so an answer to the first command would have come.
    QVERIFY2(m_bus->waitForReply(send(u"fail"_s)), qPrintable(m_bus->errorString()));
    QVERIFY(!m_bus->waitForReply(uid, 0));
}

void TstMockService::delay_isKept()
{
    standIn();
    QElapsedTimer sinceSent;
    sinceSent.start();
    QVERIFY2(m_bus->waitForReply(send(u"slow"_s)), qPrintable(m_bus->errorString()));
    QVERIFY(sinceSent.elapsed() >= 299);
}

void TstMockService::delay_holdsNobodyUp()
{
    standIn();
    const QString slow = send(u"tomorrow"_s);
    QVERIFY2(m_bus->waitForReply(send(u"fail"_s)), qPrintable(m_bus->errorString()));
    QVERIFY(!m_bus->waitForReply(slow, 0));
}

void TstMockService::sent_goesToTheOther()
{
    standIn();
    send(u"pass"_s);
    const auto command = m_bus->waitForCommand(u"gate"_s, u"open"_s);
    QVERIFY2(command, qPrintable(m_bus->errorString()));
    QCOMPARE(command->agent(), printer());
    QCOMPARE(command->data(), (QVariantMap{{u"for"_s, cashbox()}}));
    send(u"pass"_s);
    const auto next = m_bus->waitForCommand(u"gate"_s, u"open"_s);
    QVERIFY2(next, qPrintable(m_bus->errorString()));
    QVERIFY(command->uid() != next->uid());
}

void TstMockService::sent_toNobody_goesToTheSubscribers()
{
    standIn();
    send(u"publish"_s);
    const auto command = m_bus->waitForCommand(QString(), u"opened"_s);
    QVERIFY2(command, qPrintable(m_bus->errorString()));
    QCOMPARE(command->agent(), printer());
}

void TstMockService::answersAndErrors_areNotAnswered()
{
    standIn();
    send(u"commandError"_s, {{u"errorText"_s, u"no"_s}});
    send(u"updateSettings"_s);
    send(u"pass"_s);
    const auto passed = m_bus->waitForCommand(u"gate"_s, u"open"_s);
    QVERIFY2(passed, qPrintable(m_bus->errorString()));
    Message answer;
    answer.setSender(u"gate"_s);
    answer.setReciever(printer());
    answer.setUid(passed->uid());
    answer.setMessage(u"{\"cmd\":\"opened\"}"_s);
    QCOMPARE(m_bus->sendMessage(answer), passed->uid());
    Message words = answer;
    words.setUid(QString());
    words.setMessage(u"no command"_s);
    QVERIFY(!m_bus->sendMessage(words).isEmpty());
    send(u"fail"_s);
    QCOMPARE(waitFor(MockEvent::Handled).command.name(), u"pass"_s);
    QCOMPARE(waitFor(MockEvent::Handled).command.name(), u"fail"_s);
}

void TstMockService::restartedBus_isServedAgain()
{
    standIn();
    QVERIFY(m_bus->restart());
    QCOMPARE(waitFor(MockEvent::Lost).service, printer());
    QCOMPARE(waitFor(MockEvent::Ready).service, printer());
    QVERIFY2(m_bus->waitForReply(send(u"fail"_s)), qPrintable(m_bus->errorString()));
}

void TstMockService::lostConnection_answersLater()
{
    standIn();
    const QString uid = send(u"slow"_s);
    QVERIFY2(m_bus->waitForAcknowledged(uid), qPrintable(m_bus->errorString()));
    m_bus->dropConnections(printer());
    QVERIFY2(m_bus->waitForReply(uid), qPrintable(m_bus->errorString()));
}

void TstMockService::refusedHandshake_isToldAndTriedAgain()
{
    m_bus->failRequests(u"handshake"_s, TarvexError::InvalidDataStorage, printer());
    m_services = std::make_unique<MockServices>(mockFileFrom(DESCRIPTION).services, m_events);
    m_services->doStart();
    const MockEvent lost = waitFor(MockEvent::Lost);
    QVERIFY2(lost.words.contains(u"refused"_s), qPrintable(lost.words));
    m_bus->serveRequests();
    QCOMPARE(waitFor(MockEvent::Ready).service, printer());
}

void TstMockService::refusedSettings_areToldAndItGoesOn()
{
    m_bus->failRequests(u"saveSettings"_s, TarvexError::InvalidDataStorage, printer());
    m_services = std::make_unique<MockServices>(mockFileFrom(DESCRIPTION).services, m_events);
    m_services->doStart();
    const MockEvent refused = waitFor(MockEvent::Refused);
    QVERIFY2(refused.words.contains(u"to save the settings"_s), qPrintable(refused.words));
    QCOMPARE(waitFor(MockEvent::Ready).service, printer());
}

void TstMockService::blockedByTheBus_canBeEnded()
{
    standIn();
    m_bus->ignoreRequests(u"sendMessage"_s, printer());
    const QString uid = send(u"fail"_s);
    QVERIFY2(m_bus->waitForAcknowledged(uid), qPrintable(m_bus->errorString()));
    m_services.reset(); // the stand-in is in a wait of 30 s
    QVERIFY(m_bus->isRunning());
}

QTEST_GUILESS_MAIN(TstMockService)

#include "tst_mockservice.moc"
