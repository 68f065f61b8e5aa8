#include "client/tarvexcontroller.h"
#include "client/tarvexmessagesreciever.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "client/tarvexqueryworker.h"
#include "cmdlayer/abstracttarvexcommandexecutor.h"
#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "logging/tarvexlogcreator.h"
#include "records/message.h"
#include "statewrapper/abstractstatewrapper.h"
#include "support/abstractworker.h"
#include "support/abstractworkercontroller.h"

#include "virtualtable.h"

#include <QTest>

#include <initializer_list>

using tarvex::TarvexController;
using tarvex::TarvexMsgWorker;
using tarvex::TarvexQueryWorker;
using virtualtable::place;
using wexcor::AbstractWorker;
using wexcor::AbstractWorkerController;

namespace {

struct Function
{
    const char* name;
    std::ptrdiff_t place;
};

/// The class's own virtual functions in their order, and nothing behind them.
template <typename Class>
void row(const char* className, std::initializer_list<Function> functions)
{
    std::ptrdiff_t expected = virtualtable::firstPlace<Class>();
    for (const Function& function : functions) {
        QTest::addRow("%s::%s", className, function.name) << function.place << expected;
        expected += virtualtable::ONE_PLACE;
    }
    QTest::addRow("%s, behind the last", className) << virtualtable::placeBehind<Class>() << expected;
}

} // namespace

class TstVirtualTables : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void function_standsAtItsPlace_data();
    void function_standsAtItsPlace();
};

/// A new function goes behind the last of a class from which no class of the libraries derives. The compiler checks the
/// functions' types.
void TstVirtualTables::function_standsAtItsPlace_data()
{
    QTest::addColumn<std::ptrdiff_t>("actual");
    QTest::addColumn<std::ptrdiff_t>("expected");
    row<wexcor::AbstractWorker>("AbstractWorker",
                                {
                                    {"doStart", place<bool()>(&AbstractWorker::doStart)},
                                    {"doStop", place<bool()>(&AbstractWorker::doStop)},
                                });
    row<wexcor::AbstractWorkerController>(
        "AbstractWorkerController",
        {
            {"doStart", place<void()>(&AbstractWorkerController::doStart)},
            {"doStop", place<void()>(&AbstractWorkerController::doStop)},
            {"doKillThreads", place<void()>(&AbstractWorkerController::doKillThreads)},
            {"addWorkerToThread", place<QThread*(AbstractWorker*)>(&AbstractWorkerController::addWorkerToThread)},
            {"processStartedWorker", place<void()>(&AbstractWorkerController::processStartedWorker)},
            {"processStoppedWorker", place<void()>(&AbstractWorkerController::processStoppedWorker)},
        });
    row<tarvex::TarvexController>(
        "TarvexController",
        {
            {"doStart", place<void()>(&TarvexController::doStart)},
            {"doStop", place<void()>(&TarvexController::doStop)},
            {"doKillThreads", place<void()>(&TarvexController::doKillThreads)},
            {"addWorkerToThread", place<QThread*(AbstractWorker*)>(&TarvexController::addWorkerToThread)},
            {"processStartedWorker", place<void()>(&TarvexController::processStartedWorker)},
            {"processStoppedWorker", place<void()>(&TarvexController::processStoppedWorker)},
            {"initWorkers", place<bool(TarvexMsgWorker*, TarvexQueryWorker*)>(&TarvexController::initWorkers)},
        });
    row<tarvex::TarvexMessagesReciever>("TarvexMessagesReciever", {});
    row<tarvex::TarvexMsgWorker>(
        "TarvexMsgWorker",
        {
            {"doStart", place<bool()>(&TarvexMsgWorker::doStart)},
            {"doStop", place<bool()>(&TarvexMsgWorker::doStop)},
            {"doProcessMessage", place<void(const tarvex::Message&)>(&TarvexMsgWorker::doProcessMessage)},
            {"doProcessCommand",
             place<bool(const QString&, const QVariantMap&, const QString&, const QString&)>(
                 &TarvexMsgWorker::doProcessCommand)},
        });
    row<tarvex::TarvexQueryHandler>("TarvexQueryHandler", {});
    row<tarvex::TarvexQueryWorker>(
        "TarvexQueryWorker",
        {
            {"doStart", place<bool()>(&TarvexQueryWorker::doStart)},
            {"doStop", place<bool()>(&TarvexQueryWorker::doStop)},
            {"doUpdateSettings", place<void()>(&TarvexQueryWorker::doUpdateSettings)},
            {"doSendState", place<void()>(&TarvexQueryWorker::doSendState)},
            {"doApplySettings", place<void(tarvex::ClientSettings)>(&TarvexQueryWorker::doApplySettings)},
        });
    row<AbstractTarvexCommandExecutor>(
        "AbstractTarvexCommandExecutor",
        {
            {"canExecute", place<bool(const TarvexCommand&)>(&AbstractTarvexCommandExecutor::canExecute)},
            {"execute", place<void(const TarvexCommand&)>(&AbstractTarvexCommandExecutor::execute)},
            {"name", place<QString() const>(&AbstractTarvexCommandExecutor::name)},
        });
    row<AbstractTarvexCommandsWorker>(
        "AbstractTarvexCommandsWorker",
        {
            {"doStart", place<bool()>(&AbstractTarvexCommandsWorker::doStart)},
            {"doStop", place<bool()>(&AbstractTarvexCommandsWorker::doStop)},
            {"prepareError",
             place<void(const QString&, const QString&, const QString&, const QString&, const QVariantMap&)>(
                 &AbstractTarvexCommandsWorker::prepareError)},
            {"doExec", place<void(TarvexCommand)>(&AbstractTarvexCommandsWorker::doExec)},
            {"addExecutor", place<void(AbstractTarvexCommandExecutor*)>(&AbstractTarvexCommandsWorker::addExecutor)},
            {"removeExecutor", place<void(const QString&)>(&AbstractTarvexCommandsWorker::removeExecutor)},
        });
    row<AbstractStateWrapper>(
        "AbstractStateWrapper",
        {
            {"setValue", place<void(QString, QVariant)>(&AbstractStateWrapper::setValue)},
            {"value", place<QVariant(QString)>(&AbstractStateWrapper::value)},
            {"toMap", place<QVariantMap() const>(&AbstractStateWrapper::toMap)},
            {"toByteArray", place<QByteArray() const>(&AbstractStateWrapper::toByteArray)},
            {"toString", place<QString() const>(&AbstractStateWrapper::toString)},
            {"toClientState", place<tarvex::ClientState() const>(&AbstractStateWrapper::toClientState)},
        });
    row<tarvex::TarvexLogCreator>("TarvexLogCreator", {});
    row<tarvex::Message>("Message", {});
}

void TstVirtualTables::function_standsAtItsPlace()
{
    QFETCH(std::ptrdiff_t, actual);
    QFETCH(std::ptrdiff_t, expected);
    QCOMPARE(actual, expected);
}

QTEST_GUILESS_MAIN(TstVirtualTables)
#include "tst_virtualtables.moc"
