#ifndef STORAGE_H
#define STORAGE_H

#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "records/tarvexerror.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace tarvex::devbus {

class Database;

/// What the bus keeps: the clients' states, settings and subscriptions, and the messages not yet acknowledged.
///
/// Used in the thread that opened it. Everything is read and written in transactions, which read() and write() run. The
/// operations after them are the steps of a transaction: they are called inside the work, and return false when the
/// storage failed, which ends the transaction. Nothing found is no failure.
///
/// \code
/// QVariantMap state;
/// const TarvexError error = storage.read([&] { return storage.loadState(owner, state); });
/// \endcode
class Storage
{
public:
    /// An empty \a path means memory. Nothing is opened yet.
    explicit Storage(const QString& path);
    ~Storage();
    Q_DISABLE_COPY_MOVE(Storage)

    /// Opens or creates the file. A file that cannot be used is left as it is.
    /// \return why it cannot be used, or NoError.
    TarvexError open();

    /// Called with the reason of each transaction that fails from now on.
    void setFailureHandler(const std::function<void(const QString&)>& handler);

    /// Runs \a work in one transaction, which is committed when it returns true and undone otherwise.
    /// \return NoError once it is committed; InvalidDataStorage or StorageAccessError otherwise.
    TarvexError read(const std::function<bool()>& work);
    TarvexError write(const std::function<bool()>& work);

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
    /// These are messages of \a client.
    bool removeMessages(const QString& client, const QList<qint64>& ids);
    /// Drops the oldest messages of \a client so that \a keep remain; \a dropped is how many went. Takes no longer when
    /// more messages wait, except the first time for a client and after another program has changed the file.
    bool trimMessages(const QString& client, int keep, int& dropped);

    /// How much there is of one client.
    struct Holdings
    {
        bool hasSettings = false;
        bool hasState = false;
        int subscriptions = 0;
        int messages = 0; ///< That wait for it.
    };

    /// How many bytes the database takes. What SQLite keeps beside the file is not included.
    bool size(qint64& bytes);
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
    bool selectMessage(const QString& sql, const QVariantList& values, StoredMessage& message);
    bool countMessages(const QString& client, int& count);
    void rememberCount(const QString& client, int count);
    bool forgetCountsOfOthers();

    const std::unique_ptr<Database> m_database;
    /// How many messages wait, as far as it is known. They are counted once, because that takes longer the more wait.
    QHash<QString, int> m_messageCounts;
    qint64 m_dataVersion = 0; ///< SQLite's; it changes when another program changes the file.
};

} // namespace tarvex::devbus

#endif // STORAGE_H
