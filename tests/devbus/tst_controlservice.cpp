#include "controlservice.h"

#include "controlstream.h"
#include "desk.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using samples::messageTo;
using samples::someSettings;
using samples::someState;
using tarvex::ClientSettings;
using tarvex::devbus::BusServer;
using tarvex::devbus::ControlServer;
using tarvex::devbus::ControlService;
using tarvex::devbus::ControlStream;
using tarvex::devbus::isFailure;

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

QVariantMap settingsOfRequest(const QString& name)
{
    return {{u"request"_s, u"settingsOf"_s}, {u"name"_s, name}};
}

/// A text of which the frame is at least as long.
QString incompressible(int size)
{
    QRandomGenerator random(1);
    QByteArray bytes(size, Qt::Uninitialized);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random.generate()); });
    return QString::fromLatin1(bytes.toBase64());
}

QVariantMap framesRequest(const QVariant& last)
{
    return {{u"request"_s, u"frames"_s}, {u"last"_s, last}};
}

QVariantMap settingsRecord(const QString& owner)
{
    ClientSettings settings = someSettings(owner);
    settings.setFormattedSettings({{u"paper"_s, QVariantMap{{u"width"_s, 80}, {u"height"_s, 40}}}}, true);
    return settings.toVariantMap();
}

QVariantMap faultRequest(const QString& rule)
{
    return {{u"request"_s, u"addFault"_s}, {u"rule"_s, rule}};
}

QStringList rules(const ControlServer::Answer& answer)
{
    QStringList rules;
    for (const QVariantMap& item : answer.items) {
        rules.append(item.value(u"rule"_s).toString());
    }
    return rules;
}

/// Stores settings, states, subscriptions and messages, without a connection.
void store(BusThread& bus)
{
    bus.call([](BusServer& server) {
        const auto perform = [&](const QString& operation, const QVariantMap& data) {
            QVariantMap answer;
            QVERIFY(!isFailure(server.perform(u"gui"_s, operation, data, answer)));
        };
        perform(u"saveSettings"_s, settingsRecord(u"printer"_s));
        perform(u"saveSettings"_s, settingsRecord(u"cashbox"_s));
        perform(u"saveState"_s, someState(u"printer"_s).toVariantMap());
        perform(u"saveState"_s, someState(u"door"_s).toVariantMap());
        perform(u"subscribe"_s, subscription(u"printer"_s, 1));
        perform(u"subscribe"_s, subscription(u"cashbox"_s, 2));
        perform(u"sendMessage"_s, messageTo(u"prnter"_s));
        perform(u"sendMessage"_s, messageTo(u"prnter"_s));
    });
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

    void initTestCase() { QCoreApplication::setApplicationVersion(u"1.2.3"_s); }

    void about_tellsOfTheBusItself();
    void about_inMemory_hasNoFile();
    void about_storageFails_isToldInTheItem();
    void clients_ofEmptyBus_areNone();
    void clients_connected_tellSinceWhen();
    void clients_stored_areListedToo();
    void known_isWhoConnectedOrStored_data();
    void known_isWhoConnectedOrStored();
    void settings_areListedByOwner();
    void settingsOf_areThoseOfOneClient();
    void states_areListedByOwner();
    void frames_areTheLastOnesAndThenEach();
    void commands_areTheLastOnesFirst();
    void commands_beyondTheBounds_areLeftOut();
    void request_wrong_isAnError_data();
    void request_wrong_isAnError();
    void storageFails_isAnError();
    void addFault_isListedWithItsHits();
    void addFault_ofChance_tellsTheSeed();
    void clearFaults_ofNumbers_removesThose();
    void clearFaults_withoutNumbers_removesAll();
    void faults_wrongRequest_changesNothing_data();
    void faults_wrongRequest_changesNothing();
};

