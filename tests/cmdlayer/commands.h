#ifndef COMMANDS_H
#define COMMANDS_H

#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "commandsender.h"
#include "literals.h"
#include "logcapture.h"

#include <QSignalSpy>

#include <functional>
#include <memory>

/// Handlers that a base class of the service has.
class BaseCommands : public AbstractTarvexCommandsWorker
{
    Q_OBJECT
public:
    bool doStart() override { return noted(u"doStart"_s); }

    bool doStop() override { return noted(u"doStop"_s); }

    void prepareError(const QString& agent, const QString& uid, const QString& name, const QString& errorText,
                      const QVariantMap& data) override
    {
        noted(u"prepareError %1 %2 %3 %4 %5"_s.arg(agent, uid, name, errorText).arg(data.size()));
        AbstractTarvexCommandsWorker::prepareError(agent, uid, name, errorText, data);
    }

    void doExec(TarvexCommand cmd) override
    {
        noted(u"doExec "_s + cmd.name());
        AbstractTarvexCommandsWorker::doExec(cmd);
    }

    void addExecutor(AbstractTarvexCommandExecutor* executor) override
    {
        noted(u"addExecutor"_s);
        AbstractTarvexCommandsWorker::addExecutor(executor);
    }

    void removeExecutor(const QString& name) override
    {
        noted(u"removeExecutor "_s + name);
        AbstractTarvexCommandsWorker::removeExecutor(name);
    }

    QStringList calls; ///< Of handlers.
    QStringList hooks; ///< Calls of what a service may override.

public Q_SLOTS:

    QVariant inherited(QString, QString) { return called("inherited"); }

    QVariant shadowed(QString, QString) { return called("shadowed, base"); }

    QVariant overloadedLater(QString, QString) { return called("overloadedLater"); }

protected:
    bool noted(const QString& hook)
    {
        hooks.append(hook);
        return true;
    }

    QVariant called(const char* name)
    {
        calls.append(QString::fromLatin1(name));
        return true;
    }
};

class Commands : public BaseCommands
{
    Q_OBJECT
public:
    Q_INVOKABLE Commands() = default;

    /// Has the parameters of a handler, but is none.
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

    Q_INVOKABLE QVariant overloaded(QString, QString, QVariantList) { return called("overloaded, list"); }

    Q_INVOKABLE QVariant overloaded(QString, QString, QVariantMap) { return called("overloaded"); }

    Q_INVOKABLE QVariant overloaded(QString, QString, QVariantHash) { return called("overloaded, hash"); }

    Q_INVOKABLE QVariant overloadedLater(QString, QByteArray) { return called("overloadedLater, bytes"); }

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
        // The worker may be destroyed by now, but the arguments must still exist.
        kept->append({agent, uid});
        return answer;
    }

    Q_INVOKABLE QVariant actsWithReferences(const QString& agent, const QString& uid, const QVariantMap& data)
    {
        const std::shared_ptr<QStringList> kept = argumentsAfterwards;
        const std::function<void()> act = action;
        act();
        kept->append({agent, uid, data.value(u"text"_s).toString()});
        return true;
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

class CountingExecutor : public AbstractTarvexCommandExecutor
{
public:
    explicit CountingExecutor(QObject* parent) : AbstractTarvexCommandExecutor(u"counting"_s, parent) { }

    bool canExecute(const TarvexCommand& cmd) override { return cmd.name() == QLatin1String("count"); }

    void execute(const TarvexCommand&) override { ++executed; }

    int executed = 0;
};

/// A worker, what it sends and what it logs.
struct CommandTrial
{
    void exec(const QString& name, const QString& uid = u"uid1"_s, const QVariantMap& data = {})
    {
        worker->exec(someCommand(name, uid, data));
    }

    TarvexCommand answer() const { return sent.constFirst().constFirst().value<TarvexCommand>(); }

    std::unique_ptr<Commands> worker = std::make_unique<Commands>();
    QSignalSpy sent{worker.get(), SIGNAL(sendCommand(TarvexCommand))};
    LogCapture log;
};

inline QString errorText(const QString& name)
{
    return u"No such method (%1)"_s.arg(name);
}

/// The command that answers one that failed.
inline TarvexCommand errorFor(const TarvexCommand& failed)
{
    TarvexCommand error;
    error.setName(u"commandError"_s);
    error.setAgent(failed.agent());
    error.setUid(failed.uid());
    error.setData(
        {{u"command"_s, failed.name()}, {u"data"_s, failed.data()}, {u"errorText"_s, errorText(failed.name())}});
    return error;
}

/// What is logged of a command that comes to its handler.
inline QStringList loggedTwice(const TarvexCommand& cmd)
{
    const QString line = u"warning: %1 %2 %3"_s.arg(cmd.name(), cmd.agent(), cmd.uid());
    return {line, line};
}

#endif // COMMANDS_H
