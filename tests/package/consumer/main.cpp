// By folder and by bare name: services use both.
#include "abstracttarvexcommandsworker.h"
#include "abstractworker.h"
#include "client/tarvexqueryhandler.h"
#include "cmdlayer/abstracttarvexcommandexecutor.h"
#include "message.h"
#include "records/message.h"
#include "statecatcher.h"
#include "statewrapper/abstractstatewrapper.h"
#include "support/abstractworker.h"
#include "support/abstractworkercontroller.h"
#include "supportedclients.h"
#include "tarvexlib.h"

#include <QCoreApplication>
#include <QDebug>
#include <QMetaType>
#include <QThread>
#include <QTimer>

namespace {

/// Starts, says so, and tries its connection to a bus that is not open.
class Worker : public wexcor::AbstractWorker
{
    Q_OBJECT
public:
    bool doStart() override
    {
        const tarvex::TarvexQueryHandler handler(tarvex::BUSNAME_MONITORING);
        Q_EMIT started(handler.clientName(), handler.isOpen());
        return true;
    }

    bool doStop() override { return true; }

Q_SIGNALS:
    void started(QString clientName, bool open);
};

class Controller : public wexcor::AbstractWorkerController
{
    Q_OBJECT
public:
    using wexcor::AbstractWorkerController::AbstractWorkerController;

    void doStart() override
    {
        auto* const worker = new Worker;
        connect(worker, &Worker::started, this, &Controller::finish);
        addWorkerToThread(worker)->start(QThread::InheritPriority);
    }

private:
    void finish(const QString& clientName, bool open)
    {
        qInfo().noquote() << "started" << clientName;
        QCoreApplication::exit(clientName == tarvex::BUSNAME_MONITORING && !open ? 0 : 1);
    }
};

class State : public AbstractStateWrapper
{
    Q_OBJECT
    Q_PROPERTY(int paperLeft MEMBER m_paperLeft)
public:
    tarvex::ClientState toClientState() const override
    {
        tarvex::ClientState state;
        state.setState(toString());
        return state;
    }

private:
    int m_paperLeft = 0;
};

bool stateWorks()
{
    AbstractStateWrapper::init(QSharedPointer<State>::create());
    StateCatcher() << catchvalue(QStringLiteral("paperLeft"), 5) << commitstate();
    return StateCatcher().toClientState().state() == QLatin1String(R"({"paperLeft":5})");
}

bool recordsWork()
{
    tarvex::Message message;
    message.setReciever(tarvex::BUSNAME_LOGGER);
    message.setMessage(QStringLiteral("text"));
    const tarvex::Message copy = tarvex::Message::fromVariantMap(message.toVariantMap());
    return copy.reciever() == tarvex::BUSNAME_LOGGER && copy.message() == QLatin1String("text")
        && QMetaType::type("Message") != QMetaType::UnknownType;
}

class Executor : public AbstractTarvexCommandExecutor
{
    Q_OBJECT
public:
    explicit Executor(QObject* parent) : AbstractTarvexCommandExecutor(QStringLiteral("executor"), parent) { }

    bool canExecute(const TarvexCommand& cmd) override { return cmd.name() == QLatin1String("taken"); }

    void execute(const TarvexCommand& cmd) override { executed = cmd.name(); }

    QString executed;
};

class Commands : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }

    Q_INVOKABLE QVariant handled(QString agent, QString uid) { return called = agent + uid; }

    QString called;
};

bool commandsWork()
{
    Commands worker;
    auto* const executor = new Executor(&worker);
    worker.addExecutor(executor);
    TarvexCommand cmd;
    cmd.setAgent(QStringLiteral("a"));
    cmd.setUid(QStringLiteral("b"));
    cmd.setName(QStringLiteral("handled"));
    worker.exec(cmd);
    cmd.setName(QStringLiteral("taken"));
    worker.exec(cmd);
    return worker.called == QLatin1String("ab") && executor->executed == QLatin1String("taken")
        && qobject_cast<AbstractTarvexCommandExecutor*>(static_cast<QObject*>(executor)) != nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::AppVersion version = bus::TarvexLib::version();
    qInfo().noquote() << "tarvexlib" << version.version() << "of" << version.buildTime();
    if (version.version() != QLatin1String("5.0.28") || !recordsWork() || !stateWorks() || !commandsWork()) {
        return 1;
    }
    Controller controller(nullptr);
    QTimer::singleShot(20000, &application, [] { QCoreApplication::exit(1); });
    controller.doStart();
    return QCoreApplication::exec();
}

#include "main.moc"
