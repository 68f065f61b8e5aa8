#ifndef BUSTHREAD_H
#define BUSTHREAD_H

#include "busserver.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class QEventLoop;
class QThread;

/// A bus server in a thread of its own, from construction to destruction, and what it has told.
class BusThread
{
public:
    struct Handled
    {
        QString client;
        QString operation;
        int code = 0;
    };

    explicit BusThread(const tarvex::devbus::BusServer::Options& options = {});
    ~BusThread();
    Q_DISABLE_COPY_MOVE(BusThread)

    bool isRunning() const { return m_isRunning; }

    QString errorString() const { return m_errorString; }

    QList<Handled> handled() const;
    int handledCount(const QString& client) const;
    QStringList acknowledgedUids() const;
    QStringList warnings() const;
    QStringList traceLines() const;

    // Wait for what the bus's thread brings about, up to 20 s.
    bool waitForAcknowledged(int count) const;
    bool waitForWarnings(int count) const;
    bool waitForTraceLine(const QString& part) const;

private:
    void run(const tarvex::devbus::BusServer::Options& options);
    void record(tarvex::devbus::BusServer& server);
    bool waitFor(const std::function<bool()>& condition) const;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    QList<Handled> m_handled;
    QStringList m_acknowledged;
    QStringList m_warnings;
    QStringList m_traceLines;
    QString m_errorString;
    bool m_isRunning = false;
    bool m_hasStarted = false;
    QEventLoop* m_loop = nullptr;
    std::unique_ptr<QThread> m_thread;
};

#endif // BUSTHREAD_H
