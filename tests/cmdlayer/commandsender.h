#ifndef COMMANDSENDER_H
#define COMMANDSENDER_H

#include "cmdlayer/tarvexcommand.h"

/// A command as "cashbox" sends it.
inline TarvexCommand someCommand(const QString& name, const QString& uid = QStringLiteral("uid1"),
                                 const QVariantMap& data = {})
{
    TarvexCommand cmd;
    cmd.setName(name);
    cmd.setAgent(QStringLiteral("cashbox"));
    cmd.setUid(uid);
    cmd.setData(data);
    return cmd;
}

/// Anything that is not empty.
inline QVariantMap someData()
{
    return {{QStringLiteral("copies"), 2}, {QStringLiteral("text"), QStringLiteral("ticket")}};
}

#endif // COMMANDSENDER_H
