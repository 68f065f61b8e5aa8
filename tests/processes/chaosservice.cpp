#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "client/tarvexqueryworker.h"
#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "cmdlayer/tarvexcommand.h"
#include "support/quitonsignal.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <thread>

using tarvex::Message;

namespace {

constexpr int STATE_INTERVAL_MS = 500;
constexpr int LOG_REPEAT_INTERVAL_MS = 10000;
/// How often a service looks for a bus that is gone.
constexpr int LOOK_INTERVAL_MS = 100;

const QLatin1String COMMAND_NUMBER("number");
const QLatin1String COMMAND_COUNTED("counted");

/// What the command line says.
struct Task
{
    QString name;
    QString receiver; ///< Empty for a service that sends nothing.
    int first = 1;
    int count = 0; ///< 0 for a service that goes on until it is ended.
    int burst = 0; ///< A pause follows after this many numbers. 0 for no pause.
    int pauseMs = 0;
    int handlingMs = 0;
    bool hasCommandsWorker = false;
    bool looksForBus = false;
};

void say(const QString& line)
{
    QTextStream(stdout) << line << Qt::endl;
}

int numberIn(const QVariantMap& data)
{
    return data.value(QStringLiteral("n")).toInt();
}

QVariantMap dataOf(int number)
{
    return {{QStringLiteral("n"), number}};
}

/// Takes some time, as a device does, and then prints the number.
void handleNumber(const QString& sender, int number, int handlingMs)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(handlingMs));
    say(QStringLiteral("got %1 %2").arg(sender, QString::number(number)));
}

void handleCounted(const QString& sender, int number)
{
    say(QStringLiteral("heard %1 %2").arg(sender, QString::number(number)));
}

} // namespace

/// Sends one number after the other to the receiver, each once, and prints which of them the bus accepted. Also sends
/// the answers of the commands worker.
class NumberSender : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    explicit NumberSender(const Task& task)
        : TarvexQueryWorker(STATE_INTERVAL_MS, task.name)
        , m_task(task)
        , m_next(task.first)
        , m_nextTimer(new QTimer(this))
        , m_lookTimer(new QTimer(this))
    {
        m_nextTimer->setSingleShot(true);
        m_lookTimer->setInterval(LOOK_INTERVAL_MS);
        connect(this, SIGNAL(workerConnected()), this, SLOT(sendNext()), Qt::QueuedConnection);
        connect(m_nextTimer, SIGNAL(timeout()), this, SLOT(sendNext()));
        connect(m_lookTimer, SIGNAL(timeout()), this, SLOT(lookForBus()));
    }

    bool doStart() override
    {
        if (m_task.looksForBus) {
            m_lookTimer->start();
        }
        return TarvexQueryWorker::doStart();
    }

    void doSendState() override
    {
        tarvex::ClientState state;
        state.setStateType(tarvex::ClientState::EStateType(1));
        state.setState(QString::number(m_next - 1));
        handler->saveState(state);
    }

    void doApplySettings(tarvex::ClientSettings settings) override { Q_UNUSED(settings) }

public Q_SLOTS:

    /// Prints a line before and after, because the process may end in between.
    void sendAnswer(TarvexCommand answer)
    {
        const QString what = answer.agent() + QLatin1Char(' ') + QString::number(numberIn(answer.data()));
        say(QLatin1String("answering ") + what);
        const bool isAccepted = handler->isOpen() && handler->sendMessage(answer.toOutgoingMessage());
        say((isAccepted ? QLatin1String("answered ") : QLatin1String("unanswered ")) + what);
    }

private Q_SLOTS:

    void sendNext()
    {
        if (!handler->isOpen() || m_task.receiver.isEmpty() || isDone()) {
            return;
        }
        const int number = m_next++;
        TarvexCommand command;
        command.setAgent(m_task.receiver);
        command.setName(COMMAND_NUMBER);
        command.setData(dataOf(number));
        say(QStringLiteral("sending %1").arg(number));
        const bool isAccepted = handler->sendMessage(command.toOutgoingMessage());
        say((isAccepted ? QStringLiteral("accepted %1") : QStringLiteral("failed %1")).arg(number));
        if (isDone()) {
            say(QStringLiteral("done"));
        } else {
            m_nextTimer->start(m_task.burst > 0 && m_next % m_task.burst == 0 ? m_task.pauseMs : 0);
        }
    }

    void lookForBus()
    {
        if (!handler->isOpen()) {
            restart();
        }
    }

private:
    bool isDone() const { return m_task.count > 0 && m_next >= m_task.first + m_task.count; }

    const Task m_task;
    int m_next;
    QTimer* const m_nextTimer;
    QTimer* const m_lookTimer;
};

/// Handles the numbers itself if there is no commands worker. Otherwise it passes them on as any other message.
class NumberReceiver : public tarvex::TarvexMsgWorker
{
    Q_OBJECT
public:
    explicit NumberReceiver(const Task& task) : TarvexMsgWorker(task.name), m_task(task), m_lookTimer(new QTimer(this))
    {
        m_lookTimer->setInterval(LOOK_INTERVAL_MS);
        connect(this, SIGNAL(workerConnected()), this, SLOT(noteConnection()));
        connect(m_lookTimer, SIGNAL(timeout()), this, SLOT(lookForBus()));
    }

    bool doStart() override
    {
        if (m_task.looksForBus) {
            m_lookTimer->start();
        }
        return TarvexMsgWorker::doStart();
    }

    /// The library calls this also when the connection is lost.
    bool doStop() override
    {
        m_isConnected = false;
        return TarvexMsgWorker::doStop();
    }

