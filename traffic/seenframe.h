#ifndef SEENFRAME_H
#define SEENFRAME_H

#include <QString>
#include <QVariantMap>

/// The bus as an observer sees it, who takes no part in it.
namespace tarvex::traffic {

enum class Kind {
    Request,
    Reply,
    Opened, ///< A client has connected. Its name is not known yet.
    Closed, ///< A connection has ended.
    Bad,    ///< Bytes that are no frame, or a frame that holds no envelope. \a problem says what is wrong.
    Gap,    ///< Something that the observer could not see. \a problem says what.
};

enum class Port {
    Query,    ///< 45535: clients ask, the bus replies.
    Receiver, ///< 45537: the bus pushes messages, clients acknowledge them.
};

enum class Direction {
    In,  ///< To the bus.
    Out, ///< From the bus.
};

/// One frame on one connection, or an event between frames. A plain value.
///
/// Its JSON form is what monitors write and what recordings hold, one object a line; see docs/monitor.md.
struct SeenFrame
{
    qint64 number = 0; ///< Its place in what this observer has seen, from 1.
    qint64 timeUs = 0; ///< When, in microseconds since 1970-01-01T00:00:00 UTC.
    Kind kind = Kind::Request;
    Port port = Port::Query;
    Direction direction = Direction::In;
    qint64 connection = 0; ///< The number of the connection, from 1. Both directions of a connection have the same.
    /// The name under which the connection has introduced itself. It is empty before that, and the handshake's own
    /// frame does not have it.
    QString client;
    QString operation;
    QVariantMap data;
    int size = 0;               ///< Of the payload as it is on the wire, in bytes.
    quint16 code = 0;           ///< Of a reply.
    QString description;        ///< Of a reply.
    QString problem;            ///< Of Bad and Gap; empty otherwise.
    bool isDataLeftOut = false; ///< The data was too large to be kept, or nested too deeply.
    /// The fault on purpose that this frame has met, in words; empty when it has met none.
    QString fault;
    /// Of a reply: the number of its request; 0 when that was not seen. An acknowledgement answers the push.
    qint64 answers = 0;
    qint64 tookUs = -1; ///< Of a reply with \a answers: the time since the request, in microseconds.

    /// Of a message that answers a command: the number of the push that has brought the command to its sender; 0 when
    /// there is none. Such a message has the uid of the command.
    qint64 call = 0;
    qint64 callUs = -1; ///< Of a message with \a call: the time since that push, in microseconds.

    /// Whether something is wrong: a code other than 0, bytes that are no frame, a gap, or a fault.
    bool isError() const;

    /// Whether it hands a message over: "sendMessage", to the bus or as a push.
    bool isMessage() const;

    /// The client that has sent it, or the sender of the message in it. For a handshake it is the name that the client
    /// asks for. Empty for the bus itself.
    QString from() const;
    /// The client that gets it, or the addressee of the message in it. Empty for the bus itself, and for a message to
    /// all subscribers.
    QString to() const;
    /// The name of the command that its message carries; empty when there is none.
    QString command() const;
    /// The identifier of the message that it hands over or acknowledges; empty when there is none.
    QString uid() const;

    /// Its JSON form. Keys that do not apply are absent: a request has no "code", and so on.
    QVariantMap toVariantMap() const;
    /// The other way round. \a isValid tells whether \a map is the JSON form of a frame; the keys "from", "to" and
    /// "command" follow from the others and are not read.
    static SeenFrame fromVariantMap(const QVariantMap& map, bool& isValid);
};

/// The words of the JSON form.
QString kindName(Kind kind);
QString portName(Port port);
QString directionName(Direction direction);

/// "2026-03-01T10:11:12.345678Z"
QString timeName(qint64 timeUs);

/// Now, in microseconds since 1970-01-01T00:00:00 UTC.
qint64 currentTimeUs();

/// Fills operation, data, code and description of \a frame, whose payload this is as it was on the wire. What holds no
/// envelope makes it Bad.
void decodePayload(const QByteArray& payload, SeenFrame& frame);
/// The same from a payload that is decoded already and holds an envelope.
void readEnvelope(const QVariantMap& envelope, SeenFrame& frame);

} // namespace tarvex::traffic

#endif // SEENFRAME_H
