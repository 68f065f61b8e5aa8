#include "busclient.h"
#include "busthread.h"
#include "client/tarvexqueryhandler.h"
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
    return {{QStringLiteral("owner"), owner}};
}

ClientSettings settingsOf(const QString& owner)
{
    ClientSettings settings;
    settings.setOwner(owner);
    settings.setDescription(QStringLiteral("of ") + owner);
    QVariantMap values;
    values.insert(QStringLiteral("port"), 9100);
    QVariantMap formatted;
    formatted.insert(QStringLiteral("network"), values);
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

    const QString tooMany = QStringLiteral("a,").repeated(QueryService::MAX_NAMES) + QLatin1Char('a');
    QTest::newRow("too many owners") << QStringLiteral("loadSettingsList")
                                     << QVariantMap{{QStringLiteral("owners"), tooMany}};
    QTest::newRow("too many publishers") << QStringLiteral(
        "unsubscribe") << QVariantMap{{QStringLiteral("publishers"), tooMany.split(QLatin1Char(','))}};
}

void TstQueryService::request_malformed_isRefused()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    const BusClient::Frame reply = client.ask(operation, data);
    QCOMPARE(reply.code, 2);
    QCOMPARE(reply.description, QStringLiteral("Incorrect request data"));
    QCOMPARE(reply.operation, operation);
    QCOMPARE(reply.envelope.value(QStringLiteral("data")), QVariant(QVariantMap()));
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
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    const BusClient::Frame reply = client.ask(operation, data);
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.operation, operation);
    QCOMPARE(reply.envelope.value(QStringLiteral("data")), QVariant(QVariantMap()));
}

void TstQueryService::loadState_nothingStored_saysSo()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    const BusClient::Frame reply = client.ask(QStringLiteral("loadState"), owned(QStringLiteral("printer")));
    QCOMPARE(reply.code, 5);
    QCOMPARE(reply.description, QStringLiteral("There is no state for client"));
}

void TstQueryService::loadState_stored_givesRecord()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    const QVariantMap state = json(R"({"owner":"printer","type":-1,"date":"2024-03-05T07:08:09.010",)"
                                   R"("state":"{\"paper\":1}","description":"\u00fc\u20ac"})");
    QCOMPARE(client.ask(QStringLiteral("saveState"), state).code, 0);
    const BusClient::Frame reply = client.ask(QStringLiteral("loadState"), owned(QStringLiteral("printer")));
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.data, state);
}

void TstQueryService::loadSettings_nothingStored_saysSo()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    const BusClient::Frame reply = client.ask(QStringLiteral("loadSettings"), owned(QStringLiteral("printer")));
    QCOMPARE(reply.code, 5);
    QCOMPARE(reply.description, QStringLiteral("There are no settings for client"));
}

void TstQueryService::loadSettingsList_someUnknown_givesFoundInOrder()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    for (const char* const owner : {"a", "b", "c"}) {
        const QVariantMap settings = settingsOf(QString::fromLatin1(owner)).toVariantMap();
        QCOMPARE(client.ask(QStringLiteral("saveSettings"), settings).code, 0);
    }
    const BusClient::Frame reply =
        client.ask(QStringLiteral("loadSettingsList"), {{QStringLiteral("owners"), QStringLiteral("c,nobody,,a")}});
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.data.keys(), QStringList{QStringLiteral("settingsList")});
    const QVariantList list = reply.data.value(QStringLiteral("settingsList")).toList();
    QCOMPARE(list.size(), 2);
    QCOMPARE(list.at(0).toMap().value(QStringLiteral("owner")).toString(), QStringLiteral("c"));
    QCOMPARE(list.at(1).toMap().value(QStringLiteral("owner")).toString(), QStringLiteral("a"));
}

void TstQueryService::loadSettingsList_noneKnown_isEmpty()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    const BusClient::Frame reply =
        client.ask(QStringLiteral("loadSettingsList"), {{QStringLiteral("owners"), QStringLiteral("x,y")}});
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.data, (QVariantMap{{QStringLiteral("settingsList"), QVariantList()}}));
}

// Names may be repeated, and so a short request could ask for more than the memory holds.
void TstQueryService::loadSettingsList_beyondAnEnvelope_isRefused()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    ClientSettings settings = settingsOf(QStringLiteral("a"));
    settings.setDescription(QString(1024 * 1024, QLatin1Char('x')));
    QCOMPARE(client.ask(QStringLiteral("saveSettings"), settings.toVariantMap()).code, 0);
    const QString owners = QStringLiteral("a,").repeated(40);
    QCOMPARE(client.ask(QStringLiteral("loadSettingsList"), {{QStringLiteral("owners"), owners}}).code, 512);
    QCOMPARE(client.ask(QStringLiteral("loadSettingsList"), {{QStringLiteral("owners"), QStringLiteral("a")}}).code, 0);
}

