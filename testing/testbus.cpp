#include "testbus.h"

#include "bushost_p.h"
#include "delivery.h"
#include "waitreport_p.h"
#include "wire/busterms_p.h"

using tarvex::devbus::BusConnection;

namespace tarvex::testing {

namespace {

/// The client that saves settings for the test. Their owner sees it as the sender of "updateSettings".
QString administrator()
{
    return QStringLiteral("testbus");
}

QVariantMap ownedBy(const QString& owner)
{
    return {{busterms::KEY_OWNER, owner}};
}

// The requests that the report of a failed wait lists first.

/// Noise does not belong to them, unless it has the operation that was waited for.
WaitReport::Filter isOfClient(const QString& client, const QString& operation = {})
{
    return [client, operation](const BusRequest& request) {
        return request.client == client && (request.operation == operation || !request.isNoise());
    };
}

WaitReport::Filter isMessageTo(const QString& reciever)
{
    return [reciever](const BusRequest& request) {
        return request.isMessage() && request.message().reciever() == reciever;
    };
}

WaitReport::Filter isAbout(const QString& owner, QLatin1String operation)
{
    return [owner, operation](const BusRequest& request) {
        return request.operation == operation
            && (request.client == owner || request.data.value(busterms::KEY_OWNER).toString() == owner);
    };
}

// What a wait reads out of a request; nothing when the request is of another kind.

std::optional<Message> sentMessage(const BusRequest& request, const QString& reciever)
{
    if (!request.isMessage() || !request.isDone() || request.message().reciever() != reciever) {
        return std::nullopt;
    }
    return request.message();
}

std::optional<TarvexCommand> sentCommand(const BusRequest& request, const QString& reciever)
{
    return sentMessage(request, reciever) ? request.command() : std::nullopt;
}

/// For states and settings, which have an owner.
template <typename Record>
std::optional<Record> savedRecord(const BusRequest& request, QLatin1String operation, const QString& owner)
{
    if (request.operation != operation || !request.isDone()) {
        return std::nullopt;
    }
    const Record record = Record::fromVariantMap(request.data);
    return record.owner() == owner ? std::optional<Record>(record) : std::nullopt;
}

/// Waits for the first request out of which \a read makes a value, and returns the value.
template <typename Read>
auto waitForValue(BusHost& host, int timeoutMs, const Read& read, const WaitReport& report)
{
    decltype(read(BusRequest())) value;
    const auto judge = [&](const BusRequest& request) {
        value = read(request);
        return value ? BusHost::Verdict::Take : BusHost::Verdict::Leave;
    };
    return host.waitForRequest(judge, timeoutMs, report) ? value : std::nullopt;
}

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
    return m_host->perform(sent.sender(), busterms::OPERATION_SEND_MESSAGE, sent.toVariantMap()) ? sent.uid()
                                                                                                 : QString();
}

bool TestBus::waitForAcknowledged(const QString& uid, int timeoutMs)
{
    return m_host->waitUntil([&] { return m_host->record().isAcknowledged(uid); }, timeoutMs,
                             {QStringLiteral("the message \"%1\" was not acknowledged").arg(uid),
                              isOfClient(m_host->parties(uid).reciever())});
}

bool TestBus::saveSettings(const ClientSettings& settings)
{
    return m_host->perform(administrator(), busterms::OPERATION_SAVE_SETTINGS, settings.toVariantMap()).has_value();
}

bool TestBus::saveState(const ClientState& state)
{
    ClientState saved = state;
    if (!saved.dt().isValid()) {
        saved.setDt(QDateTime::currentDateTime());
    }
    return m_host->perform(saved.owner(), busterms::OPERATION_SAVE_STATE, saved.toVariantMap()).has_value();
}

std::optional<ClientSettings> TestBus::settings(const QString& owner)
{
    const auto answer = m_host->perform(administrator(), busterms::OPERATION_LOAD_SETTINGS, ownedBy(owner));
    return answer ? std::optional<ClientSettings>(ClientSettings::fromVariantMap(*answer)) : std::nullopt;
}

std::optional<ClientState> TestBus::state(const QString& owner)
{
    const auto answer = m_host->perform(administrator(), busterms::OPERATION_LOAD_STATE, ownedBy(owner));
    return answer ? std::optional<ClientState>(ClientState::fromVariantMap(*answer)) : std::nullopt;
}

std::optional<TarvexCommand> TestBus::waitForCommand(const QString& reciever, const QString& name, int timeoutMs)
{
    return waitForCommand(reciever, name, {}, timeoutMs);
}

std::optional<TarvexCommand> TestBus::waitForCommand(const QString& reciever, const QString& name,
                                                     const CommandFilter& filter, int timeoutMs)
{
    const auto read = [&](const BusRequest& request) {
        const auto command = sentCommand(request, reciever);
        const bool isWanted = command && (name.isEmpty() || command->name() == name) && (!filter || filter(*command));
        return isWanted ? command : std::nullopt;
    };
    const QString what = name.isEmpty() ? QStringLiteral("a command") : QStringLiteral("the command \"%1\"").arg(name);
    return waitForValue(*m_host, timeoutMs, read,
                        {QStringLiteral("%1 to \"%2\" has not come").arg(what, reciever), isMessageTo(reciever)});
}

std::optional<Message> TestBus::waitForMessage(const QString& reciever, int timeoutMs)
{
    return waitForValue(*m_host, timeoutMs, [&](const BusRequest& request) { return sentMessage(request, reciever); },
                        {QStringLiteral("a message to \"%1\" has not come").arg(reciever), isMessageTo(reciever)});
}

std::optional<TarvexCommand> TestBus::waitForReply(const QString& uid, int timeoutMs)
{
    const QString sender = m_host->parties(uid).sender();
    if (sender.isEmpty()) {
        m_host->fail(QStringLiteral("no message with the uid \"%1\" was sent").arg(uid));
        return std::nullopt;
    }
    const auto read = [&](const BusRequest& request) {
        const auto command = sentCommand(request, sender);
        return command && command->uid() == uid ? command : std::nullopt;
    };
    return waitForValue(
        *m_host, timeoutMs, read,
        {QStringLiteral("a reply to \"%1\" with the uid \"%2\" has not come").arg(sender, uid), isMessageTo(sender)});
}

std::optional<ClientState> TestBus::waitForState(const QString& owner, int timeoutMs)
{
    return waitForState(owner, {}, timeoutMs);
}

std::optional<ClientState> TestBus::waitForState(const QString& owner, const StateFilter& filter, int timeoutMs)
{
    std::optional<ClientState> state;
    const auto judge = [&](const BusRequest& request) {
        state = savedRecord<ClientState>(request, busterms::OPERATION_SAVE_STATE, owner);
        if (!state) {
            return BusHost::Verdict::Leave;
        }
        return !filter || filter(*state) ? BusHost::Verdict::Take : BusHost::Verdict::Skip;
    };
    const QString what = filter ? QStringLiteral("the state of \"%1\" that was wanted has not come")
                                : QStringLiteral("a state of \"%1\" has not come");
    const WaitReport report(what.arg(owner), isAbout(owner, busterms::OPERATION_SAVE_STATE));
    return m_host->waitForRequest(judge, timeoutMs, report) ? state : std::nullopt;
}

std::optional<ClientSettings> TestBus::waitForSettings(const QString& owner, int timeoutMs)
{
    const auto read = [&](const BusRequest& request) {
        return savedRecord<ClientSettings>(request, busterms::OPERATION_SAVE_SETTINGS, owner);
    };
    return waitForValue(*m_host, timeoutMs, read,
                        {QStringLiteral("settings of \"%1\" have not come").arg(owner),
                         isAbout(owner, busterms::OPERATION_SAVE_SETTINGS)});
}

std::optional<QVariantMap> TestBus::waitForRequest(const QString& client, const QString& operation, int timeoutMs)
{
    const auto read = [&](const BusRequest& request) {
        const bool isWanted = request.client == client && request.operation == operation;
        return isWanted ? std::optional<QVariantMap>(request.data) : std::nullopt;
    };
    return waitForValue(*m_host, timeoutMs, read,
                        {QStringLiteral("the request \"%1\" of \"%2\" has not come").arg(operation, client),
                         isOfClient(client, operation)});
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

bool TestBus::addFault(const BusFault& fault)
{
    return m_host->addFault(fault);
}

bool TestBus::waitForFaults(int count, int timeoutMs)
{
    const BusRecord& record = m_host->record();
    return m_host->waitUntil([&] { return record.faultCount() >= count; }, timeoutMs,
                             {QStringLiteral("%1 frames have not met a fault").arg(count),
                              [](const BusRequest& request) { return !request.isNoise(); }});
}

void TestBus::failRequests(const QString& operation, TarvexError::Error error, const QString& client)
{
    if (!addFault(BusFault::error(error).forReplies().forOperation(operation).forClient(client))) {
        qWarning("%s", qPrintable(errorString()));
    }
}

void TestBus::ignoreRequests(const QString& operation, const QString& client)
{
    if (!addFault(BusFault::silence().forReplies().forOperation(operation).forClient(client))) {
        qWarning("%s", qPrintable(errorString()));
    }
}

void TestBus::serveRequests()
{
    m_host->clearFaults();
}

bool TestBus::mock(const QString& file)
{
    return m_host->mock(file, DEFAULT_TIMEOUT_MS);
}

} // namespace tarvex::testing
