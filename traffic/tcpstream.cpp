#include "traffic/tcpstream.h"

namespace tarvex::traffic {

namespace {

/// What a segment that waits takes beside its payload, in bytes, about.
constexpr qint64 ENTRY_BYTES = 128;

} // namespace

bool TcpStream::isNear(quint32 sequence) const
{
    return qAbs(offsetOf(sequence) - m_next) <= MAX_DISTANCE;
}

TcpStream::Pieces TcpStream::take(quint32 sequence, const QByteArray& payload, int cutOff)
{
    Pieces pieces;
    const qint64 at = offsetOf(sequence);
    if (at > m_next) {
        keep(at, payload, cutOff);
        if (m_waitingBytes > MAX_WAITING) {
            skipTo(m_waiting.begin()->first, pieces);
        }
    } else {
        hand(at, payload, cutOff, pieces);
    }
    handWaiting(pieces);
    return pieces;
}

TcpStream::Pieces TcpStream::acknowledge(quint32 sequence)
{
    Pieces pieces;
    qint64 offset = offsetOf(sequence);
    if (m_end) {
        offset = qMin(offset, *m_end); // the end itself is acknowledged as well, as if it was a byte
    }
    if (offset > m_next + MAX_DISTANCE) {
        return pieces;
    }
    while (m_next < offset) {
        const bool hasWaiting = !m_waiting.empty() && m_waiting.begin()->first < offset;
        skipTo(hasWaiting ? m_waiting.begin()->first : offset, pieces);
        handWaiting(pieces);
    }
    return pieces;
}

TcpStream::Pieces TcpStream::flush()
{
    Pieces pieces;
    while (!m_waiting.empty()) {
        skipTo(m_waiting.begin()->first, pieces);
        handWaiting(pieces);
    }
    if (m_end && m_next < *m_end) {
        skipTo(*m_end, pieces);
    }
    return pieces;
}

/// Numbers start again at 0 after 2^32, so only the distance from the next one counts.
qint64 TcpStream::offsetOf(quint32 sequence) const
{
    return m_next + static_cast<qint32>(sequence - m_nextSequence);
}

void TcpStream::keep(qint64 at, const QByteArray& payload, int cutOff)
{
    if (payload.isEmpty() && cutOff == 0) {
        return;
    }
    const auto known = m_waiting.find(at);
    if (known != m_waiting.end()) {
        if (known->second.payload.size() >= payload.size()) {
            return;
        }
        m_waitingBytes -= known->second.payload.size() + ENTRY_BYTES;
    }
    m_waiting[at] = {payload, cutOff};
    m_waitingBytes += payload.size() + ENTRY_BYTES;
}

void TcpStream::hand(qint64 at, const QByteArray& payload, int cutOff, Pieces& pieces)
{
    const qint64 known = m_next - at; // has come before
    if (known < payload.size()) {
        pieces.push_back({known == 0 ? payload : payload.mid(static_cast<int>(known)), 0});
        advance(payload.size() - known);
    }
    skipTo(at + payload.size() + cutOff, pieces);
}

void TcpStream::handWaiting(Pieces& pieces)
{
    while (!m_waiting.empty() && m_waiting.begin()->first <= m_next) {
        const qint64 at = m_waiting.begin()->first;
        const Waiting waiting = m_waiting.begin()->second;
        m_waiting.erase(m_waiting.begin());
        m_waitingBytes -= waiting.payload.size() + ENTRY_BYTES;
        hand(at, waiting.payload, waiting.cutOff, pieces);
    }
}

void TcpStream::skipTo(qint64 offset, Pieces& pieces)
{
    if (offset <= m_next) {
        return;
    }
    const qint64 missing = offset - m_next;
    if (!pieces.empty() && pieces.back().missing > 0) {
        pieces.back().missing += missing;
    } else {
        pieces.push_back({QByteArray(), missing});
    }
    advance(missing);
}

void TcpStream::advance(qint64 count)
{
    m_next += count;
    m_nextSequence += static_cast<quint32>(count);
}

} // namespace tarvex::traffic
