#ifndef BUSCLIENT_H
#define BUSCLIENT_H

#include "connectionfailures.h"
#include "tarvexqueryhandler.h"

#include <QString>

#include <functional>

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

private:
    tarvex::TarvexQueryHandler m_handler;
};

} // namespace tarvexctl

#endif // BUSCLIENT_H
