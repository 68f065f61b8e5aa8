#include "completion/busvalues.h"

#include "clientguess.h"
#include "controlclient.h"
#include "jsonvalue.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"

#include <QMap>

namespace tarvexctl::busvalues {

namespace {

/// The user waits for the shell meanwhile.
constexpr int PATIENCE_MS = 100;

/// Nothing when no bus answers in time. Then nothing is said, because the user is typing.
std::optional<QList<QVariantMap>> ask(const QVariantMap& request)
{
    try {
        return askControlSocket(request, PATIENCE_MS);
    } catch (const Failure&) {
        return std::nullopt;
    }
}

std::optional<QList<QVariantMap>> ask(const QString& request)
{
    return ask(QVariantMap{{QStringLiteral("request"), request}});
}

QList<Candidate> knownClients()
{
    QList<Candidate> candidates;
    for (const QString& name : supportedClients()) {
        candidates.append({name, Words::tr("known to the library")});
    }
    return candidates;
}

bool isConnected(const QVariantMap& client)
{
    return client.value(QStringLiteral("queryConnections")).toInt() > 0
        || !client.value(QStringLiteral("receiverSince")).toString().isEmpty();
}

Candidate clientCandidate(const QVariantMap& client)
{
    return {client.value(QStringLiteral("name")).toString(),
            isConnected(client) ? Words::tr("connected") : Words::tr("not connected")};
}

/// The clients for which the bus sets this flag.
QList<Candidate> flaggedClients(const QString& flag)
{
    const auto items = ask(QStringLiteral("clients"));
    if (!items) {
        return knownClients();
    }
    QList<Candidate> candidates;
    for (const QVariantMap& client : qAsConst(*items)) {
        if (client.value(flag).toBool()) {
            candidates.append(clientCandidate(client));
        }
    }
    return candidates;
}

struct Setting
{
    QString group;
    QString key;
    QVariant value;
};

QList<Setting> settingsOf(const QString& owner)
{
    const auto items =
        ask({{QStringLiteral("request"), QStringLiteral("settingsOf")}, {QStringLiteral("name"), owner}});
    const QList<QVariantMap> found = items.value_or(QList<QVariantMap>());
    QList<Setting> settings;
    for (const QVariantMap& item : found) {
        settings.append({item.value(QStringLiteral("group")).toString(), item.value(QStringLiteral("key")).toString(),
                         item.value(QStringLiteral("value"))});
    }
    return settings;
}

/// The value as it is typed: a text without quotes where it is no JSON.
QString typedValue(const QVariant& value)
{
    const QString text = value.toString();
    const bool isPlainText = value.userType() == QMetaType::QString && jsonOrText(text) == QVariant(text);
    return isPlainText ? text : jsonText(value);
}

} // namespace

QList<Candidate> clients()
{
    QMap<QString, Candidate> byName;
    const QList<Candidate> known = knownClients();
    for (const Candidate& candidate : known) {
        byName.insert(candidate.text, candidate);
    }
    const QList<QVariantMap> items = ask(QStringLiteral("clients")).value_or(QList<QVariantMap>());
    for (const QVariantMap& client : items) {
        const Candidate candidate = clientCandidate(client);
        if (isRealClient(client)) {
            byName.insert(candidate.text, candidate);
        }
    }
    return byName.values();
}

QList<Candidate> settingsOwners()
{
    return flaggedClients(QStringLiteral("settings"));
}

QList<Candidate> stateOwners()
{
    return flaggedClients(QStringLiteral("state"));
}

QList<Candidate> settingsGroups(const QString& owner)
{
    QMap<QString, QStringList> keys;
    const QList<Setting> settings = settingsOf(owner);
    for (const Setting& setting : settings) {
        keys[setting.group].append(setting.key);
    }
    QList<Candidate> candidates;
    for (auto group = keys.cbegin(); group != keys.cend(); ++group) {
        candidates.append({group.key(), group.value().join(QLatin1String(", "))});
    }
    return candidates;
}

QList<Candidate> settingsKeys(const QString& owner, const QString& group)
{
    QList<Candidate> candidates;
    const QList<Setting> settings = settingsOf(owner);
    for (const Setting& setting : settings) {
        if (setting.group == group) {
            candidates.append({setting.key, jsonText(setting.value)});
        }
    }
    return candidates;
}

QList<Candidate> settingsValue(const QString& owner, const QString& group, const QString& key)
{
    const QList<Setting> settings = settingsOf(owner);
    for (const Setting& setting : settings) {
        if (setting.group == group && setting.key == key) {
            return {{typedValue(setting.value), Words::tr("the present value")}};
        }
    }
    return {};
}

QList<Candidate> commands(const QString& receiver)
{
    QMap<QString, QStringList> receivers;
    QList<Candidate> own;
    const QList<QVariantMap> items = ask(QStringLiteral("commands")).value_or(QList<QVariantMap>());
    for (const QVariantMap& item : items) {
        const QString name = item.value(QStringLiteral("name")).toString();
        const QString to = item.value(QStringLiteral("receiver")).toString();
        if (!receiver.isEmpty() && to == receiver) {
            own.append({name, Words::tr("seen to %1").arg(to)});
        }
        receivers[name].append(to.isEmpty() ? Words::tr("all subscribers") : to);
    }
    if (!own.isEmpty()) {
        return own;
    }
    QList<Candidate> candidates;
    for (auto command = receivers.cbegin(); command != receivers.cend(); ++command) {
        candidates.append({command.key(), Words::tr("seen to %1").arg(command.value().join(QLatin1String(", ")))});
    }
    return candidates;
}

QList<Candidate> faults()
{
    QList<Candidate> candidates;
    const QList<QVariantMap> items = ask(QStringLiteral("faults")).value_or(QList<QVariantMap>());
    for (const QVariantMap& item : items) {
        candidates.append(
            {item.value(QStringLiteral("number")).toString(), item.value(QStringLiteral("rule")).toString()});
    }
    return candidates;
}

} // namespace tarvexctl::busvalues
