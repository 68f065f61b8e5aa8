#include "arguments.h"
#include "busclient.h"
#include "output.h"
#include "programwords.h"
#include "states.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>
#include <QDateTime>

using tarvex::ClientState;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

/// Stores a state under the own name, because the bus takes a state only from its owner.
class StateSet : public Verb
{
public:
    StateSet() : Verb("state set", Words::mark("Stores a state under the own name")) { }

    void addOptions(CLI::App& parser) override
    {
        m_text.addTo(parser);
        parser.add_option("--type", m_type, Words::tr("The kind of state, a number from 0 to 127").toStdString())
            ->type_name("N")
            ->capture_default_str();
        m_description.addTo(parser);
        addExample(parser, "tarvexctl --as ticket_printer state set ready --type 1");
    }

    void run(const Context& context) const override
    {
        ClientState state;
        state.setState(m_text.text());
        state.setStateType(stateTypeFrom(text(m_type)));
        state.setDescription(m_description.text().value_or(QString()));
        // The connection would fill these in as well. They are set here so that the output shows what was stored.
        state.setOwner(context.clientName);
        state.setDt(QDateTime::currentDateTime());
        BusClient bus(context.clientName);
        bus.ask([&](TarvexQueryHandler& handler) { return handler.saveState(state); });

        QVariantMap done = state.toVariantMap();
        done.insert(QStringLiteral("done"), QStringLiteral("state set"));
        context.output.report(done, Words::tr("saved the state of %1").arg(context.clientName));
    }

private:
    Argument m_text{"TEXT", Words::mark("The state, usually a JSON text")};
    std::string m_type = "0";
    OptionalText m_description{"--description", Words::mark("A text for people"), "TEXT"};
};

} // namespace

std::unique_ptr<Verb> makeStateSet()
{
    return std::make_unique<StateSet>();
}

} // namespace tarvexctl
