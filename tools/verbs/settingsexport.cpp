#include "busclient.h"
#include "controlclient.h"
#include "output.h"
#include "owners.h"
#include "settingsfile.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>
#include <QSaveFile>

using tarvex::ClientSettings;

namespace tarvexctl {

namespace {

/// The owners whose settings the bus lists. For a bus that cannot list them, these are all names that the library
/// knows, and stderr says so.
QStringList listedOwners()
{
    const auto told = askControlSocket({{QStringLiteral("request"), QStringLiteral("settings")}});
    if (!told) {
        tellOfKnownNamesOnly();
        return supportedClients();
    }
    QStringList owners;
    for (const QVariantMap& item : *told) {
        owners.append(item.value(QStringLiteral("owner")).toString());
    }
    return owners;
}

/// Every record that is stored for the listed owners.
QList<ClientSettings> allRecords(BusClient& bus)
{
    QList<ClientSettings> records;
    const QStringList owners = listedOwners();
    for (const QString& owner : owners) {
        const std::optional<ClientSettings> settings = bus.loadSettings(owner);
        if (settings) { // they may have been removed since the bus listed them
            records.append(*settings);
        }
    }
    return records;
}

/// The records of these owners. Throws Failure when one has none.
QList<ClientSettings> recordsOf(const QStringList& owners, BusClient& bus)
{
    QList<ClientSettings> records;
    for (const QString& owner : owners) {
        const std::optional<ClientSettings> settings = bus.loadSettings(owner);
        if (!settings) {
            throw Failure(Refused, QStringLiteral("%1 has no settings; nothing is exported").arg(owner));
        }
        records.append(*settings);
    }
    return records;
}

/// Replaces the file when all of it is written, so a failure leaves the former file as it was.
void writeFile(const QString& fileName, const QByteArray& text)
{
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
        throw Failure(WrongUse, QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString()));
    }
}

/// Writes the records of several owners as one document.
class SettingsExport : public Verb
{
public:
    SettingsExport() : Verb("settings export", "Writes the settings of clients as one document") { }

    void addOptions(CLI::App& parser) override
    {
        parser.add_option("OWNER", m_owners, "Clients' names; all that have settings when there is none")
            ->type_name("");
        m_file.addTo(parser);
        addExample(parser, "tarvexctl settings export --output settings.json");
    }

    void run(const Context& context) const override
    {
        QStringList owners = ownersFrom(m_owners);
        owners.removeDuplicates();
        const std::optional<QString> fileName = m_file.text();
        requireName(fileName.value_or(QStringLiteral("stdout")), QStringLiteral("--output"));
        BusClient bus(context.clientName);
        const QList<ClientSettings> records = owners.isEmpty() ? allRecords(bus) : recordsOf(owners, bus);
        if (fileName) {
            writeFile(*fileName, documentText(records));
            report(*fileName, records, context.output);
        } else if (context.output.isJson()) {
            context.output.writeObject(documentObject(records));
        } else {
            context.output.writeRecord(QString::fromUtf8(documentText(records)));
        }
        if (records.isEmpty()) {
            complain(QStringLiteral("no settings are stored; the document holds no record"));
        }
    }

private:
    static void report(const QString& fileName, const QList<ClientSettings>& records, Output& output)
    {
        QStringList owners;
        for (const ClientSettings& record : records) {
            owners.append(record.owner());
        }
        output.report(
            {{QStringLiteral("done"), QStringLiteral("settings export")},
             {QStringLiteral("file"), fileName},
             {QStringLiteral("owners"), owners}},
            QStringLiteral("wrote the settings of %1 to %2")
                .arg(owners.isEmpty() ? QStringLiteral("nobody") : owners.join(QLatin1String(", ")), fileName));
    }

    std::vector<std::string> m_owners;
    OptionalText m_file{"--output", "Writes to this file; it is replaced at once when all is written", "FILE"};
};

} // namespace

std::unique_ptr<Verb> makeSettingsExport()
{
    return std::make_unique<SettingsExport>();
}

} // namespace tarvexctl
