#ifndef LISTENVERB_H
#define LISTENVERB_H

#include "follower.h"
#include "tally.h"

namespace tarvexctl {

class Output;

/// Writes the messages that the bus pushes to \a clientName as they come, and subscribes meanwhile. Throws Failure.
void listenToMessages(const QString& clientName, const Subscriptions& subscriptions, const Limits& limits,
                      Output& output);

} // namespace tarvexctl

#endif // LISTENVERB_H