void TstControlService::about_tellsOfTheBusItself()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"bus.sqlite"_s);
    BusServer::Options options = storingIn(path);
    options.keep = 7;
    options.resendMs = 1234;
    BusThread bus(options);
    store(bus);
    BusClient client(BusClient::QUERY_PORT, u"printer"_s); // its handshake is a request
    const BusClient receiver(BusClient::RECEIVER_PORT, u"cashbox"_s);
    QCOMPARE(client.ask(u"loadState"_s, {{u"owner"_s, u"door"_s}}).code, 0);
    const QList<QVariantMap> items = ask(bus, request(u"about"_s)).items;
    QCOMPARE(items.size(), 1);
    QVariantMap item = items.constFirst();
    const QDateTime startedAt = QDateTime::fromString(item.value(u"startedAt"_s).toString(), Qt::ISODateWithMs);
    QVERIFY(isRecent(item.take(u"startedAt"_s)));
    QCOMPARE(item.take(u"startedAtUtc"_s).toString(), startedAt.toUTC().toString(u"yyyy-MM-ddThh:mm:ss.zzzZ"_s));
    qint64 bytes = 0;
    for (const QString& suffix : {QString(), u"-wal"_s, u"-shm"_s}) {
        bytes += QFileInfo(path + suffix).size();
    }
    QVERIFY(QFileInfo(path + u"-wal"_s).size() > 0);
    QCOMPARE(item.take(u"storageBytes"_s).toLongLong(), bytes);
    QCOMPARE(item,
             (QVariantMap{{u"program"_s, u"tst_controlservice"_s},
                          {u"version"_s, u"1.2.3"_s},
                          {u"pid"_s, QCoreApplication::applicationPid()},
                          {u"storage"_s, path},
                          {u"storageError"_s, QString()},
                          {u"connections"_s, 2},
                          {u"requests"_s, 3},
                          {u"acknowledged"_s, 0},
                          {u"keep"_s, 7},
                          {u"resendMs"_s, 1234}}));
}

void TstControlService::about_inMemory_hasNoFile()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, u"gui"_s);
    QVERIFY(desk.send(u"gui"_s, u"1"_s));
    receiver.acknowledge(receiver.read());
    QVERIFY(desk.bus.waitForAcknowledged(1));
    const QVariantMap item = ask(desk.bus, request(u"about"_s)).items.value(0);
    QCOMPARE(item.value(u"storage"_s), QVariant(QString()));
    QVERIFY(item.value(u"storageBytes"_s).toLongLong() >= 4096);
    QCOMPARE(item.value(u"acknowledged"_s).toInt(), 1);
}

void TstControlService::about_storageFails_isToldInTheItem()
{
    const QTemporaryDir folder;
    BusThread bus(storingIn(folder.filePath(u"bus.sqlite"_s)));
    QVERIFY(QFile::remove(folder.filePath(u"bus.sqlite"_s)));
    const ControlServer::Answer answer = ask(bus, request(u"about"_s));
    QCOMPARE(answer.error, QString());
    const QVariantMap item = answer.items.value(0);
    QVERIFY2(item.value(u"storageError"_s).toString().startsWith(QLatin1String("256 ")),
             qPrintable(item.value(u"storageError"_s).toString()));
    QCOMPARE(item.value(u"storageBytes"_s).toInt(), 0);
}

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
    store(bus);
    const QList<QVariantMap> items = ask(bus, request(u"clients"_s)).items;
    QStringList told;
    for (const QVariantMap& item : items) {
        told.append(u"%1 %2 %3 %4 %5"_s.arg(
            item.value(u"name"_s).toString(), item.value(u"settings"_s).toString(), item.value(u"state"_s).toString(),
            item.value(u"subscriptions"_s).toString(), item.value(u"waiting"_s).toString()));
    }
    // The saved settings have been announced to their owners, and the printer's state to the subscriber.
    QCOMPARE(told,
             (QStringList{u"cashbox true false 0 1"_s, u"door false true 0 0"_s, u"gui false false 2 0"_s,
                          u"printer true true 0 1"_s, u"prnter false false 0 2"_s}));
}

void TstControlService::known_isWhoConnectedOrStored_data()
{
    QTest::addColumn<bool>("isKnown");
    QTest::newRow("connected") << true;
    QTest::newRow("cashbox") << true; // settings
    QTest::newRow("door") << true;    // a state
    QTest::newRow("gui") << true;     // subscriptions
    QTest::newRow("prnter") << false; // only a message waits for that name, and perhaps nobody has ever had it
    QTest::newRow("nobody") << false;
}

