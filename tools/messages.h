#ifndef MESSAGES_H
#define MESSAGES_H

#include "records/message.h"

#include <QString>
#include <QVariantMap>

#include <optional>

/// What the verbs that send and receive messages share.
namespace tarvexctl {

/// A message with a new uid.
tarvex::Message newMessage(const QString& sender, const QString& receiver, const QString& text);

/// The message text of a command, the compact JSON {"cmd", "data"}; without \a data the object is empty.
/// Throws Failure when \a data is no JSON object; an empty name is for the verb to refuse.
QString commandText(const QString& command, const std::optional<QString>& data);

/// The record as it travels; when its text is a command, the command's "cmd" and "data" beside the rest.
QVariantMap messageObject(const tarvex::Message& message);

/// Tells on stderr of a message that was acknowledged and is of no use here: the bus will not push it again.
void tellOfStray(const tarvex::Message& message);

} // namespace tarvexctl

#endif // MESSAGES_H
