#include "listenverb.h"

#include "messages.h"
#include "output.h"

namespace tarvexctl {

namespace {

class Listener : public Follower
{
public:
    Listener(const QString& clientName, Subscriptions subscriptions, const Limits& limits, Output& output)
        : Follower(clientName), m_subscriptions(std::move(subscriptions)), m_tally(limits), m_output(output)
    {
    }

protected:
    void onConnected(BusClient& bus, bool) override
    {
        subscribe(bus, m_subscriptions);
        announce();
    }

    void onMessage(const Message& message) override
    {
        announce(); // what the bus has kept for us may come before we know of being connected
        write(message);
        count(m_tally);
    }

    QString timeOutWords() const override { return m_tally.missingWords(QStringLiteral("nothing came")); }

private:
    /// Tells once, before the first message, under which name they come.
    void announce()
    {
        if (!m_isAnnounced) {
            m_isAnnounced = true;
            complain(QStringLiteral("listening as %1").arg(clientName()));
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

} // namespace

void listenToMessages(const QString& clientName, const Subscriptions& subscriptions, const Limits& limits,
                      Output& output)
{
    Listener listener(clientName, subscriptions, limits, output);
    follow(listener, limits.timeoutMs);
}

} // namespace tarvexctl
