#include "changes.h"

#include "busserver.h"
#include "wire/busterms_p.h"

#include <chrono>

namespace tarvex::devbus {

Changes::Changes(BusServer& server)
{
    m_counts.nextFrame = server.frames().nextNumber();
    connect(&server.frames(), &traffic::FrameMemory::added, this, &Changes::onFrame);
    connect(&server, &BusServer::clientsChanged, this, &Changes::noteClients);
}

Changes::Counts Changes::counts() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_counts;
}

Changes::Counts Changes::waitForFrame(std::int64_t frame, int waitMs) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::milliseconds(waitMs),
                       [&] { return m_isClosed || m_counts.nextFrame > frame; });
    return m_counts;
}

void Changes::pause(int waitMs) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::milliseconds(waitMs), [&] { return m_isClosed; });
}

void Changes::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isClosed = true;
    m_changed.notify_all();
}

bool Changes::isClosed() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isClosed;
}

void Changes::noteFaults()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_counts.faults;
}

/// A request counts as well as its reply, because a reply may be lost by a fault on purpose.
void Changes::onFrame(const traffic::SeenFrame& frame)
{
    const QString& operation = frame.operation;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_counts.nextFrame = frame.number + 1;
    ++m_counts.clients; // how much waits for a client changes with most frames
    m_counts.faults += frame.fault.isEmpty() ? 0 : 1;
    if (operation == busterms::OPERATION_SAVE_SETTINGS || operation == busterms::OPERATION_REMOVE_SETTINGS) {
        ++m_counts.settings;
    } else if (operation == busterms::OPERATION_SAVE_STATE) {
        ++m_counts.states;
    }
    m_changed.notify_all();
}

void Changes::noteClients()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_counts.clients;
}

} // namespace tarvex::devbus
