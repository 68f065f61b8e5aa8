#ifndef MESSAGES_H
#define MESSAGES_H

#include "records/message.h"

#include <QString>
#include <QVariantMap>

/// What the verbs that send and receive messages share.
namespace tarvexctl {

class Output;

/// A message with a new uid.
tarvex::Message newMessage(const QString& sender, const QString& receiver, const QString& text);

/// The message text of a command: the compact JSON {"cmd", "data"}. The verb must refuse an empty name.
QString commandText(const QString& command, const QVariantMap& data);

/// The record as it travels. When its text is a command, the command's "cmd" and "data" are added.
QVariantMap messageObject(const tarvex::Message& message);

/// Writes the message for a verb that shows what comes: a row of a table, or with --json its messageObject().
void writeMessage(Output& output, const tarvex::Message& message);

/// Shows on stderr a message that the verb does not use. It has been acknowledged, so the bus will not push it again.
void tellOfStray(const tarvex::Message& message);

} // namespace tarvexctl

#endif // MESSAGES_H
