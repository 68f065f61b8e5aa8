#include "busclient.h"
#include "busthread.h"
#include "literals.h"
#include "outbox.h"
#include "wire/busterms_p.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

using tarvex::devbus::BusServer;
using tarvex::devbus::Outbox;

namespace {

constexpr int NEVER_MS = 600000;
constexpr int SOON_MS = 100;

BusServer::Options resendingAfter(int ms)
{
    BusServer::Options options;
    options.resendMs = ms;
    return options;
}

QString receiverName()
{
    return u"b"_s;
}

QString uidOf(const BusClient::Frame& pushed)
{
    return pushed.data.value(u"UID"_s).toString();
}

/// Sends messages with the uids first to last.
bool sendMany(BusClient& sender, int first, int last, const QString& text = u"text"_s)
{
    for (int number = first; number <= last; ++number) {
        const QVariantMap message{
            {u"reciever"_s, receiverName()}, {u"message"_s, text}, {u"UID"_s, QString::number(number)}};
        if (sender.ask(u"sendMessage"_s, message).code != 0) {
            return false;
        }
    }
    return true;
}

/// Text that gets only by half smaller when it is compressed.
QString noise(int size)
{
    QByteArray bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>('a' + QRandomGenerator::global()->bounded(26));
    }
    return QString::fromLatin1(bytes);
}

/// Whatever was to be pushed by now has been: this reply comes after it.
bool settle(BusClient& sender)
{
    return sender.ask(u"dance"_s, {}).code == 4;
}

/// Reads pushed messages and expects the uids first to last.
bool readMany(BusClient& receiver, int first, int last, QList<BusClient::Frame>* pushed = nullptr)
{
    for (int number = first; number <= last; ++number) {
        const BusClient::Frame frame = receiver.read();
        if (frame.isReply || uidOf(frame) != QString::number(number)) {
            qWarning("expected %d, got %s", number, qPrintable(uidOf(frame)));
            return false;
        }
        if (pushed) {
            pushed->append(frame);
        }
    }
    return true;
}

} // namespace

class TstOutbox : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void push_manyMessages_leavesFewUnacknowledged();
    void push_oneNeverAcknowledged_neverFallsTooFarBehind();
    void push_afterFiveSeconds_comesAgain();
    void push_unacknowledged_comesAgainInOrder();
    void push_acknowledged_doesNotComeAgain();
    void push_afterReconnection_comesAgainInOrder();
    void push_toClientThatNeverReads_isBounded();
    void acknowledge_withCode_countsAsNone();
    void acknowledge_ofSomethingElse_isPassedOver_data();
    void acknowledge_ofSomethingElse_isPassedOver();
    void acknowledge_twice_isHarmless();
    void acknowledge_storageLocked_comesAgain();
};

void TstOutbox::push_manyMessages_leavesFewUnacknowledged()
{
    const BusThread bus(resendingAfter(NEVER_MS));
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(sendMany(sender, 1, 200));
    QList<BusClient::Frame> pushed;
    QVERIFY(readMany(receiver, 1, 64, &pushed));
    QVERIFY(settle(sender));
    QVERIFY(!receiver.hasBytes());
    // Each acknowledgement makes room for one, and be it not that of the first.
    QVERIFY(receiver.acknowledge(pushed.takeAt(10)));
    QVERIFY(readMany(receiver, 65, 65, &pushed));
    QVERIFY(bus.waitForAcknowledged(1));
    QVERIFY(settle(sender));
    QVERIFY(!receiver.hasBytes());
    for (int number = 66; number <= 200; ++number) {
        QVERIFY(receiver.acknowledge(pushed.takeFirst()));
        QVERIFY(readMany(receiver, number, number, &pushed));
    }
    for (const BusClient::Frame& frame : qAsConst(pushed)) {
        QVERIFY(receiver.acknowledge(frame));
    }
    QVERIFY(bus.waitForAcknowledged(200));
}

// A client takes a message for new again once it has got 100 others.
void TstOutbox::push_oneNeverAcknowledged_neverFallsTooFarBehind()
{
    const BusThread bus(resendingAfter(NEVER_MS));
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(sendMany(sender, 1, 150));
    const BusClient::Frame first = receiver.read();
    for (int number = 2; number <= tarvex::busterms::MAX_PUSHED_SPAN; ++number) {
        const BusClient::Frame pushed = receiver.read();
        QCOMPARE(uidOf(pushed), QString::number(number));
        QVERIFY(receiver.acknowledge(pushed));
    }
    QVERIFY(bus.waitForAcknowledged(tarvex::busterms::MAX_PUSHED_SPAN - 1));
    QVERIFY(settle(sender));
    QVERIFY(!receiver.hasBytes());
    QVERIFY(receiver.acknowledge(first));
    QVERIFY(readMany(receiver, 100, 150));
}

void TstOutbox::push_afterFiveSeconds_comesAgain()
{
    const BusThread bus;
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(sendMany(sender, 1, 1));
    QVERIFY(readMany(receiver, 1, 1));
    QElapsedTimer clock;
    clock.start();
    QVERIFY(readMany(receiver, 1, 1));
    QVERIFY2(clock.elapsed() > 4500, qPrintable(QString::number(clock.elapsed())));
}

void TstOutbox::push_unacknowledged_comesAgainInOrder()
{
    const BusThread bus(resendingAfter(SOON_MS));
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    QVERIFY(sendMany(sender, 1, 20));
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(readMany(receiver, 1, 20));
    QVERIFY(readMany(receiver, 1, 20));
    QVERIFY(readMany(receiver, 1, 20));
}

