#include "client/tarvexmessagesreciever.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "fakebus.h"
#include "literals.h"
#include "logging/tarvexlogcreator.h"
#include "records/tarvexerror.h"
#include "samples.h"
#include "wirepage.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

#include <functional>

using namespace tarvex;

namespace {

using Call = std::function<bool(TarvexQueryHandler&)>;
using Publishers = QList<QPair<QString, qint32>>;

const QString PRINTER = u"ticket_printer"_s;

/// The JSON text in a frame, as it is written there.
QByteArray jsonIn(const QByteArray& frame)
{
    return qUncompress(QByteArray::fromBase64(frame.mid(frame.lastIndexOf('\n') + 1)));
}

QVariantMap commandData(const QByteArray& text)
{
    return QJsonDocument::fromJson(text).toVariant().toMap().value(u"data"_s).toMap();
}

/// A commands worker without any method.
class HelplessWorker : public AbstractTarvexCommandsWorker
{
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }
};

} // namespace

Q_DECLARE_METATYPE(Call)

/// docs/wire.md against the library: what it sends and what it takes.
class TstWirePage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void handshake_query();
    void handshake_receiver();
    void handshake_refused();
    void operation_data();
    void operation();
    void refusal();
    void pushedMessage();
    void pushedRequest_unknown();
    void command_updateSettings();
    void command_stateChanged();
    void command_logLines();
    void command_error();
    void codes();

private:
    void addOperation(const char* name, const Call& call);
    Call loads(const char* name, const std::function<QVariantMap(TarvexQueryHandler&)>& load) const;

    const WirePage m_page;
};

void TstWirePage::initTestCase()
{
    QCOMPARE(m_page.errorString(), QString());
}

void TstWirePage::handshake_query()
{
    FakeBus bus;
    bus.willAnswerHandshake(
        [this](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(m_page.frame(u"handshake reply"_s)); });
    TarvexQueryHandler handler(PRINTER);
    QVERIFY(handler.open());
    QVERIFY(handler.isOpen());
    QCOMPARE(bus.handshakes().constFirst().frame, m_page.frame(u"handshake request"_s));
}

void TstWirePage::handshake_receiver()
{
    FakeBus bus(FakeBus::RECEIVER_PORT);
    bus.willAnswerHandshake(
        [this](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(m_page.frame(u"handshake reply"_s)); });
    TarvexMessagesReciever receiver(PRINTER);
    QVERIFY(receiver.open());
    QTRY_VERIFY_WITH_TIMEOUT(receiver.isOpen(), 30000);
    QCOMPARE(bus.handshakes().constFirst().frame, m_page.frame(u"handshake request"_s));
}

void TstWirePage::handshake_refused()
{
    FakeBus bus;
    bus.willAnswerHandshake(
        [this](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(m_page.framed(u"handshake refused"_s)); });
    TarvexQueryHandler handler(PRINTER);
    QVERIFY(!handler.open());
    QVERIFY(!handler.isOpen());
}

void TstWirePage::addOperation(const char* name, const Call& call)
{
    QTest::newRow(name) << QString::fromLatin1(name) << call;
}

/// A call that loads a record, which must be the one in the page's reply.
Call TstWirePage::loads(const char* name, const std::function<QVariantMap(TarvexQueryHandler&)>& load) const
{
    return [this, name, load](TarvexQueryHandler& handler) {
        return load(handler) == m_page.data(QString::fromLatin1(name) + u" reply"_s);
    };
}