void TstControlService::known_isWhoConnectedOrStored()
{
    QFETCH(bool, isKnown);
    BusThread bus;
    store(bus);
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"connected"_s).isConnected());
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    QCOMPARE(ask(bus, knownRequest(name)).items, (QList<QVariantMap>{{{u"isKnown"_s, isKnown}}}));
}

void TstControlService::settings_areListedByOwner()
{
    BusThread bus;
    store(bus);
    const auto item = [](const QString& owner) {
        const QVariantMap record = settingsRecord(owner);
        return QVariantMap{{u"owner"_s, owner},
                           {u"count"_s, 2},
                           {u"date"_s, record.value(u"date"_s)},
                           {u"description"_s, record.value(u"description"_s)}};
    };
    QCOMPARE(ask(bus, request(u"settings"_s)).items, (QList<QVariantMap>{item(u"cashbox"_s), item(u"printer"_s)}));
}

void TstControlService::settingsOf_areThoseOfOneClient()
{
    BusThread bus;
    store(bus);
    const auto item = [](const QString& key, int value) {
        return QVariantMap{{u"group"_s, u"paper"_s}, {u"key"_s, key}, {u"value"_s, value}};
    };
    const ControlServer::Answer answer = ask(bus, settingsOfRequest(u"printer"_s));
    QCOMPARE(answer.items, (QList<QVariantMap>{item(u"height"_s, 40), item(u"width"_s, 80)}));
    QVERIFY(ask(bus, settingsOfRequest(u"door"_s)).items.isEmpty());
}

void TstControlService::states_areListedByOwner()
{
    BusThread bus;
    store(bus);
    QCOMPARE(ask(bus, request(u"states"_s)).items,
             (QList<QVariantMap>{someState(u"door"_s).toVariantMap(), someState(u"printer"_s).toVariantMap()}));
}

void TstControlService::frames_areTheLastOnesAndThenEach()
{
    Desk desk;
    desk.ask(u"loadState"_s);
    std::shared_ptr<ControlStream> all = ask(desk.bus, framesRequest(1000)).stream;
    std::shared_ptr<ControlStream> last = ask(desk.bus, framesRequest(1)).stream;
    ControlServer::Answer answer = ask(desk.bus, request(u"frames"_s));
    std::shared_ptr<ControlStream> none = std::move(answer.stream);
    QVERIFY(all && last && none);
    // Which run of the bus it is stands before the frames.
    QCOMPARE(answer.items.size(), 1);
    QString run;
    desk.bus.call([&](BusServer& server) { run = server.frames().run(); });
    QCOMPARE(answer.items.first(), (QVariantMap{{u"run"_s, run}}));
    const auto next = [&](const std::shared_ptr<ControlStream>& stream) {
        QByteArray lines;
        desk.bus.call([&](BusServer&) { lines = stream->next(); });
        return lines;
    };
    QCOMPARE(next(all).count('\n'), 5); // the connection, the handshake and the request, with their replies
    const QByteArray reply = next(last);
    QCOMPARE(reply.count('\n'), 1);
    QVERIFY2(reply.contains("\"kind\":\"reply\"") && reply.contains("\"answers\":4"), reply.constData());
    QCOMPARE(next(none), QByteArray());
    desk.ask(u"saveState"_s);
    QCOMPARE(next(none).count("\"operation\":\"saveState\""), 2);
    desk.bus.call([&](BusServer&) {
        all.reset(); // in the bus's thread, where it lives
        last.reset();
        none.reset();
    });
}

