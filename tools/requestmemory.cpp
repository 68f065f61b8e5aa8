#include "requestmemory.h"

#include "traffic/seenframe.h"

namespace tarvexctl {

using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

RequestMemory::Request RequestMemory::summary(const SeenFrame& frame)
{
    return {frame.client.left(MAX_TEXT),    frame.from().left(MAX_TEXT),    frame.to().left(MAX_TEXT),
            frame.command().left(MAX_TEXT), frame.operation.left(MAX_TEXT), frame.isMessage()};
}

void RequestMemory::take(const SeenFrame& frame)
{
    if (frame.number <= m_lastNumber) {
        m_requests.clear(); // the bus was started again
        m_order.clear();
    }
    m_lastNumber = frame.number;
    if (frame.kind != Kind::Request) {
        return;
    }
    m_requests.insert(frame.number, summary(frame));
    m_order.push_back(frame.number);
    if (m_order.size() > MAX_REQUESTS) {
        m_requests.remove(m_order.front());
        m_order.pop_front();
    }
}

const RequestMemory::Request* RequestMemory::requestOf(const SeenFrame& reply) const
{
    const auto found = m_requests.constFind(reply.answers);
    return found == m_requests.constEnd() ? nullptr : &*found;
}

} // namespace tarvexctl
