#ifndef OWNERS_H
#define OWNERS_H

#include <QString>
#include <QStringList>

#include <functional>

/// What the verbs that read for several clients share.
namespace tarvexctl {

/// Every name that the library knows, in the order of the names.
const QStringList& supportedClients();

/// Calls \a get for each owner. What the bus refuses is told of at once, with the owner's name when there are several,
/// and ends the verb only after the last owner, by a Failure without words. Any other failure ends it there and then.
void forEachOwner(const QStringList& owners, const std::function<void(const QString&)>& get);

} // namespace tarvexctl

#endif // OWNERS_H
