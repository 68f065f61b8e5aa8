#include "eventstream.h"

#include <charconv>

namespace tarvex::devbus {

namespace {

using Clock = std::chrono::steady_clock;

std::string event(const char* name, const std::string& data)
{
    return std::string("event: ") + name + "\ndata: " + data + "\n\n";
}

/// The number in an identifier of this run of the bus, "BUS-NUMBER". 0 for another one.
std::int64_t numberIn(const std::string& eventId, const std::string& bus)
{
    std::int64_t number = 0;
    if (eventId.rfind(bus + '-', 0) == 0) {
        std::from_chars(eventId.data() + bus.size() + 1, eventId.data() + eventId.size(), number);
    }
    return number;
}

} // namespace

EventStream::EventStream(PageService& service, const std::string& bus, const std::string& lastEventId,
                         std::int64_t last)
    : m_service(service), m_bus(bus), m_last(last)
{
    m_position.next = numberIn(lastEventId, bus);
    m_isResumed = m_position.next > 0;
}

std::string EventStream::next()
{
    std::string events = begin();
    const Changes::Counts counts = m_service.changes().waitForFrame(m_position.next, events.empty() ? WAIT_MS : 0);
    if (m_hasPosition && counts.nextFrame > m_position.next) {
        events += frames();
    }
    events += changed(counts);
    const auto now = Clock::now();
    if (events.empty() && now - m_toldAt >= std::chrono::milliseconds(SILENCE_MS)) {
        events = ":\n\n";
    }
    if (!events.empty()) {
        m_toldAt = now;
    }
    return events;
}

/// Says hello, and finds the first frame. The bus may be too busy for that; then it is tried again with the next turn.
std::string EventStream::begin()
{
    PageService::Position position;
    if (!m_hasPosition && m_service.positionBefore(m_last, position)) {
        m_hasPosition = true;
        // A reader may send any number. One that does not exist yet would leave it without frames.
        m_position.next = m_isResumed ? std::min(m_position.next, position.end) : position.next;
    }
    if (m_hasBegun) {
        return std::string();
    }
    m_hasBegun = true;
    return event("hello", "{\"bus\":\"" + m_bus + "\"}");
}

std::string EventStream::frames()
{
    m_service.changes().pause(PAUSE_MS); // what comes meanwhile goes along
    std::string list;
    if (!m_service.readFrames(m_position, ",", false, list) || list.empty()) {
        return std::string();
    }
    list.pop_back();
    return "id: " + m_bus + '-' + std::to_string(m_position.next) + '\n' + event("frames", '[' + list + ']');
}

std::string EventStream::changed(const Changes::Counts& counts)
{
    const std::string told = "{\"clients\":" + std::to_string(counts.clients)
        + ",\"settings\":" + std::to_string(counts.settings) + ",\"states\":" + std::to_string(counts.states)
        + ",\"faults\":" + std::to_string(counts.faults) + '}';
    const auto now = Clock::now();
    if (told == m_toldChanges || now - m_changedAt < std::chrono::milliseconds(CHANGED_INTERVAL_MS)) {
        return std::string();
    }
    m_toldChanges = told;
    m_changedAt = now;
    return event("changed", told);
}

} // namespace tarvex::devbus
