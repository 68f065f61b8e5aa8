#ifndef BUSACCESS_H
#define BUSACCESS_H

#include <QObject>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace tarvex::devbus {

/// Lets other threads do work in the bus's thread, where everything about the bus is asked.
///
/// Lives in the bus's thread, which needs its event loop.
class BusAccess : public QObject
{
    Q_OBJECT
public:
    using Work = std::function<void()>;

    /// The bus may be at work for this long before a question is given up, in ms.
    static constexpr int PATIENCE_MS = 5000;

    /// Does \a work in the bus's thread and returns when it is done. Any thread may call but the bus's own.
    /// \return false when the bus was busy for too long or is about to end. Then \a work is not done, now or later.
    bool ask(const Work& work);

    /// Nothing is asked from now on. Whoever waits is sent away. Called in the bus's thread.
    void close();

protected:
    bool event(QEvent* event) override;

private:
    struct Job
    {
        const Work* work = nullptr;
        bool isTaken = false;
        bool isDone = false;
    };

    void doNext();

    // Standard types: see support/threadsanitizer_p.h.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Job*> m_jobs;
    bool m_isClosed = false;
};

} // namespace tarvex::devbus

#endif // BUSACCESS_H
