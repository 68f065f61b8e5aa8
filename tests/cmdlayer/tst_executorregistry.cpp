#include "cmdlayer/abstracttarvexcommandsworker.h"

#include "commandsender.h"
#include "literals.h"
#include "logcapture.h"

#include <QHash>
#include <QPointer>
#include <QTest>

#include <functional>
#include <memory>

namespace {

/// From an event ("a asked", or "a asked again" for its second time) to the steps that it causes.
using Reactions = QHash<QString, QString>;

/// Records what happens, in order, and reacts to it.
class Script
{
public:
    std::function<void(const QString& steps)> run;
    Reactions reactions;
    QStringList record;

    void happens(const QString& what)
    {
        record.append(what);
        const QString steps = reactions.value(record.count(what) > 1 ? what + u" again"_s : what);
        if (!steps.isEmpty()) {
            run(steps);
        }
    }
};

class ScriptedExecutor : public AbstractTarvexCommandExecutor
{
public:
    ScriptedExecutor(const QString& name, Script& script, bool takes, QObject* parent = nullptr)
        : AbstractTarvexCommandExecutor(name, parent), m_script(script), m_takes(takes)
    {
    }

    ~ScriptedExecutor() override { m_script.happens(givenName() + u" destroyed"_s); }

    bool canExecute(const TarvexCommand& cmd) override
    {
        const QPointer<ScriptedExecutor> self(this);
        m_script.happens(givenName() + u" asked"_s);
        // It may be destroyed by now, and then nothing of it may be touched.
        if (!self) {
            return true;
        }
        lastCommand = cmd;
        return m_takes;
    }

    void execute(const TarvexCommand& cmd) override
    {
        const QPointer<ScriptedExecutor> self(this);
        m_script.happens(givenName() + u" executes"_s);
        if (self) {
            lastCommand = cmd;
            m_script.happens(givenName() + u" executed"_s);
        }
    }

    QString givenName() const { return AbstractTarvexCommandExecutor::name(); }

    TarvexCommand lastCommand;

protected:
    Script& m_script;

private:
    const bool m_takes;
};

/// The record calls it "base", the worker calls it "b".
class RenamedExecutor : public ScriptedExecutor
{
public:
    explicit RenamedExecutor(Script& script) : ScriptedExecutor(u"base"_s, script, true) { }

    QString name() const override
    {
        m_script.happens(u"base named"_s);
        return u"b"_s;
    }
};

class Worker : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    explicit Worker(Script& script) : m_script(script) { }

    ~Worker() override { m_script.happens(u"worker destroyed"_s); }

    bool doStart() override { return true; }

    bool doStop() override { return true; }

    void doExec(TarvexCommand cmd) override { m_script.happens(u"dispatched "_s + cmd.name()); }

private:
    Script& m_script;
};

/// A worker with its executors, which carries out the steps of a test.
class Registry
{
public:
    explicit Registry(const Reactions& reactions = {})
    {
        script.reactions = reactions;
        script.run = [this](const QString& steps) { run(steps); };
    }

    ~Registry()
    {
        script.reactions.clear();
        delete worker;
        for (const auto& executor : qAsConst(m_executors)) {
            delete executor;
        }
    }
    Q_DISABLE_COPY_MOVE(Registry)

    /// There is "; " between two steps.
    void run(const QString& steps)
    {
        const QStringList list = steps.split(u"; "_s);
        for (const QString& step : list) {
            const QString verb = step.section(u' ', 0, 0);
            Q_ASSERT(m_verbs.contains(verb));
            m_verbs.value(verb)(step.section(u' ', 1));
        }
    }

    /// Of those with this name that are alive, the one that was added last.
    ScriptedExecutor* find(const QString& name) const
    {
        for (auto executor = m_executors.crbegin(); executor != m_executors.crend(); ++executor) {
            if (*executor && (*executor)->givenName() == name) {
                return *executor;
            }
        }
        return nullptr;
    }

