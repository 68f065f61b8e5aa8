#ifndef ABSTRACTTARVEXCOMMANDEXECUTOR_H
#define ABSTRACTTARVEXCOMMANDEXECUTOR_H

#include "cmdlayer/tarvexcommand.h"
#include "tarvexlib_export.h"

#include <QObject>
#include <QString>

/// An object that carries out commands for a worker, if it wants to.
///
/// Entered with AbstractTarvexCommandsWorker::addExecutor(), it is asked about every command before the worker looks
/// for a method of the command's name. It sees repeats too: there is no filter in front of it. It is called in the
/// worker's thread only; made as the worker's child, it moves there with the worker and is destroyed with it at the
/// latest.
///
/// \code
/// class SelfTest : public AbstractTarvexCommandExecutor
/// {
///     Q_OBJECT
/// public:
///     explicit SelfTest(QObject* parent) : AbstractTarvexCommandExecutor(QStringLiteral("selfTest"), parent) { }
///     bool canExecute(const TarvexCommand& cmd) override { return cmd.name() == name(); }
///     void execute(const TarvexCommand& cmd) override { printTestPage(cmd.data()); }
/// };
/// \endcode
class TARVEXLIB_EXPORT AbstractTarvexCommandExecutor : public QObject
{
    Q_OBJECT
public:
    /// \a name is the key under which a worker registers the executor and by which it orders its executors; it has
    /// nothing to do with the names of the commands that the executor takes.
    explicit AbstractTarvexCommandExecutor(const QString& name, QObject* parent = nullptr);
    ~AbstractTarvexCommandExecutor() override;

    /// \return whether this executor takes \a cmd; the executors behind it are not asked then.
    virtual bool canExecute(const TarvexCommand& cmd) = 0;

    /// Carries out \a cmd, which canExecute() has just taken. An answer is the executor's own business, and so is a
    /// failure: nobody answers in its stead.
    virtual void execute(const TarvexCommand& cmd) = 0;

    /// The name given at construction. A worker looks at it once, when the executor is added.
    virtual QString name() const;

private:
    const QString m_name;
};

#endif // ABSTRACTTARVEXCOMMANDEXECUTOR_H
