#ifndef SOCKETREADER_P_H
#define SOCKETREADER_P_H

#include <QByteArray>
#include <QPointer>
#include <QTcpSocket>

#include <functional>

/// Reading from a bus connection without its event loop, for both connections.
///
/// QTcpSocket is buffered: read() and canReadLine() see only what Qt has taken from the system already, and between two
/// turns of the event loop it takes nothing. So each step here first takes in what the system holds by then. That waits
/// for nothing, logs nothing, and emits none of the socket's signals but those of a lost connection, error() and then
/// disconnected(), which are emitted when the step is over.
namespace tarvex::socketreader {

/// Says whether whoever reads has become indifferent to what is still missing.
using GiveUp = std::function<bool()>;

/// Reads one header or size line: at most 15 bytes, the line end included.
///
/// A line that has not come whole gets 20 rounds of 10 ms before it is taken as it is. Call it from the socket's own
/// thread; \a socket may be null afterwards.
QByteArray readLine(const QPointer<QTcpSocket>& socket);

/// Gives a line that has not come whole 20 rounds of 10 ms, fewer when the peer has gone. \return whether a whole line
/// can be read now.
bool awaitLine(const QPointer<QTcpSocket>& socket);

/// Takes a payload of \a size bytes in, in at most size / 100 + 1 rounds of 10 ms each, in 20 if that is more, and one
/// look after the last.
///
/// Blocks for these rounds at most. Blocks for less when the payload is complete, when the peer has gone and nothing is
/// left to take in, when nothing has come for busframe::PAYLOAD_SILENCE_TIMEOUT_MS, or when
/// busframe::PAYLOAD_TIMEOUT_MS are over. A round that has brought nothing is the last one if \a giveUp says so. After
/// the first 20 any round is the last one if \a giveUp says so or the thread's interruption is requested. A size above
/// busframe::MAX_PAYLOAD_SIZE is not waited for. Memory grows with what arrives only. \return what has come, at most \a
/// size bytes.
QByteArray readPayload(
    const QPointer<QTcpSocket>& socket, qint32 size, const GiveUp& giveUp = [] { return false; });

/// Takes in what the system holds, without waiting. \return whether there is anything to be read.
bool hasUnaskedBytes(const QPointer<QTcpSocket>& socket);

} // namespace tarvex::socketreader

#endif // SOCKETREADER_P_H
