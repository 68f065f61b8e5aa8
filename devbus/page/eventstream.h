#ifndef EVENTSTREAM_H
#define EVENTSTREAM_H

#include "pageservice.h"

#include <chrono>
#include <string>

namespace tarvex::devbus {

/// What one reader is told as it happens, in the form of server-sent events:
///
/// - "hello": {"bus"}: which run of the bus this is. It comes first.
/// - "frames": a list of frames, in their form as JSON.
/// - "changed": {"clients", "settings", "states", "faults"}: a number for each, which is larger when there may be
/// something new.
///
/// A reader that does not keep up gets a frame of the kind "gap" for those that it has missed. Lives in one thread.
class EventStream
{
public:
    /// next() returns after this time even when there is nothing, in ms.
    static constexpr int WAIT_MS = 250;
    /// After a turn with frames there is none for this long, so that a reader cannot keep the bus at work, in ms.
    static constexpr int PAUSE_MS = 50;
    /// "changed" comes no oftener than this, in ms.
    static constexpr int CHANGED_INTERVAL_MS = 500;
    /// When nothing else comes, a comment keeps the connection alive, in ms.
    static constexpr int SILENCE_MS = 10000;

    /// \a bus names this run of the bus. \a lastEventId is what the reader has got last, when it comes back; otherwise
    /// it gets the last \a last frames first.
    EventStream(PageService& service, const std::string& bus, const std::string& lastEventId, std::int64_t last);

    /// The next events; empty when there are none now.
    std::string next();

private:
    std::string begin();
    std::string frames();
    std::string changed(const Changes::Counts& counts);

    PageService& m_service;
    const std::string m_bus;
    const std::int64_t m_last;
    PageService::Position m_position;
    bool m_isResumed = false;
    bool m_hasBegun = false;
    bool m_hasPosition = false;
    std::string m_toldChanges;
    std::chrono::steady_clock::time_point m_changedAt;
    std::chrono::steady_clock::time_point m_toldAt;
};

} // namespace tarvex::devbus

#endif // EVENTSTREAM_H
