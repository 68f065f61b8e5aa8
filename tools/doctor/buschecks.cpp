#include "doctor/checks.h"
#include "programwords.h"

#include "tarvexlib.h"

#include <QMap>
#include <QStringList>

#include <algorithm>

namespace tarvexctl::doctor {

namespace {

QString timeText(double milliseconds)
{
    return Words::tr("%1 ms").arg(milliseconds, 0, 'f', milliseconds < 10 ? 2 : 0);
}

/// What to do about silence.
QString adviceForSilence()
{
    return Words::tr("See what the process that holds the port waits for (strace -p, gdb -p), and start it "
                     "again if it hangs.");
}

/// What to do about what went wrong after a handshake that was accepted.
QString adviceAfterHandshake(const Failure& failure)
{
    switch (failure.status()) {
    case TimedOut:
        return adviceForSilence();
    case Refused:
        return Words::tr("Read what the bus has written to its stderr, and see storage below.");
    default:
        return Words::tr("See whether the bus has ended, and run doctor again.");
    }
}

/// One port: accepted, refused, or silent when \a isDone is false.
Finding handshakeFinding(const QString& check, const QString& port, const std::optional<Failure>& failure, bool isDone,
                         const QString& deadlineText)
{
    if (!isDone || (failure && failure->status() == TimedOut)) {
        return {check,
                Severity::Wrong,
                Words::tr("something listens on the %1 port and does not answer the handshake within %2")
                    .arg(port, deadlineText),
                adviceForSilence(),
                {}};
    }
    if (failure) {
        return {check,
                Severity::Wrong,
                Words::tr("on the %1 port: %2").arg(port, failure->words()),
                Words::tr("See what the process that holds the port is, because this is not how a bus answers a "
                          "handshake."),
                {}};
    }
    return {check, Severity::Ok, Words::tr("the bus accepts the handshake on the %1 port").arg(port), {}, {}};
}

bool hasListener(const QList<Socket>& listeners, quint16 port)
{
    return std::any_of(listeners.begin(), listeners.end(), [&](const Socket& socket) { return socket.port == port; });
}

/// What happened after the handshake was accepted; nothing when all was answered.
void addBreak(const BusAnswers& answers, const QString& deadlineText, Findings& findings)
{
    if (answers.isQueryDone && !answers.queryFailure) {
        return;
    }
    findings.append({QStringLiteral("bus.exchange"),
                     Severity::Wrong,
                     answers.isQueryDone
                         ? Words::tr("after the handshake: %1").arg(answers.queryFailure->words())
                         : Words::tr("the bus accepts the handshake, and has not answered all that was asked "
                                     "after it within %1")
                               .arg(deadlineText),
                     answers.isQueryDone ? adviceAfterHandshake(*answers.queryFailure) : adviceForSilence(),
                     {}});
}

/// The processes that run another program or library than the one that is installed by now.
void addReplaced(const QList<Socket>& sockets, Findings& findings)
{
    QMap<qint64, QString> names;
    for (const Socket& socket : sockets) {
        for (const Process& process : socket.holders) {
            if (process.isReplaced || process.isLibraryReplaced) {
                names.insert(process.pid, QStringLiteral("%1 (%2)").arg(process.name, QString::number(process.pid)));
            }
        }
    }
    if (!names.isEmpty()) {
        QVariantList pids;
        for (auto name = names.cbegin(); name != names.cend(); ++name) {
            pids.append(name.key());
        }
        const QStringList texts = names.values();
        findings.append({QStringLiteral("versions.replaced"),
                         Severity::Note,
                         Words::tr("the file of the program, or of the library, was replaced since the start of %1")
                             .arg(texts.join(QStringLiteral(", "))),
                         Words::tr("Start them again, so that they run what is installed."),
                         {{QStringLiteral("pids"), pids}}});
    }
}

} // namespace

Findings checkBus(const BusAnswers& answers, const QList<Socket>& listeners, const QString& deadlineText)
{
    constexpr quint16 QUERY_PORT = 45535;
    constexpr quint16 RECEIVER_PORT = 45537;
    Findings findings;
    if (answers.handshakeMs || hasListener(listeners, QUERY_PORT)) {
        findings.append(handshakeFinding(QStringLiteral("bus.query"), QStringLiteral("query"),
                                         answers.handshakeMs ? std::nullopt : answers.queryFailure,
                                         answers.handshakeMs || answers.isQueryDone, deadlineText));
    }
    if (answers.handshakeMs) {
        findings.last().facts = {{QStringLiteral("ms"), *answers.handshakeMs}};
        addBreak(answers, deadlineText, findings);
    }
    if (answers.isReceiverAccepted || hasListener(listeners, RECEIVER_PORT)) {
        findings.append(handshakeFinding(QStringLiteral("bus.receiver"), QStringLiteral("receiver"),
                                         answers.receiverFailure, answers.isReceiverDone, deadlineText));
    }
    return findings;
}

Findings checkSpeed(const BusAnswers& answers, double slowMs)
{
    QVector<double> times = answers.exchangesMs;
    if (times.isEmpty()) {
        return {};
    }
    std::sort(times.begin(), times.end());
    const double median = times.at(times.size() / 2);
    Finding finding{QStringLiteral("speed"),
                    Severity::Ok,
                    Words::counted(times.size(), Words::tr("1 exchange: half of them took %1 or less, the longest %2"),
                                   Words::markCount("%n exchanges: half of them took %1 or less, the longest %2"))
                        .arg(timeText(median), timeText(times.last())),
                    {},
                    {{QStringLiteral("count"), times.size()},
                     {QStringLiteral("minMs"), times.first()},
                     {QStringLiteral("medianMs"), median},
                     {QStringLiteral("maxMs"), times.last()}}};
    if (median > slowMs) {
        finding.severity = Severity::Wrong;
        finding.advice = Words::tr("See whether the machine, the bus or its storage is busy (top, iostat), because "
                                   "a bus that is not busy answers within a few milliseconds.");
    } else if (times.last() > slowMs) {
        finding.severity = Severity::Note;
        finding.advice = Words::tr("Run doctor again to see whether single exchanges stay slow: then something "
                                   "holds the bus up from time to time.");
    }
    return {finding};
}

Findings checkControl(const ControlAnswers& control, const BusAnswers& answers)
{
    if (!control.isThere) {
        if (!answers.handshakeMs) {
            return {};
        }
        return {{QStringLiteral("control"),
                 Severity::Unseen,
                 Words::tr("this bus has no control socket for this user: its version, who is missing, names "
                           "taken twice, its storage and its start could not be looked at, and settings and "
                           "states only of the names that the library knows"),
                 Words::tr("On a desk, run doctor as the user who has started tarvex-devbus; another bus has no "
                           "such socket."),
                 {}}};
    }
    if (!control.failure.isEmpty()) {
        return {{QStringLiteral("control"),
                 Severity::Wrong,
                 Words::tr("the control socket of the bus: %1").arg(control.failure),
                 Words::tr("See whether the bus hangs, or is older than this program."),
                 {}}};
    }
    return {};
}

Findings checkFaults(const ControlAnswers& control)
{
    if (control.faults.isEmpty()) {
        return {};
    }
    QStringList rules;
    for (const QVariantMap& fault : control.faults) {
        rules.append(fault.value(QStringLiteral("rule")).toString());
    }
    return {{QStringLiteral("faults"),
             Severity::Note,
             Words::counted(rules.size(), Words::tr("1 fault on purpose is set"),
                            Words::markCount("%n faults on purpose are set")),
             Words::tr("See with tarvexctl fault list whether they explain what else is told here, and remove "
                       "them with tarvexctl fault clear."),
             {{QStringLiteral("rules"), rules}}}};
}

Findings checkVersions(const ControlAnswers& control, const QList<Socket>& listeners, const QList<Socket>& connections)
{
    Findings findings;
    const QString ours = bus::TarvexLib::version().version();
    const QString theirs = control.about.value(QStringLiteral("version")).toString();
    const QVariantMap facts{{QStringLiteral("tarvexctl"), ours}, {QStringLiteral("bus"), theirs}};
    if (!theirs.isEmpty() && theirs != ours) {
        findings.append({QStringLiteral("versions"), Severity::Note,
                         Words::tr("tarvexctl has the library %1, the bus is of version %2").arg(ours, theirs),
                         Words::tr("Install both from the same version, and start the bus again."), facts});
    } else if (!theirs.isEmpty()) {
        findings.append({QStringLiteral("versions"), Severity::Ok,
                         Words::tr("tarvexctl and the bus are of version %1").arg(ours), QString(), facts});
    }
    addReplaced(listeners + connections, findings);
    return findings;
}

} // namespace tarvexctl::doctor
