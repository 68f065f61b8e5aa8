#ifndef RECONNECTION_H
#define RECONNECTION_H

#include "literals.h"

#include <QString>
#include <QTest>

/// What the tests expect when a connection is refused or lost: the log lines about the socket's error, and when a
/// worker is back.
namespace reconnection {

inline const QString REFUSED_LINE = u"warning: QAbstractSocket::ConnectionRefusedError Connection refused"_s;
inline const QString CLOSED_LINE =
    u"warning: QAbstractSocket::RemoteHostClosedError The remote host closed the connection"_s;

/// The bounds of a timer of 5000 ms: Qt's coarse timers are up to 5 % early, and a loaded machine is late.
constexpr qint64 EARLIEST_MS = 4700;
constexpr qint64 LATEST_MS = 15000;
/// Clearly less than an interval, and far more than something needs that happens at once.
constexpr qint64 AT_ONCE_MS = 4000;
/// After this time such a timer is due for certain, with a clock that is moved on by hand.
constexpr int INTERVAL_MS = 5300;

/// If a connection is lost sooner than this after it was made, it is made anew only after the interval.
constexpr int EARLY_LOSS_MS = 1000;

/// Waits until the present connections are old enough to be made anew at once.
inline void letConnectionsAge()
{
    QTest::qWait(EARLY_LOSS_MS + 100);
}

} // namespace reconnection

#endif // RECONNECTION_H
