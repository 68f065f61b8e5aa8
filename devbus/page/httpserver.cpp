#include "httpserver.h"

#include "eventstream.h"
#include "httpconnection.h"
#include "pagefiles.h"
#include "requestguard.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace tarvex::devbus {

namespace {

using httplib::Request;
using httplib::Response;

constexpr int FORBIDDEN = 403;
constexpr int BAD_REQUEST = 400;
constexpr int NOT_FOUND = 404;
constexpr int TOO_LARGE = 413;
constexpr int UNSUPPORTED_TYPE = 415;
constexpr int NO_SUCH_RANGE = 416;
constexpr int SERVER_ERROR = 500;
constexpr int UNAVAILABLE = 503;

constexpr std::int64_t DEFAULT_LAST = 200;
constexpr std::int64_t MAX_LAST = 10000;

const char* const TEXT = "text/plain; charset=utf-8";

/// Nothing but the page's own files is loaded or asked, nobody may show the page in a frame, and no other page may read
/// an answer.
httplib::Headers commonHeaders()
{
    return {{"Content-Security-Policy",
             "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
             "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
            {"X-Content-Type-Options", "nosniff"},
            {"Referrer-Policy", "no-referrer"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Cross-Origin-Opener-Policy", "same-origin"},
            {"Cache-Control", "no-store"}};
}

/// A whole number from 0; nothing when it is none.
std::optional<std::int64_t> numberOf(const std::string& text)
{
    std::int64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = result.ec == std::errc() && result.ptr == text.data() + text.size() && number >= 0;
    return isWhole ? std::optional<std::int64_t>(number) : std::nullopt;
}

void give(Response& response, const PageService::Reply& reply)
{
    response.status = reply.status;
    response.set_content(reply.body, reply.type);
}

void refuse(Response& response, int status, const std::string& why)
{
    response.status = status;
    response.set_content(why + '\n', TEXT);
}

/// For what the library itself has refused.
std::string wordsOf(int status)
{
    switch (status) {
    case NOT_FOUND:
        return "there is nothing here\n";
    case TOO_LARGE:
        return "the content of the request is too large\n";
    case UNSUPPORTED_TYPE:
        return "content of this type or encoding cannot be read\n";
    case NO_SUCH_RANGE:
        return "parts of an answer are not given\n";
    default:
        return "the request cannot be understood\n";
    }
}

/// Holds the accepting thread up while too many connections wait for a thread.
class Gate
{
public:
    void enter()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_waiting < HttpServer::MAX_WAITING || m_isClosed; });
        ++m_waiting;
    }

    void leave()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        --m_waiting;
        m_changed.notify_all();
    }

    void close()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isClosed = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_waiting = 0;
    bool m_isClosed = false;
};

/// The library's threads, with a bound for what waits for them.
class Threads : public httplib::ThreadPool
{
public:
    explicit Threads(Gate& gate)
        : httplib::ThreadPool(HttpServer::MAX_STREAMS + HttpServer::OTHER_THREADS), m_gate(gate)
    {
    }

    void enqueue(std::function<void()> work) override
    {
        m_gate.enter();
        httplib::ThreadPool::enqueue([this, work] {
            m_gate.leave();
            work();
        });
    }

private:
    Gate& m_gate;
};

} // namespace

/// The library's server with our connections.
class HttpServer::Engine : public httplib::Server
{
public:
    Engine(PageService& service, const std::string& token);
    ~Engine() override;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    std::string start(int port);

    int port() const { return m_port; }

private:
    bool process_and_close_socket(socket_t socket) override;
    void addFiles();
    void addQuestions();
    void addChanges();
    void addFrames();
    void giveEvents(const Request& request, Response& response);
    void giveDownload(Response& response);

    PageService& m_service;
    const std::string m_token;
    const std::string m_bus = newToken().substr(0, 8); ///< Names this run for the readers of the events.
    const int m_stopDescriptor;
    Gate m_gate;
    std::unique_ptr<RequestGuard> m_guard;
    std::atomic<int> m_streams{0};
    std::atomic<int> m_downloads{0};
    std::atomic<bool> m_hasEnded{false};
    int m_port = 0;
    std::thread m_thread;
};

HttpServer::HttpServer(PageService& service, const std::string& token)
    : m_engine(std::make_unique<Engine>(service, token))
{
}

HttpServer::~HttpServer() = default;

std::string HttpServer::start(int port)
{
    return m_engine->start(port);
}

int HttpServer::port() const
{
    return m_engine->port();
}

HttpServer::Engine::Engine(PageService& service, const std::string& token)
    : m_service(service), m_token(token), m_stopDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    new_task_queue = [this] { return new Threads(m_gate); };
    // By default the library lets several programs listen on the same port, and a browser would get any of them.
    set_socket_options([](socket_t socket) {
        const int isOn = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &isOn, sizeof(isOn));
    });
    set_address_family(AF_INET);
    set_tcp_nodelay(true);
    set_payload_max_length(MAX_BODY);
    set_default_headers(commonHeaders());
    set_exception_handler([](const Request&, Response& response, std::exception_ptr) {
        refuse(response, SERVER_ERROR, "the page has failed");
    });
    set_error_handler([](const Request&, Response& response) {
        if (response.body.empty()) {
            response.set_content(wordsOf(response.status), TEXT);
        }
    });
    set_pre_routing_handler([this](const Request& request, Response& response) {
        int status = FORBIDDEN;
        const std::string why = m_guard->refusal(request, status);
        if (why.empty()) {
            return HandlerResponse::Unhandled;
        }
        refuse(response, status, why);
        return HandlerResponse::Handled;
    });
    addFiles();
    addQuestions();
    addChanges();
    addFrames();
}

