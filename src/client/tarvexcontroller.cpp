#include "client/tarvexcontroller.h"

#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryworker.h"
#include "loggermanager.h"
#include "logging/tarvexlogcreator.h"
#include "logging/tarvexloggingcategory.h"

#include <QThread>

namespace tarvex {

namespace {

/// The output of this category gets the lines of all categories that have none of their own.
const QString& everyOtherCategory()
{
    static const QString category;
    return category;
}

QString loggerCategory()
{
    return QString::fromLatin1(LOGGER().categoryName());
}

QString guiLoggerCategory()
{
    return QString::fromLatin1(GUILOGGER().categoryName());
}

// Each call replaces the rules of the one before, so that only the last is in force. Services have been configured
// against just that; whoever makes them one call changes what a device logs.
void setFilterRules()
{
    QLoggingCategory::setFilterRules(QStringLiteral("%1.debug=true").arg(loggerCategory()));
    QLoggingCategory::setFilterRules(QStringLiteral("%1.debug=true").arg(guiLoggerCategory()));
    QLoggingCategory::setFilterRules(QStringLiteral("%1.info=true").arg(loggerCategory()));
    QLoggingCategory::setFilterRules(QStringLiteral("%1.info=true").arg(guiLoggerCategory()));
}

/// Queued, because each of them leads to another thread; made once, however often the same workers are handed over.
constexpr auto QUEUED_ONCE = static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::UniqueConnection);

} // namespace

TarvexController::TarvexController(int repeatInterval, const QString& clientName, QObject* parent)
    : AbstractWorkerController(parent), m_clientName(clientName)
{
    TarvexLogCreator::init(QPointer<QObject>(this), SIGNAL(sendLogMessage(Message)), m_clientName, repeatInterval);
    setFilterRules();
    LoggerManager::setOutputs(loggerCategory(), TarvexLogCreator::humanKivLog);
    LoggerManager::setOutputs(guiLoggerCategory(), TarvexLogCreator::guiKivLog);
    LoggerManager::setOutputs(everyOtherCategory(), TarvexLogCreator::humanKivLog);
}

TarvexController::~TarvexController()
{
    // While the log lines of what is still carried out have a way out.
    workOff(TarvexLogCreator::relayOf(this));
    LoggerManager::removeOutput(loggerCategory());
    LoggerManager::removeOutput(guiLoggerCategory());
    LoggerManager::removeOutput(everyOtherCategory());
    TarvexLogCreator::release();
}

bool TarvexController::initWorkers(TarvexMsgWorker* msgWorker, TarvexQueryWorker* queryWorker)
{
    QThread* const msgThread = msgWorker != nullptr ? addWorkerToThread(msgWorker) : nullptr;
    if (queryWorker != nullptr) {
        QThread* const queryThread = addWorkerToThread(queryWorker);
        connect(queryWorker, SIGNAL(settingsChanged()), this, SIGNAL(settingsChanged()), QUEUED_ONCE);
        connect(this, SIGNAL(stateChanged()), queryWorker, SLOT(sendState()), QUEUED_ONCE);
        connect(this, SIGNAL(sendLogMessage(Message)), queryWorker, SLOT(sendMessage(Message)), QUEUED_ONCE);
        TarvexLogCreator::setQueue(queryWorker->m_logQueue);
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
