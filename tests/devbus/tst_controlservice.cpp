#include "busclient.h"
#include "busthread.h"
#include "controlservice.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using tarvex::devbus::BusConnection;
using tarvex::devbus::BusServer;
using tarvex::devbus::ControlServer;
using tarvex::devbus::ControlService;

namespace {

ControlServer::Answer ask(BusThread& bus, const QVariantMap& request)
{
    ControlServer::Answer answer;
    bus.call([&](BusServer& server) { answer = ControlService(server).handle(request); });
    return answer;
}

QVariantMap request(const QString& name)
{
    return {{QStringLiteral("request"), name}};
}

QVariantMap knownRequest(const QVariant& name)
{
    return {{QStringLiteral("request"), QStringLiteral("known")}, {QStringLiteral("name"), name}};
}

QString someDate()
{
    return QStringLiteral("2026-03-01T10:11:12.345");
}

QVariantMap settingsRecord(const QString& owner)
{
    const QVariantMap entry{{QStringLiteral("group"), QStringLiteral("paper")},
                            {QStringLiteral("key"), QStringLiteral("width")},
                            {QStringLiteral("value"), 80}};
    return {{QStringLiteral("owner"), owner},
            {QStringLiteral("date"), someDate()},
            {QStringLiteral("description"), QStringLiteral("At the door")},
            {QStringLiteral("mailOwner"), 0},
            {QStringLiteral("settings"), QVariantList{entry, entry}}};
}

QVariantMap stateRecord(const QString& owner)
{
    return {{QStringLiteral("owner"), owner},
            {QStringLiteral("date"), someDate()},
            {QStringLiteral("description"), QString()},
            {QStringLiteral("state"), QStringLiteral("ready")},
            {QStringLiteral("type"), 3}};
}

QVariantMap messageTo(const QString& reciever)
{
    return {{QStringLiteral("reciever"), reciever}, {QStringLiteral("message"), QStringLiteral("hello")}};
}

QVariantMap subscription(const QString& publisher)
{
    const QVariantMap entry{{QStringLiteral("name"), publisher}, {QStringLiteral("goal"), 3}};
    return {{QStringLiteral("publishers"), QVariantList{entry}}};
}

bool isRecent(const QVariant& value)
{
    const QDateTime time = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    return time.isValid() && qAbs(time.secsTo(QDateTime::currentDateTime())) < 600;
}

} // namespace

class TstControlService : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void clients_ofEmptyBus_areNone();
    void clients_connected_tellSinceWhen();
    void clients_stored_areListedToo();
    void known_isWhoConnectedOrStored();
    void known_whatOnlyWaits_isNotKnown();
    void known_withoutName_isAnError_data();
    void known_withoutName_isAnError();
    void settings_areListedByOwner();
    void states_areListedByOwner();
    void request_unknown_isAnError_data();
    void request_unknown_isAnError();
    void storageFails_isAnError();
};

void TstControlService::clients_ofEmptyBus_areNone()
{
    BusThread bus;
    const BusClient silent(BusClient::QUERY_PORT);
    const ControlServer::Answer answer = ask(bus, request(QStringLiteral("clients")));
    QCOMPARE(answer.error, QString());
    QVERIFY(answer.items.isEmpty());
}

void TstControlService::clients_connected_tellSinceWhen()
{
    BusThread bus;
    const BusClient query(BusClient::QUERY_PORT, QStringLiteral("printer"));
    const BusClient second(BusClient::QUERY_PORT, QStringLiteral("printer"));
    const BusClient receiver(BusClient::RECEIVER_PORT, QStringLiteral("cashbox"));
    const QList<QVariantMap> items = ask(bus, request(QStringLiteral("clients"))).items;
    QCOMPARE(items.size(), 2);
    QVariantMap cashbox = items.at(0);
    QVERIFY(isRecent(cashbox.take(QStringLiteral("receiverSince"))));
    QCOMPARE(cashbox,
             (QVariantMap{{QStringLiteral("name"), QStringLiteral("cashbox")},
                          {QStringLiteral("querySince"), QString()},
                          {QStringLiteral("queryConnections"), 0},
                          {QStringLiteral("takeovers"), 0},
                          {QStringLiteral("waiting"), 0},
                          {QStringLiteral("subscriptions"), 0},
                          {QStringLiteral("settings"), false},
                          {QStringLiteral("state"), false}}));
    QCOMPARE(items.at(1).value(QStringLiteral("name")).toString(), QStringLiteral("printer"));
    QVERIFY(isRecent(items.at(1).value(QStringLiteral("querySince"))));
    QCOMPARE(items.at(1).value(QStringLiteral("queryConnections")).toInt(), 2);
    QCOMPARE(items.at(1).value(QStringLiteral("receiverSince")).toString(), QString());
}

