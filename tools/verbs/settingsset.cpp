#include "busclient.h"
#include "jsonvalue.h"
#include "output.h"
#include "programwords.h"
#include "records/clientsettings.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QDateTime>

using tarvex::ClientSettings;

namespace tarvexctl {

namespace {

/// One setting to store.
struct Change
{
    QVariant value;
    QString owner;
    QString group; ///< May be empty, because a setting needs no group.
    QString key;
    std::optional<QString> description; ///< Of the whole record. Without it the stored one stays.
};

void merge(const Change& change, ClientSettings& settings)
{
    QVariantMap keys;
    keys.insert(change.key, change.value);
    QVariantMap groups;
    groups.insert(change.group, keys);
    settings.setFormattedSettings(groups, false);

    // The bus takes group and key as one path. A stored setting may have the same path with the slash at another place.
    // Merging changes nothing then.
    if (!settings.formattedSettings().value(change.group).toMap().contains(change.key)) {
        throw Failure(WrongUse,
                      Words::tr("\"%1/%2\" is stored already, with the slash between group and key at another place")
                          .arg(change.group, change.key));
    }
}

void report(const Change& change, bool wasStored, Output& output)
{
    QVariantMap done;
    done.insert(QStringLiteral("done"), QStringLiteral("settings set"));
    done.insert(QStringLiteral("owner"), change.owner);
    done.insert(QStringLiteral("group"), change.group);
    done.insert(QStringLiteral("key"), change.key);
    done.insert(QStringLiteral("value"), change.value);
    done.insert(QStringLiteral("newRecord"), !wasStored);
    output.report(done,
                  (wasStored ? Words::tr("saved %1/%2 = %3 in the settings of %4")
                             : Words::tr("saved %1/%2 = %3 in the settings of %4 (its first)"))
                      .arg(change.group, change.key, jsonText(change.value), change.owner));
}

/// Merges one setting into the stored record, and starts a record for an owner that has none. When the stored record
/// cannot be read for another reason, nothing is saved.
class SettingsSet : public Verb
{
public:
    SettingsSet() : Verb("settings set", Words::mark("Stores one setting, beside those that are stored")) { }

    void addOptions(CLI::App& parser) override
    {
        m_owner.addTo(parser);
        m_group.addTo(parser);
        m_key.addTo(parser);
        m_value.addTo(parser);
        addFlag(parser, "--string", m_valueIsText, Words::mark("Takes VALUE as a text even if it is JSON"));
        m_description.addTo(parser);
        addExample(parser, "tarvexctl settings set ticket_printer paper width 80");
    }

    void run(const Context& context) const override
    {
        const Change change{value(), m_owner.nonEmptyText(), m_group.text(), m_key.nonEmptyText(),
                            m_description.text()};
        BusClient bus(context.clientName);
        const std::optional<ClientSettings> stored = bus.loadSettings(change.owner);
        ClientSettings settings = stored.value_or(ClientSettings());
        merge(change, settings);
        settings.setOwner(change.owner);
        settings.setDt(QDateTime::currentDateTime());
        if (change.description) {
            settings.setDescription(*change.description);
        }
        bus.saveSettings(settings);
        report(change, stored.has_value(), context.output);
    }

private:
    QVariant value() const
    {
        const QString text = m_value.text();
        if (m_valueIsText) {
            return text;
        }
        tellOfBrokenJson(text);
        return jsonOrText(text);
    }

    Argument m_owner{"OWNER", Words::mark("The client's name")};
    Argument m_group{"GROUP", Words::mark("The setting's group; may be empty")};
    Argument m_key{"KEY", Words::mark("The setting's name within the group")};
    Argument m_value{"VALUE", Words::mark("The value: JSON, or else a text")};
    bool m_valueIsText = false;
    OptionalText m_description{"--description", Words::mark("A new description of the client's settings"), "TEXT"};
};

} // namespace

std::unique_ptr<Verb> makeSettingsSet()
{
    return std::make_unique<SettingsSet>();
}

} // namespace tarvexctl
