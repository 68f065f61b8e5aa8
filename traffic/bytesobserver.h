#ifndef BYTESOBSERVER_H
#define BYTESOBSERVER_H

#include "traffic/conversation.h"
#include "traffic/frameobserver.h"

#include <functional>

namespace tarvex::traffic {

/// Makes frames of the bytes of one connection, as somebody has saved them, without packets around them. The bytes of
/// one direction follow each other; the first one begins a frame. The frames have no time.
class BytesObserver
{
public:
    using Sink = std::function<void(const SeenFrame& frame)>;

    /// \a port is that of the connection. The bytes alone do not tell who has sent a message.
    BytesObserver(Port port, Sink sink);

    void take(const QByteArray& bytes);

    /// There are no further bytes.
    void finish();

private:
    void hand(const FrameObserver::Findings& findings);
    Direction directionOf(const FrameObserver::Finding& finding) const;

    const Port m_port;
    const Sink m_sink;
    busframe::Codec m_codec;
    FrameObserver m_frames;
    Conversation m_conversation;
    Direction m_direction = Direction::In;
    qint64 m_lastFrame = 0;
};

} // namespace tarvex::traffic

#endif // BYTESOBSERVER_H
