#include "busclient.h"
#include "busthread.h"
#include "literals.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace tarvex;
using devbus::BusServer;

namespace {

QString name(const char* text)
{
    return QString::fromLatin1(text);
}

QVariantMap messageTo(const QString& addressee, const QString& uid)
{
    return {{u"reciever"_s, addressee},
            {u"sender"_s, u"somebody else"_s},
            {u"message"_s, u"text of "_s + uid},
            {u"date"_s, u"2024-03-05T07:08:09.010"_s},
            {u"UID"_s, uid}};
}

QVariantMap subscription(const QString& publisher, int goal)
{
    const QVariantMap entry{{u"name"_s, publisher}, {u"goal"_s, goal}};
    return {{u"publishers"_s, QVariantList{entry}}};
}

QVariantMap stateOf(const QString& owner)
{
    ClientState state;
    state.setOwner(owner);
    state.setStateType(static_cast<ClientState::EStateType>(4));
    state.setState(u"{\"paper\":\"low\"}"_s);
    return state.toVariantMap();
}

QVariantMap settingsOf(const QString& owner, bool mailOwner = true)
{
    ClientSettings settings;
    settings.setOwner(owner);
    settings.setMailOwner(mailOwner);
    return settings.toVariantMap();
}

QString uidOf(const BusClient::Frame& pushed)
{
    return pushed.data.value(u"UID"_s).toString();
}

QVariantMap command(const BusClient::Frame& pushed)
{
    return QJsonDocument::fromJson(pushed.data.value(u"message"_s).toString().toUtf8()).object().toVariantMap();
}

QString commandName(const BusClient::Frame& pushed)
{
    return command(pushed).value(u"cmd"_s).toString();
}

BusServer::Options keeping(int count, const QString& storagePath = QString())
{
    BusServer::Options options;
    options.keep = count;
    options.storagePath = storagePath;
    return options;
}

/// A bus, and a client "a" that asks and sends.
struct Desk
{
    explicit Desk(const BusServer::Options& options = {}) : bus(options), sender(BusClient::QUERY_PORT, name("a")) { }

    bool send(const QString& addressee, const QString& uid)
    {
        return sender.ask(u"sendMessage"_s, messageTo(addressee, uid)).code == 0;
    }

    /// Sends messages with the uids first to last.
    bool sendMany(const QString& addressee, int first, int last)
    {
        bool isDone = true;
        for (int number = first; number <= last; ++number) {
            isDone = isDone && send(addressee, QString::number(number));
        }
        return isDone;
    }

    /// Whatever was to be pushed by now has been: this reply comes after it.
    bool settle() { return sender.ask(u"dance"_s, {}).code == 4; }

    BusThread bus;
    BusClient sender;
};

bool subscribe(const QString& client, const QString& publisher, int goal)
{
    BusClient query(BusClient::QUERY_PORT, client);
    return query.ask(u"subscribe"_s, subscription(publisher, goal)).code == 0;
}

/// The uids of what is stored for a client that is away, at most 64: that many are pushed without acknowledgement.
QStringList waitingFor(const QString& client)
{
    BusClient receiver(BusClient::RECEIVER_PORT, client);
    // Answered on the same connection, after everything that was there to be pushed.
    QStringList uids;
    receiver.sendRequest(u"dance"_s, {});
    for (BusClient::Frame frame = receiver.read(); frame.isValid && !frame.isReply; frame = receiver.read()) {
        uids.append(uidOf(frame));
    }
    return uids;
}

} // namespace

class TstDelivery : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void message_toPresentClient_isPushed();
    void message_toAbsentClient_waits();
    void message_acknowledged_isGone();
    void message_toAnother_isNotPushed();
    void message_withoutUid_getsOne();
    void message_toNobody_goesToSubscribersOfMessages();
    void state_goesToSubscribersOfStates();
    void state_afterUnsubscribing_isNotPushed();
    void settings_areAnnouncedToOwner();
    void settings_ownerNotToBeMailed_areNotAnnounced();
    void uids_ofTheBus_areUnique();
    void keep_absentClient_dropsOldestWithWarning();
    void keep_presentClient_dropsNothing();
    void keep_clientThatHangs_losesNothing();
    void keep_clientLeaves_dropsOldestWithWarning();
    void keep_clientLeavesWithFewer_dropsNothing();
    void keep_clientLeavesWhileLocked_dropsWithTheNextMessage();
    void keep_clientRenamed_dropsOldestOfItsFormerName();
    void keep_clientComesTwice_dropsNothing();
    void keep_serverStops_dropsNothing();
    void keep_lessThanIsStored_dropsWithTheNextMessage();
    void keep_none_keepsNone();
    void connection_secondOfName_replacesFirst();
    void connection_renamed_getsTheOthersMessages();
    void connection_repeatedHandshake_startsAgain();
};

