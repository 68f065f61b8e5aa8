#ifndef BUSRECORD_P_H
#define BUSRECORD_P_H

#include "busrequest_p.h"
#include "busserver.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <mutex>
#include <optional>

namespace tarvex::testing {

/// What the bus has reported. Written in the thread of the bus, read in the thread of the test, where this object
/// lives.
class BusRecord : public QObject
{
public:
    /// Records what \a server reports from now on. Called in the server's thread.
    void observe(devbus::BusServer& server);

    /// The requests after \a number that were not removed.
    QList<BusRequest> requestsAfter(qint64 number) const;
    /// \return false when the request was removed before.
    bool remove(qint64 number);
    void clear();

    QStringList clients(devbus::BusConnection::Port port) const;
    bool isConnected(const QString& client, devbus::BusConnection::Port port) const;
    bool isAcknowledged(const QString& uid) const;
    /// How many frames have met a fault on purpose.
    int faultCount() const;
    /// To be called when the server was stopped, because it does not report which clients have gone then.
    void forgetClients();

    /// Ends the wait of this thread's event loop, because there is something new. Does nothing else.
    bool event(QEvent* event) override;

private:
    void add(const QString& client, const QString& operation, std::optional<int> code, const QVariantMap& data);
    void setClients(const QStringList& queryClients, const QStringList& receiverClients);
    void wakeUp();

    mutable std::mutex m_mutex; // of the standard library: see support/threadsanitizer_p.h
    QList<BusRequest> m_requests;
    qint64 m_lastNumber = 0;
    QSet<QString> m_acknowledged;
    int m_faultCount = 0;
    QStringList m_queryClients;
    QStringList m_receiverClients;
    bool m_isWakeUpUnderWay = false;
};

} // namespace tarvex::testing

#endif // BUSRECORD_P_H
