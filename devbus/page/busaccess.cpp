#include "busaccess.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>
#include <chrono>

namespace tarvex::devbus {

bool BusAccess::ask(const Work& work)
{
    Job job{&work};
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_isClosed) {
            return false;
        }
        m_jobs.push_back(&job);
    }
    QCoreApplication::postEvent(this, new QEvent(QEvent::User)); // it only says that there is a job
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::milliseconds(PATIENCE_MS),
                       [&] { return job.isDone || (m_isClosed && !job.isTaken); });
    if (job.isTaken) {
        m_changed.wait(lock, [&] { return job.isDone; }); // the work uses what belongs to the caller
        return true;
    }
    m_jobs.erase(std::remove(m_jobs.begin(), m_jobs.end(), &job), m_jobs.end());
    return false;
}

void BusAccess::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isClosed = true;
    m_changed.notify_all();
}

bool BusAccess::event(QEvent* event)
{
    if (event->type() != QEvent::User) {
        return QObject::event(event);
    }
    doNext();
    return true;
}

void BusAccess::doNext()
{
    Job* job = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_jobs.empty() || m_isClosed) {
            return; // it was given up meanwhile
        }
        job = m_jobs.front();
        m_jobs.pop_front();
        job->isTaken = true;
    }
    (*job->work)();
    const std::lock_guard<std::mutex> lock(m_mutex);
    job->isDone = true;
    m_changed.notify_all();
}

} // namespace tarvex::devbus
