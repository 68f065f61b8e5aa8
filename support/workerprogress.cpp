#include "workerprogress_p.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <chrono>

namespace wexcor {

namespace {

std::chrono::milliseconds remainingTime(const QDeadlineTimer& deadline)
{
    return std::chrono::milliseconds(deadline.remainingTime());
}

} // namespace

int WorkerProgress::addMarker()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return ++m_sentMarkers;
}

void WorkerProgress::passMarker()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_markers;
    m_changed.notify_all();
}

void WorkerProgress::stopped()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isStopped = true;
    m_changed.notify_all();
}

int WorkerProgress::left(int dropped)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isStopped = true;
    m_dropped = dropped;
    m_changed.notify_all();
    return m_reported ? std::max(0, dropped - *m_reported) : 0;
}

bool WorkerProgress::waitForMarkers(int count, const QDeadlineTimer& deadline)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, remainingTime(deadline),
                              [this, count] { return m_markers >= count || m_isStopped; });
}

bool WorkerProgress::waitForStop(const QDeadlineTimer& deadline)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, remainingTime(deadline), [this] { return m_isStopped; });
}

int WorkerProgress::takeDropped(int known)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reported = m_isStopped ? m_dropped : known;
    return *m_reported;
}

} // namespace wexcor