void TstDelivery::message_toPresentClient_isPushed()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.send(name("b"), name("u1")));
    const BusClient::Frame pushed = receiver.read();
    QVERIFY(pushed.isValid);
    QVERIFY(!pushed.isReply);
    QCOMPARE(pushed.operation, u"sendMessage"_s);
    QVariantMap expected = messageTo(name("b"), name("u1"));
    expected.insert(u"sender"_s, name("a"));
    QCOMPARE(pushed.data, expected);
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY(desk.bus.waitForAcknowledged(1));
}

void TstDelivery::message_toAbsentClient_waits()
{
    Desk desk;
    QVERIFY(desk.sendMany(name("b"), 1, 3));
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    for (int number = 1; number <= 3; ++number) {
        QCOMPARE(uidOf(receiver.read()), QString::number(number));
    }
}

void TstDelivery::message_acknowledged_isGone()
{
    Desk desk;
    QVERIFY(desk.sendMany(name("b"), 1, 2));
    {
        BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
        QVERIFY(receiver.acknowledge(receiver.read()));
        QVERIFY(desk.bus.waitForAcknowledged(1));
        QCOMPARE(uidOf(receiver.read()), name("2"));
    }
    BusClient again(BusClient::RECEIVER_PORT, name("b"));
    const BusClient::Frame pushed = again.read();
    QCOMPARE(uidOf(pushed), name("2"));
    QVERIFY(again.acknowledge(pushed));
    QVERIFY(desk.bus.waitForAcknowledged(2));
    BusClient last(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.settle());
    QVERIFY(!last.hasBytes());
}

void TstDelivery::message_toAnother_isNotPushed()
{
    Desk desk;
    BusClient other(BusClient::RECEIVER_PORT, name("c"));
    BusClient sender(BusClient::RECEIVER_PORT, name("a"));
    QVERIFY(desk.send(name("b"), name("u1")));
    QVERIFY(desk.settle());
    QVERIFY(!other.hasBytes());
    QVERIFY(!sender.hasBytes());
}

void TstDelivery::message_withoutUid_getsOne()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.send(name("b"), QString()));
    QCOMPARE(uidOf(receiver.read()).size(), 24);
}

void TstDelivery::message_toNobody_goesToSubscribersOfMessages()
{
    Desk desk;
    QVERIFY(subscribe(name("s1"), name("a"), 1));
    QVERIFY(subscribe(name("s2"), name("a"), 2));
    QVERIFY(subscribe(name("s3"), name("a"), 3));
    QVERIFY(subscribe(name("s4"), name("other"), 3));
    QVERIFY(desk.send(QString(), name("u1")));
    for (const char* const client : {"s2", "s3"}) {
        BusClient receiver(BusClient::RECEIVER_PORT, name(client));
        const BusClient::Frame pushed = receiver.read();
        QCOMPARE(uidOf(pushed), name("u1"));
        QCOMPARE(pushed.data.value(u"reciever"_s).toString(), QString());
        QVERIFY(receiver.acknowledge(pushed));
    }
    QVERIFY(desk.bus.waitForAcknowledged(2));
    for (const char* const client : {"s1", "s2", "s3", "s4"}) {
        BusClient receiver(BusClient::RECEIVER_PORT, name(client));
        QVERIFY(desk.settle());
        QVERIFY2(!receiver.hasBytes(), client);
    }
}

