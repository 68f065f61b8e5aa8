#include "arguments.h"
#include "busclient.h"
#include "follower.h"
#include "messages.h"
#include "output.h"
#include "programwords.h"
#include "settingsdifference.h"
#include "settingsfile.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>
#include <QDateTime>
#include <QHash>

using tarvex::ClientSettings;
using tarvex::TarvexQueryHandler;

namespace tarvexctl {

namespace {

constexpr int MIN_INTERVAL_MS = 50;
constexpr int MAX_INTERVAL_MS = 3600000;
const char* const DEFAULT_INTERVAL = "1000";
/// The names of a request for several owners travel joined by this character.
const QLatin1Char LIST_SEPARATOR(',');

/// Looks at the settings of the owners again and again, and writes what has changed since the last look. The bus tells
/// only the owner that its settings were saved, so there is no other way to learn of it.
class SettingsWatcher : public FollowerTask
{
public:
    SettingsWatcher(const QStringList& owners, int intervalMs, const Limits& limits, Output& output);

    void onConnected(Follower& follower, BusClient& bus, bool isFirst) override;

    void onMessage(Follower&, const Message& message) override { tellOfStray(message); }

    void onLeaving() override { m_bus.reset(); }

    QString timeOutWords() const override { return m_tally.missingWords(Words::tr("no change came")); }

private:
    using Records = QHash<QString, OptionalSettings>;

    Records load(BusClient& bus) const;
    void tellOfStart() const;
    void lookLater(Follower& follower);
    void look(Follower& follower);
    void show(Follower& follower, const Records& records);
    void write(const QString& owner, const OptionalSettings& settings, const SettingsDifference& difference);

    const QStringList m_owners;
    QStringList m_listed; ///< The owners that can be asked for in one exchange.
    QStringList m_single; ///< The others.
    const int m_intervalMs;
    Tally m_tally;
    Output& m_output;
    std::optional<BusClient> m_bus; ///< Kept between two looks.
    Records m_known;
};

SettingsWatcher::SettingsWatcher(const QStringList& owners, int intervalMs, const Limits& limits, Output& output)
    : m_owners(owners), m_intervalMs(intervalMs), m_tally(limits), m_output(output)
{
    for (const QString& owner : owners) {
        (owner.contains(LIST_SEPARATOR) ? m_single : m_listed).append(owner);
    }
}

void SettingsWatcher::onConnected(Follower& follower, BusClient& bus, bool isFirst)
{
    m_bus.reset();
    const Records records = load(bus);
    if (isFirst) {
        m_known = records;
        tellOfStart();
    } else {
        show(follower, records);
    }
    lookLater(follower);
}

SettingsWatcher::Records SettingsWatcher::load(BusClient& bus) const
{
    Records records;
    if (!m_listed.isEmpty()) {
        QList<ClientSettings> stored;
        bus.ask([&](TarvexQueryHandler& handler) { return handler.loadSettings(m_listed, stored); });
        for (const ClientSettings& settings : qAsConst(stored)) {
            records.insert(settings.owner(), settings);
        }
    }
    for (const QString& owner : m_single) {
        records.insert(owner, bus.loadSettings(owner));
    }
    return records;
}

void SettingsWatcher::tellOfStart() const
{
    QStringList parts;
    for (const QString& owner : m_owners) {
        const OptionalSettings settings = m_known.value(owner);
        parts.append(QStringLiteral("%1 (%2)").arg(owner, settings ? valueCount(*settings) : Words::tr("no settings")));
    }
    complain(Words::tr("watching the settings of %1").arg(parts.join(QLatin1String(", "))));
}

void SettingsWatcher::lookLater(Follower& follower)
{
    follower.callLater(m_intervalMs, [this, &follower] { look(follower); });
}

void SettingsWatcher::look(Follower& follower)
{
    if (!follower.isReceiving()) {
        return; // the bus has gone, and onConnected() will start again
    }
    try {
        if (!m_bus) {
            m_bus.emplace(follower.clientName());
        }
        show(follower, load(*m_bus));
    } catch (const Failure& failure) {
        m_bus.reset();
        // When the bus has gone, the receiving connection tells of it.
        if (failure.status() != NoBus && failure.status() != TimedOut) {
            follower.end(failure);
            return;
        }
    }
    lookLater(follower);
}

void SettingsWatcher::show(Follower& follower, const Records& records)
{
    for (const QString& owner : m_owners) {
        const OptionalSettings settings = records.value(owner);
        const SettingsDifference difference(m_known.value(owner), settings);
        if (!difference.isEmpty() && !m_tally.isFull()) {
            m_known.insert(owner, settings);
            write(owner, settings, difference);
            follower.count(m_tally);
        }
    }
}

void SettingsWatcher::write(const QString& owner, const OptionalSettings& settings,
                            const SettingsDifference& difference)
{
    const QString date = timeText(settings ? settings->dt() : QDateTime::currentDateTime());
    difference.write(m_output, {QStringLiteral("%1  %2").arg(date, owner)},
                     {{QStringLiteral("owner"), owner}, {QStringLiteral("date"), date}});
}

class SettingsWatch : public Verb
{
public:
    SettingsWatch() : Verb("settings watch", Words::mark("Shows each change of the settings of clients"), Receives) { }

    void addOptions(CLI::App& parser) override
    {
        parser.add_option("OWNER", m_owners, Words::tr("Clients' names").toStdString())->type_name("")->required();
        parser
            .add_option("--interval", m_interval,
                        Words::tr("Looks again after so many milliseconds, 50 to 3600000").toStdString())
            ->type_name("MS")
            ->default_str(DEFAULT_INTERVAL);
        m_limits.addTo(parser);
        addExample(parser, "tarvexctl settings watch ticket_printer --count 1");
    }

    void run(const Context& context) const override
    {
        const Limits limits = m_limits.limits();
        QStringList owners = ownersFrom(m_owners);
        owners.removeDuplicates();
        SettingsWatcher watcher(owners, intervalMs(), limits, context.output);
        follow(context.clientName, watcher, limits.timeoutMs);
    }

private:
    int intervalMs() const
    {
        const QString given = text(m_interval.value_or(DEFAULT_INTERVAL));
        bool isNumber = false;
        const int milliseconds = given.toInt(&isNumber);
        if (!isNumber || milliseconds < MIN_INTERVAL_MS || milliseconds > MAX_INTERVAL_MS) {
            throw Failure(WrongUse,
                          Words::tr("--interval must be a whole number of milliseconds from %1 to %2, not \"%3\"")
                              .arg(QString::number(MIN_INTERVAL_MS), QString::number(MAX_INTERVAL_MS), given));
        }
        return milliseconds;
    }

    std::vector<std::string> m_owners;
    std::optional<std::string> m_interval;
    LimitOptions m_limits{Words::mark("Ends after so many changes")};
};

} // namespace

std::unique_ptr<Verb> makeSettingsWatch()
{
    return std::make_unique<SettingsWatch>();
}

} // namespace tarvexctl
