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
/// A plain value: copying costs a few reference counts. It may be passed between threads by copy. It is registered with
/// the meta-type system as "Message" and "tarvex::Message" when the library is loaded. The short names of this and the
/// other records belong to the library in the whole process. A service that has a type of its own with such a name
/// registers that type under a qualified name, because Qt ends the process otherwise.
///
/// <!-- quote: docs/snippets/reference/records.cpp#message -->
/// \code
/// Message message;
/// message.setReciever(BUSNAME_MONITORING);
/// message.setMessage(QStringLiteral("Paper was changed"));
/// \endcode
///
/// Wire form: a JSON object with the keys "date", "message", "reciever", "sender" and "UID", all strings. The spelling
/// "reciever" is the bus's own and part of the interface.
class TARVEXLIB_EXPORT Message
{
public:
    /// All strings are null. The date-time is the current local time.
    Message();
    Message(const Message& other) = default;            ///< Copies all fields.
    Message(Message&& other) = default;                 ///< Takes all fields.
    Message& operator=(const Message& other) = default; ///< Copies all fields.
    Message& operator=(Message&& other) = default;      ///< Takes all fields.
    virtual ~Message();

    /// The client that sent it. The query connection overwrites it with its own client name when it sends.
    QString sender() const;
    void setSender(const QString& sender); ///< Sets sender().

    /// The client to which it is addressed.
    QString reciever() const;
    void setReciever(const QString& reciever); ///< Sets reciever().

    /// When the message was made. The wire form keeps milliseconds and drops the time zone.
    QDateTime dt() const;
    void setDt(const QDateTime& dt); ///< Sets dt().

    /// The payload text. In a command or a log line it is a JSON text of its own.
    QString message() const;
    void setMessage(const QString& message); ///< Sets message().

    /// Identifier of the message, unique per sender. It is empty until it is set. When the query connection sends a
    /// message whose identifier is empty, the connection makes one.
    QString uid() const;
    void setUid(const QString& uid); ///< Sets uid().

    /// Returns a new identifier of 24 characters. It does not store the identifier, see setUid().
    ///
    /// Two calls on the same message within one millisecond return the same value. Each call seeds the process-wide
    /// rand() anew.
    QString genUid() const;

    /// The key under which the receiving side remembers this message in order to drop repeats.
    QString msgKey() const;

    /// True when all five fields are equal.
    bool operator==(const Message& other) const;
    bool operator!=(const Message& other) const; ///< The opposite of operator==().

    /// The wire form. Every key is always present. An invalid date-time is written as an empty string.
    QVariantMap toVariantMap() const;

    /// Reads the wire form and accepts any map. A missing or malformed value gives an empty string or an invalid
    /// date-time (not the current time). Unknown keys are ignored.
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
