#include "client/supportedclients.h"
#include "printerservice.h"
#include "printerstate.h"
#include "testing/testbus.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <memory>

using tarvex::BUSNAME_LOGGER;
using tarvex::BUSNAME_TERMINAL_GUI;
using tarvex::BUSNAME_TICKET_PRINTER;
using tarvex::testing::TestBus;

namespace {

QString cashbox()
{
    return QStringLiteral("cashbox"); // the test's own name on the bus
}

QVariantMap ticket(const QString& text)
{
    return {{QStringLiteral("text"), text}};
}

int paperLeft(const tarvex::ClientState& state)
{
    return QJsonDocument::fromJson(state.state().toUtf8()).object().value(QLatin1String("paperLeft")).toInt();
}

} // namespace

/// Each test has a bus and a service of its own. The service has the name that it has in the device.
class TstTicketPrinter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void print_isAnsweredWithWhatIsLeft();
    void print_withoutText_isRefused_data();
    void print_withoutText_isRefused();
    void print_isReportedInTheState();
    void unknownCommand_isRefused();
    void firstStart_storesTheDefaults();
    void laterStart_keepsWhatIsStored();
    void settings_areApplied();
    void settings_outOfBounds_haveTheirDefaults();
    void paper_runningLow_isShownOnTheScreen();
    void errorThatComesBack_isNotLogged();
    void lostConnection_losesNoCommand();
    void lostBus_comesBackWithItsService();

private:
    QString send(const QString& command, const QVariantMap& data);
    std::optional<TarvexCommand> ask(const QString& command, const QVariantMap& data);
    bool configure(const QString& key, int value);
    bool waitForApplied();

    std::unique_ptr<TestBus> m_bus;
    std::unique_ptr<PrinterService> m_service;
    std::optional<tarvex::ClientSettings> m_defaults;
};

//! [fixture]
void TstTicketPrinter::init()
{
    m_bus = std::make_unique<TestBus>();
    QVERIFY2(m_bus->start(), qPrintable(m_bus->errorString()));
    m_service = std::make_unique<PrinterService>(BUSNAME_TICKET_PRINTER);
    m_service->doStart();
    QVERIFY2(m_bus->waitForClient(BUSNAME_TICKET_PRINTER), qPrintable(m_bus->errorString()));
    // At its first start the service stores its defaults, and applies them when the bus tells it. A test must begin
    // after that.
    m_defaults = m_bus->waitForSettings(BUSNAME_TICKET_PRINTER);
    QVERIFY2(m_defaults && waitForApplied(), qPrintable(m_bus->errorString()));
}

void TstTicketPrinter::cleanup()
{
    m_service.reset(); // before its bus, because it would try to come back
    m_bus.reset();
}

//! [fixture]

//! [answered]
void TstTicketPrinter::print_isAnsweredWithWhatIsLeft()
{
    const auto answer = ask(QStringLiteral("print"), ticket(QStringLiteral("zone A")));
    QVERIFY2(answer, qPrintable(m_bus->errorString()));
    QCOMPARE(answer->name(), QStringLiteral("printed"));
    QCOMPARE(answer->data().value(QStringLiteral("paperLeft")).toInt(), PrinterState::PAPER_ROLL - 1);
}

//! [answered]

void TstTicketPrinter::print_withoutText_isRefused_data()
{
    QTest::addColumn<QVariantMap>("data");
    QTest::newRow("empty") << ticket(QLatin1String(""));
    QTest::newRow("blanks") << ticket(QStringLiteral(" \n"));
    QTest::newRow("other key") << QVariantMap{{QStringLiteral("txt"), QStringLiteral("zone A")}};
    QTest::newRow("list") << QVariantMap{{QStringLiteral("text"), QVariantList{1, 2}}};
    QTest::newRow("number") << QVariantMap{{QStringLiteral("text"), 5}};
    QTest::newRow("truth value") << QVariantMap{{QStringLiteral("text"), true}};
    QTest::newRow("no data") << QVariantMap();
}

void TstTicketPrinter::print_withoutText_isRefused()
{
    QFETCH(QVariantMap, data);
    const auto answer = ask(QStringLiteral("print"), data);
    QVERIFY2(answer, qPrintable(m_bus->errorString()));
    QCOMPARE(answer->name(), QStringLiteral("commandError"));
    QCOMPARE(answer->data().value(QStringLiteral("errorText")).toString(), QStringLiteral("There is no text to print"));
}

