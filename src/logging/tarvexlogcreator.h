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

/// The bridge from the process's log to the bus. It makes log lines into messages to the device's log service and to
/// the terminal's screen.
///
/// TarvexController sets it up, so a service need not do that. If a slot of the receiver gets a line in the thread that
/// logs it, the slot's sender() is an object of this class, which lives for this one line. The event loop of that
/// thread deletes it. Without an event loop it is deleted when the thread ends. Other lines reach the receiver without
/// such an object.
///
/// All static operations may be called from any thread. The bridge itself never logs. It holds repeats back: a line
/// that equals the line before it is sent again only after the repeat interval. The interval grows by the factor 1.3
/// with each repeat that is sent, up to 300000 ms. A different line resets the interval. Two lines that alternate are
/// never held back.
///
/// At most 1000 messages wait for the query worker. A line is dropped when there is no room for it. Once there is room
/// again, one warning says how many lines were dropped.
///
/// A program without a controller sets the bridge up by itself:
///
/// <!-- quote: docs/snippets/reference/loglines.cpp#creator -->
/// \code
/// TarvexLogCreator::init(&sender, SLOT(send(Message)), QStringLiteral("ticket_printer"), 10000);
/// LoggerManager::setOutputs(QStringLiteral("tarvexLogger"), TarvexLogCreator::humanKivLog);
/// qCWarning(LOGGER()).noquote() << "Out of paper";
/// TarvexLogCreator::release();
/// \endcode
///
/// On the wire a line is a message to BUSNAME_LOGGER with the command "saveLog", or to BUSNAME_TERMINAL_GUI with
/// "showLogMessage". Its data is {"prefix": "INFO", "WARNING" or "ERROR", "text": the line, with tabs instead of line
/// breaks}.
class TARVEXLIB_EXPORT TarvexLogCreator : public QObject
{
    Q_OBJECT
public:
    /// An object that emits messages of the client \a clientName. createCreator() makes one that is connected.
    TarvexLogCreator(const QString& clientName, QObject* parent);
    ~TarvexLogCreator() override;

    /// Sets the bridge up. \a method is a signal or slot of \a sender in the form that SIGNAL() or SLOT() gives, with a
    /// Message or nothing as its parameter. Nothing is sent if the sender is null or destroyed, or does not have the
    /// method. \a repeatInterval is in ms: with 1000 or less every line is sent, more than 300000 counts as 300000.
    static void init(const QPointer<QObject>& sender, const QByteArray& method, const QString& baseClientName,
                     int repeatInterval);

    /// Stops the bridge: no line is sent from now on.
    static void release();

    /// The repeat filter. \return whether \a text is to be sent now.
    static bool checkMessage(const QString& text);

    /// \return an object whose sendMessage(Message) reaches the configured receiver, null when the bridge is not set
    /// up. The caller deletes it.
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
    /// A message to be sent, for the log service or for the screen. The name is interface, although an operation above
    /// has it too: connect the signal with its signature.
    void sendMessage(Message msg); // clazy:exclude=overloaded-signal

private:
    friend class TarvexController;
    friend class TarvexQueryWorker;
    Q_DECL_HIDDEN static QObject* relayOf(const QObject* sender);
    Q_DECL_HIDDEN static void setQueue(const std::weak_ptr<LogQueue>& queue);
    Q_DECL_HIDDEN static bool isLogLine(const Message& message);
    struct Way;
    Q_DECL_HIDDEN static bool isSetUp();
    Q_DECL_HIDDEN static bool hasRoom(int messages);
    Q_DECL_HIDDEN static Way wayWithoutCreator();
    Q_DECL_HIDDEN static void relay(const Way& way, const QString& prefix, const QString& text, bool isShown);
    Q_DECL_HIDDEN static void forward(QtMsgType type, const QString& text, bool isShown);

    // Members that have a destructor are references to objects that are never destroyed, because other threads, and the
    // destructors of other libraries' static objects, log until the process ends.
    static QMutex& _mutex;
    static QPointer<QObject>& _sender;
    static QByteArray& _method;
    static QString& _baseClientName;
    static int _baseRepeatInterval;
    static int _repeatInterval;
    static QString& _lastMessage;
    static QElapsedTimer _lastMessageTime; ///< Monotonic: midnight and a change of the clock do not matter.
    static const int MAX_REPEAT_INTERVAL;
    static QPointer<LogRelay>& _relay;      ///< Brings the lines to _sender.
    static std::weak_ptr<LogQueue>& _queue; ///< Owned by the worker that sends the lines.

    const QString m_clientName;
};

} // namespace tarvex

using tarvex::TarvexLogCreator;

#endif // TARVEXLOGCREATOR_H
