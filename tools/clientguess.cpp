#include "clientguess.h"

#include "controlclient.h"
#include "failure.h"
#include "nearest.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"

namespace tarvexctl {

namespace {

QList<QVariantMap> clientsOnBus()
{
    try {
        return askControlSocket({{QStringLiteral("request"), QStringLiteral("clients")}}, HINT_TIMEOUT_MS)
            .value_or(QList<QVariantMap>());
    } catch (const Failure&) {
        return {}; // without the bus's names the library's are still there
    }
}

} // namespace

bool isRealClient(const QVariantMap& item)
{
    return item.value(QStringLiteral("queryConnections")).toInt() > 0
        || !item.value(QStringLiteral("receiverSince")).toString().isEmpty()
        || item.value(QStringLiteral("subscriptions")).toInt() > 0 || item.value(QStringLiteral("settings")).toBool()
        || item.value(QStringLiteral("state")).toBool();
}

QString likelyClient(const QString& name)
{
    if (supportedClients().contains(name)) {
        return QString();
    }
    return likelyClient(name, clientsOnBus());
}

QString likelyClient(const QString& name, const QList<QVariantMap>& clients)
{
    QStringList names;
    for (const QVariantMap& item : clients) {
        if (isRealClient(item)) {
            names.append(item.value(QStringLiteral("name")).toString());
        }
    }
    names += supportedClients();
    return names.contains(name) ? QString() : tarvex::programs::nearest(name, names);
}

void tellOfLikelyClient(const QString& name)
{
    const QString guess = likelyClient(name);
    if (!guess.isEmpty()) {
        complain(Words::tr("there is no client \"%1\" so far%2").arg(name, tarvex::programs::guessWords(guess)));
    }
}

} // namespace tarvexctl
