#ifndef WAITREPORT_P_H
#define WAITREPORT_P_H

#include "busrecord_p.h"
#include "records/tarvexerror.h"

#include <QList>
#include <QString>

#include <functional>

namespace tarvex::testing {

/// The greatest length of errorString(), in bytes of UTF-8. QtTest cuts a message at 1024 bytes, and its own words and
/// the tested expression are part of the message.
constexpr int MAX_ERROR_BYTES = 900;

/// The text, without its middle if it is longer than \a maxBytes of UTF-8. "begin...(+12)...end" says how many
/// characters are left out.
QString shortened(const QString& text, int maxBytes);

/// How the kit says that the bus has refused a request: with the words of a client's QueryOutcome.
QString refusal(const TarvexError& error);

/// What a wait is for, and what errorString() says when the wait fails.
class WaitReport
{
public:
    using Filter = std::function<bool(const BusRequest& request)>;

    /// The text begins with \a what: "a message to \"cashbox\" has not come". It lists first the requests for which
    /// \a isNear returns true.
    WaitReport(const QString& what, const Filter& isNear) : m_what(what), m_isNear(isNear) { }

    /// Adds a request that the wait has removed from the record although its filter did not want it.
    void addRejected(const BusRequest& request) { m_rejected.append(request); }

    /// Says why the wait has failed, who is on the bus, and what came instead. The near requests are first, handshakes
    /// and log lines last, and of each kind the latest is first. Requests that do not fit into the bytes are counted.
    QString text(const BusRecord& record, int timeoutMs) const;

private:
    QList<BusRequest> inOrder(QList<BusRequest> requests) const;

    const QString m_what;
    const Filter m_isNear;
    QList<BusRequest> m_rejected;
};

} // namespace tarvex::testing

#endif // WAITREPORT_P_H