void TstControlService::commands_areTheLastOnesFirst()
{
    Desk desk;
    QVERIFY(desk.send(u"cashbox"_s, u"1"_s, u"{\"cmd\":\"count\"}"_s));
    QVERIFY(desk.send(u"printer"_s, u"2"_s, u"{\"cmd\":\"print\"}"_s));
    QVERIFY(desk.send(u"cashbox"_s, u"3"_s, u"{\"cmd\":\"count\"}"_s));
    QVERIFY(desk.send(u"cashbox"_s, u"4"_s, u"no command"_s));
    const auto item = [](const QString& name, const QString& receiver) {
        return QVariantMap{{u"name"_s, name}, {u"receiver"_s, receiver}};
    };
    QCOMPARE(ask(desk.bus, request(u"commands"_s)).items,
             (QList<QVariantMap>{item(u"count"_s, u"cashbox"_s), item(u"print"_s, u"printer"_s)}));
}

void TstControlService::commands_beyondTheBounds_areLeftOut()
{
    Desk desk;
    QVERIFY(desk.send(u"cashbox"_s, u"1"_s, u"{\"cmd\":\"count\"}"_s));
    for (int index = 0; index < ControlService::MAX_COMMAND_FRAMES / 2; ++index) {
        desk.ask(u"loadState"_s); // a request and a reply
    }
    QVERIFY(ask(desk.bus, request(u"commands"_s)).items.isEmpty());
    QVERIFY(desk.send(u"printer"_s, u"2"_s, u"{\"cmd\":\"print\"}"_s));
    QCOMPARE(ask(desk.bus, request(u"commands"_s)).items.size(), 1);
    QVERIFY(desk.send(u"cashbox"_s, u"3"_s, incompressible(ControlService::MAX_COMMAND_BYTES)));
    QVERIFY(ask(desk.bus, request(u"commands"_s)).items.isEmpty());
}

void TstControlService::request_wrong_isAnError_data()
{
    QTest::addColumn<QVariantMap>("asked");
    QTest::addColumn<QString>("error");
    const QString none = u"there is no such request"_s;
    QTest::newRow("unknown") << request(u"dance"_s) << none;
    QTest::newRow("none") << QVariantMap() << none;
    QTest::newRow("no text") << QVariantMap{{u"request"_s, QVariantList{u"clients"_s}}} << none;
    const QString nameless = u"the name of a client is missing"_s;
    QTest::newRow("name missing") << request(u"known"_s) << nameless;
    QTest::newRow("name empty") << knownRequest(QString()) << nameless;
    const QString noNumber = u"\"last\" must be a whole number from 0"_s;
    QTest::newRow("last negative") << framesRequest(-1) << noNumber;
    QTest::newRow("last no number") << framesRequest(u"all"_s) << noNumber;
    QTest::newRow("name a number") << knownRequest(5) << nameless;
    QTest::newRow("settings of nobody") << settingsOfRequest(QString()) << nameless;
}

void TstControlService::request_wrong_isAnError()
{
    QFETCH(QVariantMap, asked);
    BusThread bus;
    const ControlServer::Answer answer = ask(bus, asked);
    QTEST(answer.error, "error");
    QVERIFY(answer.items.isEmpty());
}

void TstControlService::storageFails_isAnError()
{
    const QTemporaryDir folder;
    BusThread bus(storingIn(folder.filePath(u"bus.sqlite"_s)));
    QVERIFY(bus.isRunning());
    QVERIFY(QFile::remove(folder.filePath(u"bus.sqlite"_s)));
    for (const char* const name : {"clients", "settings", "states", "settingsOf"}) {
        QVariantMap asked = request(QString::fromLatin1(name));
        asked.insert(u"name"_s, u"printer"_s);
        const ControlServer::Answer answer = ask(bus, asked);
        QVERIFY2(answer.error.startsWith(QLatin1String("256 ")), qPrintable(answer.error));
        QVERIFY(answer.items.isEmpty());
    }
}

void TstControlService::addFault_isListedWithItsHits()
{
    BusThread bus;
    const QVariantMap added{{u"number"_s, 1}, {u"rule"_s, u"client=a do=error:512:no"_s}, {u"hits"_s, 0}};
    QCOMPARE(ask(bus, faultRequest(u"do=error:512:no, client=a"_s)).items, (QList<QVariantMap>{added}));
    BusClient client(BusClient::QUERY_PORT);
    QCOMPARE(client.ask(u"handshake"_s, named(u"a"_s)).code, 512);
    QVariantMap met = added;
    met.insert(u"hits"_s, 1);
    QCOMPARE(ask(bus, request(u"faults"_s)).items, (QList<QVariantMap>{met}));
}

