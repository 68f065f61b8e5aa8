#ifndef CLIENTGUESS_H
#define CLIENTGUESS_H

#include <QList>
#include <QString>
#include <QVariantMap>

/// Guesses which client is meant by a name that nobody has. The names are those that the library knows, and with a
/// development bus also those of its clients.
namespace tarvexctl {

/// Whether this item of the control socket's answer to "clients" is about a client that has connected or has something
/// stored of its own. Otherwise others have only sent messages to that name, and it may be mistyped.
bool isRealClient(const QVariantMap& item);

/// The client whose name is nearest to \a name. Empty when a client has this name, or when none is near.
QString likelyClient(const QString& name);

/// The same with the items of the control socket's answer to "clients", so that the bus is not asked again.
QString likelyClient(const QString& name, const QList<QVariantMap>& clients);

/// Says on stderr which client may be meant by \a name, when there is such a guess.
void tellOfLikelyClient(const QString& name);

} // namespace tarvexctl

#endif // CLIENTGUESS_H
