#include "caller.h"

#include <abstracttarvexcommandsworker.h>
#include <tarvexcontroller.h>
#include <tarvexmsgworker.h>

#include <QThread>

namespace {

class CashboxCommands : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }
};

//! [worker]
/// Calls others, as its base class does, and sends the answers of the commands worker.
class CashboxQueries : public Caller
{
    Q_OBJECT
public:
    using Caller::Caller;

public Q_SLOTS:

    void send(TarvexCommand answer) { handler->sendMessage(answer.toOutgoingMessage()); }
};

//! [worker]

class CashboxService : public tarvex::TarvexController
{
    Q_OBJECT
public:
    CashboxService() : TarvexController(0, QStringLiteral("cashbox"), nullptr) { }

    void doStart() override
    {
        auto* const messages = new tarvex::TarvexMsgWorker(QStringLiteral("cashbox"));
        auto* const queries = new CashboxQueries(QStringLiteral("cashbox"), 10000);
        auto* const commands = new CashboxCommands;
        //! [connections]
        connect(messages, SIGNAL(unprocessedMessage(Message)), queries, SLOT(take(Message)), Qt::QueuedConnection);
        connect(queries, SIGNAL(commandReceived(TarvexCommand)), commands, SLOT(exec(TarvexCommand)),
                Qt::QueuedConnection);
        connect(commands, SIGNAL(sendCommand(TarvexCommand)), queries, SLOT(send(TarvexCommand)), Qt::QueuedConnection);
        //! [connections]
        if (QThread* const thread = addWorkerToThread(commands)) {
            thread->start(QThread::InheritPriority);
        }
        initWorkers(messages, queries);
    }
};

} // namespace

/// Makes the service, for a main().
tarvex::TarvexController* makeCashbox();

tarvex::TarvexController* makeCashbox()
{
    return new CashboxService;
}

#include "callingservice.moc"
