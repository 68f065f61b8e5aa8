#include "busclient.h"
#include "clientguess.h"
#include "follower.h"
#include "messages.h"
#include "output.h"
#include "programwords.h"
#include "statechanges.h"
#include "states.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>
#include <QHash>

using tarvex::ClientState;

namespace tarvexctl {

namespace {

/// After the bus has come back, it first pushes what it has kept for us, in order. The states are read again only after
/// this time, because reading at once would show the newest state before the changes that led to it.
constexpr int LOOK_AGAIN_DELAY_MS = 1000;

/// Writes the present state of each owner, and then each change as the bus tells of it.
class StateWatcher : public FollowerTask
{
public:
    StateWatcher(QStringList owners, bool showsChanges, const Limits& limits, Output& output)
        : m_owners(std::move(owners)), m_showsChanges(showsChanges), m_tally(limits), m_output(output)
    {
    }

    void onConnected(Follower& follower, BusClient& bus, bool isFirst) override
    {
        // The order matters: a change in between is seen twice and shown once. In the other order it would be lost.
        follower.subscribe(bus, stateSubscriptions(m_owners));
        if (isFirst) {
            look(follower, bus);
            tellOfMistypedOwners();
            m_isCounting = true;
        } else {
            startLookingAgain(follower);
        }
    }

    void onMessage(Follower& follower, const Message& message) override
    {
        const std::optional<ClientState> state = stateFrom(message, m_owners);
        if (state) {
            show(follower, *state);
        } else {
            tellOfStray(message);
        }
    }

    QString timeOutWords() const override { return m_tally.missingWords(Words::tr("no change came")); }

private:
    void look(Follower& follower, BusClient& bus)
    {
        for (const QString& owner : m_owners) {
            show(follower, loadState(bus, owner));
        }
    }

    void tellOfMistypedOwners() const
    {
        for (const ClientState& state : m_shown) {
            if (!state.isValid()) {
                tellOfLikelyClient(state.owner());
            }
        }
    }

    void startLookingAgain(Follower& follower)
    {
        follower.callLater(LOOK_AGAIN_DELAY_MS, [this, &follower] { lookAgain(follower); });
    }

    void lookAgain(Follower& follower)
    {
        if (!follower.isReceiving()) {
            return; // the bus has gone again, and onConnected() will start again
        }
        try {
            BusClient bus(follower.clientName());
            look(follower, bus);
        } catch (const Failure& failure) {
            // When the bus has gone again, the receiving connection tells of it.
            if (failure.status() == NoBus || failure.status() == TimedOut) {
                startLookingAgain(follower);
            } else {
                follower.end(failure);
            }
        }
    }

    void show(Follower& follower, const ClientState& state)
    {
        const auto known = m_shown.constFind(state.owner());
        if (known != m_shown.constEnd() && *known == state) {
            return;
        }
        if (!m_showsChanges) {
            writeState(m_output, state);
        } else if (known != m_shown.constEnd()) {
            writeStateChanges(m_output, *known, state);
        } else {
            writeFirstState(m_output, state);
        }
        m_shown.insert(state.owner(), state);
        if (m_isCounting) {
            follower.count(m_tally);
        }
    }

    const QStringList m_owners;
    const bool m_showsChanges;
    Tally m_tally;
    Output& m_output;
    QHash<QString, ClientState> m_shown;
    bool m_isCounting = false;
};

class StateWatch : public Verb
{
public:
    StateWatch() : Verb("state watch", Words::mark("Shows the states of clients, and then each change"), Receives) { }

    void addOptions(CLI::App& parser) override
    {
        parser.add_option("OWNER", m_owners, Words::tr("Clients' names").toStdString())->type_name("")->required();
        addFlag(parser, "--diff", m_showsChanges,
                Words::mark("Shows of each change only what differs from the state before"));
        m_limits.addTo(parser);
        addExample(parser, "tarvexctl state watch ticket_printer cashbox --diff");
    }

    void run(const Context& context) const override
    {
        const Limits limits = m_limits.limits();
        QStringList owners = ownersFrom(m_owners);
        owners.removeDuplicates();
        StateWatcher watcher(owners, m_showsChanges, limits, context.output);
        follow(context.clientName, watcher, limits.timeoutMs);
    }

private:
    std::vector<std::string> m_owners;
    bool m_showsChanges = false;
    LimitOptions m_limits{Words::mark("Ends after so many changes")};
};

} // namespace

std::unique_ptr<Verb> makeStateWatch()
{
    return std::make_unique<StateWatch>();
}

} // namespace tarvexctl
