#ifndef PAGESERVICE_H
#define PAGESERVICE_H

#include "busaccess.h"
#include "changes.h"
#include "metrics.h"

#include <QByteArray>
#include <QVariantMap>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace tarvex::devbus {

/// What the live page asks and what it is answered, without HTTP.
///
/// Made and destroyed in the bus's thread. All other functions but close() are called from other threads; they block
/// until the bus has answered, but no longer than BusAccess::PATIENCE_MS.
class PageService
{
public:
    /// Of a frame or a record whose JSON is larger than this, only what it is and whose it is stands in a list, in
    /// bytes.
    static constexpr int MAX_LISTED_BYTES = 128 * 1024;
    /// No more frames are told in one turn when there are this many bytes.
    static constexpr std::size_t TURN_BYTES = std::size_t{256} * 1024;

    /// \a server must run as long as this object is there.
    PageService(BusServer& server, ControlService& controlService);

    struct Reply
    {
        int status = 503;
        std::string type = "text/plain; charset=utf-8";
        std::string body = "the bus is busy or about to end\n";
    };

    /// The items that the control socket gives for \a request, as {"items":[...]}.
    Reply list(const std::string& request);
    /// The whole settings record of \a owner.
    Reply settings(const std::string& owner);
    /// The whole frame with this number.
    Reply frame(std::int64_t number);
    Reply metrics();
    /// 200 when the storage answers.
    Reply health();

    // What changes something. \a body is a JSON object.

    /// {"sender", "receiver", "command", "data"}
    Reply sendCommand(const std::string& body);
    /// {"rule"}
    Reply addFault(const std::string& body);
    /// {"numbers"}; {} clears all.
    Reply clearFaults(const std::string& body);

    // The frames.

    /// Where a reader is.
    struct Position
    {
        std::int64_t next = 0; ///< The number of its next frame.
        std::int64_t end = 0;  ///< The number of the frame that the bus will see next.
    };

    /// The position before the last \a last frames.
    bool positionBefore(std::int64_t last, Position& position);
    /// Appends the next frames to \a text, each with \a separator after it, and moves \a position behind them. Large
    /// frames are listed without data unless \a isWhole.
    /// \return false when the bus has not answered
    bool readFrames(Position& position, const char* separator, bool isWhole, std::string& text);

    Changes& changes() { return m_changes; }

    /// Nobody is answered from now on.
    void close();

private:
    Reply change(const std::string& body, const std::function<void(const QVariantMap&, Reply&)>& work);
    void performCommand(const QVariantMap& command, Reply& reply);
    void passOn(const QVariantMap& request, Reply& reply);

    BusServer& m_server;
    ControlService& m_controlService;
    Metrics m_metrics;
    Changes m_changes;
    BusAccess m_access;
};

} // namespace tarvex::devbus

#endif // PAGESERVICE_H
