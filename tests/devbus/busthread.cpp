#include "busthread.h"

#include <algorithm>
#include <chrono>

using tarvex::devbus::BusConnection;
using tarvex::devbus::BusServer;

BusThread::BusThread(const BusServer::Options& options) : m_thread(options)
{
    m_thread.call([this](BusServer& server) {
        record(server);
        m_errorString = server.start().description();
        m_isRunning = server.isRunning();
    });
}

QList<BusThread::Handled> BusThread::handled() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_handled;
}

int BusThread::handledCount(const QString& client) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(std::count_if(m_handled.cbegin(), m_handled.cend(),
                                          [&](const Handled& handled) { return handled.client == client; }));
}

QStringList BusThread::acknowledgedUids() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_acknowledged;
}

QStringList BusThread::warnings() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_warnings;
}

QStringList BusThread::traceLines() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_traceLines;
}

bool BusThread::waitForAcknowledged(int count) const
{
    return waitFor([this, count] { return m_acknowledged.size() >= count; });
}

bool BusThread::waitForWarnings(int count) const
{
    return waitFor([this, count] { return m_warnings.size() >= count; });
}

bool BusThread::waitForTraceLine(const QString& part) const
{
    return waitFor([this, &part] { return !m_traceLines.filter(part).isEmpty(); });
}

bool BusThread::waitForClients(BusConnection::Port port, const QStringList& names) const
{
    const QStringList& clients = port == BusConnection::Port::Query ? m_queryClients : m_receiverClients;
    return waitFor([&] { return clients == names; });
}

/// Called in the bus's thread, where the server emits.
void BusThread::record(BusServer& server)
{
    QObject::connect(
        &server, &BusServer::requestHandled, &server,
        [this](const QString& client, const QString& operation, std::optional<int> code, const QVariantMap& data) {
            note([&] { m_handled.append({client, operation, code, data}); });
        });
    QObject::connect(&server, &BusServer::messageAcknowledged, &server,
                     [this](const QString&, const QString& uid) { note([&] { m_acknowledged.append(uid); }); });
    QObject::connect(&server, &BusServer::warning, &server,
                     [this](const QString& text) { note([&] { m_warnings.append(text); }); });
    QObject::connect(&server, &BusServer::traced, &server,
                     [this](const QString& line) { note([&] { m_traceLines.append(line); }); });
    QObject::connect(&server, &BusServer::clientsChanged, &server, [this, &server] {
        note([&] {
            m_queryClients = server.clients(BusConnection::Port::Query);
            m_receiverClients = server.clients(BusConnection::Port::Receiver);
        });
    });
}

void BusThread::note(const std::function<void()>& change)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    change();
    m_changed.notify_all();
}

bool BusThread::waitFor(const std::function<bool()>& condition) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(20), condition);
}
