#include "doorstate.h"

#include "client/supportedclients.h"
#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryworker.h"
#include "cmdlayer/tarvexcommand.h"
#include "statewrapper/statecatcher.h"
#include "support/quitonsignal.h"
#include "visible.h"

#include <QCoreApplication>

using tarvex::Message;

namespace {

constexpr int STATE_INTERVAL_MS = 60000;
constexpr int LOG_REPEAT_INTERVAL_MS = 10000;

//! [worker]
/// Reports the state, in a thread of its own.
class DoorQueryWorker : public tarvex::TarvexQueryWorker
{
public:
    DoorQueryWorker() : TarvexQueryWorker(STATE_INTERVAL_MS, tarvex::BUSNAME_DOOR_SENSOR) { }

    void doSendState() override { handler->saveState(StateCatcher().toClientState()); }

    void doApplySettings(tarvex::ClientSettings settings) override { Q_UNUSED(settings) }
};

//! [worker]

//! [values]
void openDoor()
{
    const int openings = StateCatcher().property(QStringLiteral("openings")).toInt();
    StateCatcher() << catchvalue(QStringLiteral("door"), DoorState::Open)
                   << catchvalue(QStringLiteral("openings"), openings + 1)
                   << catchvalue(QStringLiteral("lastOpened"), QDateTime::currentDateTime()) << commitstate();
}

void closeDoor()
{
    StateCatcher() << catchvalue(QStringLiteral("door"), DoorState::Closed) << commitstate();
}

//! [values]

} // namespace

/// Plays the device's door sensor: the commands "openDoor" and "closeDoor" take the place of its hardware.
class DoorService : public tarvex::TarvexController
{
    Q_OBJECT
public:
    DoorService() : TarvexController(LOG_REPEAT_INTERVAL_MS, tarvex::BUSNAME_DOOR_SENSOR, nullptr) { }

    void doStart() override
    {
        //! [start]
        const auto state = QSharedPointer<DoorState>::create();
        AbstractStateWrapper::init(state);

        auto* const messages = new tarvex::TarvexMsgWorker(tarvex::BUSNAME_DOOR_SENSOR);
        auto* const queries = new DoorQueryWorker;
        // This connection must be queued, because the state is locked while it emits the signal.
        connect(state.data(), SIGNAL(stateChanged()), queries, SLOT(sendState()), Qt::QueuedConnection);
        connect(queries, SIGNAL(workerConnected()), queries, SLOT(sendState()), Qt::QueuedConnection);
        connect(messages, SIGNAL(unprocessedMessage(Message)), this, SLOT(take(Message)), Qt::QueuedConnection);
        initWorkers(messages, queries);
        //! [start]
    }

private Q_SLOTS:

    void take(Message message)
    {
        TarvexCommand command;
        if (!TarvexCommand::incomingMessageToCmd(message, command)) {
            return;
        }
        if (command.name() == QLatin1String("openDoor")) {
            openDoor();
        } else if (command.name() == QLatin1String("closeDoor")) {
            closeDoor();
        }
    }
};

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal; // before any thread is started
    logVisibly();
    DoorService service;
    service.doStart();
    return QCoreApplication::exec();
}

#include "main.moc"
