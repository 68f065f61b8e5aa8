#include "busfault.h"

#include "kit.h"

#include <QElapsedTimer>

using tarvex::testing::BusFault;

/// Faults on purpose in the testing kit.
class TstBusFault : public KitTest
{
    Q_OBJECT
private Q_SLOTS:
    void fault_asText_data();
    void fault_asText();
    void narrowing_leavesTheOriginal();
    void addFault_happensToWhatFits();
    void addFault_nth_sparesTheOthers();
    void addFault_pushAgain_pushesTwice();
    void addFault_contradiction_isTold_data();
    void addFault_contradiction_isTold();
    void addFault_beforeStart_holds();
    void addFault_tooMany_isTold();
    void serveRequests_endsAllFaults();
    void ignoreRequests_sparesPushes();
    void waitForFaults_countsAll();
    void waitForFaults_none_tells();
};

void TstBusFault::fault_asText_data()
{
    QTest::addColumn<BusFault>("fault");
    QTest::addColumn<QString>("text");
    const auto row = [](const BusFault& fault, const QString& text) {
        QTest::newRow(qUtf8Printable(text)) << fault << text;
    };
    row(BusFault::error(TarvexError::StorageAccessError), u"do=\"error:512:Storage access error\""_s);
    row(BusFault::error(TarvexError::StorageAccessError, u"no"_s), u"do=error:512:no"_s);
    row(BusFault::silence(), u"do=silence"_s);
    row(BusFault::delay(500), u"do=delay:500"_s);
    row(BusFault::otherOperation(u"loadState"_s), u"do=operation:loadState"_s);
    row(BusFault::sizeLine(u"abc"_s), u"do=sizeline:abc"_s);
    row(BusFault::sizeOffset(-1), u"do=size:-1"_s);
    row(BusFault::pieces(10, 20), u"do=pieces:10:20"_s);
    row(BusFault::cut(5), u"do=cut:5"_s);
    row(BusFault::damage(), u"do=damage:3:base64"_s);
    row(BusFault::damage(1, BusFault::DamageLevel::Block), u"do=damage:1:block"_s);
    row(BusFault::pushAgain(), u"do=again"_s);
    row(BusFault::drop(), u"do=drop"_s);
    row(BusFault::limit(1000), u"do=limit:1000"_s);
    row(BusFault::drop()
            .forClient(printer())
            .onQueryPort()
            .forReplies()
            .forOperation(u"sendMessage"_s)
            .forCommand(print()),
        u"client=printer port=query frame=reply operation=sendMessage command=print do=drop"_s);
    row(BusFault::drop().onReceiverPort().forPushes(), u"port=receiver frame=push do=drop"_s);
    row(BusFault::drop().nth(3), u"nth=3 do=drop"_s);
    row(BusFault::drop().from(3), u"from=3 do=drop"_s);
    row(BusFault::drop().nth(3).once(), u"once do=drop"_s);
    row(BusFault::drop().withProbability(0.5, 7), u"probability=0.5 seed=7 do=drop"_s);
    row(BusFault::drop().withProbability(1, 7), u"probability=1 seed=7 do=drop"_s);
}

void TstBusFault::fault_asText()
{
    QFETCH(BusFault, fault);
    QFETCH(QString, text);
    QCOMPARE(fault.text(), text);
    QVERIFY2(m_bus->addFault(fault), qPrintable(m_bus->errorString()));
}

void TstBusFault::narrowing_leavesTheOriginal()
{
    const BusFault fault = BusFault::drop();
    BusFault narrowed = fault.forClient(printer());
    QCOMPARE(fault.text(), u"do=drop"_s);
    QCOMPARE(narrowed.text(), u"client=printer do=drop"_s);
    narrowed = fault;
    QCOMPARE(narrowed.text(), u"do=drop"_s);
}

