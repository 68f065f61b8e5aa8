#include "cmdlayer/abstracttarvexcommandsworker.h"

#include "commandsender.h"
#include "literals.h"
#include "logcapture.h"

#include <QPointer>
#include <QTest>

#include <functional>
#include <memory>

namespace {

/// What happened, in order: "name asked", "name executes", "name executed", "name destroyed".
using Record = std::shared_ptr<QStringList>;

class ScriptedExecutor : public AbstractTarvexCommandExecutor
{
public:
    ScriptedExecutor(const QString& name, const Record& record, bool takes, QObject* parent = nullptr)
        : AbstractTarvexCommandExecutor(name, parent), m_record(record), m_takes(takes)
    {
    }

    ~ScriptedExecutor() override
    {
        m_record->append(givenName() + QLatin1String(" destroyed"));
        if (whenDestroyed) {
            whenDestroyed();
        }
    }

    bool canExecute(const TarvexCommand& cmd) override
    {
        m_record->append(givenName() + QLatin1String(" asked"));
        // A copy: it may destroy this object, and then nothing of it may be touched.
        if (const auto action = whenAsked; action && !action()) {
            return true;
        }
        lastCommand = cmd;
        return m_takes;
    }

    void execute(const TarvexCommand& cmd) override
    {
        m_record->append(givenName() + QLatin1String(" executes"));
        if (const auto action = whenExecuting; action && !action()) {
            return;
        }
        lastCommand = cmd;
        m_record->append(givenName() + QLatin1String(" executed"));
    }

    /// They return whether this executor is still to be there afterwards.
    std::function<bool()> whenAsked;
    std::function<bool()> whenExecuting;
    std::function<void()> whenDestroyed;
    TarvexCommand lastCommand;

private:
    QString givenName() const { return AbstractTarvexCommandExecutor::name(); }

    const Record m_record;
    const bool m_takes;
};

class RenamedExecutor : public ScriptedExecutor
{
public:
    RenamedExecutor(const QString& ownName, const Record& record)
        : ScriptedExecutor(u"base"_s, record, true), m_ownName(ownName)
    {
    }

    QString name() const override
    {
        ++timesAsked;
        return m_ownName;
    }

    mutable int timesAsked = 0;

private:
    const QString m_ownName;
};

class Worker : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    explicit Worker(const Record& record) : m_record(record) { }

    ~Worker() override { m_record->append(u"worker destroyed"_s); }

    bool doStart() override { return true; }

    bool doStop() override { return true; }

    void doExec(TarvexCommand cmd) override { m_record->append(QLatin1String("dispatched ") + cmd.name()); }

private:
    const Record m_record;
};

const QString A = u"a"_s;
const QString B = u"b"_s;
const QString C = u"c"_s;

QStringList lines(std::initializer_list<const char*> texts)
{
    QStringList list;
    for (const char* const text : texts) {
        list.append(QString::fromUtf8(text));
    }
    return list;
}

} // namespace

class TstExecutorRegistry : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void noExecutors_dispatches();
    void allDecline_dispatchesTheCommand();
    void severalTake_firstNameGetsIt();
    void order_isThatOfTheStrings();
    void taken_logsNothing();
    void takenTwice_executesTwice();
    void command_reachesAskedAndExecuting();

    void add_null_isIgnored();
    void add_asksForTheNameOnce();
    void add_nameTaken_destroysTheFormerFirst();
    void add_nameTakenByADestroyedOne_takesTheEntry();
    void add_nullName_isANameLikeAnyOther();
    void add_sameTwice_destroysItAndLeavesTheEntryEmpty();
    void add_childOfTheFormer_leavesTheEntryEmpty();
    void add_formerRemovesItsNameWhenDestroyed_keepsTheNew();
    void add_formerEntersAnotherWhenDestroyed_keepsTheNewAlone();
    void remove_destroysBeforeItReturns();
    void remove_unknownName_doesNothing();
    void remove_destroyedElsewhere_doesNothing();
    void remove_executorRemovesItselfWhenDestroyed();
    void remove_looksForTheNameItWasAddedUnder();
    void destroyedElsewhere_isSkipped();
    void workerDestroyed_leavesTheExecutorsAlone();
    void workerDestroyed_takesItsChildren();

    void asked_removesItself_isDestroyedWhenItHasDeclined();
    void asked_removesItselfAndTakes_executesFirst();
    void asked_replacesItself_newOneGetsTheNextCommand();
    void asked_removesALaterOne_thatIsNotAsked();
    void asked_removesAnEarlierOne_thatIsGoneAtOnce();
    void asked_replacesALaterOne_newOneGetsTheNextCommand();
    void asked_addsOthers_theyGetTheNextCommand();
    void asked_deletesItself_nextIsAsked();
    void asked_deletesTheWorker_dropsTheCommand();
    void asked_deletesTheWorkerItIsAChildOf_dropsTheCommand();
    void executing_removesItself_livesUntilItHasReturned();
    void executing_replacesItself_livesUntilItHasReturned();
    void executing_removesAnother_thatIsGoneAtOnce();
    void executing_addsOthers_theyGetTheNextCommand();
    void executing_deletesItself();
    void executing_removesAndDeletesItself();
    void executing_deletesTheWorker();
    void executing_removesItselfAndDeletesTheWorker();
    void executing_execsAgain_asksInTheSameOrder();
    void executing_removedInAnInnerCall_livesUntilTheOuterHasReturned();
    void executing_removedBehindAnInnerAsker_isNotAskedAgain();
    void dispatched_worksOnTheRegistry();

