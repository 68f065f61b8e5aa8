#ifndef BUSTERMS_P_H
#define BUSTERMS_P_H

#include <QString>
#include <QVariantMap>

/// The words of the bus: its ports, the names of its operations and commands, the keys of their data, and the sizes on
/// which both sides rely. Whoever writes to the bus or reads from it takes them from here. The keys of the envelope
/// around an operation belong to the frame, see busframe_p.h.
namespace tarvex::busterms {

// The ports of the server, on 127.0.0.1.

/// Clients ask here, and the server replies.
constexpr quint16 QUERY_PORT = 45535;
/// The server pushes messages here, and the clients acknowledge them.
constexpr quint16 RECEIVER_PORT = 45537;

// Operations. A handshake is the first request of a client on both ports. The server pushes "sendMessage" only; all
// others are requests on the query port.

const QLatin1String OPERATION_HANDSHAKE("handshake");
const QLatin1String OPERATION_SAVE_STATE("saveState");
const QLatin1String OPERATION_LOAD_STATE("loadState");
const QLatin1String OPERATION_SAVE_SETTINGS("saveSettings");
const QLatin1String OPERATION_LOAD_SETTINGS("loadSettings");
const QLatin1String OPERATION_LOAD_SETTINGS_LIST("loadSettingsList");
const QLatin1String OPERATION_REMOVE_SETTINGS("removeSettings");
const QLatin1String OPERATION_SUBSCRIBE("subscribe");
const QLatin1String OPERATION_UNSUBSCRIBE("unsubscribe");
const QLatin1String OPERATION_SEND_MESSAGE("sendMessage");

// Keys of what the operations carry as their data.

/// Of a handshake, and of each publisher in a list for "subscribe".
const QLatin1String KEY_NAME("name");
/// What a subscriber wants of a publisher: the sum of goals.
const QLatin1String KEY_GOAL("goal");
/// A list of {"name", "goal"} for "subscribe", a list of names for "unsubscribe".
const QLatin1String KEY_PUBLISHERS("publishers");
/// Of a state and of settings, and of the requests that load or remove them.
const QLatin1String KEY_OWNER("owner");
/// Of "loadSettingsList": the names, joined by commas.
const QLatin1String KEY_OWNERS("owners");
/// Of the reply to "loadSettingsList".
const QLatin1String KEY_SETTINGS_LIST("settingsList");

// Keys of the records.

const QLatin1String KEY_DATE("date");
const QLatin1String KEY_DESCRIPTION("description");
const QLatin1String KEY_SENDER("sender");
const QLatin1String KEY_RECIEVER("reciever"); ///< The bus's own spelling.
const QLatin1String KEY_MESSAGE("message");
/// Of a message. Its acknowledgement writes the same in lower case.
const QLatin1String KEY_UID("UID");
const QLatin1String KEY_ACKNOWLEDGED_UID("uid");
const QLatin1String KEY_STATE("state");
const QLatin1String KEY_STATE_TYPE("type");
const QLatin1String KEY_SETTINGS("settings");
const QLatin1String KEY_MAIL_OWNER("mailOwner");
const QLatin1String KEY_ENTRY_GROUP("group");
const QLatin1String KEY_ENTRY_KEY("key");
const QLatin1String KEY_ENTRY_VALUE("value");

// Commands that have a meaning for the bus and the library, and the keys of their data.

/// From the server: the receiver's settings were saved by somebody.
const QLatin1String COMMAND_UPDATE_SETTINGS("updateSettings");
/// From the server: a publisher has saved its state, which is the data.
const QLatin1String COMMAND_STATE_CHANGED("stateChanged");
/// To the log service, and to the terminal's screen: a line.
const QLatin1String COMMAND_SAVE_LOG("saveLog");
const QLatin1String COMMAND_SHOW_LOG_MESSAGE("showLogMessage");
const QLatin1String KEY_LOG_PREFIX("prefix");
const QLatin1String KEY_LOG_TEXT("text");
/// To the sender of a command: it could not be carried out.
const QLatin1String COMMAND_ERROR("commandError");
const QLatin1String KEY_ERROR_COMMAND("command");
const QLatin1String KEY_ERROR_DATA("data");
const QLatin1String KEY_ERROR_TEXT("errorText");

/// What a subscriber may want of a publisher; bits of one number.
enum Goal {
    StateChanges = 1, ///< What the publisher saves as its state.
    OpenMessages = 2, ///< What the publisher sends to nobody in particular.
};

// How much is under way. A server pushes a message again until it has the acknowledgement, and a client drops what it
// has received before. This works only if the client remembers more messages than the server can repeat: all messages
// from the oldest unacknowledged one on.

/// A client remembers this many messages, the newest ones.
constexpr int REMEMBERED_MESSAGES = 100;
/// The development bus has at most this many pushed messages that are not acknowledged.
constexpr int MAX_UNACKNOWLEDGED = 64;
/// The development bus pushes at most this many messages from the oldest unacknowledged one on, that one included.
constexpr int MAX_PUSHED_SPAN = 99;

static_assert(MAX_UNACKNOWLEDGED <= MAX_PUSHED_SPAN && MAX_PUSHED_SPAN < REMEMBERED_MESSAGES,
              "a client would take a repeated message for a new one");

// The text of a message that is a command: {"cmd":NAME,"data":{...}}, compact JSON.

QString commandText(const QString& name, const QVariantMap& data);

/// What a message's text holds.
struct CommandText
{
    /// Valid JSON. Otherwise \a errorText has the parser's words.
    bool isJson = false;
    /// A JSON object that has a "cmd".
    bool isCommand = false;
    QString errorText;
    QString name;     ///< A "cmd" that is a number or a truth value as text; empty for an object or a list.
    QVariantMap data; ///< Empty if there is none, or if it is no object.
};

/// Reads a message's text. Logs nothing.
CommandText readCommandText(const QString& text);

} // namespace tarvex::busterms

#endif // BUSTERMS_P_H
