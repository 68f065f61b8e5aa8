#ifndef FRAMES_H
#define FRAMES_H

#include "wire/busframe_p.h"

#include <QByteArray>

// Frames that were made with Python's zlib and base64, so that our codec is not tested against itself.
namespace frames {

/// The handshake of "printer".
const QByteArray HANDSHAKE("[-REQUEST-]\r\n84\r\n"
                           "AAAAM3icq1bKL0gtSizJzM9TslLKSMxLKc5IzE5V0lFKSSxJVLKqVspLzE0FShUUZeaVpBYp1dYCANFUEdY=");

/// What the bus replies.
const QByteArray ACCEPTED(
    "[-REPLY-]\r\n104\r\n"
    "AAAASHicq1bKL0gtSizJzM9TslLKSMxLKc5IzE5V0lFKSSxJVLKqrtVRKkotLs0pAbKVkvNTUpWsDICSqcXJRZkFUG1KtbUAj14Yiw==");

/// Asks for the state of "cashbox".
const QByteArray LOAD("[-REQUEST-]\r\n84\r\n"
                      "AAAANHicq1bKL0gtSizJzM9TslLKyU9MCS5JLElV0lFKSSxJVLKqVsovz0stAsolJxZnJOVXKNXWAgDkdhI+");

/// The reply with code 5.
const QByteArray REFUSED(
    "[-REPLY-]\r\n108\r\n"
    "AAAAUHicq1bKL0gtSizJzM9TslLKyU9MCS5JLElV0lFKSSxJVLKqrtVRKkotLs0pAbKVkvNTUpWsTIGSqcXJRZkFUG15+QrFYF21tQBhCBuo");

inline QByteArray header(const QByteArray& frame)
{
    return frame.left(frame.lastIndexOf('\n') + 1);
}

inline QByteArray payload(const QByteArray& frame)
{
    return frame.mid(frame.lastIndexOf('\n') + 1);
}

/// The same payload behind a size line that says something else.
inline QByteArray withSize(const QByteArray& frame, const QByteArray& size)
{
    return frame.left(frame.indexOf('\n') + 1) + size + "\r\n" + payload(frame);
}

/// A request with this payload.
inline QByteArray withPayload(const QByteArray& payload)
{
    return QByteArray(tarvex::busframe::REQUEST_HEADER) + "\r\n" + QByteArray::number(payload.size()) + "\r\n"
        + payload;
}

} // namespace frames

#endif // FRAMES_H
