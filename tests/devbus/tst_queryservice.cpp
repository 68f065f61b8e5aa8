#include "queryservice.h"

#include "desk.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using samples::owned;
using samples::someSettings;
using tarvex::ClientSettings;
using tarvex::devbus::QueryService;

namespace {

QVariantMap json(const char* text)
{
    return QJsonDocument::fromJson(text).object().toVariantMap();
}

/// addRequestColumns() and addRequest() make a table of requests; the data is JSON.
void addRequestColumns()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("data");
}

void addRequest(const char* operation, const char* data)
{
    QTest::addRow("%s %s", operation, data) << QString::fromLatin1(operation) << json(data);
}

QVariantMap owners(const QString& names)
{
    return {{u"owners"_s, names}};
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
    void load_nothingStored_saysSo_data();
    void load_nothingStored_saysSo();
    void loadState_stored_givesRecord();
    void loadSettingsList_someUnknown_givesFoundInOrder_data();
    void loadSettingsList_someUnknown_givesFoundInOrder();
    void loadSettingsList_beyondAnEnvelope_isRefused();
    void removeSettings_isDoneOnce();
    void request_storageDamaged_isRefused_data();
    void request_storageDamaged_isRefused();
};

void TstQueryService::request_malformed_isRefused_data()
{
    addRequestColumns();
    for (const char* const operation : {"saveState", "loadState", "saveSettings", "loadSettings", "removeSettings"}) {
        addRequest(operation, "{}");
        addRequest(operation, R"({"owner":"","date":"2024-03-05T07:08:09.010"})");
        addRequest(operation, R"({"owner":5,"date":"2024-03-05T07:08:09.010"})");
        addRequest(operation, R"({"owner":null,"date":"2024-03-05T07:08:09.010"})");
    }
    addRequest("saveSettings", R"({"owner":"a"})");
    addRequest("saveSettings", R"({"owner":"a","date":""})");
    addRequest("saveSettings", R"({"owner":"a","date":"yesterday"})");
    addRequest("saveSettings", R"({"owner":"a","date":"2024-03-05T07:08:09.010","settings":{}})");
    addRequest("loadSettingsList", "{}");
    addRequest("loadSettingsList", R"({"owners":""})");
    addRequest("loadSettingsList", R"({"owners":",,"})");
    addRequest("loadSettingsList", R"({"owners":["a"]})");
    addRequest("subscribe", "{}");
    addRequest("subscribe", R"({"publishers":"a"})");
    addRequest("subscribe", R"({"publishers":{"name":"a","goal":3}})");
    addRequest("subscribe", R"({"publishers":["a"]})");
    addRequest("subscribe", R"({"publishers":[{"name":"a"}]})");
    addRequest("subscribe", R"({"publishers":[{"goal":3}]})");
    addRequest("subscribe", R"({"publishers":[{"name":"","goal":3}]})");
    addRequest("subscribe", R"({"publishers":[{"name":"a","goal":"3"}]})");
    addRequest("subscribe", R"({"publishers":[{"name":"a","goal":1.5}]})");
    addRequest("subscribe", R"({"publishers":[{"name":"a","goal":4294967299}]})");
    addRequest("subscribe", R"({"publishers":[{"name":"a","goal":3},{}]})");
    addRequest("unsubscribe", "{}");
    addRequest("unsubscribe", R"({"publishers":"a"})");
    addRequest("unsubscribe", R"({"publishers":[5]})");
    addRequest("unsubscribe", R"({"publishers":[{"name":"a"}]})");
    addRequest("sendMessage", "{}");
    addRequest("sendMessage", R"({"message":"x"})");
    addRequest("sendMessage", R"({"reciever":"a"})");
    addRequest("sendMessage", R"({"reciever":5,"message":"x"})");
    addRequest("sendMessage", R"({"reciever":"a","message":{}})");
    addRequest("sendMessage", R"({"reciever":"a","message":"x","UID":5})");

    const QString tooMany = u"a,"_s.repeated(QueryService::MAX_NAMES) + QLatin1Char('a');
    QTest::newRow("too many owners") << u"loadSettingsList"_s << owners(tooMany);
    QTest::newRow("too many publishers") << u"unsubscribe"_s
                                         << QVariantMap{{u"publishers"_s, tooMany.split(QLatin1Char(','))}};
}

