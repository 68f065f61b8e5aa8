#ifndef TRACE_H
#define TRACE_H

#include "traffic/seenframe.h"

#include <QString>
#include <QVariantMap>

/// The lines in which a developer sees the traffic: one for each frame, whatever the frame holds.
namespace tarvex::devbus::trace {

/// Longer data is cut, in characters.
constexpr int MAX_DATA_LENGTH = 512;

enum class Direction {
    In,  ///< From the client.
    Out, ///< To the client.
};

/// "12:30:01.250 in  query/printer REQUEST loadState {"owner":"printer"}"; a reply ends with its code. The client's
/// name is "-" until it introduces itself.
QString frameLine(Direction direction, const QString& port, const QString& client, bool isReply,
                  const QVariantMap& envelope);

/// The line of what the bus has sent, with the fault that it has met in brackets at the end.
QString sentLine(const traffic::SeenFrame& frame);

/// The same for bytes that are no frame. \a what says what is wrong with them.
QString noticeLine(const QString& port, const QString& client, const QString& what);

} // namespace tarvex::devbus::trace

#endif // TRACE_H
