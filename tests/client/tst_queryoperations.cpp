#include "client/tarvexqueryhandler.h"

#include "fakebus.h"
#include "literals.h"
#include "logcapture.h"

#include <QCryptographicHash>
#include <QTest>

#include <cstdlib>
#include <functional>
#include <memory>

using namespace tarvex;

namespace {

using Call = std::function<bool(TarvexQueryHandler&)>;
using Publishers = QList<QPair<QString, qint32>>;

const QDateTime SOME_TIME(QDate(2024, 3, 5), QTime(7, 8, 9, 10));
const QString SOME_TIME_TEXT = u"2024-03-05T07:08:09.010"_s;

ClientSettings someSettings(const QString& owner)
{
    ClientSettings settings;
    settings.setOwner(owner);
    settings.setDt(SOME_TIME);
    settings.setDescription(u"about"_s);
    settings.setMailOwner(false);
    settings.setFormattedSettings({{u"net"_s, QVariantMap{{u"host"_s, u"h"_s}}}}, true);
    return settings;
}

QVariantMap someSettingsMap(const QString& owner)
{
    const QVariantMap entry{{u"group"_s, u"net"_s}, {u"key"_s, u"host"_s}, {u"value"_s, u"h"_s}};
    return {{u"owner"_s, owner},
            {u"date"_s, SOME_TIME_TEXT},
            {u"description"_s, u"about"_s},
            {u"mailOwner"_s, 0.0},
            {u"settings"_s, QVariantList{entry}}};
}

Message someMessage()
{
    Message message;
    message.setSender(u"other"_s);
    message.setReciever(u"logger"_s);
    message.setDt(SOME_TIME);
    message.setMessage(u"text"_s);
    message.setUid(u"u1"_s);
    return message;
}

QVariantMap publisher(const QString& name, int goal)
{
    return {{u"name"_s, name}, {u"goal"_s, double(goal)}};
}

QVariantMap single(const char* key, const QVariant& value)
{
    return {{QString::fromLatin1(key), value}};
}

/// The identifiers that \a message can have been given between two moments, in ms.
QStringList uidsMadeBetween(qint64 first, qint64 last, const Message& message)
{
    QStringList uids;
    for (qint64 clock = first; clock <= last; ++clock) {
        // The generator is seeded with the second, which may have been the one before.
        for (const qint64 second : {clock / 1000, clock / 1000 - 1}) {
            std::srand(static_cast<unsigned>(second));
            quint32 sum = 0;
            for (int draw = 0; draw < 3; ++draw) {
                sum += static_cast<quint32>(std::rand());
            }
            const QString ingredients = u"MESSAGE"_s + message.sender() + message.reciever()
                + message.dt().toString(Qt::ISODate) + message.message() + QString::number(clock)
                + QString::number(static_cast<qint32>(sum) / 3);
            uids.append(QString::fromLatin1(
                QCryptographicHash::hash(ingredients.toUtf8(), QCryptographicHash::Md5).toBase64()));
        }
    }
    return uids;
}

QDateTime dateOf(const FakeBus::Request& request)
{
    return QDateTime::fromString(request.data.value(u"date"_s).toString(), u"yyyy-MM-ddThh:mm:ss.zzz"_s);
}

} // namespace

Q_DECLARE_METATYPE(Call)

/// What each operation asks the server, and what it makes of the answer.
class TstQueryoperations : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void operation_asksExactly_data();
    void operation_asksExactly();
    void operation_refused_returnsFalse_data();
    void operation_refused_returnsFalse();
    void saveState_fillsInOwnerAndInvalidDate();
    void saveState_doesNotChangeCallersRecord();
    void saveSettings_list_triesEach();
    void saveSettings_emptyList_succeedsWithoutExchange();
    void removeSettings_byOwner_sendsFreshRecord_data();
    void removeSettings_byOwner_sendsFreshRecord();
    void sendMessage_makesMissingUid_data();
    void sendMessage_makesMissingUid();
    void sendMessage_makesUidOfTheCallersRecord();
    void sendMessage_doesNotChangeCallersRecord();
    void subscribe_emptyList_succeedsWithoutExchange();
    void loadSettings_readsRecord();
    void loadSettings_refused_leavesRecordUntouched();
    void loadState_readsRecord();
    void loadState_refused_leavesRecordUntouched();
    void loadSettingsList_appends();
    void loadSettingsList_elementThatIsNoMap_isAppendedAllTheSame();
    void loadSettingsList_refused_leavesListUntouched();
    void slots_canBeInvokedByName();

