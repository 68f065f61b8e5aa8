#include "bushost_p.h"

#include "faultdata_p.h"
#include "mockfile.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

using tarvex::devbus::BusConnection;
using tarvex::devbus::BusServer;

namespace tarvex::testing {

bool BusHost::start()
{
    if (!makeServer()) {
        return false;
    }
    TarvexError error;
    m_server->call([&](BusServer& server) {
        error = server.start();
        if (!devbus::isFailure(error)) {
            error = server.setListening(true);
        }
    });
    return succeeds(error);
}

void BusHost::stop()
{
    if (m_server) {
        m_server->call([](BusServer& server) { server.stop(); });
        m_record.forgetClients();
    }
}

bool BusHost::isRunning() const
{
    bool isRunning = false;
    if (m_server) {
        m_server->call([&isRunning](BusServer& server) { isRunning = server.isRunning(); });
    }
    return isRunning;
}

bool BusHost::setListening(bool isListening)
{
    if (!isRunning()) {
        return fail(QStringLiteral("the bus is not running"));
    }
    TarvexError error;
    m_server->call([&](BusServer& server) { error = server.setListening(isListening); });
    return succeeds(error);
}

/// Looks at the condition again after each event. The event loop is not entered with exec(), because a service that
/// quits the application would end that loop and all later ones.
bool BusHost::waitUntil(const std::function<bool()>& condition, int timeoutMs, const WaitReport& report)
{
    QEventLoop loop;
    QTimer alarm; // wakes the loop up when the time is over
    alarm.setSingleShot(true);
    alarm.start(qMax(0, timeoutMs));
    while (!condition()) {
        if (!alarm.isActive()) {
            return fail(report.text(m_record, timeoutMs));
        }
        loop.processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // only exec() would do it
    }
    return true;
}

bool BusHost::waitForRequest(const Judge& judge, int timeoutMs, WaitReport report)
{
    qint64 lookedAt = 0;
    const auto search = [&] {
        const QList<BusRequest> requests = m_record.requestsAfter(lookedAt);
        for (const BusRequest& request : requests) {
            lookedAt = request.number;
            const Verdict verdict = judge(request);
            // A test's filter that waits itself may have taken the request from the record.
            if (verdict == Verdict::Leave || !m_record.remove(request.number)) {
                continue;
            }
            if (verdict == Verdict::Take) {
                return true;
            }
            report.addRejected(request);
        }
        return false;
    };
    return waitUntil(search, timeoutMs, report);
}

void BusHost::dropConnections(const QString& client)
{
    if (m_server) {
        m_server->call([&client](BusServer& server) { server.dropConnections(client); });
    }
}

std::optional<QVariantMap> BusHost::perform(const QString& client, const QString& operation, const QVariantMap& data)
{
    if (!isRunning()) {
        fail(QStringLiteral("%1: the bus is not running").arg(operation));
        return std::nullopt;
    }
    TarvexError error;
    QVariantMap answer;
    m_server->call([&](BusServer& server) { error = server.perform(client, operation, data, answer); });
    if (devbus::isFailure(error)) {
        fail(operation + QLatin1String(": ") + refusal(error));
        return std::nullopt;
    }
    return answer;
}

void BusHost::noteParties(const Message& message)
{
    Message parties;
    parties.setSender(message.sender());
    parties.setReciever(message.reciever());
    m_parties.insert(message.uid(), parties);
}

bool BusHost::addFault(const BusFault& fault)
{
    const devbus::FaultRule& rule = fault.d->rule;
    TarvexError error;
    if (m_server) {
        m_server->call([&](BusServer& server) { error = server.faults().add(rule); });
    } else {
        error = m_faultsBefore.add(rule);
    }
    return succeeds(error);
}

void BusHost::clearFaults()
{
    m_faultsBefore.clear();
    if (m_server) {
        m_server->call([](BusServer& server) { server.faults().clear(); });
    }
}

bool BusHost::mock(const QString& fileName, int timeoutMs)
{
    const mock::MockFile file = mock::readMockFile(fileName);
    if (!file.errors.isEmpty()) {
        return fail(file.errorLines(fileName).join(QLatin1Char('\n')));
    }
    if (!isRunning()) {
        return fail(QStringLiteral("%1: the bus is not running").arg(fileName));
    }
    for (const mock::ServiceDescription& service : file.services) {
        if (m_record.isConnected(service.name, BusConnection::Port::Query)
            || m_record.isConnected(service.name, BusConnection::Port::Receiver)) {
            return fail(QStringLiteral("%1: \"%2\" is on the bus already").arg(fileName, service.name));
        }
    }
    auto standIns = std::make_unique<StandIns>(file.services);
    const WaitReport report(QStringLiteral("%1: the stand-ins have not all joined the bus").arg(fileName),
                            [](const BusRequest& request) { return !request.isDone(); });
    if (!waitUntil([&standIns] { return standIns->areReady(); }, timeoutMs, report)) {
        return false;
    }
    m_standIns.push_back(std::move(standIns));
    return true;
}

bool BusHost::fail(const QString& text)
{
    m_errorString = shortened(text, MAX_ERROR_BYTES);
    return false;
}

bool BusHost::succeeds(const TarvexError& error)
{
    return !devbus::isFailure(error) || fail(error.description());
}

bool BusHost::makeServer()
{
    if (m_server) {
        return true;
    }
    if (!QCoreApplication::instance()) {
        return fail(QStringLiteral("there is no QCoreApplication, which the bus needs"));
    }
    if (!m_folder.isValid()) {
        return fail(QStringLiteral("cannot make a folder to store in: %1").arg(m_folder.errorString()));
    }
    BusServer::Options options;
    options.storagePath =
        m_folder.filePath(QStringLiteral("bus.sqlite")); // in memory, it would be gone at the first stop
    m_server = std::make_unique<devbus::ServerThread>(options);
    m_server->call([this](BusServer& server) {
        m_record.observe(server);
        server.faults() = m_faultsBefore;
    });
    return true;
}

} // namespace tarvex::testing
