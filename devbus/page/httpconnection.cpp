#include "httpconnection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tarvex::devbus {

namespace {

using Clock = std::chrono::steady_clock;

/// The library's way to say that it failed.
constexpr ssize_t FAILED = -1;

bool wouldBlock()
{
    return errno == EAGAIN || errno == EINTR;
}

} // namespace

HttpConnection::HttpConnection(socket_t socket, int stopDescriptor, std::chrono::milliseconds headerTime)
    : m_socket(socket), m_stopDescriptor(stopDescriptor), m_deadline(Clock::now() + headerTime)
{
    ::fcntl(m_socket, F_SETFD, FD_CLOEXEC);
    ::fcntl(m_socket, F_SETFL, ::fcntl(m_socket, F_GETFL) | O_NONBLOCK);
}

HttpConnection::~HttpConnection()
{
    ::shutdown(m_socket, SHUT_RDWR);
    ::close(m_socket);
}

void HttpConnection::expectBody(std::size_t maxBody)
{
    m_deadline = Clock::now() + std::chrono::milliseconds(BODY_MS);
    m_receivable += maxBody;
}

bool HttpConnection::is_readable() const
{
    return m_begin < m_end || waitFor(POLLIN, m_deadline);
}

/// Whether the client is still there. The library asks before each part of an answer.
bool HttpConnection::is_writable() const
{
    pollfd descriptors[] = {{m_socket, POLLRDHUP, 0}, {m_stopDescriptor, POLLIN, 0}};
    return ::poll(descriptors, 2, 0) == 0;
}

ssize_t HttpConnection::read(char* bytes, size_t size)
{
    while (m_begin == m_end) {
        if (m_receivable == 0 || !waitFor(POLLIN, m_deadline)) {
            return FAILED;
        }
        const ssize_t received = ::recv(m_socket, m_buffer.data(), std::min(m_buffer.size(), m_receivable), 0);
        if (received == 0 || (received < 0 && !wouldBlock())) {
            return received;
        }
        m_begin = 0;
        m_end = received > 0 ? static_cast<std::size_t>(received) : 0;
        m_receivable -= m_end;
    }
    const std::size_t taken = std::min(size, m_end - m_begin);
    std::memcpy(bytes, m_buffer.data() + m_begin, taken);
    m_begin += taken;
    return static_cast<ssize_t>(taken);
}

ssize_t HttpConnection::write(const char* bytes, size_t size)
{
    while (waitFor(POLLOUT, Clock::now() + std::chrono::milliseconds(WRITE_MS))) {
        const ssize_t sent = ::send(m_socket, bytes, size, MSG_NOSIGNAL);
        if (sent >= 0 || !wouldBlock()) {
            return sent;
        }
    }
    return FAILED;
}

void HttpConnection::get_remote_ip_and_port(std::string& ip, int& port) const
{
    ip = "127.0.0.1";
    port = 0;
}

void HttpConnection::get_local_ip_and_port(std::string& ip, int& port) const
{
    get_remote_ip_and_port(ip, port);
}

/// What is there already is never too late, because this process may have had no turn.
/// \return false when the server is to end, the client has gone or it is too late.
bool HttpConnection::waitFor(short events, Clock::time_point deadline) const
{
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd descriptors[] = {{m_socket, events, 0}, {m_stopDescriptor, POLLIN, 0}};
        const int ready = ::poll(descriptors, 2, static_cast<int>(std::max<decltype(left)>(left, 0)));
        if (ready > 0) {
            return descriptors[1].revents == 0 && (descriptors[0].revents & events) != 0;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

} // namespace tarvex::devbus
