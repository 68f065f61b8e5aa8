#include "busrecord_p.h"

#include "printable.h"
#include "records/message.h"

#include <QCoreApplication>
#include <QEvent>
#include <QJsonDocument>

#include <algorithm>

using tarvex::devbus::BusConnection;
using tarvex::devbus::BusServer;
using tarvex::devbus::MAX_SHOWN_NAME_LENGTH;
using tarvex::devbus::printable;

namespace tarvex::testing {

namespace {

constexpr int MAX_DESCRIBED_REQUESTS = 20;
constexpr int MAX_DESCRIBED_CHARACTERS = 200;

/// A name from a client, as it may stand in a line.
QString quoted(const QString& name)
{
    return QLatin1Char('"') + printable(name, MAX_SHOWN_NAME_LENGTH) + QLatin1Char('"');
}

QString outcome(int code)
{
    if (code == 0) {
        return {};
    }
    return code == BusServer::SILENCE ? QStringLiteral(" (not answered)")
                                      : QStringLiteral(" (refused with %1)").arg(code);
}

QString describeRequest(const BusRecord::Request& request)
{
    QString what;
    if (request.operation == QLatin1String("sendMessage")) {
        const Message message = Message::fromVariantMap(request.data);
        what = quoted(request.client) + QLatin1String(" to ") + quoted(message.reciever()) + QLatin1String(": ")
            + printable(message.message(), MAX_DESCRIBED_CHARACTERS);
    } else {
        const QByteArray data = QJsonDocument::fromVariant(request.data).toJson(QJsonDocument::Compact);
        what = quoted(request.client) + QLatin1String(", ") + printable(request.operation, MAX_SHOWN_NAME_LENGTH)
            + QLatin1String(": ") + printable(QString::fromUtf8(data), MAX_DESCRIBED_CHARACTERS);
    }
    return QLatin1String("\n  ") + what + outcome(request.code);
}

QString describeClients(const QString& port, const QStringList& clients)
{
    if (clients.isEmpty()) {
        return QStringLiteral("nobody on the %1 port").arg(port);
    }
    QStringList names;
    for (const QString& client : clients) {
        names.append(printable(client, MAX_SHOWN_NAME_LENGTH));
    }
    return names.join(QLatin1String(", ")) + QStringLiteral(" on the %1 port").arg(port);
}

} // namespace

void BusRecord::observe(BusServer& server)
{
    connect(&server, &BusServer::requestHandled, &server,
            [this](const QString& client, const QString& operation, int code, const QVariantMap& data) {
                add(client, operation, code, data);
            });
    connect(&server, &BusServer::messageAcknowledged, &server, [this](const QString&, const QString& uid) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_acknowledged.insert(uid);
        wakeUp();
    });
    connect(&server, &BusServer::clientsChanged, &server, [this, &server] {
        setClients(server.clients(BusConnection::Port::Query), server.clients(BusConnection::Port::Receiver));
    });
}

QList<BusRecord::Request> BusRecord::requestsAfter(qint64 number) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto first = std::upper_bound(m_requests.cbegin(), m_requests.cend(), number,
                                        [](qint64 value, const Request& request) { return value < request.number; });
    return m_requests.mid(static_cast<int>(first - m_requests.cbegin()));
}

bool BusRecord::remove(qint64 number)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto place = std::lower_bound(m_requests.begin(), m_requests.end(), number,
                                        [](const Request& request, qint64 value) { return request.number < value; });
    if (place == m_requests.end() || place->number != number) {
        return false;
    }
    m_requests.erase(place);
    return true;
}

void BusRecord::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.clear();
}

bool BusRecord::isConnected(const QString& client, BusConnection::Port port) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return (port == BusConnection::Port::Query ? m_queryClients : m_receiverClients).contains(client);
}

bool BusRecord::isAcknowledged(const QString& uid) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_acknowledged.contains(uid);
}

void BusRecord::forgetClients()
{
    setClients({}, {});
}

QString BusRecord::describe() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QString text = QLatin1String("There: ") + describeClients(QStringLiteral("query"), m_queryClients)
        + QLatin1String("; ") + describeClients(QStringLiteral("receiver"), m_receiverClients);
    if (m_requests.isEmpty()) {
        return text + QLatin1String(".\nNothing came that was not taken.");
    }
    text += QStringLiteral(".\nCame and was not taken, %1 in all:").arg(m_requests.size());
    for (int index = qMax(0, m_requests.size() - MAX_DESCRIBED_REQUESTS); index < m_requests.size(); ++index) {
        text += describeRequest(m_requests.at(index));
    }
    return text;
}

bool BusRecord::event(QEvent* event)
{
    if (event->type() != QEvent::User) {
        return QObject::event(event);
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isWakeUpUnderWay = false;
    return true;
}

void BusRecord::add(const QString& client, const QString& operation, int code, const QVariantMap& data)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.append({++m_lastNumber, client, operation, data, code});
    wakeUp();
}

void BusRecord::setClients(const QStringList& queryClients, const QStringList& receiverClients)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_queryClients = queryClients;
    m_receiverClients = receiverClients;
    wakeUp();
}

/// One event at a time: a test that runs no event loop must not heap them up.
void BusRecord::wakeUp()
{
    if (!m_isWakeUpUnderWay) {
        m_isWakeUpUnderWay = true;
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }
}

} // namespace tarvex::testing
