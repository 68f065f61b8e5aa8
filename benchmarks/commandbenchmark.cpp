#include "commandbenchmark.h"

#include "allocations.h"
#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "require.h"
#include "silentconsole.h"

#include <QVector>

#include <benchmark/benchmark.h>

namespace {

/// More than the worker remembers, which is 100, so that a command that comes round again is no repeat.
constexpr int DIFFERENT_COMMANDS = 256;

class Worker : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }

    Q_INVOKABLE QVariant print(QString agent, QString uid, QVariantMap data)
    {
        Q_UNUSED(agent)
        Q_UNUSED(uid)
        Q_UNUSED(data)
        ++done;
        return true;
    }

    long done = 0;
};

/// Looks at the name only, as most executors do.
class Executor : public AbstractTarvexCommandExecutor
{
    Q_OBJECT
public:
    Executor(const QString& name, const QString& command, Worker* worker)
        : AbstractTarvexCommandExecutor(name, worker), m_command(command), m_worker(worker)
    {
    }

    bool canExecute(const TarvexCommand& cmd) override { return cmd.name() == m_command; }

    void execute(const TarvexCommand& cmd) override
    {
        Q_UNUSED(cmd)
        ++m_worker->done;
    }

private:
    const QString m_command;
    Worker* const m_worker;
};

QVector<TarvexCommand> differentCommands(const QString& name)
{
    QVector<TarvexCommand> commands(DIFFERENT_COMMANDS);
    for (int i = 0; i < DIFFERENT_COMMANDS; ++i) {
        commands[i].setName(name);
        commands[i].setAgent(QStringLiteral("cashbox"));
        commands[i].setUid(QStringLiteral("9f1c7f0e-5b7e-4b43-9d0a-%1").arg(i, 12, 10, QLatin1Char('0')));
        commands[i].setData({{QStringLiteral("copies"), 2}, {QStringLiteral("text"), QStringLiteral("one way")}});
    }
    return commands;
}

void run(benchmark::State& state, const QString& name, int executors)
{
    const SilentConsole silence;
    Worker worker;
    for (int i = 1; i <= executors; ++i) {
        const QString number = QStringLiteral("%1").arg(i, 2, 10, QLatin1Char('0'));
        worker.addExecutor(new Executor(number, QLatin1String("command") + number, &worker));
    }
    const QVector<TarvexCommand> commands = differentCommands(name);
    int next = 0;
    const auto step = [&] {
        worker.exec(commands.at(next));
        next = (next + 1) % DIFFERENT_COMMANDS;
    };
    for (int i = 0; i < DIFFERENT_COMMANDS; ++i) {
        step(); // fills the cache; from now on each new key removes an old one
    }
    state.counters["allocations"] = static_cast<double>(allocations::during(step));
    worker.done = 0;
    for ([[maybe_unused]] auto _ : state) {
        step();
    }
    require(worker.done == state.iterations(), "a command was not carried out");
}

} // namespace

void registerCommandBenchmarks()
{
    benchmark::RegisterBenchmark("command/handler/0", run, QStringLiteral("print"), 0);
    benchmark::RegisterBenchmark("command/handler/50", run, QStringLiteral("print"), 50);
    benchmark::RegisterBenchmark("command/executor/50", run, QStringLiteral("command50"), 50);
}

#include "commandbenchmark.moc"
