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

/// Carries out the commands that other clients send: by executors that ask for them, or by a method of a command's
/// name.
///
/// A service derives from it, gives it a method for each command, hands it to
/// wexcor::AbstractWorkerController::addWorkerToThread(), and connects two ends: incoming messages, made into commands
/// with TarvexCommand::incomingMessageToCmd(), go to exec(); what sendCommand() carries goes to the sender's
/// client, as the message that TarvexCommand::toOutgoingMessage() makes. Everything here runs in the worker's thread,
/// and nothing is locked; only exec() may be reached from elsewhere, by a queued call. A command is carried out before
/// exec() returns.
///
/// A handler is a slot or invokable method with exactly one of these two signatures; which one is looked for depends
/// on whether the command's data is empty. The name stands for itself: every such method, a private slot too, can be
/// called by every client on the bus.
///
/// \code
/// class PrinterCommands : public AbstractTarvexCommandsWorker
/// {
///     Q_OBJECT
/// public:
///     bool doStart() override { return true; }
///     bool doStop() override { return true; }
///
///     Q_INVOKABLE QVariant status(QString agent, QString uid);                  // {"cmd":"status"}
///     Q_INVOKABLE QVariant print(QString agent, QString uid, QVariantMap data); // {"cmd":"print","data":{...}}
/// };
/// \endcode
///
/// A handler that returns a valid variant, whatever its value, has done the command; one that returns an invalid
/// variant is answered with an error as if it were not there. Its own answer it sends itself.
class TARVEXLIB_EXPORT AbstractTarvexCommandsWorker : public wexcor::AbstractWorker
{
    Q_OBJECT
public:
    AbstractTarvexCommandsWorker();
    /// Leaves the executors alone: those that are not the worker's children live on.
    ~AbstractTarvexCommandsWorker() override;

    /// Answers a command with an error: emits sendCommand() with the command "commandError" for \a agent, with \a uid.
    /// Its data holds the failed command's \a name as "command", its \a data as "data", and \a errorText as
    /// "errorText".
    virtual void prepareError(const QString& agent, const QString& uid, const QString& name, const QString& errorText,
                              const QVariantMap& data);

    /// Carries out a command that no executor took, by the method of its name.
    ///
    /// Logs the command as a warning, twice. A command whose key is among the last 100 different ones is a repeat: it
    /// is logged as "Cmd repeating: ", and neither executed nor answered. A key is remembered whether its command
    /// succeeds or fails, and a repeat does not make it any younger. Without a method of that name with the right
    /// parameters and return type, or when the method returns an invalid variant, the answer is prepareError() with
    /// "No such method (%1)", which is logged as well. A name that is not a plain identifier (letters, digits and
    /// underscores of ASCII) is nobody's name.
    ///
    /// The method may call exec() again, and may destroy the worker.
    virtual void doExec(TarvexCommand cmd);

    /// Enters an executor under its name(); a null one is ignored. The executor that had the name is destroyed first.
    ///
    /// An executor is not to be added a second time under its name: it would be destroyed as its own predecessor. The
    /// worker becomes its owner only in so far as replacing and removing destroy it. The registry notices when it is
    /// destroyed elsewhere. Call it in the worker's thread or before that is started.
    ///
    /// Replaced or removed, an executor is destroyed before the call returns. Only one that is being asked or is
    /// executing just then lives until that is over: until its canExecute() has returned false or its execute() has
    /// returned. So it may remove or replace itself.
    virtual void addExecutor(AbstractTarvexCommandExecutor* executor);

    /// Removes and destroys the executor with that name, as described for addExecutor(); an unknown name does nothing.
    virtual void removeExecutor(const QString& name);

Q_SIGNALS:
    /// An answer, to be sent to the client agent().
    void sendCommand(TarvexCommand cmd);

public Q_SLOTS:
    /// Carries out a command: the first executor, in the order of their names, that takes it gets it; otherwise
    /// doExec() does.
    ///
    /// What is asked are the executors that were registered when the command came and still are when it is their turn:
    /// one that is added by another one's canExecute() gets its first chance with the next command. Executors may also
    /// call exec() again, and may destroy the worker; the command is dropped then.
    void exec(TarvexCommand cmd);

private:
    class Offer;

    bool offer(const QPointer<AbstractTarvexCommandExecutor>& executor, const TarvexCommand& cmd);
    void destroyExecutor(const QPointer<AbstractTarvexCommandExecutor>& executor);
    bool isRepeat(const TarvexCommand& cmd) const;
    QVariant invokeHandler(const QString& name, const QString& agent, const QString& uid, const QVariantMap& data);

    QMap<QString, QPointer<AbstractTarvexCommandExecutor>> m_executors;
    QCache<QString, TarvexCommand> m_repeatCache;
    Offer* m_offer = nullptr; ///< The innermost call of an executor that is under way.
};

#endif // ABSTRACTTARVEXCOMMANDSWORKER_H
