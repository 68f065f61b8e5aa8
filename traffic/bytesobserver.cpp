#include "traffic/bytesobserver.h"

#include "wire/busterms_p.h"

#include <utility>

namespace tarvex::traffic {

BytesObserver::BytesObserver(Port port, Sink sink)
    : m_port(port)
    , m_sink(std::move(sink))
    , m_frames(FrameObserver::AtFrame, m_codec)
    , m_conversation(1, port, Conversation::NotSeen)
{
}

void BytesObserver::take(const QByteArray& bytes)
{
    hand(m_frames.append(bytes, 0));
}

void BytesObserver::finish()
{
    hand(m_frames.end(true));
}

void BytesObserver::hand(const FrameObserver::Findings& findings)
{
    for (const FrameObserver::Finding& finding : findings) {
        m_direction = directionOf(finding);
        SeenFrame frame = m_conversation.frame(finding, m_direction);
        if (!frame.problem.isEmpty()) {
            frame.problem = QStringLiteral("byte %1: ").arg(finding.offset) + frame.problem;
        }
        frame.number = ++m_lastFrame;
        m_sink(frame);
    }
}

/// Clients ask on the query port, and introduce themselves on both. On the receiver port the bus asks.
Direction BytesObserver::directionOf(const FrameObserver::Finding& finding) const
{
    if (finding.kind != FrameObserver::Finding::Frame) {
        return m_direction;
    }
    const QString operation = finding.envelope.value(busframe::KEY_OPERATION).toString();
    const bool isClientAsking = m_port == Port::Query || operation == busterms::OPERATION_HANDSHAKE;
    return isClientAsking == finding.isReply ? Direction::Out : Direction::In;
}

} // namespace tarvex::traffic
