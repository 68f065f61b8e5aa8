#ifndef BUSHOST_P_H
#define BUSHOST_P_H

#include "busfault.h"
#include "busrecord_p.h"
#include "records/message.h"
#include "serverthread.h"
#include "standins_p.h"
#include "waitreport_p.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QTemporaryDir>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tarvex::testing {

/// The bus behind a TestBus: the server in its thread, its storage, the rules for its faults, and its record. All
/// functions are called in the test's thread.
class BusHost
{
public:
    bool start();
    void stop();
    bool isRunning() const;
    bool setListening(bool isListening);
    void dropConnections(const QString& client);

    /// \return the reply's data; nothing when the bus refuses the request, or does not run.
    std::optional<QVariantMap> perform(const QString& client, const QString& operation, const QVariantMap& data);

    /// Remembers sender and addressee of a message of the test. parties() returns them; an empty message when none was
    /// noted.
    void noteParties(const Message& message);

    Message parties(const QString& uid) const { return m_parties.value(uid); }

    /// \return false when the rule makes no sense, or there are too many.
    bool addFault(const BusFault& fault);
    void clearFaults();

    /// Runs the thread's event loop until \a condition is true. \return false when the time is over; then errorString()
    /// is the text of \a report.
    bool waitUntil(const std::function<bool()>& condition, int timeoutMs, const WaitReport& report);

    /// What a wait does with a request: leaves it to others, takes it and looks further, or takes it and ends.
    enum class Verdict {
        Leave,
        Skip,
        Take
    };
    using Judge = std::function<Verdict(const BusRequest& request)>;

    /// Shows \a judge each recorded request, and each that comes, in their order, until it takes one. \return false
    /// when the time is over; then errorString() is the text of \a report.
    bool waitForRequest(const Judge& judge, int timeoutMs, WaitReport report);

    /// Stands in for the services of a file. \return false when they are not all there in time; then none of them is.
    bool mock(const QString& fileName, int timeoutMs);

    BusRecord& record() { return m_record; }

    QString errorString() const { return m_errorString; }

    /// Sets errorString(). \return false
    bool fail(const QString& text);

private:
    bool succeeds(const TarvexError& error);
    bool makeServer();

    QString m_errorString;
    QTemporaryDir m_folder;
    QHash<QString, Message> m_parties; ///< Of the test's own messages, by uid; without their texts.
    devbus::Faults m_faultsBefore;     ///< Those that were added before there was a server.
    BusRecord m_record;
    std::unique_ptr<devbus::ServerThread> m_server;    ///< Below the record, because its end still writes to it.
    std::vector<std::unique_ptr<StandIns>> m_standIns; ///< Below the server, because they leave the bus at their end.
};

} // namespace tarvex::testing

#endif // BUSHOST_P_H
