#include "clientguess.h"
#include "messages.h"
#include "output.h"
#include "programwords.h"
#include "states.h"
#include "verbs/options.h"
#include "verbs/patternoption.h"
#include "verbs/verblist.h"

using tarvex::ClientState;

namespace tarvexctl {

namespace {

/// Which state is waited for. What is not given holds for every state.
struct Wanted
{
    std::optional<QRegularExpression> pattern;
    std::optional<QString> text;
    std::optional<ClientState::EStateType> type;

    bool holdsFor(const ClientState& state) const
    {
        return state.isValid() && (!pattern || pattern->match(state.state()).hasMatch())
            && (!text || state.state() == *text) && (!type || state.stateType() == *type);
    }
};

/// Ends with the first state of the owner that is wanted, the present one included.
class StateAwaiter : public FollowerTask
{
public:
    StateAwaiter(const QString& owner, Wanted wanted, int timeoutMs, Output& output)
        : m_owner(owner), m_wanted(std::move(wanted)), m_timeoutMs(timeoutMs), m_output(output)
    {
    }

    void onConnected(Follower& follower, BusClient& bus, bool isFirst) override
    {
        // The order matters: a change in between is seen twice. In the other order it would be lost.
        follower.subscribe(bus, stateSubscriptions({m_owner}));
        look(follower, loadState(bus, m_owner));
        if (isFirst && !m_last.isValid()) {
            tellOfLikelyClient(m_owner);
        }
    }

    void onMessage(Follower& follower, const Message& message) override
    {
        const std::optional<ClientState> state = stateFrom(message, {m_owner});
        if (state) {
            look(follower, *state);
        } else {
            tellOfStray(message);
        }
    }

    QString timeOutWords() const override
    {
        const QString time = secondsText(m_timeoutMs);
        if (!m_last.isValid()) {
            return Words::tr("%1 has no state after %2").arg(m_owner, time);
        }
        return Words::tr("the state of %1 did not become that within %2; it is, with type %3: %4")
            .arg(m_owner, time, QString::number(m_last.stateType()), m_last.state());
    }

private:
    void look(Follower& follower, const ClientState& state)
    {
        m_last = state;
        if (!m_isFound && m_wanted.holdsFor(state)) {
            m_isFound = true;
            writeState(m_output, state);
            follower.end();
        }
    }

    const QString m_owner;
    const Wanted m_wanted;
    const int m_timeoutMs;
    Output& m_output;
    ClientState m_last;
    bool m_isFound = false;
};

class WaitState : public Verb
{
public:
    WaitState() : Verb("wait state", Words::mark("Waits for a state of a client, and shows it"), Receives) { }

    void addOptions(CLI::App& parser) override
    {
        m_owner.addTo(parser);
        m_pattern.addTo(parser);
        m_text.addTo(parser);
        m_type.addTo(parser);
        m_timeout.addTo(parser);
        addExample(parser, "tarvexctl wait state ticket_printer --is ready");
    }

    void run(const Context& context) const override
    {
        const QString owner = m_owner.nonEmptyText();
        const int timeoutMs = m_timeout.milliseconds();
        Wanted wanted{m_pattern.pattern(), m_text.text(), std::nullopt};
        if (const auto type = m_type.text()) {
            wanted.type = stateTypeFrom(*type);
        }
        StateAwaiter awaiter(owner, wanted, timeoutMs, context.output);
        follow(context.clientName, awaiter, timeoutMs);
    }

private:
    Argument m_owner{"OWNER", Words::mark("The client whose state it is")};
    PatternOption m_pattern{Words::mark("The state holds something that matches this regular expression")};
    OptionalText m_text{"--is", Words::mark("The state is exactly this text"), "TEXT"};
    OptionalText m_type{"--type", Words::mark("The state is of this kind, a number from 0 to 127"), "N"};
    TimeoutOption m_timeout{Words::mark("How many seconds to wait"), "30"};
};

} // namespace

std::unique_ptr<Verb> makeWaitState()
{
    return std::make_unique<WaitState>();
}

} // namespace tarvexctl
