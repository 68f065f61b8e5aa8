#include "delivery.h"

#include "desk.h"
#include "otherprogram.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using samples::someState;
using tarvex::ClientSettings;
using tarvex::devbus::BusServer;

namespace {

QVariantMap settingsOf(const QString& owner, bool mailOwner)
{
    ClientSettings settings = samples::someSettings(owner);
    settings.setMailOwner(mailOwner);
    return settings.toVariantMap();
}

QVariantMap command(const BusClient::Frame& pushed)
{
    return QJsonDocument::fromJson(pushed.data.value(u"message"_s).toString().toUtf8()).object().toVariantMap();
}

BusServer::Options keeping(int count, const QString& storagePath = QString())
{
    BusServer::Options options = storingIn(storagePath);
    options.keep = count;
    return options;
}

bool subscribe(const QString& client, const QString& publisher, int goal)
{
    BusClient query(BusClient::QUERY_PORT, client);
    return query.ask(u"subscribe"_s, subscription(publisher, goal)).code == 0;
}

/// The uids of the next messages that are pushed.
QStringList takeUids(BusClient& receiver, int count)
{
    QStringList uids;
    for (int number = 0; number < count; ++number) {
        uids.append(receiver.read().uid());
    }
    return uids;
}

/// The uids of the messages that are stored for an absent client, at most 64, because no more are pushed without
/// acknowledgement.
QStringList waitingFor(const QString& client)
{
    BusClient receiver(BusClient::RECEIVER_PORT, client);
    // The answer comes on the same connection, after all messages that could be pushed.
    QStringList uids;
    receiver.sendRequest(u"dance"_s, {});
    for (BusClient::Frame frame = receiver.read(); frame.isValid && !frame.isReply; frame = receiver.read()) {
        uids.append(frame.uid());
    }
    return uids;
}

/// The numbers \a first to \a last, which are the uids of the messages that Desk::sendMany() sends.
QStringList numbers(int first, int last)
{
    QStringList texts;
    for (int number = first; number <= last; ++number) {
        texts.append(QString::number(number));
    }
    return texts;
}

} // namespace

class TstDelivery : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void message_toPresentClient_isPushed();
    void message_toAnother_isNotPushed();
    void message_withoutUid_getsOne();
    void published_goesToSubscribers_data();
    void published_goesToSubscribers();
    void state_afterUnsubscribing_isNotPushed();
    void settings_areAnnouncedToOwner_data();
    void settings_areAnnouncedToOwner();
    void uids_ofTheBus_areUnique();
    void keep_absentClient_dropsOldestWithWarning();
    void keep_clientThatHangs_losesNothing();
    void keep_clientLeaves_dropsOldestWithWarning_data();
    void keep_clientLeaves_dropsOldestWithWarning();
    void keep_clientLeavesWithFewer_dropsNothing();
    void keep_clientLeavesWhileLocked_dropsWithTheNextMessage();
    void keep_clientComesTwice_dropsNothing();
    void keep_serverStops_dropsNothing();
    void keep_lessThanIsStored_dropsWithTheNextMessage();
    void keep_none_keepsNone();
    void connection_renamed_getsTheOthersMessages();
    void connection_repeatedHandshake_startsAgain();
};

void TstDelivery::message_toPresentClient_isPushed()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QVariantMap sent = samples::someMessage(u"b"_s).toVariantMap(); // it names another sender
    QCOMPARE(desk.ask(u"sendMessage"_s, sent), 0);
    const BusClient::Frame pushed = receiver.read();
    QVERIFY(pushed.isValid);
    QVERIFY(!pushed.isReply);
    QCOMPARE(pushed.operation, u"sendMessage"_s);
    sent.insert(u"sender"_s, u"a"_s);
    QCOMPARE(pushed.data, sent);
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY(desk.bus.waitForAcknowledged(1));
}

void TstDelivery::message_toAnother_isNotPushed()
{
    Desk desk;
    BusClient other(BusClient::RECEIVER_PORT, u"c"_s);
    BusClient sender(BusClient::RECEIVER_PORT, u"a"_s);
    QVERIFY(desk.send(u"b"_s, u"u1"_s));
    QVERIFY(other.isQuiet());
    QVERIFY(sender.isQuiet());
}

