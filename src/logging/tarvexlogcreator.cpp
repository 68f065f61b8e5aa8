#include "logging/tarvexlogcreator.h"

#include "client/supportedclients.h"
#include "cmdlayer/tarvexcommand.h"
#include "logging/logqueue_p.h"
#include "logging/logrelay_p.h"
#include "threadsanitizer_p.h"
#include "wire/busterms_p.h"

#include <QMetaMethod>
#include <QThread>
#include <QVarLengthArray>

namespace tarvex {

using wexcor::VisibleLocker;

QMutex& TarvexLogCreator::_mutex = *new QMutex(QMutex::NonRecursive);
QPointer<QObject>& TarvexLogCreator::_sender = *new QPointer<QObject>;
QByteArray& TarvexLogCreator::_method = *new QByteArray;
QString& TarvexLogCreator::_baseClientName = *new QString;
int TarvexLogCreator::_baseRepeatInterval = 0;
int TarvexLogCreator::_repeatInterval = 0;
QString& TarvexLogCreator::_lastMessage = *new QString;
QElapsedTimer TarvexLogCreator::_lastMessageTime;
const int TarvexLogCreator::MAX_REPEAT_INTERVAL = 300000;
QPointer<LogRelay>& TarvexLogCreator::_relay = *new QPointer<LogRelay>;
std::weak_ptr<LogQueue>& TarvexLogCreator::_queue = *new std::weak_ptr<LogQueue>;

namespace {

/// Up to this interval, in ms, the filter is off.
constexpr int FILTER_OFF_INTERVAL_MS = 1000;
constexpr double INTERVAL_GROWTH = 1.3;
/// What SIGNAL() and SLOT() put before a signature.
constexpr char SIGNAL_CODE = '2';
constexpr char SLOT_CODE = '1';

/// The bus knows only three levels, so debug lines are sent as "INFO".
QString levelText(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
    case QtInfoMsg:
        return QStringLiteral("INFO");
    case QtWarningMsg:
        return QStringLiteral("WARNING");
    case QtCriticalMsg:
    case QtFatalMsg:
        return QStringLiteral("ERROR");
    }
    return QString();
}

QString onOneLine(QString text)
{
    const QLatin1Char tab('\t');
    // Asked first, because the search for two characters takes ten times as long, and nearly no line has them.
    if (text.contains(QLatin1Char('\r'))) {
        text.replace(QLatin1String("\r\n"), QLatin1String("\t")).replace(QLatin1Char('\r'), tab);
    }
    return text.replace(QLatin1Char('\n'), tab);
}

Message logMessage(const QString& command, const QString& addressee, const QString& prefix, const QString& text)
{
    TarvexCommand cmd;
    cmd.setName(command);
    cmd.setAgent(addressee);
    cmd.setData({{busterms::KEY_LOG_PREFIX, prefix}, {busterms::KEY_LOG_TEXT, onOneLine(text)}});
    return cmd.toOutgoingMessage();
}

Message storedMessage(const QString& prefix, const QString& text)
{
    return logMessage(busterms::COMMAND_SAVE_LOG, BUSNAME_LOGGER, prefix, text);
}

Message shownMessage(const QString& prefix, const QString& text)
{
    return logMessage(busterms::COMMAND_SHOW_LOG_MESSAGE, BUSNAME_TERMINAL_GUI, prefix, text);
}

/// Whether a creator's signal can be connected to \a method. This is checked once, because Qt logs each connection that
/// cannot be made: it would log for every line, while the bridge's own lock is held.
bool isConnectable(const QObject* object, const QByteArray& method)
{
    const QByteArray signature = QMetaObject::normalizedSignature(method.mid(1).constData());
    const QMetaObject* const meta = object->metaObject();
    const bool exists = (method.startsWith(SIGNAL_CODE) && meta->indexOfSignal(signature.constData()) >= 0)
        || (method.startsWith(SLOT_CODE) && meta->indexOfSlot(signature.constData()) >= 0);
    return exists && QMetaObject::checkConnectArgs("sendMessage(Message)", signature.constData());
}

/// The relay of \a receiver. It is made if there is none yet. The bridge's lock must not be held, because the receiver
/// gets an event about a new child, and may log then.
LogRelay* relayTo(QObject* receiver, const QByteArray& method)
{
    auto* relay = receiver->findChild<LogRelay*>(QString(), Qt::FindDirectChildrenOnly);
    if (relay == nullptr) {
        relay = new LogRelay;
        if (receiver->thread() == QThread::currentThread()) {
            relay->setParent(receiver);
        } else {
            relay->moveToThread(receiver->thread());
            QObject::connect(receiver, &QObject::destroyed, relay, &QObject::deleteLater);
        }
    }
    QObject::disconnect(relay, SIGNAL(relayed(Message)), nullptr, nullptr);
    QObject::connect(relay, SIGNAL(relayed(Message)), receiver, method.constData());
    return relay;
}

} // namespace

