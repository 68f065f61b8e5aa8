#ifndef TARVEXMSGWORKER_H
#define TARVEXMSGWORKER_H

#include "abstractworker.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "tarvexlib_export.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QString>
#include <QVariantMap>

class QTimer;

namespace tarvex {

class ConnectionWatch;
class TarvexMessagesReciever;

/// Keeps the connection on which the bus pushes messages, and turns what comes into signals.
///
/// It is handed to TarvexController::initWorkers() and runs in a thread of its own. While the bus is away it tries
/// again every 5000 ms. A connection that is lost is made anew at once, or after 5000 ms if it was lost within 1000 ms
/// after it had been made. Until the server has accepted the handshake, the worker looks at its connection every 5000
/// ms. A connection that was refused, or not answered for 30000 ms, is made anew then. One that is refused later is
/// made anew 5000 ms after that. While nothing comes on a connection that was accepted, no timer runs.
///
/// A derived class whose doStart() does not call this one hears nothing after its first restart(), because this one
/// sets up the connections and timers.
///
/// A message whose text is the command "updateSettings" or "stateChanged" is handled here. Every other one is emitted
/// as unprocessedMessage(). A service that wants more commands handled here overrides doProcessCommand().
///
/// Wire: a command is the JSON object {"cmd": name, "data": arguments}. "data" may be missing. Any other text is logged
/// as a warning in the JSON parser's words. They are "no error occurred" for JSON that is not a command.
///
/// <!-- quote: docs/snippets/reference/service.cpp#msgworker -->
/// \code
/// /// Takes the command "ping" in the message worker's thread. The service sees all other messages.
/// class PrinterMsgWorker : public tarvex::TarvexMsgWorker
/// {
/// public:
///     using TarvexMsgWorker::TarvexMsgWorker;
///
///     bool doProcessCommand(const QString& cmd, const QVariantMap& data, const QString& sender,
///                           const QString& uid) override
///     {
///         return cmd == QLatin1String("ping") || TarvexMsgWorker::doProcessCommand(cmd, data, sender, uid);
///     }
/// };
/// \endcode
///
/// \see docs/threads.md
class TARVEXLIB_EXPORT TarvexMsgWorker : public wexcor::AbstractWorker
{
    Q_OBJECT
public:
    /// \a clientName is the name under which the client introduces itself.
    explicit TarvexMsgWorker(const QString& clientName);
    ~TarvexMsgWorker() override;

    /// Opens the connection. Tries again in 5000 ms if that fails. Blocks for up to 60000 ms. \return true.
    bool doStart() override;

    /// Closes the connection; blocks for 100 ms. \return true.
    bool doStop() override;

    /// Reads the message's text as a command and passes it to doProcessCommand(). A message that is no command, or that
    /// is not handled there, is emitted as unprocessedMessage(). Called in the worker's thread.
    virtual void doProcessMessage(const tarvex::Message& msg);

    /// Handles one command. Called in the worker's thread.
    /// \param cmd its name; a number or a boolean is passed as text
    /// \param data the command's arguments, empty when there are none
    /// \param sender the client that sent it
    /// \param uid identifier of the message that carried it
    /// \return whether the command was handled.
    virtual bool doProcessCommand(const QString& cmd, const QVariantMap& data, const QString& sender,
                                  const QString& uid);

Q_SIGNALS:
    /// The settings of this client have changed.
    void updateSettings();

    /// A client that this one is subscribed to has a new state.
    void stateChanged(ClientState state);

    /// A message that was not handled here.
    void unprocessedMessage(Message msg);

    /// The connection was made and the handshake sent, also after a reconnection.
    void workerConnected();

public Q_SLOTS:
    /// Calls doProcessMessage().
    void processMessage(Message msg);

private:
    void lookAtReceiver();

    QPointer<TarvexMessagesReciever> m_receiver;
    QPointer<QTimer> m_restartTimer;
    QPointer<ConnectionWatch> m_watch; ///< Started from a successful open() to the next doStop() or failed open().
    QElapsedTimer m_sinceOpen;
};

} // namespace tarvex

#endif // TARVEXMSGWORKER_H
