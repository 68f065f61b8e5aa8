// A worker that carries out commands, and an executor beside its methods. Needs no bus: main() hands it the commands.
//
// Prints:
//   printed {"left":119}
//   selfTestDone {}
//   commandError {"command":"fly","data":{},"errorText":"No such method (fly)"}

#include <abstracttarvexcommandexecutor.h>
#include <abstracttarvexcommandsworker.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

using tarvex::Message;

namespace {

//! [worker]
class PrinterCommands : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }

    Q_INVOKABLE QVariant status(QString agent, QString uid);                  // {"cmd":"status"}
    Q_INVOKABLE QVariant print(QString agent, QString uid, QVariantMap data); // {"cmd":"print","data":{...}}

private:
    void answer(const QString& agent, const QString& uid, const QString& name);

    int m_paperLeft = 120;
};

//! [worker]

QVariant PrinterCommands::status(QString agent, QString uid)
{
    answer(agent, uid, QStringLiteral("status"));
    return true;
}

//! [method]
QVariant PrinterCommands::print(QString agent, QString uid, QVariantMap data)
{
    if (data.value(QStringLiteral("text")).toString().isEmpty()) {
        prepareError(agent, uid, QStringLiteral("print"), tr("There is no text"), data);
        return true; // It is answered, so the worker need not do it.
    }
    --m_paperLeft;
    answer(agent, uid, QStringLiteral("printed"));
    return true;
}

//! [method]

void PrinterCommands::answer(const QString& agent, const QString& uid, const QString& name)
{
    TarvexCommand answer;
    answer.setName(name);
    answer.setAgent(agent);
    answer.setUid(uid);
    answer.setData({{QStringLiteral("left"), m_paperLeft}});
    Q_EMIT sendCommand(answer);
}

//! [executor]
class SelfTest : public AbstractTarvexCommandExecutor
{
    Q_OBJECT
public:
    explicit SelfTest(AbstractTarvexCommandsWorker* worker)
        : AbstractTarvexCommandExecutor(QStringLiteral("selfTest"), worker), m_worker(worker)
    {
    }

    bool canExecute(const TarvexCommand& cmd) override { return cmd.name() == name(); }

    void execute(const TarvexCommand& cmd) override
    {
        TarvexCommand answer = cmd; // It goes back to the sender, with the same uid.
        answer.setName(QStringLiteral("selfTestDone"));
        Q_EMIT m_worker->sendCommand(answer);
    }

private:
    AbstractTarvexCommandsWorker* const m_worker;
};

//! [executor]

/// Takes the answers in place of the bus.
class Answers : public QObject
{
    Q_OBJECT
public Q_SLOTS:

    void show(TarvexCommand answer)
    {
        const QJsonDocument data(QJsonObject::fromVariantMap(answer.data()));
        QTextStream(stdout) << answer.name() << ' ' << QString::fromUtf8(data.toJson(QJsonDocument::Compact)) << '\n';
    }
};

/// A message as it comes from the client "cashbox".
Message received(const QString& text, const QString& uid)
{
    Message message;
    message.setSender(QStringLiteral("cashbox"));
    message.setMessage(text);
    message.setUid(uid);
    return message;
}

void carryOut(AbstractTarvexCommandsWorker& worker, const Message& message)
{
    //! [command]
    TarvexCommand command;
    if (TarvexCommand::incomingMessageToCmd(message, command)) {
        worker.exec(command);
    }
    //! [command]
}

} // namespace

int main()
{
    PrinterCommands worker;
    worker.addExecutor(new SelfTest(&worker));
    Answers answers;
    QObject::connect(&worker, SIGNAL(sendCommand(TarvexCommand)), &answers, SLOT(show(TarvexCommand)));
    carryOut(worker, received(QStringLiteral(R"({"cmd":"print","data":{"text":"Zone A"}})"), QStringLiteral("1")));
    carryOut(worker, received(QStringLiteral(R"({"cmd":"selfTest"})"), QStringLiteral("2")));
    carryOut(worker, received(QStringLiteral(R"({"cmd":"fly"})"), QStringLiteral("3")));
    return 0;
}

#include "commands.moc"
