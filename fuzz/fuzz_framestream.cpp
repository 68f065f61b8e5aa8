// Fuzz target for the stream of frames. The same frames must come out however the bytes are cut into pieces, each
// payload must be found in the bytes, and a stream that has lost its place must stay lost.

#include "wire/busframe_p.h"
#include "wire/framestream_p.h"

#include <QByteArray>
#include <QList>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

using tarvex::Frame;
using tarvex::FrameStream;

/// The longest line that is looked at, in bytes.
constexpr int MAX_LINE_SIZE = tarvex::busframe::LINE_READ_LIMIT - 1;
constexpr int BASE64_GROUP_SIZE = 4;

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

/// What has come out of a stream.
struct Outcome
{
    QList<Frame> frames;
    FrameStream::Result last = FrameStream::Incomplete;
    QString lostLine;
};

void takeAll(FrameStream& stream, Outcome& outcome)
{
    const bool wasLost = outcome.last != FrameStream::Incomplete;
    const FrameStream::Result former = outcome.last;
    Frame frame;
    while ((outcome.last = stream.next(frame)) == FrameStream::Complete) {
        require(!wasLost);
        require(!frame.payload.isEmpty() && frame.payload.size() % BASE64_GROUP_SIZE == 0);
        outcome.frames.append(frame);
    }
    require(!wasLost || outcome.last == former);
    outcome.lostLine = stream.lostLine();
    require(outcome.last != FrameStream::Incomplete || outcome.lostLine.isEmpty());
    require(outcome.lostLine.size() <= MAX_LINE_SIZE);
}

Outcome readInPieces(const QByteArray& bytes, int pieceSize)
{
    FrameStream stream;
    Outcome outcome;
    for (int start = 0; start < bytes.size(); start += pieceSize) {
        stream.append(bytes.mid(start, pieceSize));
        takeAll(stream, outcome);
    }
    return outcome;
}

void requireSame(const Outcome& one, const Outcome& other)
{
    require(one.last == other.last);
    require(one.lostLine == other.lostLine);
    require(one.frames.size() == other.frames.size());
    for (int i = 0; i < one.frames.size(); ++i) {
        require(one.frames.at(i).isReply == other.frames.at(i).isReply);
        require(one.frames.at(i).payload == other.frames.at(i).payload);
    }
}

/// The bytes must hold the payloads, one after the other.
void requireFound(const QByteArray& bytes, const Outcome& outcome)
{
    int place = 0;
    for (const Frame& frame : outcome.frames) {
        place = bytes.indexOf(frame.payload, place);
        require(place >= 0);
        place += frame.payload.size();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    // The first byte says how large the pieces are; the others are the stream.
    const int pieceSize = data[0] % 32 + 1;
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, static_cast<int>(size) - 1);
    const Outcome whole = readInPieces(bytes, qMax(1, bytes.size()));
    requireFound(bytes, whole);
    requireSame(whole, readInPieces(bytes, pieceSize));
    requireSame(whole, readInPieces(bytes, 1));
    return 0;
}
