#ifndef COMMANDLIST_H
#define COMMANDLIST_H

#include <QStringList>

namespace tarvexctl {

/// The names of a new service's commands, from a list with commas between them. Throws Failure with WrongUse when one
/// cannot be a command that the service carries out by a method of this name.
QStringList commandsFrom(const QString& list);

} // namespace tarvexctl

#endif // COMMANDLIST_H