void TstDelivery::state_goesToSubscribersOfStates()
{
    Desk desk;
    QVERIFY(subscribe(name("s1"), name("a"), 1));
    QVERIFY(subscribe(name("s2"), name("a"), 2));
    QVERIFY(subscribe(name("s3"), name("a"), 3));
    QCOMPARE(desk.sender.ask(u"saveState"_s, stateOf(name("a"))).code, 0);
    for (const char* const client : {"s1", "s3"}) {
        BusClient receiver(BusClient::RECEIVER_PORT, name(client));
        const BusClient::Frame pushed = receiver.read();
        QCOMPARE(pushed.data.value(u"sender"_s).toString(), name("a"));
        QCOMPARE(pushed.data.value(u"reciever"_s).toString(), name(client));
        QCOMPARE(command(pushed), (QVariantMap{{u"cmd"_s, u"stateChanged"_s}, {u"data"_s, stateOf(name("a"))}}));
    }
    BusClient other(BusClient::RECEIVER_PORT, name("s2"));
    QVERIFY(desk.settle());
    QVERIFY(!other.hasBytes());
}

void TstDelivery::state_afterUnsubscribing_isNotPushed()
{
    Desk desk;
    QVERIFY(subscribe(name("s"), name("a"), 3));
    BusClient query(BusClient::QUERY_PORT, name("s"));
    BusClient receiver(BusClient::RECEIVER_PORT, name("s"));
    const QVariantMap publishers{{u"publishers"_s, QStringList{name("a"), name("unknown")}}};
    QCOMPARE(query.ask(u"unsubscribe"_s, publishers).code, 0);
    QCOMPARE(desk.sender.ask(u"saveState"_s, stateOf(name("a"))).code, 0);
    QVERIFY(desk.settle());
    QVERIFY(!receiver.hasBytes());
}

void TstDelivery::settings_areAnnouncedToOwner()
{
    Desk desk;
    QVERIFY(subscribe(name("s"), name("b"), 3));
    BusClient owner(BusClient::RECEIVER_PORT, name("b"));
    BusClient subscriber(BusClient::RECEIVER_PORT, name("s"));
    QCOMPARE(desk.sender.ask(u"saveSettings"_s, settingsOf(name("b"))).code, 0);
    const BusClient::Frame pushed = owner.read();
    QCOMPARE(pushed.data.value(u"reciever"_s).toString(), name("b"));
    QCOMPARE(pushed.data.value(u"message"_s).toString(), u"{\"cmd\":\"updateSettings\",\"data\":{}}"_s);
    QVERIFY(desk.settle());
    QVERIFY(!subscriber.hasBytes());
}

void TstDelivery::settings_ownerNotToBeMailed_areNotAnnounced()
{
    Desk desk;
    BusClient owner(BusClient::RECEIVER_PORT, name("b"));
    QCOMPARE(desk.sender.ask(u"saveSettings"_s, settingsOf(name("b"), false)).code, 0);
    QVERIFY(desk.settle());
    QVERIFY(!owner.hasBytes());
}

void TstDelivery::uids_ofTheBus_areUnique()
{
    Desk desk;
    QVERIFY(subscribe(name("s"), name("a"), 1));
    // All within a few milliseconds, and the text the same each time.
    const int count = 60;
    QVERIFY(desk.sender.send(FakeBus::requestFrame(u"saveState"_s, stateOf(name("a"))).repeated(count)));
    BusClient receiver(BusClient::RECEIVER_PORT, name("s"));
    QSet<QString> uids;
    for (int number = 0; number < count; ++number) {
        const BusClient::Frame pushed = receiver.read();
        QCOMPARE(commandName(pushed), u"stateChanged"_s);
        uids.insert(uidOf(pushed));
    }
    QCOMPARE(uids.size(), count);
}

void TstDelivery::keep_absentClient_dropsOldestWithWarning()
{
    Desk desk(keeping(3));
    QVERIFY(desk.sendMany(name("b"), 1, 3));
    QVERIFY(desk.bus.warnings().isEmpty());
    QVERIFY(desk.sendMany(name("b"), 4, 5));
    QVERIFY(desk.bus.waitForWarnings(2));
    QVERIFY2(desk.bus.warnings().constFirst().contains(u"\"b\""_s), qPrintable(desk.bus.warnings().constFirst()));
    QVERIFY(desk.send(name("c"), name("other")));
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    for (int number = 3; number <= 5; ++number) {
        QCOMPARE(uidOf(receiver.read()), QString::number(number));
    }
}

