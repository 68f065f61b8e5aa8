#ifndef SOCKETREADER_P_H
#define SOCKETREADER_P_H

#include <QByteArray>
#include <QPointer>
#include <QTcpSocket>

/// Reading from a bus connection without its event loop, for both connections.
///
/// QTcpSocket is buffered: read() and canReadLine() see only what Qt has taken from the system already, and between two
/// turns of the event loop it takes nothing. So each step here first takes in what the system holds by then. That waits
/// for nothing, logs nothing, and emits none of the socket's signals but those of a lost connection, error() and then
/// disconnected(), which are emitted when the step is over.
namespace tarvex::socketreader {

/// Reads one header or size line: at most 15 bytes, the line end included.
///
/// A line that has not come whole gets one more round, 10 ms, before it is taken as it is. Call it from the socket's
/// own thread; \a socket may be null afterwards.
QByteArray readLine(const QPointer<QTcpSocket>& socket);

/// Gives a line that has not come whole one more round. \return whether a whole line can be read now.
bool awaitLine(const QPointer<QTcpSocket>& socket);

/// Takes a payload of \a size bytes in, in at most size / 100 + 1 rounds of 10 ms each.
///
/// Blocks for these rounds at most, and for less when the payload is complete, when the peer has gone and nothing is
/// left to take in, when nothing has come for busframe::PAYLOAD_SILENCE_TIMEOUT_MS, or when the thread's interruption
/// is requested and a round has brought nothing. A size above busframe::MAX_PAYLOAD_SIZE is not waited for. Memory
/// grows with what arrives only. \return what has come, at most \a size bytes.
QByteArray readPayload(const QPointer<QTcpSocket>& socket, qint32 size);

} // namespace tarvex::socketreader

#endif // SOCKETREADER_P_H
