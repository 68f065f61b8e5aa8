#include "callverb.h"

#include "arguments.h"
#include "busclient.h"
#include "cmdlayer/tarvexcommand.h"
#include "controlclient.h"
#include "follower.h"
#include "messages.h"
#include "output.h"
#include "tally.h"

using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

const QLatin1String CMD_ERROR("commandError");

/// A receiver that is built on the library has one method for a command with data and another for one without, and its
/// words do not say which it has looked for.
QString reasonOf(const QVariantMap& error)
{
    QString text = error.value(QStringLiteral("errorText")).toString();
    if (text.isEmpty()) {
        return QStringLiteral("no reason given");
    }
    if (text != QStringLiteral("No such method (%1)").arg(error.value(QStringLiteral("command")).toString())) {
        return text;
    }
    const bool hasData = !error.value(QStringLiteral("data")).toMap().isEmpty();
    return text + (hasData ? QLatin1String(" for a command with data") : QLatin1String(" for a command without data"));
}

Failure refusal(const Message& reply, const TarvexCommand& command)
{
    return Failure(Refused, QStringLiteral("refused by %1: %2").arg(reply.sender(), reasonOf(command.data())));
}

QString replyText(const Message& reply, const TarvexCommand* command)
{
    QList<QPair<QString, QString>> fields{{QStringLiteral("From"), reply.sender()},
                                          {QStringLiteral("Sent"), timeText(reply.dt())}};
    if (command != nullptr) {
        fields.append({QStringLiteral("Command"), command->name()});
        fields.append({QStringLiteral("Data"), jsonText(command->data())});
    } else {
        fields.append({QStringLiteral("Message"), reply.message()});
    }
    return fieldLines(fields);
}

class Caller : public Follower
{
public:
    Caller(const QString& clientName, const Call& call, Output& output)
        : Follower(clientName)
        , m_call(call)
        , m_request(newMessage(clientName, call.receiver, call.text))
        , m_output(output)
    {
    }

protected:
    // Only now, with the receiving connection accepted, does a reply find us.
    void onConnected(BusClient& bus, bool isFirst) override
    {
        if (isFirst) {
            const bool isUnknown = isUnknownToBus(m_call.receiver); // before it is sent, as by the verb send
            bus.ask([this](TarvexQueryHandler& handler) { return handler.sendMessage(m_request); });
            if (isUnknown) {
                tellOfUnknownReceiver(m_call.receiver);
            }
            if (m_call.silenceIsOk) {
                setSatisfied();
            }
        }
    }

    void onMessage(const Message& message) override
    {
        if (message.uid() != m_request.uid()) {
            tellOfStray(message);
            return;
        }
        TarvexCommand command;
        const bool isCommand = TarvexCommand::incomingMessageToCmd(message, command);
        if (isCommand && command.name() == CMD_ERROR) {
            throw refusal(message, command);
        }
        if (m_output.isJson()) {
            m_output.writeObject(messageObject(message));
        } else {
            m_output.writeRecord(replyText(message, isCommand ? &command : nullptr));
        }
        end();
    }

    QString timeOutWords() const override
    {
        return QStringLiteral("no reply from %1 within %2").arg(m_call.receiver, secondsText(m_call.timeoutMs));
    }

private:
    const Call m_call;
    const Message m_request;
    Output& m_output;
};

} // namespace

void callClient(const QString& clientName, const Call& call, Output& output)
{
    requireName(call.receiver, QStringLiteral("RECEIVER"));
    if (call.receiver == clientName) {
        throw Failure(WrongUse, QStringLiteral("a call to oneself has nobody to answer it"));
    }
    Caller caller(clientName, call, output);
    follow(caller, call.timeoutMs);
}

} // namespace tarvexctl
