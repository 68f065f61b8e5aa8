#include "messages.h"

#include "cmdlayer/tarvexcommand.h"
#include "failure.h"
#include "jsonvalue.h"
#include "output.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

using tarvex::Message;

namespace tarvexctl {

namespace {

QJsonObject objectFrom(const QString& text)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (document.isObject()) {
        const QString inexact = inexactInteger(text);
        if (!inexact.isEmpty()) {
            throw Failure(WrongUse, QStringLiteral("%1 is too large to travel exactly as a number").arg(inexact));
        }
        return document.object();
    }
    // For a single number or text the parser says only that it is not a document, so isJson() says whether it is JSON.
    if (document.isArray() || isJson(text)) {
        throw Failure(WrongUse, QStringLiteral("the data of a command must be a JSON object"));
    }
    throw Failure(WrongUse,
                  QStringLiteral("the data of a command is no JSON: %1 at byte %2")
                      .arg(error.errorString(), QString::number(error.offset)));
}

} // namespace

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

QString commandText(const QString& command, const std::optional<QString>& data)
{
    TarvexCommand outgoing;
    outgoing.setName(command);
    outgoing.setData(data ? objectFrom(*data).toVariantMap() : QVariantMap());
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

void tellOfStray(const Message& message)
{
    complain(QStringLiteral("taken from the bus meanwhile, from %1, UID %2: %3")
                 .arg(message.sender(), message.uid(), message.message()));
}

} // namespace tarvexctl
