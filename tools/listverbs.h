#ifndef LISTVERBS_H
#define LISTVERBS_H

#include <QString>

/// The verbs that list what is stored, of all owners. A bus that cannot tell whose it has is asked for each name that
/// the library knows, and stderr says so. Each throws Failure; connects as \a clientName when it has to ask for names.
namespace tarvexctl {

class Output;

void listSettings(const QString& clientName, Output& output);

void listStates(const QString& clientName, Output& output);

} // namespace tarvexctl

#endif // LISTVERBS_H
