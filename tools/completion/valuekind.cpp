#include "completion/valuekind.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace tarvexctl {

namespace {

struct Rule
{
    const char* verb; ///< A verb, or a group for all its verbs; empty for all.
    const char* name;
    ValueKind kind;
};

/// The first one that fits counts.
constexpr Rule RULES[] = {
    {"", "--as", ValueKind::Clients},
    {"", "--capture", ValueKind::Interfaces},
    {"", "--client", ValueKind::Clients},
    {"", "--color", ValueKind::Words},
    {"", "--command", ValueKind::Commands},
    {"new-service", "--commands", ValueKind::Nothing},
    {"", "--count", ValueKind::Nothing},
    {"", "--data", ValueKind::DataOrFile},
    {"", "--description", ValueKind::Nothing},
    {"wait", "--from", ValueKind::Clients},
    {"", "--from", ValueKind::ClientsOrBus},
    {"new-service", "--in", ValueKind::Files},
    {"", "--interval", ValueKind::Nothing},
    {"", "--is", ValueKind::Nothing},
    {"", "--last", ValueKind::Nothing},
    {"", "--level", ValueKind::Words},
    {"", "--matches", ValueKind::Nothing},
    {"", "--only", ValueKind::Clients},
    {"", "--operation", ValueKind::Operations},
    {"", "--output", ValueKind::Files},
    {"", "--patience", ValueKind::Nothing},
    {"", "--slow", ValueKind::Nothing},
    {"", "--speed", ValueKind::Words},
    {"", "--state-age", ValueKind::Nothing},
    {"", "--subscribe", ValueKind::Clients},
    {"", "--timeout", ValueKind::Nothing},
    {"", "--to", ValueKind::ClientsOrBus},
    {"", "--type", ValueKind::Nothing},
    {"", "--wait-for-bus", ValueKind::Nothing},
    {"", "COMMAND", ValueKind::Commands},
    {"", "DATA", ValueKind::Nothing},
    {"", "FILE", ValueKind::Files},
    {"settings diff", "FROM", ValueKind::SettingsOwnersOrFiles},
    {"settings diff", "TO", ValueKind::SettingsOwnersOrFiles},
    {"settings", "GROUP", ValueKind::SettingsGroups},
    {"settings", "KEY", ValueKind::SettingsKeys},
    {"new-service", "NAME", ValueKind::Nothing},
    {"wait client", "NAME", ValueKind::Clients},
    {"fault clear", "NUMBER", ValueKind::FaultNumbers},
    // These verbs are also for clients that have no settings or no state yet.
    {"settings edit", "OWNER", ValueKind::Clients},
    {"settings set", "OWNER", ValueKind::Clients},
    {"settings watch", "OWNER", ValueKind::Clients},
    {"state watch", "OWNER", ValueKind::Clients},
    {"wait", "OWNER", ValueKind::Clients},
    {"settings", "OWNER", ValueKind::SettingsOwners},
    {"state", "OWNER", ValueKind::StateOwners},
    {"", "RECEIVER", ValueKind::Clients},
    {"", "TEXT", ValueKind::Nothing},
    {"settings", "VALUE", ValueKind::SettingsValue},
    {"fault add", "WORD", ValueKind::FaultRule},
};

bool isOf(const std::string& verb, const std::string& group)
{
    return group.empty() || verb == group || verb.compare(0, group.size() + 1, group + ' ') == 0;
}

} // namespace

ValueKind valueKind(const std::string& verb, const std::string& name)
{
    const auto* const found = std::find_if(std::begin(RULES), std::end(RULES), [&](const Rule& rule) {
        return name == rule.name && isOf(verb, rule.verb);
    });
    return found == std::end(RULES) ? ValueKind::Unknown : found->kind;
}

QStringList valueWords(const std::string& name)
{
    static const std::map<std::string, QStringList> words{
        {"--color", {QStringLiteral("auto"), QStringLiteral("always"), QStringLiteral("never")}},
        {"--level", {QStringLiteral("info"), QStringLiteral("warning"), QStringLiteral("error")}},
        {"--speed", {QStringLiteral("max")}},
    };
    const auto found = words.find(name);
    return found == words.end() ? QStringList() : found->second;
}

QString kindName(ValueKind kind)
{
    switch (kind) {
    case ValueKind::Unknown:
        break;
    case ValueKind::Nothing:
        return QStringLiteral("nothing");
    case ValueKind::Words:
        return QStringLiteral("words");
    case ValueKind::Files:
        return QStringLiteral("files");
    case ValueKind::Clients:
        return QStringLiteral("clients");
    case ValueKind::ClientsOrBus:
        return QStringLiteral("clientsOrBus");
    case ValueKind::SettingsOwners:
        return QStringLiteral("settingsOwners");
    case ValueKind::SettingsOwnersOrFiles:
        return QStringLiteral("settingsOwnersOrFiles");
    case ValueKind::StateOwners:
        return QStringLiteral("stateOwners");
    case ValueKind::SettingsGroups:
        return QStringLiteral("settingsGroups");
    case ValueKind::SettingsKeys:
        return QStringLiteral("settingsKeys");
    case ValueKind::SettingsValue:
        return QStringLiteral("settingsValue");
    case ValueKind::Commands:
        return QStringLiteral("commands");
    case ValueKind::Operations:
        return QStringLiteral("operations");
    case ValueKind::FaultRule:
        return QStringLiteral("faultRule");
    case ValueKind::FaultNumbers:
        return QStringLiteral("faultNumbers");
    case ValueKind::Interfaces:
        return QStringLiteral("interfaces");
    case ValueKind::DataOrFile:
        return QStringLiteral("dataOrFile");
    }
    return QStringLiteral("unknown");
}

} // namespace tarvexctl
