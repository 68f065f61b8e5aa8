#ifndef FRAMEFOLLOWER_H
#define FRAMEFOLLOWER_H

#include "controlstream.h"
#include "framecursor.h"

namespace tarvex::devbus {

/// The frames of the bus as lines: the last ones, and then each as it passes.
class FrameFollower : public ControlStream
{
    Q_OBJECT
public:
    /// No more lines are given at once when there are this many bytes.
    static constexpr int TURN_BYTES = 64 * 1024;
    /// The data of a frame is left out when it has more objects and arrays inside one another. Qt's parser takes 1024,
    /// and what is around the data needs some.
    static constexpr int MAX_LEVELS = 1000;

    /// Begins with the last \a last frames of \a frames, or with as many as there are.
    FrameFollower(const traffic::FrameMemory& frames, qint64 last, QObject* parent = nullptr);

    QByteArray next() override;

private:
    FrameCursor m_cursor;
};

} // namespace tarvex::devbus

#endif // FRAMEFOLLOWER_H
