#include "busclient.h"
#include "busthread.h"
#include "client/tarvexqueryhandler.h"
#include "literals.h"
#include "queryservice.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvex;
using devbus::BusServer;
using devbus::QueryService;

namespace {

QVariantMap json(const char* text)
{
    return QJsonDocument::fromJson(text).object().toVariantMap();
}

QVariantMap owned(const QString& owner)
{
    return {{u"owner"_s, owner}};
}

ClientSettings settingsOf(const QString& owner)
{
    ClientSettings settings;
    settings.setOwner(owner);
    settings.setDescription(u"of "_s + owner);
    QVariantMap values;
    values.insert(u"port"_s, 9100);
    QVariantMap formatted;
    formatted.insert(u"network"_s, values);
    settings.setFormattedSettings(formatted, true);
    return settings;
}

} // namespace

class TstQueryService : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void request_malformed_isRefused_data();
    void request_malformed_isRefused();
    void request_wellFormed_isAccepted_data();
    void request_wellFormed_isAccepted();
    void loadState_nothingStored_saysSo();
    void loadState_stored_givesRecord();
    void loadSettings_nothingStored_saysSo();
    void loadSettingsList_someUnknown_givesFoundInOrder();
    void loadSettingsList_noneKnown_isEmpty();
    void loadSettingsList_beyondAnEnvelope_isRefused();
    void removeSettings_isDoneOnce();
    void request_storageLocked_isRefusedUntilItEnds();
    void request_storageDamaged_isRefused_data();
    void request_storageDamaged_isRefused();
    void clientLibrary_exchangesEverything();
};

void TstQueryService::request_malformed_isRefused_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("data");
    const auto row = [](const char* operation, const char* data) {
        QTest::addRow("%s %s", operation, data) << QString::fromLatin1(operation) << json(data);
    };
    for (const char* const operation : {"saveState", "loadState", "saveSettings", "loadSettings", "removeSettings"}) {
        row(operation, "{}");
        row(operation, R"({"owner":"","date":"2024-03-05T07:08:09.010"})");
        row(operation, R"({"owner":5,"date":"2024-03-05T07:08:09.010"})");
        row(operation, R"({"owner":null,"date":"2024-03-05T07:08:09.010"})");
    }
    row("saveSettings", R"({"owner":"a"})");
    row("saveSettings", R"({"owner":"a","date":""})");
    row("saveSettings", R"({"owner":"a","date":"yesterday"})");
    row("saveSettings", R"({"owner":"a","date":"2024-03-05T07:08:09.010","settings":{}})");
    row("loadSettingsList", "{}");
    row("loadSettingsList", R"({"owners":""})");
    row("loadSettingsList", R"({"owners":",,"})");
    row("loadSettingsList", R"({"owners":["a"]})");
    row("subscribe", "{}");
    row("subscribe", R"({"publishers":"a"})");
    row("subscribe", R"({"publishers":{"name":"a","goal":3}})");
    row("subscribe", R"({"publishers":["a"]})");
    row("subscribe", R"({"publishers":[{"name":"a"}]})");
    row("subscribe", R"({"publishers":[{"goal":3}]})");
    row("subscribe", R"({"publishers":[{"name":"","goal":3}]})");
    row("subscribe", R"({"publishers":[{"name":"a","goal":"3"}]})");
    row("subscribe", R"({"publishers":[{"name":"a","goal":1.5}]})");
    row("subscribe", R"({"publishers":[{"name":"a","goal":4294967299}]})");
    row("subscribe", R"({"publishers":[{"name":"a","goal":3},{}]})");
    row("unsubscribe", "{}");
    row("unsubscribe", R"({"publishers":"a"})");
    row("unsubscribe", R"({"publishers":[5]})");
    row("unsubscribe", R"({"publishers":[{"name":"a"}]})");
    row("sendMessage", "{}");
    row("sendMessage", R"({"message":"x"})");
    row("sendMessage", R"({"reciever":"a"})");
    row("sendMessage", R"({"reciever":5,"message":"x"})");
    row("sendMessage", R"({"reciever":"a","message":{}})");
    row("sendMessage", R"({"reciever":"a","message":"x","UID":5})");

    const QString tooMany = u"a,"_s.repeated(QueryService::MAX_NAMES) + QLatin1Char('a');
    QTest::newRow("too many owners") << u"loadSettingsList"_s << QVariantMap{{u"owners"_s, tooMany}};
    QTest::newRow("too many publishers") << u"unsubscribe"_s
                                         << QVariantMap{{u"publishers"_s, tooMany.split(QLatin1Char(','))}};
}

