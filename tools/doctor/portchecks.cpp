#include "doctor/checks.h"
#include "programwords.h"

#include <QSet>
#include <QStringList>

#include <algorithm>
#include <unistd.h>

namespace tarvexctl::doctor {

namespace {

struct Port
{
    quint16 number;
    const char* name;
};

constexpr Port PORTS[] = {{45535, "query"}, {45537, "receiver"}};

QString portText(const Port& port)
{
    return Words::tr("the %1 port %2").arg(QLatin1String(port.name), QString::number(port.number));
}

QString processText(const Process& process)
{
    return Words::tr("%1 (process %2 of %3)").arg(process.name, QString::number(process.pid), process.user);
}

QString processesText(const QList<Process>& processes)
{
    QString text;
    for (const Process& process : processes) {
        text = text.isEmpty() ? processText(process) : Words::tr("%1 and %2").arg(text, processText(process));
    }
    return text;
}

QVariantMap processFacts(const QList<Process>& processes)
{
    QVariantList items;
    for (const Process& process : processes) {
        items.append(QVariantMap{{QStringLiteral("pid"), process.pid},
                                 {QStringLiteral("name"), process.name},
                                 {QStringLiteral("user"), process.user},
                                 {QStringLiteral("commandLine"), process.commandLine}});
    }
    return {{QStringLiteral("processes"), items}};
}

QList<Socket> socketsOf(const QList<Socket>& listeners, const Port& port)
{
    QList<Socket> sockets;
    std::copy_if(listeners.begin(), listeners.end(), std::back_inserter(sockets),
                 [&](const Socket& socket) { return socket.port == port.number; });
    return sockets;
}

/// Each once, in the order of their numbers.
QList<Process> holdersOf(const QList<Socket>& sockets)
{
    QMap<qint64, Process> holders;
    for (const Socket& socket : sockets) {
        for (const Process& process : socket.holders) {
            holders.insert(process.pid, process);
        }
    }
    return holders.values();
}

/// systemd holds the ports as well when it has made them for the bus. That is in order: it keeps them until the bus is
/// started again.
QList<Process> withoutSystemd(const QList<Process>& processes)
{
    QList<Process> others;
    std::copy_if(processes.begin(), processes.end(), std::back_inserter(others),
                 [](const Process& process) { return process.name != QLatin1String("systemd"); });
    return others.isEmpty() ? processes : others;
}

bool isSeen(const QList<Socket>& sockets)
{
    return std::all_of(sockets.begin(), sockets.end(), [](const Socket& socket) { return !socket.holders.isEmpty(); });
}

Finding missingPort(const Port& port)
{
    return {QStringLiteral("ports.missing"),
            Severity::Wrong,
            Words::tr("nobody listens on %1").arg(portText(port)),
            Words::tr("End what holds the other port and start the bus again, because a bus opens both."),
            {{QStringLiteral("port"), port.number}}};
}

Finding unseenHolder(const Socket& socket)
{
    const QString user = userName(socket.user);
    return {QStringLiteral("ports.unseen"),
            Severity::Unseen,
            Words::tr("a process of the user %1 listens on port %2; its number cannot be seen from here")
                .arg(user, QString::number(socket.port)),
            (socket.user == 0 ? Words::tr("Run doctor as %1 to see which process it is.")
                              : Words::tr("Run doctor as %1 or root to see which process it is."))
                .arg(user),
            {{QStringLiteral("port"), socket.port}, {QStringLiteral("user"), user}}};
}

/// For the case that nobody can be seen on the other port.
Finding onePortFinding(const QList<Process>& holders, const Port& port, bool isOtherMissing)
{
    const bool isOne = holders.size() == 1;
    if (isOtherMissing) {
        return {QStringLiteral("ports.holders"), Severity::Wrong,
                (isOne ? Words::tr("%1 holds %2 only") : Words::tr("%1 hold %2 only"))
                    .arg(processesText(holders), portText(port)),
                Words::tr("See whether this is the bus at all, because a bus holds both ports."),
                processFacts(holders)};
    }
    return {QStringLiteral("ports.holders"),
            Severity::Ok,
            (isOne ? Words::tr("%1 holds %2") : Words::tr("%1 hold %2")).arg(processesText(holders), portText(port)),
            {},
            processFacts(holders)};
}

/// For the sockets whose holders can be seen.
Finding holderFinding(const QList<Socket>& listeners)
{
    const QList<Process> query = holdersOf(socketsOf(listeners, PORTS[0]));
    const QList<Process> receiver = holdersOf(socketsOf(listeners, PORTS[1]));
    const QList<Process> all = holdersOf(listeners);
    if (query.isEmpty() || receiver.isEmpty()) {
        const Port& held = query.isEmpty() ? PORTS[1] : PORTS[0];
        const Port& other = query.isEmpty() ? PORTS[0] : PORTS[1];
        return onePortFinding(all, held, socketsOf(listeners, other).isEmpty());
    }
    const auto numbersOf = [](const QList<Process>& processes) {
        QSet<qint64> numbers;
        for (const Process& process : processes) {
            numbers.insert(process.pid);
        }
        return numbers;
    };
    if (!numbersOf(query).intersects(numbersOf(receiver))) {
        return {QStringLiteral("ports.holders"), Severity::Wrong,
                Words::tr("the ports belong to two programs: the query port to %1, the receiver port to %2")
                    .arg(processesText(query), processesText(receiver)),
                Words::tr("End the one that is not the bus, and start the bus again."), processFacts(all)};
    }
    const QList<Process> programs = withoutSystemd(all);
    if (programs.size() > 1) {
        return {QStringLiteral("ports.holders"), Severity::Note,
                Words::tr("several processes hold the ports: %1").arg(processesText(programs)),
                Words::tr("Check that the others are children of the bus, because they keep the ports taken when "
                          "it ends."),
                processFacts(all)};
    }
    return {QStringLiteral("ports.holders"),
            Severity::Ok,
            Words::tr("%1 holds the ports").arg(processesText(programs)),
            {},
            processFacts(all)};
}

void addOpenSockets(const QList<Socket>& listeners, Findings& findings)
{
    const auto open =
        std::find_if(listeners.begin(), listeners.end(), [](const Socket& socket) { return socket.isOpenToAll; });
    if (open != listeners.end()) {
        findings.append({QStringLiteral("ports.open"),
                         Severity::Note,
                         Words::tr("port %1 takes connections from other machines as well").arg(open->port),
                         Words::tr("Let the bus listen on 127.0.0.1 only, because it knows no access rights."),
                         {{QStringLiteral("port"), open->port}}});
    }
}

void addStopped(const QList<Socket>& listeners, Findings& findings)
{
    const QList<Process> holders = holdersOf(listeners);
    for (const Process& process : holders) {
        if (process.isStopped) {
            findings.append(
                {QStringLiteral("ports.stopped"), Severity::Wrong,
                 Words::tr("%1 is stopped, so it answers nobody").arg(processText(process)),
                 Words::tr("Let it go on with kill -CONT %1, or leave the debugger that holds it.").arg(process.pid),
                 processFacts({process})});
        }
    }
}

} // namespace

Findings checkPorts(const QList<Socket>& listeners)
{
    if (listeners.isEmpty()) {
        return {{QStringLiteral("ports.none"),
                 Severity::Wrong,
                 Words::tr("nobody listens on the bus's ports 45535 and 45537"),
                 Words::tr("Start the bus: on a desk that is tarvex-devbus."),
                 {}}};
    }
    Findings findings;
    for (const Port& port : PORTS) {
        const QList<Socket> sockets = socketsOf(listeners, port);
        if (sockets.isEmpty()) {
            findings.append(missingPort(port));
        } else if (!isSeen(sockets)) {
            findings.append(unseenHolder(sockets.first()));
        }
    }
    if (!holdersOf(listeners).isEmpty()) {
        findings.append(holderFinding(listeners));
    }
    addStopped(listeners, findings);
    addOpenSockets(listeners, findings);
    return findings;
}

} // namespace tarvexctl::doctor
