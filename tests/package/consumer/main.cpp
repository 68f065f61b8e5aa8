// By folder and by bare name: services use both.
#include "abstractworker.h"
#include "client/tarvexqueryhandler.h"
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

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::AppVersion version = bus::TarvexLib::version();
    qInfo().noquote() << "tarvexlib" << version.version() << "of" << version.buildTime();
    if (version.version() != QLatin1String("5.0.28") || !recordsWork() || !stateWorks()) {
        return 1;
    }
    Controller controller(nullptr);
    QTimer::singleShot(20000, &application, [] { QCoreApplication::exit(1); });
    controller.doStart();
    return QCoreApplication::exec();
}

#include "main.moc"
