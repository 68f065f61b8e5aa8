#include "busclient.h"
#include "client/tarvexqueryhandler.h"
#include "devbusprogram.h"
#include "samples.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>

using samples::messageTo;
using samples::owned;
using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::TarvexQueryHandler;

/// What the bus keeps when it is killed, when a client goes away, and when the disk is full.
class TstTarvexDevbusDurability : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void killed_rightAfterReplies_keepsEverything();
    void killed_inTheMidst_keepsWhatWasConfirmed();
    void killed_unacknowledgedMessages_comeAgain();
    void acknowledgements_beforeReset_areTakenLate_data();
    void acknowledgements_beforeReset_areTakenLate();
    void diskFull_isReportedAndServiceGoesOn();

private:
    QStringList storing() const { return {u"--storage"_s, m_folder->filePath(u"bus.sqlite"_s)}; }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstTarvexDevbusDurability::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    qputenv("XDG_RUNTIME_DIR", m_folder->path().toUtf8());
}

void TstTarvexDevbusDurability::killed_rightAfterReplies_keepsEverything()
{
    DevbusProgram program(storing());
    QVERIFY(program.becomesReady());
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const ClientState state = samples::someState(u"printer"_s);
    const ClientSettings settings = samples::someSettings(u"printer"_s);
    QVERIFY(handler.saveSettings(QList<ClientSettings>{settings, samples::someSettings(u"removed"_s)}));
    QVERIFY(handler.subscribe(u"cashbox"_s, 2));
    QVERIFY(handler.subscribe(QStringList{u"door"_s}));
    QVERIFY(handler.unsubscribe({u"door"_s}));
    QVERIFY(handler.saveState(state));
    QVERIFY(handler.sendMessage(samples::someMessage(u"cashbox"_s, u"hello"_s)));
    QVERIFY(handler.removeSettings(u"removed"_s));
    QVERIFY(program.killHard());

    QVERIFY(program.becomesReady());
    TarvexQueryHandler reader(u"printer"_s);
    QVERIFY(reader.open());
    ClientState foundState;
    QVERIFY(reader.loadState(QString(), foundState));
    QVERIFY(foundState == state);
    ClientSettings foundSettings;
    QVERIFY(reader.loadSettings(QString(), foundSettings));
    QVERIFY(foundSettings == settings);
    QList<ClientSettings> foundList;
    QVERIFY(reader.loadSettings(QStringList{u"removed"_s, u"printer"_s}, foundList));
    QCOMPARE(foundList.size(), 1);
    QVERIFY(!reader.loadSettings(u"removed"_s, foundSettings));
    BusClient cashbox(BusClient::RECEIVER_PORT, u"cashbox"_s);
    QCOMPARE(cashbox.read().data.value(u"message"_s).toString(), u"hello"_s);
    BusClient publisher(BusClient::QUERY_PORT, u"cashbox"_s);
    QCOMPARE(publisher.ask(u"sendMessage"_s, messageTo(QString(), u"to all"_s)).code, 0);
    BusClient subscriber(BusClient::RECEIVER_PORT, u"printer"_s);
    QVERIFY(subscriber.acknowledge(subscriber.read())); // the announcement of its settings
    QCOMPARE(subscriber.read().uid(), u"to all"_s);
}

void TstTarvexDevbusDurability::killed_inTheMidst_keepsWhatWasConfirmed()
{
    int confirmed = 0;
    for (int round = 0; round < 5; ++round) {
        DevbusProgram program(storing());
        QVERIFY(program.becomesReady());
        BusClient client(BusClient::QUERY_PORT, u"a"_s);
        for (int number = 0; number < confirmed; ++number) {
            QCOMPARE(client.ask(u"loadState"_s, owned(QString::number(number))).code, 0);
        }
        QByteArray requests;
        for (int number = 0; number < 300; ++number) {
            QVariantMap state = owned(QString::number(confirmed + number));
            state.insert(u"state"_s, QString(5000, QLatin1Char('x')));
            requests += FakeBus::requestFrame(u"saveState"_s, state);
        }
        QVERIFY(client.send(requests));
        for (int number = 0; number < 20 * round + 1; ++number) {
            QCOMPARE(client.read().code, 0);
            ++confirmed;
        }
        QVERIFY(program.killHard());
    }
}

