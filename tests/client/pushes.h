#ifndef PUSHES_H
#define PUSHES_H

#include "fakebus.h"
#include "literals.h"
#include "samples.h"

#include <QByteArray>
#include <QList>

/// Messages as the bus pushes them.
namespace pushes {

/// A message from "cashbox" to "printer". Its text is "text \a number" unless another one is given.
inline tarvex::Message numbered(int number, const QString& text = QString())
{
    return samples::someMessage(u"printer"_s, text.isNull() ? u"text %1"_s.arg(number) : text, u"uid%1"_s.arg(number));
}

inline QByteArray pushFrame(const tarvex::Message& message)
{
    return FakeBus::requestFrame(u"sendMessage"_s, message.toVariantMap());
}

inline QByteArray pushFrames(int first, int last)
{
    QByteArray frames;
    for (int number = first; number <= last; ++number) {
        frames += pushFrame(numbered(number));
    }
    return frames;
}

/// Accepts the handshake and sends \a bytes right after.
inline FakeBus::Action acceptAndPush(const QByteArray& bytes)
{
    return [bytes](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(FakeBus::acceptance() + bytes); };
}

/// The same, and then closes the connection.
inline FakeBus::Action acceptPushAndClose(const QByteArray& bytes)
{
    return [bytes](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance() + bytes);
        peer.close();
    };
}

/// Accepts the handshake, and sends each piece as a segment of its own, with a pause in between.
inline FakeBus::Action acceptAndPushInPieces(const QList<QByteArray>& pieces, int pauseMs)
{
    return [pieces, pauseMs](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        peer.sendInPieces(pieces, pauseMs);
    };
}

/// Leaves a handshake without an answer.
const FakeBus::Action sayNothing = [](FakeBus::Peer&, const FakeBus::Request&) {};

} // namespace pushes

#endif // PUSHES_H