void TstOutbox::push_acknowledged_doesNotComeAgain()
{
    const BusThread bus(resendingAfter(SOON_MS));
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(sendMany(sender, 1, 1));
    QVERIFY(receiver.acknowledge(receiver.read()));
    QVERIFY(bus.waitForAcknowledged(1));
    // The second is pushed several times; the first, were it to come at all, would come before it.
    QVERIFY(sendMany(sender, 2, 2));
    BusClient::Frame pushed = receiver.read();
    while (uidOf(pushed) == u"1"_s) {
        pushed = receiver.read(); // it may have been under way again before its acknowledgement came
    }
    for (int round = 0; round < 3; ++round) {
        QVERIFY(readMany(receiver, 2, 2));
    }
}

void TstOutbox::push_afterReconnection_comesAgainInOrder()
{
    const BusThread bus(resendingAfter(NEVER_MS));
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    QVERIFY(sendMany(sender, 1, 100));
    {
        BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
        QList<BusClient::Frame> pushed;
        QVERIFY(readMany(receiver, 1, 64, &pushed));
        QVERIFY(receiver.acknowledge(pushed.at(0)));
        QVERIFY(receiver.acknowledge(pushed.at(1)));
        QVERIFY(bus.waitForAcknowledged(2));
    }
    BusClient again(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(readMany(again, 3, 66));
}

// All of these together are some 25 MB on the wire.
void TstOutbox::push_toClientThatNeverReads_isBounded()
{
    BusServer::Options options = resendingAfter(NEVER_MS);
    options.isTracing = true;
    const BusThread bus(options);
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(sendMany(sender, 1, 60, noise(512 * 1024)));
    QVERIFY(settle(sender));
    const QString line = u"out receiver/b REQUEST sendMessage"_s;
    const int pushed = bus.traceLines().filter(line).size();
    QVERIFY2(pushed > 0 && pushed < 45, qPrintable(QString::number(pushed)));
    QVERIFY(readMany(receiver, 1, 60));
}

void TstOutbox::acknowledge_withCode_countsAsNone()
{
    const BusThread bus(resendingAfter(SOON_MS));
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(sendMany(sender, 1, 1));
    const BusClient::Frame pushed = receiver.read();
    QVERIFY(receiver.acknowledge(pushed, 4));
    QVERIFY(readMany(receiver, 1, 1));
    QVERIFY(readMany(receiver, 1, 1));
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY(bus.waitForAcknowledged(1));
    QCOMPARE(bus.acknowledgedUids(), QStringList{u"1"_s});
}

void TstOutbox::acknowledge_ofSomethingElse_isPassedOver_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("sender") << u"sender"_s;
    QTest::newRow("reciever") << u"reciever"_s;
    QTest::newRow("uid") << u"UID"_s;
}

void TstOutbox::acknowledge_ofSomethingElse_isPassedOver()
{
    QFETCH(QString, key);
    const BusThread bus(resendingAfter(SOON_MS));
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(sendMany(sender, 1, 1));
    BusClient::Frame pushed = receiver.read();
    const BusClient::Frame right = pushed;
    pushed.data.insert(key, u"another"_s);
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY(receiver.send(FakeBus::replyFrame(u"dance"_s, 0, QString(), right.data)));
    QVERIFY(readMany(receiver, 1, 1));
    QVERIFY(readMany(receiver, 1, 1));
    QVERIFY(bus.acknowledgedUids().isEmpty());
    QVERIFY(receiver.acknowledge(right));
    QVERIFY(bus.waitForAcknowledged(1));
}

void TstOutbox::acknowledge_twice_isHarmless()
{
    const BusThread bus(resendingAfter(NEVER_MS));
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(sendMany(sender, 1, 70));
    QList<BusClient::Frame> pushed;
    QVERIFY(readMany(receiver, 1, 64, &pushed));
    QVERIFY(receiver.acknowledge(pushed.at(0)));
    QVERIFY(receiver.acknowledge(pushed.at(0)));
    QVERIFY(receiver.acknowledge(pushed.at(1)));
    QVERIFY(readMany(receiver, 65, 66));
    QVERIFY(bus.waitForAcknowledged(2));
    QVERIFY(settle(sender));
    QVERIFY(!receiver.hasBytes());
}

void TstOutbox::acknowledge_storageLocked_comesAgain()
{
    const QTemporaryDir folder;
    BusServer::Options options = resendingAfter(SOON_MS);
    options.storagePath = folder.filePath(u"bus.sqlite"_s);
    const BusThread bus(options);
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, receiverName());
    QVERIFY(sendMany(sender, 1, 1));
    const BusClient::Frame pushed = receiver.read();
    {
        QSqlDatabase other = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"other"_s);
        other.setDatabaseName(options.storagePath);
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec(u"BEGIN IMMEDIATE"_s));
        QVERIFY(receiver.acknowledge(pushed));
        QVERIFY(readMany(receiver, 1, 1));
        QVERIFY(readMany(receiver, 1, 1));
        QVERIFY(bus.acknowledgedUids().isEmpty());
        QVERIFY(QSqlQuery(other).exec(u"COMMIT"_s));
        other.close();
    }
    QSqlDatabase::removeDatabase(u"other"_s);
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY(bus.waitForAcknowledged(1));
}

QTEST_GUILESS_MAIN(TstOutbox)
#include "tst_outbox.moc"
