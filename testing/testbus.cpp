#include "testbus.h"

#include "bushost_p.h"
#include "delivery.h"
#include "waitreport_p.h"
#include "wire/busterms_p.h"

using tarvex::devbus::BusConnection;
using tarvex::devbus::BusServer;

namespace tarvex::testing {

namespace {

/// Who saves settings here; their owner sees it as the sender of "updateSettings".
QString administrator()
{
    return QStringLiteral("testbus");
}

QString saveStateOperation()
{
    return busterms::OPERATION_SAVE_STATE;
}

QString saveSettingsOperation()
{
    return busterms::OPERATION_SAVE_SETTINGS;
}

QString sendMessageOperation()
{
    return busterms::OPERATION_SEND_MESSAGE;
}

QVariantMap ownedBy(const QString& owner)
{
    return {{busterms::KEY_OWNER, owner}};
}

bool isSentMessage(const BusRecord::Request& request)
{
    return request.operation == sendMessageOperation() && request.code == 0;
}

/// The bus knows the sender from the connection, whatever the data says.
Message sentMessage(const BusRecord::Request& request)
{
    Message message = Message::fromVariantMap(request.data);
    message.setSender(request.client);
    return message;
}

/// Without the log lines that TarvexCommand writes about what is no command: here that is nothing unusual.
std::optional<TarvexCommand> commandOf(const Message& message)
{
    TarvexCommand command;
    if (!busterms::readCommandText(message.message()).isCommand
        || !TarvexCommand::incomingMessageToCmd(message, command)) {
        return std::nullopt;
    }
    return command;
}

// What a wait that has failed tells first.

/// Noise is left out unless it is the operation that was waited for.
WaitReport::Filter isOfClient(const QString& client, const QString& operation = {})
{
    return [client, operation](const BusRecord::Request& request) {
        return request.client == client && (request.operation == operation || !WaitReport::isNoise(request));
    };
}

WaitReport::Filter isMessageTo(const QString& reciever)
{
    return [reciever](const BusRecord::Request& request) {
        return request.operation == sendMessageOperation() && sentMessage(request).reciever() == reciever;
    };
}

WaitReport::Filter isAbout(const QString& owner, const QString& operation)
{
    return [owner, operation](const BusRecord::Request& request) {
        return request.operation == operation
            && (request.client == owner || request.data.value(busterms::KEY_OWNER).toString() == owner);
    };
}

/// Of the requests that a wait has not looked at yet, takes the first that is wanted.
class Search
{
public:
    Search(BusRecord& record, const WaitReport::Filter& isWanted) : m_record(record), m_isWanted(isWanted) { }

