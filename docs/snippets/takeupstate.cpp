#include "client/supportedclients.h"
#include "client/tarvexqueryworker.h"
#include "statewrapper/statecatcher.h"

//! [includes]
#include <QJsonDocument>
#include <QJsonObject>

//! [includes]

namespace {

constexpr int STATE_INTERVAL_MS = 60000;

} // namespace

//! [worker]
/// Reports the state only after it has taken up what the bus has stored.
class DoorQueryWorker : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    DoorQueryWorker() : TarvexQueryWorker(STATE_INTERVAL_MS, tarvex::BUSNAME_DOOR_SENSOR) { }

    void doSendState() override
    {
        if (m_isTakenUp) {
            handler->saveState(StateCatcher().toClientState());
        }
    }

    void doApplySettings(tarvex::ClientSettings settings) override { Q_UNUSED(settings) }

public Q_SLOTS:

    void takeUpState()
    {
        if (m_isTakenUp) {
            return; // A reconnection: the process knows its state better than the bus.
        }
        tarvex::ClientState last;
        const bool isLoaded = handler->loadState(QString(), last);
        if (isLoaded) {
            const QJsonObject values = QJsonDocument::fromJson(last.state().toUtf8()).object();
            StateCatcher() << catchvalue(QStringLiteral("openings"), values.value(QLatin1String("openings")).toInt());
        }
        // The bus refuses when it has no state yet. After any other failure the next connection tries again.
        m_isTakenUp = isLoaded || handler->lastOutcome().kind() == tarvex::QueryOutcome::Refused;
    }

private:
    bool m_isTakenUp = false;
};

//! [worker]

/// The part of the service that makes the worker.
class DoorService : public QObject
{
public:
    void doStart()
    {
        auto* const queries = new DoorQueryWorker;
        //! [connections]
        connect(queries, SIGNAL(workerConnected()), queries, SLOT(takeUpState()), Qt::QueuedConnection);
        connect(queries, SIGNAL(workerConnected()), queries, SLOT(sendState()), Qt::QueuedConnection);
        //! [connections]
    }
};

#include "takeupstate.moc"