private:
    std::unique_ptr<FakeBus> m_bus;
    std::unique_ptr<TarvexQueryHandler> m_handler;
};

void TstQueryoperations::init()
{
    m_bus = std::make_unique<FakeBus>();
    m_handler = std::make_unique<TarvexQueryHandler>(u"printer"_s);
    QVERIFY(m_handler->open());
}

void TstQueryoperations::cleanup()
{
    m_handler.reset();
    m_bus.reset();
}

void TstQueryoperations::operation_asksExactly_data()
{
    QTest::addColumn<Call>("call");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("data");
    const auto row = [](const char* name, const Call& call, const char* operation, const QVariantMap& data) {
        QTest::newRow(name) << call << QString::fromLatin1(operation) << data;
    };
    const QString a = u"a"_s;
    const QString b = u"b"_s;
    const QString own = u"printer"_s;

    row("saveState",
        [](TarvexQueryHandler& handler) {
            ClientState state;
            state.setOwner(u"somebody else"_s);
            state.setDt(SOME_TIME);
            state.setStateType(static_cast<ClientState::EStateType>(3));
            state.setState(u"{}"_s);
            state.setDescription(u"d"_s);
            return handler.saveState(state);
        },
        "saveState",
        {{u"owner"_s, own},
         {u"date"_s, SOME_TIME_TEXT},
         {u"type"_s, 3.0},
         {u"state"_s, u"{}"_s},
         {u"description"_s, u"d"_s}});
    row(
        "saveSettings", [=](TarvexQueryHandler& handler) { return handler.saveSettings(someSettings(a)); },
        "saveSettings", someSettingsMap(a));
    row(
        "saveSettings without owner",
        [](TarvexQueryHandler& handler) { return handler.saveSettings(someSettings(QString())); }, "saveSettings",
        someSettingsMap(QString()));
    row(
        "removeSettings record", [=](TarvexQueryHandler& handler) { return handler.removeSettings(someSettings(a)); },
        "removeSettings", someSettingsMap(a));
    row("sendMessage", [](TarvexQueryHandler& handler) { return handler.sendMessage(someMessage()); }, "sendMessage",
        {{u"sender"_s, own},
         {u"reciever"_s, u"logger"_s},
         {u"date"_s, SOME_TIME_TEXT},
         {u"message"_s, u"text"_s},
         {u"UID"_s, u"u1"_s}});
    row(
        "subscribe pairs",
        [=](TarvexQueryHandler& handler) {
            return handler.subscribe(Publishers{{b, 1}, {a, -2}});
        },
        "subscribe", single("publishers", QVariantList{publisher(b, 1), publisher(a, -2)}));
    row(
        "subscribe names",
        [=](TarvexQueryHandler& handler) {
            return handler.subscribe(QStringList{b, a});
        },
        "subscribe", single("publishers", QVariantList{publisher(b, 3), publisher(a, 3)}));
    row(
        "subscribe one", [=](TarvexQueryHandler& handler) { return handler.subscribe(a, 2); }, "subscribe",
        single("publishers", QVariantList{publisher(a, 2)}));
    row(
        "unsubscribe",
        [=](TarvexQueryHandler& handler) {
            return handler.unsubscribe({b, a});
        },
        "unsubscribe", single("publishers", QVariantList{b, a}));
    row(
        "unsubscribe nobody", [](TarvexQueryHandler& handler) { return handler.unsubscribe({}); }, "unsubscribe",
        single("publishers", QVariantList()));
    row(
        "loadSettings",
        [=](TarvexQueryHandler& handler) {
            ClientSettings settings;
            return handler.loadSettings(a, settings);
        },
        "loadSettings", single("owner", a));
    row(
        "loadSettings own",
        [](TarvexQueryHandler& handler) {
            ClientSettings settings;
            return handler.loadSettings(QString(), settings);
        },
        "loadSettings", single("owner", own));
    row(
        "loadState",
        [=](TarvexQueryHandler& handler) {
            ClientState state;
            return handler.loadState(a, state);
        },
        "loadState", single("owner", a));
    row(
        "loadState own",
        [](TarvexQueryHandler& handler) {
            ClientState state;
            return handler.loadState(QString(), state);
        },
        "loadState", single("owner", own));
    row(
        "loadSettings list",
        [=](TarvexQueryHandler& handler) {
            QList<ClientSettings> list;
            return handler.loadSettings(QStringList{a, b}, list);
        },
        "loadSettingsList", single("owners", u"a,b"_s));
    row(
        "loadSettings list own",
        [](TarvexQueryHandler& handler) {
            QList<ClientSettings> list;
            return handler.loadSettings(QStringList(), list);
        },
        "loadSettingsList", single("owners", own));
}