void TstQueryService::request_malformed_isRefused()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    Desk desk;
    const BusClient::Frame reply = desk.client.ask(operation, data);
    QCOMPARE(reply.code, 2);
    QCOMPARE(reply.description, u"Incorrect request data"_s);
    QCOMPARE(reply.operation, operation);
    QCOMPARE(reply.envelope.value(u"data"_s), QVariant(QVariantMap()));
}

void TstQueryService::request_wellFormed_isAccepted_data()
{
    addRequestColumns();
    addRequest("saveState", R"({"owner":"a"})");
    addRequest("saveState", R"({"owner":"a","type":-1})");
    addRequest("saveState", R"({"owner":"a","type":127,"date":"","state":"x","description":""})");
    addRequest("saveSettings", R"({"owner":"a","date":"2024-03-05T07:08:09.010"})");
    addRequest("saveSettings",
               R"({"owner":"a","date":"2024-03-05T07:08:09.010","settings":[{"group":"g","key":"k"}]})");
    addRequest("subscribe", R"({"publishers":[]})");
    addRequest("subscribe", R"({"publishers":[{"name":"a","goal":0},{"name":"b","goal":1},{"name":"c","goal":-1}]})");
    addRequest("unsubscribe", R"({"publishers":[]})");
    addRequest("unsubscribe", R"({"publishers":["nobody",""]})");
    addRequest("sendMessage", R"({"reciever":"b","message":""})");
    addRequest("sendMessage", R"({"reciever":"","message":"x","sender":"","UID":"","date":""})");
}

void TstQueryService::request_wellFormed_isAccepted()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    Desk desk;
    const BusClient::Frame reply = desk.client.ask(operation, data);
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.operation, operation);
    QCOMPARE(reply.envelope.value(u"data"_s), QVariant(QVariantMap()));
}

void TstQueryService::load_nothingStored_saysSo_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("text");
    QTest::newRow("state") << u"loadState"_s << u"There is no state for client"_s;
    QTest::newRow("settings") << u"loadSettings"_s << u"There are no settings for client"_s;
}

void TstQueryService::load_nothingStored_saysSo()
{
    QFETCH(QString, operation);
    Desk desk;
    // What others have stored does not count.
    for (const QString& other : {u"cashbox"_s, u"turnstile"_s}) {
        QCOMPARE(desk.ask(u"saveState"_s, owned(other)), 0);
        QCOMPARE(desk.ask(u"saveSettings"_s, someSettings(other).toVariantMap()), 0);
    }
    const BusClient::Frame reply = desk.client.ask(operation, owned(u"printer"_s));
    QCOMPARE(reply.code, 5);
    QTEST(reply.description, "text");
}

void TstQueryService::loadState_stored_givesRecord()
{
    Desk desk;
    const QVariantMap state = json(R"({"owner":"printer","type":-1,"date":"2024-03-05T07:08:09.010",)"
                                   R"("state":"{\"paper\":1}","description":"\u00fc\u20ac"})");
    QCOMPARE(desk.ask(u"saveState"_s, samples::someState(u"printer"_s).toVariantMap()), 0);
    QCOMPARE(desk.ask(u"saveState"_s, state), 0); // replaces it
    const BusClient::Frame reply = desk.client.ask(u"loadState"_s, owned(u"printer"_s));
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.data, state);
}

void TstQueryService::loadSettingsList_someUnknown_givesFoundInOrder_data()
{
    QTest::addColumn<QString>("names");
    QTest::addColumn<QVariantList>("found");
    const QVariant c = someSettings(u"c"_s).toVariantMap();
    const QVariant a = someSettings(u"a"_s).toVariantMap();
    QTest::newRow("some unknown") << u"c,nobody,,a"_s << QVariantList{c, a};
    QTest::newRow("none known") << u"x,y"_s << QVariantList();
}

