#ifndef FRAMESTREAM_P_H
#define FRAMESTREAM_P_H

#include <QByteArray>
#include <QString>

namespace tarvex {

/// One frame as it came, its payload still encoded.
struct Frame
{
    bool isReply = false; ///< Otherwise a request.
    QByteArray payload;
};

/// Bytes in, frames out: takes what a connection delivers in pieces of any size and hands out the frames in it.
///
/// Holds no more than what has been appended and not handed out yet; it never makes room for what a size line claims.
class FrameStream
{
public:
    enum Result {
        Incomplete,    ///< More bytes are needed.
        Complete,      ///< A frame was handed out; there may be more.
        UnknownHeader, ///< A line that begins no frame. The place in the stream is lost for good.
        WrongSize,     ///< A size line that is no possible size. The place in the stream is lost for good.
    };

    void append(const QByteArray& bytes);

    /// Hands out the next frame. After UnknownHeader and WrongSize it goes on giving the same answer.
    Result next(Frame& frame);

    /// The line that was not understood, for a log line.
    QString lostLine() const { return m_lostLine; }

private:
    enum State {
        AtHeader,
        AtSize,
        InPayload,
        LostHeader,
        LostSize,
    };

    void readHeader();
    void readSize();
    void readPayload();
    bool takeLine(QString& line);
    void lose(State state, const QString& line);

    State m_state = AtHeader;
    bool m_progress = false;
    QByteArray m_buffer;
    Frame m_frame;
    int m_size = 0;
    QString m_lostLine;
};

} // namespace tarvex

#endif // FRAMESTREAM_P_H
