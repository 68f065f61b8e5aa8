#include "printercommands.h"

#include "logging/tarvexloggingcategory.h"
#include "printerstate.h"
#include "statewrapper/statecatcher.h"
#include "visible.h"

#include <QDebug>
#include <QTextStream>

namespace {

constexpr int COOLING_INTERVAL_MS = 1000;
constexpr double DEGREES_PER_TICKET = 1.5;
constexpr double HOT_CELSIUS = 70;
constexpr int MAX_COPIES = 9;

int paperLeft()
{
    return StateCatcher().property(QStringLiteral("paperLeft")).toInt();
}

double temperature()
{
    return StateCatcher().property(QStringLiteral("temperature")).toDouble();
}

//! [executor]
/// An object that takes the command "selfTest". A command that grows too large for a method, or that comes and goes,
/// gets such an object.
class SelfTest : public AbstractTarvexCommandExecutor
{
public:
    explicit SelfTest(PrinterCommands* printer)
        : AbstractTarvexCommandExecutor(QStringLiteral("selfTest"), printer), m_printer(printer)
    {
    }

    bool canExecute(const TarvexCommand& command) override { return command.name() == name(); }

    void execute(const TarvexCommand& command) override
    {
        const bool passed = paperLeft() > 0 && temperature() < HOT_CELSIUS;
        qInfo().noquote() << "self-test" << (passed ? "passed" : "failed");
        m_printer->answer(command.agent(), command.uid(), QStringLiteral("selfTested"),
                          {{QStringLiteral("passed"), passed}});
    }

private:
    PrinterCommands* const m_printer;
};

//! [executor]

//! [number]
/// The value of \a key if it is a number within the bounds, otherwise \a standard.
int numberOr(int standard, const QVariantMap& group, const QString& key, int least, int most)
{
    bool isNumber = false;
    const int value = group.value(key).toInt(&isNumber);
    if (isNumber && value >= least && value <= most) {
        return value;
    }
    if (group.contains(key)) {
        qWarning().noquote() << key << "must be from" << least << "to" << most << "and counts as" << standard;
    }
    return standard;
}

//! [number]

} // namespace

//! [timer]
PrinterCommands::PrinterCommands()
{
    m_coolingTimer.setInterval(COOLING_INTERVAL_MS);
    connect(&m_coolingTimer, SIGNAL(timeout()), this, SLOT(coolDown()));
    addExecutor(new SelfTest(this));
}

bool PrinterCommands::doStart()
{
    m_coolingTimer.start();
    return true;
}

bool PrinterCommands::doStop()
{
    m_coolingTimer.stop();
    return true;
}

//! [timer]

QVariantMap PrinterCommands::defaultSettings()
{
    return {{QStringLiteral("printer"),
             QVariantMap{{QStringLiteral("copies"), DEFAULT_COPIES},
                         {QStringLiteral("paperWarning"), DEFAULT_PAPER_WARNING}}}};
}

//! [answer]
void PrinterCommands::answer(const QString& agent, const QString& uid, const QString& name, const QVariantMap& data)
{
    TarvexCommand answer;
    answer.setAgent(agent);
    answer.setUid(uid);
    answer.setName(name);
    answer.setData(data);
    Q_EMIT sendCommand(answer);
}

//! [answer]

//! [print]
QVariant PrinterCommands::print(QString agent, QString uid, QVariantMap data)
{
    const QString error = printTicket(data.value(QStringLiteral("text")));
    if (error.isEmpty()) {
        answer(agent, uid, QStringLiteral("printed"), {{QStringLiteral("paperLeft"), paperLeft()}});
    } else {
        prepareError(agent, uid, QStringLiteral("print"), error, data);
    }
    return true; // an invalid value would mean that there is no such command
}

//! [print]

QVariant PrinterCommands::status(QString agent, QString uid)
{
    answer(agent, uid, QStringLiteral("statusReport"), StateCatcher().wrapper()->toMap());
    return true;
}

//! [settings]
void PrinterCommands::applySettings(ClientSettings settings)
{
    const QVariantMap printer = settings.formattedSettings().value(QStringLiteral("printer")).toMap();
    m_copies = numberOr(DEFAULT_COPIES, printer, QStringLiteral("copies"), 1, MAX_COPIES);
    m_paperWarning =
        numberOr(DEFAULT_PAPER_WARNING, printer, QStringLiteral("paperWarning"), 0, PrinterState::PAPER_ROLL);
    qInfo().noquote() << "copies:" << m_copies << "paper warning at:" << m_paperWarning;
    updateStatus();
}

//! [settings]

//! [cooling]
/// Does not commit: a falling temperature is not worth a report of its own, and is in the next one.
void PrinterCommands::coolDown()
{
    StateCatcher() << catchvalue(QStringLiteral("temperature"), qMax(PrinterState::ROOM_CELSIUS, temperature() - 1));
}

//! [cooling]

//! [ticket]
/// \return why nothing was printed; empty when it was.
QString PrinterCommands::printTicket(const QVariant& data)
{
    const QString text = data.type() == QVariant::String ? data.toString().simplified() : QString();
    if (text.isEmpty()) {
        return QStringLiteral("There is no text to print");
    }
    if (paperLeft() < m_copies) {
        return QStringLiteral("Out of paper");
    }
    QTextStream paper(stdout);
    for (int copy = 1; copy <= m_copies; ++copy) {
        paper << "[ " << visible(text) << " ] copy " << copy << " of " << m_copies << Qt::endl;
    }
    StateCatcher() << catchvalue(QStringLiteral("paperLeft"), paperLeft() - m_copies)
                   << catchvalue(QStringLiteral("temperature"), temperature() + DEGREES_PER_TICKET * m_copies)
                   << catchvalue(QStringLiteral("lastTicket"), QDateTime::currentDateTime());
    updateStatus();
    return {};
}

//! [ticket]

//! [status]
/// Commits what has changed. Tells that the paper runs out once, and not with every ticket.
void PrinterCommands::updateStatus()
{
    const int left = paperLeft();
    const PrinterState::Status status = left < m_copies ? PrinterState::OutOfPaper
        : left <= m_paperWarning                        ? PrinterState::PaperLow
                                                        : PrinterState::Ready;
    if (status != StateCatcher().property(QStringLiteral("status")).toInt() && status != PrinterState::Ready) {
        const QString words = QString::fromLatin1(status == PrinterState::PaperLow ? "Paper is low" : "Out of paper");
        qCWarning(GUILOGGER()).noquote() << QStringLiteral("%1, tickets left: %2").arg(words, QString::number(left));
    }
    StateCatcher() << catchvalue(QStringLiteral("status"), status) << commitstate();
}

//! [status]
