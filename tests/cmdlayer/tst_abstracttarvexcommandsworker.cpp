#include "cmdlayer/abstracttarvexcommandsworker.h"

#include "abstractworkercontroller.h"
#include "commands.h"
#include "literals.h"
#include "markingtranslator.h"
#include "translations.h"

#include <QPointer>
#include <QScopeGuard>
#include <QTest>
#include <QThread>

#include <atomic>
#include <thread>
#include <type_traits>
#include <utility>

using tarvex::Message;

using Worker = AbstractTarvexCommandsWorker;

static_assert(std::is_abstract_v<Worker>, "how a service starts and stops, only the service knows");

namespace {

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

/// The bytes of the worker's own data members.
QByteArray dataMembers(const AbstractTarvexCommandsWorker& worker)
{
    const auto* const object = reinterpret_cast<const char*>(&worker);
    return {object + sizeof(wexcor::AbstractWorker),
            static_cast<int>(sizeof(AbstractTarvexCommandsWorker) - sizeof(wexcor::AbstractWorker))};
}

/// The places of the first and the last byte that differ, -1 when none does.
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

} // namespace

class TstAbstractTarvexCommandsWorker : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void dataMembers_beginWithRegistryAndRepeatCache();
    void virtuals_calledThroughTheBase();

    void handler_getsAgentUidAndData();
    void handler_isFound_data();
    void handler_isFound();
    void handler_notFound_isAnsweredWithAnError_data();
    void handler_notFound_isAnsweredWithAnError();
    void handler_result_decidesWhetherItIsDone_data();
    void handler_result_decidesWhetherItIsDone();
    void signal_namedByACommand_data();
    void signal_namedByACommand();

    void doExec_failed_logsTheErrorAfterTheAnswer();
    void doExec_failed_isLoggedTranslated();
    void doExec_failed_isAnsweredInTheLanguageThatTheServiceInstalls_data();
    void doExec_failed_isAnsweredInTheLanguageThatTheServiceInstalls();
    void doExec_logsUnquoted();
    void prepareError_emitsTheAnswer();

    void handler_execsAnotherCommand();
    void handler_deletesTheWorker_data();
    void handler_deletesTheWorker();
    void handler_deletesTheWorker_keepsItsReferences();
    void handler_deletesTheWorkerLater_isAnsweredFirst();
    void answer_deletesTheWorker();

    void exec_calledStraightFromAnotherThread_runsTheHandlerThere();
    void wholeRoad_fromMessageToAnswer();
};

void TstAbstractTarvexCommandsWorker::dataMembers_beginWithRegistryAndRepeatCache()
{
    constexpr int REGISTRY_END = sizeof(QMap<QString, QPointer<AbstractTarvexCommandExecutor>>);
    constexpr int CACHE_END = REGISTRY_END + static_cast<int>(sizeof(QCache<QString, TarvexCommand>));
    CommandTrial trial;
    const QByteArray empty = dataMembers(*trial.worker);
    trial.worker->addExecutor(new CountingExecutor(trial.worker.get()));
    const QByteArray withExecutor = dataMembers(*trial.worker);
    trial.exec(u"plain"_s);
    const QByteArray withCommand = dataMembers(*trial.worker);

    const auto [registryFirst, registryLast] = changed(empty, withExecutor);
    QVERIFY(registryFirst >= 0 && registryLast < REGISTRY_END);
    const auto [cacheFirst, cacheLast] = changed(withExecutor, withCommand);
    QVERIFY(cacheFirst >= REGISTRY_END && cacheLast < CACHE_END);
}

void TstAbstractTarvexCommandsWorker::virtuals_calledThroughTheBase()
{
    const CommandTrial trial;
    Worker& base = *trial.worker;
    base.addExecutor(nullptr);
    base.removeExecutor(u"a"_s);
    base.exec(someCommand(u"x"_s, u"uid7"_s, someData()));
    QCOMPARE(trial.worker->hooks,
             QStringList({u"addExecutor"_s, u"removeExecutor a"_s, u"doExec x"_s,
                          u"prepareError cashbox uid7 x No such method (x) 2"_s}));
}

void TstAbstractTarvexCommandsWorker::handler_getsAgentUidAndData()
{
    CommandTrial trial;
    trial.exec(u"both"_s, u"uid7"_s, someData());
    trial.exec(u"both"_s, u"uid8"_s);
    QCOMPARE(trial.worker->calls, QStringList({u"both, data"_s, u"both"_s}));
    QCOMPARE(trial.worker->agents, QStringList({u"cashbox"_s, u"cashbox"_s}));
    QCOMPARE(trial.worker->uids, QStringList({u"uid7"_s, u"uid8"_s}));
    QCOMPARE(trial.worker->datas, QList<QVariantMap>{someData()});
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
    QTest::newRow("among others of its name") << u"overloaded"_s << someData();
    QTest::newRow("of the base class, with others of its name") << u"overloadedLater"_s << none;
}

