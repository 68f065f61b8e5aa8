#ifndef RECORDINGWORKER_H
#define RECORDINGWORKER_H

#include "abstractworker.h"
#include "literals.h"

#include <QString>
#include <QStringList>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

/// A gate at which threads wait until the test opens it.
class Gate
{
public:
    void open()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

    void wait()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;
};

/// What happened to a worker. It outlives the worker, and is read and written in any thread.
class Record
{
public:
    void add(const QString& what)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_events.append(what);
        if (QThread::currentThread() != m_thread) {
            m_strays.append(what);
        }
    }

    /// All events so far.
    QStringList events() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }

    int count(const QString& what) const { return events().count(what); }

    bool has(const QString& what) const { return events().contains(what); }

    /// The thread in which everything must happen.
    void setThread(QThread* thread)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_thread = thread;
    }

    /// The events that happened in another thread, or inside another event.
    QStringList strays() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_strays;
    }

    void addStray(const QString& what)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_strays.append(what);
    }

    void clear()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_events.clear();
    }

private:
    mutable std::mutex m_mutex;
    QStringList m_events;
    QStringList m_strays;
    QThread* m_thread = nullptr;
};

const QString START = u"start"_s;
const QString STOP = u"stop"_s;
const QString DELETED = u"deleted"_s;
const QString MARK = u"mark"_s;

/// Writes down what is called, and does what a test puts into its hooks.
class RecordingWorker : public wexcor::AbstractWorker
{
    Q_OBJECT
public:
    using Hook = std::function<void(RecordingWorker&)>;

    explicit RecordingWorker(std::shared_ptr<Record> givenRecord) : record(std::move(givenRecord)) { }

    ~RecordingWorker() override { record->add(DELETED); }

    bool doStart() override
    {
        run(START, onStart);
        return startResult;
    }

    bool doStop() override
    {
        run(STOP, onStop);
        return stopResult;
    }

    /// Queues marks behind everything that waits for the worker now.
    void postMarks(int count = 1)
    {
        for (int call = 0; call < count; ++call) {
            QMetaObject::invokeMethod(this, "mark", Qt::QueuedConnection);
        }
    }

    // To be set before the worker's thread is started.
    const std::shared_ptr<Record> record;
    Hook onStart;
    Hook onStop;
    Hook onMark;
    bool startResult = true;
    bool stopResult = true;

public Q_SLOTS:

    void mark()
    {
        record->add(MARK);
        if (onMark) {
            onMark(*this);
        }
    }

    /// Adds \a calls to the number of calls that are counted as waiting for the worker.
    void countWaiting(int calls) { *waitingCalls() += calls; }

    void endThread() { QThread::currentThread()->quit(); }

private:
    void run(const QString& what, const Hook& hook)
    {
        if (m_inside.exchange(true)) {
            record->addStray(what + u" within another"_s);
        }
        record->add(what);
        if (hook) {
            hook(*this);
        }
        m_inside = false;
    }

    std::atomic<bool> m_inside{false};
};

#endif // RECORDINGWORKER_H
