#include "framefollower.h"

#include "controllines.h"
#include "traffic/framememory.h"

namespace tarvex::devbus {

FrameFollower::FrameFollower(const traffic::FrameMemory& frames, qint64 last, QObject* parent)
    : ControlStream(parent)
    , m_frames(frames)
    , m_nextNumber(qMax(frames.firstNumber(), frames.nextNumber() - qMin(last, frames.nextNumber())))
{
    connect(&frames, &traffic::FrameMemory::added, this, &ControlStream::ready);
}

QByteArray FrameFollower::next()
{
    QByteArray lines = gapLine();
    while (lines.size() < TURN_BYTES) {
        const auto frame = m_frames.frame(m_nextNumber);
        if (!frame) {
            break;
        }
        lines += controllines::item(frame->toVariantMap());
        ++m_nextNumber;
    }
    return lines;
}

QByteArray FrameFollower::gapLine()
{
    const qint64 missed = m_frames.firstNumber() - m_nextNumber;
    if (missed <= 0) {
        return QByteArray();
    }
    traffic::SeenFrame gap;
    gap.kind = traffic::Kind::Gap;
    gap.number = m_nextNumber;
    gap.timeUs = traffic::currentTimeUs();
    gap.problem = QStringLiteral("%1 frames are missing, because this reader is too slow").arg(missed);
    m_nextNumber = m_frames.firstNumber();
    return controllines::item(gap.toVariantMap());
}

} // namespace tarvex::devbus
