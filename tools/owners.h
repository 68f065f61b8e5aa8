#ifndef OWNERS_H
#define OWNERS_H

#include <QString>
#include <QStringList>

#include <functional>

/// What the verbs that read for several clients share.
namespace tarvexctl {

/// Every name that the library knows, in the order of the names.
const QStringList& supportedClients();

/// Says on stderr that this bus cannot list what it stores, and that the verb asks for supportedClients() only.
void tellOfKnownNamesOnly();

/// Calls \a get for each owner. When the bus refuses one, stderr says so at once, with the owner's name when there are
/// several, and a Failure without words follows after the last owner. Any other Failure is thrown at once.
void forEachOwner(const QStringList& owners, const std::function<void(const QString&)>& get);

} // namespace tarvexctl

#endif // OWNERS_H
