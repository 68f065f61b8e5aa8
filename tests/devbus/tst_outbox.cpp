#include "outbox.h"

#include "desk.h"
#include "otherprogram.h"
#include "wire/busterms_p.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

using tarvex::devbus::BusServer;

namespace {

constexpr int NEVER_MS = 600000;
constexpr int SOON_MS = 100;

BusServer::Options resendingAfter(int ms, const QString& storagePath = QString())
{
    BusServer::Options options = storingIn(storagePath);
    options.resendMs = ms;
    return options;
}

/// A desk with the receiver connection of a client "b".
struct Pair : Desk
{
    explicit Pair(const BusServer::Options& options) : Desk(options) { }

    /// Messages for "b" with the uids \a first to \a last.
    bool sendMany(int first, int last, const QString& text = u"text"_s)
    {
        return Desk::sendMany(u"b"_s, first, last, text);
    }

    BusClient receiver{BusClient::RECEIVER_PORT, u"b"_s};
};

/// Reads pushed messages and expects the uids \a first to \a last.
bool readMany(BusClient& receiver, int first, int last, QList<BusClient::Frame>* pushed = nullptr)
{
    for (int number = first; number <= last; ++number) {
        const BusClient::Frame frame = receiver.read();
        if (frame.isReply || frame.uid() != QString::number(number)) {
            qWarning("expected %d, got %s", number, qPrintable(frame.uid()));
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
    Pair pair(resendingAfter(NEVER_MS));
    QVERIFY(pair.sendMany(1, 200));
    QList<BusClient::Frame> pushed;
    QVERIFY(readMany(pair.receiver, 1, 64, &pushed));
    QVERIFY(pair.receiver.isQuiet());
    // Each acknowledgement makes room for one message, also when it is not for the first.
    QVERIFY(pair.receiver.acknowledge(pushed.takeAt(10)));
    QVERIFY(readMany(pair.receiver, 65, 65, &pushed));
    QVERIFY(pair.bus.waitForAcknowledged(1));
    QVERIFY(pair.receiver.isQuiet());
    for (int number = 66; number <= 200; ++number) {
        QVERIFY(pair.receiver.acknowledge(pushed.takeFirst()));
        QVERIFY(readMany(pair.receiver, number, number, &pushed));
    }
    for (const BusClient::Frame& frame : qAsConst(pushed)) {
        QVERIFY(pair.receiver.acknowledge(frame));
    }
    QVERIFY(pair.bus.waitForAcknowledged(200));
}

// A client that has got 100 other messages takes a repeated one for a new one.
void TstOutbox::push_oneNeverAcknowledged_neverFallsTooFarBehind()
{
    Pair pair(resendingAfter(NEVER_MS));
    QVERIFY(pair.sendMany(1, 150));
    const BusClient::Frame first = pair.receiver.read();
    for (int number = 2; number <= tarvex::busterms::MAX_PUSHED_SPAN; ++number) {
        const BusClient::Frame pushed = pair.receiver.read();
        QCOMPARE(pushed.uid(), QString::number(number));
        QVERIFY(pair.receiver.acknowledge(pushed));
    }
    QVERIFY(pair.bus.waitForAcknowledged(tarvex::busterms::MAX_PUSHED_SPAN - 1));
    QVERIFY(pair.receiver.isQuiet());
    QVERIFY(pair.receiver.acknowledge(first));
    QVERIFY(readMany(pair.receiver, 100, 150));
}

void TstOutbox::push_afterFiveSeconds_comesAgain()
{
    Pair pair{BusServer::Options()};
    QVERIFY(pair.sendMany(1, 1));
    QVERIFY(readMany(pair.receiver, 1, 1));
    QElapsedTimer clock;
    clock.start();
    QVERIFY(readMany(pair.receiver, 1, 1));
    QVERIFY2(clock.elapsed() > 4500, qPrintable(QString::number(clock.elapsed())));
}

void TstOutbox::push_unacknowledged_comesAgainInOrder()
{
    Desk desk(resendingAfter(SOON_MS));
    QVERIFY(desk.sendMany(u"b"_s, 1, 20));
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    for (int round = 0; round < 3; ++round) {
        QVERIFY(readMany(receiver, 1, 20));
    }
}

void TstOutbox::push_acknowledged_doesNotComeAgain()
{
    Pair pair(resendingAfter(SOON_MS));
    QVERIFY(pair.sendMany(1, 1));
    QVERIFY(pair.receiver.acknowledge(pair.receiver.read()));
    QVERIFY(pair.bus.waitForAcknowledged(1));
    // The second message is pushed several times. If the first came again, it would come before the second.
    QVERIFY(pair.sendMany(2, 2));
    BusClient::Frame pushed = pair.receiver.read();
    while (pushed.uid() == u"1"_s) {
        pushed = pair.receiver.read(); // the bus may have pushed it again before its acknowledgement came
    }
    for (int round = 0; round < 3; ++round) {
        QVERIFY(readMany(pair.receiver, 2, 2));
    }
}

void TstOutbox::push_afterReconnection_comesAgainInOrder()
{
    Desk desk(resendingAfter(NEVER_MS));
    QVERIFY(desk.sendMany(u"b"_s, 1, 100));
    {
        BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
        QList<BusClient::Frame> pushed;
        QVERIFY(readMany(receiver, 1, 64, &pushed));
        QVERIFY(receiver.acknowledge(pushed.at(0)));
        QVERIFY(receiver.acknowledge(pushed.at(1)));
        QVERIFY(desk.bus.waitForAcknowledged(2));
    }
    BusClient again(BusClient::RECEIVER_PORT, u"b"_s);
    QVERIFY(readMany(again, 3, 66));
}

// These messages together have some 25 MB on the wire.
void TstOutbox::push_toClientThatNeverReads_isBounded()
{
    BusServer::Options options = resendingAfter(NEVER_MS);
    options.isTracing = true;
    Pair pair(options);
    QVERIFY(pair.sendMany(1, 60, noise(512 * 1024)));
    const QString line = u"out receiver/b REQUEST sendMessage"_s;
    const int pushed = pair.bus.traceLines().filter(line).size();
    QVERIFY2(pushed > 0 && pushed < 45, qPrintable(QString::number(pushed)));
    QVERIFY(readMany(pair.receiver, 1, 60));
}

void TstOutbox::acknowledge_withCode_countsAsNone()
{
    Pair pair(resendingAfter(SOON_MS));
    QVERIFY(pair.sendMany(1, 1));
    const BusClient::Frame pushed = pair.receiver.read();
    QVERIFY(pair.receiver.acknowledge(pushed, 4));
    QVERIFY(readMany(pair.receiver, 1, 1) && readMany(pair.receiver, 1, 1));
    QVERIFY(pair.receiver.acknowledge(pushed));
    QVERIFY(pair.bus.waitForAcknowledged(1));
    QCOMPARE(pair.bus.acknowledgedUids(), QStringList{u"1"_s});
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
    Pair pair(resendingAfter(SOON_MS));
    QVERIFY(pair.sendMany(1, 1));
    BusClient::Frame pushed = pair.receiver.read();
    const BusClient::Frame right = pushed;
    pushed.data.insert(key, u"another"_s);
    QVERIFY(pair.receiver.acknowledge(pushed));
    QVERIFY(pair.receiver.send(FakeBus::replyFrame(u"dance"_s, 0, QString(), right.data)));
    QVERIFY(readMany(pair.receiver, 1, 1) && readMany(pair.receiver, 1, 1));
    QVERIFY(pair.bus.acknowledgedUids().isEmpty());
    QVERIFY(pair.receiver.acknowledge(right));
    QVERIFY(pair.bus.waitForAcknowledged(1));
}

void TstOutbox::acknowledge_twice_isHarmless()
{
    Pair pair(resendingAfter(NEVER_MS));
    QVERIFY(pair.sendMany(1, 70));
    QList<BusClient::Frame> pushed;
    QVERIFY(readMany(pair.receiver, 1, 64, &pushed));
    QVERIFY(pair.receiver.acknowledge(pushed.at(0)));
    QVERIFY(pair.receiver.acknowledge(pushed.at(0)));
    QVERIFY(pair.receiver.acknowledge(pushed.at(1)));
    QVERIFY(readMany(pair.receiver, 65, 66));
    QVERIFY(pair.bus.waitForAcknowledged(2));
    QVERIFY(pair.receiver.isQuiet());
}

void TstOutbox::acknowledge_storageLocked_comesAgain()
{
    const QTemporaryDir folder;
    Pair pair(resendingAfter(SOON_MS, folder.filePath(u"bus.sqlite"_s)));
    QVERIFY(pair.sendMany(1, 1));
    const BusClient::Frame pushed = pair.receiver.read();
    {
        OtherProgram other(folder.filePath(u"bus.sqlite"_s));
        QVERIFY(other.lock());
        QVERIFY(pair.receiver.acknowledge(pushed));
        QVERIFY(readMany(pair.receiver, 1, 1));
        QVERIFY(readMany(pair.receiver, 1, 1));
        QVERIFY(pair.bus.acknowledgedUids().isEmpty());
    }
    QVERIFY(pair.receiver.acknowledge(pushed));
    QVERIFY(pair.bus.waitForAcknowledged(1));
}

QTEST_GUILESS_MAIN(TstOutbox)
#include "tst_outbox.moc"
