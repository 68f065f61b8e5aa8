#ifndef HTTPSERVER_H
#define HTTPSERVER_H

#include "pageservice.h"

#include <memory>
#include <string>

namespace tarvex::devbus {

/// The live page over HTTP, on 127.0.0.1 only, in threads of its own.
///
/// What browsers can make it hold is bounded: the number of threads, of connections that wait for one, of event streams
/// and of downloads, the size of a request, and the time for it.
class HttpServer
{
public:
    static constexpr int MAX_STREAMS = 8;
    /// Each keeps the bus busy while it is read.
    static constexpr int MAX_DOWNLOADS = 2;
    /// For what is no event stream.
    static constexpr int OTHER_THREADS = 8;
    /// Further connections wait in the system.
    static constexpr int MAX_WAITING = 64;
    static constexpr std::size_t MAX_BODY = 1 << 20;

    /// \a service must stay as long as this object.
    HttpServer(PageService& service, const std::string& token);
    /// Ends all threads. The service must be closed by then.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Listens on \a port of 127.0.0.1; 0 lets the system choose one.
    /// \return why it cannot; empty on success
    std::string start(int port);

    /// The port on which it listens.
    int port() const;

private:
    class Engine;

    const std::unique_ptr<Engine> m_engine;
};

} // namespace tarvex::devbus

#endif // HTTPSERVER_H
