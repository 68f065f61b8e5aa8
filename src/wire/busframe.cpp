#include "wire/busframe_p.h"

#include "wire/base64_p.h"
#include "wire/jsonreader_p.h"
#include "wire/jsonwriter_p.h"
#include "wire/plainjson_p.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#include <cstring>
#include <limits>

namespace tarvex::busframe {

namespace {

/// Deflate compresses by 1032 : 1 at most.
constexpr int MAX_INFLATE_RATIO = 1032;
/// A block up to this size cannot inflate beyond the bound.
constexpr int MAX_TRUSTED_BLOCK_SIZE = MAX_ENVELOPE_SIZE / MAX_INFLATE_RATIO;
/// The buffers have at least this size, in bytes. Most frames need no more.
constexpr int MIN_BUFFER_SIZE = 1024;

QVariantMap requestEnvelope(const QString& operation, const QVariantMap& data)
{
    QVariantMap envelope;
    envelope.insert(KEY_OPERATION, operation);
    envelope.insert(KEY_DATA, data);
    return envelope;
}

QVariantMap replyEnvelope(const QString& operation, quint16 code, const QString& description, const QVariantMap& data)
{
    QVariantMap result;
    result.insert(KEY_CODE, static_cast<int>(code));
    result.insert(KEY_DESCRIPTION, description);
    QVariantMap envelope = requestEnvelope(operation, data);
    envelope.insert(KEY_RESULT, result);
    return envelope;
}

/// A buffer whose room is reserved keeps it when it becomes shorter.
void prepareBuffer(QByteArray& buffer)
{
    if (buffer.capacity() < MIN_BUFFER_SIZE) {
        buffer.reserve(MIN_BUFFER_SIZE);
    }
    buffer.resize(0);
}

void boundBuffer(QByteArray& buffer)
{
    if (buffer.capacity() > Codec::MAX_KEPT_BUFFER_SIZE) {
        buffer = QByteArray();
    }
}

/// Gives a damaged block to qUncompress, which says in a log line what is wrong with it. The length prefix is left out,
/// because qUncompress allocates what it claims. A larger block may also be one that inflates beyond the bound, so
/// nothing is logged about it.
void reportDamage(const QByteArray& block)
{
    if (block.size() <= BlockCodec::LENGTH_PREFIX_SIZE) {
        qUncompress(block);
    } else if (block.size() <= MAX_TRUSTED_BLOCK_SIZE) {
        QByteArray withoutClaim = block;
        qToBigEndian<quint32>(1, withoutClaim.data());
        qUncompress(withoutClaim);
    }
}

/// Reads a text that the short way does not take: it is wrong, or only unusual.
Decoded readUnusual(const QByteArray& text)
{
    Decoded decoded;
    QJsonParseError error{};
    const QJsonDocument document = jsonreader::parseJson(text, error);
    decoded.isValid = error.error == QJsonParseError::NoError;
    if (decoded.isValid) {
        decoded.envelope = document.object().toVariantMap();
    } else {
        decoded.errorText = error.errorString();
        decoded.json = QByteArray(text.constData(), text.size());
    }
    return decoded;
}

Decoded readText(const QByteArray& text)
{
    // A short text cannot have so many values that they have to be counted.
    const int maxValues =
        text.size() > jsonreader::MAX_UNCOUNTED_SIZE ? jsonreader::MAX_VALUES : std::numeric_limits<int>::max();
    {
        Decoded decoded;
        decoded.isValid = plainjson::readObject(text, maxValues, decoded.envelope);
        if (decoded.isValid) {
            return decoded;
        }
    } // what was read so far is freed first, because it may be large
    return readUnusual(text);
}

} // namespace

QByteArray Codec::encodePayload(const QVariantMap& envelope)
{
    compress(envelope);
    QByteArray payload(base64::encodedSize(m_block.size()), Qt::Uninitialized);
    base64::encode(m_block.constData(), m_block.size(), payload.data());
    boundBuffers();
    return payload;
}

QByteArray Codec::encodeRequest(const QString& operation, const QVariantMap& data)
{
    return frame(REQUEST_HEADER, requestEnvelope(operation, data));
}

QByteArray Codec::encodeReply(const QString& operation, quint16 code, const QString& description,
                              const QVariantMap& data)
{
    return frame(REPLY_HEADER, replyEnvelope(operation, code, description, data));
}

Decoded Codec::decodePayload(const QByteArray& payload)
{
    const QByteArray block = base64::decode(payload);
    prepareBuffer(m_text);
    if (!m_blocks.uncompress(block, MAX_ENVELOPE_SIZE, m_text)) {
        reportDamage(block);
        m_text.resize(0);
    }
    Decoded decoded = readText(m_text);
    boundBuffers();
    return decoded;
}

void Codec::release()
{
    m_blocks.release();
    m_text = QByteArray();
    m_block = QByteArray();
}

QByteArray Codec::frame(const char* header, const QVariantMap& envelope)
{
    compress(envelope);
    const int payloadSize = base64::encodedSize(m_block.size());
    const QByteArray beginning = QByteArray(header) + "\r\n" + QByteArray::number(payloadSize) + "\r\n";
    QByteArray bytes(beginning.size() + payloadSize, Qt::Uninitialized);
    std::memcpy(bytes.data(), beginning.constData(), static_cast<std::size_t>(beginning.size()));
    base64::encode(m_block.constData(), m_block.size(), bytes.data() + beginning.size());
    boundBuffers();
    return bytes;
}

/// The envelope as a block of qCompress, in m_block.
void Codec::compress(const QVariantMap& envelope)
{
    prepareBuffer(m_text);
    prepareBuffer(m_block);
    jsonwriter::append(m_text, envelope);
    m_blocks.compress(m_text, m_block);
}

void Codec::boundBuffers()
{
    boundBuffer(m_text);
    boundBuffer(m_block);
}

QByteArray encodePayload(const QVariantMap& envelope)
{
    return Codec().encodePayload(envelope);
}

QByteArray encodeRequest(const QString& operation, const QVariantMap& data)
{
    return Codec().encodeRequest(operation, data);
}

QByteArray encodeReply(const QString& operation, quint16 code, const QString& description, const QVariantMap& data)
{
    return Codec().encodeReply(operation, code, description, data);
}

Decoded decodePayload(const QByteArray& payload)
{
    return Codec().decodePayload(payload);
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