void TstControlService::clients_stored_areListedToo()
{
    BusThread bus;
    {
        BusClient client(BusClient::QUERY_PORT, QStringLiteral("gui"));
        QCOMPARE(client.ask(QStringLiteral("saveSettings"), settingsRecord(QStringLiteral("cashbox"))).code, 0);
        QCOMPARE(client.ask(QStringLiteral("saveState"), stateRecord(QStringLiteral("printer"))).code, 0);
        QCOMPARE(client.ask(QStringLiteral("subscribe"), subscription(QStringLiteral("printer"))).code, 0);
        QCOMPARE(client.ask(QStringLiteral("sendMessage"), messageTo(QStringLiteral("prnter"))).code, 0);
    }
    QVERIFY(bus.waitForClients(BusConnection::Port::Query, {}));
    const QList<QVariantMap> items = ask(bus, request(QStringLiteral("clients"))).items;
    QStringList told;
    for (const QVariantMap& item : items) {
        told.append(QStringLiteral("%1 %2 %3 %4 %5")
                        .arg(item.value(QStringLiteral("name")).toString(),
                             item.value(QStringLiteral("settings")).toString(),
                             item.value(QStringLiteral("state")).toString(),
                             item.value(QStringLiteral("subscriptions")).toString(),
                             item.value(QStringLiteral("waiting")).toString()));
    }
    QCOMPARE(told,
             (QStringList{QStringLiteral("cashbox true false 0 0"), QStringLiteral("gui false false 1 0"),
                          QStringLiteral("printer false true 0 0"), QStringLiteral("prnter false false 0 1")}));
}

void TstControlService::known_isWhoConnectedOrStored()
{
    BusThread bus;
    {
        BusClient client(BusClient::QUERY_PORT, QStringLiteral("gui"));
        QCOMPARE(client.ask(QStringLiteral("saveState"), stateRecord(QStringLiteral("printer"))).code, 0);
    }
    const QList<QVariantMap> known{{{QStringLiteral("isKnown"), true}}};
    QCOMPARE(ask(bus, knownRequest(QStringLiteral("gui"))).items, known);
    QCOMPARE(ask(bus, knownRequest(QStringLiteral("printer"))).items, known);
}

void TstControlService::known_whatOnlyWaits_isNotKnown()
{
    BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("gui"));
    QCOMPARE(client.ask(QStringLiteral("sendMessage"), messageTo(QStringLiteral("prnter"))).code, 0);
    QCOMPARE(ask(bus, knownRequest(QStringLiteral("prnter"))).items,
             (QList<QVariantMap>{{{QStringLiteral("isKnown"), false}}}));
}

void TstControlService::known_withoutName_isAnError_data()
{
    QTest::addColumn<QVariant>("name");
    QTest::newRow("missing") << QVariant();
    QTest::newRow("empty") << QVariant(QString());
    QTest::newRow("number") << QVariant(5);
}

void TstControlService::known_withoutName_isAnError()
{
    QFETCH(QVariant, name);
    BusThread bus;
    const ControlServer::Answer answer = ask(bus, knownRequest(name));
    QCOMPARE(answer.error, QStringLiteral("the name of a client is missing"));
    QVERIFY(answer.items.isEmpty());
}

void TstControlService::settings_areListedByOwner()
{
    BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("gui"));
    QCOMPARE(client.ask(QStringLiteral("saveSettings"), settingsRecord(QStringLiteral("printer"))).code, 0);
    QCOMPARE(client.ask(QStringLiteral("saveSettings"), settingsRecord(QStringLiteral("cashbox"))).code, 0);
    const QList<QVariantMap> items = ask(bus, request(QStringLiteral("settings"))).items;
    QCOMPARE(items.size(), 2);
    QCOMPARE(items.at(0),
             (QVariantMap{{QStringLiteral("owner"), QStringLiteral("cashbox")},
                          {QStringLiteral("count"), 2},
                          {QStringLiteral("date"), someDate()},
                          {QStringLiteral("description"), QStringLiteral("At the door")}}));
    QCOMPARE(items.at(1).value(QStringLiteral("owner")).toString(), QStringLiteral("printer"));
}

void TstControlService::states_areListedByOwner()
{
    BusThread bus;
    BusClient client(BusClient::QUERY_PORT, QStringLiteral("gui"));
    QCOMPARE(client.ask(QStringLiteral("saveState"), stateRecord(QStringLiteral("printer"))).code, 0);
    QCOMPARE(client.ask(QStringLiteral("saveState"), stateRecord(QStringLiteral("cashbox"))).code, 0);
    QCOMPARE(ask(bus, request(QStringLiteral("states"))).items,
             (QList<QVariantMap>{stateRecord(QStringLiteral("cashbox")), stateRecord(QStringLiteral("printer"))}));
}

void TstControlService::request_unknown_isAnError_data()
{
    QTest::addColumn<QVariantMap>("asked");
    QTest::newRow("unknown") << request(QStringLiteral("dance"));
    QTest::newRow("none") << QVariantMap();
    QTest::newRow("no text") << QVariantMap{{QStringLiteral("request"), QVariantList{QStringLiteral("clients")}}};
}

void TstControlService::request_unknown_isAnError()
{
    QFETCH(QVariantMap, asked);
    BusThread bus;
    const ControlServer::Answer answer = ask(bus, asked);
    QCOMPARE(answer.error, QStringLiteral("there is no such request"));
    QVERIFY(answer.items.isEmpty());
}

void TstControlService::storageFails_isAnError()
{
    const QTemporaryDir folder;
    BusServer::Options options;
    options.storagePath = folder.filePath(QStringLiteral("bus.sqlite"));
    BusThread bus(options);
    QVERIFY(bus.isRunning());
    QVERIFY(QFile::remove(options.storagePath));
    for (const char* const name : {"clients", "settings", "states"}) {
        const ControlServer::Answer answer = ask(bus, request(QString::fromLatin1(name)));
        QVERIFY2(answer.error.startsWith(QLatin1String("256 ")), qPrintable(answer.error));
        QVERIFY(answer.items.isEmpty());
    }
}

QTEST_GUILESS_MAIN(TstControlService)
#include "tst_controlservice.moc"
