#include "busclient.h"
#include "controlclient.h"
#include "messages.h"
#include "output.h"
#include "programwords.h"
#include "verbs/commanddata.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

using tarvex::Message;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

class Send : public Verb
{
public:
    Send() : Verb("send", Words::mark("Sends a message to a client")) { }

    void addOptions(CLI::App& parser) override
    {
        m_receiver.addTo(parser);
        m_text.addTo(parser);
        m_command.addTo(parser);
        addExample(parser, "tarvexctl send terminal_gui --command showText text=Hello");
    }

    void run(const Context& context) const override;

private:
    QString messageText() const;

    Argument m_receiver{"RECEIVER", Words::mark("The client that gets the message")};
    CommandData m_text{
        "TEXT",
        Words::mark("The message; with --command the command's data: KEY=VALUE for a text, KEY:=JSON for any "
                    "other value; or all of it as one JSON object")};
    OptionalText m_command{"--command", Words::mark("Sends the command of this name"), "NAME"};
};

QString Send::messageText() const
{
    if (const auto command = m_command.text()) {
        requireName(*command, QStringLiteral("--command"));
        return commandText(*command, m_text.object());
    }
    const QStringList texts = m_text.arguments();
    if (m_text.hasDataOption()) {
        throw Failure(WrongUse, Words::tr("--data is the data of a command: it needs --command"));
    }
    if (texts.isEmpty()) {
        throw Failure(WrongUse, Words::tr("send needs a TEXT, or a --command"));
    }
    if (texts.size() > 1) {
        throw Failure(WrongUse,
                      Words::tr("unexpected argument \"%1\"; a TEXT with blanks needs quotes").arg(texts.at(1)));
    }
    return texts.first();
}

void Send::run(const Context& context) const
{
    const QString text = messageText();
    const QString receiver = m_receiver.nonEmptyText();
    const Message message = newMessage(context.clientName, receiver, text);
    BusClient bus(context.clientName);
    // Asked before the message is sent, because the message may make the bus know the name.
    const bool isUnknown = isUnknownToBus(receiver);
    bus.ask([&](TarvexQueryHandler& handler) { return handler.sendMessage(message); });
    if (isUnknown) {
        tellOfUnknownReceiver(receiver);
    }

    QVariantMap done;
    done.insert(QStringLiteral("done"), QStringLiteral("send"));
    done.insert(QStringLiteral("sender"), context.clientName);
    done.insert(QStringLiteral("reciever"), receiver);
    done.insert(QStringLiteral("message"), text);
    done.insert(QStringLiteral("UID"), message.uid());
    context.output.report(done, Words::tr("sent to %1, UID %2").arg(receiver, message.uid()));
}

} // namespace

std::unique_ptr<Verb> makeSend()
{
    return std::make_unique<Send>();
}

} // namespace tarvexctl
