#include "busclient.h"
#include "cmdlayer/tarvexcommand.h"
#include "follower.h"
#include "messages.h"
#include "output.h"
#include "programwords.h"
#include "verbs/options.h"
#include "verbs/patternoption.h"
#include "verbs/subscriptions.h"
#include "verbs/verblist.h"

namespace tarvexctl {

namespace {

/// Which message is waited for. What is not given holds for every message.
struct Wanted
{
    std::optional<QString> sender;
    std::optional<QString> command;
    std::optional<QRegularExpression> pattern;

    bool holdsFor(const Message& message) const
    {
        TarvexCommand incoming;
        const bool isWantedCommand =
            !command || (TarvexCommand::incomingMessageToCmd(message, incoming) && incoming.name() == *command);
        return isWantedCommand && (!sender || message.sender() == *sender)
            && (!pattern || pattern->match(message.message()).hasMatch());
    }
};

/// Ends with the first message that is wanted. It tells of the others.
class MessageAwaiter : public FollowerTask
{
public:
    MessageAwaiter(Subscriptions subscriptions, Wanted wanted, int timeoutMs, Output& output)
        : m_subscriptions(std::move(subscriptions))
        , m_wanted(std::move(wanted))
        , m_timeoutMs(timeoutMs)
        , m_output(output)
    {
    }

    void onConnected(Follower& follower, BusClient& bus, bool) override
    {
        follower.subscribe(bus, m_subscriptions);
        announce(follower);
    }

    void onMessage(Follower& follower, const Message& message) override
    {
        announce(follower); // the messages that the bus has kept may come before onConnected()
        if (m_wanted.holdsFor(message)) {
            writeMessage(m_output, message);
            follower.end();
        } else {
            tellOfStray(message);
        }
    }

    QString timeOutWords() const override
    {
        return Words::tr("no such message came within %1").arg(secondsText(m_timeoutMs));
    }

private:
    /// Says once, before the first message, under which name the verb waits.
    void announce(const Follower& follower)
    {
        if (!m_isAnnounced) {
            m_isAnnounced = true;
            complain(Words::tr("waiting as %1").arg(follower.clientName()));
        }
    }

    const Subscriptions m_subscriptions;
    const Wanted m_wanted;
    const int m_timeoutMs;
    Output& m_output;
    bool m_isAnnounced = false;
};

class WaitMessage : public Verb
{
public:
    WaitMessage() : Verb("wait message", Words::mark("Waits for a message, and shows it"), Receives) { }

    void addOptions(CLI::App& parser) override
    {
        m_sender.addTo(parser);
        m_command.addTo(parser);
        m_pattern.addTo(parser);
        m_subscriptions.addTo(parser);
        m_timeout.addTo(parser);
        addExample(parser, "tarvexctl --as terminal_gui wait message --from ticket_printer --command printed");
    }

    void run(const Context& context) const override
    {
        const Wanted wanted{nameFrom(m_sender, "--from"), nameFrom(m_command, "--command"), m_pattern.pattern()};
        const int timeoutMs = m_timeout.milliseconds();
        MessageAwaiter awaiter(m_subscriptions.subscriptions(), wanted, timeoutMs, context.output);
        follow(context.clientName, awaiter, timeoutMs);
    }

private:
    static std::optional<QString> nameFrom(const OptionalText& option, const char* name)
    {
        std::optional<QString> text = option.text();
        if (text) {
            requireName(*text, QLatin1String(name));
        }
        return text;
    }

    OptionalText m_sender{"--from", Words::mark("It comes from this client"), "NAME"};
    OptionalText m_command{"--command", Words::mark("It is the command of this name"), "NAME"};
    PatternOption m_pattern{Words::mark("Its text holds something that matches this regular expression")};
    SubscribeOption m_subscriptions;
    TimeoutOption m_timeout{Words::mark("How many seconds to wait"), "30"};
};

} // namespace

std::unique_ptr<Verb> makeWaitMessage()
{
    return std::make_unique<WaitMessage>();
}

} // namespace tarvexctl
