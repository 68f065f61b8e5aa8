#ifndef FRAMECURSOR_H
#define FRAMECURSOR_H

#include "traffic/seenframe.h"

#include <optional>

namespace tarvex::traffic {
class FrameMemory;
}

namespace tarvex::devbus {

/// A reader's place among the frames of the bus.
///
/// A reader that does not keep up gets the frames that the memory still has. For those that are gone it gets one frame
/// of the kind Gap, which says how many they are.
class FrameCursor
{
public:
    /// Begins with the frame of this number.
    FrameCursor(const traffic::FrameMemory& frames, qint64 number) : m_frames(frames), m_nextNumber(number) { }

    /// The number with which the last \a last frames begin, or as many as there are.
    static qint64 numberOfLast(const traffic::FrameMemory& frames, qint64 last);

    /// The next frame; nothing when there is none yet.
    std::optional<traffic::SeenFrame> next();

    /// The number of the frame that next() gives, unless that frame is gone by then.
    qint64 nextNumber() const { return m_nextNumber; }

private:
    traffic::SeenFrame gap(qint64 missed) const;

    const traffic::FrameMemory& m_frames;
    qint64 m_nextNumber;
};

} // namespace tarvex::devbus

#endif // FRAMECURSOR_H
