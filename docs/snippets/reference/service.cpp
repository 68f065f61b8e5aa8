// A whole service: a controller with its two workers. It sends a message to itself. Needs a bus, and runs until
// SIGTERM.
//
// Prints:
//   the bus answers
//   ticket_printer: Paper was changed

#include <quitonsignal.h>
#include <supportedclients.h>
#include <systemdnotifier.h>
#include <tarvexcontroller.h>
#include <tarvexmsgworker.h>
#include <tarvexqueryworker.h>

#include <QCoreApplication>
#include <QTextStream>

using tarvex::Message;

namespace {

//! [queryworker]
class PrinterQueryWorker : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    PrinterQueryWorker() : TarvexQueryWorker(60000, tarvex::BUSNAME_TICKET_PRINTER)
    {
        connect(this, SIGNAL(workerConnected()), this, SLOT(announce()), Qt::QueuedConnection);
    }

    void doSendState() override { handler->saveState(m_state); }

    void doApplySettings(tarvex::ClientSettings settings) override { m_settings = settings; }

private Q_SLOTS:
    void announce(); // sends what others are to know after each connect

private:
    tarvex::ClientState m_state;
    tarvex::ClientSettings m_settings;
};

//! [queryworker]

void PrinterQueryWorker::announce()
{
    QTextStream(stdout) << "the bus answers\n";
    Message message;
    message.setReciever(handler->clientName());
    message.setMessage(QStringLiteral("Paper was changed"));
    sendMessage(message);
}

//! [msgworker]
/// Takes the command "ping" in the message worker's thread. The service sees all other messages.
class PrinterMsgWorker : public tarvex::TarvexMsgWorker
{
public:
    using TarvexMsgWorker::TarvexMsgWorker;

    bool doProcessCommand(const QString& cmd, const QVariantMap& data, const QString& sender,
                          const QString& uid) override
    {
        return cmd == QLatin1String("ping") || TarvexMsgWorker::doProcessCommand(cmd, data, sender, uid);
    }
};

//! [msgworker]

//! [controller]
class Printer : public tarvex::TarvexController
{
    Q_OBJECT
public:
    Printer() : TarvexController(10000, tarvex::BUSNAME_TICKET_PRINTER, nullptr) { }

    void doStart() override
    {
        auto* const messages = new PrinterMsgWorker(tarvex::BUSNAME_TICKET_PRINTER);
        connect(messages, SIGNAL(unprocessedMessage(Message)), this, SLOT(show(Message)), Qt::QueuedConnection);
        initWorkers(messages, new PrinterQueryWorker);
    }

private Q_SLOTS:
    void show(Message message);
};

//! [controller]

void Printer::show(Message message)
{
    QTextStream(stdout) << message.sender() << ": " << message.message() << '\n';
}

} // namespace

//! [main]
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal; // before any thread is started
    const wexcor::SystemdNotifier systemdNotifier;
    Printer service;
    service.doStart();
    return QCoreApplication::exec();
}

//! [main]

#include "service.moc"
