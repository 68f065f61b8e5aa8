#ifndef CONVERSATION_H
#define CONVERSATION_H

#include "traffic/frameobserver.h"
#include "traffic/seenframe.h"

namespace tarvex::traffic {

/// What is said on one connection, and who the client is.
///
/// The name of the client comes from its handshake, once the bus has accepted that. Of a connection whose beginning was
/// not seen it comes from what is said later: who sends messages or saves a state on the query port, and to whom a
/// message goes on the receiver port.
class Conversation
{
public:
    enum Beginning {
        Seen,
        NotSeen
    };

    Conversation(qint64 connection, Port port, Beginning beginning)
        : m_connection(connection), m_port(port), m_beginning(beginning)
    {
    }

    /// What was found in one direction. The number and the time are left to the caller.
    SeenFrame frame(const FrameObserver::Finding& finding, Direction direction);

    /// Something that is no frame.
    SeenFrame event(Kind kind, const QString& problem = QString()) const;

private:
    void guessClient(const SeenFrame& frame);
    void takeHandshake(SeenFrame& frame);

    qint64 m_connection;
    Port m_port;
    Beginning m_beginning;
    QString m_client;
    QString m_asked; ///< The name in the last handshake.
};

} // namespace tarvex::traffic

#endif // CONVERSATION_H