void TstWirePage::operation_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<Call>("call");

    addOperation("saveSettings", [](TarvexQueryHandler& handler) {
        ClientSettings settings = samples::someSettings(PRINTER);
        settings.setDescription(u"At the door"_s);
        settings.setFormattedSettings({{u"paper"_s, QVariantMap{{u"width"_s, 80}}}}, true);
        return handler.saveSettings(settings);
    });
    addOperation("loadSettings", loads("loadSettings", [](TarvexQueryHandler& handler) {
                     ClientSettings settings;
                     return handler.loadSettings(QString(), settings) ? settings.toVariantMap() : QVariantMap();
                 }));
    addOperation("loadSettingsList", loads("loadSettingsList", [](TarvexQueryHandler& handler) {
                     QList<ClientSettings> list;
                     handler.loadSettings(QStringList{PRINTER, u"cashbox"_s}, list);
                     QVariantList maps;
                     for (const ClientSettings& settings : qAsConst(list)) {
                         maps.append(settings.toVariantMap());
                     }
                     return QVariantMap{{u"settingsList"_s, maps}};
                 }));
    addOperation("removeSettings", [](TarvexQueryHandler& handler) {
        ClientSettings settings;
        settings.setOwner(PRINTER);
        settings.setDt(samples::someTime());
        settings.setMailOwner(false);
        return handler.removeSettings(settings);
    });
    addOperation("saveState", [](TarvexQueryHandler& handler) {
        ClientState state;
        state.setDt(samples::someTime());
        state.setStateType(static_cast<ClientState::EStateType>(0));
        state.setState(u"{\"paperLeft\":97}"_s);
        state.setDescription(u"Waiting"_s);
        return handler.saveState(state);
    });
    addOperation("loadState", loads("loadState", [](TarvexQueryHandler& handler) {
                     ClientState state;
                     return handler.loadState(QString(), state) ? state.toVariantMap() : QVariantMap();
                 }));
    addOperation("subscribe", [](TarvexQueryHandler& handler) {
        return handler.subscribe(Publishers{{u"cashbox"_s, 3}, {u"door_sensor"_s, 1}});
    });
    addOperation("unsubscribe",
                 [](TarvexQueryHandler& handler) { return handler.unsubscribe(QStringList{u"door_sensor"_s}); });
    addOperation("sendMessage", [](TarvexQueryHandler& handler) {
        return handler.sendMessage(samples::someMessage(u"cashbox"_s, u"{\"cmd\":\"count\",\"data\":{\"coin\":50}}"_s,
                                                        u"mYOkT+IW8xeXHrMBHQ6TAg=="_s));
    });
}

void TstWirePage::operation()
{
    QFETCH(const QString, name);
    QFETCH(const Call, call);
    FakeBus bus;
    bus.willSend(m_page.framed(name + u" reply"_s));
    TarvexQueryHandler handler(PRINTER);
    QVERIFY(handler.open());
    QVERIFY(call(handler));
    QCOMPARE(jsonIn(bus.requests().constFirst().frame), m_page.json(name + u" request"_s));
}

void TstWirePage::refusal()
{
    FakeBus bus;
    bus.willSend(m_page.framed(u"loadSettings refused"_s));
    TarvexQueryHandler handler(PRINTER);
    QVERIFY(handler.open());
    ClientSettings settings;
    QTest::ignoreMessage(
        QtCriticalMsg,
        QRegularExpression(u"^5 .*There are no settings for client"_s, QRegularExpression::DotMatchesEverythingOption));
    QVERIFY(!handler.loadSettings(QString(), settings));
    QCOMPARE(jsonIn(bus.requests().constFirst().frame), m_page.json(u"loadSettings request"_s));
}

