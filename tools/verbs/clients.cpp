#include "busclient.h"
#include "controlclient.h"
#include "output.h"
#include "programwords.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

namespace tarvexctl {

namespace {

/// Since when the client is connected, and with several connections also how many.
QString queryText(const QVariantMap& client)
{
    const QString since = client.value(QStringLiteral("querySince")).toString();
    const int connections = client.value(QStringLiteral("queryConnections")).toInt();
    return connections > 1 ? QStringLiteral("%1 (%2)").arg(since, QString::number(connections)) : since;
}

QString numberText(const QVariant& number)
{
    return number.toInt() > 0 ? number.toString() : QString();
}

QString flagText(const QVariant& flag)
{
    return flag.toBool() ? Words::tr("yes") : QString();
}

QStringList clientRow(const QVariantMap& client)
{
    return {client.value(QStringLiteral("name")).toString(),
            queryText(client),
            client.value(QStringLiteral("receiverSince")).toString(),
            numberText(client.value(QStringLiteral("takeovers"))),
            numberText(client.value(QStringLiteral("waiting"))),
            numberText(client.value(QStringLiteral("subscriptions"))),
            flagText(client.value(QStringLiteral("settings"))),
            flagText(client.value(QStringLiteral("state")))};
}

class Clients : public Verb
{
public:
    Clients() : Verb("clients", Words::mark("Shows the names that a development bus knows")) { }

    void addOptions(CLI::App& parser) override { addExample(parser, "tarvexctl clients"); }

    void run(const Context& context) const override
    {
        const auto clients = askControlSocket({{QStringLiteral("request"), QStringLiteral("clients")}});
        if (!clients) {
            const BusClient bus(context.clientName); // there may be no bus at all
            throw cannotTellClients();
        }
        context.output.writeTable({Words::tr("NAME"), Words::tr("QUERY SINCE"), Words::tr("RECEIVER SINCE"),
                                   Words::tr("TAKEN", "the name, so often"), Words::tr("WAITING"),
                                   Words::tr("SUBSCRIBED"), Words::tr("SETTINGS"), Words::tr("STATE")},
                                  *clients, clientRow);
        if (clients->isEmpty()) {
            complain(Words::tr("nobody is there, and nothing is stored"));
        }
    }
};

} // namespace

std::unique_ptr<Verb> makeClients()
{
    return std::make_unique<Clients>();
}

} // namespace tarvexctl
