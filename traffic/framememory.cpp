#include "traffic/framememory.h"

#include <utility>

namespace tarvex::traffic {

namespace {

/// What a text may take, in characters.
constexpr int MAX_TEXT = 256;

qint64 bytesOf(const QString& text)
{
    return text.size() * static_cast<qint64>(sizeof(QChar));
}

/// What the payload has is taken from there again.
void removeContent(SeenFrame& frame)
{
    frame.data.clear();
    frame.operation.clear();
    frame.description.clear();
}

/// A few texts are kept of a frame whose payload is too large.
void leaveDataOut(SeenFrame& frame)
{
    frame.data.clear();
    frame.isDataLeftOut = true;
    frame.operation.truncate(MAX_TEXT);
    frame.description.truncate(MAX_TEXT);
}

} // namespace

FrameMemory::FrameMemory(qint64 maxBytes, QObject* parent) : QObject(parent), m_maxBytes(maxBytes)
{
    m_clock.start();
}

void FrameMemory::add(SeenFrame frame, const QByteArray& payload)
{
    constexpr qint64 NS_PER_US = 1000;
    frame.number = m_nextNumber++;
    frame.timeUs = currentTimeUs();
    m_correlator.take(frame, m_clock.nsecsElapsed() / NS_PER_US);
    frame.client.truncate(MAX_TEXT);
    const SeenFrame whole = frame;
    const bool isKept = payload.size() <= MAX_PAYLOAD;
    if (!isKept) {
        leaveDataOut(frame);
    } else if (!payload.isEmpty()) {
        removeContent(frame);
    }
    const qint64 bytes = ENTRY_BYTES + bytesOf(frame.client) + bytesOf(frame.operation) + bytesOf(frame.description)
        + bytesOf(frame.problem) + bytesOf(frame.fault) + (isKept ? payload.size() : 0);
    m_entries.push_back({std::move(frame), isKept ? payload : QByteArray(), bytes});
    m_bytes += bytes;
    while (m_bytes > m_maxBytes && m_entries.size() > 1) {
        m_bytes -= m_entries.front().bytes;
        m_entries.pop_front();
    }
    Q_EMIT added(whole);
}

std::optional<SeenFrame> FrameMemory::frame(qint64 number) const
{
    if (number < firstNumber() || number >= m_nextNumber) {
        return std::nullopt;
    }
    const Entry& entry = m_entries[static_cast<std::size_t>(number - firstNumber())];
    SeenFrame frame = entry.frame;
    if (!entry.payload.isEmpty()) {
        decodePayload(entry.payload, frame);
    }
    return frame;
}

} // namespace tarvex::traffic