void TstWirePage::pushedMessage()
{
    FakeBus bus(FakeBus::RECEIVER_PORT);
    bus.willAnswerHandshake([this](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(m_page.frame(u"handshake reply"_s) + m_page.frame(u"pushed message"_s));
    });
    // After the first acknowledgement the bus sends the message again.
    bus.willSend(m_page.frame(u"pushed message"_s));
    TarvexMessagesReciever receiver(u"cashbox"_s);
    QSignalSpy incoming(&receiver, SIGNAL(incomingMessage(Message)));
    QVERIFY(receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(bus.requests().size(), 2, 30000);
    const QList<FakeBus::Request> acknowledgements = bus.requests();
    for (const FakeBus::Request& acknowledgement : acknowledgements) {
        QCOMPARE(acknowledgement.frame, m_page.frame(u"acknowledgement"_s));
    }
    QCOMPARE(incoming.size(), 1);
    const auto message = incoming.constFirst().constFirst().value<Message>();
    QCOMPARE(message.toVariantMap(), m_page.data(u"pushed message"_s));
}

void TstWirePage::pushedRequest_unknown()
{
    FakeBus bus(FakeBus::RECEIVER_PORT);
    bus.willAnswerHandshake([this](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(m_page.framed(u"handshake reply"_s) + m_page.framed(u"unknown pushed request"_s));
    });
    TarvexMessagesReciever receiver(u"cashbox"_s);
    QVERIFY(receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(bus.requests().size(), 1, 30000);
    QCOMPARE(jsonIn(bus.requests().constFirst().frame), m_page.json(u"answer to an unknown pushed request"_s));
}

void TstWirePage::command_updateSettings()
{
    TarvexMsgWorker worker(PRINTER);
    QSignalSpy updateSettings(&worker, SIGNAL(updateSettings()));
    worker.doProcessMessage(samples::someMessage(PRINTER, QString::fromUtf8(m_page.json(u"updateSettings text"_s))));
    QCOMPARE(updateSettings.size(), 1);
}

void TstWirePage::command_stateChanged()
{
    TarvexMsgWorker worker(u"cashbox"_s);
    QSignalSpy stateChanged(&worker, SIGNAL(stateChanged(ClientState)));
    const QByteArray text = m_page.json(u"stateChanged text"_s);
    worker.doProcessMessage(samples::someMessage(u"cashbox"_s, QString::fromUtf8(text)));
    QCOMPARE(stateChanged.size(), 1);
    QCOMPARE(stateChanged.constFirst().constFirst().value<ClientState>().toVariantMap(), commandData(text));
}

void TstWirePage::command_logLines()
{
    TarvexLogCreator creator(PRINTER, nullptr);
    QSignalSpy sent(&creator, SIGNAL(sendMessage(Message)));
    creator.sendMessage(u"WARNING"_s, u"paper is low"_s);
    creator.sendGuiMessage(u"WARNING"_s, u"paper is low"_s);
    QCOMPARE(sent.size(), 2);
    const auto stored = sent.at(0).first().value<Message>();
    QCOMPARE(stored.message().toUtf8(), m_page.json(u"saveLog text"_s));
    QCOMPARE(stored.reciever(), u"logger"_s);
    const auto shown = sent.at(1).first().value<Message>();
    QCOMPARE(shown.message().toUtf8(), m_page.json(u"showLogMessage text"_s));
    QCOMPARE(shown.reciever(), u"terminal_gui"_s);
}

void TstWirePage::command_error()
{
    TarvexCommand command;
    command.setName(u"fold"_s);
    command.setAgent(u"cashbox"_s);
    command.setUid(u"u1"_s);
    command.setData({{u"twice"_s, true}});
    HelplessWorker worker;
    QSignalSpy answers(&worker, SIGNAL(sendCommand(TarvexCommand)));
    worker.exec(command);
    QCOMPARE(answers.size(), 1);
    const Message answer = answers.constFirst().constFirst().value<TarvexCommand>().toOutgoingMessage();
    QCOMPARE(answer.message().toUtf8(), m_page.json(u"commandError text"_s));
    QCOMPARE(answer.reciever(), u"cashbox"_s);
    QCOMPARE(answer.uid(), u"u1"_s);
}

void TstWirePage::codes()
{
    const QList<TarvexError::Error> errors{
        TarvexError::NoError,
        TarvexError::IncorrectRequestSize,
        TarvexError::IncorrectRequestData,
        TarvexError::UnregisteredClient,
        TarvexError::UnsupportedRequest,
        TarvexError::NoSettingsForClient,
        TarvexError::InvalidDataStorage,
        TarvexError::StorageAccessError,
    };
    QMap<int, QString> known;
    for (const TarvexError::Error error : errors) {
        known.insert(error, TarvexError(error).description());
    }
    QCOMPARE(m_page.codes(), known);
}

QTEST_GUILESS_MAIN(TstWirePage)
#include "tst_wirepage.moc"
