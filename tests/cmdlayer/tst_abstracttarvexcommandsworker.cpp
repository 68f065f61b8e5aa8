#include "cmdlayer/abstracttarvexcommandsworker.h"

#include "abstractworkercontroller.h"
#include "commandsender.h"
#include "literals.h"
#include "logcapture.h"
#include "markingtranslator.h"
#include "memoryuse.h"
#include "virtualtable.h"

#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <functional>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>

using tarvex::Message;

using Worker = AbstractTarvexCommandsWorker;

static_assert(std::is_abstract_v<Worker>, "how a service starts and stops, only the service knows");
static_assert(std::is_base_of_v<wexcor::AbstractWorker, Worker>);
static_assert(std::has_virtual_destructor_v<Worker>);
static_assert(std::is_same_v<decltype(&Worker::exec), void (Worker::*)(TarvexCommand)>);
static_assert(std::is_same_v<decltype(&Worker::doExec), void (Worker::*)(TarvexCommand)>);
static_assert(std::is_same_v<decltype(&Worker::prepareError),
                             void (Worker::*)(const QString&, const QString&, const QString&, const QString&,
                                              const QVariantMap&)>);
static_assert(std::is_same_v<decltype(&Worker::addExecutor), void (Worker::*)(AbstractTarvexCommandExecutor*)>);
static_assert(std::is_same_v<decltype(&Worker::removeExecutor), void (Worker::*)(const QString&)>);

namespace {

QVariant done()
{
    return true;
}

/// Handlers as a service's own base class may bring them.
class BaseCommands : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }

    QStringList calls;

public Q_SLOTS:

    QVariant inherited(QString, QString) { return called("inherited"); }

    QVariant shadowed(QString, QString) { return called("shadowed, base"); }

protected:
    QVariant called(const char* name)
    {
        calls.append(QString::fromLatin1(name));
        return done();
    }
};

class Commands : public BaseCommands
{
    Q_OBJECT
public:
    Q_INVOKABLE Commands() = default;

    /// Looks like a handler to who does not look twice.
    Q_INVOKABLE Commands(QString, QString) { }

    Q_INVOKABLE QVariant both(QString agent, QString uid)
    {
        agents.append(agent);
        uids.append(uid);
        return called("both");
    }

    Q_INVOKABLE QVariant both(QString agent, QString uid, QVariantMap data)
    {
        agents.append(agent);
        uids.append(uid);
        datas.append(data);
        return called("both, data");
    }

    Q_INVOKABLE QVariant plain(QString, QString) { return called("plain"); }

    Q_INVOKABLE QVariant withData(QString, QString, QVariantMap) { return called("withData"); }

    Q_INVOKABLE QVariant byReference(const QString&, const QString&) { return called("byReference"); }

    Q_INVOKABLE QVariant spelledOut(QString, QString, const QMap<QString, QVariant>&) { return called("spelledOut"); }

    Q_INVOKABLE QVariant optional(QString, QString, QVariantMap = {}) { return called("optional"); }

    Q_INVOKABLE QVariant _under_score9(QString, QString) { return called("_under_score9"); }

    Q_INVOKABLE QVariant one(QString) { return called("one"); }

    Q_INVOKABLE QVariant four(QString, QString, QVariantMap, int) { return called("four"); }

    Q_INVOKABLE QVariant hash(QString, QString, QVariantHash) { return called("hash"); }

    Q_INVOKABLE QVariant bytes(QByteArray, QByteArray) { return called("bytes"); }

    Q_INVOKABLE void returnsNothing(QString, QString) { called("returnsNothing"); }

    Q_INVOKABLE QString returnsText(QString, QString) { return called("returnsText").toString(); }

    Q_INVOKABLE bool returnsBool(QString, QString) { return called("returnsBool").toBool(); }

    Q_INVOKABLE void shadowed(QString, QString) { called("shadowed"); }

    /// No slot and not invokable.
    QVariant unlisted(QString, QString) { return called("unlisted"); }

    Q_INVOKABLE QVariant returns(QString, QString)
    {
        called("returns");
        return result;
    }

    Q_INVOKABLE QVariant acts(QString agent, QString uid)
    {
        called("acts");
        QVariant answer = result;
        const std::shared_ptr<QStringList> kept = argumentsAfterwards;
        const std::function<void()> act = action;
        act();
        // The worker may be gone; the arguments may not.
        kept->append({agent, uid});
        return answer;
    }

    Q_INVOKABLE QVariant actsWithReferences(const QString& agent, const QString& uid, const QVariantMap& data)
    {
        const std::shared_ptr<QStringList> kept = argumentsAfterwards;
        const std::function<void()> act = action;
        act();
        kept->append({agent, uid, data.value(u"text"_s).toString()});
        return done();
    }

    QStringList agents;
    QStringList uids;
    QList<QVariantMap> datas;
    QVariant result;
    std::function<void()> action = [] {};
    std::shared_ptr<QStringList> argumentsAfterwards = std::make_shared<QStringList>();

Q_SIGNALS:
    void announced(QString agent, QString uid);
    QVariant asked(QString agent, QString uid);

public Q_SLOTS:

    QVariant slot(QString, QString) { return called("slot"); }

protected Q_SLOTS:

    QVariant protectedSlot(QString, QString) { return called("protectedSlot"); }

private Q_SLOTS:

    QVariant privateSlot(QString, QString) { return called("privateSlot"); }
};

/// Overrides every hook, and shows what comes through it.
class Hooked : public Commands
{
    Q_OBJECT
public:
    void prepareError(const QString& agent, const QString& uid, const QString& name, const QString& errorText,
                      const QVariantMap& data) override
    {
        hooks.append(u"prepareError %1 %2 %3 %4 %5"_s.arg(agent, uid, name, errorText).arg(data.size()));
    }

    void doExec(TarvexCommand cmd) override
    {
        hooks.append(u"doExec "_s + cmd.name());
        Commands::doExec(cmd);
    }

