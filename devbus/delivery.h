#ifndef DELIVERY_H
#define DELIVERY_H

#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "records/tarvexerror.h"
#include "wire/busterms_p.h"

#include <QHash>
#include <QMap>
#include <QObject>
#include <QString>

#include <functional>

namespace tarvex::devbus {

class BusConnection;
class Outbox;
class Storage;

/// Decides which client gets what. Stores each message for every client that is to get it, and hands the messages of
/// the present clients to their outboxes.
class Delivery : public QObject
{
    Q_OBJECT
public:
    /// At most \a keep messages are kept for a client that is away. The oldest are dropped when it leaves, and with
    /// each message that comes for it after that. A client that is present loses nothing, however far behind it is.
    Delivery(Storage& storage, int keep, int resendMs, QObject* parent);
    ~Delivery() override;

    /// Looks like the clients' own identifiers, but does not repeat within a millisecond as Message::genUid() does.
    static QString freshUid();

    /// Runs \a work in one transaction; what it has posted is pushed once it is committed.
    TarvexError write(const std::function<bool()>& work);

    // The steps of that work; false when the storage failed.

    /// Posts to the message's addressee, or to the subscribers when it has none. Fills an empty uid in.
    bool postMessage(Message message);
    /// Posts to the subscribers of the state's owner.
    bool postState(const ClientState& state);
    /// Posts to the owner of the settings, unless they say otherwise. \a sender is the client that has saved them.
    bool postSettingsChange(const QString& sender, const ClientSettings& settings);

    /// The client of \a connection is present, and that is its receiver connection. A former one is closed.
    void attach(BusConnection* connection);
    /// Pushes nothing more over \a connection. What is stored for its client stays, because the client comes back at
    /// once or the server stops. \return whether it was the client's receiver connection
    bool detach(BusConnection* connection);
    /// The client has left: its connection is gone, or is another client's from now on.
    void leave(BusConnection* connection);

Q_SIGNALS:
    /// The client has acknowledged a message, and it is no longer stored.
    void acknowledged(const QString& client, const QString& uid);
    /// Something for the developer to know.
    void warning(const QString& text);

private:
    bool post(const QString& client, const Message& message);
    bool postToSubscribers(const QString& publisher, busterms::Goal goal, Message message, bool isAddressed);

    Storage& m_storage;
    const int m_keep;
    const int m_resendMs;
    QHash<QString, Outbox*> m_outboxes; ///< Of the present clients, by name.
    /// The clients that the present transaction has posted to, and how many messages each has lost by that.
    QMap<QString, int> m_posted;
};

} // namespace tarvex::devbus

#endif // DELIVERY_H
