#ifndef SOCKETREADER_P_H
#define SOCKETREADER_P_H

#include <QByteArray>
#include <QPointer>
#include <QTcpSocket>

#include <functional>

/// Reading from a bus connection without its event loop, for both connections.
///
/// QTcpSocket is buffered: read() and canReadLine() see only what Qt has taken from the system already, and Qt takes
/// nothing between two turns of the event loop. So each step here first takes in what the system holds at that time.
/// This does not wait and logs nothing. Of the socket's signals it emits only those of a lost connection, error() and
/// then disconnected(), and it emits them when the step is over.
namespace tarvex::socketreader {

/// Returns true when the caller no longer needs what is still missing.
using GiveUp = std::function<bool()>;

/// Reads one header or size line: at most 15 bytes, the line end included.
///
/// Waits up to 20 rounds of 10 ms for the rest of an incomplete line, then takes what there is. To be called in the
/// socket's own thread. \a socket may be null afterwards.
QByteArray readLine(const QPointer<QTcpSocket>& socket);

/// Waits up to 20 rounds of 10 ms for the rest of an incomplete line, less if the peer has closed the connection.
/// \return whether a whole line can be read now.
bool awaitLine(const QPointer<QTcpSocket>& socket);

/// Takes in a payload of \a size bytes. It looks at most size / 100 + 1 times, or 20 times if that is more, waits 10 ms
/// after each look, and looks once more at the end.
///
/// Blocks for this long at most. It returns earlier when
/// - the payload is complete,
/// - the peer has closed the connection and nothing is left to take in,
/// - nothing has come for busframe::PAYLOAD_SILENCE_TIMEOUT_MS, or busframe::PAYLOAD_TIMEOUT_MS are over,
/// - a look has found nothing and \a giveUp returns true,
/// - it has looked 20 times, and \a giveUp returns true or the thread's interruption is requested,
/// - \a size is above busframe::MAX_PAYLOAD_SIZE.
///
/// It allocates only what has arrived. \return what has come, at most \a size bytes.
QByteArray readPayload(
    const QPointer<QTcpSocket>& socket, qint32 size, const GiveUp& giveUp = [] { return false; });

/// Takes in what the system holds, without waiting. \return whether there are bytes to be read.
bool hasUnaskedBytes(const QPointer<QTcpSocket>& socket);

} // namespace tarvex::socketreader

#endif // SOCKETREADER_P_H
