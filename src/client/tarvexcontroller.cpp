#include "client/tarvexcontroller.h"

#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryworker.h"
#include "loggermanager.h"
#include "logging/tarvexlogcreator.h"
#include "logging/tarvexloggingcategory.h"

#include <QThread>

#include <atomic>

namespace tarvex {

namespace {

/// The categories whose outputs lead to the bus.
struct Categories
{
    const QString logger = QString::fromLatin1(LOGGER().categoryName());
    const QString guiLogger = QString::fromLatin1(GUILOGGER().categoryName());
    const QString everyOther; ///< Its output gets the lines of all categories that have none of their own.
};

// Never destroyed, because a controller, and the library itself, may outlive the library's own static objects.
const Categories& categories()
{
    static const auto* const instance = new Categories;
    return *instance;
}

// Each call replaces the rules of the one before, so that only the last is in force. Services are configured for that.
// To make the four one call would change what a device logs.
void setFilterRules()
{
    QLoggingCategory::setFilterRules(QStringLiteral("%1.debug=true").arg(categories().logger));
    QLoggingCategory::setFilterRules(QStringLiteral("%1.debug=true").arg(categories().guiLogger));
    QLoggingCategory::setFilterRules(QStringLiteral("%1.info=true").arg(categories().logger));
    QLoggingCategory::setFilterRules(QStringLiteral("%1.info=true").arg(categories().guiLogger));
}

/// Whether there has been a controller. Without one there is nothing to take down.
std::atomic<bool> isBridgeUsed{false};

void takeDownBridge()
{
    LoggerManager::removeOutput(categories().logger);
    LoggerManager::removeOutput(categories().guiLogger);
    LoggerManager::removeOutput(categories().everyOther);
    TarvexLogCreator::release();
}

// Called when the process ends or the library is unloaded. A controller that is never destroyed leaves its outputs
// behind, and other libraries may still log at that time.
void takeDownBridgeOnUnload()
{
    if (isBridgeUsed) {
        takeDownBridge();
    }
}
Q_DESTRUCTOR_FUNCTION(takeDownBridgeOnUnload)

/// A derived class may have a slot of the same name. The connection by name then finds that slot, and nobody counts how
/// many messages wait for it.
bool takesMessagesItself(const QObject& queryWorker)
{
    constexpr const char* SLOT_SIGNATURE = "sendMessage(Message)";
    return queryWorker.metaObject()->indexOfSlot(SLOT_SIGNATURE)
        == TarvexQueryWorker::staticMetaObject.indexOfSlot(SLOT_SIGNATURE);
}

/// Queued, because each of them leads to another thread. Unique, because the same workers may be handed over again.
constexpr auto QUEUED_ONCE = static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::UniqueConnection);

} // namespace

TarvexController::TarvexController(int repeatInterval, const QString& clientName, QObject* parent)
    : AbstractWorkerController(parent), m_clientName(clientName)
{
    isBridgeUsed = true;
    TarvexLogCreator::init(QPointer<QObject>(this), SIGNAL(sendLogMessage(Message)), m_clientName, repeatInterval);
    setFilterRules();
    LoggerManager::setOutputs(categories().logger, TarvexLogCreator::humanKivLog);
    LoggerManager::setOutputs(categories().guiLogger, TarvexLogCreator::guiKivLog);
    LoggerManager::setOutputs(categories().everyOther, TarvexLogCreator::humanKivLog);
}

TarvexController::~TarvexController()
{
    // This comes first, because the log lines of what is still carried out must have a way out.
    workOff(TarvexLogCreator::relayOf(this));
    takeDownBridge();
}

bool TarvexController::initWorkers(TarvexMsgWorker* msgWorker, TarvexQueryWorker* queryWorker)
{
    QThread* const msgThread = msgWorker != nullptr ? addWorkerToThread(msgWorker) : nullptr;
    if (queryWorker != nullptr) {
        QThread* const queryThread = addWorkerToThread(queryWorker);
        connect(queryWorker, SIGNAL(settingsChanged()), this, SIGNAL(settingsChanged()), QUEUED_ONCE);
        connect(this, SIGNAL(stateChanged()), queryWorker, SLOT(sendState()), QUEUED_ONCE);
        connect(this, SIGNAL(sendLogMessage(Message)), queryWorker, SLOT(sendMessage(Message)), QUEUED_ONCE);
        if (takesMessagesItself(*queryWorker)) {
            TarvexLogCreator::setQueue(queryWorker->m_logQueue);
        }
        if (msgWorker != nullptr) {
            connect(msgWorker, SIGNAL(updateSettings()), queryWorker, SLOT(updateSettings()), QUEUED_ONCE);
        }
        if (queryThread != nullptr) {
            queryThread->start(QThread::InheritPriority);
        }
    }
    if (msgThread != nullptr) {
        msgThread->start(QThread::InheritPriority);
    }
    return true;
}

} // namespace tarvex
