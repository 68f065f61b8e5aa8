#ifndef BUSFRAME_P_H
#define BUSFRAME_P_H

#include <QByteArray>
#include <QString>
#include <QVariantMap>

/// The one home of the frame in which everything crosses a bus connection, in both directions:
///
///     [-REQUEST-] or [-REPLY-], CR LF, the payload's length in decimal digits, CR LF, the payload
///
/// The payload is base64 of a qCompress block of the envelope as compact JSON. Nothing follows it: the next frame's
/// header line comes directly after its last byte. Pure functions: no socket, no state, and no log line but the word
/// that qUncompress has about a damaged block.
namespace tarvex::busframe {

/// The header lines, without their line ends.
const char* const REQUEST_HEADER = "[-REQUEST-]";
const char* const REPLY_HEADER = "[-REPLY-]";

/// Keys of the envelopes, in requests and in replies.
const QLatin1String KEY_OPERATION("operation");
const QLatin1String KEY_DATA("data");
/// Keys of replies alone; the last two stand inside the result.
const QLatin1String KEY_RESULT("result");
const QLatin1String KEY_CODE("code");
const QLatin1String KEY_DESCRIPTION("description");

/// Argument of readLine() for header and size lines: at most 15 bytes are taken, the line end included.
constexpr qint64 LINE_READ_LIMIT = 16;

// The wire is not trusted. These bounds lie far above anything that a device sends.

/// A size line above this is not waited for, in bytes.
constexpr qint32 MAX_PAYLOAD_SIZE = 48 * 1024 * 1024;
/// An envelope whose JSON text is longer than this counts as undecodable, in bytes.
constexpr int MAX_ENVELOPE_SIZE = 32 * 1024 * 1024;
/// A payload of which no byte has come for this long is given up, in ms.
constexpr int PAYLOAD_SILENCE_TIMEOUT_MS = 30000;
/// A payload that is not complete after this long is given up, however it trickles, in ms.
constexpr int PAYLOAD_TIMEOUT_MS = 60000;

/// Encodes an envelope as a payload.
QByteArray encodePayload(const QVariantMap& envelope);

/// A whole request frame; an empty \a data is written as an empty object.
QByteArray encodeRequest(const QString& operation, const QVariantMap& data);

/// A whole reply frame; \a code 0 means success.
QByteArray encodeReply(const QString& operation, quint16 code, const QString& description, const QVariantMap& data);

/// What a payload holds, or why there is nothing to be had from it.
struct Decoded
{
    bool isValid = false;
    QVariantMap envelope; ///< Empty when the payload's JSON is not an object.
    QString errorText;    ///< The JSON parser's words, when not valid.
    QByteArray json;      ///< The inflated text, for a dump; empty when it could not be inflated.
};

/// Decodes a payload. Needs no more memory than a small multiple of what \a payload can honestly hold, whatever its
/// length prefix claims; what inflates beyond MAX_ENVELOPE_SIZE is refused.
Decoded decodePayload(const QByteArray& payload);

/// A header or size line as it is compared and parsed: Latin-1, without white space around it.
QString lineText(const QByteArray& line);

/// The code of a reply envelope's "result": an unsigned number of which the low 16 bits count, 0 when missing.
quint16 resultCode(const QVariantMap& result);

} // namespace tarvex::busframe

#endif // BUSFRAME_P_H
