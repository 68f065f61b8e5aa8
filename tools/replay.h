#ifndef REPLAY_H
#define REPLAY_H

#include "failure.h"
#include "replaydifference.h"

#include <QElapsedTimer>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <memory>
#include <optional>

namespace tarvex::traffic {
struct SeenFrame;
}

namespace tarvexctl {

/// How a recording is played.
struct ReplayPace
{
    double speed = 1;      ///< So many times as fast; 0 is without pauses.
    bool isByStep = false; ///< Each frame waits for a line on stdin.
    int patienceMs = 5000; ///< How long an answer that was recorded is waited for.

    qint64 dueMs(qint64 offsetUs) const;
};

/// Says when somebody wants the next step: for each line on stdin.
class StepReader : public QObject
{
    Q_OBJECT
public:
    explicit StepReader(QObject* parent = nullptr);

Q_SIGNALS:
    void stepped();
    void closed(); ///< There are no further lines.

private:
    void readInput();

    QSocketNotifier m_notifier;
};

/// Plays one side of a recording. Lives in one thread and needs its event loop.
class Replay : public QObject
{
    Q_OBJECT
public:
    Replay(const ReplayPace& pace, Strictness strictness);

    virtual void start() = 0;

    /// What has not been played yet becomes differences.
    virtual void giveUp() { }

    int differenceCount() const { return m_differenceCount; }

    /// How many frames were sent.
    int sentCount() const { return m_sentCount; }

    /// The first answer that was recorded and did not come, or the connection that was lost, or that stdin has ended.
    const std::optional<Failure>& failure() const { return m_failure; }

Q_SIGNALS:
    void differs(const tarvexctl::ReplayDifference& difference);
    void ended(); ///< Once.

protected:
    void begin();

    const ReplayPace& pace() const { return m_pace; }

    qint64 elapsedMs() const { return m_clock.elapsed(); }

    /// Compares what came with what was recorded.
    void compare(const tarvex::traffic::SeenFrame& recorded, const QString& what,
                 const tarvex::traffic::SeenFrame& came);
    /// A frame that was recorded and did not come, or the other way round: then \a recorded is false.
    void tellOfFrame(const tarvex::traffic::SeenFrame& frame, const QString& what, bool isRecorded);
    /// Something that came, was not recorded and is no frame.
    void tellOfEvent(const QString& client, const QString& what, const QString& words);
    void addDifference(const ReplayDifference& difference);

    void countSent() { ++m_sentCount; }

    void setFailure(const Failure& failure);
    /// stdin has ended while so many steps were not played.
    void setInputEnded(int steps);
    void end();

    UidMap& uids() { return m_uids; }

private:
    const ReplayPace m_pace;
    const Strictness m_strictness;
    UidMap m_uids;
    QElapsedTimer m_clock;
    std::optional<Failure> m_failure;
    int m_sentCount = 0;
    int m_differenceCount = 0;
    bool m_hasEnded = false;
};

} // namespace tarvexctl

Q_DECLARE_METATYPE(tarvexctl::ReplayDifference)

#endif // REPLAY_H