HttpServer::Engine::~Engine()
{
    m_gate.close();
    ::eventfd_write(m_stopDescriptor, 1);
    stop();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    ::close(m_stopDescriptor);
}

std::string HttpServer::Engine::start(int port)
{
    const std::string host = "127.0.0.1";
    errno = 0;
    m_port = port == 0 ? bind_to_any_port(host) : (bind_to_port(host, port) ? port : -1);
    if (m_stopDescriptor < 0 || m_port <= 0) {
        return "cannot listen on 127.0.0.1 port " + std::to_string(port) + ": " + std::strerror(errno);
    }
    m_guard = std::make_unique<RequestGuard>(m_port, m_token);
    m_thread = std::thread([this] {
        listen_after_bind();
        m_hasEnded = true;
    });
    // stop() does nothing before it runs.
    while (!is_running() && !m_hasEnded) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return std::string();
}

/// What the library would do for a client that asks for it is taken out of the request: parts of an answer, as many as
/// the client names, and content that grows when it is unpacked. No browser needs them here.
bool HttpServer::Engine::process_and_close_socket(socket_t socket)
{
    HttpConnection connection(socket, m_stopDescriptor, std::chrono::milliseconds(HttpConnection::HEADER_MS));
    bool isClosed = false;
    return process_request(connection, true, isClosed, [&connection](Request& request) {
        connection.expectBody(MAX_BODY);
        request.headers.erase("Range");
        request.ranges.clear();
        request.headers.erase("Content-Encoding");
    });
}

void HttpServer::Engine::addFiles()
{
    for (const PageFile& file : pageFiles()) {
        Get(file.path, [file](const Request&, Response& response) { response.set_content(file.content, file.type); });
    }
}

void HttpServer::Engine::addQuestions()
{
    for (const char* const name : {"about", "clients", "states", "settings", "faults"}) {
        const std::string request = name;
        Get("/api/" + request,
            [this, request](const Request&, Response& response) { give(response, m_service.list(request)); });
    }
    Get("/api/settings/record", [this](const Request& request, Response& response) {
        give(response, m_service.settings(request.get_param_value("owner")));
    });
    Get("/metrics", [this](const Request&, Response& response) { give(response, m_service.metrics()); });
    Get("/healthz", [this](const Request&, Response& response) { give(response, m_service.health()); });
}

void HttpServer::Engine::addChanges()
{
    Post("/api/command",
         [this](const Request& request, Response& response) { give(response, m_service.sendCommand(request.body)); });
    Post("/api/faults",
         [this](const Request& request, Response& response) { give(response, m_service.addFault(request.body)); });
    Post("/api/faults/clear",
         [this](const Request& request, Response& response) { give(response, m_service.clearFaults(request.body)); });
}

void HttpServer::Engine::addFrames()
{
    Get("/api/frame", [this](const Request& request, Response& response) {
        const auto number = numberOf(request.get_param_value("number"));
        number ? give(response, m_service.frame(*number))
               : refuse(response, BAD_REQUEST, "\"number\" must be a whole number");
    });
    Get("/events", [this](const Request& request, Response& response) { giveEvents(request, response); });
    Get("/frames.jsonl", [this](const Request&, Response& response) { giveDownload(response); });
}

void HttpServer::Engine::giveEvents(const Request& request, Response& response)
{
    const auto last = request.has_param("last") ? numberOf(request.get_param_value("last")) : DEFAULT_LAST;
    if (!last) {
        refuse(response, BAD_REQUEST, "\"last\" must be a whole number from 0");
        return;
    }
    if (m_streams.fetch_add(1) >= MAX_STREAMS) {
        --m_streams;
        refuse(response, UNAVAILABLE, "too many pages are open");
        return;
    }
    const auto stream = std::make_shared<EventStream>(m_service, m_bus, request.get_header_value("Last-Event-ID"),
                                                      std::min(*last, MAX_LAST));
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, stream](std::size_t, httplib::DataSink& sink) {
            if (m_service.changes().isClosed() || !sink.is_writable()) {
                return false;
            }
            const std::string events = stream->next();
            return events.empty() || sink.write(events.data(), events.size());
        },
        [this](bool) { --m_streams; });
}

/// Ends with the frame that is the last one now.
void HttpServer::Engine::giveDownload(Response& response)
{
    if (m_downloads.fetch_add(1) >= MAX_DOWNLOADS) {
        --m_downloads;
        refuse(response, UNAVAILABLE, "too many downloads are under way");
        return;
    }
    PageService::Position position;
    if (!m_service.positionBefore(std::numeric_limits<std::int64_t>::max(), position)) {
        --m_downloads;
        give(response, PageService::Reply());
        return;
    }
    response.set_header("Content-Disposition", "attachment; filename=\"frames.jsonl\"");
    const auto reached = std::make_shared<PageService::Position>(position);
    response.set_chunked_content_provider(
        "application/jsonl",
        [this, reached, end = position.end](std::size_t, httplib::DataSink& sink) {
            std::string lines;
            if (reached->next >= end) {
                sink.done();
                return true;
            }
            return m_service.readFrames(*reached, "\n", true, lines) && sink.write(lines.data(), lines.size());
        },
        [this](bool) { --m_downloads; });
}

} // namespace tarvex::devbus