void TstAbstractTarvexCommandsWorker::handler_isFound()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, data);
    CommandTrial trial;
    trial.exec(name, u"uid1"_s, data);
    QCOMPARE(trial.worker->calls, QStringList(name));
    QCOMPARE(trial.sent.count(), 0);
    QCOMPARE(trial.log.texts(), loggedTwice(someCommand(name)));
    QCOMPARE(trial.log.lines().constFirst().category, u"default"_s);
}

void TstAbstractTarvexCommandsWorker::handler_notFound_isAnsweredWithAnError_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("data");
    QTest::addColumn<QString>("wordsOfQt"); // empty where Qt only looks at the return type
    // Qt's line has the signature that was looked for, and one that the name has.
    const auto row = [](const char* tag, const char* name, const QVariantMap& data, const QString& wanted = {},
                        const QString& candidate = {}) {
        QString words =
            wanted.isEmpty() ? QString() : u"QMetaObject::invokeMethod: No such method Commands::"_s + wanted;
        words += candidate.isEmpty() ? QString() : u"\nCandidates are:\n    "_s + candidate;
        QTest::newRow(tag) << QString::fromLatin1(name) << data << words;
    };
    row("unknown", "unknown", {}, u"unknown(QString,QString)"_s);
    row("other case", "Plain", {}, u"Plain(QString,QString)"_s);
    row("no data, wants some", "withData", {}, u"withData(QString,QString)"_s,
        u"withData(QString,QString,QVariantMap)"_s);
    row("data, wants none", "plain", someData(), u"plain(QString,QString,QVariantMap)"_s, u"plain(QString,QString)"_s);
    row("too few parameters", "one", {}, u"one(QString,QString)"_s, u"one(QString)"_s);
    row("too many parameters", "four", someData(), u"four(QString,QString,QVariantMap)"_s,
        u"four(QString,QString,QVariantMap,int)"_s);
    row("a hash for a map", "hash", someData(), u"hash(QString,QString,QVariantMap)"_s,
        u"hash(QString,QString,QVariantHash)"_s);
    row("bytes for text", "bytes", {}, u"bytes(QString,QString)"_s, u"bytes(QByteArray,QByteArray)"_s);
    row("returns nothing", "returnsNothing", {});
    row("returns text", "returnsText", {});
    row("returns a bool", "returnsBool", {});
    row("hidden by a method that returns nothing", "shadowed", {});
    row("not known to the meta-object", "unlisted", {}, u"unlisted(QString,QString)"_s);
}

// A wrong return type must be noticed before the method runs, not after it.
void TstAbstractTarvexCommandsWorker::handler_notFound_isAnsweredWithAnError()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, data);
    QFETCH(QString, wordsOfQt);
    const TarvexCommand cmd = someCommand(name, u"uid1"_s, data);
    CommandTrial trial;
    trial.worker->exec(cmd);
    QCOMPARE(trial.worker->calls, QStringList());
    QCOMPARE(trial.sent.count(), 1);
    QVERIFY(trial.answer() == errorFor(cmd));
    QStringList expected = loggedTwice(cmd);
    if (!wordsOfQt.isEmpty()) {
        expected.append(QLatin1String("warning: ") + wordsOfQt);
    }
    QCOMPARE(trial.log.texts(), expected << QLatin1String("warning: ") + errorText(name));
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
    CommandTrial trial;
    trial.worker->result = result;
    trial.worker->exec(cmd);
    QCOMPARE(trial.worker->calls, QStringList(u"returns"_s));
    QCOMPARE(trial.sent.count(), isDone ? 0 : 1);
    QVERIFY(isDone || trial.answer() == errorFor(cmd));
    QCOMPARE(trial.log.texts(),
             loggedTwice(cmd) + (isDone ? QStringList() : QStringList(u"warning: No such method (returns)"_s)));
}

void TstAbstractTarvexCommandsWorker::signal_namedByACommand_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("signature");
    QTest::addColumn<int>("emitted");
    QTest::newRow("returns nothing") << u"announced"_s << QByteArray(SIGNAL(announced(QString, QString))) << 0;
    QTest::newRow("returns a variant") << u"asked"_s << QByteArray(SIGNAL(asked(QString, QString))) << 1;
}

