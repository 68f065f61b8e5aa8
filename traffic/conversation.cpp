#include "traffic/conversation.h"

#include "wire/busterms_p.h"

namespace tarvex::traffic {

using Finding = FrameObserver::Finding;

SeenFrame Conversation::frame(const Finding& finding, Direction direction)
{
    SeenFrame frame = event(Kind::Request, finding.problem);
    frame.direction = direction;
    frame.size = finding.size;
    if (finding.kind != Finding::Frame) {
        frame.kind = finding.kind == Finding::Bad ? Kind::Bad : Kind::Gap;
        return frame;
    }
    frame.kind = finding.isReply ? Kind::Reply : Kind::Request;
    readEnvelope(finding.envelope, frame);
    if (frame.operation == busterms::OPERATION_HANDSHAKE) {
        takeHandshake(frame);
    } else if (m_client.isEmpty() && m_beginning == NotSeen) {
        guessClient(frame);
        frame.client = m_client;
    }
    return frame;
}

SeenFrame Conversation::event(Kind kind, const QString& problem) const
{
    SeenFrame frame;
    frame.kind = kind;
    frame.port = m_port;
    frame.connection = m_connection;
    frame.client = m_client;
    frame.problem = problem;
    return frame;
}

void Conversation::guessClient(const SeenFrame& frame)
{
    const auto text = [&](QLatin1String key) { return frame.data.value(key).toString(); };
    if (m_port == Port::Receiver) {
        if (frame.direction == Direction::Out && frame.isMessage()) {
            m_client = text(busterms::KEY_RECIEVER);
        }
    } else if (frame.direction == Direction::In && frame.isMessage()) {
        m_client = text(busterms::KEY_SENDER);
    } else if (frame.direction == Direction::In && frame.operation == busterms::OPERATION_SAVE_STATE) {
        m_client = text(busterms::KEY_OWNER);
    }
}

/// The reply is the first frame that has the new name, as on the bus itself.
void Conversation::takeHandshake(SeenFrame& frame)
{
    if (frame.kind == Kind::Request && frame.direction == Direction::In) {
        m_asked = frame.data.value(busterms::KEY_NAME).toString();
    } else if (frame.kind == Kind::Reply && frame.direction == Direction::Out && frame.code == 0) {
        m_client = m_asked;
        frame.client = m_client;
    }
}

} // namespace tarvex::traffic
