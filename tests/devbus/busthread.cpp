#include "busthread.h"

#include <QEventLoop>
#include <QThread>

#include <chrono>

using tarvex::devbus::BusServer;

BusThread::BusThread(const BusServer::Options& options) : m_thread(QThread::create([this, options] { run(options); }))
{
    m_thread->start();
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_hasStarted; });
}

BusThread::~BusThread()
{
    QMetaObject::invokeMethod(m_loop, "quit", Qt::QueuedConnection);
    m_thread->wait();
}

QList<BusThread::Handled> BusThread::handled() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_handled;
}

int BusThread::handledCount(const QString& client) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    int count = 0;
    for (const Handled& handled : m_handled) {
        count += handled.client == client ? 1 : 0;
    }
    return count;
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

void BusThread::run(const BusServer::Options& options)
{
    QEventLoop loop;
    BusServer server(options);
    record(server);
    const bool isRunning = server.start();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isRunning = isRunning;
        m_errorString = server.errorString();
        m_loop = &loop;
        m_hasStarted = true;
        m_changed.notify_all();
    }
    loop.exec();
}

/// Called in the bus's thread, where the server emits.
void BusThread::record(BusServer& server)
{
    QObject::connect(&server, &BusServer::requestHandled, &server,
                     [this](const QString& client, const QString& operation, int code) {
                         const std::lock_guard<std::mutex> lock(m_mutex);
                         m_handled.append({client, operation, code});
                         m_changed.notify_all();
                     });
    QObject::connect(&server, &BusServer::messageAcknowledged, &server, [this](const QString&, const QString& uid) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_acknowledged.append(uid);
        m_changed.notify_all();
    });
    QObject::connect(&server, &BusServer::warning, &server, [this](const QString& text) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_warnings.append(text);
        m_changed.notify_all();
    });
    QObject::connect(&server, &BusServer::traced, &server, [this](const QString& line) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_traceLines.append(line);
        m_changed.notify_all();
    });
}

bool BusThread::waitFor(const std::function<bool()>& condition) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(20), condition);
}
