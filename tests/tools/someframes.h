#ifndef SOMEFRAMES_H
#define SOMEFRAMES_H

#include "literals.h"
#include "traffic/seenframe.h"

/// Frames as an observer sees them, for tests. Number and time are given by the test.
namespace someframes {

using tarvex::traffic::Direction;
using tarvex::traffic::Kind;
using tarvex::traffic::Port;
using tarvex::traffic::SeenFrame;

/// 2026-03-01T10:11:12.345678 UTC
constexpr qint64 SOME_TIME_US = 1772359872345678;

/// A request of \a client to the bus.
inline SeenFrame request(qint64 number, const QString& client, const QString& operation, const QVariantMap& data)
{
    SeenFrame frame;
    frame.number = number;
    frame.timeUs = SOME_TIME_US;
    frame.connection = 1;
    frame.client = client;
    frame.operation = operation;
    frame.data = data;
    return frame;
}

/// A message that \a sender gives the bus.
inline SeenFrame message(qint64 number, const QString& sender, const QString& receiver, const QString& text)
{
    return request(number, sender, u"sendMessage"_s,
                   {{u"sender"_s, sender}, {u"reciever"_s, receiver}, {u"message"_s, text}, {u"UID"_s, u"uid"_s}});
}

/// The same message as the bus pushes it.
inline SeenFrame push(qint64 number, const QString& sender, const QString& receiver, const QString& text)
{
    SeenFrame frame = message(number, sender, receiver, text);
    frame.client = receiver;
    frame.connection = 2;
    frame.port = Port::Receiver;
    frame.direction = Direction::Out;
    return frame;
}

/// The reply to \a request, or the acknowledgement of a push.
inline SeenFrame reply(qint64 number, const SeenFrame& request, qint64 tookUs = 800, const QVariantMap& data = {})
{
    SeenFrame frame = request;
    frame.number = number;
    frame.kind = Kind::Reply;
    frame.direction = request.direction == Direction::In ? Direction::Out : Direction::In;
    frame.data = data;
    frame.answers = request.number;
    frame.tookUs = tookUs;
    return frame;
}

inline SeenFrame refusal(qint64 number, const SeenFrame& request, quint16 code, const QString& description)
{
    SeenFrame frame = reply(number, request);
    frame.code = code;
    frame.description = description;
    return frame;
}

/// An event that is no frame.
inline SeenFrame incident(qint64 number, Kind kind, const QString& client = QString(),
                          const QString& problem = QString())
{
    SeenFrame frame;
    frame.number = number;
    frame.timeUs = SOME_TIME_US;
    frame.kind = kind;
    frame.connection = 1;
    frame.client = client;
    frame.problem = problem;
    return frame;
}

} // namespace someframes

#endif // SOMEFRAMES_H
