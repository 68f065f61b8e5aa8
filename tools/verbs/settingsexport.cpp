#include "busclient.h"
#include "controlclient.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"
#include "settingsfile.h"
#include "settingsrecord.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

using tarvex::ClientSettings;

namespace tarvexctl {

namespace {

/// The file to write to. Nothing for stdout.
using FileName = std::optional<QString>;

/// False as well for a device and a pipe, which keep nothing.
bool isRegularFile(const FileName& fileName)
{
    return fileName && QFileInfo(*fileName).isFile();
}

/// Throws Failure when the file is there, because it may hold more than what would be written now.
void keepFile(const FileName& fileName, const QString& reason)
{
    if (isRegularFile(fileName)) {
        throw Failure(Refused, Words::tr("%1, so %2 is left as it is").arg(reason, *fileName));
    }
}

/// The owners whose settings the bus lists. For a bus that cannot list them, these are all names that the library
/// knows, and stderr says so.
QStringList listedOwners(const FileName& fileName)
{
    const auto told = askControlSocket({{QStringLiteral("request"), QStringLiteral("settings")}});
    if (!told) {
        keepFile(fileName, Words::tr("this bus does not list what it stores"));
        tellOfKnownNamesOnly();
        return supportedClients();
    }
    QStringList owners;
    for (const QVariantMap& item : *told) {
        owners.append(item.value(QStringLiteral("owner")).toString());
    }
    return owners;
}

/// Every record that is stored for the listed owners. Throws Failure when \a fileName is there and may lose records.
QList<ClientSettings> allRecords(BusClient& bus, const FileName& fileName)
{
    QList<ClientSettings> records;
    const QStringList owners = listedOwners(fileName);
    for (const QString& owner : owners) {
        const std::optional<ClientSettings> settings = bus.loadSettings(owner);
        if (settings) { // they may have been removed since the bus listed them
            records.append(*settings);
        }
    }
    if (records.isEmpty()) {
        keepFile(fileName, Words::tr("no settings are stored"));
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
            throw Failure(Refused, Words::tr("%1 has no settings; nothing is exported").arg(owner));
        }
        records.append(*settings);
    }
    return records;
}

bool writeText(QFileDevice& file, const QByteArray& text)
{
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush();
}

/// Replaces a file when all of it is written, so a failure leaves the former file as it was. A device or a pipe is
/// written to, because a file in its place would be something else.
void writeFile(const QString& fileName, const QByteArray& text)
{
    QFile inPlace(fileName);
    QSaveFile replacing(fileName);
    const bool mayReplace = !inPlace.exists() || isRegularFile(fileName);
    const bool isWritten = mayReplace ? writeText(replacing, text) && replacing.commit() : writeText(inPlace, text);
    if (!isWritten) {
        const QString reason = mayReplace ? replacing.errorString() : inPlace.errorString();
        throw Failure(WrongUse, Words::tr("cannot write %1: %2").arg(fileName, reason));
    }
}

/// Names each record that "settings import" would refuse. Throws Failure without words when there is one.
void requireImportable(const QList<ClientSettings>& records)
{
    bool isImportable = true;
    for (const ClientSettings& record : records) {
        const QString problem = entriesProblem(record.settings());
        if (!problem.isEmpty()) {
            tellFailure(Words::tr("%1: %2; correct this in the document, because settings import refuses it")
                            .arg(record.owner(), problem));
            isImportable = false;
        }
    }
    if (!isImportable) {
        throw Failure(Refused, QString());
    }
}

/// Writes the records of several owners as one document.
class SettingsExport : public Verb
{
public:
    SettingsExport() : Verb("settings export", Words::mark("Writes the settings of clients as one document")) { }

    void addOptions(CLI::App& parser) override
    {
        parser
            .add_option("OWNER", m_owners,
                        Words::tr("Clients' names; all that have settings when there is none").toStdString())
            ->type_name("");
        m_file.addTo(parser);
        addExample(parser, "tarvexctl settings export --output settings.json");
    }

    void run(const Context& context) const override
    {
        QStringList owners = ownersFrom(m_owners);
        owners.removeDuplicates();
        const FileName fileName = m_file.text();
        requireName(fileName.value_or(QStringLiteral("stdout")), QStringLiteral("--output"));
        BusClient bus(context.clientName);
        const QList<ClientSettings> records = owners.isEmpty() ? allRecords(bus, fileName) : recordsOf(owners, bus);
        if (fileName) {
            writeFile(*fileName, documentText(records));
            report(*fileName, records, context.output);
        } else if (context.output.isJson()) {
            context.output.writeObject(documentObject(records));
        } else {
            context.output.writeRecord(QString::fromUtf8(documentText(records)));
        }
        if (records.isEmpty()) {
            complain(Words::tr("no settings are stored; the document holds no record"));
        }
        requireImportable(records);
    }

private:
    static void report(const QString& fileName, const QList<ClientSettings>& records, Output& output)
    {
        QStringList owners;
        for (const ClientSettings& record : records) {
            owners.append(record.owner());
        }
        output.report({{QStringLiteral("done"), QStringLiteral("settings export")},
                       {QStringLiteral("file"), fileName},
                       {QStringLiteral("owners"), owners}},
                      Words::tr("wrote the settings of %1 to %2")
                          .arg(owners.isEmpty() ? Words::tr("nobody") : owners.join(QLatin1String(", ")), fileName));
    }

    std::vector<std::string> m_owners;
    OptionalText m_file{"--output", Words::mark("Writes to this file; it is replaced at once when all is written"),
                        "FILE"};
};

} // namespace

std::unique_ptr<Verb> makeSettingsExport()
{
    return std::make_unique<SettingsExport>();
}

} // namespace tarvexctl