void TstDelivery::message_withoutUid_getsOne()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(desk.send(u"b"_s, QString()));
    QCOMPARE(receiver.read().uid().size(), 24);
}

void TstDelivery::published_goesToSubscribers_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("data");
    QTest::addColumn<QStringList>("subscribers");
    QTest::newRow("state") << u"saveState"_s << someState(u"a"_s).toVariantMap() << QStringList{u"s1"_s, u"s3"_s};
    QTest::newRow("message to nobody") << u"sendMessage"_s << samples::messageTo(QString())
                                       << QStringList{u"s2"_s, u"s3"_s};
}

void TstDelivery::published_goesToSubscribers()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    QFETCH(QStringList, subscribers);
    Desk desk;
    QVERIFY(subscribe(u"s1"_s, u"a"_s, 1) && subscribe(u"s2"_s, u"a"_s, 2) && subscribe(u"s3"_s, u"a"_s, 3));
    QVERIFY(subscribe(u"s4"_s, u"other"_s, 3));
    QCOMPARE(desk.ask(operation, data), 0);
    for (const QString& client : {u"s1"_s, u"s2"_s, u"s3"_s, u"s4"_s}) {
        BusClient receiver(BusClient::RECEIVER_PORT, client);
        if (subscribers.contains(client)) {
            const BusClient::Frame pushed = receiver.read();
            QCOMPARE(pushed.data.value(u"sender"_s).toString(), u"a"_s);
            if (operation == u"saveState"_s) {
                QCOMPARE(pushed.data.value(u"reciever"_s).toString(), client);
                QCOMPARE(command(pushed), (QVariantMap{{u"cmd"_s, u"stateChanged"_s}, {u"data"_s, data}}));
            } else {
                QCOMPARE(pushed.uid(), u"u1"_s);
                QCOMPARE(pushed.data.value(u"reciever"_s).toString(), QString());
            }
        }
        QVERIFY2(receiver.isQuiet(), qPrintable(client));
    }
}

void TstDelivery::state_afterUnsubscribing_isNotPushed()
{
    Desk desk;
    QVERIFY(subscribe(u"s"_s, u"a"_s, 3));
    BusClient query(BusClient::QUERY_PORT, u"s"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, u"s"_s);
    const QVariantMap publishers{{u"publishers"_s, QStringList{u"a"_s, u"unknown"_s}}};
    QCOMPARE(query.ask(u"unsubscribe"_s, publishers).code, 0);
    QCOMPARE(desk.ask(u"saveState"_s, someState(u"a"_s).toVariantMap()), 0);
    QVERIFY(receiver.isQuiet());
}

void TstDelivery::settings_areAnnouncedToOwner_data()
{
    QTest::addColumn<bool>("mailOwner");
    QTest::newRow("announced") << true;
    QTest::newRow("owner not to be mailed") << false;
}

void TstDelivery::settings_areAnnouncedToOwner()
{
    QFETCH(bool, mailOwner);
    Desk desk;
    QVERIFY(subscribe(u"s"_s, u"b"_s, 3));
    BusClient owner(BusClient::RECEIVER_PORT, u"b"_s);
    BusClient subscriber(BusClient::RECEIVER_PORT, u"s"_s);
    QCOMPARE(desk.ask(u"saveSettings"_s, settingsOf(u"b"_s, mailOwner)), 0);
    if (mailOwner) {
        const BusClient::Frame pushed = owner.read();
        QCOMPARE(pushed.data.value(u"sender"_s).toString(), u"a"_s);
        QCOMPARE(pushed.data.value(u"reciever"_s).toString(), u"b"_s);
        QCOMPARE(pushed.data.value(u"message"_s).toString(), u"{\"cmd\":\"updateSettings\",\"data\":{}}"_s);
    }
    QVERIFY(owner.isQuiet());
    QVERIFY(subscriber.isQuiet());
}

