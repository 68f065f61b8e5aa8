#include "busclient.h"
#include "controlclient.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <functional>

using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

/// Asks for \a owner's record. \return the item to be listed; an empty map when nothing is stored
using Load = std::function<QVariantMap(BusClient& bus, const QString& owner)>;

QVariantMap loadSettingsItem(BusClient& bus, const QString& owner)
{
    const std::optional<ClientSettings> settings = bus.loadSettings(owner);
    if (!settings) {
        return {};
    }
    return {{QStringLiteral("owner"), owner},
            {QStringLiteral("count"), settings->settings().size()},
            {QStringLiteral("date"), settings->toVariantMap().value(QStringLiteral("date"))},
            {QStringLiteral("description"), settings->description()}};
}

QVariantMap loadStateItem(BusClient& bus, const QString& owner)
{
    ClientState state;
    if (!bus.askForStored([&](TarvexQueryHandler& handler) { return handler.loadState(owner, state); })) {
        return {};
    }
    return state.toVariantMap();
}

struct List
{
    QString request; ///< For the control socket.
    Load load;       ///< For a bus without a control socket.
    QStringList header;
    QStringList columns; ///< The keys of an item.
    QString nothing;     ///< What to say when there is no item.
};

QList<QVariantMap> askForKnownNames(const QString& clientName, const Load& load)
{
    BusClient bus(clientName);
    tellOfKnownNamesOnly();
    QList<QVariantMap> items;
    for (const QString& owner : supportedClients()) {
        const QVariantMap item = load(bus, owner);
        if (!item.isEmpty()) {
            items.append(item);
        }
    }
    return items;
}

/// Lists what is stored for all owners. A bus that cannot tell which owners it has is asked for each name that the
/// library knows, and stderr says so.
class ListVerb : public Verb
{
public:
    ListVerb(const char* words, const char* help, List list) : Verb(words, help), m_list(std::move(list)) { }

    void addOptions(CLI::App& parser) override { addExample(parser, "tarvexctl " + words()); }

    void run(const Context& context) const override
    {
        const auto told = askControlSocket({{QStringLiteral("request"), m_list.request}});
        const QList<QVariantMap> items = told ? *told : askForKnownNames(context.clientName, m_list.load);
        context.output.writeTable(m_list.header, items, [this](const QVariantMap& item) {
            QStringList row;
            for (const QString& column : m_list.columns) {
                row.append(item.value(column).toString());
            }
            return row;
        });
        if (items.isEmpty()) {
            complain(m_list.nothing);
        }
    }

private:
    const List m_list;
};

} // namespace

std::unique_ptr<Verb> makeSettingsList()
{
    return std::make_unique<ListVerb>(
        "settings list", Words::mark("Shows whose settings are stored"),
        List{QStringLiteral("settings"),
             loadSettingsItem,
             {Words::tr("WRITTEN"), Words::tr("OWNER"), Words::tr("VALUES"), Words::tr("DESCRIPTION")},
             {QStringLiteral("date"), QStringLiteral("owner"), QStringLiteral("count"), QStringLiteral("description")},
             Words::tr("no settings are stored")});
}

std::unique_ptr<Verb> makeStateList()
{
    return std::make_unique<ListVerb>(
        "state list", Words::mark("Shows all states that are stored"),
        List{QStringLiteral("states"),
             loadStateItem,
             {Words::tr("TAKEN"), Words::tr("OWNER"), Words::tr("TYPE"), Words::tr("DESCRIPTION"), Words::tr("STATE")},
             {QStringLiteral("date"), QStringLiteral("owner"), QStringLiteral("type"), QStringLiteral("description"),
              QStringLiteral("state")},
             Words::tr("no states are stored")});
}

} // namespace tarvexctl
