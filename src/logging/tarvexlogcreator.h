#ifndef TARVEXLOGCREATOR_H
#define TARVEXLOGCREATOR_H

#include "records/message.h"
#include "tarvexlib_export.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QtGlobal>

#include <memory>

class QMessageLogContext;

namespace tarvex {

class LogQueue;
class LogRelay;

/// The bridge from the process's log to the bus: turns log lines into messages to the device's log service and to the
/// terminal's screen.
///
/// TarvexController sets it up; a service has no need to. One object of this class lives for one log line: it is
/// deleted by the event loop of the thread that logs, or, where there is none, when that thread ends.
///
/// All static operations may be called from any thread. The bridge itself never logs. It holds repeats back: a line
/// that equals the one before it is sent again only after the repeat interval, which grows by the factor 1.3 with each
/// repeat that is sent, up to 300000 ms; any other line sets the interval back. Two lines that take turns are never
/// held back.
///
/// At most 1000 messages wait for the query worker. A line that finds no room is dropped, and one warning says how many
/// were dropped once there is room again.
///
/// Wire: a message to BUSNAME_LOGGER with the command "saveLog", or to BUSNAME_TERMINAL_GUI with "showLogMessage"; data
/// {"prefix": "INFO", "WARNING" or "ERROR", "text": the line, its line breaks replaced by tabs}.
class TARVEXLIB_EXPORT TarvexLogCreator : public QObject
{
    Q_OBJECT
public:
    TarvexLogCreator(const QString& clientName, QObject* parent);
    ~TarvexLogCreator() override;

    /// Sets the bridge up. \a method is a signal or slot of \a sender in the form that SIGNAL() or SLOT() gives, taking
    /// a Message or nothing; without a living sender or with a method that it does not have the bridge stays silent.
    /// \a repeatInterval is in ms: 1000 or less sends every line, more than 300000 counts as 300000.
    static void init(const QPointer<QObject>& sender, const QByteArray& method, const QString& baseClientName,
                     int repeatInterval);

    /// Takes the bridge down: no line is sent from now on.
    static void release();

    /// The repeat filter. \return whether \a text is to be sent now.
    static bool checkMessage(const QString& text);

    /// \return an object whose sendMessage(Message) reaches the configured receiver, for the caller to delete; null
    /// when the bridge is not set up.
    static QPointer<TarvexLogCreator> createCreator();

    /// Log output for lines that are stored.
    static void humanKivLog(QtMsgType type, const QMessageLogContext& context, const QString& text);

    /// Log output for lines that are shown and stored.
    static void guiKivLog(QtMsgType type, const QMessageLogContext& context, const QString& text);

    /// Emits the message for the log service.
    Q_INVOKABLE void sendMessage(QString prefix, QString text);

    /// Emits the message for the screen.
    Q_INVOKABLE void sendGuiMessage(QString prefix, QString text);

Q_SIGNALS:
    // The name is interface, also of the operation above: connect it with its signature.
    void sendMessage(Message msg); // clazy:exclude=overloaded-signal

private:
    friend class TarvexController;
    friend class TarvexQueryWorker;
    Q_DECL_HIDDEN static QObject* relayOf(const QObject* sender);
    Q_DECL_HIDDEN static void setQueue(const std::weak_ptr<LogQueue>& queue);
    Q_DECL_HIDDEN static bool isLogLine(const Message& message);
    Q_DECL_HIDDEN static bool hasRoom(int messages);
    Q_DECL_HIDDEN static void forward(QtMsgType type, const QString& text, bool isShown);

    // What has a destructor is never destroyed: other threads, and the destructors of other libraries' static objects,
    // log until the very end of the process.
    static QMutex& _mutex;
    static QPointer<QObject>& _sender;
    static QByteArray& _method;
    static QString& _baseClientName;
    static int _baseRepeatInterval;
    static int _repeatInterval;
    static QString& _lastMessage;
    static QElapsedTimer _lastMessageTime; ///< Monotonic: indifferent to midnight and to the clock being set.
    static const int MAX_REPEAT_INTERVAL;
    static QPointer<LogRelay>& _relay;      ///< For the lines of other threads than _sender's.
    static std::weak_ptr<LogQueue>& _queue; ///< Of the worker that sends the lines; it goes with the worker.

    const QString m_clientName;
};

} // namespace tarvex

using tarvex::TarvexLogCreator;

#endif // TARVEXLOGCREATOR_H
