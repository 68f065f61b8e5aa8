// Fuzz target for the frame codec: nothing that a peer sends may crash it, or make it take more memory than its bounds,
// and everything must be decoded and encoded as by the steps done by hand.

#include "codecbyhand.h"

#include "wire/busframe_p.h"
#include "wire/jsonreader_p.h"

#include <QtEndian>
#include <QtGlobal>

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

namespace busframe = tarvex::busframe;

/// Inputs are short, but they may inflate to much. Larger texts are not encoded again, so that the run stays fast.
constexpr int MAX_ROUND_TRIP_SIZE = 64 * 1024;

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

/// qUncompress warns about every damaged block, and nearly every input is one.
void silence()
{
    static const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    Q_UNUSED(previous)
}

/// An envelope that was decoded must encode, and must come back unchanged when it is decoded and encoded again. The
/// first time it may change, because QJsonDocument reads an integer above 2^53 exactly and writes it rounded to a
/// double.
void checkRoundTrip(const QVariantMap& envelope)
{
    const QByteArray payload = busframe::encodePayload(envelope);
    require(payload == byhand::payload(envelope));
    const busframe::Decoded again = busframe::decodePayload(payload);
    require(again.isValid);
    require(again.envelope.size() == envelope.size());
    require(busframe::encodePayload(again.envelope) == payload);
}

/// A long text is not compared, because it may be refused for a mistake or for its number of values, whichever is seen
/// first.
void requireSame(const busframe::Decoded& codec, const busframe::Decoded& expected)
{
    if (expected.json.size() > tarvex::jsonreader::MAX_UNCOUNTED_SIZE) {
        return;
    }
    const QString difference = byhand::difference(codec, expected);
    if (!difference.isEmpty()) {
        std::fprintf(stderr, "not as by hand: %s\n", qPrintable(difference));
        std::abort();
    }
}

void check(const QByteArray& payload)
{
    const busframe::Decoded decoded = busframe::decodePayload(payload);
    require(decoded.json.size() <= busframe::MAX_ENVELOPE_SIZE);
    require(decoded.isValid == decoded.errorText.isEmpty());
    require(decoded.isValid || decoded.envelope.isEmpty());
    const busframe::Decoded expected = byhand::decoded(payload);
    requireSame(decoded, expected);
    // The codec of a connection, which has decoded the inputs before this one.
    static busframe::Codec kept;
    requireSame(kept.decodePayload(payload), expected);
    if (decoded.isValid && expected.json.size() <= MAX_ROUND_TRIP_SIZE) {
        checkRoundTrip(decoded.envelope);
    }
    busframe::resultCode(decoded.envelope.value(QStringLiteral("result")).toMap());
}

/// A block like those of qCompress, but stored and not compressed, because the fuzzer should not spend its time with
/// deflate's tables. The length prefix says \a claimed.
QByteArray block(const QByteArray& text, quint32 claimed)
{
    const auto size = static_cast<quint16>(std::min(text.size(), 0xffff));
    const auto* bytes = reinterpret_cast<const Bytef*>(text.constData());
    QByteArray block(15, '\0');
    qToBigEndian(claimed, block.data());
    qToBigEndian<quint16>(0x7801, block.data() + 4); // zlib's header
    block[6] = 1;                                    // one stored part, the last
    qToLittleEndian(size, block.data() + 7);
    qToLittleEndian(static_cast<quint16>(~size), block.data() + 9);
    block.insert(11, text.constData(), size);
    qToBigEndian(static_cast<quint32>(adler32(adler32(0, nullptr, 0), bytes, size)), block.data() + 11 + size);
    return block;
}

void checkLine(const QByteArray& bytes)
{
    const QString line = busframe::lineText(bytes);
    require(line == line.simplified());
    require(line.size() <= bytes.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    silence();
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<int>(size));
    check(bytes);                                                       // as a payload
    check(bytes.toBase64());                                            // as a block: length prefix and stream
    check(block(bytes, static_cast<quint32>(bytes.size())).toBase64()); // as JSON text
    // The same with a length prefix that the input chooses, so that a wrong prefix reaches the inflater.
    if (bytes.size() > 4) {
        check(block(bytes.mid(4), qFromBigEndian<quint32>(bytes.constData())).toBase64());
    }
    checkLine(bytes);
    return 0;
}
