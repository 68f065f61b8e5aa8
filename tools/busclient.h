#ifndef BUSCLIENT_H
#define BUSCLIENT_H

#include "connectionfailures.h"
#include "records/clientsettings.h"
#include "tarvexqueryhandler.h"

#include <QString>

#include <functional>
#include <optional>

namespace tarvexctl {

/// The connection on which the bus is asked. A failure says what happened.
class BusClient
{
public:
    using Operation = std::function<bool(tarvex::TarvexQueryHandler&)>;

    /// Connects and introduces itself as \a name. Throws Failure.
    explicit BusClient(const QString& name);

    /// Runs one operation of the connection. Throws Failure when it does not succeed. After Refused, which has the code
    /// and the text of the bus, the connection can still be used. After NoBus and TimedOut it cannot.
    void ask(const Operation& operation);

    /// The same for an operation that loads what one client has stored. \return false when nothing is stored
    bool askForStored(const Operation& operation);

    /// What is stored as the settings of \a owner; nothing when the bus has none. Throws Failure.
    std::optional<tarvex::ClientSettings> loadSettings(const QString& owner);

    /// Throws Failure when they are not stored.
    void saveSettings(const tarvex::ClientSettings& settings);

private:
    tarvex::TarvexQueryHandler m_handler;
};

} // namespace tarvexctl

#endif // BUSCLIENT_H