    Script script;
    QPointer<Worker> worker = new Worker(script);

private:
    void add(ScriptedExecutor* executor)
    {
        m_executors.append(executor);
        worker->addExecutor(executor);
    }

    const QHash<QString, std::function<void(const QString& name)>> m_verbs{
        {u"add"_s, [this](const QString& name) { add(new ScriptedExecutor(name, script, true)); }},
        {u"add-declining"_s, [this](const QString& name) { add(new ScriptedExecutor(name, script, false)); }},
        {u"add-null"_s, [this](const QString&) { worker->addExecutor(nullptr); }},
        {u"add-again"_s, [this](const QString& name) { worker->addExecutor(find(name)); }},
        {u"add-renamed"_s, [this](const QString&) { add(new RenamedExecutor(script)); }},
        {u"add-child-of"_s, [this](const QString& name) { add(new ScriptedExecutor(name, script, true, find(name))); }},
        {u"remove"_s, [this](const QString& name) { worker->removeExecutor(name); }},
        {u"delete"_s, [this](const QString& name) { delete find(name); }},
        {u"delete-worker"_s, [this](const QString&) { delete worker; }},
        {u"own"_s, [this](const QString& name) { find(name)->setParent(worker); }},
        {u"exec"_s, [this](const QString& name) { worker->exec(someCommand(name)); }},
        {u"note"_s, [this](const QString& text) { script.record.append(text); }},
    };
    QList<QPointer<ScriptedExecutor>> m_executors;
};

void addColumns()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<Reactions>("reactions");
    QTest::addColumn<QString>("record");
}

void row(const char* name, const QString& steps, const QString& record)
{
    QTest::newRow(name) << steps << Reactions() << record;
}

void row(const char* name, const QString& steps, const Reactions& reactions, const QString& record)
{
    QTest::newRow(name) << steps << reactions << record;
}

} // namespace

Q_DECLARE_METATYPE(Reactions)

class TstExecutorRegistry : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void command_reachesAskedAndExecuting();
    void command_goesToTheFirstThatTakesIt_data();

    void command_goesToTheFirstThatTakesIt() { run(); }

    void add_data();

    void add() { run(); }

    void removeOrDestroy_data();

    void removeOrDestroy() { run(); }

    void asked_changesTheRegistry_data();

    void asked_changesTheRegistry() { run(); }

    void executing_changesTheRegistry_data();

    void executing_changesTheRegistry() { run(); }

private:
    void run();
};

void TstExecutorRegistry::run()
{
    QFETCH(QString, steps);
    QFETCH(Reactions, reactions);
    QFETCH(QString, record);
    const LogCapture log;
    Registry registry(reactions);
    registry.run(steps);
    QCOMPARE(registry.script.record.join(u", "_s), record);
    QCOMPARE(log.texts(), QStringList());
}

void TstExecutorRegistry::command_reachesAskedAndExecuting()
{
    Registry registry;
    registry.run(u"add-declining a; add b"_s);
    const TarvexCommand cmd = someCommand(u"x"_s, u"uid7"_s, someData());
    registry.worker->exec(cmd);
    QVERIFY(registry.find(u"a"_s)->lastCommand == cmd);
    QVERIFY(registry.find(u"b"_s)->lastCommand == cmd);
}

void TstExecutorRegistry::command_goesToTheFirstThatTakesIt_data()
{
    addColumns();
    row("no executors", u"exec x"_s, u"dispatched x"_s);
    row("all decline", u"add-declining a; add-declining b; exec x"_s, u"a asked, b asked, dispatched x"_s);
    row("several take, first name gets it", u"add c; add-declining a; add b; exec x"_s,
        u"a asked, b asked, b executes, b executed"_s);
    row("order is that of the strings",
        u"add-declining b; add-declining ä; add-declining Z; add-declining ; add-declining a10; add-declining a2; "
        "add-declining B; exec x"_s,
        u" asked, B asked, Z asked, a10 asked, a2 asked, b asked, ä asked, dispatched x"_s);
    row("taken twice", u"add a; exec x; exec x"_s,
        u"a asked, a executes, a executed, a asked, a executes, a executed"_s);
}

