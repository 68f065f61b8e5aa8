#ifndef WAITVERB_H
#define WAITVERB_H

#include <QString>

namespace tarvexctl {

class Output;

/// Waits until a bus accepts a handshake of \a clientName. Throws Failure when none has within \a timeoutMs, with what
/// was seen last.
///
/// A try that hangs cannot be ended: then this function ends the process when the time is over, and does not return.
void waitForBus(const QString& clientName, int timeoutMs, Output& output);

} // namespace tarvexctl

#endif // WAITVERB_H
