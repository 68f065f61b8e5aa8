#include "outgoingframes.h"

#include "faultyframe.h"

#include <QTcpSocket>

#include <limits>
#include <sys/socket.h>
#include <utility>

namespace tarvex::devbus {

namespace {

using Effect = FaultRule::Effect;

/// A limited frame is written in so many pieces a second, so that a reader sees it trickle.
constexpr qint64 LIMIT_PIECES_PER_S = 20;
constexpr qint64 MS_PER_S = 1000;

} // namespace

OutgoingFrames::OutgoingFrames(QTcpSocket& socket, QObject* parent) : QObject(parent), m_socket(socket)
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &OutgoingFrames::run);
}

void OutgoingFrames::add(const OutgoingFrame& frame)
{
    if (m_held.empty() && !frame.fault && m_pauseEndMs <= m_clock.elapsed()) {
        m_socket.write(frame.bytes);
        Q_EMIT passed(frame.seen, framePayload(frame.bytes));
        return;
    }
    m_held.push_back(hold(frame, m_clock.elapsed()));
    m_heldBytes += m_held.back().bytes.size();
    if (!m_isRunning && !m_timer.isActive()) {
        m_timer.start(0);
    }
}

void OutgoingFrames::clear()
{
    m_timer.stop();
    m_held.clear();
    m_heldBytes = 0;
}

OutgoingFrames::Held OutgoingFrames::hold(const OutgoingFrame& frame, qint64 nowMs)
{
    Held held{frame, frame.bytes, nowMs, std::numeric_limits<int>::max(), 0, false};
    if (!frame.fault) {
        return held;
    }
    const FaultRule& rule = frame.fault->rule;
    held.bytes = faultyFrame(frame.bytes, *frame.fault);
    if (rule.effect == Effect::Delay) {
        held.dueAtMs += rule.amount;
    } else if (rule.effect == Effect::Pieces) {
        held.pieceSize = static_cast<int>(rule.amount);
        held.pauseMs = rule.gapMs;
    } else if (rule.effect == Effect::Limit) {
        held.pieceSize = static_cast<int>(qMax<qint64>(1, rule.amount / LIMIT_PIECES_PER_S));
        held.pauseMs = static_cast<int>((held.pieceSize * MS_PER_S + rule.amount - 1) / rule.amount);
        held.hasLastPause = true;
    }
    return held;
}

/// Writing can lead to further frames, which come while this runs; they only join the others.
void OutgoingFrames::run()
{
    if (m_isRunning) {
        return;
    }
    m_isRunning = true;
    while (!m_held.empty()) {
        const qint64 waitMs = qMax(m_held.front().dueAtMs, m_pauseEndMs) - m_clock.elapsed();
        if (waitMs > 0) {
            m_timer.start(static_cast<int>(waitMs));
            break;
        }
        step();
    }
    m_isRunning = false;
    if (m_held.empty()) {
        Q_EMIT emptied();
    }
}

void OutgoingFrames::step()
{
    if (!m_held.front().isTold) {
        tell();
    } else if (m_held.front().writtenBytes < m_held.front().bytes.size()) {
        writePiece();
    } else {
        endFrame();
    }
}

void OutgoingFrames::tell()
{
    Held& held = m_held.front();
    held.isTold = true;
    traffic::SeenFrame seen = held.frame.seen;
    if (held.frame.fault) {
        seen.fault = held.frame.fault->words();
    }
    if (!held.bytes.isEmpty()) {
        Q_EMIT passed(seen, framePayload(held.frame.bytes));
        return;
    }
    seen.problem = seen.kind == traffic::Kind::Reply
        ? QStringLiteral("the reply to %1 was not sent").arg(seen.operation)
        : QStringLiteral("a push was not sent");
    seen.kind = traffic::Kind::Gap;
    seen.data.clear();
    Q_EMIT passed(seen, {});
}

/// Each piece is flushed, so that it goes on its way alone. The flush can end the connection, and all frames with it.
void OutgoingFrames::writePiece()
{
    Held& held = m_held.front();
    const QByteArray piece = held.bytes.mid(held.writtenBytes, held.pieceSize);
    held.writtenBytes += piece.size();
    m_heldBytes -= piece.size();
    if (held.hasLastPause || held.writtenBytes < held.bytes.size()) {
        m_pauseEndMs = m_clock.elapsed() + held.pauseMs;
    }
    m_socket.write(piece);
    m_socket.flush();
}

void OutgoingFrames::endFrame()
{
    const std::optional<Fault> fault = m_held.front().frame.fault;
    m_held.pop_front();
    if (fault && fault->rule.effect == Effect::Cut) {
        reset();
    } else if (fault && fault->rule.effect == Effect::Drop) {
        clear();
        Q_EMIT closeWanted();
    }
}

/// Lets the client's end fail, in place of an orderly close.
void OutgoingFrames::reset()
{
    clear();
    const linger atOnce{1, 0};
    ::setsockopt(static_cast<int>(m_socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    m_socket.abort();
}

} // namespace tarvex::devbus