void TstExecutorRegistry::add_data()
{
    addColumns();
    row("null is ignored", u"add-null; exec x"_s, u"dispatched x"_s);
    row("asks for the name once", u"add-renamed; add-declining a; add c; exec x; remove b"_s,
        u"base named, a asked, base asked, base executes, base executed, base destroyed"_s);
    row("name taken: destroys the former first", u"add a; add a; note added; exec x"_s,
        u"a destroyed, added, a asked, a executes, a executed"_s);
    row("name taken by a destroyed one", u"add a; delete a; add a; exec x"_s,
        u"a destroyed, a asked, a executes, a executed"_s);
    row("empty name is a name like any other", u"add ; exec x; remove "_s,
        u" asked,  executes,  executed,  destroyed"_s);
    row("same twice: destroyed, the entry is empty", u"add a; add-again a; exec x"_s, u"a destroyed, dispatched x"_s);
    row("child of the former: the entry is empty", u"add a; add-child-of a; exec x"_s,
        u"a destroyed, a destroyed, dispatched x"_s);
    row("former removes its name when destroyed", u"add a; add a; exec x"_s, {{u"a destroyed"_s, u"remove a"_s}},
        u"a destroyed, a asked, a executes, a executed"_s);
    row("former enters another when destroyed", u"add-declining a; add a; exec x"_s,
        {{u"a destroyed"_s, u"add-declining a"_s}}, u"a destroyed, a destroyed, a asked, a executes, a executed"_s);
}

void TstExecutorRegistry::removeOrDestroy_data()
{
    addColumns();
    row("destroyed before it returns", u"add a; remove a; note removed; exec x"_s,
        u"a destroyed, removed, dispatched x"_s);
    row("unknown name", u"add a; remove A; remove ; exec x"_s, u"a asked, a executes, a executed"_s);
    row("destroyed elsewhere, then removed twice", u"add a; delete a; remove a; remove a"_s, u"a destroyed"_s);
    row("removes itself when destroyed", u"add a; remove a"_s, {{u"a destroyed"_s, u"remove a"_s}}, u"a destroyed"_s);
    row("by the name under which it was added", u"add-renamed; remove base; note removed base; remove b"_s,
        u"base named, removed base, base destroyed"_s);
    row("destroyed elsewhere, skipped", u"add a; delete a; add b; exec x"_s,
        u"a destroyed, b asked, b executes, b executed"_s);
    row("worker destroyed: leaves the executors alone", u"add a; delete-worker"_s, u"worker destroyed"_s);
    row("worker destroyed: takes its children", u"add a; own a; delete-worker"_s, u"worker destroyed, a destroyed"_s);
    row("by the worker's own dispatch", u"add-declining a; exec x"_s, {{u"dispatched x"_s, u"remove a"_s}},
        u"a asked, dispatched x, a destroyed"_s);
}

