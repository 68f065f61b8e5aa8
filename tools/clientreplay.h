#ifndef CLIENTREPLAY_H
#define CLIENTREPLAY_H

#include "replay.h"
#include "replayscript.h"

#include <QHash>

#include <deque>
#include <vector>

namespace tarvexctl {

class FrameSocket;

/// Plays the clients of a recording against a bus.
///
/// The steps are done in the recorded order. A step does not begin before its recorded time, nor before the answers
/// that were recorded before it have come, or the patience for them is over. Each pushed message is acknowledged at
/// once, with the code with which it was acknowledged in the recording.
class ClientReplay : public Replay
{
    Q_OBJECT
public:
    ClientReplay(ReplayScript script, const QHash<qint64, quint16>& acknowledgementCodes, const ReplayPace& pace,
                 Strictness strictness);
    ~ClientReplay() override;

    void start() override;
    void giveUp() override;

private:
    struct Session;

    void advance();
    /// \return whether the step is done
    bool perform(const ReplayStep& step);
    bool performOpen(Session& session);
    bool performSend(const ReplayStep& step, Session& session);
    bool performExpect(const ReplayStep& step, Session& session);
    /// Whether the step waits for a line on stdin when the replay goes by step. The handshake that was not recorded
    /// does not.
    static bool isForStep(const ReplayStep& step);
    void endByInput();
    bool takeStep(const tarvex::traffic::SeenFrame& next);
    bool isDue(const ReplayStep& step);
    bool isPatienceOver();
    void waitMs(qint64 ms);
    void take(Session& session, const tarvex::traffic::SeenFrame& frame);
    void acknowledge(Session& session, const tarvex::traffic::SeenFrame& push);
    void onClosed(Session& session, const QString& why);
    bool isEndRecorded(const Session& session) const;
    void tellOfRest();

    const ReplayScript m_script;
    const QHash<qint64, quint16> m_acknowledgementCodes;
    std::vector<std::unique_ptr<Session>> m_sessions;
    std::unique_ptr<StepReader> m_stepReader;
    QTimer m_timer;
    int m_at = 0;    ///< The step that comes next.
    int m_steps = 0; ///< How many steps somebody wants.
    qint64 m_waitingSinceMs = -1;
    bool m_isPrompted = false;
    bool m_isInputOver = false; ///< Nobody can want a step any more.
    bool m_isOver = false;
};

} // namespace tarvexctl

#endif // CLIENTREPLAY_H
