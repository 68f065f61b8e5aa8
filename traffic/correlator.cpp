#include "traffic/correlator.h"

#include <algorithm>

namespace tarvex::traffic {

void Correlator::take(SeenFrame& frame, qint64 atUs)
{
    if (frame.kind == Kind::Closed) {
        m_connections.remove(frame.connection);
    } else if (frame.kind == Kind::Request) {
        takeRequest(frame, atUs);
    } else if (frame.kind == Kind::Reply) {
        takeReply(frame, atUs);
    }
}

void Correlator::takeRequest(SeenFrame& frame, qint64 atUs)
{
    const QString uid = frame.uid().left(MAX_TEXT);
    OpenRequests& requests = m_connections[frame.connection];
    requests.push_back({frame.number, atUs, frame.direction, frame.operation.left(MAX_TEXT), uid});
    if (requests.size() > MAX_OPEN) {
        requests.pop_front();
    }
    if (frame.isMessage() && !uid.isEmpty()) {
        takeMessage(frame, uid, atUs);
    }
}

void Correlator::takeReply(SeenFrame& frame, qint64 atUs)
{
    const auto connection = m_connections.find(frame.connection);
    if (connection == m_connections.end()) {
        return;
    }
    const auto request = findRequest(*connection, frame);
    if (request != connection->end()) {
        frame.answers = request->number;
        frame.tookUs = atUs - request->atUs;
        connection->erase(request);
    }
}

/// A message that is pushed again counts from its first push on.
void Correlator::takeMessage(SeenFrame& frame, const QString& uid, qint64 atUs)
{
    const QString key = frame.client.left(MAX_TEXT) + QLatin1Char('\n') + uid;
    const auto call = m_calls.constFind(key);
    if (frame.direction == Direction::In) {
        if (call != m_calls.constEnd()) {
            frame.call = call->number;
            frame.callUs = atUs - call->atUs;
        }
    } else if (call == m_calls.constEnd()) {
        m_calls.insert(key, {frame.number, atUs});
        m_callOrder.push_back(key);
        if (m_callOrder.size() > MAX_CALLS) {
            m_calls.remove(m_callOrder.front());
            m_callOrder.pop_front();
        }
    }
}

Correlator::OpenRequests::iterator Correlator::findRequest(OpenRequests& requests, const SeenFrame& reply)
{
    const auto isOther = [&](const Open& open) { return open.direction != reply.direction; };
    const QString uid = reply.uid().left(MAX_TEXT);
    if (!uid.isEmpty() && reply.port == Port::Receiver) {
        return std::find_if(requests.begin(), requests.end(),
                            [&](const Open& open) { return isOther(open) && open.uid == uid; });
    }
    const QString operation = reply.operation.left(MAX_TEXT);
    const auto same = std::find_if(requests.begin(), requests.end(),
                                   [&](const Open& open) { return isOther(open) && open.operation == operation; });
    return same == requests.end() ? std::find_if(requests.begin(), requests.end(), isOther) : same;
}

} // namespace tarvex::traffic
