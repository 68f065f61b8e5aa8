#ifndef CLIENTSVERB_H
#define CLIENTSVERB_H

#include <QString>

namespace tarvexctl {

class Output;

/// Writes the names that the development bus knows, and what it has of each. Throws Failure; for a bus that cannot
/// tell, it is Refused. \a clientName is used to find out whether there is a bus at all.
void listClients(const QString& clientName, Output& output);

} // namespace tarvexctl

#endif // CLIENTSVERB_H
