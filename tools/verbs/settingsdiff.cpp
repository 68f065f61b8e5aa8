#include "busclient.h"
#include "output.h"
#include "programwords.h"
#include "settingsdifference.h"
#include "settingsfile.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QMap>

using tarvex::ClientSettings;

namespace tarvexctl {

namespace {

/// The records of one side, by owner.
using Records = QMap<QString, ClientSettings>;

/// One side of the comparison: an owner on the bus, or a file.
struct Side
{
    QString name;
    bool isFile;
};

bool isFileName(const QString& text)
{
    return text == QLatin1String("-") || text.contains(QLatin1Char('/')) || text.endsWith(QLatin1String(".json"))
        || text.endsWith(QLatin1String(".jsonl"));
}

Records recordsOf(const Side& side, std::optional<BusClient>& bus, const QString& clientName)
{
    Records records;
    if (side.isFile) {
        const QList<ClientSettings> list = settingsFromFile(side.name);
        for (const ClientSettings& record : list) {
            records.insert(record.owner(), record);
        }
        return records;
    }
    if (!bus) {
        bus.emplace(clientName);
    }
    const OptionalSettings settings = bus->loadSettings(side.name);
    if (!settings) {
        throw Failure(Refused, Words::tr("%1 has no settings").arg(side.name));
    }
    records.insert(side.name, *settings);
    return records;
}

/// The record of \a owner, or the only record.
ClientSettings recordFor(const QString& owner, const Records& records, const Side& side)
{
    if (records.size() > 1 && !records.contains(owner)) {
        throw Failure(WrongUse, Words::tr("there is no record of %1 in %2").arg(owner, shownFileName(side.name)));
    }
    return records.value(owner, records.first());
}

OptionalSettings recordIn(const Records& records, const QString& owner)
{
    const auto found = records.constFind(owner);
    return found == records.constEnd() ? std::nullopt : OptionalSettings(*found);
}

QString shownSide(const Side& side, const QString& owner)
{
    return side.isFile ? Words::tr("%1 in %2").arg(owner, shownFileName(side.name)) : owner;
}

/// Compares two sides and writes what differs.
class Comparison
{
public:
    Comparison(Side before, Side after, Output& output)
        : m_before(std::move(before)), m_after(std::move(after)), m_output(output)
    {
    }

    /// \return whether anything differs
    bool run(const QString& clientName);

private:
    void compareAll(const Records& before, const Records& after);
    void compare(const QString& ownerBefore, const OptionalSettings& before, const QString& ownerAfter,
                 const OptionalSettings& after);

    const Side m_before;
    const Side m_after;
    Output& m_output;
    bool m_isDifferent = false;
};

bool Comparison::run(const QString& clientName)
{
    std::optional<BusClient> bus;
    const Records before = recordsOf(m_before, bus, clientName);
    const Records after = recordsOf(m_after, bus, clientName);
    if (m_before.isFile && m_after.isFile && (before.size() > 1 || after.size() > 1)) {
        compareAll(before, after);
    } else {
        const ClientSettings one = recordFor(after.firstKey(), before, m_before);
        const ClientSettings other = recordFor(before.firstKey(), after, m_after);
        compare(one.owner(), one, other.owner(), other);
    }
    return m_isDifferent;
}

void Comparison::compareAll(const Records& before, const Records& after)
{
    Records all = before;
    all.insert(after);
    for (auto record = all.cbegin(); record != all.cend(); ++record) {
        compare(record.key(), recordIn(before, record.key()), record.key(), recordIn(after, record.key()));
    }
}

void Comparison::compare(const QString& ownerBefore, const OptionalSettings& before, const QString& ownerAfter,
                         const OptionalSettings& after)
{
    const SettingsDifference difference(before, after);
    if (difference.isEmpty()) {
        return;
    }
    m_isDifferent = true;
    const QString from = shownSide(m_before, ownerBefore);
    const QString to = shownSide(m_after, ownerAfter);
    difference.write(m_output, {QLatin1String("--- ") + from, QLatin1String("+++ ") + to},
                     {{QStringLiteral("from"), from}, {QStringLiteral("to"), to}});
}

/// Shows what differs between two records, as diff does for files.
class SettingsDiff : public Verb
{
public:
    SettingsDiff() : Verb("settings diff", Words::mark("Shows what differs between two settings records or files")) { }

    void addOptions(CLI::App& parser) override
    {
        m_before.addTo(parser);
        m_after.addTo(parser);
        addFlag(parser, "--owners", m_areOwners,
                Words::mark("FROM and TO are clients' names, whatever they look like"));
        addFooter(parser,
                  Words::mark("A name with a slash, or one that ends with .json or .jsonl, is a file, and - is stdin; "
                              "any other name is a client's. The exit status is 1 when something differs."));
        addExample(parser, "tarvexctl settings diff ticket_printer ./settings.json");
    }

    void run(const Context& context) const override
    {
        const Side before = side(m_before.nonEmptyText());
        const Side after = side(m_after.nonEmptyText());
        if (before.isFile && before.name == QLatin1String("-") && after.name == before.name) {
            throw Failure(WrongUse, Words::tr("only one of FROM and TO can be stdin"));
        }
        if (Comparison(before, after, context.output).run(context.clientName)) {
            throw Failure(Refused, QString()); // the words are the lines on stdout
        }
    }

private:
    Side side(const QString& name) const { return {name, !m_areOwners && isFileName(name)}; }

    Argument m_before{"FROM", Words::mark("A client's name, or a file")};
    Argument m_after{"TO", Words::mark("The same")};
    bool m_areOwners = false;
};

} // namespace

std::unique_ptr<Verb> makeSettingsDiff()
{
    return std::make_unique<SettingsDiff>();
}

} // namespace tarvexctl
