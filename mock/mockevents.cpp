#include "mockevents.h"

#include "words.h"

#include <QCoreApplication>
#include <QEvent>

#include <utility>

namespace tarvex::mock {

using programs::Words;

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
    if (m_events.size() >= MAX_EVENTS && event.kind != MockEvent::Ready) {
        ++m_dropped;
        return;
    }
    m_events.append(event);
}

QList<MockEvent> MockEvents::take()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QList<MockEvent> events = std::exchange(m_events, {});
    if (const qint64 dropped = std::exchange(m_dropped, 0)) {
        MockEvent missing{};
        missing.kind = MockEvent::Missing;
        missing.words =
            Words::tr("%1 events are not shown, because they came faster than they were taken").arg(dropped);
        events.append(missing);
    }
    return events;
}

void MockEvents::detach()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_receiver = nullptr;
    m_events.clear();
}

} // namespace tarvex::mock
