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
/// Beside its bytes. Without it, a client that is never answered could have any number of frames held.
constexpr qint64 FRAME_BYTES = 4096;
constexpr qint64 NS_PER_MS = 1000000;
constexpr qint64 NS_PER_S = 1000 * NS_PER_MS;

qint64 keptBytes(const OutgoingFrame& frame)
{
    return FRAME_BYTES + frame.bytes.size();
}

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
    if (m_held.empty() && !frame.fault && m_pauseEndNs <= m_clock.nsecsElapsed()) {
        m_socket.write(frame.bytes);
        Q_EMIT passed(frame.seen, framePayload(frame.bytes));
        return;
    }
    m_held.push_back(hold(frame, m_clock.nsecsElapsed()));
    m_heldBytes += keptBytes(frame) + m_held.back().bytes.size();
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

OutgoingFrames::Held OutgoingFrames::hold(const OutgoingFrame& frame, qint64 nowNs)
{
    Held held{frame, frame.bytes, nowNs, std::numeric_limits<int>::max(), 0, 0};
    if (!frame.fault) {
        return held;
    }
    const FaultRule& rule = frame.fault->rule;
    held.bytes = faultyFrame(frame.bytes, *frame.fault);
    if (rule.effect == Effect::Delay) {
        held.dueAtNs += rule.amount * NS_PER_MS;
    } else if (rule.effect == Effect::Pieces) {
        held.pieceSize = static_cast<int>(rule.amount);
        held.gapNs = rule.gapMs * NS_PER_MS;
    } else if (rule.effect == Effect::Limit) {
        held.pieceSize = static_cast<int>(qMax<qint64>(1, rule.amount / LIMIT_PIECES_PER_S));
        held.bytesPerSecond = rule.amount;
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
        const qint64 waitNs = qMax(m_held.front().dueAtNs, m_pauseEndNs) - m_clock.nsecsElapsed();
        if (waitNs > 0) {
            m_timer.start(static_cast<int>((waitNs + NS_PER_MS - 1) / NS_PER_MS));
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
    if (held.bytesPerSecond > 0) {
        m_pauseEndNs = m_clock.nsecsElapsed() + piece.size() * NS_PER_S / held.bytesPerSecond;
    } else if (held.writtenBytes < held.bytes.size()) {
        m_pauseEndNs = m_clock.nsecsElapsed() + held.gapNs;
    }
    m_socket.write(piece);
    m_socket.flush();
}

void OutgoingFrames::endFrame()
{
    const std::optional<Fault> fault = m_held.front().frame.fault;
    m_heldBytes -= keptBytes(m_held.front().frame);
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
