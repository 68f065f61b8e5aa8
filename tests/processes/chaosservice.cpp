#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "client/tarvexqueryworker.h"
#include "quitonsignal.h"

#include <QCoreApplication>
#include <QTextStream>
#include <QTimer>

using tarvex::Message;

namespace {

constexpr int STATE_INTERVAL_MS = 500;
constexpr int LOG_REPEAT_INTERVAL_MS = 10000;

void say(const QString& line)
{
    QTextStream(stdout) << line << Qt::endl;
}

QString numberText(int number)
{
    return QStringLiteral(R"({"cmd":"number","data":{"n":%1}})").arg(number);
}

} // namespace

/// Sends the numbers 1 to N to "receiver", each once, and says which of them the bus accepted.
class NumberSender : public tarvex::TarvexQueryWorker
{
    Q_OBJECT
public:
    NumberSender(const QString& clientName, int count)
        : TarvexQueryWorker(STATE_INTERVAL_MS, clientName), m_count(count)
    {
        connect(this, SIGNAL(workerConnected()), this, SLOT(sendNext()), Qt::QueuedConnection);
    }

    void doSendState() override
    {
        tarvex::ClientState state;
        state.setStateType(tarvex::ClientState::EStateType(1));
        state.setState(QString::number(m_sent));
        handler->saveState(state);
    }

    void doApplySettings(tarvex::ClientSettings settings) override { Q_UNUSED(settings) }

private Q_SLOTS:

    void sendNext()
    {
        if (!handler->isOpen() || m_sent >= m_count) {
            return;
        }
        ++m_sent;
        Message message;
        message.setReciever(QStringLiteral("receiver"));
        message.setMessage(numberText(m_sent));
        say((handler->sendMessage(message) ? QStringLiteral("accepted %1") : QStringLiteral("failed %1")).arg(m_sent));
        if (m_sent == m_count) {
            say(QStringLiteral("done"));
        } else {
            QTimer::singleShot(0, this, SLOT(sendNext()));
        }
    }

private:
    const int m_count;
    int m_sent = 0;
};

/// Says which numbers were delivered.
class NumberReceiver : public tarvex::TarvexMsgWorker
{
public:
    using TarvexMsgWorker::TarvexMsgWorker;

    bool doProcessCommand(const QString& cmd, const QVariantMap& data, const QString& sender,
                          const QString& uid) override
    {
        if (cmd != QLatin1String("number")) {
            return TarvexMsgWorker::doProcessCommand(cmd, data, sender, uid);
        }
        say(QStringLiteral("got %1").arg(data.value(QStringLiteral("n")).toInt()));
        return true;
    }
};

class ChaosService : public tarvex::TarvexController
{
public:
    ChaosService(const QString& clientName, int count)
        : TarvexController(LOG_REPEAT_INTERVAL_MS, clientName, nullptr), m_clientName(clientName), m_count(count)
    {
    }

    void doStart() override { initWorkers(new NumberReceiver(m_clientName), new NumberSender(m_clientName, m_count)); }

private:
    const QString m_clientName;
    const int m_count;
};

// chaosservice NAME COUNT: both ends in one, a receiver sends nothing.
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QuitOnSignal quitOnSignal;
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        return 2;
    }
    ChaosService service(arguments.at(1), arguments.at(2).toInt());
    service.doStart();
    return QCoreApplication::exec();
}

#include "chaosservice.moc"
