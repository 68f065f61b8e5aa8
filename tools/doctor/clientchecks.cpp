#include "doctor/checks.h"
#include "programwords.h"

#include "supportedclients.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>

#include <algorithm>

namespace tarvexctl::doctor {

namespace {

/// The bus pushes at most so many messages without an acknowledgement.
constexpr int MAX_UNACKNOWLEDGED = 64;
/// A bus that is asked again and again may be busy for so long.
constexpr qint64 SILENCE_TOLERANCE_MS = 1000;
/// More missing clients than these are told in one finding, which names so many of them.
constexpr int MAX_NAMED = 3;

/// With one decimal.
QString secondsText(qint64 milliseconds)
{
    return QString::number(static_cast<double>(milliseconds) / 1000, 'f', 1);
}

QString nameOf(const QVariantMap& client)
{
    return client.value(QStringLiteral("name")).toString();
}

int waitingFor(const QVariantMap& client)
{
    return client.value(QStringLiteral("waiting")).toInt();
}

/// "1 message waits"
QString waitingText(int count)
{
    return Words::counted(count, Words::tr("1 message waits"), Words::markCount("%n messages wait"));
}

int takeoversOf(const QVariantMap& client)
{
    return client.value(QStringLiteral("takeovers")).toInt();
}

QVariantMap clientFacts(const QVariantMap& client)
{
    return {{QStringLiteral("client"), nameOf(client)},
            {QStringLiteral("waiting"), client.value(QStringLiteral("waiting"))}};
}

Finding missingFinding(const QVariantMap& client, bool isUnknown)
{
    const QString name = nameOf(client);
    return {QStringLiteral("clients.missing"), Severity::Wrong,
            (isUnknown ? Words::tr("\"%1\" has never been there, and %2 for it")
                       : Words::tr("\"%1\" has no receiving connection, and %2 for it"))
                .arg(name, waitingText(waitingFor(client))),
            isUnknown ? Words::tr("Look for this name in the services that send, because it may be mistyped; "
                                  "otherwise start that service.")
                      : Words::tr("Start that service, or find out why it does not receive."),
            clientFacts(client)};
}

/// The names of tarvexctl's own runs: after a send the answers wait for them, because nobody takes them.
bool isOwnName(const QString& name)
{
    static const QRegularExpression own(QStringLiteral("^tarvexctl(-[0-9]+)?$"));
    return own.match(name).hasMatch();
}

int waitingFor(const QList<QVariantMap>& clients)
{
    int count = 0;
    for (const QVariantMap& client : clients) {
        count += waitingFor(client);
    }
    return count;
}

/// \a names are those that nobody has ever had.
QString mistypedWords(const QStringList& names)
{
    const int others = names.size() - 1;
    return (others == 0
                ? Words::tr("Nobody has ever been %1, so %1 may be mistyped.")
                : Words::counted(others, Words::tr("Nobody has ever been %1 and 1 other, so %1 may be mistyped."),
                                 Words::markCount("Nobody has ever been %1 and %n others, so %1 may be mistyped.")))
        .arg(names.first());
}

Finding manyMissingFinding(const QList<QVariantMap>& missing, const QStringList& unknown)
{
    QStringList names;
    QVariantList facts;
    for (const QVariantMap& client : missing) {
        names.append(nameOf(client));
        facts.append(clientFacts(client));
    }
    QStringList mistyped;
    std::copy_if(names.begin(), names.end(), std::back_inserter(mistyped),
                 [&](const QString& name) { return unknown.contains(name); });
    const QString advice = Words::tr("Start these services, or find out why they do not receive.");

    return {QStringLiteral("clients.missing"),
            Severity::Wrong,
            Words::tr("%1 for %2 clients that do not receive: %3 and %4 more")
                .arg(waitingText(waitingFor(missing)), QString::number(names.size()),
                     names.mid(0, MAX_NAMED).join(QStringLiteral(", ")), QString::number(names.size() - MAX_NAMED)),
            mistyped.isEmpty() ? advice : advice + QLatin1Char(' ') + mistypedWords(mistyped),
            {{QStringLiteral("clients"), facts}, {QStringLiteral("waiting"), waitingFor(missing)}}};
}

/// On a desk without a log service, log lines wait all the time.
Finding logFinding(const QVariantMap& client)
{
    return {
        QStringLiteral("clients.log"), Severity::Note,
        Words::tr("nobody receives the log, and %1 for \"%2\"").arg(waitingText(waitingFor(client)), nameOf(client)),
        Words::tr("Start the log service, or show the log with tarvexctl log --stand-in."), clientFacts(client)};
}

Finding answersFinding(const QList<QVariantMap>& own)
{
    return {QStringLiteral("clients.answers"),
            Severity::Note,
            Words::tr("%1 for tarvexctl itself, which has ended").arg(waitingText(waitingFor(own))),
            Words::tr("Leave them, because they are answers to what was sent; or take them with "
                      "tarvexctl --as %1 listen --timeout 1.")
                .arg(nameOf(own.first())),
            {{QStringLiteral("waiting"), waitingFor(own)}}};
}

/// Those for whom messages wait and who do not receive.
void addMissing(const ControlAnswers& control, Findings& findings)
{
    QList<QVariantMap> missing;
    QList<QVariantMap> own;
    for (const QVariantMap& client : control.clients) {
        if (!isMissing(client)) {
            continue;
        }
        if (nameOf(client) == tarvex::BUSNAME_LOGGER) {
            findings.append(logFinding(client));
        } else {
            (isOwnName(nameOf(client)) ? own : missing).append(client);
        }
    }
    if (missing.size() > MAX_NAMED) {
        findings.append(manyMissingFinding(missing, control.unknown));
    } else {
        for (const QVariantMap& client : qAsConst(missing)) {
            findings.append(missingFinding(client, control.unknown.contains(nameOf(client))));
        }
    }
    if (!own.isEmpty()) {
        findings.append(answersFinding(own));
    }
}

/// The other findings about one client.
void addClient(const QVariantMap& client, Findings& findings)
{
    const bool receives = !client.value(QStringLiteral("receiverSince")).toString().isEmpty();
    const int waiting = waitingFor(client);
    if (receives && waiting >= MAX_UNACKNOWLEDGED) {
        findings.append(
            {QStringLiteral("clients.behind"), Severity::Note,
             Words::tr("\"%1\" is there, and %n messages wait for it", nullptr, waiting).arg(nameOf(client)),
             Words::tr("See whether that service hangs, or is slower than what is sent to it."), clientFacts(client)});
    } else if (!receives && !isMissing(client) && client.value(QStringLiteral("subscriptions")).toInt() > 0) {
        findings.append({QStringLiteral("clients.subscribed"), Severity::Note,
                         Words::tr("\"%1\" has no receiving connection and is still subscribed").arg(nameOf(client)),
                         Words::tr("Start that service, or let it unsubscribe, because the bus keeps for it what "
                                   "is published."),
                         clientFacts(client)});
    }
}

/// Two processes with the same command line are connected: most likely the same service, started twice. It works with
/// every bus. Services that are told their name by an argument have different command lines.
void addTwins(const QList<Socket>& connections, Findings& findings)
{
    QHash<QString, QSet<qint64>> byCommandLine;
    for (const Socket& socket : connections) {
        // The children that have inherited the connection are left out.
        const auto first =
            std::min_element(socket.holders.begin(), socket.holders.end(),
                             [](const Process& one, const Process& other) { return one.pid < other.pid; });
        if (first != socket.holders.end() && !first->commandLine.isEmpty()) {
            byCommandLine[first->commandLine].insert(first->pid);
        }
    }
    for (auto twins = byCommandLine.cbegin(); twins != byCommandLine.cend(); ++twins) {
        if (twins->size() < 2) {
            continue;
        }
        QList<qint64> pids = twins->values();
        std::sort(pids.begin(), pids.end());
        QStringList texts;
        QVariantList numbers;
        for (const qint64 pid : qAsConst(pids)) {
            texts.append(QString::number(pid));
            numbers.append(pid);
        }
        findings.append({QStringLiteral("names.twins"),
                         Severity::Note,
                         Words::tr("the same command line runs in several connected processes: %1 (%2)")
                             .arg(twins.key().left(200), texts.join(QStringLiteral(", "))),
                         Words::tr("Check that they do not have the same name on the bus, and end all but one if "
                                   "they do."),
                         {{QStringLiteral("commandLine"), twins.key()}, {QStringLiteral("pids"), numbers}}});
    }
}

QHash<QString, int> takeoversByName(const QList<QVariantMap>& clients)
{
    QHash<QString, int> takeovers;
    for (const QVariantMap& client : clients) {
        takeovers.insert(nameOf(client), takeoversOf(client));
    }
    return takeovers;
}

Finding takeoverFinding(const QVariantMap& client, int risen, qint64 afterMs)
{
    const QVariantMap facts{{QStringLiteral("client"), nameOf(client)},
                            {QStringLiteral("takeovers"), takeoversOf(client)},
                            {QStringLiteral("risen"), risen}};
    if (risen > 0) {
        return {QStringLiteral("names.fight"), Severity::Wrong,
                Words::tr("two processes fight for the name \"%1\": it was taken again while doctor looked")
                    .arg(nameOf(client)),
                Words::tr("End one of the two processes, because each gets only a part of the messages."), facts};
    }
    return {QStringLiteral("names.taken"), Severity::Note,
            Words::counted(takeoversOf(client),
                           Words::tr("the name \"%1\" was taken from a connected process 1 time since the bus was "
                                     "started, but not within the last %2 s"),
                           Words::markCount("the name \"%1\" was taken from a connected process %n times since the bus "
                                            "was started, but not within the last %2 s"))
                .arg(nameOf(client), secondsText(afterMs)),
            Words::tr("Check that this service runs once, and that nobody uses its name with --as."), facts};
}

} // namespace

Findings checkClients(const ControlAnswers& control)
{
    if (!control.isThere || !control.failure.isEmpty()) {
        return {};
    }
    Findings findings;
    int connected = 0;
    addMissing(control, findings);
    for (const QVariantMap& client : control.clients) {
        addClient(client, findings);
        const bool isConnected = !client.value(QStringLiteral("receiverSince")).toString().isEmpty()
            || !client.value(QStringLiteral("querySince")).toString().isEmpty();
        connected += isConnected ? 1 : 0;
    }
    if (findings.isEmpty()) {
        findings.append({QStringLiteral("clients"),
                         Severity::Ok,
                         Words::counted(connected, Words::tr("1 client connected, and nothing waits for an absent one"),
                                        Words::markCount("%n clients connected, and nothing waits for an absent one")),
                         {},
                         {{QStringLiteral("connected"), connected}}});
    }
    return findings;
}

bool wasNameTaken(const QList<QVariantMap>& clients)
{
    return std::any_of(clients.begin(), clients.end(),
                       [](const QVariantMap& client) { return takeoversOf(client) > 0; });
}

bool isNameTakenAgain(const QList<QVariantMap>& before, const QList<QVariantMap>& after)
{
    const QHash<QString, int> former = takeoversByName(before);
    return std::any_of(after.begin(), after.end(),
                       [&](const QVariantMap& client) { return takeoversOf(client) > former.value(nameOf(client)); });
}

Findings checkNames(const ControlAnswers& control, const LaterLook& later, const QList<Socket>& connections)
{
    Findings findings;
    if (later.silenceMs > SILENCE_TOLERANCE_MS) {
        findings.append({QStringLiteral("names.unseen"),
                         Severity::Unseen,
                         Words::tr("the bus did not tell for %1 s whether a name was taken again")
                             .arg(secondsText(later.silenceMs)),
                         Words::tr("See what is wrong above, and run doctor again."),
                         {{QStringLiteral("silenceMs"), later.silenceMs}}});
    }
    const QHash<QString, int> former = takeoversByName(control.clients);
    const QList<QVariantMap>& last = later.clients.isEmpty() ? control.clients : later.clients;
    for (const QVariantMap& client : last) {
        if (takeoversOf(client) > 0) {
            findings.append(takeoverFinding(client, takeoversOf(client) - former.value(nameOf(client)), later.afterMs));
        }
    }
    addTwins(connections, findings);
    if (findings.isEmpty() && control.isThere && control.failure.isEmpty()) {
        findings.append(
            {QStringLiteral("names"), Severity::Ok, Words::tr("no name was taken from a connected process"), {}, {}});
    }
    return findings;
}

} // namespace tarvexctl::doctor
