#ifndef HTTPCONNECTION_H
#define HTTPCONNECTION_H

#include <array>
#include <chrono>
#include <httplib.h>

namespace tarvex::devbus {

/// One connection of a browser, as the HTTP library reads and writes it.
///
/// A client cannot keep it for ever: the whole request must have come within REQUEST_MS, and each write must get on
/// within WRITE_MS. It ends at once when the server ends. The library's own connection does neither.
class HttpConnection : public httplib::Stream
{
public:
    static constexpr int REQUEST_MS = 10000;
    static constexpr int WRITE_MS = 30000;

    /// Owns \a socket from now on. \a stopDescriptor can be read when the server is to end.
    HttpConnection(socket_t socket, int stopDescriptor);
    ~HttpConnection() override;
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* bytes, size_t size) override;
    using httplib::Stream::write;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;

    socket_t socket() const override { return m_socket; }

private:
    bool waitFor(short events, std::chrono::steady_clock::time_point deadline) const;

    const socket_t m_socket;
    const int m_stopDescriptor;
    const std::chrono::steady_clock::time_point m_requestDeadline;
    std::array<char, 4096> m_buffer{};
    std::size_t m_begin = 0; ///< Of what is in the buffer.
    std::size_t m_end = 0;
};

} // namespace tarvex::devbus

#endif // HTTPCONNECTION_H