//! [reported]
void TstTicketPrinter::print_isReportedInTheState()
{
    QVERIFY2(m_bus->waitForState(BUSNAME_TICKET_PRINTER),
             qPrintable(m_bus->errorString())); // the report at the connect
    QVERIFY(ask(QStringLiteral("print"), ticket(QStringLiteral("zone A"))));
    const auto isOneLess = [](const tarvex::ClientState& state) {
        return paperLeft(state) == PrinterState::PAPER_ROLL - 1;
    };
    // Reported at once: the next report at the interval is due after 10 s.
    const auto state = m_bus->waitForState(BUSNAME_TICKET_PRINTER, isOneLess, 8000);
    QVERIFY2(state, qPrintable(m_bus->errorString()));
    QCOMPARE(int(state->stateType()), int(PrinterState::Ready));
    QCOMPARE(state->description(), QStringLiteral("99 tickets left"));
}

//! [reported]

void TstTicketPrinter::unknownCommand_isRefused()
{
    const auto answer = ask(QStringLiteral("dance"), {});
    QVERIFY2(answer, qPrintable(m_bus->errorString()));
    QCOMPARE(answer->name(), QStringLiteral("commandError"));
    QCOMPARE(answer->data().value(QStringLiteral("errorText")).toString(), QStringLiteral("No such method (dance)"));
}

void TstTicketPrinter::firstStart_storesTheDefaults()
{
    const QVariantMap printer = m_defaults->formattedSettings().value(QStringLiteral("printer")).toMap();
    QCOMPARE(printer, (QVariantMap{{QStringLiteral("copies"), 1}, {QStringLiteral("paperWarning"), 10}}));
}

void TstTicketPrinter::laterStart_keepsWhatIsStored()
{
    QVERIFY2(configure(QStringLiteral("copies"), 3), qPrintable(m_bus->errorString()));
    m_service.reset();
    m_bus->clear();
    m_service = std::make_unique<PrinterService>(BUSNAME_TICKET_PRINTER);
    m_service->doStart();
    QVERIFY2(waitForApplied(), qPrintable(m_bus->errorString()));
    const auto answer = ask(QStringLiteral("print"), ticket(QStringLiteral("zone A")));
    QVERIFY2(answer, qPrintable(m_bus->errorString()));
    QCOMPARE(answer->data().value(QStringLiteral("paperLeft")).toInt(), PrinterState::PAPER_ROLL - 3);
    QVERIFY(!m_bus->waitForSettings(BUSNAME_TICKET_PRINTER, 0));
}

//! [applied]
void TstTicketPrinter::settings_areApplied()
{
    QVERIFY2(configure(QStringLiteral("copies"), 3), qPrintable(m_bus->errorString()));
    const auto answer = ask(QStringLiteral("print"), ticket(QStringLiteral("zone A")));
    QVERIFY2(answer, qPrintable(m_bus->errorString()));
    QCOMPARE(answer->data().value(QStringLiteral("paperLeft")).toInt(), PrinterState::PAPER_ROLL - 3);
}

//! [applied]

void TstTicketPrinter::settings_outOfBounds_haveTheirDefaults()
{
    QVERIFY2(configure(QStringLiteral("copies"), 3), qPrintable(m_bus->errorString()));
    QVERIFY2(configure(QStringLiteral("copies"), 100), qPrintable(m_bus->errorString()));
    const auto answer = ask(QStringLiteral("print"), ticket(QStringLiteral("zone A")));
    QVERIFY2(answer, qPrintable(m_bus->errorString()));
    QCOMPARE(answer->data().value(QStringLiteral("paperLeft")).toInt(), PrinterState::PAPER_ROLL - 1);
}

