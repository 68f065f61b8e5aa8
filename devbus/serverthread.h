#ifndef SERVERTHREAD_H
#define SERVERTHREAD_H

#include "busserver.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class QThread;

namespace tarvex::devbus {

/// A bus server in a thread of its own, for a process whose other threads block or have no event loop.
///
/// The process needs a QCoreApplication. Destroying this object stops the server; no signal is emitted after that.
class ServerThread
{
public:
    /// Returns when the server exists. It is not started yet.
    explicit ServerThread(const BusServer::Options& options);
    ~ServerThread();
    Q_DISABLE_COPY_MOVE(ServerThread)

    using Work = std::function<void(BusServer& server)>;

    /// Does \a work in the server's thread and returns when it is done. Any thread may call but the server's own.
    void call(const Work& work);

private:
    class Inbox;

    void run(const BusServer::Options& options);
    void publish(Inbox* inbox);
    void doWork(BusServer& server);

    // Standard types: see support/threadsanitizer_p.h.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::mutex m_callMutex; ///< Held by the caller whose work is under way.
    Inbox* m_inbox = nullptr;
    const Work* m_work = nullptr;
    const std::unique_ptr<QThread> m_thread;
};

} // namespace tarvex::devbus

#endif // SERVERTHREAD_H
