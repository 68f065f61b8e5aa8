#include "client/tarvexqueryhandler.h"

#include "fakebus.h"
#include "literals.h"
#include "logcapture.h"
#include "samples.h"

#include <QCryptographicHash>
#include <QTest>

#include <cstdlib>
#include <functional>
#include <memory>

using namespace tarvex;
using namespace samples;

namespace {

using Call = std::function<bool(TarvexQueryHandler&)>;
using Publishers = QList<QPair<QString, qint32>>;

const QString SOME_TIME_TEXT = u"2024-03-05T07:08:09.010"_s;

/// Settings of which the owner is not told. A new record has the flag set.
ClientSettings quietSettings(const QString& owner)
{
    ClientSettings settings = samples::someSettings(owner);
    settings.setMailOwner(false);
    return settings;
}

/// quietSettings() as it crosses the wire.
QVariantMap quietSettingsMap(const QString& owner)
{
    const QVariantMap entry{{u"group"_s, u"net"_s}, {u"key"_s, u"port"_s}, {u"value"_s, 9100.0}};
    return {{u"owner"_s, owner},
            {u"date"_s, SOME_TIME_TEXT},
            {u"description"_s, u"The cash box"_s},
            {u"mailOwner"_s, 0.0},
            {u"settings"_s, QVariantList{entry}}};
}

QVariantMap publisher(const QString& name, int goal)
{
    return {{u"name"_s, name}, {u"goal"_s, double(goal)}};
}

QVariantMap publishers(const QVariantList& list)
{
    return {{u"publishers"_s, list}};
}

QVariantMap loadedList(const QVariantList& settings)
{
    return {{u"settingsList"_s, settings}};
}

/// The identifiers that \a message can have got between two moments, in ms.
QStringList uidsMadeBetween(qint64 first, qint64 last, const Message& message)
{
    QStringList uids;
    for (qint64 clock = first; clock <= last; ++clock) {
        // The generator is seeded with the second. It may have been seeded in the second before.
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
    void saveSettings_list_triesEach();
    void removeSettings_byOwner_sendsFreshRecord_data();
    void removeSettings_byOwner_sendsFreshRecord();
    void sendMessage_makesMissingUid_data();
    void sendMessage_makesMissingUid();
    void sendMessage_makesUidOfTheCallersRecord();
    void emptyLists_succeedWithoutExchange();
    void loadSettings_readsRecord();
    void loadState_readsRecord();
    void loadSettingsList_appends();
    void loadSettingsList_elementThatIsNoMap_isAppendedAllTheSame();
    void load_refused_leavesRecordsUntouched();
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
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("data");
    QTest::addColumn<Call>("call");
    const auto row = [](const char* name, const QString& operation, const QVariantMap& data, const Call& call) {
        QTest::newRow(name) << operation << data << call;
    };
    using Handler = TarvexQueryHandler;
    const QString a = u"a"_s;
    const QString b = u"b"_s;
    const QString own = u"printer"_s;
    static ClientSettings settings;
    static ClientState state;
    static QList<ClientSettings> list;

    const QVariantMap stateData{{u"owner"_s, own},
                                {u"date"_s, SOME_TIME_TEXT},
                                {u"type"_s, 3.0},
                                {u"state"_s, u"{\"open\":true}"_s},
                                {u"description"_s, u"The cash box"_s}};
    row("saveState", u"saveState"_s, stateData, [](Handler& h) { return h.saveState(someState(u"somebody else"_s)); });
    row("saveSettings", u"saveSettings"_s, quietSettingsMap(a),
        [=](Handler& h) { return h.saveSettings(quietSettings(a)); });
    row("saveSettings without owner", u"saveSettings"_s, quietSettingsMap(QString()),
        [](Handler& h) { return h.saveSettings(quietSettings(QString())); });
    row("removeSettings record", u"removeSettings"_s, quietSettingsMap(a),
        [=](Handler& h) { return h.removeSettings(quietSettings(a)); });
    const QVariantMap messageData{{u"sender"_s, own},
                                  {u"reciever"_s, own},
                                  {u"date"_s, SOME_TIME_TEXT},
                                  {u"message"_s, u"text"_s},
                                  {u"UID"_s, u"u1"_s}};
    row("sendMessage", u"sendMessage"_s, messageData, [](Handler& h) { return h.sendMessage(someMessage()); });
    row("subscribe pairs", u"subscribe"_s, publishers({publisher(b, 1), publisher(a, -2)}), [=](Handler& h) {
        return h.subscribe(Publishers{{b, 1}, {a, -2}});
    });
    row("subscribe names", u"subscribe"_s, publishers({publisher(b, 3), publisher(a, 3)}), [=](Handler& h) {
        return h.subscribe(QStringList{b, a});
    });
    row("subscribe one", u"subscribe"_s, publishers({publisher(a, 2)}), [=](Handler& h) { return h.subscribe(a, 2); });
    row("unsubscribe", u"unsubscribe"_s, publishers({b, a}), [=](Handler& h) { return h.unsubscribe({b, a}); });
    row("unsubscribe nobody", u"unsubscribe"_s, publishers({}), [](Handler& h) { return h.unsubscribe({}); });
    row("loadSettings", u"loadSettings"_s, owned(a), [=](Handler& h) { return h.loadSettings(a, settings); });
    row("loadSettings own", u"loadSettings"_s, owned(own),
        [](Handler& h) { return h.loadSettings(QString(), settings); });
    row("loadState", u"loadState"_s, owned(a), [=](Handler& h) { return h.loadState(a, state); });
    row("loadState own", u"loadState"_s, owned(own), [](Handler& h) { return h.loadState(QString(), state); });
    row("loadSettings list", u"loadSettingsList"_s, {{u"owners"_s, u"a,b"_s}}, [=](Handler& h) {
        return h.loadSettings(QStringList{a, b}, list);
    });
    row("loadSettings list own", u"loadSettingsList"_s, {{u"owners"_s, own}},
        [](Handler& h) { return h.loadSettings(QStringList(), list); });
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
    const ClientState state;
    QVERIFY(m_handler->saveState(state));
    const QDateTime after = QDateTime::currentDateTime();
    const FakeBus::Request request = m_bus->requests().constFirst();
    QCOMPARE(request.data.value(u"owner"_s).toString(), u"printer"_s);
    QVERIFY(dateOf(request) >= before && dateOf(request) <= after);
    QCOMPARE(request.data.value(u"type"_s).toInt(), -1);
    QCOMPARE(state, ClientState()); // the caller's own record
}

void TstQueryoperations::saveSettings_list_triesEach()
{
    const QString operation = u"saveSettings"_s;
    m_bus->willReply(operation);
    m_bus->willReply(operation, 512, u"Storage access error"_s);
    m_bus->willReply(operation);
    const QList<ClientSettings> list{quietSettings(u"a"_s), quietSettings(u"b"_s), quietSettings(u"c"_s)};
    const LogCapture log;
    QVERIFY(!m_handler->saveSettings(list));
    QCOMPARE(m_bus->requests().size(), 3);
    QCOMPARE(m_bus->requests().constLast().data, quietSettingsMap(u"c"_s));
    QCOMPARE(log.texts().size(), 1);

    for (int i = 0; i < 3; ++i) {
        m_bus->willReply(operation);
    }
    QVERIFY(m_handler->saveSettings(list));
    QCOMPARE(m_bus->requests().size(), 6);
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

// The identifier is made of the sender that the caller left in the record, among other things. The sender is replaced
// after that.
void TstQueryoperations::sendMessage_makesUidOfTheCallersRecord()
{
    m_bus->willReply(u"sendMessage"_s);
    const Message message = someMessage(u"printer"_s, u"text"_s, QString());
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(m_handler->sendMessage(message));
    const QStringList candidates = uidsMadeBetween(before, QDateTime::currentMSecsSinceEpoch(), message);
    const QVariantMap data = m_bus->requests().constFirst().data;
    QVERIFY(candidates.contains(data.value(u"UID"_s).toString()));
    QCOMPARE(data.value(u"sender"_s).toString(), u"printer"_s);
    QVERIFY(message.uid().isEmpty() && message.sender() == u"cashbox"_s); // the caller's own record
}

void TstQueryoperations::emptyLists_succeedWithoutExchange()
{
    QVERIFY(m_handler->saveSettings(QList<ClientSettings>()));
    QVERIFY(m_handler->subscribe(Publishers()));
    QVERIFY(m_handler->subscribe(QStringList()));
    QCOMPARE(m_bus->requests().size(), 0);
    m_handler->close();
    QVERIFY(m_handler->subscribe(Publishers()));
}

void TstQueryoperations::loadSettings_readsRecord()
{
    m_bus->willReply(u"loadSettings"_s, 0, QString(), quietSettingsMap(u"a"_s));
    ClientSettings settings;
    QVERIFY(m_handler->loadSettings(u"a"_s, settings));
    QVERIFY(settings == quietSettings(u"a"_s));
    QVERIFY(!settings.mailOwner());
}

void TstQueryoperations::loadState_readsRecord()
{
    ClientState saved = someState(u"a"_s);
    saved.setState(u"B\u00fccher"_s);
    m_bus->willReply(u"loadState"_s, 0, QString(), saved.toVariantMap());
    ClientState state;
    QVERIFY(m_handler->loadState(u"a"_s, state));
    QCOMPARE(state, saved);
}

void TstQueryoperations::loadSettingsList_appends()
{
    const QVariantList loaded{quietSettingsMap(u"b"_s), quietSettingsMap(u"a"_s)};
    m_bus->willReply(u"loadSettingsList"_s, 0, QString(), loadedList(loaded));
    QList<ClientSettings> list{quietSettings(u"first"_s)};
    QVERIFY(m_handler->loadSettings(QStringList{u"b"_s, u"a"_s}, list));
    QCOMPARE(list.size(), 3);
    QCOMPARE(list.at(0).owner(), u"first"_s);
    QVERIFY(list.at(1) == quietSettings(u"b"_s));
    QVERIFY(list.at(2) == quietSettings(u"a"_s));
}

void TstQueryoperations::loadSettingsList_elementThatIsNoMap_isAppendedAllTheSame()
{
    m_bus->willReply(u"loadSettingsList"_s, 0, QString(), loadedList(QVariantList{5, quietSettingsMap(u"a"_s)}));
    QList<ClientSettings> list;
    QVERIFY(m_handler->loadSettings(QStringList{u"a"_s}, list));
    QCOMPARE(list.size(), 2);
    QVERIFY(list.constFirst() == ClientSettings::fromVariantMap({}));
}

void TstQueryoperations::load_refused_leavesRecordsUntouched()
{
    for (const QString& operation : {u"loadSettings"_s, u"loadState"_s, u"loadSettingsList"_s}) {
        m_bus->willReply(operation, 5, QString(), quietSettingsMap(u"a"_s));
    }
    ClientSettings settings = quietSettings(u"mine"_s);
    QVERIFY(!m_handler->loadSettings(u"a"_s, settings));
    QVERIFY(settings == quietSettings(u"mine"_s));
    ClientState state = someState();
    QVERIFY(!m_handler->loadState(u"a"_s, state));
    QCOMPARE(state, someState());
    QList<ClientSettings> list{quietSettings(u"first"_s)};
    const LogCapture log;
    QVERIFY(!m_handler->loadSettings(QStringList{u"a"_s}, list));
    QCOMPARE(list.size(), 1);
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(log.texts().constLast(), u"critical: Settings list loading error"_s);
}

// A queued connection from another thread does the same: the argument types must be known by the names in the
// signatures.
void TstQueryoperations::slots_canBeInvokedByName()
{
    m_bus->willReply(u"sendMessage"_s);
    m_bus->willReply(u"saveSettings"_s);
    m_bus->willReply(u"subscribe"_s);
    const Message message = someMessage();
    QVERIFY(QMetaObject::invokeMethod(m_handler.get(), "sendMessage", Qt::QueuedConnection,
                                      QGenericArgument("Message", &message)));
    QVERIFY(QMetaObject::invokeMethod(m_handler.get(), "saveSettings", Qt::QueuedConnection,
                                      Q_ARG(QList<ClientSettings>, QList<ClientSettings>{quietSettings(u"a"_s)})));
    const Publishers publishers{{u"x"_s, 1}};
    QVERIFY(QMetaObject::invokeMethod(m_handler.get(), "subscribe", Qt::QueuedConnection,
                                      QGenericArgument("QList<QPair<QString,qint32> >", &publishers)));
    QTRY_COMPARE(m_bus->requests().size(), 3);
    QCOMPARE(m_bus->requests().at(1).data, quietSettingsMap(u"a"_s));
}

QTEST_GUILESS_MAIN(TstQueryoperations)
#include "tst_queryoperations.moc"
