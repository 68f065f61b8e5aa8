#ifndef CHECKS_H
#define CHECKS_H

#include "doctor/buslook.h"
#include "doctor/controllook.h"
#include "doctor/finding.h"
#include "processes.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

/// What follows from the looks. These functions look at nothing but what they are given, and at the files and the clock
/// of this machine.
namespace tarvexctl::doctor {

/// Who listens on the bus's two ports.
Findings checkPorts(const QList<Socket>& listeners);

/// Whether it is a bus: the handshakes. \a deadlineText is how long it had.
Findings checkBus(const BusAnswers& answers, const QList<Socket>& listeners, const QString& deadlineText);

/// How long exchanges take. More than \a slowMs is wrong.
Findings checkSpeed(const BusAnswers& answers, double slowMs);

/// What the control socket gives, and what cannot be seen without it.
Findings checkControl(const ControlAnswers& control, const BusAnswers& answers);

/// Whether the bus brings about faults on purpose.
Findings checkFaults(const ControlAnswers& control);

/// The library of this program against that of the bus, and whether the bus and the connected services run what is
/// installed.
Findings checkVersions(const ControlAnswers& control, const QList<Socket>& listeners, const QList<Socket>& connections);

/// Who is missing.
Findings checkClients(const ControlAnswers& control);

Findings checkSettings(const BusAnswers& answers, const QDateTime& now);

/// How old a state of a connected client may be.
struct StateAge
{
    double seconds;
    bool isGiven; ///< The user has said it, so an older state is wrong. Otherwise it is worth knowing.
};

Findings checkStates(const QList<QVariantMap>& states, const ControlAnswers& control, const StateAge& age,
                     const QDateTime& now);

/// A second look at the clients.
struct LaterLook
{
    QList<QVariantMap> clients; ///< As the bus told last; empty when it did not tell again.
    qint64 afterMs = 0;         ///< So long after the first look.
    qint64 silenceMs = 0;       ///< So long it has not answered since then.
};

/// Two processes of one name.
Findings checkNames(const ControlAnswers& control, const LaterLook& later, const QList<Socket>& connections);

/// Whether one look at the clients is not enough, because a name was taken from somebody.
bool wasNameTaken(const QList<QVariantMap>& clients);

/// Whether a name was taken again between the two looks.
bool isNameTakenAgain(const QList<QVariantMap>& before, const QList<QVariantMap>& after);

Findings checkStorage(const ControlAnswers& control, const BusAnswers& answers);

/// \a jumpMs is by how much the clock was set during this look.
Findings checkClock(const ControlAnswers& control, qint64 jumpMs);

} // namespace tarvexctl::doctor

#endif // CHECKS_H
