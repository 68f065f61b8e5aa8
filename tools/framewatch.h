#ifndef FRAMEWATCH_H
#define FRAMEWATCH_H

#include "framefilter.h"
#include "interrupts.h"
#include "tally.h"

#include <QEventLoop>
#include <QTimer>

#include <deque>
#include <functional>
#include <optional>

#include "failure.h"
#include "programwords.h"
#include "traffic/seenframe.h"

namespace tarvexctl {

class FrameSource;

/// What a verb that follows frames does, in the main thread. A Failure that is thrown ends the verb.
struct FrameTask
{
    /// Called once, when frames can be seen from now on. May be empty.
    std::function<void()> start;
    /// Whether the frame is wanted. Called for each frame once, in their order.
    std::function<bool(const tarvex::traffic::SeenFrame&)> wants;
    /// Shows a frame that is wanted. Gaps are shown as well; only the others are counted.
    std::function<void(const tarvex::traffic::SeenFrame&)> show;
    QString nothingWords = Words::tr("nothing came"); ///< When the time is over and nothing was shown.
};

/// Which frames of the past are shown: the last ones that are wanted, so many at most. The past ends with the frame of
/// this number.
struct FramePast
{
    int count = 0;
    qint64 lastNumber = 0;
};

/// Follows a source until it ends, --count frames were shown, the time is over, or the program is interrupted.
class FrameWatch : public QObject
{
    Q_OBJECT
public:
    /// The frames of the past that are held until the last of them is known take no more than this, in bytes, about.
    static constexpr qint64 MAX_KEPT_BYTES = 64 << 20;

    FrameWatch(FrameSource& source, FrameTask task, const Limits& limits, const FramePast& past = {});

    /// Returns when there is nothing more to do. Throws Failure, with Interrupted or TimedOut as well.
    void run();

private:
    void begin();
    void take(const tarvex::traffic::SeenFrame& frame);
    void keep(const tarvex::traffic::SeenFrame& frame);
    void dropOldest();
    void show(const tarvex::traffic::SeenFrame& frame);
    void showKept();
    void timeUp();
    void end(const std::optional<Failure>& failure = std::nullopt);

    FrameSource& m_source;
    const FrameTask m_task;
    const Limits m_limits;
    FramePast m_past;
    std::deque<tarvex::traffic::SeenFrame> m_kept;
    qint64 m_keptBytes = 0;
    bool m_isPastCut = false;
    Tally m_tally;
    InterruptWatcher m_interrupts;
    QTimer m_deadline;
    QEventLoop m_loop;
    bool m_hasEnded = false;
    std::optional<Failure> m_failure;
};

} // namespace tarvexctl

#endif // FRAMEWATCH_H
