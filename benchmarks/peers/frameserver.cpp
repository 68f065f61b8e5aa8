#include "control.h"
#include "peer.h"
#include "require.h"
#include "wire/busframe_p.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <list>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

namespace busframe = tarvex::busframe;

/// The system chooses the port if \a port is 0.
int listenOn(quint16 port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
                && ::listen(descriptor, 5) == 0,
            "a port is taken");
    return descriptor;
}

QByteArray portOf(int descriptor)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    return QByteArray::number(ntohs(address.sin_port));
}

void sendAll(int descriptor, const QByteArray& bytes)
{
    for (int sent = 0; sent < bytes.size();) {
        const ssize_t count =
            ::send(descriptor, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        require(count > 0, "the client has gone");
        sent += static_cast<int>(count);
    }
}

struct Connection
{
    int descriptor;
    bool isQuery;
    bool isShaken;
    QByteArray bytes;
};

/// Takes the first frame out of \a bytes. \return whether it was there as a whole.
bool takeFrame(QByteArray& bytes)
{
    const int sizeAt = bytes.indexOf('\n') + 1;
    const int payloadAt = bytes.indexOf('\n', sizeAt) + 1;
    if (sizeAt == 0 || payloadAt == 0) {
        return false;
    }
    const int end = payloadAt + bytes.mid(sizeAt, payloadAt - sizeAt).trimmed().toInt();
    if (bytes.size() < end) {
        return false;
    }
    bytes.remove(0, end);
    return true;
}

/// Answers each request at once with the same frame. It does not look into the requests, so that it never is what an
/// exchange waits for.
class FrameServer
{
public:
    FrameServer(quint16 queryPort, quint16 receiverPort)
        : m_query(listenOn(queryPort)), m_receiver(listenOn(receiverPort))
    {
        Control::say("ready " + portOf(m_query) + ' ' + portOf(m_receiver));
    }

    void serve()
    {
        std::vector<pollfd> entries{{STDIN_FILENO, POLLIN, 0}, {m_query, POLLIN, 0}, {m_receiver, POLLIN, 0}};
        for (const Connection& connection : m_connections) {
            entries.push_back({connection.descriptor, POLLIN, 0});
        }
        require(::poll(entries.data(), entries.size(), -1) > 0, "poll() fails");
        if (entries[0].revents != 0 && m_control.take()) {
            push();
        }
        auto entry = entries.cbegin() + 3;
        for (Connection& connection : m_connections) {
            if (entry++->revents != 0) {
                read(connection);
            }
        }
        for (const int listener : {m_query, m_receiver}) {
            if (entries[listener == m_query ? 1 : 2].revents != 0) {
                m_connections.push_back(
                    {::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC), listener == m_query, false, QByteArray()});
            }
        }
    }

private:
    void read(Connection& connection)
    {
        const ssize_t count = ::recv(connection.descriptor, m_buffer.data(), m_buffer.size(), 0);
        if (count <= 0) {
            std::_Exit(EXIT_SUCCESS);
        }
        connection.bytes.append(m_buffer.data(), static_cast<int>(count));
        while (takeFrame(connection.bytes)) {
            answer(connection);
        }
    }

    void answer(Connection& connection)
    {
        if (!connection.isShaken) {
            connection.isShaken = true;
            sendAll(connection.descriptor, m_acceptance);
        } else if (connection.isQuery) {
            sendAll(connection.descriptor, m_control.reply());
        }
    }

    /// Nobody is connected when the pause alone is measured.
    void push()
    {
        const QByteArray frame = m_control.takePush();
        for (const Connection& connection : m_connections) {
            if (!connection.isQuery) {
                sendAll(connection.descriptor, frame);
            }
        }
    }

    const int m_query;
    const int m_receiver;
    const QByteArray m_acceptance = busframe::encodeReply(QStringLiteral("handshake"), 0, QString(), {});
    Control m_control;
    std::list<Connection> m_connections;
    std::vector<char> m_buffer = std::vector<char>(1 << 20);
};

} // namespace

int serveFrames(const QList<QByteArray>& arguments)
{
    require(arguments.size() == 2, "the server of frames takes two ports");
    FrameServer server(arguments.at(0).toUShort(), arguments.at(1).toUShort());
    for (;;) {
        server.serve();
    }
}
