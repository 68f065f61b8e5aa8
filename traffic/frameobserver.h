#ifndef FRAMEOBSERVER_H
#define FRAMEOBSERVER_H

#include "wire/busframe_p.h"
#include "wire/framestream_p.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <vector>

namespace tarvex::traffic {

/// Finds the frames in what one side of a connection has sent, while it is not certain that all of it is there, or that
/// all of it is right.
///
/// At the beginning of a frame it knows where the next one begins. When it has lost its place, because a frame was bad
/// or bytes are missing, it looks for the next header that it can trust: a header line, a size line, and a payload that
/// decodes. It holds the bytes of one frame that is not complete.
class FrameObserver
{
public:
    enum Begin {
        AtFrame, ///< The first byte begins a frame.
        Anywhere ///< The first byte may lie in the middle of one.
    };

    /// Something that was found.
    struct Finding
    {
        enum Kind {
            Frame,
            Bad, ///< Bytes that are no frame, or a frame that holds no envelope.
            Gap  ///< Bytes that were not seen, or not understood.
        };

        Kind kind = Frame;
        bool isReply = false; ///< Of a frame. Otherwise it is a request.
        QVariantMap envelope; ///< Of a frame.
        int size = 0;         ///< Of the payload, in bytes.
        QString problem;      ///< What is wrong. Empty for a frame.
        qint64 offset = 0;    ///< Where it begins: the place of its first byte, from 0.
        qint64 packet = 0;    ///< The packet in which it begins.
    };

    using Findings = std::vector<Finding>;

    /// \a codec must live longer. Several observers of one thread can share it.
    FrameObserver(Begin begin, busframe::Codec& codec)
        : m_codec(codec), m_isTrusted(begin == AtFrame), m_isSeeking(begin == Anywhere)
    {
    }

    /// Takes the next bytes, which \a packet has brought.
    Findings append(const QByteArray& bytes, qint64 packet);

    /// The next \a count bytes were not seen.
    Findings miss(qint64 count, qint64 packet);

    /// Lets the frame go that is not complete, because it takes too much memory.
    Findings giveUp();

    /// No further byte comes. A frame that is not complete is bad when \a isWhole, and a gap when the bytes end only
    /// because nobody has looked any longer.
    Findings end(bool isWhole);

    /// What it holds, in bytes, about.
    qint64 heldBytes() const { return m_pending.size() + m_read; }

private:
    enum class Step {
        Goes,
        Waits
    };

    Step step();
    Step seek();
    Step readHead();
    Step readPayload();
    void readFrame(const Frame& frame);
    void loseHead(FrameStream::Result result, const QString& line);
    void losePayload();
    void lose();
    void startFrame();
    void consume(int count);
    void dropRead();
    void reportSkipped(qint64 end);
    void report(Finding::Kind kind, qint64 offset, const QString& problem, int size = 0);

    QByteArray unread(int count) const { return m_pending.mid(m_at, count); }

    int available() const { return m_pending.size() - m_at; }

    bool isInFrame() const { return m_isInPayload || available() > 0; }

    QString partWords() const;
    QString headWords(FrameStream::Result result, const QString& line) const;

    busframe::Codec& m_codec;
    bool m_isTrusted; ///< The place where the present frame begins is certain.
    bool m_isSeeking; ///< No header has been found.
    bool m_isInPayload = false;
    QByteArray m_pending; ///< What was appended. What stands before m_at has been read.
    int m_at = 0;
    qint64 m_offset = 0;  ///< The place of the byte at m_at.
    qint64 m_lostAt = 0;  ///< Unless the place is trusted: from here on nothing was understood.
    qint64 m_frameAt = 0; ///< Where the present frame begins.
    qint64 m_packet = 0;
    qint64 m_framePacket = 0;
    int m_claimed = 0;    ///< What the size line says.
    qint64 m_read = 0;    ///< How much of the payload has been read.
    int m_lastSize = 0;   ///< The size of the payload that ends directly before m_frameAt; 0 when there is none.
    FrameStream m_stream; ///< The present frame.
    Findings m_findings;
};

} // namespace tarvex::traffic

#endif // FRAMEOBSERVER_H