void TstBusFault::addFault_happensToWhatFits()
{
    //! [add]
    const BusFault slow = BusFault::delay(500).forClient(QStringLiteral("printer"));
    QVERIFY2(m_bus->addFault(slow.forOperation(QStringLiteral("saveState")).once()), qPrintable(m_bus->errorString()));
    //! [add]
    OpenClient client;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(client.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(clock.elapsed() >= 500);
    QVERIFY2(m_bus->waitForFaults(1), qPrintable(m_bus->errorString()));
}

void TstBusFault::addFault_nth_sparesTheOthers()
{
    QVERIFY(m_bus->addFault(BusFault::error(TarvexError::StorageAccessError).forOperation(u"saveState"_s).nth(2)));
    BusClient client(BusClient::QUERY_PORT, printer());
    QList<int> codes;
    for (int number = 1; number <= 3; ++number) {
        codes.append(client.ask(u"saveState"_s, stateOf(printer(), u"1"_s).toVariantMap()).code);
    }
    QCOMPARE(codes, (QList<int>{0, 512, 0}));
}

void TstBusFault::addFault_pushAgain_pushesTwice()
{
    QVERIFY(m_bus->addFault(BusFault::pushAgain().forCommand(print())));
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    const QString uid = m_bus->sendCommand(cashbox(), printer(), print());
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(pushed.uid(), uid);
    QVERIFY(receiver.acknowledge(pushed));
    QCOMPARE(receiver.read().envelope, pushed.envelope);
    QVERIFY(m_bus->waitForAcknowledged(uid));
}

void TstBusFault::addFault_contradiction_isTold_data()
{
    QTest::addColumn<BusFault>("fault");
    QTest::addColumn<QString>("error");
    QTest::newRow("push with an error") << BusFault::error(TarvexError::StorageAccessError).forPushes()
                                        << u"do=error applies to replies only, not with frame=push"_s;
    QTest::newRow("number") << BusFault::delay(-1) << u"do=delay needs a time in ms from 1 to 600000, not -1"_s;
}

void TstBusFault::addFault_contradiction_isTold()
{
    QFETCH(BusFault, fault);
    QFETCH(QString, error);
    QVERIFY(!m_bus->addFault(fault));
    QCOMPARE(m_bus->errorString(), error);
}

void TstBusFault::addFault_beforeStart_holds()
{
    m_bus = std::make_unique<TestBus>();
    QVERIFY(m_bus->addFault(BusFault::error(TarvexError::UnregisteredClient).forOperation(u"handshake"_s).nth(2)));
    QVERIFY(!m_bus->addFault(BusFault::delay(0)));
    QVERIFY(m_bus->start());
    BusClient client(BusClient::QUERY_PORT);
    const QVariantMap name{{u"name"_s, printer()}};
    QCOMPARE(client.ask(u"handshake"_s, name).code, 0);
    QVERIFY(m_bus->restart()); // goes on counting
    BusClient again(BusClient::QUERY_PORT);
    QCOMPARE(again.ask(u"handshake"_s, name).code, 3);
}

void TstBusFault::addFault_tooMany_isTold()
{
    for (int number = 0; number < 256; ++number) {
        QVERIFY(m_bus->addFault(BusFault::drop().forClient(cashbox())));
    }
    QVERIFY(!m_bus->addFault(BusFault::drop()));
    QCOMPARE(m_bus->errorString(), u"there are 256 faults already, and no more are possible"_s);
}

void TstBusFault::serveRequests_endsAllFaults()
{
    QVERIFY(m_bus->addFault(BusFault::drop()));
    m_bus->ignoreRequests(QString());
    m_bus->serveRequests();
    OpenClient client;
    QVERIFY(client.saveState(stateOf(QString(), u"1"_s)));
}

void TstBusFault::ignoreRequests_sparesPushes()
{
    BusClient receiver(BusClient::RECEIVER_PORT, printer());
    m_bus->ignoreRequests(QString());
    const QString uid = m_bus->sendCommand(cashbox(), printer(), print());
    QCOMPARE(receiver.read().uid(), uid);
}

void TstBusFault::waitForFaults_countsAll()
{
    QVERIFY(m_bus->addFault(BusFault::error(TarvexError::StorageAccessError).forOperation(u"saveState"_s)));
    QVERIFY(m_bus->addFault(BusFault::error(TarvexError::StorageAccessError).forOperation(u"loadState"_s)));
    BusClient client(BusClient::QUERY_PORT, printer());
    QCOMPARE(client.ask(u"saveState"_s, {}).code, 512);
    QCOMPARE(client.ask(u"loadState"_s, {}).code, 512);
    QVERIFY(m_bus->waitForFaults(2));
    QVERIFY(!m_bus->waitForFaults(3, SHORT_MS));
}

void TstBusFault::waitForFaults_none_tells()
{
    const OpenClient client;
    QVERIFY(!m_bus->waitForFaults(1, SHORT_MS));
    QVERIFY2(m_bus->errorString().startsWith(u"1 frames have not met a fault"_s), qPrintable(m_bus->errorString()));
}

QTEST_GUILESS_MAIN(TstBusFault)
#include "tst_busfault.moc"
