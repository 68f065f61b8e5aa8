#ifndef ABSTRACTTARVEXCOMMANDEXECUTOR_H
#define ABSTRACTTARVEXCOMMANDEXECUTOR_H

#include "cmdlayer/tarvexcommand.h"
#include "tarvexlib_export.h"

#include <QObject>
#include <QString>

/// An object that carries out chosen commands for a worker.
///
/// A service adds it with AbstractTarvexCommandsWorker::addExecutor(). The worker then asks it about every command
/// before it looks for a method of the command's name. The executor sees repeats too, because the worker filters them
/// later. It is called in the worker's thread only. An executor that is the worker's child moves to that thread with
/// the worker, and is destroyed with the worker at the latest.
///
/// <!-- quote: docs/snippets/reference/commands.cpp#executor -->
/// \code
/// class SelfTest : public AbstractTarvexCommandExecutor
/// {
///     Q_OBJECT
/// public:
///     explicit SelfTest(AbstractTarvexCommandsWorker* worker)
///         : AbstractTarvexCommandExecutor(QStringLiteral("selfTest"), worker), m_worker(worker)
///     {
///     }
///
///     bool canExecute(const TarvexCommand& cmd) override { return cmd.name() == name(); }
///
///     void execute(const TarvexCommand& cmd) override
///     {
///         TarvexCommand answer = cmd; // It goes back to the sender, with the same uid.
///         answer.setName(QStringLiteral("selfTestDone"));
///         Q_EMIT m_worker->sendCommand(answer);
///     }
///
/// private:
///     AbstractTarvexCommandsWorker* const m_worker;
/// };
/// \endcode
class TARVEXLIB_EXPORT AbstractTarvexCommandExecutor : public QObject
{
    Q_OBJECT
public:
    /// \a name is the key under which a worker registers the executor, and by which it orders its executors. It need
    /// not be the name of a command.
    explicit AbstractTarvexCommandExecutor(const QString& name, QObject* parent = nullptr);
    ~AbstractTarvexCommandExecutor() override;

    /// \return whether this executor takes \a cmd. If it does, the executors after it are not asked.
    virtual bool canExecute(const TarvexCommand& cmd) = 0;

    /// Carries out \a cmd, which canExecute() has just taken. The executor itself sends the answer or the error: nobody
    /// else does.
    virtual void execute(const TarvexCommand& cmd) = 0;

    /// The name given at construction. A worker reads it once, when the executor is added.
    virtual QString name() const;

private:
    const QString m_name;
};

#endif // ABSTRACTTARVEXCOMMANDEXECUTOR_H
