#include "boundedwork.h"
#include "busclient.h"
#include "controlclient.h"
#include "exchange.h"
#include "follower.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"
#include "states.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QHash>
#include <QLocale>

#include <memory>

using tarvex::ClientState;

namespace tarvexctl {

namespace {

/// So that all of it fits on a screen.
constexpr int MAX_ROWS = 40;
constexpr int MAX_STATE_LENGTH = 40;

using Objects = QList<QVariantMap>;
using Fields = QList<QPair<QString, QString>>;

/// What is known about the bus. What it does not tell is empty.
struct Picture
{
    std::optional<QVariantMap> about; ///< Of a development bus.
    std::optional<Objects> clients;   ///< The same.
    Objects states;
    std::optional<double> answerMs;
    std::optional<Failure> failure; ///< Why the picture is not complete.
};

std::optional<Objects> tellOf(const char* what, const QDeadlineTimer& deadline)
{
    return askControlSocket({{QStringLiteral("request"), QLatin1String(what)}},
                            qMax(static_cast<int>(deadline.remainingTime()), 1));
}

/// What a development bus tells about itself. It is asked before this program connects, which would be seen in it.
void askDevelopmentBus(const QDeadlineTimer& deadline, Picture& picture)
{
    try {
        picture.clients = tellOf("clients", deadline);
        if (picture.clients) {
            picture.states = tellOf("states", deadline).value_or(Objects());
        }
    } catch (const Failure& failure) {
        picture.failure = failure;
    }
    try {
        const auto about = tellOf("about", deadline);
        picture.about = about ? std::optional<QVariantMap>(about->value(0)) : std::nullopt;
    } catch (const Failure& failure) {
        picture.about = QVariantMap(); // there is a development bus, and it does not tell more
        picture.failure = picture.failure ? picture.failure : failure;
    }
}

/// Runs \a work, which may hang, and notes why it failed. \return whether it has ended
bool tryWork(const QDeadlineTimer& deadline, Picture& picture, const std::function<void()>& work)
{
    try {
        if (runWithin(static_cast<int>(deadline.remainingTime()), work)) {
            return true;
        }
        picture.failure = busIsSilent();
        return false;
    } catch (const Failure& failure) {
        picture.failure = failure;
        return true;
    }
}

/// \return whether the measurement has ended
bool measure(const QString& clientName, const QDeadlineTimer& deadline, Picture& picture)
{
    const auto milliseconds = std::make_shared<std::optional<double>>();
    const bool hasEnded = tryWork(deadline, picture, [clientName, milliseconds] {
        BusClient bus(clientName);
        *milliseconds = measureExchange(bus, clientName);
    });
    if (hasEnded) {
        picture.answerMs = *milliseconds;
    }
    return hasEnded;
}

/// Asks a bus that does not list its states for those of the known names. \return whether this has ended
bool askForKnownStates(const QString& clientName, const QDeadlineTimer& deadline, Picture& picture)
{
    complain(Words::tr("this bus does not tell who is there; only the states of the %1 names that the library "
                       "knows are asked for")
                 .arg(supportedClients().size()));
    const auto states = std::make_shared<Objects>();
    const bool hasEnded = tryWork(deadline, picture, [clientName, states] {
        BusClient bus(clientName);
        for (const QString& owner : supportedClients()) {
            const ClientState state = loadState(bus, owner);
            if (state.isValid()) {
                states->append(state.toVariantMap());
            }
        }
    });
    if (hasEnded) {
        picture.states = *states;
    }
    return hasEnded;
}

QString ageText(const QDateTime& since)
{
    const qint64 seconds = qMax<qint64>(since.secsTo(QDateTime::currentDateTime()), 0);
    const qint64 minutes = seconds / 60;
    const qint64 hours = minutes / 60;
    if (hours >= 48) {
        return Words::tr("%n days", nullptr, static_cast<int>(hours / 24));
    }
    if (hours > 0) {
        return Words::tr("%1 h %2 min").arg(hours).arg(minutes % 60);
    }
    return minutes > 0 ? Words::tr("%1 min").arg(minutes) : Words::tr("%1 s").arg(seconds);
}

QString storageText(const QVariantMap& about)
{
    const QString path = about.value(QStringLiteral("storage")).toString();
    const QString error = about.value(QStringLiteral("storageError")).toString();
    const QString place = path.isEmpty() ? Words::tr("in memory") : path;
    if (!error.isEmpty()) {
        return Words::tr("%1 FAILS: %2").arg(place, error);
    }
    const qint64 bytes = about.value(QStringLiteral("storageBytes")).toLongLong();
    return QStringLiteral("%1, %2").arg(place, QLocale::c().formattedDataSize(bytes, 1));
}

Fields developmentBusFields(const QVariantMap& about)
{
    if (about.isEmpty()) {
        return {{Words::tr("Bus"), Words::tr("development bus")}};
    }
    // The bus may have another TZ than this program, so its local time is not to be compared.
    const QDateTime since =
        QDateTime::fromString(about.value(QStringLiteral("startedAtUtc")).toString(), Qt::ISODateWithMs).toLocalTime();
    return {
        {Words::tr("Bus"),
         Words::tr("development bus %1, process %2")
             .arg(about.value(QStringLiteral("version")).toString(), about.value(QStringLiteral("pid")).toString())},
        {Words::tr("Running"), Words::tr("since %1 (%2)").arg(timeText(since), ageText(since))},
        {Words::tr("Storage"), storageText(about)},
        {Words::tr("Traffic"),
         Words::tr("connections %1, requests so far %2, acknowledged messages %3")
             .arg(about.value(QStringLiteral("connections")).toString(),
                  about.value(QStringLiteral("requests")).toString(),
                  about.value(QStringLiteral("acknowledged")).toString())}};
}

QString connectionsText(const QVariantMap& client)
{
    const int queries = client.value(QStringLiteral("queryConnections")).toInt();
    const bool hasReceiver = !client.value(QStringLiteral("receiverSince")).toString().isEmpty();
    if (queries == 0) {
        return hasReceiver ? Words::tr("receiver only") : QString();
    }
    const QString words = hasReceiver ? Words::tr("both") : Words::tr("query only");
    return queries > 1 ? Words::tr("%1 (%2 query)").arg(words).arg(queries) : words;
}

QString positive(const QVariant& number)
{
    return number.toInt() > 0 ? number.toString() : QString();
}

QString shortText(const QString& text)
{
    return text.size() > MAX_STATE_LENGTH ? text.left(MAX_STATE_LENGTH - 1) + QChar(0x2026) : text;
}

QStringList stateCells(const QVariantMap& state)
{
    return {state.value(QStringLiteral("date")).toString(), state.value(QStringLiteral("type")).toString(),
            shortText(state.value(QStringLiteral("state")).toString())};
}

QStringList stateHeader()
{
    return {Words::tr("STATE SINCE"), Words::tr("TYPE"), Words::tr("STATE")};
}

QList<QStringList> clientRows(const Picture& picture)
{
    QHash<QString, QVariantMap> states;
    for (const QVariantMap& state : picture.states) {
        states.insert(state.value(QStringLiteral("owner")).toString(), state);
    }
    QList<QStringList> rows{QStringList{Words::tr("CLIENT"), Words::tr("CONNECTIONS"), Words::tr("WAITING"),
                                        Words::tr("TAKEN", "the name, so often")}
                            + stateHeader()};
    for (const QVariantMap& client : *picture.clients) {
        const QString name = client.value(QStringLiteral("name")).toString();
        rows.append(QStringList{name, connectionsText(client), positive(client.value(QStringLiteral("waiting"))),
                                positive(client.value(QStringLiteral("takeovers")))}
                    + stateCells(states.value(name)));
    }
    return rows;
}

QList<QStringList> stateRows(const Objects& states)
{
    QList<QStringList> rows{QStringList{Words::tr("CLIENT")} + stateHeader()};
    for (const QVariantMap& state : states) {
        rows.append(QStringList{state.value(QStringLiteral("owner")).toString()} + stateCells(state));
    }
    return rows;
}

/// The table, without what does not fit on a screen.
QString tableText(QList<QStringList> rows)
{
    const int left = rows.size() - 1 - MAX_ROWS;
    if (left > 0) {
        rows.erase(rows.begin() + MAX_ROWS + 1, rows.end());
    }
    for (int row = 1; row < rows.size(); ++row) {
        for (QString& cell : rows[row]) {
            cell = cellText(cell);
        }
    }
    const QString rest =
        Words::tr("and %1 more: see \"tarvexctl clients\" and \"tarvexctl state list\"").arg(left) + QLatin1Char('\n');
    return tableLines(rows) + (left > 0 ? rest : QString());
}

QString text(const Picture& picture)
{
    Fields fields = picture.about
        ? developmentBusFields(*picture.about)
        : Fields{{Words::tr("Bus"), Words::tr("another one than a development bus of this user")}};
    fields.append(
        {Words::tr("Answer"),
         picture.answerMs ? Words::tr("after %1").arg(millisecondsText(*picture.answerMs)) : Words::tr("none")});
    QString lines = fieldLines(fields);
    if (picture.clients && !picture.clients->isEmpty()) {
        lines += QLatin1Char('\n') + tableText(clientRows(picture));
    } else if (!picture.clients && !picture.states.isEmpty()) {
        lines += QLatin1Char('\n') + tableText(stateRows(picture.states));
    }
    return lines;
}

QVariantList listOf(const Objects& objects)
{
    QVariantList list;
    for (const QVariantMap& object : objects) {
        list.append(object);
    }
    return list;
}

QVariantMap object(const Picture& picture)
{
    QVariantMap object{{QStringLiteral("bus"), picture.about ? QStringLiteral("development") : QStringLiteral("other")},
                       {QStringLiteral("states"), listOf(picture.states)}};
    if (picture.about && !picture.about->isEmpty()) {
        object.insert(QStringLiteral("about"), *picture.about);
    }
    if (picture.clients) {
        object.insert(QStringLiteral("clients"), listOf(*picture.clients));
    }
    if (picture.answerMs) {
        object.insert(QStringLiteral("answerMs"), *picture.answerMs);
    }
    return object;
}

Failure noBus(const Failure& failure)
{
    return Failure(failure.status(),
                   Words::tr("%1; \"tarvex-devbus\" starts a development bus, \"tarvexctl --help\" shows the verbs")
                       .arg(failure.words()));
}

class Status : public Verb
{
public:
    Status()
        : Verb("status", Words::mark("Shows the bus, its clients and their states at a glance; also without a verb"))
    {
    }

