#include "traffic/payloadproblem.h"

#include "wire/blockcodec_p.h"
#include "wire/busframe_p.h"

#define ZLIB_CONST // the input is read only
#include <zlib.h>

#include <array>

namespace tarvex::traffic {

namespace {

QString inflateWords(int result, const z_stream& stream)
{
    if (result == Z_BUF_ERROR) {
        return QStringLiteral("it ends too early, after %1 bytes of text").arg(stream.total_out);
    }
    const QString words =
        stream.msg == nullptr ? QStringLiteral("error %1").arg(result) : QString::fromLatin1(stream.msg);
    return QStringLiteral("%1, at byte %2 of it").arg(words, QString::number(stream.total_in));
}

/// Why zlib's part of a block does not inflate. The codec only says that it does not.
QString blockProblem(const QByteArray& block)
{
    constexpr int PREFIX_SIZE = BlockCodec::LENGTH_PREFIX_SIZE;
    if (block.size() <= PREFIX_SIZE) {
        return QStringLiteral("it has %1 bytes, and the length alone takes %2").arg(block.size()).arg(PREFIX_SIZE);
    }
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) {
        return QStringLiteral("there is no memory for it");
    }
    stream.next_in = reinterpret_cast<const Bytef*>(block.constData()) + PREFIX_SIZE;
    stream.avail_in = static_cast<uInt>(block.size() - PREFIX_SIZE);
    std::array<Bytef, 16384> text{}; // is not looked at
    int result = Z_OK;
    while (result == Z_OK && stream.total_out <= busframe::MAX_ENVELOPE_SIZE) {
        stream.next_out = text.data();
        stream.avail_out = static_cast<uInt>(text.size());
        result = inflate(&stream, Z_NO_FLUSH);
    }
    QString words;
    if (result == Z_STREAM_END && stream.total_out == 0) {
        words = QStringLiteral("its text is empty");
    } else if (result == Z_OK || result == Z_STREAM_END) {
        words = QStringLiteral("its text is longer than %1 bytes").arg(busframe::MAX_ENVELOPE_SIZE);
    } else {
        words = inflateWords(result, stream);
    }
    inflateEnd(&stream);
    return words;
}

} // namespace

QString payloadProblem(const QByteArray& payload, const busframe::Decoded& decoded)
{
    if (decoded.isValid) {
        return decoded.envelope.isEmpty() ? QStringLiteral("the payload's JSON is no object, or an empty one")
                                          : QString();
    }
    const auto base64 = QByteArray::fromBase64Encoding(payload, QByteArray::AbortOnBase64DecodingErrors);
    if (base64.decodingStatus != QByteArray::Base64DecodingStatus::Ok) {
        return QStringLiteral("the payload of %1 bytes is no base64").arg(payload.size());
    }
    if (decoded.json.isEmpty()) {
        return QStringLiteral("the payload's block does not inflate: %1").arg(blockProblem(base64.decoded));
    }
    return QStringLiteral("the payload's text is no JSON: %1").arg(decoded.errorText);
}

} // namespace tarvex::traffic
