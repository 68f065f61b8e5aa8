#ifndef MESSAGE_H
#define MESSAGE_H

#include "tarvexlib_export.h"

#include <QDateTime>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

namespace tarvex {

/// The unit of traffic on the bus: one client sends it to another through the bus server.
///
/// A plain value: copying costs a few reference counts. It may be passed between threads by copy, and is registered
/// with the meta-type system as "Message" and "tarvex::Message" when the library is loaded. The short names of this and
/// the other records are taken for the whole process: a service with a type of its own of such a name registers it
/// under a qualified one, because Qt ends the process otherwise.
///
/// Wire form: a JSON object with the keys "date", "message", "reciever", "sender" and "UID", all strings. The spelling
/// "reciever" is the bus's own and part of the interface.
class TARVEXLIB_EXPORT Message
{
public:
    /// All strings are null, the date-time is the current local one.
    Message();
    Message(const Message& other) = default;
    Message(Message&& other) = default;
    Message& operator=(const Message& other) = default;
    Message& operator=(Message&& other) = default;
    virtual ~Message();

    /// The client that sent it. The query connection overwrites it with its own client name when it sends.
    QString sender() const;
    void setSender(const QString& sender);

    /// The client it is addressed to.
    QString reciever() const;
    void setReciever(const QString& reciever);

    /// When the message was made. The wire form keeps milliseconds and drops the time zone.
    QDateTime dt() const;
    void setDt(const QDateTime& dt);

    /// The payload text: for a command or a log line a JSON text of its own.
    QString message() const;
    void setMessage(const QString& message);

    /// Identifier of the message, unique per sender. Empty until set; the query connection fills it in when it sends.
    QString uid() const;
    void setUid(const QString& uid);

    /// Returns a new identifier of 24 characters; it is not stored, see setUid().
    ///
    /// Two calls on the same message within one millisecond return the same value. Re-seeds the process-wide rand().
    QString genUid() const;

    /// The key under which the receiving side remembers this message in order to drop repeats.
    QString msgKey() const;

    /// True when all five fields are equal.
    bool operator==(const Message& other) const;
    bool operator!=(const Message& other) const;

    /// The wire form; every key is always present. An invalid date-time is written as an empty string.
    QVariantMap toVariantMap() const;

    /// Reads the wire form. Accepts any map: what is missing or malformed gives an empty string or an invalid
    /// date-time (not the current time), unknown keys are ignored.
    static Message fromVariantMap(const QVariantMap& map);

private:
    QString m_sender;
    QString m_reciever;
    QDateTime m_dt;
    QString m_message;
    QString m_uid;
};

} // namespace tarvex

Q_DECLARE_METATYPE(tarvex::Message)

#endif // MESSAGE_H
