#ifndef ABSTRACTTARVEXCOMMANDSWORKER_H
#define ABSTRACTTARVEXCOMMANDSWORKER_H

#include "abstractworker.h"
#include "cmdlayer/abstracttarvexcommandexecutor.h"
#include "cmdlayer/tarvexcommand.h"
#include "tarvexlib_export.h"

#include <QCache>
#include <QMap>
#include <QPointer>
#include <QString>
#include <QVariantMap>

/// Carries out the commands that other clients send. An executor that takes the command carries it out; otherwise a
/// method of the command's name does.
///
/// A service derives from it, gives it a method for each command, and hands it to
/// wexcor::AbstractWorkerController::addWorkerToThread(). Then it connects two ends. Incoming messages are made into
/// commands with TarvexCommand::incomingMessageToCmd() and go to exec(). Commands from sendCommand() are made into
/// messages with TarvexCommand::toOutgoingMessage() and are sent to the command's agent. Everything here runs in the
/// worker's thread, and nothing is locked. Another thread may reach exec() only, by a queued call. A command is carried
/// out before exec() returns.
///
/// A handler is a slot or invokable method with exactly one of the two signatures below. Which one is looked for
/// depends on whether the command's data is empty. Every client on the bus can call every such method, also a private
/// slot.
///
/// <!-- quote: docs/snippets/reference/commands.cpp#worker -->
/// \code
/// class PrinterCommands : public AbstractTarvexCommandsWorker
/// {
///     Q_OBJECT
/// public:
///     bool doStart() override { return true; }
///
///     bool doStop() override { return true; }
///
///     Q_INVOKABLE QVariant status(QString agent, QString uid);                  // {"cmd":"status"}
///     Q_INVOKABLE QVariant print(QString agent, QString uid, QVariantMap data); // {"cmd":"print","data":{...}}
///
/// private:
///     void answer(const QString& agent, const QString& uid, const QString& name);
///
///     int m_paperLeft = 120;
/// };
/// \endcode
///
/// A handler returns a valid variant, with any value, when it has done the command. If it returns an invalid variant,
/// the sender gets the same error as for a command without a handler. The handler itself sends its answer:
///
/// <!-- quote: docs/snippets/reference/commands.cpp#method -->
/// \code
/// QVariant PrinterCommands::print(QString agent, QString uid, QVariantMap data)
/// {
///     if (data.value(QStringLiteral("text")).toString().isEmpty()) {
///         prepareError(agent, uid, QStringLiteral("print"), tr("There is no text"), data);
///         return true; // It is answered, so the worker need not do it.
///     }
///     --m_paperLeft;
///     answer(agent, uid, QStringLiteral("printed"));
///     return true;
/// }
/// \endcode
///
/// \see docs/commands.md
class TARVEXLIB_EXPORT AbstractTarvexCommandsWorker : public wexcor::AbstractWorker
{
    Q_OBJECT
public:
    AbstractTarvexCommandsWorker(); ///< Without an executor.
    /// Does not destroy executors, except those that are the worker's children.
    ~AbstractTarvexCommandsWorker() override;

    /// Answers a command with an error: emits sendCommand() with the command "commandError" for \a agent, with \a uid.
    /// Its data holds the failed command's \a name as "command", its \a data as "data", and \a errorText as
    /// "errorText".
    virtual void prepareError(const QString& agent, const QString& uid, const QString& name, const QString& errorText,
                              const QVariantMap& data);

    /// Carries out a command that no executor took, by the method of its name.
    ///
    /// Logs the command as a warning, twice. A command whose key is among the last 100 different ones is a repeat. It
    /// is logged as "Cmd repeating: ", and is neither executed nor answered. A key is remembered whether its command
    /// succeeds or fails. A repeat does not make the key younger.
    ///
    /// The answer is prepareError() with "No such method (%1)", which is logged as well, if there is no method of that
    /// name with the right parameters and return type, or if the method returns an invalid variant. A name that is not
    /// a plain identifier (letters, digits and underscores of ASCII) gets the same answer: no method is looked for.
    ///
    /// The method may call exec() again, and may destroy the worker.
    virtual void doExec(TarvexCommand cmd);

    /// Adds an executor under its name(). A null executor is ignored. The executor that had the name is destroyed
    /// first.
    ///
    /// Do not add an executor a second time under its name: it would be destroyed as the one that had the name. The
    /// worker destroys an executor that is replaced or removed, but is not its owner otherwise. An executor may be
    /// destroyed elsewhere: the worker notices. Call this in the worker's thread, or before that thread is started.
    ///
    /// An executor that is replaced or removed is destroyed before the call returns. The exception is an executor that
    /// is being asked or is executing at that moment: it lives until its canExecute() has returned false or its
    /// execute() has returned. So an executor may remove or replace itself.
    virtual void addExecutor(AbstractTarvexCommandExecutor* executor);

    /// Removes and destroys the executor with that name, as described for addExecutor(). An unknown name does nothing.
    virtual void removeExecutor(const QString& name);

Q_SIGNALS:
    /// An answer, to be sent to the client agent().
    void sendCommand(TarvexCommand cmd);

public Q_SLOTS:
    /// Carries out a command. The executors are asked in the order of their names, and the first that takes the command
    /// gets it. If none takes it, doExec() gets it.
    ///
    /// An executor is asked if it was registered when the command came and still is when it is its turn. One that is
    /// added by another executor's canExecute() is asked from the next command on. Executors may also call exec()
    /// again, and may destroy the worker: then the command is dropped.
    void exec(TarvexCommand cmd);

private:
    class Offer;

    bool offer(const TarvexCommand& cmd);
    void destroyExecutor(const QPointer<AbstractTarvexCommandExecutor>& executor);
    static void logRepeat(const TarvexCommand& cmd);
    QVariant invokeHandler(const QString& name, const QString& agent, const QString& uid, const QVariantMap& data);

    QMap<QString, QPointer<AbstractTarvexCommandExecutor>> m_executors;
    QCache<QString, TarvexCommand> m_repeatCache;
    Offer* m_offer = nullptr; ///< The innermost command that is being offered to executors.
};

#endif // ABSTRACTTARVEXCOMMANDSWORKER_H
