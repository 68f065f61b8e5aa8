#ifndef TCPSTREAM_H
#define TCPSTREAM_H

#include <QByteArray>
#include <QtGlobal>

#include <map>
#include <optional>
#include <vector>

namespace tarvex::traffic {

/// What one side of a TCP connection has sent, in order, put together from segments that come twice, overlap, or come
/// in another order. What the capture has missed is a hole.
///
/// Its memory is bounded: when too much waits behind a hole, the hole is given up.
class TcpStream
{
public:
    /// What may wait behind a hole, in bytes.
    static constexpr qint64 MAX_WAITING = 4 << 20;
    /// A segment that lies further away belongs to another connection, in bytes.
    static constexpr qint64 MAX_DISTANCE = 64 << 20;

    /// The next part of the stream: bytes, or a hole.
    struct Piece
    {
        QByteArray bytes;
        qint64 missing = 0; ///< The size of the hole; 0 when there are bytes.
    };

    using Pieces = std::vector<Piece>;

    /// \a sequence is that of the first byte.
    explicit TcpStream(quint32 sequence) : m_nextSequence(sequence) { }

    /// Whether a segment with this number can belong to the stream.
    bool isNear(quint32 sequence) const;

    /// Takes a segment's payload, behind which \a cutOff bytes stood that were not kept. \return what comes next now
    Pieces take(quint32 sequence, const QByteArray& payload, int cutOff = 0);

    /// The stream ends at this number.
    void end(quint32 sequence) { m_end = offsetOf(sequence); }

    /// The other side has received everything before \a sequence. What is not here by now was missed.
    Pieces acknowledge(quint32 sequence);

    /// Nothing comes any more. \return what has waited behind holes
    Pieces flush();

    /// Whether everything up to the end was there.
    bool isEnded() const { return m_end && m_next >= *m_end; }

    /// What waits behind holes, in bytes.
    qint64 waitingBytes() const { return m_waitingBytes; }

private:
    struct Waiting
    {
        QByteArray payload;
        int cutOff = 0;
    };

    qint64 offsetOf(quint32 sequence) const;
    void keep(qint64 at, const QByteArray& payload, int cutOff);
    void hand(qint64 at, const QByteArray& payload, int cutOff, Pieces& pieces);
    void handWaiting(Pieces& pieces);
    void skipTo(qint64 offset, Pieces& pieces);
    void advance(qint64 count);

    // Places in the stream are counted from its beginning.
    qint64 m_next = 0;
    quint32 m_nextSequence;
    std::optional<qint64> m_end;
    std::map<qint64, Waiting> m_waiting;
    qint64 m_waitingBytes = 0;
};

} // namespace tarvex::traffic

#endif // TCPSTREAM_H