    void addExecutor(AbstractTarvexCommandExecutor*) override { hooks.append(u"addExecutor"_s); }

    void removeExecutor(const QString& name) override { hooks.append(u"removeExecutor "_s + name); }

    QStringList hooks;
};

class CountingExecutor : public AbstractTarvexCommandExecutor
{
public:
    explicit CountingExecutor(QObject* parent) : AbstractTarvexCommandExecutor(u"counting"_s, parent) { }

    bool canExecute(const TarvexCommand& cmd) override { return cmd.name() == QLatin1String("count"); }

    void execute(const TarvexCommand&) override { ++executed; }

    int executed = 0;
};

/// The two ends that a service joins to the worker: messages come in, messages go out.
class ServiceEnds : public QObject
{
    Q_OBJECT
public:
    QList<Message> sent;

    void deliver(const Message& message)
    {
        TarvexCommand cmd;
        if (TarvexCommand::incomingMessageToCmd(message, cmd)) {
            Q_EMIT commandCame(cmd);
        }
    }

public Q_SLOTS:

    void send(TarvexCommand cmd) { sent.append(cmd.toOutgoingMessage()); }

Q_SIGNALS:
    void commandCame(TarvexCommand cmd);
};

class Controller : public wexcor::AbstractWorkerController
{
public:
    Controller() : AbstractWorkerController(nullptr) { }

    void doStart() override { }
};

QString errorText(const QString& name)
{
    return u"No such method (%1)"_s.arg(name);
}

/// What the worker's own data members look like, byte by byte.
QByteArray dataMembers(const AbstractTarvexCommandsWorker& worker)
{
    const auto* const object = reinterpret_cast<const char*>(&worker);
    return {object + sizeof(wexcor::AbstractWorker),
            static_cast<int>(sizeof(AbstractTarvexCommandsWorker) - sizeof(wexcor::AbstractWorker))};
}

/// Where the first and the last difference between two such looks is; -1 when there is none.
std::pair<int, int> changed(const QByteArray& before, const QByteArray& after)
{
    std::pair<int, int> bounds{-1, -1};
    for (int i = 0; i < before.size(); ++i) {
        if (before.at(i) != after.at(i)) {
            bounds = {bounds.first < 0 ? i : bounds.first, i};
        }
    }
    return bounds;
}

/// The command that answers one that failed.
TarvexCommand errorFor(const TarvexCommand& failed)
{
    TarvexCommand error;
    error.setName(u"commandError"_s);
    error.setAgent(failed.agent());
    error.setUid(failed.uid());
    error.setData(
        {{u"command"_s, failed.name()}, {u"data"_s, failed.data()}, {u"errorText"_s, errorText(failed.name())}});
    return error;
}

TarvexCommand sentBy(const QSignalSpy& spy, int index = 0)
{
    return spy.at(index).constFirst().value<TarvexCommand>();
}

} // namespace

class TstAbstractTarvexCommandsWorker : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void metaObject_hasItsMethodsInOrder();
    void dataMembers_beginWithRegistryAndRepeatCache();
    void virtuals_standInTheirOrder();
    void virtuals_calledThroughTheBase();

    void handler_getsAgentUidAndData();
    void handler_withoutData_isNotGivenAny();
    void handler_isFound_data();
    void handler_isFound();
    void handler_notFound_isAnsweredWithAnError_data();
    void handler_notFound_isAnsweredWithAnError();
    void handler_result_decidesWhetherItIsDone_data();
    void handler_result_decidesWhetherItIsDone();
    void signal_namedByACommand_data();
    void signal_namedByACommand();

    void doExec_done_logsTheCommandTwice();
    void doExec_failed_logsTheErrorAfterTheAnswer();
    void doExec_logsUnquoted();
    void prepareError_emitsTheAnswer();
    void prepareError_carriedByAMessage();
    void prepareError_overridden_isCalled();

    void repeat_isNeitherExecutedNorAnswered();
    void logTexts_areTranslated();
    void repeat_isLoggedWithItsData_data();
    void repeat_isLoggedWithItsData();
    void repeat_ofAFailedCommand_isNotAnsweredAgain();
    void repeat_isKnownByItsKeyAlone();
    void repeat_otherAgentNameOrUid_isNone_data();
    void repeat_otherAgentNameOrUid_isNone();
    void repeat_after99Others_isStillKnown();
    void repeat_after100Others_runsAgain();
    void repeat_doesNotMakeTheKeyYounger();
    void repeat_isRecognisedWithoutItsArguments();
    void repeat_ofATakenCommand_isNoRepeatLater();

    void handler_execsAnotherCommand();
    void handler_execsItsOwnCommand_isARepeat();
    void handler_execsAHundredOthers_mayRunAgain();
    void handler_deletesTheWorker_data();
    void handler_deletesTheWorker();
    void handler_deletesTheWorker_keepsItsReferences();
    void handler_deletesTheWorkerLater_isAnsweredFirst();
    void answer_deletesTheWorker();

    void hostileName_isNobodys_data();
    void hostileName_isNobodys();
    void hostileName_ofTheObjectsOwn_isNotCalled_data();
    void hostileName_ofTheObjectsOwn_isNotCalled();
    void hostileData_isHandedOver();

    void exec_fromAnotherThread_runsInTheWorkersThread();
    void exec_calledStraightFromAnotherThread_runsTheHandlerThere();
    void wholeRoad_fromMessageToAnswer();

private:
    QStringList loggedTwice(const TarvexCommand& cmd) const;

    std::unique_ptr<Commands> m_worker;
};

void TstAbstractTarvexCommandsWorker::init()
{
    m_worker = std::make_unique<Commands>();
}

void TstAbstractTarvexCommandsWorker::cleanup()
{
    m_worker.reset();
}

QStringList TstAbstractTarvexCommandsWorker::loggedTwice(const TarvexCommand& cmd) const
{
    const QString line = u"warning: %1 %2 %3"_s.arg(cmd.name(), cmd.agent(), cmd.uid());
    return {line, line};
}