private:
    ScriptedExecutor* add(const QString& name, bool takes);

    void exec(const QString& name = u"x"_s) { m_worker->exec(someCommand(name)); }

    Record m_record;
    QPointer<Worker> m_worker;
    QList<QPointer<ScriptedExecutor>> m_executors;
};

void TstExecutorRegistry::init()
{
    m_record = std::make_shared<QStringList>();
    m_worker = new Worker(m_record);
}

void TstExecutorRegistry::cleanup()
{
    delete m_worker;
    for (const auto& executor : qAsConst(m_executors)) {
        delete executor;
    }
    m_executors.clear();
}

ScriptedExecutor* TstExecutorRegistry::add(const QString& name, bool takes)
{
    auto* const executor = new ScriptedExecutor(name, m_record, takes);
    m_executors.append(executor);
    m_worker->addExecutor(executor);
    return executor;
}

void TstExecutorRegistry::noExecutors_dispatches()
{
    exec();
    QCOMPARE(*m_record, lines({"dispatched x"}));
}

void TstExecutorRegistry::allDecline_dispatchesTheCommand()
{
    add(A, false);
    add(B, false);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "b asked", "dispatched x"}));
}

void TstExecutorRegistry::severalTake_firstNameGetsIt()
{
    add(C, true);
    add(A, false);
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "b asked", "b executes", "b executed"}));
}

void TstExecutorRegistry::order_isThatOfTheStrings()
{
    for (const char* const name : {"b", "ä", "Z", "", "a10", "a2", "B"}) {
        add(QString::fromUtf8(name), false);
    }
    exec();
    QCOMPARE(*m_record,
             lines({" asked", "B asked", "Z asked", "a10 asked", "a2 asked", "b asked", "ä asked", "dispatched x"}));
}

void TstExecutorRegistry::taken_logsNothing()
{
    add(A, true);
    const LogCapture log;
    exec();
    QCOMPARE(log.texts(), QStringList());
}

void TstExecutorRegistry::takenTwice_executesTwice()
{
    add(A, true);
    exec();
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "a executed", "a asked", "a executes", "a executed"}));
}

void TstExecutorRegistry::command_reachesAskedAndExecuting()
{
    const ScriptedExecutor* const asked = add(A, false);
    const ScriptedExecutor* const executing = add(B, true);
    const TarvexCommand cmd = someCommand(u"x"_s, u"uid7"_s, someData());
    m_worker->exec(cmd);
    QVERIFY(asked->lastCommand == cmd);
    QVERIFY(executing->lastCommand == cmd);
}

void TstExecutorRegistry::add_null_isIgnored()
{
    m_worker->addExecutor(nullptr);
    exec();
    QCOMPARE(*m_record, lines({"dispatched x"}));
}

void TstExecutorRegistry::add_asksForTheNameOnce()
{
    auto* const executor = new RenamedExecutor(B, m_record);
    m_executors.append(executor);
    m_worker->addExecutor(executor);
    add(A, false);
    add(C, true);
    exec();
    QCOMPARE(executor->timesAsked, 1);
    QCOMPARE(*m_record, lines({"a asked", "base asked", "base executes", "base executed"}));
    m_worker->removeExecutor(B);
    QCOMPARE(m_record->constLast(), u"base destroyed"_s);
}

