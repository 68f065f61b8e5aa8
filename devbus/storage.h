#ifndef STORAGE_H
#define STORAGE_H

#include "database.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "records/tarvexerror.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace tarvex::devbus {

/// What the bus keeps: the clients' states, settings and subscriptions, and the messages not yet acknowledged.
///
/// The operations are the steps of a transaction: they are called inside the work given to database().read() or
/// write(), and return false when the storage failed, which ends the transaction. Nothing found is no failure.
class Storage
{
public:
    /// An empty \a path means memory.
    explicit Storage(const QString& path) : m_database(path) { }

    Database& database() { return m_database; }

    /// A record's wire form from its JSON text; empty when that is no object, as no record of ours is.
    static QVariantMap fromJson(const QByteArray& json);

    bool saveState(const ClientState& state);
    /// \a state is the record's wire form, or empty when there is none.
    bool loadState(const QString& owner, QVariantMap& state);

    bool saveSettings(const ClientSettings& settings);
    /// \a settings is the JSON text of the record's wire form, or empty when there is none.
    bool loadSettings(const QString& owner, QByteArray& settings);
    bool removeSettings(const QString& owner, bool& wasThere);

    /// A subscription to the same publisher is replaced.
    bool subscribe(const QString& client, const QString& publisher, int goals);
    bool unsubscribe(const QString& client, const QString& publisher);
    /// The clients whose subscription to \a publisher has the bit \a goal, in the order of their names.
    bool subscribers(const QString& publisher, int goal, QStringList& clients);

    struct StoredMessage
    {
        qint64 id = 0;
        Message message;
    };

    /// Appends to the messages that wait for \a client.
    bool addMessage(const QString& client, const Message& message);
    /// The oldest message of \a client with an id above \a afterId; id 0 when there is none.
    bool nextMessage(const QString& client, qint64 afterId, StoredMessage& message);
    /// The message with this id; id 0 when it is gone.
    bool messageById(qint64 id, StoredMessage& message);
    bool removeMessages(const QList<qint64>& ids);
    /// Drops the oldest messages of \a client so that \a keep remain; \a dropped is how many went.
    bool trimMessages(const QString& client, int keep, int& dropped);

    /// How much there is of one client.
    struct Holdings
    {
        bool hasSettings = false;
        bool hasState = false;
        int subscriptions = 0;
        int messages = 0; ///< That wait for it.
    };

    /// Of every client that has something, by name.
    bool holdings(QMap<QString, Holdings>& holdings);
    /// Whether \a client has stored settings, a state or subscriptions.
    bool hasStored(const QString& client, bool& hasStored);
    /// In the order of their names.
    bool settingsOwners(QStringList& owners);
    bool stateOwners(QStringList& owners);

private:
    bool selectNames(const QString& sql, const QVariantList& values, QStringList& names);
    bool loadRecord(const QString& sql, const QString& owner, QByteArray& json);
    bool readMessage(const Database::Rows& rows, StoredMessage& message);

    Database m_database;
};

} // namespace tarvex::devbus

#endif // STORAGE_H