void TstAbstractTarvexCommandsWorker::metaObject_hasItsMethodsInOrder()
{
    const QMetaObject& meta = Worker::staticMetaObject;
    QCOMPARE(meta.className(), "AbstractTarvexCommandsWorker");
    QCOMPARE(meta.superClass()->className(), "wexcor::AbstractWorker");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    const QMetaMethod sendCommand = meta.method(meta.methodOffset());
    QCOMPARE(sendCommand.methodSignature(), QByteArray("sendCommand(TarvexCommand)"));
    QCOMPARE(sendCommand.methodType(), QMetaMethod::Signal);
    QCOMPARE(sendCommand.parameterNames(), QList<QByteArray>{"cmd"});
    const QMetaMethod exec = meta.method(meta.methodOffset() + 1);
    QCOMPARE(exec.methodSignature(), QByteArray("exec(TarvexCommand)"));
    QCOMPARE(exec.methodType(), QMetaMethod::Slot);
    QCOMPARE(exec.access(), QMetaMethod::Public);
    QCOMPARE(exec.parameterNames(), QList<QByteArray>{"cmd"});
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    QCOMPARE(meta.constructorCount(), 0);
}

void TstAbstractTarvexCommandsWorker::dataMembers_beginWithRegistryAndRepeatCache()
{
    constexpr int REGISTRY_END = sizeof(QMap<QString, QPointer<AbstractTarvexCommandExecutor>>);
    constexpr int CACHE_END = REGISTRY_END + static_cast<int>(sizeof(QCache<QString, TarvexCommand>));
    const LogCapture log;
    const QByteArray empty = dataMembers(*m_worker);
    m_worker->addExecutor(new CountingExecutor(m_worker.get()));
    const QByteArray withExecutor = dataMembers(*m_worker);
    m_worker->exec(someCommand(u"plain"_s));
    const QByteArray withCommand = dataMembers(*m_worker);

    const auto [registryFirst, registryLast] = changed(empty, withExecutor);
    QVERIFY(registryFirst >= 0 && registryLast < REGISTRY_END);
    const auto [cacheFirst, cacheLast] = changed(withExecutor, withCommand);
    QVERIFY(cacheFirst >= REGISTRY_END && cacheLast < CACHE_END);
}

void TstAbstractTarvexCommandsWorker::virtuals_standInTheirOrder()
{
    QVERIFY(virtualtable::followQObject(&Worker::doStart, &Worker::doStop, &Worker::prepareError, &Worker::doExec,
                                        &Worker::addExecutor, &Worker::removeExecutor));
}

void TstAbstractTarvexCommandsWorker::virtuals_calledThroughTheBase()
{
    const LogCapture log;
    Hooked hooked;
    Worker& base = hooked;
    base.addExecutor(nullptr);
    base.removeExecutor(u"a"_s);
    base.exec(someCommand(u"plain"_s));
    base.prepareError(u"b"_s, u"c"_s, u"d"_s, u"e"_s, someData());
    QCOMPARE(hooked.hooks,
             QStringList({u"addExecutor"_s, u"removeExecutor a"_s, u"doExec plain"_s, u"prepareError b c d e 2"_s}));
}

void TstAbstractTarvexCommandsWorker::handler_getsAgentUidAndData()
{
    const LogCapture log;
    m_worker->exec(someCommand(u"both"_s, u"uid7"_s, someData()));
    QCOMPARE(m_worker->calls, QStringList(u"both, data"_s));
    QCOMPARE(m_worker->agents, QStringList(u"cashbox"_s));
    QCOMPARE(m_worker->uids, QStringList(u"uid7"_s));
    QCOMPARE(m_worker->datas, QList<QVariantMap>{someData()});
}

void TstAbstractTarvexCommandsWorker::handler_withoutData_isNotGivenAny()
{
    const LogCapture log;
    m_worker->exec(someCommand(u"both"_s, u"uid7"_s));
    QCOMPARE(m_worker->calls, QStringList(u"both"_s));
    QCOMPARE(m_worker->agents, QStringList(u"cashbox"_s));
    QCOMPARE(m_worker->uids, QStringList(u"uid7"_s));
}

void TstAbstractTarvexCommandsWorker::handler_isFound_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("data");
    const QVariantMap none;
    QTest::newRow("plain") << u"plain"_s << none;
    QTest::newRow("with data") << u"withData"_s << someData();
    QTest::newRow("arguments by reference") << u"byReference"_s << none;
    QTest::newRow("the map's type spelled out") << u"spelledOut"_s << someData();
    QTest::newRow("data optional, without") << u"optional"_s << none;
    QTest::newRow("data optional, with") << u"optional"_s << someData();
    QTest::newRow("underscores and a digit") << u"_under_score9"_s << none;
    QTest::newRow("public slot") << u"slot"_s << none;
    QTest::newRow("protected slot") << u"protectedSlot"_s << none;
    QTest::newRow("private slot") << u"privateSlot"_s << none;
    QTest::newRow("of the base class") << u"inherited"_s << none;
}

void TstAbstractTarvexCommandsWorker::handler_isFound()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, data);
    const TarvexCommand cmd = someCommand(name, u"uid1"_s, data);
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->exec(cmd);
    QCOMPARE(m_worker->calls, QStringList(name));
    QCOMPARE(sent.count(), 0);
    QCOMPARE(log.texts(), loggedTwice(cmd));
}

