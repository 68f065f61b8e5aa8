#include "busclient.h"

#include "literals.h"

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int connectTo(quint16 port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int yes = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

} // namespace

BusClient::BusClient(quint16 port, const QString& name) : m_descriptor(connectTo(port)), m_peer(m_descriptor)
{
    if (!name.isEmpty() && ask(u"handshake"_s, {{u"name"_s, name}}).code != 0) {
        ::close(m_descriptor);
        m_descriptor = -1;
        m_peer = FakeBus::Peer(-1);
    }
}

BusClient::~BusClient()
{
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

bool BusClient::send(const QByteArray& bytes)
{
    return m_peer.send(bytes);
}

bool BusClient::sendRequest(const QString& operation, const QVariantMap& data)
{
    return send(FakeBus::requestFrame(operation, data));
}

BusClient::Frame BusClient::read()
{
    Frame frame;
    FakeBus::Request raw;
    frame.isValid = m_peer.readRequest(raw);
    if (frame.isValid) {
        frame.isReply = raw.frame.startsWith("[-REPLY-]\r\n");
        frame.operation = raw.operation;
        frame.data = raw.data;
        frame.envelope = raw.envelope;
        const QVariantMap result = raw.envelope.value(u"result"_s).toMap();
        frame.code = result.value(u"code"_s, -1).toInt();
        frame.description = result.value(u"description"_s).toString();
    }
    return frame;
}

BusClient::Frame BusClient::ask(const QString& operation, const QVariantMap& data)
{
    return askRaw(FakeBus::requestFrame(operation, data));
}

BusClient::Frame BusClient::askRaw(const QByteArray& bytes)
{
    return send(bytes) ? read() : Frame();
}

bool BusClient::acknowledge(const Frame& pushed, int code)
{
    return send(FakeBus::replyFrame(u"sendMessage"_s, code, QString(),
                                    {{u"sender"_s, pushed.data.value(u"sender"_s)},
                                     {u"reciever"_s, pushed.data.value(u"reciever"_s)},
                                     {u"uid"_s, pushed.data.value(u"UID"_s)}}));
}

bool BusClient::waitForClose()
{
    return m_peer.waitForClose();
}

bool BusClient::hasBytes() const
{
    pollfd entry{m_descriptor, POLLIN, 0};
    return ::poll(&entry, 1, 0) == 1;
}

bool BusClient::hasSentAll() const
{
    int waiting = -1;
    return ::ioctl(m_descriptor, SIOCOUTQ, &waiting) == 0 && waiting == 0;
}

qint64 BusClient::sendWithoutWaiting(const QByteArray& bytes)
{
    qint64 sent = 0;
    while (sent < bytes.size()) {
        const ssize_t now = ::send(m_descriptor, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent),
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
        if (now <= 0) {
            break;
        }
        sent += now;
    }
    return sent;
}
