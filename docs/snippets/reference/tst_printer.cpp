// The test of a service, with a bus of its own and with faults. A program of QtTest.

#include <tarvexcontroller.h>
#include <tarvexmsgworker.h>
#include <tarvexqueryworker.h>
#include <testbus.h>

#include <QTest>

using tarvex::Message;
using tarvex::testing::BusFault;
using tarvex::testing::TestBus;

namespace {

/// Answers every command with "printed".
class PrinterQueries : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    PrinterQueries() : TarvexQueryWorker(60000, QStringLiteral("printer")) { }

    void doSendState() override { handler->saveState(tarvex::ClientState()); }

    void doApplySettings(tarvex::ClientSettings settings) override { Q_UNUSED(settings) }

public Q_SLOTS:

    void answer(Message message)
    {
        TarvexCommand command;
        if (TarvexCommand::incomingMessageToCmd(message, command)) {
            command.setName(QStringLiteral("printed"));
            handler->sendMessage(command.toOutgoingMessage());
        }
    }
};

class Printer : public tarvex::TarvexController
{
public:
    Printer() : TarvexController(0, QStringLiteral("printer"), nullptr) { }

    void doStart() override
    {
        auto* const messages = new tarvex::TarvexMsgWorker(QStringLiteral("printer"));
        auto* const queries = new PrinterQueries;
        connect(messages, SIGNAL(unprocessedMessage(Message)), queries, SLOT(answer(Message)), Qt::QueuedConnection);
        initWorkers(messages, queries);
    }
};

} // namespace

class TstPrinter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void print_isAnswered();
    void print_pushedTwice_isAnsweredOnce();
};

void TstPrinter::print_isAnswered()
{
    //! [bus]
    TestBus bus;
    QVERIFY2(bus.start(), qPrintable(bus.errorString()));
    Printer printer; // the service
    printer.doStart();
    QVERIFY2(bus.waitForClient(QStringLiteral("printer")), qPrintable(bus.errorString()));
    const QString uid = bus.sendCommand(QStringLiteral("cashbox"), QStringLiteral("printer"), QStringLiteral("print"));
    const auto reply = bus.waitForReply(uid);
    QVERIFY2(reply, qPrintable(bus.errorString()));
    QCOMPARE(reply->name(), QStringLiteral("printed"));
    //! [bus]
}

void TstPrinter::print_pushedTwice_isAnsweredOnce()
{
    TestBus bus;
    QVERIFY2(bus.start(), qPrintable(bus.errorString()));
    //! [fault]
    bus.addFault(BusFault::delay(50).forClient(QStringLiteral("printer")).forOperation(QStringLiteral("sendMessage")));
    bus.addFault(BusFault::pushAgain().forCommand(QStringLiteral("print")).once());
    //! [fault]
    Printer printer;
    printer.doStart();
    QVERIFY2(bus.waitForClient(QStringLiteral("printer")), qPrintable(bus.errorString()));
    const QString uid = bus.sendCommand(QStringLiteral("cashbox"), QStringLiteral("printer"), QStringLiteral("print"));
    QVERIFY2(bus.waitForReply(uid), qPrintable(bus.errorString()));
    QVERIFY2(bus.waitForAcknowledged(uid), qPrintable(bus.errorString()));
}

QTEST_GUILESS_MAIN(TstPrinter)

#include "tst_printer.moc"
