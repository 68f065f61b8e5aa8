#ifndef CHANGES_H
#define CHANGES_H

#include "traffic/seenframe.h"

#include <QObject>

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace tarvex::devbus {

class BusServer;

/// Tells other threads that something about the bus has changed, and what, but not how. They ask the bus for that.
///
/// Lives in the bus's thread.
class Changes : public QObject
{
    Q_OBJECT
public:
    /// Numbers that become larger when there may be something new. They never become smaller.
    struct Counts
    {
        std::int64_t nextFrame = 1; ///< The number that the next frame will get.
        std::int64_t clients = 0;
        std::int64_t settings = 0;
        std::int64_t states = 0;
        std::int64_t faults = 0;
    };

    explicit Changes(BusServer& server);

    /// Any thread may call.
    Counts counts() const;
    /// Returns when there are frames from \a frame on, after \a waitMs, or when it is closed. Any thread may call.
    Counts waitForFrame(std::int64_t frame, int waitMs) const;
    /// Returns after \a waitMs, or when it is closed. Any thread may call.
    void pause(int waitMs) const;

    /// Nobody waits from now on. Any thread may call.
    void close();
    bool isClosed() const;

    // What changes without a frame. Any thread may call.

    void noteClients();
    void noteFaults();

private:
    void onFrame(const traffic::SeenFrame& frame);

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    Counts m_counts;
    bool m_isClosed = false;
};

} // namespace tarvex::devbus

#endif // CHANGES_H