void TstAbstractTarvexCommandsWorker::handler_notFound_isAnsweredWithAnError_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("data");
    QTest::addColumn<QString>("wordsOfQt"); // none where it looks no further than the return type
    const QVariantMap none;
    const QString unknown = u"QMetaObject::invokeMethod: No such method Commands::%1"_s;
    const QString candidate = unknown + u"\nCandidates are:\n    %2"_s;
    QTest::newRow("unknown") << u"unknown"_s << none << unknown.arg(QLatin1String("unknown(QString,QString)"));
    QTest::newRow("other case") << u"Plain"_s << none << unknown.arg(QLatin1String("Plain(QString,QString)"));
    QTest::newRow("no data, wants some") << u"withData"_s << none
                                         << candidate.arg(QLatin1String("withData(QString,QString)"),
                                                          QLatin1String("withData(QString,QString,QVariantMap)"));
    QTest::newRow("data, wants none") << u"plain"_s << someData()
                                      << candidate.arg(QLatin1String("plain(QString,QString,QVariantMap)"),
                                                       QLatin1String("plain(QString,QString)"));
    QTest::newRow("too few parameters") << u"one"_s << none
                                        << candidate.arg(QLatin1String("one(QString,QString)"),
                                                         QLatin1String("one(QString)"));
    QTest::newRow("too many parameters") << u"four"_s << someData()
                                         << candidate.arg(QLatin1String("four(QString,QString,QVariantMap)"),
                                                          QLatin1String("four(QString,QString,QVariantMap,int)"));
    QTest::newRow("a hash for a map") << u"hash"_s << someData()
                                      << candidate.arg(QLatin1String("hash(QString,QString,QVariantMap)"),
                                                       QLatin1String("hash(QString,QString,QVariantHash)"));
    QTest::newRow("bytes for text") << u"bytes"_s << none
                                    << candidate.arg(QLatin1String("bytes(QString,QString)"),
                                                     QLatin1String("bytes(QByteArray,QByteArray)"));
    QTest::newRow("returns nothing") << u"returnsNothing"_s << none << QString();
    QTest::newRow("returns text") << u"returnsText"_s << none << QString();
    QTest::newRow("returns a bool") << u"returnsBool"_s << none << QString();
    QTest::newRow("hidden by a method that returns nothing") << u"shadowed"_s << none << QString();
    QTest::newRow("not known to the meta-object")
        << u"unlisted"_s << none << unknown.arg(QLatin1String("unlisted(QString,QString)"));
}

// The wrong return type in particular must be seen before the method runs, not after it.
void TstAbstractTarvexCommandsWorker::handler_notFound_isAnsweredWithAnError()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, data);
    QFETCH(QString, wordsOfQt);
    const TarvexCommand cmd = someCommand(name, u"uid1"_s, data);
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->exec(cmd);
    QCOMPARE(m_worker->calls, QStringList());
    QCOMPARE(sent.count(), 1);
    QVERIFY(sentBy(sent) == errorFor(cmd));
    QStringList expected = loggedTwice(cmd);
    if (!wordsOfQt.isEmpty()) {
        expected.append(QLatin1String("warning: ") + wordsOfQt);
    }
    QCOMPARE(log.texts(), expected << QLatin1String("warning: ") + errorText(name));
}

void TstAbstractTarvexCommandsWorker::handler_result_decidesWhetherItIsDone_data()
{
    QTest::addColumn<QVariant>("result");
    QTest::addColumn<bool>("isDone");
    QTest::newRow("true") << QVariant(true) << true;
    QTest::newRow("false") << QVariant(false) << true;
    QTest::newRow("zero") << QVariant(0) << true;
    QTest::newRow("null string") << QVariant(QString()) << true;
    QTest::newRow("null of a type") << QVariant(QVariant::Int) << true;
    QTest::newRow("null pointer") << QVariant::fromValue(nullptr) << true;
    QTest::newRow("empty map") << QVariant(QVariantMap()) << true;
    QTest::newRow("invalid") << QVariant() << false;
}

void TstAbstractTarvexCommandsWorker::handler_result_decidesWhetherItIsDone()
{
    QFETCH(QVariant, result);
    QFETCH(bool, isDone);
    const TarvexCommand cmd = someCommand(u"returns"_s);
    m_worker->result = result;
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->exec(cmd);
    QCOMPARE(m_worker->calls, QStringList(u"returns"_s));
    QCOMPARE(sent.count(), isDone ? 0 : 1);
    if (isDone) {
        QCOMPARE(log.texts(), loggedTwice(cmd));
    } else {
        QVERIFY(sentBy(sent) == errorFor(cmd));
        QCOMPARE(log.texts(), loggedTwice(cmd) << u"warning: No such method (returns)"_s);
    }
}

void TstAbstractTarvexCommandsWorker::signal_namedByACommand_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("signature");
    QTest::addColumn<int>("emitted");
    QTest::newRow("returns nothing") << u"announced"_s << QByteArray(SIGNAL(announced(QString, QString))) << 0;
    QTest::newRow("returns a variant") << u"asked"_s << QByteArray(SIGNAL(asked(QString, QString))) << 1;
}

// A signal is a method like any other to Qt. Nobody returns a value from one, so it counts as a failure.
void TstAbstractTarvexCommandsWorker::signal_namedByACommand()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, signature);
    QFETCH(int, emitted);
    QSignalSpy heard(m_worker.get(), signature.constData());
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->exec(someCommand(name));
    QCOMPARE(heard.count(), emitted);
    QCOMPARE(sent.count(), 1);
}

void TstAbstractTarvexCommandsWorker::doExec_done_logsTheCommandTwice()
{
    const LogCapture log;
    m_worker->exec(someCommand(u"plain"_s));
    QCOMPARE(log.texts(), QStringList({u"warning: plain cashbox uid1"_s, u"warning: plain cashbox uid1"_s}));
    QCOMPARE(log.lines().constFirst().category, u"default"_s);
}

void TstAbstractTarvexCommandsWorker::doExec_failed_logsTheErrorAfterTheAnswer()
{
    class LogWatcher : public Commands
    {
    public:
        void prepareError(const QString&, const QString&, const QString&, const QString&, const QVariantMap&) override
        {
            loggedBefore = log.texts();
        }

        const LogCapture log;
        QStringList loggedBefore;
    };

    LogWatcher worker;
    const TarvexCommand cmd = someCommand(u"returns"_s);
    worker.exec(cmd);
    QCOMPARE(worker.loggedBefore, loggedTwice(cmd));
    QCOMPARE(worker.log.texts(), loggedTwice(cmd) << u"warning: No such method (returns)"_s);
}

