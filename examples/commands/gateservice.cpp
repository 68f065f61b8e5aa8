#include "gateservice.h"

#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryworker.h"
#include "gatecommands.h"

#include <QThread>

namespace {

constexpr int STATE_INTERVAL_MS = 10000;
constexpr int LOG_REPEAT_INTERVAL_MS = 10000;

/// The gate has no settings and reports no state.
class GateQueries : public tarvex::TarvexQueryWorker
{
public:
    explicit GateQueries(const QString& clientName) : TarvexQueryWorker(STATE_INTERVAL_MS, clientName) { }

    void doSendState() override { }

    void doApplySettings(tarvex::ClientSettings) override { }
};

} // namespace

GateService::GateService(const QString& clientName)
    : TarvexController(LOG_REPEAT_INTERVAL_MS, clientName, nullptr), m_clientName(clientName)
{
}

void GateService::doStart()
{
    auto* const messages = new tarvex::TarvexMsgWorker(m_clientName);
    auto* const queries = new GateQueries(m_clientName);
    auto* const commands = new GateCommands;
    //! [connections]
    // All connections are queued, because the three workers live in three threads.
    connect(messages, SIGNAL(unprocessedMessage(Message)), this, SLOT(onMessage(Message)), Qt::QueuedConnection);
    connect(this, SIGNAL(commandReceived(TarvexCommand)), commands, SLOT(exec(TarvexCommand)), Qt::QueuedConnection);
    connect(commands, SIGNAL(sendCommand(TarvexCommand)), this, SLOT(onAnswer(TarvexCommand)), Qt::QueuedConnection);
    connect(this, SIGNAL(answerReady(Message)), queries, SLOT(sendMessage(Message)), Qt::QueuedConnection);
    if (QThread* const thread = addWorkerToThread(commands)) {
        thread->start(QThread::InheritPriority);
    }
    initWorkers(messages, queries);
    //! [connections]
}

//! [messages]
void GateService::onMessage(Message message)
{
    TarvexCommand command;
    // An error that comes back, for example for a log line, ends here. The commands worker would log it, and the log
    // line would come back as the next error.
    if (TarvexCommand::incomingMessageToCmd(message, command) && command.name() != QLatin1String("commandError")) {
        Q_EMIT commandReceived(command);
    }
}

void GateService::onAnswer(TarvexCommand answer)
{
    Q_EMIT answerReady(answer.toOutgoingMessage());
}

//! [messages]
