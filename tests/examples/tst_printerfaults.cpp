// A service on the library meets every fault on purpose once, and goes on afterwards.

#include "busfault.h"
#include "client/supportedclients.h"
#include "literals.h"
#include "printerservice.h"
#include "printerstate.h"
#include "reconnection.h"
#include "testbus.h"

#include <QTest>

#include <memory>
#include <optional>

using reconnection::letConnectionsAge;
using tarvex::BUSNAME_TICKET_PRINTER;
using tarvex::TarvexError;
using tarvex::testing::BusFault;
using tarvex::testing::TestBus;

namespace {

/// The library's time-out for a reply, its pause before it connects again, and room for a loaded machine.
constexpr int PATIENCE_MS = 90000;
/// In this time a service answers that can; together the tries are longer than the time-out for a reply.
constexpr int TRY_MS = 3000;
constexpr int MAX_TRIES = 30;

QString cashbox()
{
    return u"cashbox"_s;
}

} // namespace

class TstPrinterFaults : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void handshake_withFault_isRepeated_data();
    void handshake_withFault_isRepeated();
    void report_withFault_leavesServiceInOrder_data();
    void report_withFault_leavesServiceInOrder();
    void command_withFault_isCarriedOutOnce_data();
    void command_withFault_isCarriedOutOnce();

private:
    void startService();
    QString sendPrint();
    /// What is left after this command. -1 when nothing has answered.
    int paperLeftAfter(const QString& uid);

    std::unique_ptr<TestBus> m_bus;
    std::unique_ptr<PrinterService> m_service;
};

void TstPrinterFaults::init()
{
    m_bus = std::make_unique<TestBus>();
    QVERIFY2(m_bus->start(), qPrintable(m_bus->errorString()));
    m_service = std::make_unique<PrinterService>(BUSNAME_TICKET_PRINTER);
}

void TstPrinterFaults::cleanup()
{
    m_service.reset(); // before its bus, because it would try to come back
    m_bus.reset();
}

void TstPrinterFaults::startService()
{
    m_service->doStart();
    QVERIFY2(m_bus->waitForClient(BUSNAME_TICKET_PRINTER, PATIENCE_MS), qPrintable(m_bus->errorString()));
    QVERIFY2(m_bus->waitForState(BUSNAME_TICKET_PRINTER, PATIENCE_MS), qPrintable(m_bus->errorString()));
}

QString TstPrinterFaults::sendPrint()
{
    return m_bus->sendCommand(cashbox(), BUSNAME_TICKET_PRINTER, u"print"_s, {{u"text"_s, u"zone A"_s}});
}

int TstPrinterFaults::paperLeftAfter(const QString& uid)
{
    const auto answer = m_bus->waitForReply(uid, PATIENCE_MS);
    return answer ? answer->data().value(u"paperLeft"_s, -1).toInt() : -1;
}

void TstPrinterFaults::handshake_withFault_isRepeated_data()
{
    QTest::addColumn<BusFault>("fault");
    const auto row = [](const BusFault& fault) {
        const BusFault narrowed = fault.forOperation(u"handshake"_s).once();
        QTest::newRow(qUtf8Printable(u"query: "_s + fault.text())) << narrowed.onQueryPort();
        QTest::newRow(qUtf8Printable(u"receiver: "_s + fault.text())) << narrowed.onReceiverPort();
    };
    row(BusFault::error(TarvexError::UnregisteredClient));
    row(BusFault::delay(200));
    row(BusFault::cut(7));
    row(BusFault::drop());
}

void TstPrinterFaults::handshake_withFault_isRepeated()
{
    QFETCH(BusFault, fault);
    QVERIFY(m_bus->addFault(fault));
    startService();
    QVERIFY2(m_bus->waitForFaults(1), qPrintable(m_bus->errorString()));
    QVERIFY2(paperLeftAfter(sendPrint()) == PrinterState::PAPER_ROLL - 1, qPrintable(m_bus->errorString()));
}

void TstPrinterFaults::report_withFault_leavesServiceInOrder_data()
{
    QTest::addColumn<BusFault>("fault");
    const auto row = [](const BusFault& fault) {
        QTest::newRow(qUtf8Printable(fault.text())) << fault.forOperation(u"saveState"_s).once();
    };
    row(BusFault::error(TarvexError::StorageAccessError));
    row(BusFault::silence()); // the one that takes 30 s
    row(BusFault::delay(300));
    row(BusFault::otherOperation(u"loadState"_s));
    row(BusFault::sizeLine(u"abc"_s));
    row(BusFault::sizeLine(u"99999999999"_s));
    row(BusFault::sizeOffset(1));
    row(BusFault::sizeOffset(-1));
    row(BusFault::pieces(10, 2));
    row(BusFault::cut(20));
    row(BusFault::damage());
    row(BusFault::damage(3, BusFault::DamageLevel::Block));
    row(BusFault::drop());
    row(BusFault::limit(5000));
}

/// The fault concerns the report of a state. The service has to be able to ask the bus afterwards.
void TstPrinterFaults::report_withFault_leavesServiceInOrder()
{
    QFETCH(BusFault, fault);
    startService();
    letConnectionsAge(); // so that they are made anew at once
    QVERIFY(m_bus->addFault(fault));
    QVERIFY(!sendPrint().isEmpty()); // leads to a report
    QVERIFY2(m_bus->waitForFaults(1), qPrintable(m_bus->errorString()));
    int printed = 1;
    std::optional<TarvexCommand> answer;
    while (!answer && printed < MAX_TRIES) { // what it answers while it has no query connection is lost
        const QString uid = sendPrint();
        ++printed;
        answer = m_bus->waitForReply(uid, TRY_MS);
    }
    QVERIFY2(answer, qPrintable(m_bus->errorString()));
    QCOMPARE(answer->data().value(u"paperLeft"_s).toInt(), PrinterState::PAPER_ROLL - printed);
}

void TstPrinterFaults::command_withFault_isCarriedOutOnce_data()
{
    QTest::addColumn<BusFault>("fault");
    const auto row = [](const BusFault& fault) {
        QTest::newRow(qUtf8Printable(fault.text())) << fault.forPushes().forCommand(u"print"_s).once();
    };
    row(BusFault::silence());
    row(BusFault::delay(300));
    row(BusFault::sizeLine(u"abc"_s));
    row(BusFault::sizeOffset(1));
    row(BusFault::sizeOffset(-1));
    row(BusFault::pieces(10, 2));
    row(BusFault::cut(20));
    row(BusFault::damage());
    row(BusFault::damage(3, BusFault::DamageLevel::Block));
    row(BusFault::pushAgain());
    row(BusFault::drop());
    row(BusFault::limit(5000));
}

/// The fault concerns the push of a command. The bus pushes it again until it is acknowledged, and the service must
/// carry it out once.
void TstPrinterFaults::command_withFault_isCarriedOutOnce()
{
    QFETCH(BusFault, fault);
    startService();
    letConnectionsAge();
    QVERIFY(m_bus->addFault(fault));
    const QString uid = sendPrint();
    QVERIFY2(m_bus->waitForFaults(1, PATIENCE_MS), qPrintable(m_bus->errorString()));
    QVERIFY2(paperLeftAfter(uid) == PrinterState::PAPER_ROLL - 1, qPrintable(m_bus->errorString()));
    QVERIFY2(paperLeftAfter(sendPrint()) == PrinterState::PAPER_ROLL - 2, qPrintable(m_bus->errorString()));
}

QTEST_GUILESS_MAIN(TstPrinterFaults)
#include "tst_printerfaults.moc"