void TstAbstractTarvexCommandsWorker::doExec_logsUnquoted()
{
    TarvexCommand cmd = someCommand(u"\"%1\"\n"_s, u"u\"1"_s);
    cmd.setAgent(QString::fromUtf8("касса"));
    const LogCapture log;
    m_worker->exec(cmd);
    const QString line = QString::fromUtf8("warning: \"%1\"\n касса u\"1");
    QCOMPARE(log.texts(), QStringList({line, line, u"warning: No such method (\"%1\"\n)"_s}));
}

void TstAbstractTarvexCommandsWorker::prepareError_emitsTheAnswer()
{
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->prepareError(u"cashbox"_s, u"uid7"_s, u"print"_s, u"No paper"_s, someData());
    QCOMPARE(sent.count(), 1);
    const TarvexCommand answer = sentBy(sent);
    QCOMPARE(answer.name(), u"commandError"_s);
    QCOMPARE(answer.agent(), u"cashbox"_s);
    QCOMPARE(answer.uid(), u"uid7"_s);
    QCOMPARE(answer.data(),
             QVariantMap({{u"command"_s, u"print"_s}, {u"data"_s, someData()}, {u"errorText"_s, u"No paper"_s}}));
    QCOMPARE(log.texts(), QStringList());
}

void TstAbstractTarvexCommandsWorker::prepareError_carriedByAMessage()
{
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->exec(someCommand(u"x"_s, u"uid7"_s));
    const Message message = sentBy(sent).toOutgoingMessage();
    QCOMPARE(message.reciever(), u"cashbox"_s);
    QCOMPARE(message.uid(), u"uid7"_s);
    QCOMPARE(
        message.message(),
        QStringLiteral(
            R"json({"cmd":"commandError","data":{"command":"x","data":{},"errorText":"No such method (x)"}})json"));
}

void TstAbstractTarvexCommandsWorker::prepareError_overridden_isCalled()
{
    const LogCapture log;
    Hooked hooked;
    QSignalSpy sent(&hooked, SIGNAL(sendCommand(TarvexCommand)));
    hooked.exec(someCommand(u"x"_s, u"uid7"_s, someData()));
    QCOMPARE(hooked.hooks, QStringList({u"doExec x"_s, u"prepareError cashbox uid7 x No such method (x) 2"_s}));
    QCOMPARE(sent.count(), 0);
}

void TstAbstractTarvexCommandsWorker::repeat_isNeitherExecutedNorAnswered()
{
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->exec(someCommand(u"plain"_s));
    m_worker->exec(someCommand(u"plain"_s));
    QCOMPARE(m_worker->calls, QStringList(u"plain"_s));
    QCOMPARE(sent.count(), 0);
}

void TstAbstractTarvexCommandsWorker::logTexts_areTranslated()
{
    const auto marked = [](const QString& text) {
        return MarkingTranslator::marked("AbstractTarvexCommandsWorker", text);
    };
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const MarkingTranslator translator;
    const LogCapture log;
    m_worker->exec(someCommand(u"x"_s));
    m_worker->exec(someCommand(u"x"_s));
    const QString unknown = MarkingTranslator::marked("AbstractTarvexCommandsWorker", errorText(u"x"_s));
    QCOMPARE(sentBy(sent).data().value(u"errorText"_s).toString(), unknown);
    QVERIFY(log.texts().contains(u"warning: "_s + unknown));
    QVERIFY(log.texts().constLast().startsWith(u"warning: "_s + marked(u"Cmd repeating: "_s)));
}

void TstAbstractTarvexCommandsWorker::repeat_isLoggedWithItsData_data()
{
    QTest::addColumn<QVariantMap>("data");
    QTest::addColumn<QString>("json");
    QTest::newRow("none") << QVariantMap() << u"{\n}\n"_s;
    QTest::newRow("some") << someData() << u"{\n    \"copies\": 2,\n    \"text\": \"ticket\"\n}\n"_s;
    QTest::newRow("deep, beyond Latin-1") << QVariantMap{{u"a"_s, QVariantMap{{u"b"_s, QString::fromUtf8("ж")}}}}
                                          << QString::fromUtf8("{\n    \"a\": {\n        \"b\": \"ж\"\n    }\n}\n");
}

void TstAbstractTarvexCommandsWorker::repeat_isLoggedWithItsData()
{
    QFETCH(QVariantMap, data);
    QFETCH(QString, json);
    LogCapture log;
    m_worker->exec(someCommand(u"both"_s, u"uid1"_s, data));
    log.clear();
    m_worker->exec(someCommand(u"both"_s, u"uid1"_s, data));
    QCOMPARE(
        log.texts(),
        QStringList({u"warning: both cashbox uid1"_s, u"warning: Cmd repeating:  \tcashbox\tboth\tuid1 \t"_s + json}));
}

void TstAbstractTarvexCommandsWorker::repeat_ofAFailedCommand_isNotAnsweredAgain()
{
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->exec(someCommand(u"x"_s));
    m_worker->exec(someCommand(u"x"_s));
    QCOMPARE(sent.count(), 1);
}

void TstAbstractTarvexCommandsWorker::repeat_isKnownByItsKeyAlone()
{
    const LogCapture log;
    m_worker->exec(someCommand(u"both"_s));
    m_worker->exec(someCommand(u"both"_s, u"uid1"_s, someData()));
    QCOMPARE(m_worker->calls, QStringList(u"both"_s));
}

void TstAbstractTarvexCommandsWorker::repeat_otherAgentNameOrUid_isNone_data()
{
    QTest::addColumn<TarvexCommand>("other");
    TarvexCommand other = someCommand(u"plain"_s);
    other.setAgent(u"logger"_s);
    QTest::newRow("agent") << other;
    QTest::newRow("name") << someCommand(u"slot"_s);
    QTest::newRow("uid") << someCommand(u"plain"_s, u"uid2"_s);
}