void TstQueryService::loadSettingsList_someUnknown_givesFoundInOrder()
{
    QFETCH(QString, names);
    QFETCH(QVariantList, found);
    Desk desk;
    for (const QString& owner : {u"a"_s, u"b"_s, u"c"_s}) {
        QVariantMap former = someSettings(owner).toVariantMap();
        former.insert(u"description"_s, u"replaced"_s);
        QCOMPARE(desk.ask(u"saveSettings"_s, former), 0);
        QCOMPARE(desk.ask(u"saveSettings"_s, someSettings(owner).toVariantMap()), 0);
    }
    const BusClient::Frame reply = desk.client.ask(u"loadSettingsList"_s, owners(names));
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.data, (QVariantMap{{u"settingsList"_s, found}}));
}

// A name may be repeated, so a short request could ask for more than fits into the memory.
void TstQueryService::loadSettingsList_beyondAnEnvelope_isRefused()
{
    Desk desk;
    ClientSettings settings = someSettings(u"a"_s);
    settings.setDescription(QString(1024 * 1024, QLatin1Char('x')));
    QCOMPARE(desk.ask(u"saveSettings"_s, settings.toVariantMap()), 0);
    const BusClient::Frame reply = desk.client.ask(u"loadSettingsList"_s, owners(u"a,"_s.repeated(40)));
    QCOMPARE(reply.code, 512);
    QCOMPARE(reply.description, u"Storage access error"_s);
    QCOMPARE(desk.ask(u"loadSettingsList"_s, owners(u"a"_s)), 0);
}

void TstQueryService::removeSettings_isDoneOnce()
{
    Desk desk;
    for (const QString& owner : {u"a"_s, u"b"_s, u"c"_s}) {
        QCOMPARE(desk.ask(u"saveSettings"_s, someSettings(owner).toVariantMap()), 0);
    }
    QCOMPARE(desk.ask(u"removeSettings"_s, owned(u"b"_s)), 0);
    QCOMPARE(desk.ask(u"loadSettings"_s, owned(u"b"_s)), 5);
    QCOMPARE(desk.ask(u"removeSettings"_s, owned(u"b"_s)), 5);
    QCOMPARE(desk.ask(u"loadSettings"_s, owned(u"a"_s)), 0);
    QCOMPARE(desk.ask(u"loadSettings"_s, owned(u"c"_s)), 0);
}

void TstQueryService::request_storageDamaged_isRefused_data()
{
    addRequestColumns();
    addRequest("saveState", R"({"owner":"a"})");
    addRequest("loadState", R"({"owner":"a"})");
    addRequest("saveSettings", R"({"owner":"a","date":"2024-03-05T07:08:09.010"})");
    addRequest("loadSettings", R"({"owner":"a"})");
    addRequest("loadSettingsList", R"({"owners":"a"})");
    addRequest("removeSettings", R"({"owner":"a"})");
    addRequest("subscribe", R"({"publishers":[{"name":"a","goal":3}]})");
    addRequest("unsubscribe", R"({"publishers":["a"]})");
    addRequest("sendMessage", R"({"reciever":"a","message":"x"})");
}

void TstQueryService::request_storageDamaged_isRefused()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"bus.sqlite"_s);
    Desk desk(storingIn(path));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    file.write(QByteArray(static_cast<int>(file.size()), 'x'));
    file.close();
    const BusClient::Frame reply = desk.client.ask(operation, data);
    QCOMPARE(reply.code, 256);
    QCOMPARE(reply.description, u"Invalid data storage"_s);
    QCOMPARE(desk.ask(u"dance"_s, {}), 4);
}

QTEST_GUILESS_MAIN(TstQueryService)
#include "tst_queryservice.moc"