    bool operator()()
    {
        const QList<BusRecord::Request> requests = m_record.requestsAfter(m_lookedAt);
        for (const BusRecord::Request& request : requests) {
            m_lookedAt = request.number;
            if (m_isWanted(request) && m_record.remove(request.number)) {
                return true;
            }
        }
        return false;
    }

private:
    BusRecord& m_record;
    const WaitReport::Filter m_isWanted;
    qint64 m_lookedAt = 0;
};

} // namespace

TestBus::TestBus() : m_host(std::make_unique<BusHost>()) { }

TestBus::~TestBus() = default;

bool TestBus::start()
{
    return m_host->start();
}

void TestBus::stop()
{
    m_host->stop();
}

bool TestBus::restart()
{
    stop();
    return start();
}

bool TestBus::isRunning() const
{
    return m_host->isRunning();
}

QString TestBus::errorString() const
{
    return m_host->errorString();
}

bool TestBus::waitForClient(const QString& client, int timeoutMs, Connections connections)
{
    const BusRecord& record = m_host->record();
    return m_host->waitUntil(
        [&] {
            return (connections == Connections::Receiver || record.isConnected(client, BusConnection::Port::Query))
                && (connections == Connections::Query || record.isConnected(client, BusConnection::Port::Receiver));
        },
        timeoutMs,
        {QStringLiteral("\"%1\" has not joined the bus").arg(client),
         isOfClient(client, busterms::OPERATION_HANDSHAKE)});
}

bool TestBus::waitForDisconnected(const QString& client, int timeoutMs)
{
    const BusRecord& record = m_host->record();
    return m_host->waitUntil(
        [&] {
            return !record.isConnected(client, BusConnection::Port::Query)
                && !record.isConnected(client, BusConnection::Port::Receiver);
        },
        timeoutMs, {QStringLiteral("\"%1\" has not left the bus").arg(client), isOfClient(client)});
}

QString TestBus::sendCommand(const QString& sender, const QString& reciever, const QString& name,
                             const QVariantMap& data)
{
    TarvexCommand command;
    command.setAgent(reciever);
    command.setName(name);
    command.setData(data);
    Message message = command.toOutgoingMessage();
    message.setSender(sender);
    return sendMessage(message);
}

QString TestBus::sendMessage(const Message& message)
{
    if (message.sender().isEmpty()) {
        m_host->fail(QStringLiteral("a message needs a sender"));
        return {};
    }
    Message sent = message;
    if (sent.uid().isEmpty()) {
        sent.setUid(devbus::Delivery::freshUid());
    }
    m_host->noteParties(sent);
    return m_host->perform(sent.sender(), sendMessageOperation(), sent.toVariantMap()) ? sent.uid() : QString();
}

bool TestBus::waitForAcknowledged(const QString& uid, int timeoutMs)
{
    return m_host->waitUntil([&] { return m_host->record().isAcknowledged(uid); }, timeoutMs,
                             {QStringLiteral("the message \"%1\" was not acknowledged").arg(uid),
                              isOfClient(m_host->parties(uid).reciever())});
}

bool TestBus::saveSettings(const ClientSettings& settings)
{
    return m_host->perform(administrator(), saveSettingsOperation(), settings.toVariantMap());
}

bool TestBus::saveState(const ClientState& state)
{
    ClientState saved = state;
    if (!saved.dt().isValid()) {
        saved.setDt(QDateTime::currentDateTime());
    }
    return m_host->perform(saved.owner(), saveStateOperation(), saved.toVariantMap());
}

std::optional<ClientSettings> TestBus::settings(const QString& owner)
{
    QVariantMap answer;
    if (!m_host->perform(administrator(), busterms::OPERATION_LOAD_SETTINGS, ownedBy(owner), &answer)) {
        return std::nullopt;
    }
    return ClientSettings::fromVariantMap(answer);
}

std::optional<ClientState> TestBus::state(const QString& owner)
{
    QVariantMap answer;
    if (!m_host->perform(administrator(), busterms::OPERATION_LOAD_STATE, ownedBy(owner), &answer)) {
        return std::nullopt;
    }
    return ClientState::fromVariantMap(answer);
}

std::optional<TarvexCommand> TestBus::waitForCommand(const QString& reciever, const QString& name, int timeoutMs)
{
    return waitForCommand(reciever, name, {}, timeoutMs);
}

std::optional<TarvexCommand> TestBus::waitForCommand(const QString& reciever, const QString& name,
                                                     const CommandFilter& filter, int timeoutMs)
{
    std::optional<TarvexCommand> found;
    Search search(m_host->record(), [&](const BusRecord::Request& request) {
        const Message message = sentMessage(request);
        if (!isSentMessage(request) || message.reciever() != reciever) {
            return false;
        }
        found = commandOf(message);
        return found && (name.isEmpty() || found->name() == name) && (!filter || filter(*found));
    });
    const QString what = name.isEmpty() ? QStringLiteral("a command") : QStringLiteral("the command \"%1\"").arg(name);
    if (!m_host->waitUntil(std::ref(search), timeoutMs,
                           {QStringLiteral("%1 to \"%2\" has not come").arg(what, reciever), isMessageTo(reciever)})) {
        return std::nullopt;
    }
    return found;
}

std::optional<Message> TestBus::waitForMessage(const QString& reciever, int timeoutMs)
{
    Message message;
    Search search(m_host->record(), [&](const BusRecord::Request& request) {
        message = sentMessage(request);
        return isSentMessage(request) && message.reciever() == reciever;
    });
    if (!m_host->waitUntil(std::ref(search), timeoutMs,
                           {QStringLiteral("a message to \"%1\" has not come").arg(reciever), isMessageTo(reciever)})) {
        return std::nullopt;
    }
    return message;
}

std::optional<TarvexCommand> TestBus::waitForReply(const QString& uid, int timeoutMs)
{
    const QString sender = m_host->parties(uid).sender();
    if (sender.isEmpty()) {
        m_host->fail(QStringLiteral("no message with the uid \"%1\" was sent").arg(uid));
        return std::nullopt;
    }
    std::optional<TarvexCommand> found;
    Search search(m_host->record(), [&](const BusRecord::Request& request) {
        const Message message = sentMessage(request);
        if (!isSentMessage(request) || message.uid() != uid || message.reciever() != sender) {
            return false;
        }
        found = commandOf(message);
        return found.has_value();
    });
    if (!m_host->waitUntil(std::ref(search), timeoutMs,
                           {QStringLiteral("a reply to \"%1\" with the uid \"%2\" has not come").arg(sender, uid),
                            isMessageTo(sender)})) {
        return std::nullopt;
    }
    return found;
}

std::optional<ClientState> TestBus::waitForState(const QString& owner, int timeoutMs)
{
    return waitForState(owner, {}, timeoutMs);
}

std::optional<ClientState> TestBus::waitForState(const QString& owner, const StateFilter& filter, int timeoutMs)
{
    const QString what = filter ? QStringLiteral("the state of \"%1\" that was wanted has not come")
                                : QStringLiteral("a state of \"%1\" has not come");
    WaitReport report(what.arg(owner), isAbout(owner, saveStateOperation()));
    ClientState state;
    BusRecord::Request taken;
    Search search(m_host->record(), [&](const BusRecord::Request& request) {
        taken = request;
        state = ClientState::fromVariantMap(request.data);
        return request.operation == saveStateOperation() && request.code == 0 && state.owner() == owner;
    });
    const auto findReport = [&] {
        while (search()) {
            if (!filter || filter(state)) {
                return true;
            }
            report.addRejected(taken);
        }
        return false;
    };
    if (!m_host->waitUntil(findReport, timeoutMs, report)) {
        return std::nullopt;
    }
    return state;
}

std::optional<ClientSettings> TestBus::waitForSettings(const QString& owner, int timeoutMs)
{
    ClientSettings settings;
    Search search(m_host->record(), [&](const BusRecord::Request& request) {
        settings = ClientSettings::fromVariantMap(request.data);
        return request.operation == saveSettingsOperation() && request.code == 0 && settings.owner() == owner;
    });
    if (!m_host->waitUntil(
            std::ref(search), timeoutMs,
            {QStringLiteral("settings of \"%1\" have not come").arg(owner), isAbout(owner, saveSettingsOperation())})) {
        return std::nullopt;
    }
    return settings;
}

std::optional<QVariantMap> TestBus::waitForRequest(const QString& client, const QString& operation, int timeoutMs)
{
    QVariantMap data;
    Search search(m_host->record(), [&](const BusRecord::Request& request) {
        data = request.data;
        return request.client == client && request.operation == operation;
    });
    if (!m_host->waitUntil(std::ref(search), timeoutMs,
                           {QStringLiteral("the request \"%1\" of \"%2\" has not come").arg(operation, client),
                            isOfClient(client, operation)})) {
        return std::nullopt;
    }
    return data;
}

void TestBus::clear()
{
    m_host->record().clear();
}

void TestBus::dropConnections(const QString& client)
{
    m_host->dropConnections(client);
}

bool TestBus::refuseConnections(bool isRefusing)
{
    return m_host->setListening(!isRefusing);
}

void TestBus::failRequests(const QString& operation, TarvexError::Error error, const QString& client)
{
    m_host->addFault(client, operation, BusServer::Fault{false, TarvexError(error)});
}

void TestBus::ignoreRequests(const QString& operation, const QString& client)
{
    m_host->addFault(client, operation, BusServer::Fault{true, {}});
}

void TestBus::serveRequests()
{
    m_host->clearFaults();
}

} // namespace tarvex::testing