void TstControlService::addFault_ofChance_tellsTheSeed()
{
    BusThread bus;
    const QString rule =
        ask(bus, faultRequest(u"probability=0.5 do=drop"_s)).items.value(0).value(u"rule"_s).toString();
    QVERIFY2(QRegularExpression(u"^probability=0\\.5 seed=[0-9]+ do=drop$"_s).match(rule).hasMatch(), qPrintable(rule));
}

void TstControlService::clearFaults_ofNumbers_removesThose()
{
    BusThread bus;
    for (int number = 1; number <= 3; ++number) {
        ask(bus, faultRequest(u"do=delay:%1"_s.arg(number)));
    }
    const QVariantMap wanted{{u"request"_s, u"clearFaults"_s}, {u"numbers"_s, QVariantList{3, 1}}};
    QCOMPARE(rules(ask(bus, wanted)), (QStringList{u"do=delay:1"_s, u"do=delay:3"_s}));
    QCOMPARE(rules(ask(bus, request(u"faults"_s))), (QStringList{u"do=delay:2"_s}));
}

void TstControlService::clearFaults_withoutNumbers_removesAll()
{
    BusThread bus;
    ask(bus, faultRequest(u"do=delay:1"_s));
    ask(bus, faultRequest(u"do=delay:2"_s));
    QCOMPARE(rules(ask(bus, request(u"clearFaults"_s))), (QStringList{u"do=delay:1"_s, u"do=delay:2"_s}));
    QVERIFY(ask(bus, request(u"faults"_s)).items.isEmpty());
}

void TstControlService::faults_wrongRequest_changesNothing_data()
{
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<QString>("error");
    const QVariantMap clear{{u"request"_s, u"clearFaults"_s}};
    const auto clearOf = [&](const QVariant& numbers) {
        QVariantMap request = clear;
        request.insert(u"numbers"_s, numbers);
        return request;
    };
    QTest::newRow("no rule") << request(u"addFault"_s) << u"\"rule\" must be a text"_s;
    QTest::newRow("bad rule") << faultRequest(u"do=delay:0"_s)
                              << u"do=delay needs a time in ms from 1 to 600000, not 0"_s;
    QTest::newRow("unknown number") << clearOf(QVariantList{1, 9}) << u"there is no fault 9"_s;
    QTest::newRow("no list") << clearOf(1) << u"\"numbers\" must be a list of whole numbers"_s;
    QTest::newRow("no whole number") << clearOf(QVariantList{1.5}) << u"\"numbers\" must be a list of whole numbers"_s;
    QTest::newRow("near a number") << clearOf(QVariantList{0.9}) << u"\"numbers\" must be a list of whole numbers"_s;
    QTest::newRow("true") << clearOf(QVariantList{true}) << u"\"numbers\" must be a list of whole numbers"_s;
    QTest::newRow("a list in it") << clearOf(QVariantList{QVariant(QVariantList{1})})
                                  << u"\"numbers\" must be a list of whole numbers"_s;
    QVariantMap mistyped = clear;
    mistyped.insert(u"number"_s, QVariantList{1});
    QTest::newRow("unknown key") << mistyped << u"\"number\" is not possible here; possible is \"numbers\""_s;
    QTest::newRow("texts") << clearOf(QVariantList{u"1"_s}) << u"\"numbers\" must be a list of whole numbers"_s;
}

void TstControlService::faults_wrongRequest_changesNothing()
{
    QFETCH(QVariantMap, request);
    QFETCH(QString, error);
    BusThread bus;
    ask(bus, faultRequest(u"do=drop"_s));
    QCOMPARE(ask(bus, request).error, error);
    QCOMPARE(rules(ask(bus, {{u"request"_s, u"faults"_s}})), (QStringList{u"do=drop"_s}));
}

QTEST_GUILESS_MAIN(TstControlService)
#include "tst_controlservice.moc"
