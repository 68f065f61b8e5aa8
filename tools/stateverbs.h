#ifndef STATEVERBS_H
#define STATEVERBS_H

#include <QString>
#include <QStringList>

/// The verbs on clients' states. Each checks its input, connects as \a clientName and throws Failure.
namespace tarvexctl {

class Output;

/// Writes the state of each owner, see getSettings().
void getStates(const QString& clientName, const QStringList& owners, Output& output);

/// Stores a state as that of \a clientName: the bus takes a state from its owner alone. \a type is a number from 0 to
/// 127.
void setState(const QString& clientName, const QString& text, const QString& type, const QString& description,
              Output& output);

} // namespace tarvexctl

#endif // STATEVERBS_H
