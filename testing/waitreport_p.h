#ifndef WAITREPORT_P_H
#define WAITREPORT_P_H

#include "busrecord_p.h"
#include "records/tarvexerror.h"

#include <QList>
#include <QString>

#include <functional>

namespace tarvex::testing {

/// How long errorString() is at most, in bytes of UTF-8. QtTest cuts a message at 1024, its own words and the tested
/// expression included.
constexpr int MAX_ERROR_BYTES = 900;

/// The text, without its middle when it is longer than so many bytes of UTF-8: "begin...(+12)...end" says how many
/// characters are left out.
QString shortened(const QString& text, int maxBytes);

/// That the bus has refused a request, in the words of a client's QueryOutcome.
QString refusal(const TarvexError& error);

/// What a wait is for, and what it tells when it fails.
class WaitReport
{
public:
    using Filter = std::function<bool(const BusRequest& request)>;

    /// \a what is how the text begins: "a message to \"cashbox\" has not come". The requests that \a isNear says true
    /// of are told first.
    WaitReport(const QString& what, const Filter& isNear) : m_what(what), m_isNear(isNear) { }

    /// Adds a request that the wait has removed from the record and did not want.
    void addRejected(const BusRequest& request) { m_rejected.append(request); }

    /// Why the wait has failed, who is on the bus, and what came instead: first what is near, last handshakes and log
    /// lines, of each kind the latest first. What does not fit into the bytes is counted.
    QString text(const BusRecord& record, int timeoutMs) const;

private:
    QList<BusRequest> inOrder(QList<BusRequest> requests) const;

    const QString m_what;
    const Filter m_isNear;
    QList<BusRequest> m_rejected;
};

} // namespace tarvex::testing

#endif // WAITREPORT_P_H
