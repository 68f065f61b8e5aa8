#include "busclient.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"
#include "records/clientsettings.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

using tarvex::ClientSettings;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

QString settingsText(const ClientSettings& settings)
{
    QString text = fieldLines({{Words::tr("Owner"), settings.owner()},
                               {Words::tr("Written"), timeText(settings.dt())},
                               {Words::tr("Description"), settings.description()},
                               {Words::tr("Mail owner"), settings.mailOwner() ? Words::tr("yes") : Words::tr("no")}});
    QList<QStringList> rows{{Words::tr("GROUP"), Words::tr("KEY"), Words::tr("VALUE")}};
    const QList<QVariant> entries = settings.settings();
    for (const QVariant& entry : entries) {
        const QVariantMap map = entry.toMap();
        rows.append({cellText(map.value(QStringLiteral("group")).toString()),
                     cellText(map.value(QStringLiteral("key")).toString()),
                     visible(jsonText(map.value(QStringLiteral("value"))))});
    }
    return text + tableLines(rows);
}

class SettingsGet : public Verb
{
public:
    SettingsGet() : Verb("settings get", Words::mark("Shows the settings of clients")) { }

    void addOptions(CLI::App& parser) override
    {
        m_owners.addTo(parser);
        addExample(parser, "tarvexctl settings get ticket_printer");
    }

    void run(const Context& context) const override
    {
        const QStringList owners = m_owners.names(context.clientName);
        BusClient bus(context.clientName);
        forEachOwner(owners, [&](const QString& owner) {
            ClientSettings settings;
            bus.ask([&](TarvexQueryHandler& handler) { return handler.loadSettings(owner, settings); });
            if (context.output.isJson()) {
                context.output.writeObject(settings.toVariantMap());
            } else {
                context.output.writeRecord(settingsText(settings));
            }
        });
    }

private:
    OwnersArgument m_owners;
};

} // namespace

std::unique_ptr<Verb> makeSettingsGet()
{
    return std::make_unique<SettingsGet>();
}

} // namespace tarvexctl
