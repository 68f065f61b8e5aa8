#include "fakebus.h"

#include "literals.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

namespace {

constexpr int PATIENCE_MS = 20000;

bool waitFor(int descriptor, short events, int patienceMs = PATIENCE_MS)
{
    pollfd entry{descriptor, events, 0};
    return ::poll(&entry, 1, patienceMs) == 1;
}

QByteArray deflated(const QByteArray& json)
{
    uLongf size = compressBound(static_cast<uLong>(json.size()));
    QByteArray block(4 + static_cast<int>(size), '\0');
    qToBigEndian(static_cast<quint32>(json.size()), block.data());
    compress2(reinterpret_cast<Bytef*>(block.data()) + 4, &size, reinterpret_cast<const Bytef*>(json.constData()),
              static_cast<uLong>(json.size()), 9);
    block.truncate(4 + static_cast<int>(size));
    return block;
}

QByteArray inflated(const QByteArray& block)
{
    if (block.size() < 4) {
        return {};
    }
    uLongf size = qFromBigEndian<quint32>(block.constData());
    QByteArray json(static_cast<int>(size), '\0');
    const int result =
        uncompress(reinterpret_cast<Bytef*>(json.data()), &size, reinterpret_cast<const Bytef*>(block.constData()) + 4,
                   static_cast<uLong>(block.size() - 4));
    return result == Z_OK && static_cast<int>(size) == json.size() ? json : QByteArray();
}

} // namespace

bool FakeBus::Peer::readBytes(int count, QByteArray& bytes)
{
    while (bytes.size() < count) {
        char buffer[65536];
        if (m_descriptor < 0 || !waitFor(m_descriptor, POLLIN)) {
            return false;
        }
        const auto wanted = static_cast<size_t>(qMin<int>(sizeof buffer, count - bytes.size()));
        const ssize_t got = ::recv(m_descriptor, buffer, wanted, 0);
        if (got <= 0) {
            return false;
        }
        bytes.append(buffer, static_cast<int>(got));
    }
    return true;
}

bool FakeBus::Peer::readLine(QByteArray& line)
{
    line.clear();
    while (!line.endsWith("\r\n")) {
        if (line.size() > 64 || !readBytes(line.size() + 1, line)) {
            return false;
        }
    }
    return true;
}

bool FakeBus::Peer::readRequest(Request& request)
{
    QByteArray header;
    QByteArray size;
    QByteArray payload;
    if (!readLine(header) || !readLine(size) || !readBytes(size.trimmed().toInt(), payload)) {
        return false;
    }
    request.frame = header + size + payload;
    request.envelope = QJsonDocument::fromJson(inflated(QByteArray::fromBase64(payload))).object().toVariantMap();
    request.operation = request.envelope.value(u"operation"_s).toString();
    request.data = request.envelope.value(u"data"_s).toMap();
    return true;
}

bool FakeBus::Peer::send(const QByteArray& bytes)
{
    int sent = 0;
    while (sent < bytes.size()) {
        if (m_descriptor < 0 || !waitFor(m_descriptor, POLLOUT)) {
            return false;
        }
        const ssize_t now = ::send(m_descriptor, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent),
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
        if (now <= 0) {
            return false;
        }
        sent += static_cast<int>(now);
    }
    return true;
}

bool FakeBus::Peer::sendInPieces(const QList<QByteArray>& pieces, int pauseMs)
{
    for (const QByteArray& piece : pieces) {
        if (!send(piece)) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs));
    }
    return true;
}

void FakeBus::Peer::close()
{
    if (m_descriptor >= 0) {
        ::shutdown(m_descriptor, SHUT_RDWR);
        m_descriptor = -1;
    }
}

void FakeBus::Peer::reset()
{
    // Connecting the socket to no address resets the connection. The descriptor stays open and is closed later.
    sockaddr nowhere{};
    nowhere.sa_family = AF_UNSPEC;
    static_cast<void>(::connect(m_descriptor, &nowhere, sizeof nowhere));
    m_descriptor = -1;
}

bool FakeBus::Peer::waitForClose()
{
    char byte;
    while (m_descriptor >= 0 && waitFor(m_descriptor, POLLIN)) {
        if (::recv(m_descriptor, &byte, 1, 0) <= 0) {
            return true;
        }
    }
    return m_descriptor < 0;
}

FakeBus::FakeBus(quint16 port)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        || ::listen(listener, 16) != 0 || ::pipe(m_wakeUp) != 0) {
        ::close(listener);
        return;
    }
    m_listener = listener;
    m_acceptor = std::thread([this] { acceptConnections(); });
}

FakeBus::~FakeBus()
{
    if (m_listener < 0) {
        return;
    }
    // A byte on the pipe ends the acceptor. The shutdown ends every server thread that waits for its client.
    const char byte = 0;
    if (::write(m_wakeUp[1], &byte, 1) == 1) {
        m_acceptor.join();
    }
    dropConnections();
    for (std::thread& server : m_servers) {
        server.join();
    }
    for (const int descriptor : qAsConst(m_descriptors)) {
        ::close(descriptor);
    }
    ::close(m_listener);
    ::close(m_wakeUp[0]);
    ::close(m_wakeUp[1]);
}

