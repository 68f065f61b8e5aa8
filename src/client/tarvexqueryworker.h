#ifndef TARVEXQUERYWORKER_H
#define TARVEXQUERYWORKER_H

#include "abstractworker.h"
#include "client/tarvexqueryhandler.h"
#include "tarvexlib_export.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QPointer>
#include <QString>

#include <memory>

class QTimer;

namespace tarvex {

class ConnectionWatch;
class LogQueue;

/// Keeps the connection on which the client asks the bus, loads the client's settings, reports its state, and sends its
/// messages.
///
/// A service derives from it, says what its state is and applies its settings. It is handed to
/// TarvexController::initWorkers() and runs in a thread of its own, in which all of this is called. While the bus is
/// away it tries again every 5000 ms. A connection that is lost is made anew at once, or after 5000 ms if it was lost
/// within 1000 ms after it had been made. The settings are then loaded again. A connection counts as lost, too, after
/// an exchange that ended without a whole reply, whoever made it, and when something comes that was not asked for.
/// If the handler is closed without a signal, by a handshake that the server refuses later or by the derived class, and
/// is still closed 5000 ms later, the worker makes the connection anew then. While nothing happens on the connection,
/// only the state's timer runs.
///
/// If the server gives the settings of another client, the worker does not apply them: they count as not loaded.
///
/// A derived class whose doStart() does not call this one hears nothing after its first restart(), because this one
/// sets up the connections and timers.
///
/// This header alone is enough for a derived class: it brings the connection and the records along.
///
/// <!-- quote: docs/snippets/reference/service.cpp#queryworker -->
/// \code
/// class PrinterQueryWorker : public tarvex::TarvexQueryWorker
/// {
///     Q_OBJECT
/// public:
///     PrinterQueryWorker() : TarvexQueryWorker(60000, tarvex::BUSNAME_TICKET_PRINTER)
///     {
///         connect(this, SIGNAL(workerConnected()), this, SLOT(announce()), Qt::QueuedConnection);
///     }
///
///     void doSendState() override { handler->saveState(m_state); }
///
///     void doApplySettings(tarvex::ClientSettings settings) override { m_settings = settings; }
///
/// private Q_SLOTS:
///     void announce(); // sends what others are to know after each connect
///
/// private:
///     tarvex::ClientState m_state;
///     tarvex::ClientSettings m_settings;
/// };
/// \endcode
///
/// \see docs/threads.md
class TARVEXLIB_EXPORT TarvexQueryWorker : public wexcor::AbstractWorker
{
    Q_OBJECT
public:
    /// \a interval is the pause between two state reports, in ms. With 0 the worker reports whenever its thread has
    /// nothing else to do; with a negative one it reports when asked only, and Qt logs a warning each time.
    TarvexQueryWorker(int interval, const QString& clientName);
    ~TarvexQueryWorker() override;

    /// Opens the connection, loads the settings and starts reporting the state; tries again in 5000 ms if the
    /// connection fails. A failed load is logged as "Settings loading error" and stops nothing. Blocks for a connect
    /// and two exchanges, see TarvexQueryHandler. \return true.
    bool doStart() override;

    /// Stops reporting the state and closes the connection; blocks for 100 ms. \return true.
    bool doStop() override;

    /// Loads the settings anew and applies them. Tries to connect once when the connection is not open, and gives up
    /// without a log line of its own if that fails. It does not try within 5000 ms after such a failure, or after a
    /// connection that was lost as soon as it had been made. Does nothing between doStop() and the next doStart().
    virtual void doUpdateSettings();

    /// Reports the state, usually by handler->saveState(). Called every interval ms while connected, counted from the
    /// end of one report to the start of the next, and when the controller's stateChanged() is emitted. That may be
    /// while the connection is away; handler->saveState() then returns false, and the interval runs from there on.
    virtual void doSendState() = 0;

    /// Applies the loaded settings. Called after every connect and whenever the bus says that they have changed, each
    /// time only if they could be loaded.
    virtual void doApplySettings(ClientSettings settings) = 0;

Q_SIGNALS:
    /// The settings that were applied have changed something. The derived class emits it, and the controller passes it
    /// on.
    void settingsChanged();

    /// The server has accepted the handshake, also after a reconnection. This is the moment to subscribe. Call
    /// handler->subscribe() in a slot of the worker itself, because the connection is used in the worker's thread only.
    void workerConnected();

public Q_SLOTS:
    /// Calls doUpdateSettings(), which does nothing between doStop() and the next doStart().
    void updateSettings();

    /// Calls doSendState() and starts the interval anew; reports never overlap. Does nothing between doStop() and the
    /// next doStart().
    void sendState();

    /// Sends a message; drops it silently while the connection is not open. It is never sent a second time.
    void sendMessage(Message message);

    // The order of the members below is interface, because the layout is. That is why protected and private ones
    // alternate.
protected:
    QPointer<TarvexQueryHandler> handler; ///< The connection, for use in the worker's thread.

private:
    friend class TarvexController;
    void loadAndApplySettings();
    bool openForUpdate();
    bool isOwn(const ClientSettings& settings) const;
    void lookAtHandler();

    QPointer<QTimer> m_restartTimer;
    QPointer<QTimer> m_stateTimer;

protected:
    QDateTime lastStateTime; ///< For the derived class, and not used here. Invalid until it is set.

private:
    const int m_interval;
    const std::shared_ptr<LogQueue> m_logQueue;
    ConnectionWatch* const m_watch;    ///< Started from a successful open() to the next doStop() or failed open().
    QElapsedTimer m_sinceFailedUpdate; ///< Since doUpdateSettings() last failed to connect.
    bool m_isStopped = false; ///< From doStop() to the next doStart(): calls that were queued before change nothing.
};

} // namespace tarvex

#endif // TARVEXQUERYWORKER_H