void TstDelivery::keep_presentClient_dropsNothing()
{
    Desk desk(keeping(3));
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.sendMany(name("b"), 1, 10));
    for (int number = 1; number <= 10; ++number) {
        QCOMPARE(uidOf(receiver.read()), QString::number(number));
    }
    QVERIFY(desk.bus.warnings().isEmpty());
}

// It may be held in a debugger: what was accepted for it waits there.
void TstDelivery::keep_clientThatHangs_losesNothing()
{
    Desk desk(keeping(3));
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.sendMany(name("b"), 1, 150));
    for (int number = 1; number <= 150; ++number) {
        const BusClient::Frame pushed = receiver.read();
        QCOMPARE(uidOf(pushed), QString::number(number));
        QVERIFY(receiver.acknowledge(pushed));
    }
    QVERIFY(desk.bus.waitForAcknowledged(150));
    QCOMPARE(desk.bus.warnings(), QStringList());
}

void TstDelivery::keep_clientLeaves_dropsOldestWithWarning()
{
    Desk desk(keeping(3));
    {
        BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
        QVERIFY(desk.sendMany(name("b"), 1, 10));
        QVERIFY(receiver.acknowledge(receiver.read()));
        QVERIFY(desk.bus.waitForAcknowledged(1));
        QCOMPARE(desk.bus.warnings(), QStringList());
    }
    QVERIFY(desk.bus.waitForWarnings(1));
    QCOMPARE(desk.bus.warnings(), QStringList(u"dropped the oldest 6 of more than 3 messages that wait for \"b\""_s));
    QCOMPARE(waitingFor(name("b")), (QStringList{name("8"), name("9"), name("10")}));
}

void TstDelivery::keep_clientLeavesWithFewer_dropsNothing()
{
    Desk desk(keeping(3));
    {
        const BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
        QVERIFY(desk.sendMany(name("b"), 1, 3));
    }
    // One that has more, and leaves after it.
    {
        const BusClient receiver(BusClient::RECEIVER_PORT, name("c"));
        QVERIFY(desk.sendMany(name("c"), 1, 4));
    }
    QVERIFY(desk.bus.waitForWarnings(1));
    QCOMPARE(desk.bus.warnings().filter(name("\"b\"")), QStringList());
    QCOMPARE(waitingFor(name("b")), (QStringList{name("1"), name("2"), name("3")}));
}

void TstDelivery::keep_clientLeavesWhileLocked_dropsWithTheNextMessage()
{
    const QTemporaryDir folder;
    Desk desk(keeping(3, folder.filePath(name("bus.sqlite"))));
    auto receiver = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.sendMany(name("b"), 1, 5));
    {
        QSqlDatabase other = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"other"_s);
        other.setDatabaseName(folder.filePath(name("bus.sqlite")));
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec(u"BEGIN IMMEDIATE"_s));
        receiver.reset();
        // Both are refused; by the second the bus has seen at the latest that the client has left.
        QVERIFY(!desk.send(name("c"), name("refused")));
        QVERIFY(!desk.send(name("c"), name("refused")));
        QVERIFY(QSqlQuery(other).exec(u"COMMIT"_s));
        other.close();
    }
    QSqlDatabase::removeDatabase(u"other"_s);
    // The lock has been told of, and nothing was dropped.
    QVERIFY(desk.bus.waitForWarnings(1));
    QCOMPARE(desk.bus.warnings().filter(name("\"b\"")), QStringList());
    QVERIFY(desk.sendMany(name("b"), 6, 6));
    QVERIFY(desk.bus.waitForWarnings(2));
    QCOMPARE(desk.bus.warnings().filter(name("\"b\"")).size(), 1);
    QCOMPARE(waitingFor(name("b")), (QStringList{name("4"), name("5"), name("6")}));
}

void TstDelivery::keep_clientRenamed_dropsOldestOfItsFormerName()
{
    Desk desk(keeping(3));
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.sendMany(name("b"), 1, 5));
    QVERIFY(receiver.sendRequest(u"handshake"_s, {{u"name"_s, name("c")}}));
    QVERIFY(desk.bus.waitForWarnings(1));
    QCOMPARE(waitingFor(name("b")), (QStringList{name("3"), name("4"), name("5")}));
}

