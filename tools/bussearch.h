#ifndef BUSSEARCH_H
#define BUSSEARCH_H

#include <QString>

/// Looks whether a bus is there, without waiting longer than it may.
namespace tarvexctl {

/// Waits until a bus accepts a handshake of \a clientName. It tries again after every failure. Throws Failure when none
/// has within \a timeoutMs; the words say what was seen last. A try that hangs cannot be ended. When the time is over
/// then, this function ends the process and does not return.
void waitForBus(const QString& clientName, int timeoutMs);

/// Tries once. Throws Failure when there is no bus, and when it has not answered within \a timeoutMs. In the second
/// case the failure is TimedOut, and the program must end by leaveAtOnce().
void requireBus(const QString& clientName, int timeoutMs);

} // namespace tarvexctl

#endif // BUSSEARCH_H
