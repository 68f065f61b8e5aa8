#ifndef BUSVALUES_H
#define BUSVALUES_H

#include "completion/offer.h"

/// What the bus knows now, to be offered. The development bus tells it over its control socket; other buses are not
/// asked. Nothing here takes longer than about a tenth of a second, and where no bus answers, less is offered.
namespace tarvexctl::busvalues {

/// Those of the bus and those that the library knows.
QList<Candidate> clients();
/// Those that have settings. If the bus does not tell, those that the library knows.
QList<Candidate> settingsOwners();
/// The same for a state.
QList<Candidate> stateOwners();

QList<Candidate> settingsGroups(const QString& owner);
QList<Candidate> settingsKeys(const QString& owner, const QString& group);
QList<Candidate> settingsValue(const QString& owner, const QString& group, const QString& key);

/// The commands that \a receiver has got. If the bus has seen none, those that anybody has got.
QList<Candidate> commands(const QString& receiver);

/// The numbers of the faults on purpose.
QList<Candidate> faults();

} // namespace tarvexctl::busvalues

#endif // BUSVALUES_H