void TstAbstractTarvexCommandsWorker::repeat_otherAgentNameOrUid_isNone()
{
    QFETCH(TarvexCommand, other);
    const LogCapture log;
    m_worker->exec(someCommand(u"plain"_s));
    m_worker->exec(other);
    QCOMPARE(m_worker->calls, QStringList({u"plain"_s, other.name()}));
}

void TstAbstractTarvexCommandsWorker::repeat_after99Others_isStillKnown()
{
    const LogCapture log;
    for (int i = 0; i < 100; ++i) {
        m_worker->exec(someCommand(u"plain"_s, QString::number(i)));
    }
    m_worker->exec(someCommand(u"plain"_s, u"0"_s));
    QCOMPARE(m_worker->calls.size(), 100);
}

void TstAbstractTarvexCommandsWorker::repeat_after100Others_runsAgain()
{
    const LogCapture log;
    for (int i = 0; i <= 100; ++i) {
        m_worker->exec(someCommand(u"plain"_s, QString::number(i)));
    }
    m_worker->exec(someCommand(u"plain"_s, u"2"_s)); // the oldest but one: no run
    QCOMPARE(m_worker->calls.size(), 101);
    m_worker->exec(someCommand(u"plain"_s, u"0"_s));
    QCOMPARE(m_worker->calls.size(), 102);
}

void TstAbstractTarvexCommandsWorker::repeat_doesNotMakeTheKeyYounger()
{
    const LogCapture log;
    for (int i = 0; i < 100; ++i) {
        m_worker->exec(someCommand(u"plain"_s, QString::number(i)));
    }
    m_worker->exec(someCommand(u"plain"_s, u"0"_s));
    m_worker->exec(someCommand(u"plain"_s, u"100"_s));
    QCOMPARE(m_worker->calls.size(), 101);
    m_worker->exec(someCommand(u"plain"_s, u"0"_s));
    QCOMPARE(m_worker->calls.size(), 102);
}

// A hundred commands are remembered, and each may carry many MiB.
void TstAbstractTarvexCommandsWorker::repeat_isRecognisedWithoutItsArguments()
{
    constexpr int MIB = 1024 * 1024;
    const LogCapture log;
    const qint64 before = memoryuse::allocated();
    for (int number = 0; number < 50; ++number) {
        TarvexCommand cmd = someCommand(u"unknown"_s, QString::number(number));
        cmd.setData({{u"text"_s, QString(MIB / 2, QLatin1Char('x'))}});
        m_worker->exec(cmd);
    }
    // The sanitizers' allocators do not tell.
    QVERIFY2(memoryuse::allocated() - before < 10 * MIB, qPrintable(QString::number(memoryuse::allocated() - before)));
}

void TstAbstractTarvexCommandsWorker::repeat_ofATakenCommand_isNoRepeatLater()
{
    const LogCapture log;
    const TarvexCommand cmd = someCommand(u"count"_s);
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const QPointer<CountingExecutor> executor(new CountingExecutor(m_worker.get()));
    m_worker->addExecutor(executor);
    m_worker->exec(cmd);
    m_worker->exec(cmd);
    QCOMPARE(executor->executed, 2);
    QCOMPARE(log.texts(), QStringList());
    m_worker->removeExecutor(u"counting"_s);
    m_worker->exec(cmd);
    QCOMPARE(sent.count(), 1); // looked for and not found: it has not been here yet
}

void TstAbstractTarvexCommandsWorker::handler_execsAnotherCommand()
{
    const LogCapture log;
    m_worker->result = done();
    m_worker->action = [this] { m_worker->exec(someCommand(u"plain"_s)); };
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    m_worker->exec(someCommand(u"acts"_s));
    QCOMPARE(m_worker->calls, QStringList({u"acts"_s, u"plain"_s}));
    QCOMPARE(sent.count(), 0);
}

void TstAbstractTarvexCommandsWorker::handler_execsItsOwnCommand_isARepeat()
{
    const LogCapture log;
    m_worker->result = done();
    m_worker->action = [this] { m_worker->exec(someCommand(u"acts"_s)); };
    m_worker->exec(someCommand(u"acts"_s));
    QCOMPARE(m_worker->calls, QStringList(u"acts"_s));
    QVERIFY(log.texts().constLast().startsWith(QLatin1String("warning: Cmd repeating:  \tcashbox\tacts\tuid1 \t")));
}

void TstAbstractTarvexCommandsWorker::handler_execsAHundredOthers_mayRunAgain()
{
    const LogCapture log;
    m_worker->result = done();
    m_worker->action = [this] {
        m_worker->action = [] {};
        for (int i = 0; i < 100; ++i) {
            m_worker->exec(someCommand(u"plain"_s, QString::number(i)));
        }
        m_worker->exec(someCommand(u"acts"_s));
    };
    m_worker->exec(someCommand(u"acts"_s));
    QCOMPARE(m_worker->calls.count(u"plain"_s), 100);
    QCOMPARE(m_worker->calls.count(u"acts"_s), 2);
}

void TstAbstractTarvexCommandsWorker::handler_deletesTheWorker_data()
{
    QTest::addColumn<QVariant>("result");
    QTest::newRow("and is done") << QVariant(true);
    QTest::newRow("and has failed") << QVariant();
}

void TstAbstractTarvexCommandsWorker::handler_deletesTheWorker()
{
    QFETCH(QVariant, result);
    const TarvexCommand cmd = someCommand(u"acts"_s);
    m_worker->result = result;
    const auto arguments = m_worker->argumentsAfterwards;
    m_worker->action = [this] { m_worker.reset(); };
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->exec(cmd);
    QVERIFY(m_worker == nullptr);
    QCOMPARE(*arguments, QStringList({cmd.agent(), cmd.uid()}));
    QCOMPARE(sent.count(), 0);
    QCOMPARE(log.texts(), loggedTwice(cmd));
}