/// How a line reaches the receiver without a creator.
struct TarvexLogCreator::Way
{
    QPointer<LogRelay> relay;   ///< Null if the line needs a creator, or if there is no receiver.
    bool isInOneThread = false; ///< The receiver's thread is the one that logs.
};

TarvexLogCreator::TarvexLogCreator(const QString& clientName, QObject* parent)
    : QObject(parent), m_clientName(clientName)
{
}

TarvexLogCreator::~TarvexLogCreator() = default;

void TarvexLogCreator::init(const QPointer<QObject>& sender, const QByteArray& method, const QString& baseClientName,
                            int repeatInterval)
{
    LogRelay* const relay = sender && isConnectable(sender, method) ? relayTo(sender, method) : nullptr;
    const VisibleLocker lock(_mutex);
    _relay = relay;
    _queue.reset();
    if (relay != nullptr) {
        _sender = sender;
        _method = method;
    } else {
        _sender.clear();
        _method.clear();
    }
    _baseRepeatInterval = qMin(repeatInterval, MAX_REPEAT_INTERVAL);
    _repeatInterval = _baseRepeatInterval;
    _baseClientName = baseClientName;
    _lastMessage.clear();
    _lastMessageTime.invalidate();
}

void TarvexLogCreator::release()
{
    const VisibleLocker lock(_mutex);
    _sender.clear();
    _method.clear();
    _baseRepeatInterval = 0;
    _repeatInterval = 0;
    _baseClientName.clear();
    _queue.reset();
}

/// The receiver of the lines calls it before it is destroyed. \return the object for which the lines of other threads
/// are queued, null when the lines go to another receiver.
QObject* TarvexLogCreator::relayOf(const QObject* sender)
{
    const VisibleLocker lock(_mutex);
    return _sender == sender ? _relay.data() : nullptr;
}

/// The controller calls it, because it knows the worker that sends the lines.
void TarvexLogCreator::setQueue(const std::weak_ptr<LogQueue>& queue)
{
    const VisibleLocker lock(_mutex);
    _queue = queue;
}

/// Whether the bridge has made \a message, and it has not been sent yet.
bool TarvexLogCreator::isLogLine(const Message& message)
{
    const auto is = [text = message.message()](QLatin1String command) {
        return text.startsWith(QLatin1String("{\"cmd\":\"") + command + QLatin1String("\","));
    };
    return message.uid().isEmpty()
        && ((message.reciever() == BUSNAME_LOGGER && is(busterms::COMMAND_SAVE_LOG))
            || (message.reciever() == BUSNAME_TERMINAL_GUI && is(busterms::COMMAND_SHOW_LOG_MESSAGE)));
}

bool TarvexLogCreator::hasRoom(int messages)
{
    std::shared_ptr<LogQueue> queue;
    {
        const VisibleLocker lock(_mutex);
        queue = _queue.lock();
    }
    return !queue || queue->admit(messages);
}

