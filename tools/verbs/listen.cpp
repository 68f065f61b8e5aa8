#include "arguments.h"
#include "follower.h"
#include "messages.h"
#include "output.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>

namespace tarvexctl {

namespace {

/// State changes and messages to nobody in particular.
constexpr qint32 GOAL_ALL = 3;

QPair<QString, qint32> subscriptionFrom(const QString& text)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    if (colon < 0) {
        return {text, GOAL_ALL};
    }
    static const QStringList goals{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
    const QString goal = text.mid(colon + 1);
    if (!goals.contains(goal)) {
        throw Failure(WrongUse,
                      QStringLiteral("the goal of a subscription must be 1, 2 or 3, not \"%1\"; a name that holds a "
                                     "colon needs one after it: \"%2:3\"")
                          .arg(goal, text));
    }
    return {text.left(colon), goal.toInt()};
}

/// What to subscribe to, from PUBLISHER or PUBLISHER:GOAL. Without a goal it is everything.
Subscriptions subscriptionsFrom(const QStringList& texts)
{
    Subscriptions subscriptions;
    QStringList names;
    for (const QString& text : texts) {
        subscriptions.append(subscriptionFrom(text));
        const QString name = subscriptions.last().first;
        requireName(name, QStringLiteral("PUBLISHER"));
        if (names.contains(name)) {
            throw Failure(WrongUse, QStringLiteral("\"%1\" is given twice with --subscribe").arg(name));
        }
        names.append(name);
    }
    return subscriptions;
}

class Listener : public FollowerTask
{
public:
    Listener(Subscriptions subscriptions, const Limits& limits, Output& output)
        : m_subscriptions(std::move(subscriptions)), m_tally(limits), m_output(output)
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
        write(message);
        follower.count(m_tally);
    }

    QString timeOutWords() const override { return m_tally.missingWords(QStringLiteral("nothing came")); }

private:
    /// Says once, before the first message, under which name the verb listens.
    void announce(const Follower& follower)
    {
        if (!m_isAnnounced) {
            m_isAnnounced = true;
            complain(QStringLiteral("listening as %1").arg(follower.clientName()));
        }
    }

    void write(const Message& message)
    {
        if (m_output.isJson()) {
            m_output.writeObject(messageObject(message));
            return;
        }
        static const QStringList header{QStringLiteral("SENT"), QStringLiteral("FROM"), QStringLiteral("TO"),
                                        QStringLiteral("MESSAGE")};
        m_output.writeRow(header, {timeText(message.dt()), message.sender(), message.reciever(), message.message()});
    }

    const Subscriptions m_subscriptions;
    Tally m_tally;
    Output& m_output;
    bool m_isAnnounced = false;
};

class Listen : public Verb
{
public:
    Listen() : Verb("listen", "Shows the messages that come, until interrupted", Receives) { }

    void addOptions(CLI::App& parser) override
    {
        parser
            .add_option("--subscribe", m_subscriptions,
                        "Also what PUBLISHER publishes: its states (1), its messages to nobody in particular (2), or "
                        "both (3, and without a goal); for each publisher once more")
            ->type_name("PUBLISHER[:GOAL]")
            ->allow_extra_args(false);
        m_limits.addTo(parser);
    }

    void run(const Context& context) const override
    {
        const Limits limits = m_limits.limits();
        Listener listener(subscriptionsFrom(texts(m_subscriptions)), limits, context.output);
        follow(context.clientName, listener, limits.timeoutMs);
    }

private:
    std::vector<std::string> m_subscriptions;
    LimitOptions m_limits{"messages"};
};

} // namespace

std::unique_ptr<Verb> makeListen()
{
    return std::make_unique<Listen>();
}

} // namespace tarvexctl
