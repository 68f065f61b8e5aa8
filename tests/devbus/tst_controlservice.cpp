#include "busclient.h"
#include "busthread.h"
#include "controlservice.h"
#include "literals.h"

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
    return {{u"request"_s, name}};
}

QVariantMap knownRequest(const QVariant& name)
{
    return {{u"request"_s, u"known"_s}, {u"name"_s, name}};
}

QString someDate()
{
    return u"2026-03-01T10:11:12.345"_s;
}

QVariantMap settingsRecord(const QString& owner)
{
    const QVariantMap entry{{u"group"_s, u"paper"_s}, {u"key"_s, u"width"_s}, {u"value"_s, 80}};
    return {{u"owner"_s, owner},
            {u"date"_s, someDate()},
            {u"description"_s, u"At the door"_s},
            {u"mailOwner"_s, 0},
            {u"settings"_s, QVariantList{entry, entry}}};
}

QVariantMap stateRecord(const QString& owner)
{
    return {{u"owner"_s, owner},
            {u"date"_s, someDate()},
            {u"description"_s, QString()},
            {u"state"_s, u"ready"_s},
            {u"type"_s, 3}};
}

QVariantMap messageTo(const QString& reciever)
{
    return {{u"reciever"_s, reciever}, {u"message"_s, u"hello"_s}};
}

QVariantMap subscription(const QString& publisher)
{
    const QVariantMap entry{{u"name"_s, publisher}, {u"goal"_s, 3}};
    return {{u"publishers"_s, QVariantList{entry}}};
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
    const ControlServer::Answer answer = ask(bus, request(u"clients"_s));
    QCOMPARE(answer.error, QString());
    QVERIFY(answer.items.isEmpty());
}

void TstControlService::clients_connected_tellSinceWhen()
{
    BusThread bus;
    const BusClient query(BusClient::QUERY_PORT, u"printer"_s);
    const BusClient second(BusClient::QUERY_PORT, u"printer"_s);
    const BusClient receiver(BusClient::RECEIVER_PORT, u"cashbox"_s);
    const QList<QVariantMap> items = ask(bus, request(u"clients"_s)).items;
    QCOMPARE(items.size(), 2);
    QVariantMap cashbox = items.at(0);
    QVERIFY(isRecent(cashbox.take(u"receiverSince"_s)));
    QCOMPARE(cashbox,
             (QVariantMap{{u"name"_s, u"cashbox"_s},
                          {u"querySince"_s, QString()},
                          {u"queryConnections"_s, 0},
                          {u"takeovers"_s, 0},
                          {u"waiting"_s, 0},
                          {u"subscriptions"_s, 0},
                          {u"settings"_s, false},
                          {u"state"_s, false}}));
    QCOMPARE(items.at(1).value(u"name"_s).toString(), u"printer"_s);
    QVERIFY(isRecent(items.at(1).value(u"querySince"_s)));
    QCOMPARE(items.at(1).value(u"queryConnections"_s).toInt(), 2);
    QCOMPARE(items.at(1).value(u"receiverSince"_s).toString(), QString());
}

void TstControlService::clients_stored_areListedToo()
{
    BusThread bus;
    {
        BusClient client(BusClient::QUERY_PORT, u"gui"_s);
        QCOMPARE(client.ask(u"saveSettings"_s, settingsRecord(u"cashbox"_s)).code, 0);
        QCOMPARE(client.ask(u"saveState"_s, stateRecord(u"printer"_s)).code, 0);
        QCOMPARE(client.ask(u"subscribe"_s, subscription(u"printer"_s)).code, 0);
        QCOMPARE(client.ask(u"sendMessage"_s, messageTo(u"prnter"_s)).code, 0);
    }
    QVERIFY(bus.waitForClients(BusConnection::Port::Query, {}));
    const QList<QVariantMap> items = ask(bus, request(u"clients"_s)).items;
    QStringList told;
    for (const QVariantMap& item : items) {
        told.append(u"%1 %2 %3 %4 %5"_s.arg(
            item.value(u"name"_s).toString(), item.value(u"settings"_s).toString(), item.value(u"state"_s).toString(),
            item.value(u"subscriptions"_s).toString(), item.value(u"waiting"_s).toString()));
    }
    QCOMPARE(told,
             (QStringList{u"cashbox true false 0 0"_s, u"gui false false 1 0"_s, u"printer false true 0 0"_s,
                          u"prnter false false 0 1"_s}));
}

void TstControlService::known_isWhoConnectedOrStored()
{
    BusThread bus;
    {
        BusClient client(BusClient::QUERY_PORT, u"gui"_s);
        QCOMPARE(client.ask(u"saveState"_s, stateRecord(u"printer"_s)).code, 0);
    }
    const QList<QVariantMap> known{{{u"isKnown"_s, true}}};
    QCOMPARE(ask(bus, knownRequest(u"gui"_s)).items, known);
    QCOMPARE(ask(bus, knownRequest(u"printer"_s)).items, known);
}

void TstControlService::known_whatOnlyWaits_isNotKnown()
{
    BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"gui"_s);
    QCOMPARE(client.ask(u"sendMessage"_s, messageTo(u"prnter"_s)).code, 0);
    QCOMPARE(ask(bus, knownRequest(u"prnter"_s)).items, (QList<QVariantMap>{{{u"isKnown"_s, false}}}));
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
    QCOMPARE(answer.error, u"the name of a client is missing"_s);
    QVERIFY(answer.items.isEmpty());
}

void TstControlService::settings_areListedByOwner()
{
    BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"gui"_s);
    QCOMPARE(client.ask(u"saveSettings"_s, settingsRecord(u"printer"_s)).code, 0);
    QCOMPARE(client.ask(u"saveSettings"_s, settingsRecord(u"cashbox"_s)).code, 0);
    const QList<QVariantMap> items = ask(bus, request(u"settings"_s)).items;
    QCOMPARE(items.size(), 2);
    QCOMPARE(items.at(0),
             (QVariantMap{{u"owner"_s, u"cashbox"_s},
                          {u"count"_s, 2},
                          {u"date"_s, someDate()},
                          {u"description"_s, u"At the door"_s}}));
    QCOMPARE(items.at(1).value(u"owner"_s).toString(), u"printer"_s);
}

void TstControlService::states_areListedByOwner()
{
    BusThread bus;
    BusClient client(BusClient::QUERY_PORT, u"gui"_s);
    QCOMPARE(client.ask(u"saveState"_s, stateRecord(u"printer"_s)).code, 0);
    QCOMPARE(client.ask(u"saveState"_s, stateRecord(u"cashbox"_s)).code, 0);
    QCOMPARE(ask(bus, request(u"states"_s)).items,
             (QList<QVariantMap>{stateRecord(u"cashbox"_s), stateRecord(u"printer"_s)}));
}

void TstControlService::request_unknown_isAnError_data()
{
    QTest::addColumn<QVariantMap>("asked");
    QTest::newRow("unknown") << request(u"dance"_s);
    QTest::newRow("none") << QVariantMap();
    QTest::newRow("no text") << QVariantMap{{u"request"_s, QVariantList{u"clients"_s}}};
}

void TstControlService::request_unknown_isAnError()
{
    QFETCH(QVariantMap, asked);
    BusThread bus;
    const ControlServer::Answer answer = ask(bus, asked);
    QCOMPARE(answer.error, u"there is no such request"_s);
    QVERIFY(answer.items.isEmpty());
}

void TstControlService::storageFails_isAnError()
{
    const QTemporaryDir folder;
    BusServer::Options options;
    options.storagePath = folder.filePath(u"bus.sqlite"_s);
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