void TstQueryoperations::operation_asksExactly()
{
    QFETCH(Call, call);
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    m_bus->willReply(operation);
    const LogCapture log;
    QVERIFY(call(*m_handler));
    QCOMPARE(m_bus->requests().size(), 1);
    const QVariantMap envelope{{u"operation"_s, operation}, {u"data"_s, data}};
    QCOMPARE(m_bus->requests().constFirst().envelope, envelope);
    QCOMPARE(log.texts(), QStringList());
}

void TstQueryoperations::operation_refused_returnsFalse_data()
{
    operation_asksExactly_data();
}

void TstQueryoperations::operation_refused_returnsFalse()
{
    QFETCH(Call, call);
    QFETCH(QString, operation);
    m_bus->willReply(operation, 512, u"Storage access error"_s);
    const LogCapture log;
    QVERIFY(!call(*m_handler));
    QVERIFY(log.texts().constFirst().startsWith(u"critical: 512 \tStorage access error"_s));
    QCOMPARE(log.texts().size(), operation == QLatin1String("loadSettingsList") ? 2 : 1);
}

void TstQueryoperations::saveState_fillsInOwnerAndInvalidDate()
{
    m_bus->willReply(u"saveState"_s);
    const QDateTime before = QDateTime::currentDateTime();
    QVERIFY(m_handler->saveState(ClientState()));
    const QDateTime after = QDateTime::currentDateTime();
    const FakeBus::Request request = m_bus->requests().constFirst();
    QCOMPARE(request.data.value(u"owner"_s).toString(), u"printer"_s);
    QVERIFY(dateOf(request) >= before && dateOf(request) <= after);
    QCOMPARE(request.data.value(u"type"_s).toInt(), -1);
}

void TstQueryoperations::saveState_doesNotChangeCallersRecord()
{
    m_bus->willReply(u"saveState"_s);
    const ClientState state;
    QVERIFY(m_handler->saveState(state));
    QCOMPARE(state, ClientState());
}

void TstQueryoperations::saveSettings_list_triesEach()
{
    const QString operation = u"saveSettings"_s;
    m_bus->willReply(operation);
    m_bus->willReply(operation, 512, u"Storage access error"_s);
    m_bus->willReply(operation);
    const QList<ClientSettings> list{someSettings(u"a"_s), someSettings(u"b"_s), someSettings(u"c"_s)};
    const LogCapture log;
    QVERIFY(!m_handler->saveSettings(list));
    QCOMPARE(m_bus->requests().size(), 3);
    QCOMPARE(m_bus->requests().constLast().data, someSettingsMap(u"c"_s));
    QCOMPARE(log.texts().size(), 1);

    for (int i = 0; i < 3; ++i) {
        m_bus->willReply(operation);
    }
    QVERIFY(m_handler->saveSettings(list));
    QCOMPARE(m_bus->requests().size(), 6);
}

void TstQueryoperations::saveSettings_emptyList_succeedsWithoutExchange()
{
    QVERIFY(m_handler->saveSettings(QList<ClientSettings>()));
    QCOMPARE(m_bus->requests().size(), 0);
}