void TstDelivery::uids_ofTheBus_areUnique()
{
    Desk desk;
    QVERIFY(subscribe(u"s"_s, u"a"_s, 1));
    // All states are announced within a few milliseconds and have the same text.
    const int count = 60;
    QVERIFY(desk.client.send(FakeBus::requestFrame(u"saveState"_s, someState(u"a"_s).toVariantMap()).repeated(count)));
    BusClient receiver(BusClient::RECEIVER_PORT, u"s"_s);
    QSet<QString> uids;
    for (int number = 0; number < count; ++number) {
        const BusClient::Frame pushed = receiver.read();
        QCOMPARE(command(pushed).value(u"cmd"_s).toString(), u"stateChanged"_s);
        uids.insert(pushed.uid());
    }
    QCOMPARE(uids.size(), count);
}

void TstDelivery::keep_absentClient_dropsOldestWithWarning()
{
    Desk desk(keeping(3));
    QVERIFY(desk.sendMany(u"b"_s, 1, 3));
    QVERIFY(desk.bus.warnings().isEmpty());
    QVERIFY(desk.sendMany(u"b"_s, 4, 5));
    QVERIFY(desk.bus.waitForWarnings(2));
    QVERIFY2(desk.bus.warnings().constFirst().contains(u"\"b\""_s), qPrintable(desk.bus.warnings().constFirst()));
    QVERIFY(desk.send(u"c"_s, u"other"_s));
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QCOMPARE(takeUids(receiver, 3), numbers(3, 5));
}

// The client may stand in a debugger. It must find everything that was accepted for it.
void TstDelivery::keep_clientThatHangs_losesNothing()
{
    Desk desk(keeping(3));
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(desk.sendMany(u"b"_s, 1, 150));
    for (int number = 1; number <= 150; ++number) {
        const BusClient::Frame pushed = receiver.read();
        QCOMPARE(pushed.uid(), QString::number(number));
        QVERIFY(receiver.acknowledge(pushed));
    }
    QVERIFY(desk.bus.waitForAcknowledged(150));
    QCOMPARE(desk.bus.warnings(), QStringList());
}

void TstDelivery::keep_clientLeaves_dropsOldestWithWarning_data()
{
    QTest::addColumn<bool>("isRenamed");
    QTest::newRow("gone") << false;
    QTest::newRow("renamed") << true;
}

void TstDelivery::keep_clientLeaves_dropsOldestWithWarning()
{
    QFETCH(bool, isRenamed);
    Desk desk(keeping(3));
    auto receiver = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(desk.sendMany(u"b"_s, 1, 10));
    QVERIFY(receiver->acknowledge(receiver->read()));
    QVERIFY(desk.bus.waitForAcknowledged(1));
    QCOMPARE(desk.bus.warnings(), QStringList());
    if (isRenamed) {
        QVERIFY(receiver->sendRequest(u"handshake"_s, named(u"c"_s)));
    } else {
        receiver.reset();
    }
    QVERIFY(desk.bus.waitForWarnings(1));
    QCOMPARE(desk.bus.warnings(), QStringList(u"dropped the oldest 6 of more than 3 messages that wait for \"b\""_s));
    QCOMPARE(waitingFor(u"b"_s), numbers(8, 10));
}

void TstDelivery::keep_clientLeavesWithFewer_dropsNothing()
{
    Desk desk(keeping(3));
    {
        const BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
        QVERIFY(desk.sendMany(u"b"_s, 1, 3));
    }
    // This one has more and leaves after the first. Its warning shows that the bus has dealt with both.
    {
        const BusClient receiver(BusClient::RECEIVER_PORT, u"c"_s);
        QVERIFY(desk.sendMany(u"c"_s, 1, 4));
    }
    QVERIFY(desk.bus.waitForWarnings(1));
    QCOMPARE(desk.bus.warnings().filter(u"\"b\""_s), QStringList());
    QCOMPARE(waitingFor(u"b"_s), numbers(1, 3));
}

void TstDelivery::keep_clientLeavesWhileLocked_dropsWithTheNextMessage()
{
    const QTemporaryDir folder;
    Desk desk(keeping(3, folder.filePath(u"bus.sqlite"_s)));
    auto receiver = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(desk.sendMany(u"b"_s, 1, 5));
    {
        OtherProgram other(folder.filePath(u"bus.sqlite"_s));
        QVERIFY(other.lock());
        receiver.reset();
        // Both are refused. When the second has been answered, the bus has seen that the client has left.
        QVERIFY(!desk.send(u"c"_s, u"refused"_s));
        QVERIFY(!desk.send(u"c"_s, u"refused"_s));
    }
    // The bus has warned of the lock and has dropped nothing.
    QVERIFY(desk.bus.waitForWarnings(1));
    QCOMPARE(desk.bus.warnings().filter(u"\"b\""_s), QStringList());
    QVERIFY(desk.send(u"b"_s, u"6"_s));
    QVERIFY(desk.bus.waitForWarnings(2));
    QCOMPARE(desk.bus.warnings().filter(u"\"b\""_s).size(), 1);
    QCOMPARE(waitingFor(u"b"_s), numbers(4, 6));
}

