#include "clientreplay.h"

#include "colours.h"
#include "frameline.h"
#include "framesocket.h"
#include "output.h"
#include "programwords.h"

#include <algorithm>

namespace tarvexctl {

using tarvex::traffic::Direction;
using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

/// One connection that is played.
struct ClientReplay::Session
{
    enum State {
        New,
        Opening,
        Open,
        Over
    };

    ReplaySession plan;
    FrameSocket* socket = nullptr;
    State state = New;
    std::deque<SeenFrame> replies;
    std::deque<SeenFrame> pushes;
    std::deque<quint16> codes; ///< With which the next pushes are acknowledged.
};

namespace {

constexpr qint64 MAX_WAIT_MS = 3600000;

QString answerWords(const SeenFrame& frame)
{
    return frame.kind == Kind::Reply ? Words::tr("reply to %1").arg(frame.operation)
        : frame.command().isEmpty()  ? Words::tr("pushed message")
                                     : Words::tr("push of %1").arg(frame.command());
}

QString unsentWords(const SeenFrame& request)
{
    return Words::tr("request %1, which was not sent").arg(request.operation);
}

/// Whether a push may be the recorded one, though parts of it differ.
bool isLike(const SeenFrame& recorded, const SeenFrame& came)
{
    return recorded.from() == came.from() && recorded.command() == came.command();
}

} // namespace

ClientReplay::ClientReplay(ReplayScript script, const QHash<qint64, quint16>& acknowledgementCodes,
                           const ReplayPace& pace, Strictness strictness)
    : Replay(pace, strictness), m_script(std::move(script)), m_acknowledgementCodes(acknowledgementCodes)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &ClientReplay::advance);
    for (const ReplaySession& plan : m_script.sessions) {
        m_sessions.push_back(std::make_unique<Session>());
        m_sessions.back()->plan = plan;
    }
    for (const ReplayStep& step : m_script.steps) {
        if (step.type == ReplayStep::ExpectPush) {
            m_sessions.at(static_cast<std::size_t>(step.session))
                ->codes.push_back(m_acknowledgementCodes.value(step.frame.number));
        }
    }
}

ClientReplay::~ClientReplay() = default;

void ClientReplay::start()
{
    begin();
    if (pace().isByStep) {
        m_stepReader = std::make_unique<StepReader>();
        connect(m_stepReader.get(), &StepReader::stepped, this, [this] {
            ++m_steps;
            m_timer.start(0);
        });
        connect(m_stepReader.get(), &StepReader::closed, this, [this] {
            m_isInputOver = true;
            m_timer.start(0);
        });
    }
    m_timer.start(0);
}

void ClientReplay::giveUp()
{
    for (; m_at < m_script.steps.size(); ++m_at) {
        const ReplayStep& step = m_script.steps.at(m_at);
        if (step.type == ReplayStep::ExpectReply || step.type == ReplayStep::ExpectPush) {
            tellOfFrame(step.frame, answerWords(step.frame), true);
        } else if (step.type == ReplayStep::Send) {
            tellOfFrame(step.frame, unsentWords(step.frame), true);
        }
    }
}

void ClientReplay::advance()
{
    while (!m_isOver && m_at < m_script.steps.size()) {
        if (!perform(m_script.steps.at(m_at))) {
            return; // a timer or a socket calls again
        }
        ++m_at;
        m_waitingSinceMs = -1;
    }
    if (!m_isOver) {
        m_isOver = true;
        tellOfRest();
        for (const auto& session : m_sessions) {
            if (session->socket != nullptr) {
                session->socket->close();
            }
        }
        end();
    }
}

bool ClientReplay::perform(const ReplayStep& step)
{
    Session& session = *m_sessions.at(static_cast<std::size_t>(step.session));
    switch (step.type) {
    case ReplayStep::Open:
        return isDue(step) && performOpen(session);
    case ReplayStep::Send:
        return performSend(step, session);
    case ReplayStep::ExpectReply:
    case ReplayStep::ExpectPush:
        return performExpect(step, session);
    case ReplayStep::Close:
        if (isDue(step) && session.socket != nullptr) {
            session.state = Session::Over;
            session.socket->close();
        }
        return session.state == Session::Over || session.socket == nullptr;
    }
    return true;
}

bool ClientReplay::performOpen(Session& session)
{
    if (session.state == Session::New) {
        session.state = Session::Opening;
        session.socket = new FrameSocket(this);
        connect(session.socket, &FrameSocket::opened, this, [this, &session] {
            session.state = Session::Open;
            m_timer.start(0);
        });
        connect(session.socket, &FrameSocket::received, this,
                [this, &session](const SeenFrame& frame) { take(session, frame); });
        connect(session.socket, &FrameSocket::closed, this,
                [this, &session](const QString& why) { onClosed(session, why); });
        session.socket->connectToPort(session.plan.port);
    }
    if (session.state == Session::Opening && isPatienceOver()) {
        onClosed(session, Words::tr("nobody has accepted the connection in time"));
    }
    return session.state == Session::Open || session.state == Session::Over;
}

bool ClientReplay::performSend(const ReplayStep& step, Session& session)
{
    if (session.state == Session::Over) {
        tellOfFrame(step.frame, unsentWords(step.frame), true);
        return true;
    }
    if (!isDue(step)) {
        return false;
    }
    if (pace().isByStep && isForStep(step) && !takeStep(step.frame)) {
        return false;
    }
    session.socket->send(tarvex::traffic::encodeRequest(step.frame.operation, uids().withFresh(step.frame.data)));
    countSent();
    return true;
}