void TstExecutorRegistry::add_nameTaken_destroysTheFormerFirst()
{
    ScriptedExecutor* const former = add(A, true);
    bool formerGoneInTime = false;
    former->whenDestroyed = [&] { formerGoneInTime = true; };
    auto* const successor = new ScriptedExecutor(A, m_record, true);
    m_executors.append(successor);
    m_worker->addExecutor(successor);
    QVERIFY(formerGoneInTime);
    exec();
    QCOMPARE(*m_record, lines({"a destroyed", "a asked", "a executes", "a executed"}));
    QVERIFY(!m_executors.last().isNull());
}

void TstExecutorRegistry::add_nameTakenByADestroyedOne_takesTheEntry()
{
    delete add(A, true);
    add(A, true);
    exec();
    QCOMPARE(*m_record, lines({"a destroyed", "a asked", "a executes", "a executed"}));
}

void TstExecutorRegistry::add_nullName_isANameLikeAnyOther()
{
    add(QString(), true);
    exec();
    m_worker->removeExecutor(QLatin1String(""));
    QCOMPARE(*m_record, lines({" asked", " executes", " executed", " destroyed"}));
}

void TstExecutorRegistry::add_sameTwice_destroysItAndLeavesTheEntryEmpty()
{
    m_worker->addExecutor(add(A, true));
    exec();
    QCOMPARE(*m_record, lines({"a destroyed", "dispatched x"}));
}

void TstExecutorRegistry::add_childOfTheFormer_leavesTheEntryEmpty()
{
    ScriptedExecutor* const former = add(A, true);
    m_worker->addExecutor(new ScriptedExecutor(A, m_record, true, former));
    exec();
    QCOMPARE(*m_record, lines({"a destroyed", "a destroyed", "dispatched x"}));
}

void TstExecutorRegistry::add_formerRemovesItsNameWhenDestroyed_keepsTheNew()
{
    add(A, true)->whenDestroyed = [this] { m_worker->removeExecutor(A); };
    add(A, true);
    exec();
    QCOMPARE(*m_record, lines({"a destroyed", "a asked", "a executes", "a executed"}));
}

void TstExecutorRegistry::add_formerEntersAnotherWhenDestroyed_keepsTheNewAlone()
{
    add(A, false)->whenDestroyed = [this] { add(A, false); };
    add(A, true);
    exec();
    QCOMPARE(*m_record, lines({"a destroyed", "a destroyed", "a asked", "a executes", "a executed"}));
}

void TstExecutorRegistry::remove_destroysBeforeItReturns()
{
    const QPointer<ScriptedExecutor> executor(add(A, true));
    m_worker->removeExecutor(A);
    QVERIFY(executor.isNull());
    exec();
    QCOMPARE(*m_record, lines({"a destroyed", "dispatched x"}));
}

void TstExecutorRegistry::remove_unknownName_doesNothing()
{
    add(A, true);
    m_worker->removeExecutor(u"A"_s);
    m_worker->removeExecutor(QString());
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "a executed"}));
}

void TstExecutorRegistry::remove_destroyedElsewhere_doesNothing()
{
    delete add(A, true);
    m_worker->removeExecutor(A);
    m_worker->removeExecutor(A);
    QCOMPARE(*m_record, lines({"a destroyed"}));
}

void TstExecutorRegistry::remove_executorRemovesItselfWhenDestroyed()
{
    add(A, true)->whenDestroyed = [this] { m_worker->removeExecutor(A); };
    m_worker->removeExecutor(A);
    QCOMPARE(*m_record, lines({"a destroyed"}));
}

void TstExecutorRegistry::remove_looksForTheNameItWasAddedUnder()
{
    auto* const executor = new RenamedExecutor(B, m_record);
    m_executors.append(executor);
    m_worker->addExecutor(executor);
    m_worker->removeExecutor(u"base"_s);
    QVERIFY(m_record->isEmpty());
    m_worker->removeExecutor(B);
    QCOMPARE(*m_record, lines({"base destroyed"}));
}

void TstExecutorRegistry::destroyedElsewhere_isSkipped()
{
    delete add(A, true);
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a destroyed", "b asked", "b executes", "b executed"}));
}

