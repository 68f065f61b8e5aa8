#include "busrecord_p.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>

using tarvex::devbus::BusConnection;
using tarvex::devbus::BusServer;

namespace tarvex::testing {

void BusRecord::observe(BusServer& server)
{
    connect(&server, &BusServer::requestHandled, &server,
            [this](const QString& client, const QString& operation, std::optional<int> code, const QVariantMap& data) {
                add(client, operation, code, data);
            });
    connect(&server, &BusServer::messageAcknowledged, &server, [this](const QString&, const QString& uid) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_acknowledged.insert(uid);
        wakeUp();
    });
    connect(&server, &BusServer::faultMet, &server, [this] {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_faultCount;
        wakeUp();
    });
    connect(&server, &BusServer::clientsChanged, &server, [this, &server] {
        setClients(server.clients(BusConnection::Port::Query), server.clients(BusConnection::Port::Receiver));
    });
}

QList<BusRequest> BusRecord::requestsAfter(qint64 number) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto first = std::upper_bound(m_requests.cbegin(), m_requests.cend(), number,
                                        [](qint64 value, const BusRequest& request) { return value < request.number; });
    return m_requests.mid(static_cast<int>(first - m_requests.cbegin()));
}

bool BusRecord::remove(qint64 number)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto place = std::lower_bound(m_requests.begin(), m_requests.end(), number,
                                        [](const BusRequest& request, qint64 value) { return request.number < value; });
    if (place == m_requests.end() || place->number != number) {
        return false;
    }
    m_requests.erase(place);
    return true;
}

void BusRecord::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.clear();
}

bool BusRecord::isConnected(const QString& client, BusConnection::Port port) const
{
    return clients(port).contains(client);
}

bool BusRecord::isAcknowledged(const QString& uid) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_acknowledged.contains(uid);
}

int BusRecord::faultCount() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_faultCount;
}

void BusRecord::forgetClients()
{
    setClients({}, {});
}

QStringList BusRecord::clients(BusConnection::Port port) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return port == BusConnection::Port::Query ? m_queryClients : m_receiverClients;
}

bool BusRecord::event(QEvent* event)
{
    if (event->type() != QEvent::User) {
        return QObject::event(event);
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isWakeUpUnderWay = false;
    return true;
}

void BusRecord::add(const QString& client, const QString& operation, std::optional<int> code, const QVariantMap& data)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.append({++m_lastNumber, client, operation, data, code});
    wakeUp();
}

void BusRecord::setClients(const QStringList& queryClients, const QStringList& receiverClients)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_queryClients = queryClients;
    m_receiverClients = receiverClients;
    wakeUp();
}

/// Posts one event at a time, because a test that runs no event loop would collect them.
void BusRecord::wakeUp()
{
    if (!m_isWakeUpUnderWay) {
        m_isWakeUpUnderWay = true;
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }
}

} // namespace tarvex::testing
