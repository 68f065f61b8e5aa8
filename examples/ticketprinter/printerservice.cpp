#include "printerservice.h"

#include "client/tarvexmsgworker.h"
#include "printercommands.h"
#include "printerqueries.h"
#include "printerstate.h"
#include "statewrapper/statecatcher.h"

#include <QThread>

namespace {

constexpr int LOG_REPEAT_INTERVAL_MS = 10000;

} // namespace

//! [state]
PrinterService::PrinterService(const QString& clientName)
    : TarvexController(LOG_REPEAT_INTERVAL_MS, clientName, nullptr), m_clientName(clientName)
{
    AbstractStateWrapper::init(QSharedPointer<PrinterState>::create());
}

//! [state]

//! [start]
void PrinterService::doStart()
{
    auto* const messages = new tarvex::TarvexMsgWorker(m_clientName);
    auto* const queries = new PrinterQueries(m_clientName, PrinterCommands::defaultSettings());
    auto* const commands = new PrinterCommands;
    AbstractStateWrapper* const state = StateCatcher().wrapper().data();

    // A message comes in, becomes a command, is carried out, and its answer goes out.
    connect(messages, SIGNAL(unprocessedMessage(Message)), this, SLOT(onMessage(Message)), Qt::QueuedConnection);
    connect(this, SIGNAL(commandReceived(TarvexCommand)), commands, SLOT(exec(TarvexCommand)), Qt::QueuedConnection);
    connect(commands, SIGNAL(sendCommand(TarvexCommand)), queries, SLOT(send(TarvexCommand)), Qt::QueuedConnection);
    // The settings go to the worker that needs them. Every commit of the state leads to a report of it. That connection
    // must be queued, because the state is locked while it emits the signal.
    connect(queries, SIGNAL(settingsLoaded(ClientSettings)), commands, SLOT(applySettings(ClientSettings)),
            Qt::QueuedConnection);
    connect(state, SIGNAL(stateChanged()), this, SIGNAL(stateChanged()), Qt::QueuedConnection);

    if (QThread* const thread = addWorkerToThread(commands)) {
        thread->start(QThread::InheritPriority);
    }
    initWorkers(messages, queries);
}

//! [start]

//! [message]
void PrinterService::onMessage(Message message)
{
    TarvexCommand command;
    // An error that comes back, for example for a log line, ends here. The commands worker would log it, and the log
    // line would come back as the next error.
    if (TarvexCommand::incomingMessageToCmd(message, command) && command.name() != QLatin1String("commandError")) {
        Q_EMIT commandReceived(command);
    }
}

//! [message]
