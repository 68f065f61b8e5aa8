#include "messages.h"

#include "cmdlayer/tarvexcommand.h"
#include "output.h"
#include "programwords.h"

#include <QUuid>

using tarvex::Message;

namespace tarvexctl {

Message newMessage(const QString& sender, const QString& receiver, const QString& text)
{
    Message message;
    message.setSender(sender);
    message.setReciever(receiver);
    message.setMessage(text);
    // The connection would make the uid of the texts and the time. When two programs send the same text in the same
    // millisecond, as a script's background jobs do, the receiver would take the second message as a repeat.
    message.setUid(QString::fromLatin1(QUuid::createUuid().toRfc4122().toBase64()));
    return message;
}

QString commandText(const QString& command, const QVariantMap& data)
{
    TarvexCommand outgoing;
    outgoing.setName(command);
    outgoing.setData(data);
    return outgoing.toOutgoingMessage().message();
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

void writeMessage(Output& output, const Message& message)
{
    if (output.isJson()) {
        output.writeObject(messageObject(message));
        return;
    }
    static const QStringList header{Words::tr("SENT"), Words::tr("FROM"), Words::tr("TO"), Words::tr("MESSAGE")};
    output.writeRow(header, {timeText(message.dt()), message.sender(), message.reciever(), message.message()});
}

void tellOfStray(const Message& message)
{
    // The bus has forgotten it, so it would be lost with --quiet otherwise.
    tellFailure(Words::tr("taken from the bus meanwhile, from %1, UID %2: %3")
                    .arg(message.sender(), message.uid(), message.message()));
}

} // namespace tarvexctl
