#ifndef BUSREQUEST_P_H
#define BUSREQUEST_P_H

#include "cmdlayer/tarvexcommand.h"
#include "records/message.h"

#include <QString>
#include <QVariantMap>

#include <optional>

namespace tarvex::testing {

/// What a client has asked of the bus.
struct BusRequest
{
    qint64 number = 0; ///< In the order in which the requests came, from 1.
    QString client;
    QString operation;
    QVariantMap data;
    std::optional<int> code; ///< Of the reply; empty when there was none.

    bool isDone() const { return code == 0; }

    /// Whether the request sends a message, also one that the bus has refused.
    bool isMessage() const;
    /// The message that is sent. Its sender is the client, because the bus takes the sender from the connection.
    Message message() const;
    /// The command in that message; nothing when it is none.
    std::optional<TarvexCommand> command() const;

    /// Whether this is a handshake or a log line, which come whatever the service does. A handshake that was refused is
    /// not noise.
    bool isNoise() const;
};

} // namespace tarvex::testing

#endif // BUSREQUEST_P_H
