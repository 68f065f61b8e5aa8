#include "traffic/correlator.h"

#include <algorithm>

namespace tarvex::traffic {

void Correlator::take(SeenFrame& frame, qint64 atUs)
{
    if (frame.kind == Kind::Closed) {
        m_connections.remove(frame.connection);
    } else if (frame.kind == Kind::Request) {
        OpenRequests& requests = m_connections[frame.connection];
        requests.push_back(
            {frame.number, atUs, frame.direction, frame.operation.left(MAX_TEXT), frame.uid().left(MAX_TEXT)});
        if (requests.size() > MAX_OPEN) {
            requests.pop_front();
        }
    } else if (frame.kind == Kind::Reply) {
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