void TstDelivery::keep_clientComesTwice_dropsNothing()
{
    Desk desk(keeping(3));
    BusClient first(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(desk.sendMany(u"b"_s, 1, 5));
    // The client introduces itself again on the same connection, then on another.
    QVERIFY(first.sendRequest(u"handshake"_s, named(u"b"_s)));
    BusClient second(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(first.waitForClose());
    QCOMPARE(takeUids(second, 5), numbers(1, 5));
    QVERIFY(desk.send(u"b"_s, u"6"_s));
    QCOMPARE(second.read().uid(), u"6"_s);
    // The bus warns that the name was taken, and of nothing else.
    QCOMPARE(desk.bus.warnings().size(), 1);
    QVERIFY(desk.bus.warnings().constFirst().contains(u"took the name \"b\""_s));
}

// The clients of the server come back to the next one within seconds.
void TstDelivery::keep_serverStops_dropsNothing()
{
    const QTemporaryDir folder;
    const BusServer::Options options = keeping(3, folder.filePath(u"bus.sqlite"_s));
    auto former = std::make_unique<Desk>(options);
    const BusClient present(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(former->sendMany(u"b"_s, 1, 5));
    former.reset();
    const Desk desk(options);
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QCOMPARE(takeUids(receiver, 5), numbers(1, 5));
    QCOMPARE(desk.bus.warnings(), QStringList());
}

void TstDelivery::keep_lessThanIsStored_dropsWithTheNextMessage()
{
    const QTemporaryDir folder;
    {
        Desk desk(keeping(10, folder.filePath(u"bus.sqlite"_s)));
        QVERIFY(desk.sendMany(u"b"_s, 1, 5));
        QVERIFY(desk.sendMany(u"c"_s, 1, 5));
    }
    Desk desk(keeping(2, folder.filePath(u"bus.sqlite"_s)));
    QVERIFY(desk.send(u"b"_s, u"6"_s));
    QCOMPARE(desk.bus.warnings(), QStringList(u"dropped the oldest 4 of more than 2 messages that wait for \"b\""_s));
    QCOMPARE(waitingFor(u"b"_s), numbers(5, 6));
    QCOMPARE(waitingFor(u"c"_s).size(), 5);
}

void TstDelivery::keep_none_keepsNone()
{
    Desk desk(keeping(0));
    QVERIFY(desk.send(u"b"_s, u"u1"_s));
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(desk.send(u"b"_s, u"u2"_s));
    QCOMPARE(receiver.read().uid(), u"u2"_s);
}

void TstDelivery::connection_renamed_getsTheOthersMessages()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QCOMPARE(receiver.ask(u"handshake"_s, named(u"c"_s)).code, 0);
    QVERIFY(desk.send(u"b"_s, u"u1"_s));
    QVERIFY(desk.send(u"c"_s, u"u2"_s));
    QCOMPARE(receiver.read().uid(), u"u2"_s);
    BusClient successor(BusClient::RECEIVER_PORT, u"b"_s);
    QCOMPARE(successor.read().uid(), u"u1"_s);
    QVERIFY(desk.send(u"c"_s, u"u3"_s));
    QCOMPARE(receiver.read().uid(), u"u3"_s);
}

void TstDelivery::connection_repeatedHandshake_startsAgain()
{
    Desk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(desk.send(u"b"_s, u"u1"_s));
    QCOMPARE(receiver.read().uid(), u"u1"_s);
    QCOMPARE(receiver.ask(u"handshake"_s, named(u"b"_s)).code, 0);
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(pushed.uid(), u"u1"_s);
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY(desk.bus.waitForAcknowledged(1));
}

QTEST_GUILESS_MAIN(TstDelivery)
#include "tst_delivery.moc"