void TstQueryoperations::removeSettings_byOwner_sendsFreshRecord_data()
{
    QTest::addColumn<Call>("call");
    QTest::addColumn<int>("mailOwner");
    const QString owner = u"cashbox"_s;
    QTest::newRow("owner") << Call([=](TarvexQueryHandler& handler) { return handler.removeSettings(owner); }) << 1;
    QTest::newRow("mail") << Call([=](TarvexQueryHandler& handler) { return handler.removeSettings(owner, true); })
                          << 1;
    QTest::newRow("no mail") << Call([=](TarvexQueryHandler& handler) { return handler.removeSettings(owner, false); })
                             << 0;
}

void TstQueryoperations::removeSettings_byOwner_sendsFreshRecord()
{
    QFETCH(Call, call);
    QFETCH(int, mailOwner);
    m_bus->willReply(u"removeSettings"_s);
    const QDateTime before = QDateTime::currentDateTime();
    QVERIFY(call(*m_handler));
    const QDateTime after = QDateTime::currentDateTime();
    const FakeBus::Request request = m_bus->requests().constFirst();
    QCOMPARE(request.operation, u"removeSettings"_s);
    QVERIFY(dateOf(request) >= before && dateOf(request) <= after);
    QVariantMap data = request.data;
    data.remove(u"date"_s);
    const QVariantMap expected{{u"owner"_s, u"cashbox"_s},
                               {u"description"_s, QString()},
                               {u"settings"_s, QVariantList()},
                               {u"mailOwner"_s, double(mailOwner)}};
    QCOMPARE(data, expected);
}

void TstQueryoperations::sendMessage_makesMissingUid_data()
{
    QTest::addColumn<QString>("uid");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QString(QLatin1String(""));
}

void TstQueryoperations::sendMessage_makesMissingUid()
{
    QFETCH(QString, uid);
    m_bus->willReply(u"sendMessage"_s);
    Message message = someMessage();
    message.setUid(uid);
    QVERIFY(m_handler->sendMessage(message));
    const QString made = m_bus->requests().constFirst().data.value(u"UID"_s).toString();
    QCOMPARE(made.size(), 24);
    QVERIFY(made.endsWith(u"=="_s));
}

// The sender that the caller left in the record is an ingredient of the identifier, and replaced after that.
void TstQueryoperations::sendMessage_makesUidOfTheCallersRecord()
{
    m_bus->willReply(u"sendMessage"_s);
    Message message = someMessage();
    message.setUid(QString());
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(m_handler->sendMessage(message));
    const QStringList candidates = uidsMadeBetween(before, QDateTime::currentMSecsSinceEpoch(), message);
    const QVariantMap data = m_bus->requests().constFirst().data;
    QVERIFY(candidates.contains(data.value(u"UID"_s).toString()));
    QCOMPARE(data.value(u"sender"_s).toString(), u"printer"_s);
}

void TstQueryoperations::sendMessage_doesNotChangeCallersRecord()
{
    m_bus->willReply(u"sendMessage"_s);
    Message message = someMessage();
    message.setUid(QString());
    const Message before = message;
    QVERIFY(m_handler->sendMessage(message));
    QVERIFY(message == before);
}

void TstQueryoperations::subscribe_emptyList_succeedsWithoutExchange()
{
    QVERIFY(m_handler->subscribe(Publishers()));
    QVERIFY(m_handler->subscribe(QStringList()));
    QCOMPARE(m_bus->requests().size(), 0);
    m_handler->close();
    QVERIFY(m_handler->subscribe(Publishers()));
}

void TstQueryoperations::loadSettings_readsRecord()
{
    m_bus->willReply(u"loadSettings"_s, 0, QString(), someSettingsMap(u"a"_s));
    ClientSettings settings;
    QVERIFY(m_handler->loadSettings(u"a"_s, settings));
    QVERIFY(settings == someSettings(u"a"_s));
    QVERIFY(!settings.mailOwner());
}

void TstQueryoperations::loadSettings_refused_leavesRecordUntouched()
{
    m_bus->willReply(u"loadSettings"_s, 5, QString(), someSettingsMap(u"a"_s));
    ClientSettings settings = someSettings(u"mine"_s);
    const LogCapture log;
    QVERIFY(!m_handler->loadSettings(u"a"_s, settings));
    QVERIFY(settings == someSettings(u"mine"_s));
    QCOMPARE(log.texts().size(), 1);
}

