#ifndef SAMPLES_H
#define SAMPLES_H

#include "literals.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"

#include <QDateTime>
#include <QVariantMap>

/// Records, and maps as they cross the wire, for tests to which at most one of the values matters. For tests that link
/// tarvexlib.
namespace samples {

/// A time with milliseconds, far from now.
inline QDateTime someTime()
{
    return QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9, 10));
}

/// From "cashbox" at someTime().
inline tarvex::Message someMessage(const QString& reciever = u"printer"_s, const QString& text = u"text"_s,
                                   const QString& uid = u"u1"_s)
{
    tarvex::Message message;
    message.setSender(u"cashbox"_s);
    message.setReciever(reciever);
    message.setDt(someTime());
    message.setMessage(text);
    message.setUid(uid);
    return message;
}

/// Of type 3, with the JSON text {"open":true}.
inline tarvex::ClientState someState(const QString& owner = u"cashbox"_s)
{
    tarvex::ClientState state;
    state.setOwner(owner);
    state.setDt(someTime());
    state.setStateType(static_cast<tarvex::ClientState::EStateType>(3));
    state.setState(u"{\"open\":true}"_s);
    state.setDescription(u"The cash box"_s);
    return state;
}

/// One entry: group "net", key "port", value 9100.
inline tarvex::ClientSettings someSettings(const QString& owner = u"cashbox"_s)
{
    tarvex::ClientSettings settings;
    settings.setOwner(owner);
    settings.setDt(someTime());
    settings.setDescription(u"The cash box"_s);
    settings.setFormattedSettings({{u"net"_s, QVariantMap{{u"port"_s, 9100}}}}, true);
    return settings;
}

/// The data of a request that names an owner and nothing else.
inline QVariantMap owned(const QString& owner)
{
    return {{u"owner"_s, owner}};
}

/// The data of "sendMessage" as a client writes it.
inline QVariantMap messageTo(const QString& reciever, const QString& uid = u"u1"_s, const QString& text = u"text"_s)
{
    return {{u"reciever"_s, reciever}, {u"message"_s, text}, {u"UID"_s, uid}};
}

} // namespace samples

#endif // SAMPLES_H
