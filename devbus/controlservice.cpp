#include "controlservice.h"

#include "busserver.h"
#include "failure.h"
#include "framecursor.h"
#include "framefollower.h"
#include "storage.h"
#include "values.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>
#include <QMap>

#include <algorithm>
#include <functional>
#include <iterator>

namespace tarvex::devbus {

namespace {

using Answer = ControlServer::Answer;

const QLatin1String KEY_REQUEST("request");
const QLatin1String KEY_NAME("name");
const QLatin1String KEY_LAST("last");
const QLatin1String KEY_RUN("run");
const QLatin1String KEY_RULE("rule");
const QLatin1String KEY_NUMBER("number");
const QLatin1String KEY_NUMBERS("numbers");

/// What stands in the answer about one client.
struct Client
{
    QString querySince; ///< When its oldest query connection took its name; empty when it has none.
    int queryConnections = 0;
    QString receiverSince;
    Storage::Holdings holdings;
};

void addPresence(const BusServer::Presence& presence, Client& client)
{
    const QString since = presence.since.toString(Qt::ISODateWithMs);
    if (presence.port == BusConnection::Port::Receiver) {
        client.receiverSince = since;
    } else if (client.queryConnections++ == 0) {
        client.querySince = since;
    }
}

QVariantMap clientItem(const QString& name, const Client& client, int takeovers)
{
    return {{KEY_NAME, name},
            {QStringLiteral("querySince"), client.querySince},
            {QStringLiteral("queryConnections"), client.queryConnections},
            {QStringLiteral("receiverSince"), client.receiverSince},
            {QStringLiteral("takeovers"), takeovers},
            {QStringLiteral("waiting"), client.holdings.messages},
            {QStringLiteral("subscriptions"), client.holdings.subscriptions},
            {QStringLiteral("settings"), client.holdings.hasSettings},
            {QStringLiteral("state"), client.holdings.hasState}};
}

QVariantMap settingsItem(const QVariantMap& record)
{
    const ClientSettings settings = ClientSettings::fromVariantMap(record);
    return {{QStringLiteral("owner"), settings.owner()},
            {QStringLiteral("count"), settings.settings().size()},
            {QStringLiteral("date"), record.value(QStringLiteral("date"))},
            {QStringLiteral("description"), settings.description()}};
}

/// Of a record that may be empty.
QList<QVariantMap> settingItems(const QVariantMap& record)
{
    QList<QVariantMap> items;
    const QVariantList settings = record.value(QStringLiteral("settings")).toList();
    for (const QVariant& entry : settings) {
        items.append(entry.toMap());
    }
    return items;
}

QVariantMap faultItem(const Faults::Entry& entry)
{
    return {{KEY_NUMBER, entry.number}, {KEY_RULE, entry.rule.toText()}, {QStringLiteral("hits"), entry.hits}};
}

/// \return false when \a value is no list of whole numbers from 1
bool readNumbers(const QVariant& value, QList<int>& numbers)
{
    const QVariantList list = value.toList();
    for (const QVariant& entry : list) {
        // QVariant would take true as 1, and 1.5 as 2.
        const bool isNumber = entry.userType() != QMetaType::Bool && !isText(entry);
        const double number = isNumber ? entry.toDouble() : 0;
        numbers.append(entry.toInt());
        if (number < 1 || number != numbers.constLast()) {
            return false;
        }
    }
    return value.userType() == QMetaType::QVariantList;
}

/// The code and the text of \a error; empty when it is none.
QString errorText(const TarvexError& error)
{
    return isFailure(error) ? QStringLiteral("%1 %2").arg(QString::number(error.error()), error.description()).trimmed()
                            : QString();
}

/// Does \a work in one transaction that only reads.
Answer read(Storage& storage, Answer& answer, const std::function<bool()>& work)
{
    const QString error = errorText(storage.read(work));
    return error.isEmpty() ? answer : Answer{{}, error};
}

/// The file as any program finds it; empty for a storage in memory.
QString storagePlace(const QString& path)
{
    return path.isEmpty() ? path : QFileInfo(path).absoluteFilePath();
}

/// What the storage takes on the disk: its file, and those that SQLite keeps beside it while the bus runs.
qint64 bytesOfFiles(const QString& path)
{
    qint64 bytes = 0;
    for (const QString& suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")}) {
        bytes += QFileInfo(path + suffix).size();
    }
    return bytes;
}

} // namespace

Answer ControlService::handle(const QVariantMap& request)
{
    using Handler = Answer (ControlService::*)(const QVariantMap&);
    static const QHash<QString, Handler> handlers{
        {QStringLiteral("about"), &ControlService::about},
        {QStringLiteral("clients"), &ControlService::clients},
        {QStringLiteral("known"), &ControlService::known},
        {QStringLiteral("settings"), &ControlService::settings},
        {QStringLiteral("settingsOf"), &ControlService::settingsOf},
        {QStringLiteral("states"), &ControlService::states},
        {QStringLiteral("frames"), &ControlService::frames},
        {QStringLiteral("commands"), &ControlService::commands},
        {QStringLiteral("faults"), &ControlService::faults},
        {QStringLiteral("addFault"), &ControlService::addFault},
        {QStringLiteral("clearFaults"), &ControlService::clearFaults},
    };
    const QVariant name = request.value(KEY_REQUEST);
    const Handler handler = isText(name) ? handlers.value(name.toString()) : nullptr;
    if (!handler) {
        return {{}, QStringLiteral("there is no such request")};
    }
    return (this->*handler)(request);
}

/// Answers also when the storage fails, because then somebody looks for what is wrong.
Answer ControlService::about(const QVariantMap&)
{
    qint64 bytes = 0;
    const TarvexError error = m_server.storage().read([&] { return m_server.storage().size(bytes); });
    const BusServer::Options& options = m_server.options();
    if (!isFailure(error) && !options.storagePath.isEmpty()) {
        bytes = bytesOfFiles(options.storagePath);
    }
    const BusServer::Counts& counts = m_server.counts();
    Answer answer;
    answer.items.append({{QStringLiteral("program"), QCoreApplication::applicationName()},
                         {QStringLiteral("version"), QCoreApplication::applicationVersion()},
                         {QStringLiteral("pid"), QCoreApplication::applicationPid()},
                         {QStringLiteral("startedAt"), m_server.startedAt().toString(Qt::ISODateWithMs)},
                         {QStringLiteral("startedAtUtc"), m_server.startedAt().toUTC().toString(Qt::ISODateWithMs)},
                         {QStringLiteral("storage"), storagePlace(options.storagePath)},
                         {QStringLiteral("storageBytes"), bytes},
                         {QStringLiteral("storageError"), errorText(error)},
                         {QStringLiteral("connections"), m_server.connectionCount()},
                         {QStringLiteral("requests"), counts.requests},
                         {QStringLiteral("acknowledged"), counts.acknowledged},
                         {QStringLiteral("keep"), options.keep},
                         {QStringLiteral("resendMs"), options.resendMs}});
    return answer;
}

Answer ControlService::clients(const QVariantMap&)
{
    Answer answer;
    return read(m_server.storage(), answer, [&] {
        QMap<QString, Storage::Holdings> holdings;
        if (!m_server.storage().holdings(holdings)) {
            return false;
        }
        QMap<QString, Client> clients;
        for (auto holding = holdings.cbegin(); holding != holdings.cend(); ++holding) {
            clients[holding.key()].holdings = holding.value();
        }
        const QList<BusServer::Presence> presences = m_server.presences();
        for (const BusServer::Presence& presence : presences) {
            addPresence(presence, clients[presence.client]);
        }
        for (auto client = clients.cbegin(); client != clients.cend(); ++client) {
            answer.items.append(clientItem(client.key(), client.value(), m_server.takeoverCount(client.key())));
        }
        return true;
    });
}

Answer ControlService::known(const QVariantMap& request)
{
    if (!isName(request.value(KEY_NAME))) {
        return {{}, QStringLiteral("the name of a client is missing")};
    }
    const QString name = request.value(KEY_NAME).toString();
    Answer answer;
    return read(m_server.storage(), answer, [&] {
        bool isKnown = false;
        if (!m_server.storage().hasStored(name, isKnown)) {
            return false;
        }
        answer.items.append({{QStringLiteral("isKnown"), isKnown || m_server.hasSeen(name)}});
        return true;
    });
}

Answer ControlService::settings(const QVariantMap&)
{
    Answer answer;
    return read(m_server.storage(), answer, [&] {
        QStringList owners;
        bool isDone = m_server.storage().settingsOwners(owners);
        for (const QString& owner : qAsConst(owners)) {
            QByteArray record;
            isDone = isDone && m_server.storage().loadSettings(owner, record);
            answer.items.append(settingsItem(Storage::fromJson(record)));
        }
        return isDone;
    });
}

Answer ControlService::settingsOf(const QVariantMap& request)
{
    if (!isName(request.value(KEY_NAME))) {
        return {{}, QStringLiteral("the name of a client is missing")};
    }
    const QString owner = request.value(KEY_NAME).toString();
    Answer answer;
    return read(m_server.storage(), answer, [&] {
        QByteArray record;
        const bool isDone = m_server.storage().loadSettings(owner, record);
        answer.items = settingItems(Storage::fromJson(record));
        return isDone;
    });
}

Answer ControlService::states(const QVariantMap&)
{
    Answer answer;
    return read(m_server.storage(), answer, [&] {
        QStringList owners;
        bool isDone = m_server.storage().stateOwners(owners);
        for (const QString& owner : qAsConst(owners)) {
            QVariantMap state;
            isDone = isDone && m_server.storage().loadState(owner, state);
            answer.items.append(state);
        }
        return isDone;
    });
}

Answer ControlService::frames(const QVariantMap& request)
{
    bool isNumber = true;
    const qint64 last = request.contains(KEY_LAST) ? request.value(KEY_LAST).toLongLong(&isNumber) : 0;
    if (!isNumber || last < 0) {
        return {{}, QStringLiteral("\"last\" must be a whole number from 0")};
    }
    const traffic::FrameMemory& frames = m_server.frames();
    return {{{{KEY_RUN, frames.run()}}}, QString(), std::make_shared<FrameFollower>(frames, last)};
}

Answer ControlService::commands(const QVariantMap&)
{
    const traffic::FrameMemory& frames = m_server.frames();
    Answer answer;
    qint64 bytes = 0;
    const qint64 first = FrameCursor::numberOfLast(frames, MAX_COMMAND_FRAMES);
    for (qint64 number = frames.nextNumber() - 1; number >= first && bytes < MAX_COMMAND_BYTES; --number) {
        const traffic::SeenFrame frame = frames.frame(number).value_or(traffic::SeenFrame());
        bytes += frame.size;
        if (frame.direction != traffic::Direction::In || !frame.isMessage() || frame.command().isEmpty()) {
            continue;
        }
        const QVariantMap item{{KEY_NAME, frame.command()}, {QStringLiteral("receiver"), frame.to()}};
        if (!answer.items.contains(item)) {
            answer.items.append(item);
        }
    }
    return answer;
}

Answer ControlService::faults(const QVariantMap&)
{
    Answer answer;
    const QList<Faults::Entry> entries = m_server.faults().entries();
    for (const Faults::Entry& entry : entries) {
        answer.items.append(faultItem(entry));
    }
    return answer;
}

Answer ControlService::addFault(const QVariantMap& request)
{
    if (!isText(request.value(KEY_RULE))) {
        return {{}, QStringLiteral("\"rule\" must be a text")};
    }
    FaultRule rule;
    TarvexError error = readFaultRule(request.value(KEY_RULE).toString(), rule);
    if (!isFailure(error)) {
        error = m_server.faults().add(rule);
    }
    if (isFailure(error)) {
        return {{}, error.description()};
    }
    return {{faultItem(m_server.faults().entries().constLast())}, QString()};
}

Answer ControlService::clearFaults(const QVariantMap& request)
{
    // Without a list all faults are cleared, so a list under a wrong name must not count as none.
    for (auto entry = request.begin(); entry != request.end(); ++entry) {
        if (entry.key() != KEY_REQUEST && entry.key() != KEY_NUMBERS) {
            return {{},
                    QStringLiteral("\"%1\" is not possible here; possible is \"numbers\"").arg(entry.key().left(100))};
        }
    }
    Answer all = faults(request);
    if (!request.contains(KEY_NUMBERS)) {
        m_server.faults().clear();
        return all;
    }
    QList<int> numbers;
    if (!readNumbers(request.value(KEY_NUMBERS), numbers)) {
        return {{}, QStringLiteral("\"numbers\" must be a list of whole numbers")};
    }
    const TarvexError error = m_server.faults().remove(numbers);
    if (isFailure(error)) {
        return {{}, error.description()};
    }
    Answer answer;
    std::copy_if(all.items.cbegin(), all.items.cend(), std::back_inserter(answer.items),
                 [&](const QVariantMap& item) { return numbers.contains(item.value(KEY_NUMBER).toInt()); });
    return answer;
}

} // namespace tarvex::devbus