// To Qt a signal is a method like any other. It returns no valid value, so the command counts as failed.
void TstAbstractTarvexCommandsWorker::signal_namedByACommand()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, signature);
    QFETCH(int, emitted);
    CommandTrial trial;
    QSignalSpy heard(trial.worker.get(), signature.constData());
    trial.exec(name);
    QCOMPARE(heard.count(), emitted);
    QCOMPARE(trial.sent.count(), 1);
}

void TstAbstractTarvexCommandsWorker::doExec_failed_logsTheErrorAfterTheAnswer()
{
    CommandTrial trial;
    QStringList loggedBefore;
    connect(trial.worker.get(), &Worker::sendCommand, this, [&] { loggedBefore = trial.log.texts(); });
    trial.exec(u"returns"_s);
    const QStringList twice = loggedTwice(someCommand(u"returns"_s));
    QCOMPARE(loggedBefore, twice);
    QCOMPARE(trial.log.texts(), twice + QStringList(u"warning: No such method (returns)"_s));
}

void TstAbstractTarvexCommandsWorker::doExec_failed_isLoggedTranslated()
{
    const MarkingTranslator translator;
    CommandTrial trial;
    trial.exec(u"x"_s);
    const QString unknown = MarkingTranslator::marked("AbstractTarvexCommandsWorker", errorText(u"x"_s));
    QCOMPARE(trial.answer().data().value(u"errorText"_s).toString(), unknown);
    QCOMPARE(trial.log.texts().constLast(), u"warning: "_s + unknown);
}

void TstAbstractTarvexCommandsWorker::doExec_failed_isAnsweredInTheLanguageThatTheServiceInstalls_data()
{
    QTest::addColumn<QByteArray>("locale");
    QTest::addColumn<QString>("answer");
    QTest::newRow("German") << QByteArray("de_DE.UTF-8") << u"Keine solche Methode (x)"_s;
    QTest::newRow("Russian") << QByteArray("ru_RU.UTF-8") << u"Нет такого метода (x)"_s;
    QTest::newRow("none of ours") << QByteArray("fr_FR.UTF-8") << errorText(u"x"_s);
    QTest::newRow("C") << QByteArray("C.UTF-8") << errorText(u"x"_s);
}

// A service that does not install a language answers in English, whatever the user's language is.
void TstAbstractTarvexCommandsWorker::doExec_failed_isAnsweredInTheLanguageThatTheServiceInstalls()
{
    QFETCH(QByteArray, locale);
    QFETCH(QString, answer);
    const QByteArray before = qgetenv("LC_ALL");
    const auto restore = qScopeGuard([&before] {
        wexcor::Translations::remove();
        qputenv("LC_ALL", before);
    });
    qunsetenv("LANGUAGE");
    qputenv("LC_ALL", locale);
    const auto expectAnswer = [](const QString& text) {
        CommandTrial trial;
        trial.exec(u"x"_s);
        QCOMPARE(trial.answer().data().value(u"errorText"_s).toString(), text);
        QCOMPARE(trial.log.texts().constLast(), u"warning: "_s + text);
    };
    expectAnswer(u"No such method (x)"_s);
    wexcor::Translations::install();
    expectAnswer(answer);
    wexcor::Translations::remove();
    expectAnswer(u"No such method (x)"_s);
}

void TstAbstractTarvexCommandsWorker::doExec_logsUnquoted()
{
    TarvexCommand cmd = someCommand(u"\"%1\"\n"_s, u"u\"1"_s);
    cmd.setAgent(u"касса"_s);
    CommandTrial trial;
    trial.worker->exec(cmd);
    const QString line = u"warning: \"%1\"\n касса u\"1"_s;
    QCOMPARE(trial.log.texts(), QStringList({line, line, u"warning: No such method (\"%1\"\n)"_s}));
}

void TstAbstractTarvexCommandsWorker::prepareError_emitsTheAnswer()
{
    const CommandTrial trial;
    trial.worker->prepareError(u"cashbox"_s, u"uid7"_s, u"print"_s, u"No paper"_s, someData());
    QCOMPARE(trial.sent.count(), 1);
    const TarvexCommand answer = trial.answer();
    QCOMPARE(answer.name(), u"commandError"_s);
    QCOMPARE(answer.agent(), u"cashbox"_s);
    QCOMPARE(answer.uid(), u"uid7"_s);
    QCOMPARE(answer.data(),
             QVariantMap({{u"command"_s, u"print"_s}, {u"data"_s, someData()}, {u"errorText"_s, u"No paper"_s}}));
    QCOMPARE(trial.log.texts(), QStringList());
}

