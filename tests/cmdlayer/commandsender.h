#ifndef COMMANDSENDER_H
#define COMMANDSENDER_H

#include "cmdlayer/tarvexcommand.h"
#include "literals.h"

/// A command as "cashbox" sends it.
inline TarvexCommand someCommand(const QString& name, const QString& uid = u"uid1"_s, const QVariantMap& data = {})
{
    TarvexCommand cmd;
    cmd.setName(name);
    cmd.setAgent(u"cashbox"_s);
    cmd.setUid(uid);
    cmd.setData(data);
    return cmd;
}

/// Anything that is not empty.
inline QVariantMap someData()
{
    return {{u"copies"_s, 2}, {u"text"_s, u"ticket"_s}};
}

#endif // COMMANDSENDER_H