    void addOptions(CLI::App& parser) override
    {
        m_timeout.addTo(parser);
        addExample(parser, "tarvexctl status");
    }

    void run(const Context& context) const override
    {
        const QDeadlineTimer deadline(m_timeout.milliseconds());
        Picture picture;
        askDevelopmentBus(deadline, picture);
        bool hasEnded = measure(context.clientName, deadline, picture);
        if (picture.failure && !picture.about) {
            end(noBusOrSilence(*picture.failure), hasEnded);
        }
        if (hasEnded && !picture.about) {
            hasEnded = askForKnownStates(context.clientName, deadline, picture);
        }
        if (context.output.isJson()) {
            context.output.writeObject(object(picture));
        } else {
            context.output.writeRecord(text(picture));
        }
        if (picture.failure) {
            end(*picture.failure, hasEnded);
        }
    }

private:
    static Failure noBusOrSilence(const Failure& failure)
    {
        return failure.status() == NoBus ? noBus(failure) : failure;
    }

    /// Ends the verb, with a thread that may be blocked.
    [[noreturn]] static void end(const Failure& failure, bool hasEnded)
    {
        if (hasEnded) {
            throw failure;
        }
        tellFailure(failure.words());
        leaveAtOnce(failure.status());
    }

    TimeoutOption m_timeout{Words::mark("How many seconds to wait for the bus"), "5"};
};

} // namespace

std::unique_ptr<Verb> makeStatus()
{
    return std::make_unique<Status>();
}

} // namespace tarvexctl
