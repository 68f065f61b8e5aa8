#ifndef FRAMEFOLLOWER_H
#define FRAMEFOLLOWER_H

#include "controlstream.h"

namespace tarvex::traffic {
class FrameMemory;
}

namespace tarvex::devbus {

/// The frames of the bus as lines: the last ones, and then each as it passes.
///
/// A client that does not keep up gets the frames that the memory still has. For those that are gone it gets one item
/// of the kind "gap", which says how many they are.
class FrameFollower : public ControlStream
{
    Q_OBJECT
public:
    /// No more lines are given at once when there are this many bytes.
    static constexpr int TURN_BYTES = 64 * 1024;

    /// Begins with the last \a last frames of \a frames, or with as many as there are.
    FrameFollower(const traffic::FrameMemory& frames, qint64 last, QObject* parent = nullptr);

    QByteArray next() override;

private:
    QByteArray gapLine();

    const traffic::FrameMemory& m_frames;
    qint64 m_nextNumber;
};

} // namespace tarvex::devbus

#endif // FRAMEFOLLOWER_H
