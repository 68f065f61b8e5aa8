#include "wire/framestream_p.h"

#include "wire/busframe_p.h"

#include <utility>

namespace tarvex {

namespace {

/// The clients read a line with this limit, so nobody understands a longer one.
constexpr int MAX_LINE_SIZE = busframe::LINE_READ_LIMIT - 1;
/// Base64 always has groups of four characters.
constexpr int BASE64_GROUP_SIZE = 4;

bool isPossibleSize(int size)
{
    return size > 0 && size <= busframe::MAX_PAYLOAD_SIZE && size % BASE64_GROUP_SIZE == 0;
}

} // namespace

void FrameStream::append(const QByteArray& bytes)
{
    // What was read is dropped here, once, and not frame by frame: each time the rest would have to be moved.
    m_buffer.remove(0, m_at);
    m_at = 0;
    m_buffer.append(bytes);
}

FrameStream::Result FrameStream::next(Frame& frame)
{
    do {
        m_progress = false;
        switch (m_state) {
        case AtHeader:
            readHeader();
            break;
        case AtSize:
            readSize();
            break;
        case InPayload:
            readPayload();
            if (m_state == AtHeader) {
                frame = std::exchange(m_frame, {});
                return Complete;
            }
            break;
        case LostHeader:
            return UnknownHeader;
        case LostSize:
            return WrongSize;
        }
    } while (m_progress);
    return Incomplete;
}

void FrameStream::readHeader()
{
    QString line;
    if (!takeLine(line)) {
        if (unread() >= MAX_LINE_SIZE) {
            lose(LostHeader, busframe::lineText(m_buffer.mid(m_at, MAX_LINE_SIZE)));
        }
        return;
    }
    m_frame.isReply = line == QLatin1String(busframe::REPLY_HEADER);
    if (!m_frame.isReply && line != QLatin1String(busframe::REQUEST_HEADER)) {
        lose(LostHeader, line);
        return;
    }
    m_state = AtSize;
}

void FrameStream::readSize()
{
    QString line;
    if (!takeLine(line)) {
        if (unread() >= MAX_LINE_SIZE) {
            lose(LostSize, busframe::lineText(m_buffer.mid(m_at, MAX_LINE_SIZE)));
        }
        return;
    }
    bool isNumber = false;
    m_size = line.toInt(&isNumber, 10);
    if (!isNumber || !isPossibleSize(m_size)) {
        lose(LostSize, line);
        return;
    }
    m_state = InPayload;
}

void FrameStream::readPayload()
{
    const int count = qMin(m_size - m_frame.payload.size(), unread());
    m_frame.payload.append(m_buffer.constData() + m_at, count);
    m_at += count;
    if (unread() == 0) {
        m_buffer.clear(); // a large one is not kept
        m_at = 0;
    }
    if (m_frame.payload.size() == m_size) {
        m_state = AtHeader;
    }
}

bool FrameStream::takeLine(QString& line)
{
    const QByteArray beginning = m_buffer.mid(m_at, MAX_LINE_SIZE);
    const int end = beginning.indexOf('\n');
    if (end < 0) {
        return false;
    }
    line = busframe::lineText(beginning.left(end + 1));
    m_at += end + 1;
    m_progress = true;
    return true;
}

void FrameStream::lose(State state, const QString& line)
{
    m_state = state;
    m_lostLine = line;
    m_buffer.clear();
    m_at = 0;
    m_progress = true;
}

} // namespace tarvex
