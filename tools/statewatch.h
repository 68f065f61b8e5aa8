#ifndef STATEWATCH_H
#define STATEWATCH_H

#include "tally.h"

#include <QStringList>

namespace tarvexctl {

class Output;

/// Writes the present state of each owner, and then each change as the bus tells of it, as \a clientName. Only changes
/// count towards the limits. Throws Failure.
void watchStates(const QString& clientName, const QStringList& owners, const Limits& limits, Output& output);

} // namespace tarvexctl

#endif // STATEWATCH_H
