#include "clientsverb.h"

#include "busclient.h"
#include "controlclient.h"
#include "output.h"

namespace tarvexctl {

namespace {

/// Since when; with several connections also how many.
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
    return flag.toBool() ? QStringLiteral("yes") : QString();
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

} // namespace

void listClients(const QString& clientName, Output& output)
{
    const auto clients = askControlSocket({{QStringLiteral("request"), QStringLiteral("clients")}});
    if (!clients) {
        const BusClient bus(clientName);
        throw Failure(Refused,
                      QStringLiteral("this bus cannot tell who is there: only a development bus of the same user can"));
    }
    output.writeTable({QStringLiteral("NAME"), QStringLiteral("QUERY SINCE"), QStringLiteral("RECEIVER SINCE"),
                       QStringLiteral("TAKEN"), QStringLiteral("WAITING"), QStringLiteral("SUBSCRIBED"),
                       QStringLiteral("SETTINGS"), QStringLiteral("STATE")},
                      *clients, clientRow);
    if (clients->isEmpty()) {
        complain(QStringLiteral("nobody is there, and nothing is stored"));
    }
}

} // namespace tarvexctl
