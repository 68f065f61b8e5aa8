#ifndef BUSFRAME_P_H
#define BUSFRAME_P_H

#include "wire/blockcodec_p.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

/// The one home of the frame in which everything crosses a bus connection, in both directions:
///
///     [-REQUEST-] or [-REPLY-], CR LF, the payload's length in decimal digits, CR LF, the payload
///
/// The payload is base64 of a qCompress block of the envelope as compact JSON. Nothing follows the payload: the header
/// line of the next frame comes directly after its last byte. Nothing here uses a socket. The only log line is the
/// warning of qUncompress about a damaged block.
namespace tarvex::busframe {

/// The header lines, without their line ends.
const char* const REQUEST_HEADER = "[-REQUEST-]";
const char* const REPLY_HEADER = "[-REPLY-]";

/// Keys of the envelopes, in requests and in replies.
const QLatin1String KEY_OPERATION("operation");
const QLatin1String KEY_DATA("data");
/// Keys that only replies have. The last two stand inside the result.
const QLatin1String KEY_RESULT("result");
const QLatin1String KEY_CODE("code");
const QLatin1String KEY_DESCRIPTION("description");

/// Argument of QIODevice::readLine() for header and size lines: it takes at most 15 bytes, the line end included.
constexpr qint64 LINE_READ_LIMIT = 16;

// The wire is not trusted. These bounds lie far above anything that a device sends.

/// A reader does not wait for a payload whose size line says more than this, in bytes.
constexpr qint32 MAX_PAYLOAD_SIZE = 48 * 1024 * 1024;
/// An envelope whose JSON text is longer than this is undecodable, in bytes.
constexpr int MAX_ENVELOPE_SIZE = 32 * 1024 * 1024;
/// A reader gives a payload up when no byte has come for this long, in ms.
constexpr int PAYLOAD_SILENCE_TIMEOUT_MS = 30000;
/// A reader gives a payload up when it is not complete after this long, even if bytes still come, in ms.
constexpr int PAYLOAD_TIMEOUT_MS = 60000;

/// What a payload holds, or why it could not be decoded.
struct Decoded
{
    bool isValid = false;
    QVariantMap envelope; ///< Empty when the payload's JSON is not an object.
    QString errorText;    ///< The message of the JSON parser, if not valid.
    QByteArray json;      ///< If not valid, the inflated text for a dump. Empty if it could not be inflated.
};

/// Encodes and decodes the frames of one connection. What a frame becomes does not depend on the frames before it.
///
/// It keeps zlib's state and its buffers from one frame to the next: up to 310 kB, and twice MAX_KEPT_BUFFER_SIZE. A
/// connection that closes gives them back with release(). To be used in one thread at a time.
class Codec
{
public:
    /// A buffer that a larger frame needed is not kept, in bytes.
    static constexpr int MAX_KEPT_BUFFER_SIZE = 64 * 1024;

    /// Encodes an envelope as a payload.
    QByteArray encodePayload(const QVariantMap& envelope);

    /// A whole request frame; an empty \a data is written as an empty object.
    QByteArray encodeRequest(const QString& operation, const QVariantMap& data);

    /// A whole reply frame; \a code 0 means success.
    QByteArray encodeReply(const QString& operation, quint16 code, const QString& description, const QVariantMap& data);

    /// Decodes a payload. It needs no more memory than a small multiple of what a payload of this size can hold,
    /// whatever the length prefix claims. A payload that inflates beyond MAX_ENVELOPE_SIZE is refused.
    Decoded decodePayload(const QByteArray& payload);

    /// Frees what is kept.
    void release();

private:
    QByteArray frame(const char* header, const QVariantMap& envelope);
    void compress(const QVariantMap& envelope);
    void boundBuffers();

    BlockCodec m_blocks;
    QByteArray m_text;  ///< The JSON text of the frame.
    QByteArray m_block; ///< The text, compressed.
};

// The same for a single frame. Nothing is kept.

QByteArray encodePayload(const QVariantMap& envelope);
QByteArray encodeRequest(const QString& operation, const QVariantMap& data);
QByteArray encodeReply(const QString& operation, quint16 code, const QString& description, const QVariantMap& data);
Decoded decodePayload(const QByteArray& payload);

/// The text of a header or size line, as it is compared and parsed: Latin-1, without white space around it.
QString lineText(const QByteArray& line);

/// The code in the "result" of a reply: the low 16 bits of an unsigned number, 0 if there is none.
quint16 resultCode(const QVariantMap& result);

} // namespace tarvex::busframe

#endif // BUSFRAME_P_H
