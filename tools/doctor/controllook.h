#ifndef CONTROLLOOK_H
#define CONTROLLOOK_H

#include <QDeadlineTimer>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace tarvexctl::doctor {

/// What a development bus tells about itself over its control socket.
struct ControlAnswers
{
    bool isThere = false; ///< This bus has such a socket, for this user.
    QString failure;      ///< Why it has not answered; empty when it has answered everything.
    QVariantMap about;    ///< Empty when the bus does not tell.
    QList<QVariantMap> clients;
    QList<QVariantMap> settings; ///< Of each owner: owner, count, date, description.
    QList<QVariantMap> states;   ///< The records as they are stored.
    QList<QVariantMap> faults;   ///< On purpose: number, rule, hits.
    QStringList unknown;         ///< Those for whom messages wait and who have never been there.
};

/// Whether messages wait for a client that has no receiving connection.
bool isMissing(const QVariantMap& client);

/// Asks for all of it. Comes back when the time is over.
ControlAnswers askControl(const QDeadlineTimer& deadline);

/// The clients alone, or nothing when they do not come in time.
std::optional<QList<QVariantMap>> askForClients(const QDeadlineTimer& deadline);

} // namespace tarvexctl::doctor

#endif // CONTROLLOOK_H
