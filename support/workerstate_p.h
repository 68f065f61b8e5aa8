#ifndef WORKERSTATE_P_H
#define WORKERSTATE_P_H

#include <atomic>
#include <functional>

namespace wexcor {

/// What a worker and the controller that owns it tell each other. Shared, because each of the two may outlive the
/// other.
struct WorkerState
{
    /// The worker must take in no new work. The controller sets it, and takes it back if the application's event loop
    /// is run again.
    std::atomic<bool> isEnding{false};
    /// The worker is stopped for good, or is about to be. It is not started any more.
    std::atomic<bool> isRetired{false};
    /// The worker's thread is about to end. What is still queued for the worker is dropped and counted.
    std::atomic<bool> isLeaving{false};
    /// How many queued calls were dropped.
    std::atomic<int> droppedCalls{0};
    /// How many calls that were queued before the stop were carried out after it, and whether they are still counted.
    /// Used in the worker's thread only.
    int lateCalls = 0;
    bool countsLateCalls = true;
    /// How many calls wait for the worker. Only those count that the sender has counted here. Nothing else tells the
    /// number for a worker that is blocked.
    std::atomic<int> waitingCalls{0};
    /// Stops the worker unless it is stopped already. It is set before the worker's thread starts, and called in that
    /// thread.
    std::function<void()> stopNow;
};

} // namespace wexcor

#endif // WORKERSTATE_P_H
