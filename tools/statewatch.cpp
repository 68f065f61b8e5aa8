#include "statewatch.h"

#include "busclient.h"
#include "cmdlayer/tarvexcommand.h"
#include "follower.h"
#include "messages.h"
#include "output.h"
#include "owners.h"
#include "records/clientstate.h"

#include <QHash>

using tarvex::ClientState;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

/// Subscribes to state changes and nothing else.
constexpr qint32 GOAL_STATES = 1;
/// After the bus has come back: what it has kept for us in the meantime comes first, in order, and the states are read
/// again only then. Reading at once would show the newest before the changes that led to it.
constexpr int LOOK_AGAIN_DELAY_MS = 1000;

const QLatin1String CMD_STATE_CHANGED("stateChanged");

class StateWatcher : public Follower
{
public:
    StateWatcher(const QString& clientName, QStringList owners, const Limits& limits, Output& output)
        : Follower(clientName), m_owners(std::move(owners)), m_tally(limits), m_output(output)
    {
        m_lookAgain.setSingleShot(true);
        m_lookAgain.setInterval(LOOK_AGAIN_DELAY_MS);
        connect(&m_lookAgain, &QTimer::timeout, this, [this] { lookAgain(); });
        connect(this, &Follower::leaving, &m_lookAgain, &QTimer::stop);
    }

protected:
    void onConnected(BusClient& bus, bool isFirst) override
    {
        // In this order: a change in between is seen twice, and told of once.
        Subscriptions subscriptions;
        for (const QString& owner : m_owners) {
            subscriptions.append({owner, GOAL_STATES});
        }
        subscribe(bus, subscriptions);
        if (isFirst) {
            look(bus);
            m_isCounting = true;
        } else {
            m_lookAgain.start();
        }
    }

    void onMessage(const Message& message) override
    {
        TarvexCommand command;
        const bool isCommand = TarvexCommand::incomingMessageToCmd(message, command);
        const ClientState state = ClientState::fromVariantMap(command.data());
        if (isCommand && command.name() == CMD_STATE_CHANGED && m_owners.contains(state.owner())) {
            show(state);
        } else {
            tellOfStray(message);
        }
    }

    QString timeOutWords() const override { return m_tally.missingWords(QStringLiteral("no change came")); }

private:
    void look(BusClient& bus)
    {
        for (const QString& owner : m_owners) {
            show(loadState(bus, owner));
        }
    }

    void lookAgain()
    {
        if (!isReceiving()) {
            return; // the bus has gone once more; onConnected() begins anew
        }
        try {
            BusClient bus(clientName());
            look(bus);
        } catch (const Failure& failure) {
            // A bus that has gone again is told of by the other connection.
            if (failure.status() == NoBus || failure.status() == TimedOut) {
                m_lookAgain.start();
            } else {
                end(failure);
            }
        }
    }

    /// A record without a state when the bus has none.
    static ClientState loadState(BusClient& bus, const QString& owner)
    {
        ClientState state;
        if (!bus.askForStored([&](TarvexQueryHandler& handler) { return handler.loadState(owner, state); })) {
            state.setOwner(owner);
        }
        return state;
    }

    void show(const ClientState& state)
    {
        const auto known = m_shown.constFind(state.owner());
        if (known != m_shown.constEnd() && *known == state) {
            return;
        }
        m_shown.insert(state.owner(), state);
        write(state);
        if (m_isCounting) {
            count(m_tally);
        }
    }

    void write(const ClientState& state)
    {
        if (m_output.isJson()) {
            m_output.writeObject(state.toVariantMap());
            return;
        }
        static const QStringList header{QStringLiteral("TAKEN"), QStringLiteral("OWNER"), QStringLiteral("TYPE"),
                                        QStringLiteral("DESCRIPTION"), QStringLiteral("STATE")};
        if (state.isValid()) {
            m_output.writeRow(header,
                              {timeText(state.dt()), state.owner(), QString::number(state.stateType()),
                               state.description(), state.state()});
        } else {
            m_output.writeRow(header, {QString(), state.owner(), QString(), QString(), QStringLiteral("no state")});
        }
    }

    const QStringList m_owners;
    Tally m_tally;
    Output& m_output;
    QTimer m_lookAgain{this};
    QHash<QString, ClientState> m_shown;
    bool m_isCounting = false;
};

} // namespace

void watchStates(const QString& clientName, const QStringList& owners, const Limits& limits, Output& output)
{
    QStringList names = ownersOrSelf(owners, clientName);
    names.removeDuplicates();
    StateWatcher watcher(clientName, names, limits, output);
    follow(watcher, limits.timeoutMs);
}

} // namespace tarvexctl
