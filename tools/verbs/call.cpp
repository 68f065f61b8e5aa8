#include "busclient.h"
#include "cmdlayer/tarvexcommand.h"
#include "controlclient.h"
#include "follower.h"
#include "messages.h"
#include "output.h"
#include "programwords.h"
#include "verbs/commanddata.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

const QLatin1String CMD_ERROR("commandError");

/// The reason that the receiver gives. A receiver that is built on the library has one method for a command with data
/// and another for a command without, and its words do not say which of them is missing. So that is added.
QString reasonOf(const QVariantMap& error)
{
    QString text = error.value(QStringLiteral("errorText")).toString();
    if (text.isEmpty()) {
        return Words::tr("no reason given");
    }
    if (text != QStringLiteral("No such method (%1)").arg(error.value(QStringLiteral("command")).toString())) {
        return text;
    }
    const bool hasData = !error.value(QStringLiteral("data")).toMap().isEmpty();
    return (hasData ? Words::tr("%1 for a command with data") : Words::tr("%1 for a command without data")).arg(text);
}

Failure refusal(const Message& reply, const TarvexCommand& command)
{
    return Failure(Refused, Words::tr("refused by %1: %2").arg(reply.sender(), reasonOf(command.data())));
}

QString replyText(const Message& reply, const TarvexCommand* command)
{
    QList<QPair<QString, QString>> fields{{Words::tr("From"), reply.sender()},
                                          {Words::tr("Sent"), timeText(reply.dt())}};
    if (command != nullptr) {
        fields.append({Words::tr("Command"), command->name()});
        fields.append({Words::tr("Data"), jsonText(command->data())});
    } else {
        fields.append({Words::tr("Message"), reply.message()});
    }
    return fieldLines(fields);
}

/// What to send, and how to wait for the reply.
struct Request
{
    QString receiver;
    QString text;
    int timeoutMs;
    bool silenceIsOk; ///< No reply is a success.
};

/// Sends the command and writes the reply, which is the first message with the command's uid.
class Caller : public FollowerTask
{
public:
    Caller(const QString& clientName, const Request& request, Output& output)
        : m_request(request), m_message(newMessage(clientName, request.receiver, request.text)), m_output(output)
    {
    }

    // The command is sent only now, because a reply can come only when the bus has accepted the receiving connection.
    void onConnected(Follower& follower, BusClient& bus, bool isFirst) override
    {
        if (isFirst) {
            const bool isUnknown = isUnknownToBus(m_request.receiver); // asked before it is sent, as the verb send does
            bus.ask([this](TarvexQueryHandler& handler) { return handler.sendMessage(m_message); });
            if (isUnknown) {
                tellOfUnknownReceiver(m_request.receiver);
            }
            if (m_request.silenceIsOk) {
                follower.setSatisfied();
            }
        }
    }

    void onMessage(Follower& follower, const Message& message) override
    {
        if (message.uid() != m_message.uid()) {
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
        follower.end();
    }

    QString timeOutWords() const override
    {
        return Words::tr("no reply from %1 within %2").arg(m_request.receiver, secondsText(m_request.timeoutMs));
    }

private:
    const Request m_request;
    const Message m_message;
    Output& m_output;
};

class Call : public Verb
{
public:
    Call() : Verb("call", Words::mark("Sends a command to a client and shows its reply"), Receives) { }

    void addOptions(CLI::App& parser) override
    {
        m_receiver.addTo(parser);
        m_command.addTo(parser);
        m_data.addTo(parser);
        m_timeout.addTo(parser);
        addFlag(parser, "--silence-ok", m_silenceIsOk,
                Words::mark("No reply within the time-out is a success: many services answer only what fails"));
        addExample(parser, "tarvexctl call ticket_printer print text=Hello copies:=2");
    }

    void run(const Context& context) const override
    {
        const QString command = m_command.nonEmptyText();
        const int timeoutMs = m_timeout.milliseconds();
        const QString text = commandText(command, m_data.object());
        const QString receiver = m_receiver.nonEmptyText();
        if (receiver == context.clientName) {
            throw Failure(WrongUse, Words::tr("a call to oneself has nobody to answer it"));
        }
        Caller caller(context.clientName, {receiver, text, timeoutMs, m_silenceIsOk}, context.output);
        follow(context.clientName, caller, timeoutMs);
    }

private:
    Argument m_receiver{"RECEIVER", Words::mark("The client that gets the command")};
    Argument m_command{"COMMAND", Words::mark("The command's name")};
    CommandData m_data{
        "DATA",
        Words::mark("The command's data: KEY=VALUE for a text, KEY:=JSON for any other value; or all of it "
                    "as one JSON object")};
    TimeoutOption m_timeout{Words::mark("How many seconds to wait for the reply"), "10"};
    bool m_silenceIsOk = false;
};

} // namespace

std::unique_ptr<Verb> makeCall()
{
    return std::make_unique<Call>();
}

} // namespace tarvexctl
