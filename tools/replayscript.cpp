#include "replayscript.h"

#include "traffic/framewire.h"
#include "traffic/operations.h"

#include <QHash>
#include <QPair>
#include <QSet>

namespace tarvexctl {

using tarvex::traffic::Direction;
using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

namespace {

bool isHandshake(const SeenFrame& frame)
{
    return frame.kind == Kind::Request && frame.operation == tarvex::traffic::handshakeOperation();
}

/// Makes the steps while it goes through the frames.
class ScriptMaker
{
public:
    ScriptMaker(const Recording& recording, const ReplayChoice& choice) : m_recording(recording), m_choice(choice) { }

    ReplayScript make();

private:
    /// The connections of a bus that was started again have the same numbers again.
    using Key = QPair<int, qint64>;

    Key keyOf(const SeenFrame& frame) const { return {m_epoch, frame.connection}; }

    void beginFrame(const RecordedFrame& recorded);
    void findNames();
    void take(const SeenFrame& frame);
    void takeRequest(const SeenFrame& frame);
    void takeReply(const SeenFrame& frame);
    bool isLeftOut(const SeenFrame& request);
    int sessionOf(const SeenFrame& frame);
    void introduce(int session, const SeenFrame& before);
    void add(ReplayStep::Type type, int session, const SeenFrame& frame);

    const Recording& m_recording;
    const ReplayChoice& m_choice;
    ReplayScript m_script;
    QHash<Key, QString> m_names;
    QHash<Key, int> m_sessions;
    QSet<qint64> m_sent;         ///< The numbers of the requests that are played.
    QSet<QString> m_leftOutUids; ///< Of the messages that are not played.
    int m_epoch = 0;
    qint64 m_lastNumber = 0;
    qint64 m_firstUs = -1;
    qint64 m_offsetUs = 0;
};

ReplayScript ScriptMaker::make()
{
    findNames();
    m_epoch = 0;
    m_lastNumber = 0;
    for (const RecordedFrame& recorded : m_recording.frames) {
        beginFrame(recorded);
        take(recorded.frame);
    }
    return m_script;
}

void ScriptMaker::beginFrame(const RecordedFrame& recorded)
{
    // The numbers begin again, or the recorder tells with a gap without number that they do.
    if (recorded.frame.number <= m_lastNumber) {
        ++m_epoch;
        m_sent.clear();
    }
    m_lastNumber = recorded.frame.number;
}

void ScriptMaker::findNames()
{
    for (const RecordedFrame& recorded : m_recording.frames) {
        beginFrame(recorded);
        const SeenFrame& frame = recorded.frame;
        const QString name = isHandshake(frame) ? frame.from() : frame.client;
        const Key key = keyOf(frame);
        if (frame.connection > 0 && !name.isEmpty() && !m_names.contains(key)) {
            m_names.insert(key, name);
        }
    }
}

void ScriptMaker::take(const SeenFrame& frame)
{
    if (m_firstUs < 0) {
        m_firstUs = frame.timeUs;
    }
    // The clock of the recording machine may have been set back.
    m_offsetUs = qMax(m_offsetUs, frame.timeUs - m_firstUs);
    if (frame.kind == Kind::Request) {
        takeRequest(frame);
    } else if (frame.kind == Kind::Reply) {
        takeReply(frame);
    } else if (frame.kind == Kind::Bad && frame.direction == Direction::In) {
        const QString name = m_names.value(keyOf(frame));
        m_script.badFrames += m_choice.only.isEmpty() || m_choice.only.contains(name) ? 1 : 0;
    } else if (frame.kind == Kind::Closed && m_sessions.contains(keyOf(frame))) {
        add(ReplayStep::Close, m_sessions.take(keyOf(frame)), frame);
    }
}

void ScriptMaker::takeRequest(const SeenFrame& frame)
{
    if (isLeftOut(frame)) {
        return;
    }
    const int session = sessionOf(frame);
    if (session < 0) {
        return;
    }
    if (frame.direction == Direction::In) {
        m_sent.insert(frame.number);
        add(ReplayStep::Send, session, frame);
    } else {
        add(ReplayStep::ExpectPush, session, frame);
    }
}

void ScriptMaker::takeReply(const SeenFrame& frame)
{
    if (frame.direction == Direction::Out && m_sent.contains(frame.answers) && m_sessions.contains(keyOf(frame))) {
        add(ReplayStep::ExpectReply, m_sessions.value(keyOf(frame)), frame);
    }
}

bool ScriptMaker::isLeftOut(const SeenFrame& request)
{
    if (request.isDataLeftOut) {
        m_script.withoutData += request.direction == Direction::In ? 1 : 0;
        return true;
    }
    const bool isOwn = m_choice.only.isEmpty() || m_choice.only.contains(m_names.value(keyOf(request)));
    if (request.direction == Direction::In && isOwn && !m_choice.withCommands && isRealCommand(request)) {
        ++m_script.commands;
        m_leftOutUids.insert(request.uid());
        return true;
    }
    return request.direction == Direction::Out && m_leftOutUids.contains(request.uid());
}

/// \return -1 when the connection is not played
int ScriptMaker::sessionOf(const SeenFrame& frame)
{
    const Key key = keyOf(frame);
    const auto known = m_sessions.constFind(key);
    if (known != m_sessions.constEnd()) {
        return *known;
    }
    const QString name = m_names.value(key);
    if (name.isEmpty()) {
        m_script.nameless += 1;
        m_sessions.insert(key, -1);
        return -1;
    }
    if (!m_choice.only.isEmpty() && !m_choice.only.contains(name)) {
        m_sessions.insert(key, -1);
        return -1;
    }
    const int session = m_script.sessions.size();
    m_script.sessions.append({name, frame.port});
    m_sessions.insert(key, session);
    add(ReplayStep::Open, session, frame);
    if (!isHandshake(frame)) {
        introduce(session, frame);
    }
    return session;
}

void ScriptMaker::introduce(int session, const SeenFrame& before)
{
    SeenFrame handshake = before;
    handshake.number = 0;
    handshake.kind = Kind::Request;
    handshake.direction = Direction::In;
    handshake.operation = tarvex::traffic::handshakeOperation();
    handshake.data = tarvex::traffic::handshakeData(m_script.sessions.at(session).client);
    add(ReplayStep::Send, session, handshake);
    handshake.kind = Kind::Reply;
    handshake.direction = Direction::Out;
    handshake.data.clear();
    add(ReplayStep::ExpectReply, session, handshake);
}

void ScriptMaker::add(ReplayStep::Type type, int session, const SeenFrame& frame)
{
    if (session >= 0) {
        m_script.steps.append({type, session, frame, m_offsetUs});
    }
}

} // namespace

QStringList ReplayScript::clients() const
{
    QStringList names;
    for (const ReplaySession& session : sessions) {
        if (!names.contains(session.client)) {
            names.append(session.client);
        }
    }
    return names;
}

ReplayScript clientScript(const Recording& recording, const ReplayChoice& choice)
{
    return ScriptMaker(recording, choice).make();
}

bool isRealCommand(const SeenFrame& frame)
{
    const QString command = frame.command();
    return !command.isEmpty() && command != tarvex::traffic::commands::updateSettings()
        && command != tarvex::traffic::commands::stateChanged();
}

} // namespace tarvexctl
