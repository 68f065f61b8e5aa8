#include "busclient.h"
#include "output.h"
#include "programwords.h"
#include "records/clientsettings.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QDateTime>

using tarvex::ClientSettings;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

struct SettingPath
{
    QString owner;
    QString group;
    QString key;
};

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
            Words::tr("there is no setting %1/%2 in the settings of %3").arg(path.group, path.key, path.owner));
    }
    settings.setSettings(kept);
}

/// Removes one setting from what is stored. Without such a setting nothing is saved.
class SettingsUnset : public Verb
{
public:
    SettingsUnset() : Verb("settings unset", Words::mark("Removes one setting; the others stay")) { }

    void addOptions(CLI::App& parser) override
    {
        m_owner.addTo(parser);
        m_group.addTo(parser);
        m_key.addTo(parser);
        addExample(parser, "tarvexctl settings unset ticket_printer paper width");
    }

    void run(const Context& context) const override
    {
        const SettingPath path{m_owner.nonEmptyText(), m_group.text(), m_key.nonEmptyText()};
        BusClient bus(context.clientName);
        ClientSettings settings;
        bus.ask([&](TarvexQueryHandler& handler) { return handler.loadSettings(path.owner, settings); });
        removeEntries(path, settings);
        settings.setDt(QDateTime::currentDateTime());
        bus.saveSettings(settings);

        QVariantMap done;
        done.insert(QStringLiteral("done"), QStringLiteral("settings unset"));
        done.insert(QStringLiteral("owner"), path.owner);
        done.insert(QStringLiteral("group"), path.group);
        done.insert(QStringLiteral("key"), path.key);
        context.output.report(done,
                              Words::tr("removed %1/%2 from the settings of %3").arg(path.group, path.key, path.owner));
    }

private:
    Argument m_owner{"OWNER", Words::mark("The client's name")};
    Argument m_group{"GROUP", Words::mark("The setting's group; may be empty")};
    Argument m_key{"KEY", Words::mark("The setting's name within the group")};
};

class SettingsRemove : public Verb
{
public:
    SettingsRemove() : Verb("settings remove", Words::mark("Removes all settings of a client")) { }

    void addOptions(CLI::App& parser) override
    {
        m_owner.addTo(parser);
        addExample(parser, "tarvexctl settings remove ticket_printer");
    }

    void run(const Context& context) const override
    {
        const QString owner = m_owner.nonEmptyText();
        BusClient bus(context.clientName);
        bus.ask([&](TarvexQueryHandler& handler) { return handler.removeSettings(owner); });

        QVariantMap done;
        done.insert(QStringLiteral("done"), QStringLiteral("settings remove"));
        done.insert(QStringLiteral("owner"), owner);
        context.output.report(done, Words::tr("removed the settings of %1").arg(owner));
    }

private:
    Argument m_owner{"OWNER", Words::mark("The client's name")};
};

} // namespace

std::unique_ptr<Verb> makeSettingsUnset()
{
    return std::make_unique<SettingsUnset>();
}

std::unique_ptr<Verb> makeSettingsRemove()
{
    return std::make_unique<SettingsRemove>();
}

} // namespace tarvexctl
