#include "clientguess.h"
#include "follower.h"
#include "messages.h"
#include "output.h"
#include "programwords.h"
#include "verbs/options.h"
#include "verbs/subscriptions.h"
#include "verbs/verblist.h"

namespace tarvexctl {

namespace {

class Listener : public FollowerTask
{
public:
    Listener(Subscriptions subscriptions, const Limits& limits, Output& output)
        : m_subscriptions(std::move(subscriptions)), m_tally(limits), m_output(output)
    {
    }

    void onConnected(Follower& follower, BusClient& bus, bool isFirst) override
    {
        follower.subscribe(bus, m_subscriptions);
        announce(follower);
        if (isFirst) {
            for (const auto& subscription : m_subscriptions) {
                tellOfLikelyClient(subscription.first);
            }
        }
    }

    void onMessage(Follower& follower, const Message& message) override
    {
        announce(follower); // the messages that the bus has kept may come before onConnected()
        writeMessage(m_output, message);
        follower.count(m_tally);
    }

    QString timeOutWords() const override { return m_tally.missingWords(Words::tr("nothing came")); }

private:
    /// Says once, before the first message, under which name the verb listens.
    void announce(const Follower& follower)
    {
        if (!m_isAnnounced) {
            m_isAnnounced = true;
            complain(Words::tr("listening as %1").arg(follower.clientName()));
        }
    }

    const Subscriptions m_subscriptions;
    Tally m_tally;
    Output& m_output;
    bool m_isAnnounced = false;
};

class Listen : public Verb
{
public:
    Listen() : Verb("listen", Words::mark("Shows the messages that come, until interrupted"), Receives) { }

    void addOptions(CLI::App& parser) override
    {
        m_subscriptions.addTo(parser);
        m_limits.addTo(parser);
        addExample(parser, "tarvexctl listen --subscribe ticket_printer:3");
    }

    void run(const Context& context) const override
    {
        const Limits limits = m_limits.limits();
        Listener listener(m_subscriptions.subscriptions(), limits, context.output);
        follow(context.clientName, listener, limits.timeoutMs);
    }

private:
    SubscribeOption m_subscriptions;
    LimitOptions m_limits{Words::mark("Ends after so many messages")};
};

} // namespace

std::unique_ptr<Verb> makeListen()
{
    return std::make_unique<Listen>();
}

} // namespace tarvexctl