/// If a log service answers each line with an error, it must not be sent a line about each of its errors.
void TstTicketPrinter::errorThatComesBack_isNotLogged()
{
    m_bus->sendCommand(BUSNAME_LOGGER, BUSNAME_TICKET_PRINTER, QStringLiteral("commandError"),
                       {{QStringLiteral("command"), QStringLiteral("saveLog")}});
    QVERIFY2(ask(QStringLiteral("status"), {}), qPrintable(m_bus->errorString()));
    QStringList lines;
    const auto isOfTheStatus = [&lines](const TarvexCommand& line) {
        lines.append(line.data().value(QStringLiteral("text")).toString());
        return lines.constLast().startsWith(QLatin1String("status "));
    };
    QVERIFY2(m_bus->waitForCommand(BUSNAME_LOGGER, QStringLiteral("saveLog"), isOfTheStatus),
             qPrintable(m_bus->errorString()));
    QVERIFY2(lines.filter(QStringLiteral("commandError")).isEmpty(), qPrintable(lines.join(QLatin1Char('\n'))));
}

void TstTicketPrinter::paper_runningLow_isShownOnTheScreen()
{
    QVERIFY2(configure(QStringLiteral("paperWarning"), PrinterState::PAPER_ROLL - 1), qPrintable(m_bus->errorString()));
    QVERIFY(ask(QStringLiteral("print"), ticket(QStringLiteral("zone A"))));
    const auto shown = m_bus->waitForCommand(BUSNAME_TERMINAL_GUI, QStringLiteral("showLogMessage"));
    QVERIFY2(shown, qPrintable(m_bus->errorString()));
    const auto isLow = [](const tarvex::ClientState& state) {
        return int(state.stateType()) == PrinterState::PaperLow;
    };
    QVERIFY2(m_bus->waitForState(BUSNAME_TICKET_PRINTER, isLow), qPrintable(m_bus->errorString()));
}

//! [lost]
void TstTicketPrinter::lostConnection_losesNoCommand()
{
    QVERIFY(ask(QStringLiteral("print"), ticket(QStringLiteral("zone A"))));
    m_bus->dropConnections(BUSNAME_TICKET_PRINTER);
    const QString uid = send(QStringLiteral("print"), ticket(QStringLiteral("zone B"))); // it is away at this moment
    QVERIFY(!uid.isEmpty());
    const auto answer = m_bus->waitForReply(uid);
    QVERIFY2(answer, qPrintable(m_bus->errorString()));
    QCOMPARE(answer->data().value(QStringLiteral("paperLeft")).toInt(), PrinterState::PAPER_ROLL - 2);
}

//! [lost]

void TstTicketPrinter::lostBus_comesBackWithItsService()
{
    m_bus->stop();
    QVERIFY2(m_bus->start(), qPrintable(m_bus->errorString()));
    QVERIFY2(m_bus->waitForClient(BUSNAME_TICKET_PRINTER), qPrintable(m_bus->errorString()));
    QVERIFY2(ask(QStringLiteral("print"), ticket(QStringLiteral("zone A"))), qPrintable(m_bus->errorString()));
}

//! [ask]
QString TstTicketPrinter::send(const QString& command, const QVariantMap& data)
{
    return m_bus->sendCommand(cashbox(), BUSNAME_TICKET_PRINTER, command, data);
}

/// Sends a command and waits for what answers it.
std::optional<TarvexCommand> TstTicketPrinter::ask(const QString& command, const QVariantMap& data)
{
    return m_bus->waitForReply(send(command, data));
}

//! [ask]

//! [configure]
/// Saves a setting and waits until the printer has applied it.
bool TstTicketPrinter::configure(const QString& key, int value)
{
    tarvex::ClientSettings settings;
    settings.setOwner(BUSNAME_TICKET_PRINTER);
    settings.setFormattedSettings({{QStringLiteral("printer"), QVariantMap{{key, value}}}}, true);
    return m_bus->saveSettings(settings) && waitForApplied();
}

/// Waits for the line that the printer logs when it has applied its settings. To wait until they are loaded would not
/// be enough, because then they are on their way to another of its threads.
bool TstTicketPrinter::waitForApplied()
{
    const auto isApplied = [](const TarvexCommand& line) {
        return line.data().value(QStringLiteral("text")).toString().startsWith(QLatin1String("copies:"));
    };
    return m_bus->waitForCommand(BUSNAME_LOGGER, QStringLiteral("saveLog"), isApplied).has_value();
}
//! [configure]

QTEST_GUILESS_MAIN(TstTicketPrinter)
#include "tst_ticketprinter.moc"
