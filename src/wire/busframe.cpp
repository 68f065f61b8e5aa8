#include "wire/busframe_p.h"

#include "wire/jsonreader_p.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#define ZLIB_CONST // the input is read only: no copy of it
#include <zlib.h>

#include <algorithm>

namespace tarvex::busframe {

namespace {

/// qCompress puts the inflated length in front of the zlib stream, 4 bytes, big-endian.
constexpr int LENGTH_PREFIX_SIZE = 4;
/// Deflate compresses by 1032 : 1 at most.
constexpr int MAX_INFLATE_RATIO = 1032;
/// A block up to this size cannot inflate beyond the bound, so it is given to qUncompress.
constexpr int MAX_TRUSTED_BLOCK_SIZE = MAX_ENVELOPE_SIZE / MAX_INFLATE_RATIO;
constexpr int MIN_INFLATE_BUFFER_SIZE = 1024 * 1024;

QByteArray frame(const char* header, const QVariantMap& envelope)
{
    const QByteArray payload = encodePayload(envelope);
    const QByteArray size = QByteArray::number(payload.size());
    QByteArray bytes;
    bytes.reserve(static_cast<int>(qstrlen(header)) + size.size() + payload.size() + 4);
    bytes.append(header).append("\r\n").append(size).append("\r\n").append(payload);
    return bytes;
}

QVariantMap requestEnvelope(const QString& operation, const QVariantMap& data)
{
    QVariantMap envelope;
    envelope.insert(KEY_OPERATION, operation);
    envelope.insert(KEY_DATA, data);
    return envelope;
}

/// The size of the first output buffer: what the prefix claims, but at most 1 MiB plus 8 times the size of the block.
/// The buffer grows later if that is not enough.
quint32 firstInflateSize(const QByteArray& block)
{
    const qint64 claimed = qFromBigEndian<quint32>(block.constData());
    const qint64 reasonable = MIN_INFLATE_BUFFER_SIZE + 8 * static_cast<qint64>(block.size());
    return static_cast<quint32>(std::min({claimed, reasonable, static_cast<qint64>(MAX_ENVELOPE_SIZE)}));
}

/// qUncompress allocates what the prefix claims, so a claim that is far too large is replaced. It enlarges the buffer
/// by itself if the prefix is too small.
QByteArray inflateTrusted(const QByteArray& block)
{
    if (block.size() <= LENGTH_PREFIX_SIZE) {
        return qUncompress(block);
    }
    const quint32 size = firstInflateSize(block);
    if (size == qFromBigEndian<quint32>(block.constData())) {
        return qUncompress(block);
    }
    QByteArray corrected = block;
    qToBigEndian(size, corrected.data());
    return qUncompress(corrected);
}

/// Inflates as qUncompress does, but never beyond MAX_ENVELOPE_SIZE. Empty on failure.
QByteArray inflateBounded(const QByteArray& block)
{
    z_stream stream{};
    stream.next_in = reinterpret_cast<const Bytef*>(block.constData()) + LENGTH_PREFIX_SIZE;
    stream.avail_in = static_cast<uInt>(block.size() - LENGTH_PREFIX_SIZE);
    if (inflateInit(&stream) != Z_OK) {
        return {};
    }

    QByteArray output;
    output.resize(static_cast<int>(std::clamp<quint32>(firstInflateSize(block), 1, MAX_ENVELOPE_SIZE)));
    int result = Z_OK;
    while (result == Z_OK) {
        const int used = static_cast<int>(stream.total_out);
        if (used == output.size()) {
            // The buffer does not grow beyond the bound. A text that ends exactly there succeeds; a longer one fails.
            output.resize(std::min(2 * used, MAX_ENVELOPE_SIZE));
        }
        stream.next_out = reinterpret_cast<Bytef*>(output.data()) + used;
        stream.avail_out = static_cast<uInt>(output.size() - used);
        result = inflate(&stream, Z_NO_FLUSH);
    }
    const auto total = stream.total_out;
    inflateEnd(&stream);
    if (result != Z_STREAM_END) {
        return {};
    }
    output.truncate(static_cast<int>(total));
    return output;
}

QByteArray inflateBlock(const QByteArray& block)
{
    return block.size() <= MAX_TRUSTED_BLOCK_SIZE ? inflateTrusted(block) : inflateBounded(block);
}

} // namespace

QByteArray encodePayload(const QVariantMap& envelope)
{
    return qCompress(QJsonDocument::fromVariant(envelope).toJson(QJsonDocument::Compact)).toBase64();
}

QByteArray encodeRequest(const QString& operation, const QVariantMap& data)
{
    return frame(REQUEST_HEADER, requestEnvelope(operation, data));
}

QByteArray encodeReply(const QString& operation, quint16 code, const QString& description, const QVariantMap& data)
{
    QVariantMap result;
    result.insert(KEY_CODE, static_cast<int>(code));
    result.insert(KEY_DESCRIPTION, description);
    QVariantMap envelope = requestEnvelope(operation, data);
    envelope.insert(KEY_RESULT, result);
    return frame(REPLY_HEADER, envelope);
}

Decoded decodePayload(const QByteArray& payload)
{
    Decoded decoded;
    QJsonParseError error{};
    decoded.json = inflateBlock(QByteArray::fromBase64(payload));
    const QJsonDocument document = jsonreader::parseJson(decoded.json, error);
    if (error.error != QJsonParseError::NoError) {
        decoded.errorText = error.errorString();
        return decoded;
    }
    decoded.isValid = true;
    decoded.envelope = document.object().toVariantMap();
    return decoded;
}

QString lineText(const QByteArray& line)
{
    return QString::fromLatin1(line.constData(), line.size()).simplified();
}

quint16 resultCode(const QVariantMap& result)
{
    return static_cast<quint16>(result.value(KEY_CODE).toUInt());
}

} // namespace tarvex::busframe
