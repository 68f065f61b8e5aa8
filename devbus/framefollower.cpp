#include "framefollower.h"

#include "controllines.h"
#include "traffic/framememory.h"

namespace tarvex::devbus {

FrameFollower::FrameFollower(const traffic::FrameMemory& frames, qint64 last, QObject* parent)
    : ControlStream(parent), m_cursor(frames, FrameCursor::numberOfLast(frames, last))
{
    connect(&frames, &traffic::FrameMemory::added, this, &ControlStream::ready);
}

QByteArray FrameFollower::next()
{
    QByteArray lines;
    while (lines.size() < TURN_BYTES) {
        const auto frame = m_cursor.next();
        if (!frame) {
            break;
        }
        lines += controllines::item(frame->toVariantMap());
    }
    return lines;
}

} // namespace tarvex::devbus
