#include "busclient.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"
#include "settingsfile.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QHash>
#include <QStringList>

using tarvex::ClientSettings;

namespace tarvexctl {

namespace {

/// Tells of each record that was saved. When stdout does not take an object, the words for it and for all further
/// records go to stderr.
class Report
{
public:
    explicit Report(Output& output) : m_output(output) { }

    void tellSaved(const ClientSettings& settings);

    /// Whether stdout has taken everything.
    bool isComplete() const { return m_isComplete; }

private:
    Output& m_output;
    bool m_isComplete = true;
};

void Report::tellSaved(const ClientSettings& settings)
{
    const QString words = Words::tr("saved the settings of %1: %2").arg(settings.owner(), valueCount(settings));
    if (!m_isComplete) {
        complain(words);
        return;
    }
    try {
        m_output.report({{QStringLiteral("done"), QStringLiteral("settings load")},
                         {QStringLiteral("owner"), settings.owner()},
                         {QStringLiteral("count"), settings.settings().size()}},
                        words);
    } catch (const Failure& failure) {
        tellFailure(failure.words());
        m_isComplete = false;
    }
}

/// Saves the records. Each replaces what its owner had before. When the bus refuses a record, or when stdout does not
/// take what is written, stderr says so and the others are still saved.
void save(const QList<ClientSettings>& records, const Context& context)
{
    BusClient bus(context.clientName);
    QHash<QString, ClientSettings> byOwner;
    QStringList owners;
    for (const ClientSettings& settings : records) {
        owners.append(settings.owner());
        byOwner.insert(settings.owner(), settings);
    }
    Report report(context.output);
    forEachOwner(owners, [&](const QString& owner) {
        const ClientSettings settings = byOwner.value(owner);
        bus.saveSettings(settings);
        report.tellSaved(settings);
    });
    if (!report.isComplete()) {
        throw Failure(Refused, QString());
    }
}

class SettingsLoad : public Verb
{
public:
    SettingsLoad() : Verb("settings load", Words::mark("Saves records as settings get and export write them")) { }

    void addOptions(CLI::App& parser) override
    {
        m_file.addTo(parser);
        addExample(parser, "tarvexctl settings load <settings.jsonl");
    }

    void run(const Context& context) const override
    {
        const QString fileName = m_file.text().value_or(QStringLiteral("-"));
        requireName(fileName, QStringLiteral("FILE"));
        save(settingsFromFile(fileName), context);
    }

private:
    OptionalText m_file{"FILE", Words::mark("The file with the records; stdin when it is - or missing")};
};

} // namespace

std::unique_ptr<Verb> makeSettingsLoad()
{
    return std::make_unique<SettingsLoad>();
}

} // namespace tarvexctl