void TstAbstractTarvexCommandsWorker::handler_execsAnotherCommand()
{
    CommandTrial trial;
    trial.worker->result = true;
    trial.worker->action = [&trial] { trial.exec(u"plain"_s); };
    trial.exec(u"acts"_s);
    QCOMPARE(trial.worker->calls, QStringList({u"acts"_s, u"plain"_s}));
    QCOMPARE(trial.sent.count(), 0);
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
    CommandTrial trial;
    trial.worker->result = result;
    const auto arguments = trial.worker->argumentsAfterwards;
    trial.worker->action = [&trial] { trial.worker.reset(); };
    trial.worker->exec(cmd);
    QVERIFY(trial.worker == nullptr);
    QCOMPARE(*arguments, QStringList({cmd.agent(), cmd.uid()}));
    QCOMPARE(trial.sent.count(), 0);
    QCOMPARE(trial.log.texts(), loggedTwice(cmd));
}

void TstAbstractTarvexCommandsWorker::handler_deletesTheWorker_keepsItsReferences()
{
    auto cmd = std::make_unique<TarvexCommand>(someCommand(u"actsWithReferences"_s, u"uid7"_s, someData()));
    CommandTrial trial;
    const auto arguments = trial.worker->argumentsAfterwards;
    trial.worker->action = [&] {
        cmd.reset();
        trial.worker.reset();
    };
    trial.worker->exec(*cmd);
    QCOMPARE(*arguments, QStringList({u"cashbox"_s, u"uid7"_s, u"ticket"_s}));
}

void TstAbstractTarvexCommandsWorker::handler_deletesTheWorkerLater_isAnsweredFirst()
{
    CommandTrial trial;
    const QPointer<Commands> worker(trial.worker.release());
    worker->action = [worker] { worker->deleteLater(); };
    worker->exec(someCommand(u"acts"_s));
    QCOMPARE(trial.sent.count(), 1);
    QTRY_VERIFY(worker.isNull());
}

void TstAbstractTarvexCommandsWorker::answer_deletesTheWorker()
{
    CommandTrial trial;
    connect(trial.worker.get(), &Worker::sendCommand, this, [&trial] { trial.worker.reset(); });
    trial.exec(u"returns"_s);
    QVERIFY(trial.worker == nullptr);
    QCOMPARE(trial.log.texts(),
             loggedTwice(someCommand(u"returns"_s)) + QStringList(u"warning: No such method (returns)"_s));
}

void TstAbstractTarvexCommandsWorker::exec_calledStraightFromAnotherThread_runsTheHandlerThere()
{
    CommandTrial trial;
    std::thread::id handlersThread;
    trial.worker->result = true;
    trial.worker->action = [&handlersThread] { handlersThread = std::this_thread::get_id(); };
    std::thread caller([&trial] { trial.exec(u"acts"_s); });
    const std::thread::id callersThread = caller.get_id();
    caller.join();
    QCOMPARE(trial.worker->calls, QStringList{u"acts"_s});
    QVERIFY(handlersThread == callersThread);
}

void TstAbstractTarvexCommandsWorker::wholeRoad_fromMessageToAnswer()
{
    const LogCapture log;
    Controller controller;
    auto* const worker = new Commands;
    worker->addExecutor(new CountingExecutor(worker));
    std::atomic<QThread*> handlersThread{nullptr};
    worker->result = true;
    worker->action = [&handlersThread] { handlersThread = QThread::currentThread(); };
    ServiceEnds ends;
    QVERIFY(connect(&ends, SIGNAL(commandCame(TarvexCommand)), worker, SLOT(exec(TarvexCommand))));
    QVERIFY(connect(worker, SIGNAL(sendCommand(TarvexCommand)), &ends, SLOT(send(TarvexCommand))));
    QThread* const thread = controller.addWorkerToThread(worker);
    thread->start();

    Message message;
    message.setSender(u"cashbox"_s);
    const QStringList texts{u"no command"_s, uR"({"cmd":"count"})"_s, uR"({"cmd":"acts"})"_s,
                            uR"({"cmd":"plain","data":{"a":1}})"_s, uR"({"cmd":"unheardOf","data":{"b":"c"}})"_s};
    for (int i = 0; i < texts.size(); ++i) {
        message.setUid(u"uid%1"_s.arg(i));
        message.setMessage(texts.at(i));
        ends.deliver(message);
    }
    QTRY_COMPARE(ends.sent.size(), 2);
    QCOMPARE(handlersThread.load(), thread);
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
