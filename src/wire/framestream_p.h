#ifndef FRAMESTREAM_P_H
#define FRAMESTREAM_P_H

#include <QByteArray>
#include <QString>

namespace tarvex {

/// One frame. Its payload is still encoded.
struct Frame
{
    bool isReply = false; ///< Otherwise a request.
    QByteArray payload;
};

/// Finds the frames in what a connection delivers in pieces of any size.
///
/// It holds the bytes that were appended and not handed out yet. It never allocates what a size line claims.
class FrameStream
{
public:
    enum Result {
        Incomplete,    ///< More bytes are needed.
        Complete,      ///< A frame was handed out. There may be more.
        UnknownHeader, ///< A line that begins no frame. The place in the stream is lost for good.
        WrongSize,     ///< A size line that is no possible size. The place in the stream is lost for good.
    };

    void append(const QByteArray& bytes);

    /// Hands out the next frame. After UnknownHeader and WrongSize every further call returns the same.
    Result next(Frame& frame);

    /// The line that was not understood, to be shown in a log line.
    QString lostLine() const { return m_lostLine; }

private:
    enum State {
        AtHeader,
        AtSize,
        InPayload,
        LostHeader,
        LostSize,
    };

    int unread() const { return m_buffer.size() - m_at; }

    void readHeader();
    void readSize();
    void readPayload();
    bool takeLine(QString& line);
    void lose(State state, const QString& line);

    State m_state = AtHeader;
    bool m_progress = false;
    QByteArray m_buffer;
    int m_at = 0; ///< What stands before it in the buffer has been read.
    Frame m_frame;
    int m_size = 0;
    QString m_lostLine;
};

} // namespace tarvex

#endif // FRAMESTREAM_P_H
