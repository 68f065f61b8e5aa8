#include "standins_p.h"

namespace tarvex::testing {

StandIns::StandIns(const QList<mock::ServiceDescription>& services)
    : m_count(services.size()), m_events(std::make_shared<mock::MockEvents>(&m_alarm)), m_services(services, m_events)
{
    m_services.doStart();
}

StandIns::~StandIns()
{
    m_events->detach();
}

bool StandIns::areReady()
{
    const QList<mock::MockEvent> events = m_events->take();
    for (const mock::MockEvent& event : events) {
        if (event.kind == mock::MockEvent::Ready) {
            m_ready.insert(event.service);
        }
    }
    if (m_ready.size() < m_count) {
        return false;
    }
    m_events->detach(); // Nobody takes what they tell later, so it must not be collected.
    return true;
}

} // namespace tarvex::testing
