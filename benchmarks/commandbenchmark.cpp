#include "commandbenchmark.h"

#include "allocations.h"
#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "require.h"
#include "silentconsole.h"

#include <QVector>

#include <benchmark/benchmark.h>
#include <string>

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

/// With leading zeros, so that the last number is the last name too.
QString numbered(const char* word, int number)
{
    return QLatin1String(word) + QStringLiteral("%1").arg(number, 4, 10, QLatin1Char('0'));
}

/// The commands named \a name pass \a executors executors on their way.
void run(benchmark::State& state, const QString& name, int executors)
{
    const SilentConsole silence;
    Worker worker;
    for (int i = 1; i <= executors; ++i) {
        worker.addExecutor(new Executor(numbered("executor", i), numbered("command", i), &worker));
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

/// No executor takes the command, and a method of the worker does.
void runHandler(benchmark::State& state, int executors)
{
    run(state, QStringLiteral("print"), executors);
}

/// The last executor takes the command.
void runExecutor(benchmark::State& state, int executors)
{
    run(state, numbered("command", executors), executors);
}

} // namespace

void registerCommandBenchmarks()
{
    for (const int executors : {0, 1, 10, 50, 100, 1000}) {
        const std::string count = std::to_string(executors);
        benchmark::RegisterBenchmark(("command/handler/" + count).c_str(), runHandler, executors);
        if (executors > 0) {
            benchmark::RegisterBenchmark(("command/executor/" + count).c_str(), runExecutor, executors);
        }
    }
}

#include "commandbenchmark.moc"
