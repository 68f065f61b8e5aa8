#include "busclient.h"
#include "interrupts.h"
#include "output.h"
#include "privatefile.h"
#include "programwords.h"
#include "settingsdifference.h"
#include "settingsfile.h"
#include "storedsettings.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

using tarvex::ClientSettings;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

/// One record to import.
struct Step
{
    ClientSettings record;
    OptionalSettings before; ///< What the owner had.
    SettingsDifference difference;
};

using Steps = QList<Step>;

/// The records that differ from what is stored.
Steps stepsFor(const QList<ClientSettings>& records, BusClient& bus)
{
    Steps steps;
    for (const ClientSettings& record : records) {
        const OptionalSettings before = bus.loadSettings(record.owner());
        const SettingsDifference difference(before, record);
        if (!difference.isEmpty()) {
            steps.append({record, before, difference});
        }
    }
    return steps;
}

/// Saves the record. Throws Failure when a signal is held back, and when somebody else has saved or removed the
/// settings since they were read. \a isSent is true once the bus may have got the record.
void saveUnlessChanged(const Step& step, BusClient& bus, bool& isSent)
{
    if (InterruptsHeldBack::isInterrupted()) {
        throw Failure(Interrupted, Words::tr("not saved, because of an interruption"));
    }
    const StoredChange change = changeSince(step.before, step.record.owner(), bus);
    if (change != StoredChange::None) {
        throw Failure(Refused,
                      change == StoredChange::Saved ? Words::tr("saved meanwhile; what is stored is left as it is")
                                                    : Words::tr("removed meanwhile; what is stored is left as it is"));
    }
    isSent = true;
    bus.saveSettings(step.record);
}

/// Gives an owner back what it had. Throws Failure when what is stored comes from somebody else, because that must
/// stay.
void putBack(const Step& step, BusClient& bus)
{
    const OptionalSettings now = bus.loadSettings(step.record.owner());
    if (isSameRecord(now, step.before)) {
        return; // the bus has not saved the record whose answer was lost
    }
    if (!isSameRecord(now, step.record)) {
        throw Failure(Refused,
                      (changeOf(now) == StoredChange::Saved ? Words::tr("%1 was saved meanwhile")
                                                            : Words::tr("%1 was removed meanwhile"))
                          .arg(step.record.owner()));
    }
    if (step.before) {
        bus.saveSettings(*step.before);
    } else {
        bus.ask([&](TarvexQueryHandler& handler) { return handler.removeSettings(step.record.owner()); });
    }
}

/// The words about records that could not be put back. What was stored before is written to a file that stays.
QString lossWords(const Steps& lost)
{
    QStringList owners;
    QList<ClientSettings> before;
    for (const Step& step : lost) {
        owners.append(step.record.owner());
        if (step.before) {
            before.append(*step.before);
        }
    }
    QString words = Words::tr("the settings of %1 may not be what they were").arg(owners.join(QLatin1String(", ")));
    if (before.isEmpty()) {
        return words;
    }
    try {
        PrivateFile file(QStringLiteral("settings-before.json"), documentText(before));
        file.keep();
        return Words::tr("%1; what was stored before is in %2, for settings import").arg(words, file.path());
    } catch (const Failure& failure) {
        return Words::tr("%1; what was stored before: %2").arg(words, failure.words());
    }
}

/// Saves the records, all of them or none.
class Import
{
public:
    Import(QString clientName, Steps steps) : m_clientName(std::move(clientName)), m_steps(std::move(steps)) { }

    /// Throws Failure when a record is not saved, as saveUnlessChanged() does. Those that were saved are put back then.
    void run(BusClient& bus);

private:
    Failure undone(const Failure& failure, int savedCount);
    Steps putBackAll(int count, QStringList& reasons) const;

    const QString m_clientName;
    const Steps m_steps;
};

void Import::run(BusClient& bus)
{
    for (int number = 0; number < m_steps.size(); ++number) {
        const Step& step = m_steps.at(number);
        bool isSent = false;
        try {
            saveUnlessChanged(step, bus, isSent);
        } catch (const Failure& failure) {
            // Without an answer nobody knows whether this record was saved, so it is put back as well.
            const bool mayBeSaved = isSent && (failure.status() == NoBus || failure.status() == TimedOut);
            throw undone(
                Failure(failure.status(), step.record.owner() + QLatin1String(": ") + failure.words(), failure.code()),
                mayBeSaved ? number + 1 : number);
        }
    }
}

