#include "gatecommands.h"

namespace {

constexpr int MAX_SECONDS = 60;

//! [executor]
/// Takes commands before the handlers do, as long as the gate is locked: refuses "open", and removes itself at
/// "unlock".
class Lock : public AbstractTarvexCommandExecutor
{
public:
    explicit Lock(GateCommands* gate) : AbstractTarvexCommandExecutor(QStringLiteral("lock"), gate), m_gate(gate) { }

    bool canExecute(const TarvexCommand& command) override
    {
        return command.name() == QLatin1String("open") || command.name() == QLatin1String("unlock");
    }

    void execute(const TarvexCommand& command) override
    {
        if (command.name() == QLatin1String("open")) {
            m_gate->prepareError(command.agent(), command.uid(), command.name(), QStringLiteral("The gate is locked"),
                                 command.data());
            return;
        }
        m_gate->answer(command.agent(), command.uid(), QStringLiteral("unlocked"));
        m_gate->removeExecutor(name()); // destroyed as soon as this function has returned
    }

private:
    GateCommands* const m_gate;
};

//! [executor]

} // namespace

//! [answer]
void GateCommands::answer(const QString& agent, const QString& uid, const QString& name, const QVariantMap& data)
{
    TarvexCommand answer;
    answer.setAgent(agent);
    answer.setUid(uid);
    answer.setName(name);
    answer.setData(data);
    Q_EMIT sendCommand(answer);
}

//! [answer]

//! [handlers]
QVariant GateCommands::open(QString agent, QString uid, QVariantMap data)
{
    const int seconds = data.value(QStringLiteral("seconds")).toInt();
    if (seconds < 1 || seconds > MAX_SECONDS) {
        prepareError(agent, uid, QStringLiteral("open"), QStringLiteral("1 to 60 seconds, please"), data);
        return true; // an invalid value would be answered with "No such method (open)"
    }
    ++m_timesOpened;
    answer(agent, uid, QStringLiteral("opened"), {{QStringLiteral("seconds"), seconds}});
    return true;
}

QVariant GateCommands::status(QString agent, QString uid)
{
    answer(agent, uid, QStringLiteral("statusReport"), {{QStringLiteral("timesOpened"), m_timesOpened}});
    return true;
}

QVariant GateCommands::lock(QString agent, QString uid)
{
    addExecutor(new Lock(this)); // destroys the former one if the gate is locked already
    answer(agent, uid, QStringLiteral("locked"));
    return true;
}

//! [handlers]
