#ifndef QUERYOUTCOME_H
#define QUERYOUTCOME_H

#include "tarvexlib_export.h"

#include <QString>

namespace tarvex {

/// How an exchange with the bus server ended. TarvexQueryHandler::lastOutcome() gives it.
///
/// A plain value; it may be copied to any thread.
///
/// The kind says whether the same request is worth repeating. After Refused it is not: the server would refuse it
/// again. After NotOpen and Unreachable the request was not sent. After Lost, TimedOut and NotUnderstood the server may
/// have carried the request out or not: repeat only what may be done twice. A table in docs/calling.md, "When the bus
/// does not do it", says what to do on which.
///
/// <!-- quote: docs/snippets/reference/queries.cpp#outcome -->
/// \code
/// if (!bus.sendMessage(message) && bus.lastOutcome().kind() != QueryOutcome::Refused) {
///     unsent.append(message); // to be sent when the connection is there again
/// }
/// \endcode
class TARVEXLIB_EXPORT QueryOutcome
{
public:
    /// What became of the exchange.
    enum Kind {
        Done,        ///< The server replied with code 0.
        NotOpen,     ///< There was no connection, so nothing was sent. Also the kind before the first exchange.
        Unreachable, ///< open() could not connect: nobody listens, or the connect took longer than 30000 ms.
        /// The server refused this client's handshake, with code() and text(), and the connection is closed. This
        /// mostly happens in open(), but a server may refuse the handshake in reply to a later request as well.
        HandshakeRefused,
        Refused,  ///< The server refused the request, with code() and text(); the connection stays open.
        Lost,     ///< The connection was closed or broke off before the whole reply had come.
        TimedOut, ///< The server took none of the request, or began no reply, within 30000 ms.
        /// Something came that is no reply to the request: a wrong header line, a payload that did not come whole or
        /// cannot be decoded, or a reply to the handshake that does not name it. On the connection of a
        /// TarvexQueryWorker also the reply to another operation. Also the kind when somebody else has read the reply.
        NotUnderstood
    };

    /// NotOpen, as before the first exchange.
    QueryOutcome() = default;

    /// \a code and \a text are kept as given, whatever the kind is.
    explicit QueryOutcome(Kind kind, quint16 code = 0, const QString& text = QString());

    Kind kind() const; ///< What became of the exchange.

    /// The same as kind() == Done.
    bool isDone() const;

    /// The code with which the server refused. TarvexError::Error names the known ones. It is 0 when the kind is
    /// neither Refused nor HandshakeRefused.
    quint16 code() const;

    /// The "description" of the refusing reply, exactly as it came over the wire. It may be empty, may have any length,
    /// and may hold control characters. It is empty when the kind is neither Refused nor HandshakeRefused.
    QString text() const;

    /// For a log line or a person, in English: "refused: 5 There are no settings for client". It holds text()
    /// unchanged.
    QString toString() const;

    /// True when kind, code and text are equal.
    bool operator==(const QueryOutcome& other) const;
    bool operator!=(const QueryOutcome& other) const; ///< The opposite of operator==().

private:
    Kind m_kind = NotOpen;
    quint16 m_code = 0;
    QString m_text;
};

} // namespace tarvex

#endif // QUERYOUTCOME_H
