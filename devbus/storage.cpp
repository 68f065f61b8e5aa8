#include "storage.h"

#include "database.h"
#include "failure.h"
#include "wire/jsonwriter_p.h"
#include "wire/plainjson_p.h"
#include "words.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <limits>

namespace tarvex::devbus {

namespace {

/// Of the names in the memory. Clients may send to any name.
constexpr int MAX_MESSAGE_COUNTS = 1024;
/// The count of a longer name is not remembered, in characters.
constexpr int MAX_REMEMBERED_NAME_LENGTH = 256;

QByteArray toJson(const QVariantMap& record)
{
    QByteArray json;
    jsonwriter::append(json, record);
    return json;
}

} // namespace

Storage::Storage(const QString& path) : m_database(std::make_unique<Database>(path)) { }

Storage::~Storage() = default;

TarvexError Storage::open()
{
    return m_database->open();
}

void Storage::setFailureHandler(const std::function<void(const QString&)>& handler)
{
    m_database->setFailureHandler(handler);
}

TarvexError Storage::read(const std::function<bool()>& work)
{
    return m_database->read(work);
}

TarvexError Storage::write(const std::function<bool()>& work)
{
    TarvexError error = m_database->write(work);
    if (isFailure(error)) {
        m_messageCounts.clear(); // they include what was undone
    }
    return error;
}

QVariantMap Storage::fromJson(const QByteArray& json)
{
    {
        QVariantMap record;
        if (plainjson::readObject(json, std::numeric_limits<int>::max(), record)) {
            return record;
        }
    }
    return QJsonDocument::fromJson(json).object().toVariantMap();
}

bool Storage::saveState(const ClientState& state)
{
    return m_database->run(QStringLiteral("INSERT OR REPLACE INTO states (owner, record) VALUES (?, ?)"),
                           {state.owner(), toJson(state.toVariantMap())});
}

bool Storage::loadState(const QString& owner, QVariantMap& state)
{
    QByteArray json;
    if (!loadRecord(QStringLiteral("SELECT record FROM states WHERE owner = ?"), owner, json)) {
        return false;
    }
    state = fromJson(json);
    return true;
}

bool Storage::saveSettings(const ClientSettings& settings)
{
    return m_database->run(QStringLiteral("INSERT OR REPLACE INTO settings (owner, record) VALUES (?, ?)"),
                           {settings.owner(), toJson(settings.toVariantMap())});
}

bool Storage::loadSettings(const QString& owner, QByteArray& settings)
{
    return loadRecord(QStringLiteral("SELECT record FROM settings WHERE owner = ?"), owner, settings);
}

bool Storage::removeSettings(const QString& owner, bool& wasThere)
{
    int removed = 0;
    if (!m_database->run(QStringLiteral("DELETE FROM settings WHERE owner = ?"), {owner}, &removed)) {
        return false;
    }
    wasThere = removed > 0;
    return true;
}

bool Storage::subscribe(const QString& client, const QString& publisher, int goals)
{
    return m_database->run(
        QStringLiteral("INSERT OR REPLACE INTO subscriptions (client, publisher, goals) VALUES (?, ?, ?)"),
        {client, publisher, goals});
}

bool Storage::unsubscribe(const QString& client, const QString& publisher)
{
    return m_database->run(QStringLiteral("DELETE FROM subscriptions WHERE client = ? AND publisher = ?"),
                           {client, publisher});
}

bool Storage::subscribers(const QString& publisher, int goal, QStringList& clients)
{
    return selectNames(
        QStringLiteral("SELECT client FROM subscriptions WHERE publisher = ? AND (goals & ?) != 0 ORDER BY client"),
        {publisher, goal}, clients);
}

bool Storage::addMessage(const QString& client, const Message& message)
{
    const auto count = m_messageCounts.find(client);
    if (count != m_messageCounts.end()) {
        ++*count;
    }
    return m_database->run(QStringLiteral("INSERT INTO messages (client, record) VALUES (?, ?)"),
                           {client, toJson(message.toVariantMap())});
}

bool Storage::nextMessage(const QString& client, qint64 afterId, StoredMessage& message)
{
    return selectMessage(
        QStringLiteral("SELECT id, record FROM messages WHERE client = ? AND id > ? ORDER BY id LIMIT 1"),
        {client, afterId}, message);
}

bool Storage::messageById(qint64 id, StoredMessage& message)
{
    return selectMessage(QStringLiteral("SELECT id, record FROM messages WHERE id = ?"), {id}, message);
}

bool Storage::removeMessages(const QString& client, const QList<qint64>& ids)
{
    int removed = 0;
    for (const qint64 id : ids) {
        int affected = 0;
        if (!m_database->run(QStringLiteral("DELETE FROM messages WHERE id = ?"), {id}, &affected)) {
            return false;
        }
        removed += affected;
    }
    const auto count = m_messageCounts.find(client);
    if (count != m_messageCounts.end()) {
        *count -= removed;
    }
    return true;
}

bool Storage::trimMessages(const QString& client, int keep, int& dropped)
{
    dropped = 0;
    int count = 0;
    if (!countMessages(client, count)) {
        return false;
    }
    if (count > keep) {
        // Not by an offset from the newest message, because SQLite would pass over all messages that stay.
        if (!m_database->run(QStringLiteral("DELETE FROM messages WHERE id IN (SELECT id FROM messages "
                                            "WHERE client = ? ORDER BY id LIMIT ?)"),
                             {client, count - keep}, &dropped)) {
            return false;
        }
        rememberCount(client, count - dropped);
    }
    return true;
}

bool Storage::size(qint64& bytes)
{
    Database::Rows pages;
    Database::Rows pageSize;
    if (!m_database->select(QStringLiteral("PRAGMA page_count"), {}, pages)
        || !m_database->select(QStringLiteral("PRAGMA page_size"), {}, pageSize)) {
        return false;
    }
    bytes = pages.value(0).value(0).toLongLong() * pageSize.value(0).value(0).toLongLong();
    return true;
}

bool Storage::holdings(QMap<QString, Holdings>& holdings)
{
    QStringList withSettings;
    QStringList withState;
    Database::Rows subscriptions;
    Database::Rows messages;
    if (!settingsOwners(withSettings) || !stateOwners(withState)
        || !m_database->select(QStringLiteral("SELECT client, count(*) FROM subscriptions GROUP BY client"), {},
                               subscriptions)
        || !m_database->select(QStringLiteral("SELECT client, count(*) FROM messages GROUP BY client"), {}, messages)) {
        return false;
    }
    for (const QString& owner : qAsConst(withSettings)) {
        holdings[owner].hasSettings = true;
    }
    for (const QString& owner : qAsConst(withState)) {
        holdings[owner].hasState = true;
    }
    for (const QVariantList& row : qAsConst(subscriptions)) {
        holdings[row.value(0).toString()].subscriptions = row.value(1).toInt();
    }
    for (const QVariantList& row : qAsConst(messages)) {
        holdings[row.value(0).toString()].messages = row.value(1).toInt();
    }
    return true;
}

bool Storage::hasStored(const QString& client, bool& hasStored)
{
    Database::Rows rows;
    if (!m_database->select(QStringLiteral("SELECT EXISTS (SELECT 1 FROM settings WHERE owner = ?) "
                                           "OR EXISTS (SELECT 1 FROM states WHERE owner = ?) "
                                           "OR EXISTS (SELECT 1 FROM subscriptions WHERE client = ?)"),
                            {client, client, client}, rows)) {
        return false;
    }
    hasStored = rows.value(0).value(0).toBool();
    return true;
}

bool Storage::settingsOwners(QStringList& owners)
{
    return selectNames(QStringLiteral("SELECT owner FROM settings ORDER BY owner"), {}, owners);
}

bool Storage::stateOwners(QStringList& owners)
{
    return selectNames(QStringLiteral("SELECT owner FROM states ORDER BY owner"), {}, owners);
}

bool Storage::selectNames(const QString& sql, const QVariantList& values, QStringList& names)
{
    Database::Rows rows;
    if (!m_database->select(sql, values, rows)) {
        return false;
    }
    for (const QVariantList& row : qAsConst(rows)) {
        names.append(row.value(0).toString());
    }
    return true;
}

bool Storage::loadRecord(const QString& sql, const QString& owner, QByteArray& json)
{
    Database::Rows rows;
    if (!m_database->select(sql, {owner}, rows)) {
        return false;
    }
    if (rows.isEmpty()) {
        json.clear();
        return true;
    }
    json = rows.first().value(0).toByteArray();
    return !fromJson(json).isEmpty() || m_database->reportDamage(programs::Words::tr("a record cannot be read"));
}

bool Storage::selectMessage(const QString& sql, const QVariantList& values, StoredMessage& message)
{
    Database::Rows rows;
    if (!m_database->select(sql, values, rows)) {
        return false;
    }
    message = {};
    if (rows.isEmpty()) {
        return true;
    }
    const QVariantMap record = fromJson(rows.first().value(1).toByteArray());
    if (record.isEmpty()) {
        return m_database->reportDamage(programs::Words::tr("a message cannot be read"));
    }
    message.id = rows.first().value(0).toLongLong();
    message.message = Message::fromVariantMap(record);
    return true;
}

bool Storage::countMessages(const QString& client, int& count)
{
    if (!forgetCountsOfOthers()) {
        return false;
    }
    const auto known = m_messageCounts.constFind(client);
    if (known != m_messageCounts.constEnd()) {
        count = *known;
        return true;
    }
    Database::Rows rows;
    if (!m_database->select(QStringLiteral("SELECT count(*) FROM messages WHERE client = ?"), {client}, rows)) {
        return false;
    }
    count = rows.value(0).value(0).toInt();
    rememberCount(client, count);
    return true;
}

/// The names come from the clients, and may be of any number and length.
void Storage::rememberCount(const QString& client, int count)
{
    if (client.size() > MAX_REMEMBERED_NAME_LENGTH) {
        return;
    }
    if (m_messageCounts.size() >= MAX_MESSAGE_COUNTS) {
        m_messageCounts.clear();
    }
    m_messageCounts.insert(client, count);
}

/// A developer may remove messages by hand while the bus runs.
bool Storage::forgetCountsOfOthers()
{
    Database::Rows rows;
    if (!m_database->select(QStringLiteral("PRAGMA data_version"), {}, rows)) {
        return false;
    }
    const qint64 version = rows.value(0).value(0).toLongLong();
    if (version != m_dataVersion) {
        m_messageCounts.clear();
        m_dataVersion = version;
    }
    return true;
}

} // namespace tarvex::devbus
