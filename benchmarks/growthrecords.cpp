#include "growth.h"

#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "records/clientsettings.h"
#include "require.h"
#include "silentconsole.h"

#include <QVector>

#include <benchmark/benchmark.h>

namespace {

using tarvex::ClientSettings;

constexpr int ENTRIES_PER_GROUP = 12;
/// More than the worker remembers, which is 100, so that a command that comes round again is no repeat.
constexpr int DIFFERENT_COMMANDS = 256;

QVariantMap entry(int number)
{
    return {{QStringLiteral("group"), QStringLiteral("display/layout/%1").arg(number / ENTRIES_PER_GROUP)},
            {QStringLiteral("key"), QStringLiteral("coefficient_%1").arg(number % ENTRIES_PER_GROUP)},
            {QStringLiteral("value"), number}};
}

ClientSettings record(int entries)
{
    QList<QVariant> list;
    for (int number = 0; number < entries; ++number) {
        list.append(entry(number));
    }
    ClientSettings settings;
    settings.setOwner(QStringLiteral("ticket_printer"));
    settings.setSettings(list);
    return settings;
}

void runRead(benchmark::State& state, int entries)
{
    const QVariantMap map = record(entries).toVariantMap();
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(ClientSettings::fromVariantMap(map));
    }
}

void runWrite(benchmark::State& state, int entries)
{
    const ClientSettings settings = record(entries);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(settings.toVariantMap());
    }
}

void runFormat(benchmark::State& state, int entries)
{
    const ClientSettings settings = record(entries);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(settings.formattedSettings());
    }
}

void runReplace(benchmark::State& state, int entries)
{
    ClientSettings settings = record(entries);
    const QVariantMap formatted = settings.formattedSettings();
    for ([[maybe_unused]] auto _ : state) {
        settings.setFormattedSettings(formatted, true);
    }
    require(settings.settings().size() == entries, "an entry is missing");
}

/// Half of the entries get a new value, the other half is new.
void runMerge(benchmark::State& state, int entries)
{
    const ClientSettings before = record(entries / 2);
    const QVariantMap formatted = record(entries).formattedSettings();
    for ([[maybe_unused]] auto _ : state) {
        ClientSettings settings = before;
        settings.setFormattedSettings(formatted, false);
        require(settings.settings().size() == entries, "an entry is missing");
    }
}

class Worker : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }
};

/// Looks at the name only, as most executors do.
class Executor : public AbstractTarvexCommandExecutor
{
    Q_OBJECT
public:
    Executor(const QString& name, long& done, QObject* parent)
        : AbstractTarvexCommandExecutor(name, parent), m_done(done)
    {
    }

    bool canExecute(const TarvexCommand& cmd) override { return cmd.name() == name(); }

    void execute(const TarvexCommand& cmd) override
    {
        Q_UNUSED(cmd)
        ++m_done;
    }

private:
    long& m_done;
};

QString executorName(int number)
{
    return QStringLiteral("command%1").arg(number, 4, 10, QLatin1Char('0'));
}

/// One command, which the last executor takes.
void runDispatch(benchmark::State& state, int executors)
{
    const SilentConsole silence;
    Worker worker;
    long done = 0;
    for (int number = 1; number <= executors; ++number) {
        worker.addExecutor(new Executor(executorName(number), done, &worker));
    }
    QVector<TarvexCommand> commands(DIFFERENT_COMMANDS);
    for (int i = 0; i < DIFFERENT_COMMANDS; ++i) {
        commands[i].setName(executorName(executors));
        commands[i].setAgent(QStringLiteral("cashbox"));
        commands[i].setUid(QStringLiteral("9f1c7f0e-5b7e-4b43-9d0a-%1").arg(i, 12, 10, QLatin1Char('0')));
    }
    int next = 0;
    for ([[maybe_unused]] auto _ : state) {
        worker.exec(commands.at(next));
        next = (next + 1) % DIFFERENT_COMMANDS;
    }
    require(done == state.iterations(), "a command was not carried out");
}

void add(const char* series, int size, void (*run)(benchmark::State&, int))
{
    benchmark::RegisterBenchmark(growth::name(series, size).c_str(), run, size)->Unit(benchmark::kMicrosecond);
}

} // namespace

void growth::registerRecords()
{
    for (const int entries : sizes({10, 100, 1000, 10000, 100000}, 1000)) {
        add("settings_read", entries, runRead);
        add("settings_write", entries, runWrite);
        add("settings_format", entries, runFormat);
        add("settings_replace", entries, runReplace);
        add("settings_merge", entries, runMerge);
    }
    for (const int executors : sizes({1, 10, 100, 1000}, 100)) {
        add("dispatch", executors, runDispatch);
    }
}

#include "growthrecords.moc"