void TstTarvexDevbusDurability::killed_unacknowledgedMessages_comeAgain()
{
    DevbusProgram program(storing());
    QVERIFY(program.becomesReady());
    {
        BusClient sender(BusClient::QUERY_PORT, u"a"_s);
        BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
        for (const QString& uid : {u"1"_s, u"2"_s, u"3"_s}) {
            QCOMPARE(sender.ask(u"sendMessage"_s, messageTo(u"b"_s, uid)).code, 0);
        }
        const BusClient::Frame first = receiver.read();
        QVERIFY(receiver.read().isValid);
        QVERIFY(receiver.acknowledge(first));
        // The bus answers this after it has dealt with the acknowledgement.
        QCOMPARE(receiver.read().uid(), u"3"_s);
        QCOMPARE(receiver.ask(u"dance"_s, {}).code, 4);
        QVERIFY(program.killHard());
    }
    QVERIFY(program.becomesReady());
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QCOMPARE(receiver.read().uid(), u"2"_s);
    QCOMPARE(receiver.read().uid(), u"3"_s);
}

void TstTarvexDevbusDurability::acknowledgements_beforeReset_areTakenLate_data()
{
    QTest::addColumn<bool>("hasMoreToPush");
    QTest::newRow("nothing new") << false;
    QTest::newRow("more to push") << true;
}

/// When a client ends without having read everything, its system sends the bus a reset. What the client has sent before
/// that still counts, even when the bus notices both at once.
void TstTarvexDevbusDurability::acknowledgements_beforeReset_areTakenLate()
{
    QFETCH(bool, hasMoreToPush);
    constexpr int ACKNOWLEDGED = 40;
    constexpr int SENT = 60;
    DevbusProgram program(storing());
    QVERIFY(program.becomesReady());
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    {
        BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
        for (int number = 1; number <= SENT; ++number) {
            QCOMPARE(sender.ask(u"sendMessage"_s, messageTo(u"b"_s, QString::number(number))).code, 0);
        }
        QList<BusClient::Frame> pushed;
        for (int number = 1; number <= ACKNOWLEDGED; ++number) {
            pushed.append(receiver.read());
            QVERIFY(pushed.last().isValid);
        }
        QVERIFY(receiver.hasBytes());
        program.hang();
        if (hasMoreToPush) {
            QVERIFY(sender.sendRequest(u"sendMessage"_s, messageTo(u"b"_s, u"new"_s)));
        }
        for (const BusClient::Frame& frame : qAsConst(pushed)) {
            QVERIFY(receiver.acknowledge(frame));
        }
        // A reset drops the bytes that have not left this side yet.
        QTRY_VERIFY_WITH_TIMEOUT(receiver.hasSentAll(), ChildProcess::PATIENCE_MS);
    }
    program.resume();
    if (hasMoreToPush) {
        QCOMPARE(sender.read().code, 0);
    }
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    for (int number = ACKNOWLEDGED + 1; number <= SENT; ++number) {
        QCOMPARE(receiver.read().uid(), QString::number(number));
    }
}

void TstTarvexDevbusDurability::diskFull_isReportedAndServiceGoesOn()
{
    // 400 blocks of 512 bytes are the largest file it may write.
    DevbusProgram program(u"trap '' XFSZ; ulimit -f 400"_s, storing());
    QVERIFY(program.becomesReady());
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    QVariantMap state = owned(u"a"_s);
    state.insert(u"state"_s, QString(1024 * 1024, QLatin1Char('x')));
    QCOMPARE(client.ask(u"saveState"_s, state).code, 512);
    QCOMPARE(client.ask(u"saveState"_s, state).code, 512);
    state.insert(u"state"_s, u"small"_s);
    QCOMPARE(client.ask(u"saveState"_s, state).code, 0);
    const BusClient::Frame loaded = client.ask(u"loadState"_s, owned(u"a"_s));
    QCOMPARE(loaded.data.value(u"state"_s).toString(), u"small"_s);
    QCOMPARE(program.terminate(), 0);
    // The bus does not complain once for each request.
    const QStringList errors = program.errorLines();
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors.constFirst().startsWith(u"tarvex-devbus: the storage fails: "_s), qPrintable(errors.constFirst()));
}

QTEST_GUILESS_MAIN(TstTarvexDevbusDurability)
#include "tst_tarvexdevbus_durability.moc"
