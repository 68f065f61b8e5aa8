#include "childprocess.h"
#include "fakebus.h"
#include "literals.h"

#include <QTest>

namespace {

const QString LOAD = u"loadSettings"_s;
const QString LOAD_LIST = u"loadSettingsList"_s;
const QString SAVE = u"saveSettings"_s;

/// A bus that has no settings. It answers "loadSettingsList" with this code, and with an empty list if the code is 0.
FakeBus::Action busAnswering(int listCode)
{
    return [listCode](FakeBus::Peer& peer, const FakeBus::Request& request) {
        if (request.operation == LOAD) {
            peer.send(FakeBus::replyFrame(LOAD, listCode == 0 ? 5 : listCode, u"none"_s));
        } else if (request.operation == LOAD_LIST && listCode == 0) {
            peer.send(FakeBus::replyFrame(LOAD_LIST, 0, {}, {{u"settingsList"_s, QVariantList()}}));
        } else if (request.operation == LOAD_LIST) {
            peer.send(FakeBus::replyFrame(LOAD_LIST, listCode, u"none"_s));
        } else {
            FakeBus::answer(peer, request);
        }
    };
}

QStringList operationsOf(const FakeBus& bus)
{
    QStringList operations;
    const QList<FakeBus::Request> requests = bus.requests();
    for (const FakeBus::Request& request : requests) {
        operations.append(request.operation);
    }
    return operations;
}

} // namespace

/// The examples that store their defaults, on a bus that has no settings for them or cannot read the settings.
class TstFirstStart : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void busHasNone_defaultsAreStored_data();
    void busHasNone_defaultsAreStored();
    void busCannotTell_nothingIsStored_data();
    void busCannotTell_nothingIsStored();
};

void TstFirstStart::busHasNone_defaultsAreStored_data()
{
    QTest::addColumn<QString>("service");
    QTest::newRow("echo") << QStringLiteral(ECHO_SERVICE);
    QTest::newRow("ticket printer") << QStringLiteral(PRINTER_SERVICE);
}

void TstFirstStart::busHasNone_defaultsAreStored()
{
    QFETCH(QString, service);
    FakeBus bus;
    const FakeBus receiver(FakeBus::RECEIVER_PORT);
    bus.willAlwaysDo(busAnswering(0));
    ChildProcess process(service, {});
    process.start();
    QTRY_VERIFY_WITH_TIMEOUT(operationsOf(bus).contains(SAVE), 30000);
    const QStringList before = operationsOf(bus).mid(0, operationsOf(bus).indexOf(SAVE));
    QVERIFY(before.contains(LOAD) && before.contains(LOAD_LIST));
    QCOMPARE(process.terminate(), 0);
}

void TstFirstStart::busCannotTell_nothingIsStored_data()
{
    QTest::addColumn<QString>("service");
    QTest::addColumn<int>("code");
    for (const int code : {5, 256, 512}) {
        QTest::addRow("echo, code %d", code) << QStringLiteral(ECHO_SERVICE) << code;
        QTest::addRow("ticket printer, code %d", code) << QStringLiteral(PRINTER_SERVICE) << code;
    }
}

// The bus may have a customer's settings, and saved defaults would replace them.
void TstFirstStart::busCannotTell_nothingIsStored()
{
    QFETCH(QString, service);
    QFETCH(int, code);
    FakeBus bus;
    const FakeBus receiver(FakeBus::RECEIVER_PORT);
    bus.willAlwaysDo(busAnswering(code));
    ChildProcess process(service, {});
    process.start();
    // Requests keep their order, so the report of the state comes after anything that the service might store.
    QTRY_VERIFY_WITH_TIMEOUT(operationsOf(bus).contains(u"saveState"_s), 30000);
    QVERIFY(operationsOf(bus).contains(LOAD_LIST));
    QVERIFY(!operationsOf(bus).contains(SAVE));
    QCOMPARE(process.terminate(), 0);
}

QTEST_GUILESS_MAIN(TstFirstStart)
#include "tst_firststart.moc"
