#include "client/supportedclients.h"
#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryworker.h"
#include "support/quitonsignal.h"
#include "visible.h"

#include <QCoreApplication>
#include <QTextStream>

using tarvex::ClientState;

namespace {

constexpr int STATE_INTERVAL_MS = 60000;
constexpr int LOG_REPEAT_INTERVAL_MS = 10000;
/// The goal of the subscription: the publisher's state changes, and nothing else that it sends.
constexpr int GOAL_STATE_CHANGES = 1;

} // namespace

//! [worker]
/// Watches the door sensor's state.
class WatchWorker : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    WatchWorker() : TarvexQueryWorker(STATE_INTERVAL_MS, tarvex::BUSNAME_MONITORING)
    {
        // After a reconnection too, because the library does not remember subscriptions.
        connect(this, SIGNAL(workerConnected()), this, SLOT(watch()), Qt::QueuedConnection);
    }

    void doSendState() override { } // It has none of its own.

    void doApplySettings(tarvex::ClientSettings settings) override { Q_UNUSED(settings) }

public Q_SLOTS:

    void show(ClientState state)
    {
        QTextStream(stdout) << state.dt().toString(Qt::ISODateWithMs) << '\t' << visible(state.owner()) << '\t'
                            << visible(state.state()) << Qt::endl;
    }

private Q_SLOTS:

    /// Loads the state as well, because only changes are pushed. Subscribes first, so that no change is lost between
    /// the two.
    void watch()
    {
        handler->subscribe(tarvex::BUSNAME_DOOR_SENSOR, GOAL_STATE_CHANGES);
        ClientState state;
        if (handler->loadState(tarvex::BUSNAME_DOOR_SENSOR, state)) {
            show(state);
        }
    }
};

//! [worker]

namespace {

class WatchService : public tarvex::TarvexController
{
public:
    WatchService() : TarvexController(LOG_REPEAT_INTERVAL_MS, tarvex::BUSNAME_MONITORING, nullptr) { }

    void doStart() override
    {
        auto* const messages = new tarvex::TarvexMsgWorker(tarvex::BUSNAME_MONITORING);
        auto* const queries = new WatchWorker;
        //! [connection]
        connect(messages, SIGNAL(stateChanged(ClientState)), queries, SLOT(show(ClientState)), Qt::QueuedConnection);
        //! [connection]
        initWorkers(messages, queries);
    }
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal; // before any thread is started
    logVisibly();
    WatchService service;
    service.doStart();
    return QCoreApplication::exec();
}

#include "main.moc"