void TstQueryService::request_malformed_isRefused()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    const BusClient::Frame reply = client.ask(operation, data);
    QCOMPARE(reply.code, 2);
    QCOMPARE(reply.description, u"Incorrect request data"_s);
    QCOMPARE(reply.operation, operation);
    QCOMPARE(reply.envelope.value(u"data"_s), QVariant(QVariantMap()));
}

void TstQueryService::request_wellFormed_isAccepted_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("data");
    const auto row = [](const char* operation, const char* data) {
        QTest::addRow("%s %s", operation, data) << QString::fromLatin1(operation) << json(data);
    };
    row("saveState", R"({"owner":"a"})");
    row("saveState", R"({"owner":"a","type":-1})");
    row("saveState", R"({"owner":"a","type":127,"date":"","state":"x","description":""})");
    row("saveSettings", R"({"owner":"a","date":"2024-03-05T07:08:09.010"})");
    row("saveSettings", R"({"owner":"a","date":"2024-03-05T07:08:09.010","settings":[{"group":"g","key":"k"}]})");
    row("subscribe", R"({"publishers":[]})");
    row("subscribe", R"({"publishers":[{"name":"a","goal":0},{"name":"b","goal":1},{"name":"c","goal":-1}]})");
    row("unsubscribe", R"({"publishers":[]})");
    row("unsubscribe", R"({"publishers":["nobody",""]})");
    row("sendMessage", R"({"reciever":"b","message":""})");
    row("sendMessage", R"({"reciever":"","message":"x","sender":"","UID":"","date":""})");
}

void TstQueryService::request_wellFormed_isAccepted()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    const BusClient::Frame reply = client.ask(operation, data);
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.operation, operation);
    QCOMPARE(reply.envelope.value(u"data"_s), QVariant(QVariantMap()));
}

void TstQueryService::loadState_nothingStored_saysSo()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    const BusClient::Frame reply = client.ask(u"loadState"_s, owned(u"printer"_s));
    QCOMPARE(reply.code, 5);
    QCOMPARE(reply.description, u"There is no state for client"_s);
}

void TstQueryService::loadState_stored_givesRecord()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    const QVariantMap state = json(R"({"owner":"printer","type":-1,"date":"2024-03-05T07:08:09.010",)"
                                   R"("state":"{\"paper\":1}","description":"\u00fc\u20ac"})");
    QCOMPARE(client.ask(u"saveState"_s, state).code, 0);
    const BusClient::Frame reply = client.ask(u"loadState"_s, owned(u"printer"_s));
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.data, state);
}

void TstQueryService::loadSettings_nothingStored_saysSo()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    const BusClient::Frame reply = client.ask(u"loadSettings"_s, owned(u"printer"_s));
    QCOMPARE(reply.code, 5);
    QCOMPARE(reply.description, u"There are no settings for client"_s);
}

void TstQueryService::loadSettingsList_someUnknown_givesFoundInOrder()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    for (const char* const owner : {"a", "b", "c"}) {
        const QVariantMap settings = settingsOf(QString::fromLatin1(owner)).toVariantMap();
        QCOMPARE(client.ask(u"saveSettings"_s, settings).code, 0);
    }
    const BusClient::Frame reply = client.ask(u"loadSettingsList"_s, {{u"owners"_s, u"c,nobody,,a"_s}});
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.data.keys(), QStringList{u"settingsList"_s});
    const QVariantList list = reply.data.value(u"settingsList"_s).toList();
    QCOMPARE(list.size(), 2);
    QCOMPARE(list.at(0).toMap().value(u"owner"_s).toString(), u"c"_s);
    QCOMPARE(list.at(1).toMap().value(u"owner"_s).toString(), u"a"_s);
}

void TstQueryService::loadSettingsList_noneKnown_isEmpty()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    const BusClient::Frame reply = client.ask(u"loadSettingsList"_s, {{u"owners"_s, u"x,y"_s}});
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.data, (QVariantMap{{u"settingsList"_s, QVariantList()}}));
}

// Names may be repeated, and so a short request could ask for more than the memory holds.
void TstQueryService::loadSettingsList_beyondAnEnvelope_isRefused()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    ClientSettings settings = settingsOf(u"a"_s);
    settings.setDescription(QString(1024 * 1024, QLatin1Char('x')));
    QCOMPARE(client.ask(u"saveSettings"_s, settings.toVariantMap()).code, 0);
    const QString owners = u"a,"_s.repeated(40);
    QCOMPARE(client.ask(u"loadSettingsList"_s, {{u"owners"_s, owners}}).code, 512);
    QCOMPARE(client.ask(u"loadSettingsList"_s, {{u"owners"_s, u"a"_s}}).code, 0);
}

