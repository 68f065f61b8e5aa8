#ifndef HTTPCONNECTION_H
#define HTTPCONNECTION_H

#include <array>
#include <chrono>
#include <httplib.h>

namespace tarvex::devbus {

/// One connection of a browser, as the HTTP library reads and writes it.
///
/// A client cannot keep it for ever: the header of the request must have come within HEADER_MS, its body within BODY_MS
/// after that, and each write must get on within WRITE_MS. It cannot fill the memory either: what it may send is
/// counted, because the library does not limit the header, nor a line before its end. It ends at once when the server
/// ends. The library's own connection does none of this.
class HttpConnection : public httplib::Stream
{
public:
    static constexpr int HEADER_MS = 2000;
    static constexpr int BODY_MS = 10000;
    static constexpr int WRITE_MS = 30000;
    /// Of the request line and the headers, in bytes.
    static constexpr std::size_t MAX_HEADER = std::size_t{64} * 1024;

    /// Owns \a socket from now on. \a stopDescriptor can be read when the server is to end.
    HttpConnection(socket_t socket, int stopDescriptor, std::chrono::milliseconds headerTime);
    ~HttpConnection() override;
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    /// The header has come; from now on the body may come, with \a maxBody bytes at most.
    void expectBody(std::size_t maxBody);

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
    std::chrono::steady_clock::time_point m_deadline; ///< Of what is read.
    std::size_t m_receivable = MAX_HEADER;            ///< So many bytes may still come.
    std::array<char, 4096> m_buffer{};
    std::size_t m_begin = 0; ///< Of what is in the buffer.
    std::size_t m_end = 0;
};

} // namespace tarvex::devbus

#endif // HTTPCONNECTION_H
