#include "mockevents.h"

#include <QCoreApplication>
#include <QEvent>

#include <utility>

namespace tarvex::mock {

void MockEvents::add(const MockEvent& event)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_receiver == nullptr) {
        return;
    }
    // One event at a time, because a receiver without an event loop would collect them.
    if (m_events.isEmpty()) {
        QCoreApplication::postEvent(m_receiver, new QEvent(QEvent::User));
    }
    m_events.append(event);
}

QList<MockEvent> MockEvents::take()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_events, {});
}

void MockEvents::detach()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_receiver = nullptr;
    m_events.clear();
}

} // namespace tarvex::mock
