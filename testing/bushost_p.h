#ifndef BUSHOST_P_H
#define BUSHOST_P_H

#include "busrecord_p.h"
#include "records/message.h"
#include "serverthread.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QTemporaryDir>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace tarvex::testing {

class WaitReport;

/// The bus behind a TestBus: the server in its thread, where it stores, the rules for its faults, and its record.
/// Everything here is called in the test's thread.
class BusHost
{
public:
    bool start();
    void stop();
    bool isRunning() const;
    bool setListening(bool isListening);
    void dropConnections(const QString& client);

    /// \return false when the bus refuses it, or does not run.
    bool perform(const QString& client, const QString& operation, const QVariantMap& data,
                 QVariantMap* answer = nullptr);

    /// Remembers the parties of a message of the test, and gives them back; an empty message when none was noted.
    void noteParties(const Message& message);

    Message parties(const QString& uid) const { return m_parties.value(uid); }

    /// An empty \a client or \a operation stands for every one.
    void addFault(const QString& client, const QString& operation, const devbus::BusServer::Fault& fault);
    void clearFaults();

    /// Runs the thread's event loop until \a condition is true. \return false when the time is over; \a report says
    /// why.
    bool waitUntil(const std::function<bool()>& condition, int timeoutMs, const WaitReport& report);

    BusRecord& record() { return m_record; }

    QString errorString() const { return m_errorString; }

    /// Takes down why something failed. \return false
    bool fail(const QString& text);

private:
    struct FaultRule
    {
        QString client;
        QString operation;
        devbus::BusServer::Fault fault;
    };

    bool makeServer();
    void setFaults();

    QString m_errorString;
    QTemporaryDir m_folder;
    QHash<QString, Message> m_parties; ///< Of the test's own messages, by uid; without the texts.
    QList<FaultRule> m_faultRules;
    BusRecord m_record;
    std::unique_ptr<devbus::ServerThread> m_server; ///< The last one: what it tells at its end goes to the record.
};

} // namespace tarvex::testing

#endif // BUSHOST_P_H
