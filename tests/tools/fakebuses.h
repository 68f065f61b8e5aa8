#ifndef FAKEBUSES_H
#define FAKEBUSES_H

#include "fakebus.h"

/// A bus that does what the test tells it, on both ports.
struct FakeBuses
{
    FakeBus query;
    FakeBus receiver{FakeBus::RECEIVER_PORT};
};

// Each of these is something that a bus may do with a handshake or a request.

inline void sayNothing(FakeBus::Peer&, const FakeBus::Request&) { }

inline void closeConnection(FakeBus::Peer& peer, const FakeBus::Request&)
{
    peer.close();
}

/// Sends these bytes, and closes the connection after them when \a isLast is true.
inline FakeBus::Action sends(const QByteArray& bytes, bool isLast = false)
{
    return [bytes, isLast](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(bytes);
        if (isLast) {
            peer.close();
        }
    };
}

inline FakeBus::Action refuses()
{
    return sends(FakeBus::replyFrame(QStringLiteral("handshake"), 3));
}

/// The operations that were asked for, in order.
inline QStringList operations(const FakeBus& bus)
{
    QStringList operations;
    const QList<FakeBus::Request> requests = bus.requests();
    for (const FakeBus::Request& request : requests) {
        operations.append(request.operation);
    }
    return operations;
}

/// The data of a request; empty when there was none.
inline QVariantMap requested(const FakeBus& bus, int index = 0)
{
    return bus.requests().value(index).data;
}

#endif // FAKEBUSES_H