bool TarvexLogCreator::checkMessage(const QString& text)
{
    const VisibleLocker lock(_mutex);
    if (_repeatInterval <= FILTER_OFF_INTERVAL_MS) {
        return true;
    }
    if (text != _lastMessage) {
        _lastMessageTime.start();
        _lastMessage = text;
        _repeatInterval = _baseRepeatInterval;
        return true;
    }
    if (_lastMessageTime.isValid() && !_lastMessageTime.hasExpired(_repeatInterval - 1)) {
        return false;
    }
    _repeatInterval = qMin(static_cast<int>(_repeatInterval * INTERVAL_GROWTH), MAX_REPEAT_INTERVAL);
    _lastMessageTime.start();
    return true;
}

/// Whether somebody receives the lines. The lock must be held.
bool TarvexLogCreator::isSetUp()
{
    return _sender && !_method.isEmpty() && !_baseClientName.isEmpty();
}

QPointer<TarvexLogCreator> TarvexLogCreator::createCreator()
{
    // The lock is held to the end: release() waits for it, so the receiver cannot be destroyed while it is connected.
    const VisibleLocker lock(_mutex);
    if (!isSetUp()) {
        return {};
    }
    auto* const creator = new TarvexLogCreator(_baseClientName, nullptr);
    if (_relay && _sender->thread() != QThread::currentThread()) {
        connect(creator, SIGNAL(sendMessage(Message)), _relay, SIGNAL(relayed(Message)));
    } else {
        connect(creator, SIGNAL(sendMessage(Message)), _sender, _method.constData());
    }
    return creator;
}

TarvexLogCreator::Way TarvexLogCreator::wayWithoutCreator()
{
    const VisibleLocker lock(_mutex);
    if (!isSetUp()) {
        return {};
    }
    const bool isInOneThread = _sender->thread() == QThread::currentThread();
    // A slot that is called at once may ask for its sender(), which is the creator. Nobody else can see a creator.
    if (isInOneThread && !_method.startsWith(SIGNAL_CODE)) {
        return {};
    }
    return {_relay, isInOneThread};
}

/// Does what a creator does. A creator would take as long to make, connect and delete as the rest of the line.
void TarvexLogCreator::relay(const Way& way, const QString& prefix, const QString& text, bool isShown)
{
    QVarLengthArray<Message, 2> messages;
    if (isShown) {
        messages.append(shownMessage(prefix, text));
    }
    messages.append(storedMessage(prefix, text));
    if (way.isInOneThread) {
        for (const Message& message : qAsConst(messages)) {
            // Whoever gets the first message may destroy the receiver.
            if (way.relay) {
                Q_EMIT way.relay->relayed(message);
            }
        }
        return;
    }
    // The lock is held, because release() waits for it: the relay cannot be destroyed meanwhile. The signal only puts
    // the message into the relay's event queue, so no code of others runs under the lock.
    const VisibleLocker lock(_mutex);
    if (isSetUp() && way.relay && way.relay == _relay) {
        for (const Message& message : qAsConst(messages)) {
            Q_EMIT _relay->queued(message);
        }
    }
}

void TarvexLogCreator::forward(QtMsgType type, const QString& text, bool isShown)
{
    if (!checkMessage(text)) {
        return;
    }
    const Way way = wayWithoutCreator();
    if (way.relay) {
        if (hasRoom(isShown ? 2 : 1)) {
            relay(way, levelText(type), text, isShown);
        }
        return;
    }
    const QPointer<TarvexLogCreator> creator = createCreator();
    if (!creator) {
        return;
    }
    // A line is shown and stored, or neither.
    if (hasRoom(isShown ? 2 : 1)) {
        if (isShown) {
            creator->sendGuiMessage(levelText(type), text);
        }
        creator->sendMessage(levelText(type), text);
    }
    creator->deleteLater();
}

void TarvexLogCreator::humanKivLog(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    Q_UNUSED(context)
    forward(type, text, false);
}

void TarvexLogCreator::guiKivLog(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    Q_UNUSED(context)
    forward(type, text, true);
}

void TarvexLogCreator::sendMessage(QString prefix, QString text)
{
    Q_EMIT sendMessage(storedMessage(prefix, text));
}

void TarvexLogCreator::sendGuiMessage(QString prefix, QString text)
{
    Q_EMIT sendMessage(shownMessage(prefix, text));
}

} // namespace tarvex
