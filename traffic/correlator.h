#ifndef CORRELATOR_H
#define CORRELATOR_H

#include "traffic/seenframe.h"

#include <QHash>

#include <deque>

namespace tarvex::traffic {

/// Finds the request to each reply, and the command to each answer, while the frames pass in their order.
///
/// On a query connection a reply belongs to the oldest open request of its operation. When there is none, it belongs to
/// the oldest open request: a bus that answers with another operation still answers that one. On a receiver connection
/// an acknowledgement belongs to the oldest open push of its uid: a message may be pushed again before a slow client
/// has acknowledged it, and then it acknowledges both.
///
/// The answer to a command is a message that comes from the client to which the command was pushed, with the same uid.
class Correlator
{
public:
    /// Of each connection this many open requests are remembered, the newest ones.
    static constexpr std::size_t MAX_OPEN = 256;
    /// So many pushed messages are remembered for the answers to them, the newest ones.
    static constexpr std::size_t MAX_CALLS = 1024;
    /// Operations and uids are compared up to here, in characters.
    static constexpr int MAX_TEXT = 256;

    /// Takes the next frame. Sets answers and tookUs of a reply whose request was seen, call and callUs of a message
    /// that answers a command. \a atUs is the time of any clock in microseconds; the bus uses one that never jumps. The
    /// end of a connection forgets its requests.
    void take(SeenFrame& frame, qint64 atUs);

private:
    struct Open
    {
        qint64 number;
        qint64 atUs;
        Direction direction;
        QString operation;
        QString uid;
    };

    using OpenRequests = std::deque<Open>;

    static OpenRequests::iterator findRequest(OpenRequests& requests, const SeenFrame& reply);

    void takeRequest(SeenFrame& frame, qint64 atUs);
    void takeReply(SeenFrame& frame, qint64 atUs);
    void takeMessage(SeenFrame& frame, const QString& uid, qint64 atUs);

    struct Call
    {
        qint64 number;
        qint64 atUs;
    };

    QHash<qint64, OpenRequests> m_connections;
    QHash<QString, Call> m_calls; ///< By the client and the uid.
    std::deque<QString> m_callOrder;
};

} // namespace tarvex::traffic

#endif // CORRELATOR_H