void TstExecutorRegistry::asked_changesTheRegistry_data()
{
    addColumns();
    row("removes itself and declines: destroyed then", u"add-declining a; add b; exec x; exec x"_s,
        {{u"a asked"_s, u"remove a"_s}},
        u"a asked, a destroyed, b asked, b executes, b executed, b asked, b executes, b executed"_s);
    row("removes itself and takes: executes first", u"add a; add b; exec x"_s, {{u"a asked"_s, u"remove a"_s}},
        u"a asked, a executes, a executed, a destroyed"_s);
    row("replaces itself: the new one gets the next command", u"add-declining a; exec x; exec x"_s,
        {{u"a asked"_s, u"add a"_s}}, u"a asked, a destroyed, dispatched x, a asked, a executes, a executed"_s);
    row("removes a later one: that is not asked", u"add-declining a; add b; add c; exec x"_s,
        {{u"a asked"_s, u"remove b"_s}}, u"a asked, b destroyed, c asked, c executes, c executed"_s);
    row("removes an earlier one: that is gone at once", u"add-declining a; add b; exec x"_s,
        {{u"b asked"_s, u"remove a"_s}}, u"a asked, b asked, a destroyed, b executes, b executed"_s);
    row("replaces a later one: the new one gets the next command", u"add-declining a; add b; exec x; exec x"_s,
        {{u"a asked"_s, u"add b"_s}},
        u"a asked, b destroyed, dispatched x, a asked, b asked, b executes, b executed"_s);
    row("adds others: they get the next command", u"add-declining b; exec x; remove a; exec x"_s,
        {{u"b asked"_s, u"add a; add c"_s}},
        u"b asked, dispatched x, a destroyed, b asked, c asked, c executes, c executed"_s);
    row("deletes itself: the next is asked", u"add a; add b; exec x"_s, {{u"a asked"_s, u"delete a"_s}},
        u"a asked, a destroyed, b asked, b executes, b executed"_s);
    row("deletes the worker: the command is dropped", u"add a; add b; exec x"_s, {{u"a asked"_s, u"delete-worker"_s}},
        u"a asked, worker destroyed"_s);
    row("deletes the worker whose child it is: the command is dropped", u"add a; own a; add b; exec x"_s,
        {{u"a asked"_s, u"delete-worker"_s}}, u"a asked, worker destroyed, a destroyed"_s);
}

void TstExecutorRegistry::executing_changesTheRegistry_data()
{
    addColumns();
    row("removes itself: lives until it has returned", u"add a; exec x; exec x"_s,
        {{u"a executes"_s, u"remove a; note removed"_s}},
        u"a asked, a executes, removed, a executed, a destroyed, dispatched x"_s);
    row("replaces itself: lives until it has returned", u"add a; exec x; exec x"_s,
        {{u"a executes"_s, u"add a; note replaced"_s}},
        u"a asked, a executes, replaced, a executed, a destroyed, a asked, a executes, a executed"_s);
    row("removes another: that is gone at once", u"add a; add b; exec x"_s, {{u"a executes"_s, u"remove b"_s}},
        u"a asked, a executes, b destroyed, a executed"_s);
    row("adds another: it gets the next command", u"add b; exec x; exec x"_s, {{u"b executes"_s, u"add a"_s}},
        u"b asked, b executes, b executed, a asked, a executes, a executed"_s);
    row("deletes itself", u"add a; add b; exec x"_s, {{u"a executes"_s, u"delete a"_s}},
        u"a asked, a executes, a destroyed"_s);
    row("removes and deletes itself", u"add a; exec x"_s, {{u"a executes"_s, u"remove a; delete a"_s}},
        u"a asked, a executes, a destroyed"_s);
    row("deletes the worker", u"add a; exec x"_s, {{u"a executes"_s, u"delete-worker"_s}},
        u"a asked, a executes, worker destroyed, a executed"_s);
    row("removes itself and deletes the worker", u"add a; exec x"_s, {{u"a executes"_s, u"remove a; delete-worker"_s}},
        u"a asked, a executes, worker destroyed, a executed, a destroyed"_s);
    row("execs again: asks in the same order", u"add b; add-declining a; exec x"_s, {{u"b executes"_s, u"exec y"_s}},
        u"a asked, b asked, b executes, a asked, b asked, b executes, b executed, b executed"_s);
    row("removed in an inner call: lives until the outer has returned", u"add a; exec x"_s,
        {{u"a executes"_s, u"exec y; note inner done"_s}, {u"a executes again"_s, u"remove a"_s}},
        u"a asked, a executes, a asked, a executes, a executed, inner done, a executed, a destroyed"_s);
    row("removed behind an inner asker: not asked again", u"add-declining a; add b; exec x"_s,
        {{u"b executes"_s, u"exec y"_s}, {u"a asked again"_s, u"remove b"_s}},
        u"a asked, b asked, b executes, a asked, dispatched y, b executed, b destroyed"_s);
}

QTEST_GUILESS_MAIN(TstExecutorRegistry)
#include "tst_executorregistry.moc"