void TstExecutorRegistry::workerDestroyed_leavesTheExecutorsAlone()
{
    add(A, true);
    delete m_worker;
    QCOMPARE(*m_record, lines({"worker destroyed"}));
    QVERIFY(!m_executors.constFirst().isNull());
}

void TstExecutorRegistry::workerDestroyed_takesItsChildren()
{
    add(A, true)->setParent(m_worker);
    delete m_worker;
    QCOMPARE(*m_record, lines({"worker destroyed", "a destroyed"}));
}

void TstExecutorRegistry::asked_removesItself_isDestroyedWhenItHasDeclined()
{
    add(A, false)->whenAsked = [this] {
        m_worker->removeExecutor(A);
        return true;
    };
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a destroyed", "b asked", "b executes", "b executed"}));
    exec();
    QCOMPARE(m_record->mid(5), lines({"b asked", "b executes", "b executed"}));
}

void TstExecutorRegistry::asked_removesItselfAndTakes_executesFirst()
{
    add(A, true)->whenAsked = [this] {
        m_worker->removeExecutor(A);
        return true;
    };
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "a executed", "a destroyed"}));
}

void TstExecutorRegistry::asked_replacesItself_newOneGetsTheNextCommand()
{
    add(A, false)->whenAsked = [this] {
        add(A, true);
        return true;
    };
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a destroyed", "dispatched x"}));
    exec();
    QCOMPARE(m_record->mid(3), lines({"a asked", "a executes", "a executed"}));
}

void TstExecutorRegistry::asked_removesALaterOne_thatIsNotAsked()
{
    add(A, false)->whenAsked = [this] {
        m_worker->removeExecutor(B);
        return true;
    };
    add(B, true);
    add(C, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "b destroyed", "c asked", "c executes", "c executed"}));
}

void TstExecutorRegistry::asked_removesAnEarlierOne_thatIsGoneAtOnce()
{
    add(A, false);
    add(B, true)->whenAsked = [this] {
        m_worker->removeExecutor(A);
        return true;
    };
    exec();
    QCOMPARE(*m_record, lines({"a asked", "b asked", "a destroyed", "b executes", "b executed"}));
}

void TstExecutorRegistry::asked_replacesALaterOne_newOneGetsTheNextCommand()
{
    ScriptedExecutor* const asked = add(A, false);
    asked->whenAsked = [this] {
        add(B, true);
        return true;
    };
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "b destroyed", "dispatched x"}));
    asked->whenAsked = nullptr;
    exec();
    QCOMPARE(m_record->mid(3), lines({"a asked", "b asked", "b executes", "b executed"}));
}

void TstExecutorRegistry::asked_addsOthers_theyGetTheNextCommand()
{
    ScriptedExecutor* const asked = add(B, false);
    asked->whenAsked = [this] {
        add(A, true);
        add(C, true);
        return true;
    };
    exec();
    QCOMPARE(*m_record, lines({"b asked", "dispatched x"}));
    asked->whenAsked = nullptr;
    m_worker->removeExecutor(A);
    exec();
    QCOMPARE(m_record->mid(2), lines({"a destroyed", "b asked", "c asked", "c executes", "c executed"}));
}

void TstExecutorRegistry::asked_deletesItself_nextIsAsked()
{
    ScriptedExecutor* const executor = add(A, true);
    executor->whenAsked = [executor] {
        delete executor;
        return false;
    };
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a destroyed", "b asked", "b executes", "b executed"}));
}

void TstExecutorRegistry::asked_deletesTheWorker_dropsTheCommand()
{
    add(A, true)->whenAsked = [this] {
        delete m_worker;
        return true;
    };
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "worker destroyed"}));
}

void TstExecutorRegistry::asked_deletesTheWorkerItIsAChildOf_dropsTheCommand()
{
    ScriptedExecutor* const executor = add(A, true);
    executor->setParent(m_worker);
    executor->whenAsked = [this] {
        delete m_worker;
        return false;
    };
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "worker destroyed", "a destroyed"}));
}

void TstExecutorRegistry::executing_removesItself_livesUntilItHasReturned()
{
    add(A, true)->whenExecuting = [this] {
        m_worker->removeExecutor(A);
        m_record->append(u"removed"_s);
        return true;
    };
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "removed", "a executed", "a destroyed"}));
    exec();
    QCOMPARE(m_record->mid(5), lines({"dispatched x"}));
}

