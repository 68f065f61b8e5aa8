#include "bussearch.h"
#include "output.h"
#include "programwords.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

namespace tarvexctl {

namespace {

class Wait : public Verb
{
public:
    Wait() : Verb("wait", Words::mark("Waits until a bus answers, or for a client, a state or a message")) { }

    void addOptions(CLI::App& parser) override
    {
        m_timeout.addTo(parser);
        addExample(parser, "tarvex-devbus --memory & tarvexctl wait && ./my_service");
    }

    void run(const Context& context) const override
    {
        waitForBus(context.clientName, m_timeout.milliseconds());
        if (context.output.isJson()) {
            context.output.writeObject({{QStringLiteral("done"), QStringLiteral("wait")}});
        }
    }

private:
    TimeoutOption m_timeout{Words::mark("How many seconds to wait"), "30"};
};

} // namespace

std::unique_ptr<Verb> makeWait()
{
    return std::make_unique<Wait>();
}

} // namespace tarvexctl