void FakeBus::willGreet(const QByteArray& bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_greeting = bytes;
}

void FakeBus::willAnswerHandshake(const Action& action)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_handshakeActions.push_back(action);
}

void FakeBus::willRefuseHandshake(int code)
{
    willAnswerHandshake(
        [code](Peer& peer, const Request&) { peer.send(replyFrame(u"handshake"_s, code, u"refused"_s)); });
}

void FakeBus::willReply(const QString& operation, int code, const QString& description, const QVariantMap& data)
{
    willSend(replyFrame(operation, code, description, data));
}

void FakeBus::willSend(const QByteArray& bytes)
{
    willDo([bytes](Peer& peer, const Request&) { peer.send(bytes); });
}

void FakeBus::willSendInPieces(const QList<QByteArray>& pieces, int pauseMs)
{
    willDo([pieces, pauseMs](Peer& peer, const Request&) { peer.sendInPieces(pieces, pauseMs); });
}

void FakeBus::willSayNothing()
{
    willDo([](Peer&, const Request&) {});
}

void FakeBus::willClose()
{
    willDo([](Peer& peer, const Request&) { peer.close(); });
}

void FakeBus::willDo(const Action& action)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_actions.push_back(action);
}

void FakeBus::willAlwaysDo(const Action& action)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lastingAction = action;
}

QList<FakeBus::Request> FakeBus::requests() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

QList<FakeBus::Request> FakeBus::handshakes() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_handshakes;
}

int FakeBus::connectionCount() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_connectionCount;
}

bool FakeBus::waitForRequests(int count) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(PATIENCE_MS),
                              [this, count] { return m_requests.size() >= count; });
}

bool FakeBus::waitForConnections(int count) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(PATIENCE_MS),
                              [this, count] { return m_connectionCount >= count; });
}

void FakeBus::dropConnections()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const int descriptor : qAsConst(m_descriptors)) {
        ::shutdown(descriptor, SHUT_RDWR);
    }
}

QByteArray FakeBus::payload(const QByteArray& json)
{
    return deflated(json).toBase64();
}

QByteArray FakeBus::payload(const QVariantMap& envelope)
{
    return payload(QJsonDocument(QJsonObject::fromVariantMap(envelope)).toJson(QJsonDocument::Indented));
}

QByteArray FakeBus::frame(const QByteArray& header, const QByteArray& payload)
{
    return header + "\r\n" + QByteArray::number(payload.size()) + "\r\n" + payload;
}

QByteArray FakeBus::replyFrame(const QString& operation, int code, const QString& description, const QVariantMap& data)
{
    const QVariantMap result{{u"code"_s, code}, {u"description"_s, description}};
    return frame("[-REPLY-]",
                 payload(QVariantMap{{u"operation"_s, operation}, {u"data"_s, data}, {u"result"_s, result}}));
}

QByteArray FakeBus::requestFrame(const QString& operation, const QVariantMap& data)
{
    return frame("[-REQUEST-]", payload(QVariantMap{{u"operation"_s, operation}, {u"data"_s, data}}));
}

QByteArray FakeBus::acceptance()
{
    return replyFrame(u"handshake"_s, 0);
}

void FakeBus::answer(Peer& peer, const Request& request)
{
    peer.send(replyFrame(request.operation, 0));
}

void FakeBus::acceptConnections()
{
    for (;;) {
        pollfd entries[2] = {{m_listener, POLLIN, 0}, {m_wakeUp[0], POLLIN, 0}};
        if (::poll(entries, 2, -1) < 0 || entries[1].revents != 0) {
            return;
        }
        const int descriptor = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0) {
            continue;
        }
        // Each piece of a cut frame is sent as a segment of its own.
        const int yes = 1;
        ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_connectionCount;
        m_descriptors.append(descriptor);
        m_servers.emplace_back([this, descriptor] { serve(descriptor); });
        m_changed.notify_all();
    }
}

void FakeBus::serve(int descriptor)
{
    Peer peer(descriptor);
    Request request;
    peer.send(greeting());
    // There is no time limit for the beginning of a request. The destructor's shutdown ends this wait as well.
    while (peer.isUsable() && waitFor(descriptor, POLLIN, -1) && peer.readRequest(request)) {
        const bool handshake = request.operation == QLatin1String("handshake");
        record(handshake, request);
        nextAction(handshake)(peer, request);
    }
}

QByteArray FakeBus::greeting() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_greeting;
}

FakeBus::Action FakeBus::nextAction(bool handshake)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::deque<Action>& actions = handshake ? m_handshakeActions : m_actions;
    if (actions.empty()) {
        return handshake ? Action(answer) : m_lastingAction;
    }
    Action action = actions.front();
    actions.pop_front();
    return action;
}

void FakeBus::record(bool handshake, const Request& request)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    (handshake ? m_handshakes : m_requests).append(request);
    m_changed.notify_all();
}
