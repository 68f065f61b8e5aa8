#include "sendverb.h"

#include "arguments.h"
#include "busclient.h"
#include "controlclient.h"
#include "failure.h"
#include "messages.h"
#include "output.h"

#include <QJsonDocument>
#include <QJsonObject>

using tarvex::Message;
using tarvex::TarvexQueryHandler;

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
    // Of a number or a text alone the parser says only that it is no document; whether it is JSON at all is asked
    // apart.
    if (document.isArray() || isJson(text)) {
        throw Failure(WrongUse, QStringLiteral("the data of a command must be a JSON object"));
    }
    throw Failure(WrongUse,
                  QStringLiteral("the data of a command is no JSON: %1 at byte %2")
                      .arg(error.errorString(), QString::number(error.offset)));
}

} // namespace

QString commandText(const QString& command, const std::optional<QString>& data)
{
    QJsonObject object;
    object.insert(QStringLiteral("cmd"), command);
    object.insert(QStringLiteral("data"), data ? objectFrom(*data) : QJsonObject());
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void sendMessage(const QString& clientName, const QString& receiver, const QString& text, Output& output)
{
    requireName(receiver, QStringLiteral("RECEIVER"));
    const Message message = newMessage(clientName, receiver, text);
    BusClient bus(clientName);
    // Before it is sent: the message itself may make the bus know the name.
    const bool isUnknown = isUnknownToBus(receiver);
    bus.ask([&](TarvexQueryHandler& handler) { return handler.sendMessage(message); });
    if (isUnknown) {
        tellOfUnknownReceiver(receiver);
    }

    QVariantMap done;
    done.insert(QStringLiteral("done"), QStringLiteral("send"));
    done.insert(QStringLiteral("sender"), clientName);
    done.insert(QStringLiteral("reciever"), receiver);
    done.insert(QStringLiteral("message"), text);
    done.insert(QStringLiteral("UID"), message.uid());
    output.report(done, QStringLiteral("sent to %1, UID %2").arg(receiver, message.uid()));
}

} // namespace tarvexctl
