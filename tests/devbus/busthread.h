#ifndef BUSTHREAD_H
#define BUSTHREAD_H

#include "serverthread.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

/// A bus server in a thread of its own. It is started by the constructor and stopped by the destructor. Records what
/// the server's signals tell.
class BusThread
{
public:
    struct Handled
    {
        QString client;
        QString operation;
        std::optional<int> code; ///< Empty when there was no reply.
        QVariantMap data;
    };

    explicit BusThread(const tarvex::devbus::BusServer::Options& options = {});

    bool isRunning() const { return m_isRunning; }

    /// Why it does not run.
    QString errorString() const { return m_errorString; }

    /// Does \a work in the server's thread.
    void call(const tarvex::devbus::ServerThread::Work& work) { m_thread.call(work); }

    QList<Handled> handled() const;
    int handledCount(const QString& client) const;
    QStringList acknowledgedUids() const;
    QStringList warnings() const;
    QStringList traceLines() const;

    // Each of these waits up to 20 s for what the bus's thread does.
    bool waitForAcknowledged(int count) const;
    bool waitForWarnings(int count) const;
    bool waitForTraceLine(const QString& part) const;
    /// Waits until the clients of \a port are these.
    bool waitForClients(tarvex::devbus::BusConnection::Port port, const QStringList& names) const;

private:
    void record(tarvex::devbus::BusServer& server);
    void note(const std::function<void()>& change);
    bool waitFor(const std::function<bool()>& condition) const;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    QList<Handled> m_handled;
    QStringList m_acknowledged;
    QStringList m_warnings;
    QStringList m_traceLines;
    QStringList m_queryClients;
    QStringList m_receiverClients;
    QString m_errorString;
    bool m_isRunning = false;
    tarvex::devbus::ServerThread
        m_thread; ///< The last member: it is destroyed first, and its signals use the others until then.
};

#endif // BUSTHREAD_H
