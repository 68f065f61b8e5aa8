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

/// Who gets what: puts messages into the storage for each client that is to get them, and hands those of the present
/// clients to their outboxes.
class Delivery : public QObject
{
    Q_OBJECT
public:
    /// At most \a keep messages are kept for a client that is away: when it leaves, and with each message that comes
    /// for it meanwhile, the oldest are dropped. A client that is present loses nothing, however far behind it is.
    Delivery(Storage& storage, int keep, int resendMs, QObject* parent);
    ~Delivery() override;

    /// Looks like the clients' own identifiers, but does not repeat within a millisecond as Message::genUid() does.
    static QString freshUid();

    /// Runs \a work in one transaction; what it has posted is pushed once it is committed.
    TarvexError write(const std::function<bool()>& work);

    // The steps of that work; false when the storage failed.

    /// To the message's addressee, or to the subscribers when it has none. An empty uid is filled in.
    bool postMessage(Message message);
    /// To the subscribers of the state's owner.
    bool postState(const ClientState& state);
    /// To the owner of the settings, unless they say otherwise; \a sender is who has saved them.
    bool postSettingsChange(const QString& sender, const ClientSettings& settings);

    /// The client is present: \a connection is its receiver connection. One that it had before is closed.
    void attach(BusConnection* connection);
    /// Pushes no more over \a connection. What is stored for its client stays: it comes back at once, or the server
    /// stops. \return whether it was the client's receiver connection
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
    QMap<QString, int> m_posted;        ///< By the transaction under way: client, and how many it lost.
};

} // namespace tarvex::devbus

#endif // DELIVERY_H