bool ClientReplay::isForStep(const ReplayStep& step)
{
    return step.type == ReplayStep::Send && step.frame.number > 0;
}

void ClientReplay::endByInput()
{
    const auto first = m_script.steps.cbegin() + m_at;
    setInputEnded(static_cast<int>(std::count_if(first, m_script.steps.cend(), isForStep)));
    for (const auto& session : m_sessions) {
        session->replies.clear(); // they may be recorded, later on
        session->pushes.clear();
    }
    m_at = m_script.steps.size();
    m_timer.start(0);
}

/// \return false when nobody has asked for the next step yet
bool ClientReplay::takeStep(const SeenFrame& next)
{
    if (m_steps > 0) {
        --m_steps;
        m_isPrompted = false;
        return true;
    }
    if (m_isInputOver) {
        endByInput();
    } else if (!m_isPrompted) {
        m_isPrompted = true;
        complain(Words::tr("next: %1").arg(FrameLines(Palette()).text(next).section(QLatin1Char('\n'), 1).trimmed()));
    }
    return false;
}

bool ClientReplay::performExpect(const ReplayStep& step, Session& session)
{
    const bool isReply = step.type == ReplayStep::ExpectReply;
    std::deque<SeenFrame>& queue = isReply ? session.replies : session.pushes;
    auto found = queue.begin();
    while (!isReply && found != queue.end() && !isLike(step.frame, *found)) {
        ++found;
    }
    if (found == queue.end() && session.state != Session::Over && !isPatienceOver()) {
        return false;
    }
    if (found != queue.end()) {
        SeenFrame came = *found;
        queue.erase(found);
        compare(step.frame, answerWords(step.frame), came);
        return true;
    }
    tellOfFrame(step.frame, answerWords(step.frame), true);
    if (isReply && session.state != Session::Over) {
        setFailure(Failure(TimedOut,
                           Words::tr("the bus has not replied to #%1, %2 of %3, in time")
                               .arg(QString::number(step.frame.answers), step.frame.operation, session.plan.client)));
    }
    return true;
}

bool ClientReplay::isDue(const ReplayStep& step)
{
    const qint64 rest = pace().isByStep ? 0 : pace().dueMs(step.offsetUs) - elapsedMs();
    if (rest > 0) {
        waitMs(rest);
    }
    return rest <= 0;
}

/// Begins to wait when it is asked first.
bool ClientReplay::isPatienceOver()
{
    if (m_waitingSinceMs < 0) {
        m_waitingSinceMs = elapsedMs();
    }
    const qint64 rest = m_waitingSinceMs + pace().patienceMs - elapsedMs();
    if (rest > 0) {
        waitMs(rest);
    }
    return rest <= 0;
}

void ClientReplay::waitMs(qint64 ms)
{
    m_timer.start(static_cast<int>(qMin<qint64>(ms, MAX_WAIT_MS)));
}

void ClientReplay::take(Session& session, const SeenFrame& frame)
{
    SeenFrame came = frame;
    came.client = session.plan.client;
    came.port = session.plan.port;
    came.direction = Direction::Out;
    if (frame.kind == Kind::Reply) {
        session.replies.push_back(came);
    } else if (frame.kind == Kind::Request) {
        acknowledge(session, came);
        session.pushes.push_back(came);
    }
    m_timer.start(0);
}

void ClientReplay::acknowledge(Session& session, const SeenFrame& push)
{
    quint16 code = 0;
    if (!session.codes.empty()) {
        code = session.codes.front();
        session.codes.pop_front();
    }
    session.socket->send(
        tarvex::traffic::encodeReply(push.operation, code, QString(), tarvex::traffic::acknowledgementData(push.data)));
}

void ClientReplay::onClosed(Session& session, const QString& why)
{
    const bool wasOpen = session.state == Session::Open;
    session.state = Session::Over;
    if (!wasOpen) {
        setFailure(Failure(NoBus, Words::tr("no bus to be reached on 127.0.0.1: %1").arg(why)));
        if (sentCount() > 0) {
            giveUp();
        }
        m_at = m_script.steps.size(); // the other connections will not be accepted either
    } else if (!isEndRecorded(session)) {
        tellOfEvent(session.plan.client,
                    Words::tr("end of the %1 connection").arg(tarvex::traffic::portName(session.plan.port)), why);
        setFailure(
            Failure(NoBus, Words::tr("a connection of %1 to the bus was lost: %2").arg(session.plan.client, why)));
    }
    m_timer.start(0);
}

/// Whether the recorded connection ended here too: all that was recorded on it before its end is sent or has come.
bool ClientReplay::isEndRecorded(const Session& session) const
{
    std::size_t replies = session.replies.size();
    std::size_t pushes = session.pushes.size();
    for (int at = m_at; at < m_script.steps.size(); ++at) {
        const ReplayStep& step = m_script.steps.at(at);
        if (m_sessions.at(static_cast<std::size_t>(step.session)).get() != &session) {
            continue;
        }
        if (step.type == ReplayStep::Close) {
            return true;
        }
        std::size_t& there = step.type == ReplayStep::ExpectReply ? replies : pushes;
        const bool isAnswer = step.type == ReplayStep::ExpectReply || step.type == ReplayStep::ExpectPush;
        if (!isAnswer || there == 0) {
            return false;
        }
        --there;
    }
    return false;
}

void ClientReplay::tellOfRest()
{
    for (const auto& session : m_sessions) {
        for (const SeenFrame& push : session->pushes) {
            tellOfFrame(push, answerWords(push), false);
        }
        for (const SeenFrame& reply : session->replies) {
            tellOfFrame(reply, answerWords(reply), false);
        }
    }
}

} // namespace tarvexctl
