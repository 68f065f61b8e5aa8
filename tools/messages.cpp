#include "messages.h"

#include "cmdlayer/tarvexcommand.h"
#include "output.h"

using tarvex::Message;

namespace tarvexctl {

Message newMessage(const QString& sender, const QString& receiver, const QString& text)
{
    Message message;
    message.setSender(sender);
    message.setReciever(receiver);
    message.setMessage(text);
    // The connection makes one as well, but does not tell it.
    message.setUid(message.genUid());
    return message;
}

QVariantMap messageObject(const Message& message)
{
    QVariantMap object = message.toVariantMap();
    TarvexCommand command;
    if (TarvexCommand::incomingMessageToCmd(message, command)) {
        object.insert(QStringLiteral("cmd"), command.name());
        object.insert(QStringLiteral("data"), command.data());
    }
    return object;
}

void tellOfStray(const Message& message)
{
    complain(QStringLiteral("taken from the bus meanwhile, from %1, UID %2: %3")
                 .arg(message.sender(), message.uid(), message.message()));
}

} // namespace tarvexctl