void TstQueryService::removeSettings_isDoneOnce()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    const QVariantMap settings = settingsOf(u"a"_s).toVariantMap();
    QCOMPARE(client.ask(u"saveSettings"_s, settings).code, 0);
    QCOMPARE(client.ask(u"removeSettings"_s, owned(u"a"_s)).code, 0);
    QCOMPARE(client.ask(u"loadSettings"_s, owned(u"a"_s)).code, 5);
    QCOMPARE(client.ask(u"removeSettings"_s, owned(u"a"_s)).code, 5);
}

void TstQueryService::request_storageLocked_isRefusedUntilItEnds()
{
    const QTemporaryDir folder;
    BusServer::Options options;
    options.storagePath = folder.filePath(u"bus.sqlite"_s);
    const BusThread bus(options);
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    const QVariantMap settings = settingsOf(u"a"_s).toVariantMap();
    {
        QSqlDatabase other = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"other"_s);
        other.setDatabaseName(options.storagePath);
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec(u"BEGIN IMMEDIATE"_s));
        const BusClient::Frame reply = client.ask(u"saveSettings"_s, settings);
        QCOMPARE(reply.code, 512);
        QCOMPARE(reply.description, u"Storage access error"_s);
        QCOMPARE(client.ask(u"loadSettings"_s, owned(u"a"_s)).code, 5);
        QVERIFY(QSqlQuery(other).exec(u"COMMIT"_s));
        other.close();
    }
    QSqlDatabase::removeDatabase(u"other"_s);
    QCOMPARE(client.ask(u"saveSettings"_s, settings).code, 0);
}

void TstQueryService::request_storageDamaged_isRefused_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("data");
    const QVariantMap publishers = json(R"({"publishers":[{"name":"a","goal":3}]})");
    QTest::newRow("saveState") << u"saveState"_s << owned(u"a"_s);
    QTest::newRow("loadState") << u"loadState"_s << owned(u"a"_s);
    QTest::newRow("saveSettings") << u"saveSettings"_s << settingsOf(u"a"_s).toVariantMap();
    QTest::newRow("loadSettings") << u"loadSettings"_s << owned(u"a"_s);
    QTest::newRow("loadSettingsList") << u"loadSettingsList"_s << json(R"({"owners":"a"})");
    QTest::newRow("removeSettings") << u"removeSettings"_s << owned(u"a"_s);
    QTest::newRow("subscribe") << u"subscribe"_s << publishers;
    QTest::newRow("unsubscribe") << u"unsubscribe"_s << json(R"({"publishers":["a"]})");
    QTest::newRow("sendMessage") << u"sendMessage"_s << json(R"({"reciever":"a","message":"x"})");
}

void TstQueryService::request_storageDamaged_isRefused()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    const QTemporaryDir folder;
    BusServer::Options options;
    options.storagePath = folder.filePath(u"bus.sqlite"_s);
    const BusThread bus(options);
    BusClient client(BusClient::QUERY_PORT, u"client"_s);
    QFile file(options.storagePath);
    QVERIFY(file.open(QIODevice::ReadWrite));
    file.write(QByteArray(static_cast<int>(file.size()), 'x'));
    file.close();
    const BusClient::Frame reply = client.ask(operation, data);
    QCOMPARE(reply.code, 256);
    QCOMPARE(reply.description, u"Invalid data storage"_s);
    QCOMPARE(client.ask(u"dance"_s, {}).code, 4);
}

void TstQueryService::clientLibrary_exchangesEverything()
{
    const BusThread bus;
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());

    ClientState state;
    state.setStateType(static_cast<ClientState::EStateType>(3));
    state.setState(u"ready"_s);
    QVERIFY(handler.saveState(state));
    ClientState loadedState;
    QVERIFY(handler.loadState(QString(), loadedState));
    QCOMPARE(loadedState.state(), u"ready"_s);
    QCOMPARE(loadedState.owner(), u"printer"_s);

    QVERIFY(handler.saveSettings(QList<ClientSettings>{settingsOf(u"printer"_s), settingsOf(u"cashbox"_s)}));
    ClientSettings loaded;
    QVERIFY(handler.loadSettings(QString(), loaded));
    QCOMPARE(loaded.formattedSettings(), settingsOf(QString()).formattedSettings());
    QList<ClientSettings> list;
    QVERIFY(handler.loadSettings(QStringList{u"cashbox"_s, u"printer"_s}, list));
    QCOMPARE(list.size(), 2);
    QCOMPARE(list.at(0).owner(), u"cashbox"_s);
    QVERIFY(handler.removeSettings(u"cashbox"_s));

    QVERIFY(handler.subscribe(QStringList{u"cashbox"_s}));
    QVERIFY(handler.unsubscribe({u"cashbox"_s}));
    Message message;
    message.setReciever(u"cashbox"_s);
    message.setMessage(u"hello"_s);
    QVERIFY(handler.sendMessage(message));
}

QTEST_GUILESS_MAIN(TstQueryService)
#include "tst_queryservice.moc"
