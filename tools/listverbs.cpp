#include "listverbs.h"

#include "busclient.h"
#include "controlclient.h"
#include "output.h"
#include "owners.h"

#include <functional>

using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

/// Asks for \a owner's record. \return what is listed of it; an empty map when nothing is stored.
using Load = std::function<QVariantMap(BusClient& bus, const QString& owner)>;

QVariantMap loadSettingsItem(BusClient& bus, const QString& owner)
{
    ClientSettings settings;
    if (!bus.askForStored([&](TarvexQueryHandler& handler) { return handler.loadSettings(owner, settings); })) {
        return {};
    }
    return {{QStringLiteral("owner"), owner},
            {QStringLiteral("count"), settings.settings().size()},
            {QStringLiteral("date"), settings.toVariantMap().value(QStringLiteral("date"))},
            {QStringLiteral("description"), settings.description()}};
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
    QString request; ///< Of the control socket.
    Load load;       ///< Where there is none.
    QStringList header;
    QStringList columns; ///< The keys of an item.
    QString nothing;     ///< To be said when there is none.
};

QList<QVariantMap> askForKnownNames(const QString& clientName, const Load& load)
{
    BusClient bus(clientName);
    complain(QStringLiteral("this bus does not list what it stores; only the %1 names that the library knows are asked "
                            "for")
                 .arg(supportedClients().size()));
    QList<QVariantMap> items;
    for (const QString& owner : supportedClients()) {
        const QVariantMap item = load(bus, owner);
        if (!item.isEmpty()) {
            items.append(item);
        }
    }
    return items;
}

void write(const QString& clientName, const List& list, Output& output)
{
    const auto told = askControlSocket({{QStringLiteral("request"), list.request}});
    const QList<QVariantMap> items = told ? *told : askForKnownNames(clientName, list.load);
    output.writeTable(list.header, items, [&list](const QVariantMap& item) {
        QStringList row;
        for (const QString& column : list.columns) {
            row.append(item.value(column).toString());
        }
        return row;
    });
    if (items.isEmpty()) {
        complain(list.nothing);
    }
}

} // namespace

void listSettings(const QString& clientName, Output& output)
{
    write(
        clientName,
        {QStringLiteral("settings"),
         loadSettingsItem,
         {QStringLiteral("WRITTEN"), QStringLiteral("OWNER"), QStringLiteral("VALUES"), QStringLiteral("DESCRIPTION")},
         {QStringLiteral("date"), QStringLiteral("owner"), QStringLiteral("count"), QStringLiteral("description")},
         QStringLiteral("no settings are stored")},
        output);
}

void listStates(const QString& clientName, Output& output)
{
    write(clientName,
          {QStringLiteral("states"),
           loadStateItem,
           {QStringLiteral("TAKEN"), QStringLiteral("OWNER"), QStringLiteral("TYPE"), QStringLiteral("DESCRIPTION"),
            QStringLiteral("STATE")},
           {QStringLiteral("date"), QStringLiteral("owner"), QStringLiteral("type"), QStringLiteral("description"),
            QStringLiteral("state")},
           QStringLiteral("no states are stored")},
          output);
}

} // namespace tarvexctl
