#include "framecursor.h"

#include "traffic/framememory.h"

namespace tarvex::devbus {

qint64 FrameCursor::numberOfLast(const traffic::FrameMemory& frames, qint64 last)
{
    return qMax(frames.firstNumber(), frames.nextNumber() - qMin(last, frames.nextNumber()));
}

std::optional<traffic::SeenFrame> FrameCursor::next()
{
    const qint64 missed = m_frames.firstNumber() - m_nextNumber;
    if (missed > 0) {
        const traffic::SeenFrame missing = gap(missed);
        m_nextNumber = m_frames.firstNumber();
        return missing;
    }
    std::optional<traffic::SeenFrame> frame = m_frames.frame(m_nextNumber);
    if (frame) {
        ++m_nextNumber;
    }
    return frame;
}

traffic::SeenFrame FrameCursor::gap(qint64 missed) const
{
    traffic::SeenFrame gap;
    gap.kind = traffic::Kind::Gap;
    gap.number = m_nextNumber;
    gap.timeUs = traffic::currentTimeUs();
    gap.problem = missed == 1 ? QStringLiteral("1 frame is missing, because this reader is too slow")
                              : QStringLiteral("%1 frames are missing, because this reader is too slow").arg(missed);
    return gap;
}

} // namespace tarvex::devbus