void TstAbstractTarvexCommandsWorker::handler_deletesTheWorker_keepsItsReferences()
{
    auto cmd = std::make_unique<TarvexCommand>(someCommand(u"actsWithReferences"_s, u"uid7"_s, someData()));
    const auto arguments = m_worker->argumentsAfterwards;
    m_worker->action = [&] {
        cmd.reset();
        m_worker.reset();
    };
    const LogCapture log;
    m_worker->exec(*cmd);
    QCOMPARE(*arguments, QStringList({u"cashbox"_s, u"uid7"_s, u"ticket"_s}));
}

void TstAbstractTarvexCommandsWorker::handler_deletesTheWorkerLater_isAnsweredFirst()
{
    const QPointer<Commands> worker(new Commands);
    worker->action = [worker] { worker->deleteLater(); };
    QSignalSpy sent(worker.data(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    worker->exec(someCommand(u"acts"_s));
    QCOMPARE(sent.count(), 1);
    QTRY_VERIFY(worker.isNull());
}

void TstAbstractTarvexCommandsWorker::answer_deletesTheWorker()
{
    const TarvexCommand cmd = someCommand(u"returns"_s);
    connect(m_worker.get(), &Worker::sendCommand, this, [this] { m_worker.reset(); });
    const LogCapture log;
    m_worker->exec(cmd);
    QVERIFY(m_worker == nullptr);
    QCOMPARE(log.texts(), loggedTwice(cmd) << u"warning: No such method (returns)"_s);
}

void TstAbstractTarvexCommandsWorker::hostileName_isNobodys_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QString(QLatin1String(""));
    // Qt would leave the blanks out and call the method.
    QTest::newRow("blank before") << u" plain"_s;
    QTest::newRow("blank behind") << u"plain "_s;
    QTest::newRow("tab behind") << u"plain\t"_s;
    // Qt would take the name to end there.
    QTest::newRow("zero byte behind") << u"plain"_s + QChar(0);
    QTest::newRow("zero byte and more") << u"plain"_s + QChar(0) + u"x"_s;
    QTest::newRow("zero byte alone") << QString(QChar(0));
    QTest::newRow("new line behind") << u"plain\n"_s;
    QTest::newRow("log line within") << u"plain cashbox uid1\nall is well"_s;
    QTest::newRow("parameters") << u"one(QString)"_s;
    QTest::newRow("its own parameters") << u"plain(QString,QString)"_s;
    QTest::newRow("no parameters") << u"deleteLater()"_s;
    QTest::newRow("open bracket") << u"plain("_s;
    QTest::newRow("open bracket, comma") << u"plain(,"_s;
    QTest::newRow("open template") << u"plain(QList<"_s;
    QTest::newRow("close bracket") << u"plain)"_s;
    QTest::newRow("return type") << u"QVariant plain"_s;
    QTest::newRow("class") << u"Commands::plain"_s;
    QTest::newRow("code of a slot") << u"1plain()"_s;
    QTest::newRow("format") << u"%s%n%1"_s;
    QTest::newRow("Latin-1") << QString::fromUtf8("größe");
    QTest::newRow("beyond Latin-1") << QString::fromUtf8("печать");
    QTest::newRow("look-alike") << QString::fromUtf8("plаin"); // the a is Cyrillic
    QTest::newRow("combining mark") << u"plain"_s + QChar(0x301);
    QTest::newRow("half a pair") << u"plain"_s + QChar(0xD83D);
    QTest::newRow("byte order mark") << QChar(0xFEFF) + u"plain"_s;
    constexpr int MIB = 1024 * 1024;
    QTest::newRow("1 MiB of brackets") << QString(MIB, QLatin1Char('('));
    QTest::newRow("1 MiB of templates") << QString(MIB, QLatin1Char('<'));
    QTest::newRow("1 MiB beyond Latin-1") << QString(MIB, QChar(0x431));
    QTest::newRow("1 MiB of zero bytes") << QString(MIB, QChar(0));
}

// No look for a method at all, and so no line of Qt's either.
void TstAbstractTarvexCommandsWorker::hostileName_isNobodys()
{
    QFETCH(QString, name);
    const TarvexCommand cmd = someCommand(name);
    QSignalSpy sent(m_worker.get(), SIGNAL(sendCommand(TarvexCommand)));
    const LogCapture log;
    m_worker->exec(cmd);
    m_worker->exec(cmd);
    QCOMPARE(m_worker->calls, QStringList());
    QCOMPARE(sent.count(), 1);
    QVERIFY(sentBy(sent) == errorFor(cmd));
    const QStringList logged = log.texts();
    QCOMPARE(logged.size(), 5); // twice itself, the error; itself again and that it is a repeat
    QCOMPARE(logged.at(2), QLatin1String("warning: ") + errorText(name));
    QVERIFY(logged.at(4).startsWith(QLatin1String("warning: Cmd repeating: ")));
}

void TstAbstractTarvexCommandsWorker::hostileName_ofTheObjectsOwn_isNotCalled_data()
{
    QTest::addColumn<QString>("name");
    for (const char* const name : {"deleteLater",    "_q_reregisterTimers",
                                   "destroyed",      "objectNameChanged",
                                   "setObjectName",  "objectName",
                                   "restart",        "exec",
                                   "sendCommand",    "doStart",
                                   "doStop",         "doExec",
                                   "prepareError",   "addExecutor",
                                   "removeExecutor", "event",
                                   "Commands",       "AbstractTarvexCommandsWorker",
                                   "qt_metacall",    "5",
                                   "operator"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
    QTest::newRow("1 MiB") << QString(1024 * 1024, QLatin1Char('a'));
}

void TstAbstractTarvexCommandsWorker::hostileName_ofTheObjectsOwn_isNotCalled()
{
    QFETCH(QString, name);
    for (const QVariantMap& data : {QVariantMap(), someData()}) {
        const LogCapture log;
        const auto hooked = std::make_unique<Hooked>();
        const QPointer<Hooked> guard(hooked.get());
        const TarvexCommand cmd = someCommand(name, u"uid1"_s, data);
        QSignalSpy named(hooked.get(), SIGNAL(objectNameChanged(QString)));
        QSignalSpy sent(hooked.get(), SIGNAL(sendCommand(TarvexCommand)));
        hooked->exec(cmd);
        // What deleteLater() or restart() would have left to be done.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
        QVERIFY(!guard.isNull());
        QCOMPARE(hooked->hooks.size(), 2);
        QVERIFY(hooked->hooks.at(1).startsWith(QLatin1String("prepareError cashbox uid1 ") + name));
        QCOMPARE(hooked->calls, QStringList());
        QCOMPARE(named.count(), 0);
        QCOMPARE(sent.count(), 0);
        const QStringList logged = log.texts();
        QCOMPARE(logged.size(), 4);
        QVERIFY(logged.at(2).startsWith(QLatin1String("warning: QMetaObject::invokeMethod: No such method Hooked::")
                                        + name));
        QCOMPARE(logged.at(3), QLatin1String("warning: ") + errorText(name));
    }
}

void TstAbstractTarvexCommandsWorker::hostileData_isHandedOver()
{
    QVariant deep = 1;
    for (int i = 0; i < 400; ++i) {
        deep = QVariantMap{{u"a"_s, deep}};
    }
    const QVariantMap data{
        {QString(), QVariant()}, {QString(QChar(0)), QString(1024 * 1024, QLatin1Char('x'))}, {u"deep"_s, deep}};
    const LogCapture log;
    m_worker->exec(someCommand(u"both"_s, u"uid1"_s, data));
    QCOMPARE(m_worker->datas, QList<QVariantMap>{data});
    m_worker->exec(someCommand(u"both"_s, u"uid1"_s, data));
    QCOMPARE(m_worker->datas.size(), 1);
}

/// Records where it runs. Read from the test's thread only after the worker's thread has answered.
class ThreadReporter : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    bool doStart() override { return true; }

    bool doStop() override { return true; }

    Q_INVOKABLE QVariant report(QString agent, QString uid)
    {
        TarvexCommand answer = someCommand(u"reported"_s, uid);
        answer.setAgent(agent);
        answer.setData({{u"inOwnThread"_s, thread() == QThread::currentThread()}});
        Q_EMIT sendCommand(answer);
        return done();
    }
};

void TstAbstractTarvexCommandsWorker::exec_fromAnotherThread_runsInTheWorkersThread()
{
    const LogCapture log;
    Controller controller;
    auto* const worker = new ThreadReporter;
    ServiceEnds ends;
    QVERIFY(connect(&ends, SIGNAL(commandCame(TarvexCommand)), worker, SLOT(exec(TarvexCommand))));
    QVERIFY(connect(worker, SIGNAL(sendCommand(TarvexCommand)), &ends, SLOT(send(TarvexCommand))));
    controller.addWorkerToThread(worker)->start();
    Q_EMIT ends.commandCame(someCommand(u"report"_s, u"uid7"_s));
    QTRY_COMPARE(ends.sent.size(), 1);
    TarvexCommand answer;
    QVERIFY(TarvexCommand::incomingMessageToCmd(ends.sent.constFirst(), answer));
    QCOMPARE(answer.name(), u"reported"_s);
    QCOMPARE(answer.uid(), u"uid7"_s);
    QCOMPARE(answer.data(), QVariantMap({{u"inOwnThread"_s, true}}));
    controller.doKillThreads();
}

void TstAbstractTarvexCommandsWorker::exec_calledStraightFromAnotherThread_runsTheHandlerThere()
{
    const LogCapture log;
    std::thread::id handlersThread;
    m_worker->result = true;
    m_worker->action = [&handlersThread] { handlersThread = std::this_thread::get_id(); };
    std::thread caller([this] { m_worker->exec(someCommand(u"acts"_s)); });
    const std::thread::id callersThread = caller.get_id();
    caller.join();
    QCOMPARE(m_worker->calls, QStringList{u"acts"_s});
    QVERIFY(handlersThread == callersThread);
}

void TstAbstractTarvexCommandsWorker::wholeRoad_fromMessageToAnswer()
{
    const LogCapture log;
    Controller controller;
    auto* const worker = new Commands;
    auto* const executor = new CountingExecutor(worker);
    worker->addExecutor(executor);
    ServiceEnds ends;
    QVERIFY(connect(&ends, SIGNAL(commandCame(TarvexCommand)), worker, SLOT(exec(TarvexCommand))));
    QVERIFY(connect(worker, SIGNAL(sendCommand(TarvexCommand)), &ends, SLOT(send(TarvexCommand))));
    controller.addWorkerToThread(worker)->start();

    Message message;
    message.setSender(u"cashbox"_s);
    const QStringList texts{u"no command"_s, uR"({"cmd":"count"})"_s, uR"({"cmd":"plain"})"_s,
                            uR"({"cmd":"plain","data":{"a":1}})"_s, uR"({"cmd":"unheardOf","data":{"b":"c"}})"_s};
    for (int i = 0; i < texts.size(); ++i) {
        message.setUid(u"uid%1"_s.arg(i));
        message.setMessage(texts.at(i));
        ends.deliver(message);
    }
    QTRY_COMPARE(ends.sent.size(), 2);
    QCOMPARE(ends.sent.at(0).uid(), u"uid3"_s);
    const Message answer = ends.sent.at(1);
    QCOMPARE(answer.reciever(), u"cashbox"_s);
    QCOMPARE(answer.uid(), u"uid4"_s);
    QCOMPARE(
        answer.message(),
        QStringLiteral(
            R"json({"cmd":"commandError","data":{"command":"unheardOf","data":{"b":"c"},"errorText":"No such method (unheardOf)"}})json"));
    QVERIFY(answer.dt().isValid());
    controller.doKillThreads();
}

QTEST_GUILESS_MAIN(TstAbstractTarvexCommandsWorker)
#include "tst_abstracttarvexcommandsworker.moc"