/// Puts the first records back. \return \a failure with what became of them
Failure Import::undone(const Failure& failure, int savedCount)
{
    QStringList reasons;
    const Steps lost = putBackAll(savedCount, reasons);
    QString words = failure.words() + QStringLiteral("; ");
    if (lost.isEmpty()) {
        words += savedCount == 0 ? Words::tr("nothing was saved")
                                 : Words::tr("what was saved before that is put back: all is as it was");
    } else {
        words +=
            Words::tr("not all could be put back (%1): %2").arg(reasons.join(QLatin1String(", ")), lossWords(lost));
    }
    return Failure(failure.status(), words, failure.code());
}

/// \return those that could not be put back. The connection is a new one, because the other one may be lost.
Steps Import::putBackAll(int count, QStringList& reasons) const
{
    int left = count;
    Steps lost;
    try {
        BusClient bus(m_clientName);
        for (; left > 0; --left) {
            try {
                putBack(m_steps.at(left - 1), bus);
            } catch (const Failure& failure) {
                if (failure.status() != Refused) {
                    throw;
                }
                lost.prepend(m_steps.at(left - 1));
                reasons.append(failure.words());
            }
        }
    } catch (const Failure& failure) {
        // The bus has gone. Trying again for each record could take half a minute each time.
        reasons.append(failure.words());
        lost = m_steps.mid(0, left) + lost;
    }
    return lost;
}

/// Says that a record is not saved because it is stored already.
void tellOfSame(const QList<ClientSettings>& records, const Steps& steps)
{
    const int same = records.size() - steps.size();
    if (same > 0) {
        complain((same == 1 ? Words::tr("%1 of %2 records is stored like this already")
                            : Words::tr("%1 of %2 records are stored like this already"))
                     .arg(QString::number(same), QString::number(records.size())));
    }
}

/// Saves the records of a file, all of them or none.
class SettingsImport : public Verb
{
public:
    SettingsImport() : Verb("settings import", Words::mark("Saves the records of a file: all of them or none")) { }

    void addOptions(CLI::App& parser) override
    {
        m_file.addTo(parser);
        addFlag(parser, "--dry-run", m_isDryRun, Words::mark("Shows what would change, and saves nothing"));
        addExample(parser, "tarvexctl settings import settings.json --dry-run");
    }

    void run(const Context& context) const override
    {
        const QList<ClientSettings> records = settingsFromFile(m_file.nonEmptyText());
        BusClient bus(context.clientName);
        const Steps steps = stepsFor(records, bus);
        tellOfSame(records, steps);
        if (m_isDryRun) {
            show(steps, context.output);
            return;
        }
        save(steps, bus, context.clientName);
        report(steps, context.output);
    }

private:
    static void save(const Steps& steps, BusClient& bus, const QString& clientName)
    {
        const InterruptsHeldBack heldBack;
        try {
            Import(clientName, steps).run(bus);
        } catch (const Failure& failure) {
            if (InterruptsHeldBack::isInterrupted()) {
                tellFailure(failure.words()); // the signal ends the program at the end of this function
            }
            throw;
        }
        if (InterruptsHeldBack::isInterrupted()) {
            complain(Words::tr("all records were saved before the interruption"));
        }
    }

    static QVariantMap object(const Step& step, const QString& done)
    {
        return {{QStringLiteral("done"), done}, {QStringLiteral("owner"), step.record.owner()}};
    }

    static void show(const Steps& steps, Output& output)
    {
        for (const Step& step : steps) {
            step.difference.write(output, {step.record.owner()},
                                  object(step, QStringLiteral("settings import --dry-run")));
        }
        if (!steps.isEmpty()) {
            complain(Words::tr("nothing is saved, because of --dry-run"));
        }
    }

    /// When stdout does not take a difference, the words for it and for all further records go to stderr.
    static void report(const Steps& steps, Output& output)
    {
        bool isComplete = true;
        for (const Step& step : steps) {
            const QString words =
                Words::tr("saved the settings of %1: %2").arg(step.record.owner(), step.difference.count());
            if (!isComplete) {
                tellFailure(words);
                continue;
            }
            try {
                step.difference.report(output, words, {step.record.owner()},
                                       object(step, QStringLiteral("settings import")));
            } catch (const Failure& failure) {
                tellFailure(failure.words());
                isComplete = false;
            }
        }
        if (!isComplete) {
            throw Failure(Refused, QString());
        }
    }

    Argument m_file{"FILE", Words::mark("A file of settings export or get; - is stdin")};
    bool m_isDryRun = false;
};

} // namespace

std::unique_ptr<Verb> makeSettingsImport()
{
    return std::make_unique<SettingsImport>();
}

} // namespace tarvexctl