void TstQueryoperations::loadState_readsRecord()
{
    ClientState saved;
    saved.setOwner(u"a"_s);
    saved.setDt(SOME_TIME);
    saved.setStateType(static_cast<ClientState::EStateType>(2));
    saved.setState(u"B\u00fccher"_s);
    m_bus->willReply(u"loadState"_s, 0, QString(), saved.toVariantMap());
    ClientState state;
    QVERIFY(m_handler->loadState(u"a"_s, state));
    QCOMPARE(state, saved);
}

void TstQueryoperations::loadState_refused_leavesRecordUntouched()
{
    m_bus->willReply(u"loadState"_s, 5);
    ClientState state;
    state.setState(u"before"_s);
    const LogCapture log;
    QVERIFY(!m_handler->loadState(u"a"_s, state));
    QCOMPARE(state.state(), u"before"_s);
}

void TstQueryoperations::loadSettingsList_appends()
{
    const QVariantList loaded{someSettingsMap(u"b"_s), someSettingsMap(u"a"_s)};
    m_bus->willReply(u"loadSettingsList"_s, 0, QString(), single("settingsList", loaded));
    QList<ClientSettings> list{someSettings(u"first"_s)};
    QVERIFY(m_handler->loadSettings(QStringList{u"b"_s, u"a"_s}, list));
    QCOMPARE(list.size(), 3);
    QCOMPARE(list.at(0).owner(), u"first"_s);
    QVERIFY(list.at(1) == someSettings(u"b"_s));
    QVERIFY(list.at(2) == someSettings(u"a"_s));
}

void TstQueryoperations::loadSettingsList_elementThatIsNoMap_isAppendedAllTheSame()
{
    m_bus->willReply(u"loadSettingsList"_s, 0, QString(),
                     single("settingsList", QVariantList{5, someSettingsMap(u"a"_s)}));
    QList<ClientSettings> list;
    QVERIFY(m_handler->loadSettings(QStringList{u"a"_s}, list));
    QCOMPARE(list.size(), 2);
    QVERIFY(list.constFirst() == ClientSettings::fromVariantMap({}));
}

void TstQueryoperations::loadSettingsList_refused_leavesListUntouched()
{
    m_bus->willReply(u"loadSettingsList"_s, 5, u"There are no settings for client"_s);
    QList<ClientSettings> list{someSettings(u"first"_s)};
    const LogCapture log;
    QVERIFY(!m_handler->loadSettings(QStringList{u"a"_s}, list));
    QCOMPARE(list.size(), 1);
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(log.texts().constLast(), u"critical: Settings list loading error"_s);
}

// As a queued connection from another thread does: the argument types must be known by the names in the signatures.
void TstQueryoperations::slots_canBeInvokedByName()
{
    m_bus->willReply(u"sendMessage"_s);
    m_bus->willReply(u"saveSettings"_s);
    m_bus->willReply(u"subscribe"_s);
    const Message message = someMessage();
    QVERIFY(QMetaObject::invokeMethod(m_handler.get(), "sendMessage", Qt::QueuedConnection,
                                      QGenericArgument("Message", &message)));
    QVERIFY(QMetaObject::invokeMethod(m_handler.get(), "saveSettings", Qt::QueuedConnection,
                                      Q_ARG(QList<ClientSettings>, QList<ClientSettings>{someSettings(u"a"_s)})));
    const Publishers publishers{{u"x"_s, 1}};
    QVERIFY(QMetaObject::invokeMethod(m_handler.get(), "subscribe", Qt::QueuedConnection,
                                      QGenericArgument("QList<QPair<QString,qint32> >", &publishers)));
    QTRY_COMPARE(m_bus->requests().size(), 3);
    QCOMPARE(m_bus->requests().at(1).data, someSettingsMap(u"a"_s));
}

QTEST_GUILESS_MAIN(TstQueryoperations)
#include "tst_queryoperations.moc"
