#include "settingsverbs.h"

#include "arguments.h"
#include "busclient.h"
#include "failure.h"
#include "output.h"
#include "owners.h"
#include "records/clientsettings.h"

#include <QDateTime>

using tarvex::ClientSettings;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

QString settingsText(const ClientSettings& settings)
{
    QString text = fieldLines(
        {{QStringLiteral("Owner"), settings.owner()},
         {QStringLiteral("Written"), timeText(settings.dt())},
         {QStringLiteral("Description"), settings.description()},
         {QStringLiteral("Mail owner"), settings.mailOwner() ? QStringLiteral("yes") : QStringLiteral("no")}});
    QList<QStringList> rows{{QStringLiteral("GROUP"), QStringLiteral("KEY"), QStringLiteral("VALUE")}};
    const QList<QVariant> entries = settings.settings();
    for (const QVariant& entry : entries) {
        const QVariantMap map = entry.toMap();
        rows.append({cellText(map.value(QStringLiteral("group")).toString()),
                     cellText(map.value(QStringLiteral("key")).toString()),
                     visible(jsonText(map.value(QStringLiteral("value"))))});
    }
    return text + tableLines(rows);
}

void mergeChange(const SettingChange& change, ClientSettings& settings)
{
    QVariantMap keys;
    keys.insert(change.key, change.value);
    QVariantMap groups;
    groups.insert(change.group, keys);
    settings.setFormattedSettings(groups, false);

    // Group and key are one path to the bus, and the stored setting with that path may be cut elsewhere: merging then
    // changes nothing.
    if (!settings.formattedSettings().value(change.group).toMap().contains(change.key)) {
        throw Failure(
            WrongUse,
            QStringLiteral("\"%1/%2\" is stored already, with the slash between group and key at another place")
                .arg(change.group, change.key));
    }
}

/// Throws Failure when there is no such setting.
void removeEntries(const SettingPath& path, ClientSettings& settings)
{
    QList<QVariant> kept;
    const QList<QVariant> entries = settings.settings();
    for (const QVariant& entry : entries) {
        const QVariantMap map = entry.toMap();
        if (map.value(QStringLiteral("group")).toString() != path.group
            || map.value(QStringLiteral("key")).toString() != path.key) {
            kept.append(entry);
        }
    }
    if (kept.size() == entries.size()) {
        throw Failure(
            Refused,
            QStringLiteral("there is no setting %1/%2 in the settings of %3").arg(path.group, path.key, path.owner));
    }
    settings.setSettings(kept);
}

} // namespace

void getSettings(const QString& clientName, const QStringList& owners, Output& output)
{
    const QStringList names = ownersOrSelf(owners, clientName);
    BusClient bus(clientName);
    forEachOwner(names, [&](const QString& owner) {
        ClientSettings settings;
        bus.ask([&](TarvexQueryHandler& handler) { return handler.loadSettings(owner, settings); });
        if (output.isJson()) {
            output.writeObject(settings.toVariantMap());
        } else {
            output.writeRecord(settingsText(settings));
        }
    });
}

void setSetting(const QString& clientName, const SettingChange& change, Output& output)
{
    requireName(change.owner, QStringLiteral("OWNER"));
    requireName(change.key, QStringLiteral("KEY"));
    BusClient bus(clientName);
    ClientSettings settings;
    const bool wasStored =
        bus.askForStored([&](TarvexQueryHandler& handler) { return handler.loadSettings(change.owner, settings); });
    mergeChange(change, settings);
    settings.setOwner(change.owner);
    settings.setDt(QDateTime::currentDateTime());
    if (change.description) {
        settings.setDescription(*change.description);
    }
    bus.ask([&](TarvexQueryHandler& handler) { return handler.saveSettings(settings); });

    QVariantMap done;
    done.insert(QStringLiteral("done"), QStringLiteral("settings set"));
    done.insert(QStringLiteral("owner"), change.owner);
    done.insert(QStringLiteral("group"), change.group);
    done.insert(QStringLiteral("key"), change.key);
    done.insert(QStringLiteral("value"), change.value);
    done.insert(QStringLiteral("newRecord"), !wasStored);
    output.report(done,
                  QStringLiteral("saved %1/%2 = %3 in the settings of %4%5")
                      .arg(change.group, change.key, jsonText(change.value), change.owner,
                           wasStored ? QString() : QStringLiteral(" (its first)")));
}

void unsetSetting(const QString& clientName, const SettingPath& path, Output& output)
{
    requireName(path.owner, QStringLiteral("OWNER"));
    requireName(path.key, QStringLiteral("KEY"));
    BusClient bus(clientName);
    ClientSettings settings;
    bus.ask([&](TarvexQueryHandler& handler) { return handler.loadSettings(path.owner, settings); });
    removeEntries(path, settings);
    settings.setDt(QDateTime::currentDateTime());
    bus.ask([&](TarvexQueryHandler& handler) { return handler.saveSettings(settings); });

    QVariantMap done;
    done.insert(QStringLiteral("done"), QStringLiteral("settings unset"));
    done.insert(QStringLiteral("owner"), path.owner);
    done.insert(QStringLiteral("group"), path.group);
    done.insert(QStringLiteral("key"), path.key);
    output.report(done, QStringLiteral("removed %1/%2 from the settings of %3").arg(path.group, path.key, path.owner));
}

void removeSettings(const QString& clientName, const QString& owner, Output& output)
{
    requireName(owner, QStringLiteral("OWNER"));
    BusClient bus(clientName);
    bus.ask([&](TarvexQueryHandler& handler) { return handler.removeSettings(owner); });

    QVariantMap done;
    done.insert(QStringLiteral("done"), QStringLiteral("settings remove"));
    done.insert(QStringLiteral("owner"), owner);
    output.report(done, QStringLiteral("removed the settings of %1").arg(owner));
}

} // namespace tarvexctl
