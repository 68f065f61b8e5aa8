#ifndef EXCHANGE_H
#define EXCHANGE_H

#include <QString>

namespace tarvexctl {

class BusClient;

/// Asks the bus for the state of \a clientName, which changes nothing, and measures how long it takes until the answer
/// begins to come. The library's pause before it reads an answer is not included, because it says nothing about the
/// bus. A refusal with a code, such as that there is no state, is an answer. Throws any other Failure. \return
/// milliseconds
double measureExchange(BusClient& bus, const QString& clientName);

/// "0.213 ms": three digits that count.
QString millisecondsText(double milliseconds);

} // namespace tarvexctl

#endif // EXCHANGE_H