void TstDelivery::keep_clientComesTwice_dropsNothing()
{
    Desk desk(keeping(3));
    BusClient first(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.sendMany(name("b"), 1, 5));
    // Once more on the same connection, then on another.
    QVERIFY(first.sendRequest(u"handshake"_s, {{u"name"_s, name("b")}}));
    BusClient second(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(first.waitForClose());
    for (int number = 1; number <= 5; ++number) {
        QCOMPARE(uidOf(second.read()), QString::number(number));
    }
    // That the name was taken is told, and nothing else.
    QCOMPARE(desk.bus.warnings().size(), 1);
    QVERIFY(desk.bus.warnings().constFirst().contains(name("took the name \"b\"")));
}

// Its clients are back with the next server within seconds.
void TstDelivery::keep_serverStops_dropsNothing()
{
    const QTemporaryDir folder;
    const BusServer::Options options = keeping(3, folder.filePath(name("bus.sqlite")));
    auto former = std::make_unique<Desk>(options);
    const BusClient present(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(former->sendMany(name("b"), 1, 5));
    former.reset();
    const Desk desk(options);
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    for (int number = 1; number <= 5; ++number) {
        QCOMPARE(uidOf(receiver.read()), QString::number(number));
    }
    QCOMPARE(desk.bus.warnings(), QStringList());
}

void TstDelivery::keep_lessThanIsStored_dropsWithTheNextMessage()
{
    const QTemporaryDir folder;
    {
        Desk desk(keeping(10, folder.filePath(name("bus.sqlite"))));
        QVERIFY(desk.sendMany(name("b"), 1, 5));
        QVERIFY(desk.sendMany(name("c"), 1, 5));
    }
    Desk desk(keeping(2, folder.filePath(name("bus.sqlite"))));
    QVERIFY(desk.sendMany(name("b"), 6, 6));
    QCOMPARE(desk.bus.warnings(), QStringList(u"dropped the oldest 4 of more than 2 messages that wait for \"b\""_s));
    QCOMPARE(waitingFor(name("b")), (QStringList{name("5"), name("6")}));
    QCOMPARE(waitingFor(name("c")).size(), 5);
}

void TstDelivery::keep_none_keepsNone()
{
    Desk desk(keeping(0));
    QVERIFY(desk.send(name("b"), name("u1")));
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.send(name("b"), name("u2")));
    QCOMPARE(uidOf(receiver.read()), name("u2"));
}

void TstDelivery::connection_secondOfName_replacesFirst()
{
    Desk desk;
    BusClient first(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.send(name("b"), name("u1")));
    QCOMPARE(uidOf(first.read()), name("u1"));
    BusClient second(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(second.isConnected());
    QVERIFY(first.waitForClose());
    QCOMPARE(uidOf(second.read()), name("u1"));
    QVERIFY(desk.send(name("b"), name("u2")));
    QCOMPARE(uidOf(second.read()), name("u2"));
}

void TstDelivery::connection_renamed_getsTheOthersMessages()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    QCOMPARE(receiver.ask(u"handshake"_s, {{u"name"_s, name("c")}}).code, 0);
    QVERIFY(desk.send(name("b"), name("u1")));
    QVERIFY(desk.send(name("c"), name("u2")));
    QCOMPARE(uidOf(receiver.read()), name("u2"));
    BusClient successor(BusClient::RECEIVER_PORT, name("b"));
    QCOMPARE(uidOf(successor.read()), name("u1"));
    QVERIFY(desk.send(name("c"), name("u3")));
    QCOMPARE(uidOf(receiver.read()), name("u3"));
}

void TstDelivery::connection_repeatedHandshake_startsAgain()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, name("b"));
    QVERIFY(desk.send(name("b"), name("u1")));
    QCOMPARE(uidOf(receiver.read()), name("u1"));
    QCOMPARE(receiver.ask(u"handshake"_s, {{u"name"_s, name("b")}}).code, 0);
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(uidOf(pushed), name("u1"));
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY(desk.bus.waitForAcknowledged(1));
}

QTEST_GUILESS_MAIN(TstDelivery)
#include "tst_delivery.moc"