    bool doProcessCommand(const QString& cmd, const QVariantMap& data, const QString& sender,
                          const QString& uid) override
    {
        if (m_task.hasCommandsWorker || (cmd != COMMAND_NUMBER && cmd != COMMAND_COUNTED)) {
            return TarvexMsgWorker::doProcessCommand(cmd, data, sender, uid);
        }
        if (cmd == COMMAND_NUMBER) {
            handleNumber(sender, numberIn(data), m_task.handlingMs);
        } else {
            handleCounted(sender, numberIn(data));
        }
        return true;
    }

private Q_SLOTS:

    void noteConnection() { m_isConnected = true; }

    void lookForBus()
    {
        if (!m_isConnected) {
            restart();
        }
    }

private:
    const Task m_task;
    QTimer* const m_lookTimer;
    bool m_isConnected = false;
};

/// Handles the numbers in a thread of its own, and answers each.
class NumberCommands : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    explicit NumberCommands(int handlingMs) : m_handlingMs(handlingMs) { }

    bool doStart() override { return true; }

    bool doStop() override { return true; }

public Q_SLOTS:

    QVariant number(QString agent, QString uid, QVariantMap data)
    {
        handleNumber(agent, numberIn(data), m_handlingMs);
        TarvexCommand answer;
        answer.setAgent(agent);
        answer.setUid(uid);
        answer.setName(COMMAND_COUNTED);
        answer.setData(data);
        Q_EMIT sendCommand(answer);
        return true;
    }

    QVariant counted(QString agent, QString uid, QVariantMap data)
    {
        Q_UNUSED(uid)
        handleCounted(agent, numberIn(data));
        return true;
    }

private:
    const int m_handlingMs;
};

class ChaosService : public tarvex::TarvexController
{
    Q_OBJECT
public:
    explicit ChaosService(const Task& task) : TarvexController(LOG_REPEAT_INTERVAL_MS, task.name, nullptr), m_task(task)
    {
    }

    void doStart() override
    {
        auto* const messages = new NumberReceiver(m_task);
        auto* const queries = new NumberSender(m_task);
        if (m_task.hasCommandsWorker) {
            addCommandsWorker(messages, queries);
        }
        initWorkers(messages, queries);
        say(QStringLiteral("started"));
    }

Q_SIGNALS:
    void commandReceived(TarvexCommand command);
    void answerReady(TarvexCommand answer);

private Q_SLOTS:

    void onMessage(Message message)
    {
        TarvexCommand command;
        if (TarvexCommand::incomingMessageToCmd(message, command)) {
            Q_EMIT commandReceived(command);
        }
    }

    void onAnswer(TarvexCommand answer) { Q_EMIT answerReady(answer); }

private:
    /// The way that most services use: message worker, controller, commands worker, controller, query worker.
    void addCommandsWorker(NumberReceiver* messages, NumberSender* queries)
    {
        auto* const commands = new NumberCommands(m_task.handlingMs);
        connect(messages, SIGNAL(unprocessedMessage(Message)), this, SLOT(onMessage(Message)), Qt::QueuedConnection);
        connect(this, SIGNAL(commandReceived(TarvexCommand)), commands, SLOT(exec(TarvexCommand)),
                Qt::QueuedConnection);
        connect(commands, SIGNAL(sendCommand(TarvexCommand)), this, SLOT(onAnswer(TarvexCommand)),
                Qt::QueuedConnection);
        connect(this, SIGNAL(answerReady(TarvexCommand)), queries, SLOT(sendAnswer(TarvexCommand)),
                Qt::QueuedConnection);
        if (QThread* const thread = addWorkerToThread(commands)) {
            thread->start(QThread::InheritPriority);
        }
    }

    const Task m_task;
};

namespace {

Task taskFromCommandLine()
{
    const QString number = QStringLiteral("number");
    const QCommandLineOption to(QStringLiteral("to"), QStringLiteral("Sends numbers to <name>."),
                                QStringLiteral("name"));
    const QCommandLineOption first(QStringLiteral("first"), QStringLiteral("The first of them."), number,
                                   QStringLiteral("1"));
    const QCommandLineOption count(QStringLiteral("count"), QStringLiteral("How many; otherwise it goes on."), number);
    const QCommandLineOption burst(QStringLiteral("burst"), QStringLiteral("Pauses after so many."), number);
    const QCommandLineOption pause(QStringLiteral("pause"), QStringLiteral("How long it pauses, in ms."), number);
    const QCommandLineOption handling(QStringLiteral("handling"), QStringLiteral("How long a number takes, in ms."),
                                      number);
    const QCommandLineOption commands(QStringLiteral("commands"),
                                      QStringLiteral("Handles numbers in a commands worker, and answers them."));
    const QCommandLineOption look(QStringLiteral("look"),
                                  QStringLiteral("Looks for a bus that has gone, sooner than the library does."));
    QCommandLineParser parser;
    parser.addOptions({to, first, count, burst, pause, handling, commands, look});
    parser.addPositionalArgument(QStringLiteral("name"), QStringLiteral("The service's name."));
    parser.process(*QCoreApplication::instance());
    Task task;
    task.name = parser.positionalArguments().value(0);
    task.receiver = parser.value(to);
    task.first = parser.value(first).toInt();
    task.count = parser.value(count).toInt();
    task.burst = parser.value(burst).toInt();
    task.pauseMs = parser.value(pause).toInt();
    task.handlingMs = parser.value(handling).toInt();
    task.hasCommandsWorker = parser.isSet(commands);
    task.looksForBus = parser.isSet(look);
    return task;
}

} // namespace

// Sender and receiver in one: sends numbers to another service, and prints what other services send to it.
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal;
    const Task task = taskFromCommandLine();
    if (task.name.isEmpty()) {
        return 2;
    }
    ChaosService service(task);
    service.doStart();
    return QCoreApplication::exec();
}

#include "chaosservice.moc"
