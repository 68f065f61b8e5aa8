#ifndef VALUEKIND_H
#define VALUEKIND_H

#include <QString>
#include <QStringList>

#include <string>

namespace tarvexctl {

/// What can stand in an argument, or as the value of an option. The shells offer it when the user presses Tab.
enum class ValueKind {
    Unknown, ///< Nobody has said it yet: a test refuses that.
    Nothing, ///< A number or a text of one's own.
    Words,   ///< One of valueWords().
    Files,
    Clients,
    ClientsOrBus,
    SettingsOwners, ///< The clients that have settings.
    SettingsOwnersOrFiles,
    StateOwners, ///< The clients that have a state.
    SettingsGroups,
    SettingsKeys,
    SettingsValue, ///< The value that the setting has now.
    Commands,
    Operations,
    FaultRule,
    FaultNumbers,
    Interfaces, ///< Of the network.
    DataOrFile, ///< JSON, @FILE or -.
};

/// Of an argument such as "OWNER", or of the value of an option such as "--color", of the verb \a verb. The program's
/// own options have no verb.
ValueKind valueKind(const std::string& verb, const std::string& name);

/// Of a kind Words.
QStringList valueWords(const std::string& name);

/// "clients" for Clients, and so on.
QString kindName(ValueKind kind);

} // namespace tarvexctl

#endif // VALUEKIND_H
