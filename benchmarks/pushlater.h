#ifndef PUSHLATER_H
#define PUSHLATER_H

#include "fakebus.h"

#include <chrono>
#include <future>

/// How long a benchmark waits for what is pushed, in ms.
constexpr int PATIENCE_MS = 60000;

/// Accepts the handshake at once. Sends the burst when it is told to, so that no message is read before.
inline FakeBus::Action pushLater(const std::shared_future<QByteArray>& burst)
{
    return [burst](FakeBus::Peer& peer, const FakeBus::Request& handshake) {
        peer.send(FakeBus::replyFrame(handshake.operation, 0));
        if (burst.wait_for(std::chrono::milliseconds(PATIENCE_MS)) == std::future_status::ready) {
            peer.send(burst.get());
        }
    };
}

#endif // PUSHLATER_H
