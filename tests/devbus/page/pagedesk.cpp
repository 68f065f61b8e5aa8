#include "pagedesk.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <arpa/inet.h>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using tarvex::devbus::BusServer;
using tarvex::devbus::ControlService;
using tarvex::devbus::LivePage;

namespace {

constexpr int PATIENCE_MS = 20000;

bool connectTo(int descriptor, const char* host, int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<quint16>(port));
    ::inet_pton(AF_INET, host, &address.sin_addr);
    return ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

} // namespace

PageConnection::PageConnection(int port) : m_descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    if (!connectTo(m_descriptor, "127.0.0.1", port)) {
        qWarning("cannot connect to the page");
    }
}

bool PageConnection::canConnect(const char* address, int port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isConnected = connectTo(descriptor, address, port);
    ::close(descriptor);
    return isConnected;
}

PageConnection::~PageConnection()
{
    ::close(m_descriptor);
}

bool PageConnection::isOpen() const
{
    char bytes[4096];
    ssize_t count = 0;
    do {
        count = ::recv(m_descriptor, bytes, sizeof bytes, MSG_DONTWAIT);
    } while (count > 0);
    return count < 0 && errno == EAGAIN;
}

bool PageConnection::send(const QByteArray& bytes)
{
    int sent = 0;
    while (sent < bytes.size()) {
        const auto count =
            ::send(m_descriptor, bytes.constData() + sent, static_cast<std::size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<int>(count);
    }
    return true;
}

bool PageConnection::readSome()
{
    pollfd descriptor{m_descriptor, POLLIN, 0};
    QByteArray bytes(65536, Qt::Uninitialized);
    if (::poll(&descriptor, 1, PATIENCE_MS) != 1) {
        qWarning("the page is silent");
        return false;
    }
    const auto count = ::recv(m_descriptor, bytes.data(), static_cast<std::size_t>(bytes.size()), 0);
    m_received += bytes.left(static_cast<int>(qMax<ssize_t>(count, 0)));
    return count > 0;
}

QByteArray PageConnection::readUntil(const QByteArray& part)
{
    int from = 0;
    while (m_received.indexOf(part, from) < 0) {
        from = qMax(0, m_received.size() - part.size());
        if (!readSome()) {
            break;
        }
    }
    return m_received;
}

QByteArray PageConnection::readAll()
{
    while (readSome()) { }
    return m_received;
}

QVariantMap PageAnswer::object() const
{
    return QJsonDocument::fromJson(body).object().toVariantMap();
}

PageAnswer readAnswer(const QByteArray& bytes)
{
    PageAnswer answer;
    const int end = bytes.indexOf("\r\n\r\n");
    const QList<QByteArray> lines = bytes.left(end).split('\n');
    answer.status = lines.value(0).split(' ').value(1).toInt();
    for (int i = 1; i < lines.size(); ++i) {
        const int colon = lines.at(i).indexOf(':');
        answer.headers.insert(lines.at(i).left(colon).toLower(), lines.at(i).mid(colon + 1).trimmed());
    }
    answer.body = bytes.mid(end + 4);
    if (answer.headers.value("transfer-encoding") != "chunked") {
        return answer;
    }
    QByteArray whole;
    int at = 0;
    for (;;) {
        const int lineEnd = answer.body.indexOf("\r\n", at);
        const int size = answer.body.mid(at, lineEnd - at).toInt(nullptr, 16);
        if (lineEnd < 0 || size == 0) {
            break;
        }
        whole += answer.body.mid(lineEnd + 2, size);
        at = lineEnd + 2 + size + 2;
    }
    answer.body = whole;
    return answer;
}

PageDesk::PageDesk(const BusServer::Options& options) : bus(options)
{
    bus.call([this](BusServer& server) {
        m_controlService = std::make_unique<ControlService>(server);
        m_page = std::make_unique<LivePage>(server, *m_controlService);
        const tarvex::TarvexError error = m_page->start(0);
        if (error.error() != tarvex::TarvexError::NoError) {
            qWarning("%s", qPrintable(error.description()));
        }
        const QUrl address(m_page->address());
        m_port = address.port();
        m_token = address.fragment().section(QLatin1Char('='), 1).toLatin1();
    });
}

PageDesk::~PageDesk()
{
    closePage();
}

void PageDesk::closePage()
{
    bus.call([this](BusServer&) {
        m_page.reset();
        m_controlService.reset();
    });
}

QByteArray PageDesk::host() const
{
    return "127.0.0.1:" + QByteArray::number(m_port);
}

PageAnswer PageDesk::get(const QByteArray& target, const QByteArray& moreHeaders) const
{
    PageConnection connection(m_port);
    connection.send("GET " + target + " HTTP/1.1\r\nHost: " + host() + "\r\n" + moreHeaders + "\r\n");
    return readAnswer(connection.readAll());
}

PageAnswer PageDesk::post(const QByteArray& target, const QByteArray& body) const
{
    return post(target, body, "Content-Type: application/json\r\nX-Tarvex-Token: " + m_token + "\r\n");
}

PageAnswer PageDesk::post(const QByteArray& target, const QByteArray& body, const QByteArray& headers) const
{
    PageConnection connection(m_port);
    connection.send("POST " + target + " HTTP/1.1\r\nHost: " + host() + "\r\n" + headers
                    + "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
    return readAnswer(connection.readAll());
}

std::unique_ptr<PageConnection> PageDesk::openEvents(const QByteArray& target, const QByteArray& moreHeaders) const
{
    auto connection = std::make_unique<PageConnection>(m_port);
    connection->send("GET " + target + " HTTP/1.1\r\nHost: " + host() + "\r\n" + moreHeaders + "\r\n");
    connection->readUntil("\r\n\r\n");
    return connection;
}