void TstExecutorRegistry::executing_replacesItself_livesUntilItHasReturned()
{
    add(A, true)->whenExecuting = [this] {
        add(A, true);
        m_record->append(u"replaced"_s);
        return true;
    };
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "replaced", "a executed", "a destroyed"}));
    exec();
    QCOMPARE(m_record->mid(5), lines({"a asked", "a executes", "a executed"}));
}

void TstExecutorRegistry::executing_removesAnother_thatIsGoneAtOnce()
{
    add(A, true)->whenExecuting = [this] {
        m_worker->removeExecutor(B);
        return true;
    };
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "b destroyed", "a executed"}));
}

void TstExecutorRegistry::executing_addsOthers_theyGetTheNextCommand()
{
    ScriptedExecutor* const executor = add(B, true);
    executor->whenExecuting = [this] {
        add(A, true);
        return true;
    };
    exec();
    exec();
    QCOMPARE(*m_record, lines({"b asked", "b executes", "b executed", "a asked", "a executes", "a executed"}));
}

void TstExecutorRegistry::executing_deletesItself()
{
    ScriptedExecutor* const executor = add(A, true);
    executor->whenExecuting = [executor] {
        delete executor;
        return false;
    };
    add(B, true);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "a destroyed"}));
}

void TstExecutorRegistry::executing_removesAndDeletesItself()
{
    ScriptedExecutor* const executor = add(A, true);
    executor->whenExecuting = [this, executor] {
        m_worker->removeExecutor(A);
        delete executor;
        return false;
    };
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "a destroyed"}));
}

void TstExecutorRegistry::executing_deletesTheWorker()
{
    add(A, true)->whenExecuting = [this] {
        delete m_worker;
        return true;
    };
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "worker destroyed", "a executed"}));
    QVERIFY(!m_executors.constFirst().isNull());
}

void TstExecutorRegistry::executing_removesItselfAndDeletesTheWorker()
{
    add(A, true)->whenExecuting = [this] {
        m_worker->removeExecutor(A);
        delete m_worker;
        return true;
    };
    exec();
    QCOMPARE(*m_record, lines({"a asked", "a executes", "worker destroyed", "a executed", "a destroyed"}));
}

void TstExecutorRegistry::executing_execsAgain_asksInTheSameOrder()
{
    ScriptedExecutor* const executor = add(B, true);
    add(A, false);
    executor->whenExecuting = [this, executor] {
        executor->whenExecuting = nullptr;
        exec(u"y"_s);
        return true;
    };
    exec();
    QCOMPARE(
        *m_record,
        lines({"a asked", "b asked", "b executes", "a asked", "b asked", "b executes", "b executed", "b executed"}));
}

void TstExecutorRegistry::executing_removedInAnInnerCall_livesUntilTheOuterHasReturned()
{
    ScriptedExecutor* const executor = add(A, true);
    executor->whenExecuting = [this, executor] {
        executor->whenExecuting = [this] {
            m_worker->removeExecutor(A);
            return true;
        };
        exec(u"y"_s);
        m_record->append(u"inner done"_s);
        return true;
    };
    exec();
    QCOMPARE(*m_record,
             lines({"a asked", "a executes", "a asked", "a executes", "a executed", "inner done", "a executed",
                    "a destroyed"}));
}

void TstExecutorRegistry::executing_removedBehindAnInnerAsker_isNotAskedAgain()
{
    ScriptedExecutor* const asker = add(A, false);
    add(B, true)->whenExecuting = [this, asker] {
        asker->whenAsked = [this] {
            m_worker->removeExecutor(B);
            return true;
        };
        exec(u"y"_s);
        return true;
    };
    exec();
    QCOMPARE(*m_record,
             lines({"a asked", "b asked", "b executes", "a asked", "dispatched y", "b executed", "b destroyed"}));
}

void TstExecutorRegistry::dispatched_worksOnTheRegistry()
{
    delete m_worker;
    m_record->clear();

    class RegisteringWorker : public Worker
    {
    public:
        using Worker::Worker;

        void doExec(TarvexCommand cmd) override
        {
            Worker::doExec(cmd);
            removeExecutor(A);
        }
    };

    m_worker = new RegisteringWorker(m_record);
    add(A, false);
    exec();
    QCOMPARE(*m_record, lines({"a asked", "dispatched x", "a destroyed"}));
}

QTEST_GUILESS_MAIN(TstExecutorRegistry)
#include "tst_executorregistry.moc"
