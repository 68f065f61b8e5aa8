#include "busclient.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"
#include "records/clientstate.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

using tarvex::ClientState;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

QString stateText(const ClientState& state)
{
    return fieldLines({{Words::tr("Owner"), state.owner()},
                       {Words::tr("Taken"), timeText(state.dt())},
                       {Words::tr("Description"), state.description()},
                       {Words::tr("Type"), QString::number(state.stateType())},
                       {Words::tr("State"), state.state()}});
}

class StateGet : public Verb
{
public:
    StateGet() : Verb("state get", Words::mark("Shows the states of clients")) { }

    void addOptions(CLI::App& parser) override
    {
        m_owners.addTo(parser);
        addExample(parser, "tarvexctl state get ticket_printer cashbox");
    }

    void run(const Context& context) const override
    {
        const QStringList owners = m_owners.names(context.clientName);
        BusClient bus(context.clientName);
        forEachOwner(owners, [&](const QString& owner) {
            ClientState state;
            bus.ask([&](TarvexQueryHandler& handler) { return handler.loadState(owner, state); });
            if (context.output.isJson()) {
                context.output.writeObject(state.toVariantMap());
            } else {
                context.output.writeRecord(stateText(state));
            }
        });
    }

private:
    OwnersArgument m_owners;
};

} // namespace

std::unique_ptr<Verb> makeStateGet()
{
    return std::make_unique<StateGet>();
}

} // namespace tarvexctl
