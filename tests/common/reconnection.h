#ifndef RECONNECTION_H
#define RECONNECTION_H

#include "literals.h"

#include <QString>
#include <QTest>

/// What the tests expect when a connection is refused or lost: the lines that the socket's error leaves in the log, and
/// when a worker is back.
namespace reconnection {

inline const QString REFUSED_LINE = u"warning: QAbstractSocket::ConnectionRefusedError Connection refused"_s;
inline const QString CLOSED_LINE =
    u"warning: QAbstractSocket::RemoteHostClosedError The remote host closed the connection"_s;

/// What a timer of 5000 ms makes of it: Qt's coarse timers are up to 5 % early, a loaded machine is late.
constexpr qint64 EARLIEST_MS = 4700;
constexpr qint64 LATEST_MS = 15000;
/// Clearly less than an interval, and a lot for something that happens at once.
constexpr qint64 AT_ONCE_MS = 4000;
/// After which such a timer is sure to be due, by a clock that is moved on by hand.
constexpr int INTERVAL_MS = 5300;

/// A connection that is lost sooner than this after it was made is made anew after the interval only.
constexpr int EARLY_LOSS_MS = 1000;

/// Lets the connections of this moment become old enough to be made anew at once.
inline void letConnectionsAge()
{
    QTest::qWait(EARLY_LOSS_MS + 100);
}

} // namespace reconnection

#endif // RECONNECTION_H