void TstQueryService::removeSettings_isDoneOnce()
{
    const BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    const QVariantMap settings = settingsOf(QStringLiteral("a")).toVariantMap();
    QCOMPARE(client.ask(QStringLiteral("saveSettings"), settings).code, 0);
    QCOMPARE(client.ask(QStringLiteral("removeSettings"), owned(QStringLiteral("a"))).code, 0);
    QCOMPARE(client.ask(QStringLiteral("loadSettings"), owned(QStringLiteral("a"))).code, 5);
    QCOMPARE(client.ask(QStringLiteral("removeSettings"), owned(QStringLiteral("a"))).code, 5);
}

void TstQueryService::request_storageLocked_isRefusedUntilItEnds()
{
    const QTemporaryDir folder;
    BusServer::Options options;
    options.storagePath = folder.filePath(QStringLiteral("bus.sqlite"));
    const BusThread bus(options);
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    const QVariantMap settings = settingsOf(QStringLiteral("a")).toVariantMap();
    {
        QSqlDatabase other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
        other.setDatabaseName(options.storagePath);
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec(QStringLiteral("BEGIN IMMEDIATE")));
        const BusClient::Frame reply = client.ask(QStringLiteral("saveSettings"), settings);
        QCOMPARE(reply.code, 512);
        QCOMPARE(reply.description, QStringLiteral("Storage access error"));
        QCOMPARE(client.ask(QStringLiteral("loadSettings"), owned(QStringLiteral("a"))).code, 5);
        QVERIFY(QSqlQuery(other).exec(QStringLiteral("COMMIT")));
        other.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
    QCOMPARE(client.ask(QStringLiteral("saveSettings"), settings).code, 0);
}

void TstQueryService::request_storageDamaged_isRefused_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("data");
    const QVariantMap publishers = json(R"({"publishers":[{"name":"a","goal":3}]})");
    QTest::newRow("saveState") << QStringLiteral("saveState") << owned(QStringLiteral("a"));
    QTest::newRow("loadState") << QStringLiteral("loadState") << owned(QStringLiteral("a"));
    QTest::newRow("saveSettings") << QStringLiteral("saveSettings") << settingsOf(QStringLiteral("a")).toVariantMap();
    QTest::newRow("loadSettings") << QStringLiteral("loadSettings") << owned(QStringLiteral("a"));
    QTest::newRow("loadSettingsList") << QStringLiteral("loadSettingsList") << json(R"({"owners":"a"})");
    QTest::newRow("removeSettings") << QStringLiteral("removeSettings") << owned(QStringLiteral("a"));
    QTest::newRow("subscribe") << QStringLiteral("subscribe") << publishers;
    QTest::newRow("unsubscribe") << QStringLiteral("unsubscribe") << json(R"({"publishers":["a"]})");
    QTest::newRow("sendMessage") << QStringLiteral("sendMessage") << json(R"({"reciever":"a","message":"x"})");
}

void TstQueryService::request_storageDamaged_isRefused()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    const QTemporaryDir folder;
    BusServer::Options options;
    options.storagePath = folder.filePath(QStringLiteral("bus.sqlite"));
    const BusThread bus(options);
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("client"));
    QFile file(options.storagePath);
    QVERIFY(file.open(QIODevice::ReadWrite));
    file.write(QByteArray(static_cast<int>(file.size()), 'x'));
    file.close();
    const BusClient::Frame reply = client.ask(operation, data);
    QCOMPARE(reply.code, 256);
    QCOMPARE(reply.description, QStringLiteral("Invalid data storage"));
    QCOMPARE(client.ask(QStringLiteral("dance"), {}).code, 4);
}

void TstQueryService::clientLibrary_exchangesEverything()
{
    const BusThread bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());

    ClientState state;
    state.setStateType(static_cast<ClientState::EStateType>(3));
    state.setState(QStringLiteral("ready"));
    QVERIFY(handler.saveState(state));
    ClientState loadedState;
    QVERIFY(handler.loadState(QString(), loadedState));
    QCOMPARE(loadedState.state(), QStringLiteral("ready"));
    QCOMPARE(loadedState.owner(), QStringLiteral("printer"));

    QVERIFY(handler.saveSettings(
        QList<ClientSettings>{settingsOf(QStringLiteral("printer")), settingsOf(QStringLiteral("cashbox"))}));
    ClientSettings loaded;
    QVERIFY(handler.loadSettings(QString(), loaded));
    QCOMPARE(loaded.formattedSettings(), settingsOf(QString()).formattedSettings());
    QList<ClientSettings> list;
    QVERIFY(handler.loadSettings(QStringList{QStringLiteral("cashbox"), QStringLiteral("printer")}, list));
    QCOMPARE(list.size(), 2);
    QCOMPARE(list.at(0).owner(), QStringLiteral("cashbox"));
    QVERIFY(handler.removeSettings(QStringLiteral("cashbox")));

    QVERIFY(handler.subscribe(QStringList{QStringLiteral("cashbox")}));
    QVERIFY(handler.unsubscribe({QStringLiteral("cashbox")}));
    Message message;
    message.setReciever(QStringLiteral("cashbox"));
    message.setMessage(QStringLiteral("hello"));
    QVERIFY(handler.sendMessage(message));
}

QTEST_GUILESS_MAIN(TstQueryService)
#include "tst_queryservice.moc"
