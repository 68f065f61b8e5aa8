#include "delivery.h"

#include "busconnection.h"
#include "failure.h"
#include "outbox.h"
#include "printable.h"
#include "storage.h"
#include "wire/busterms_p.h"
#include "words.h"

#include <QUuid>

#include <utility>

namespace tarvex::devbus {

namespace {

Message commandMessage(const QString& sender, const QString& command, const QVariantMap& data)
{
    Message message;
    message.setSender(sender);
    message.setMessage(busterms::commandText(command, data));
    message.setUid(Delivery::freshUid());
    return message;
}

} // namespace

Delivery::Delivery(Storage& storage, int keep, int resendMs, QObject* parent)
    : QObject(parent), m_storage(storage), m_keep(keep), m_resendMs(resendMs)
{
}

Delivery::~Delivery() = default;

QString Delivery::freshUid()
{
    return QString::fromLatin1(QUuid::createUuid().toRfc4122().toBase64());
}

TarvexError Delivery::write(const std::function<bool()>& work)
{
    m_posted.clear();
    TarvexError error = m_storage.write(work);
    const QMap<QString, int> posted = std::exchange(m_posted, {});
    if (isFailure(error)) {
        return error;
    }
    for (auto client = posted.cbegin(); client != posted.cend(); ++client) {
        if (client.value() > 0) {
            Q_EMIT warning(programs::Words::tr("dropped the oldest %1 of more than %2 messages that wait for \"%3\"")
                               .arg(QString::number(client.value()), QString::number(m_keep),
                                    printable(client.key(), MAX_SHOWN_NAME_LENGTH)));
        }
        if (Outbox* const outbox = m_outboxes.value(client.key())) {
            outbox->push();
        }
    }
    return error;
}

bool Delivery::postMessage(Message message)
{
    if (message.uid().isEmpty()) {
        message.setUid(freshUid());
    }
    if (message.reciever().isEmpty()) {
        return postToSubscribers(message.sender(), busterms::OpenMessages, message, false);
    }
    return post(message.reciever(), message);
}

bool Delivery::postState(const ClientState& state)
{
    const Message message = commandMessage(state.owner(), busterms::COMMAND_STATE_CHANGED, state.toVariantMap());
    return postToSubscribers(state.owner(), busterms::StateChanges, message, true);
}

bool Delivery::postSettingsChange(const QString& sender, const ClientSettings& settings)
{
    if (!settings.mailOwner()) {
        return true;
    }
    Message message = commandMessage(sender, busterms::COMMAND_UPDATE_SETTINGS, {});
    message.setReciever(settings.owner());
    return post(settings.owner(), message);
}

void Delivery::attach(BusConnection* connection)
{
    const QString client = connection->client();
    if (Outbox* const former = m_outboxes.value(client)) {
        BusConnection* const formerConnection = former->connection();
        detach(formerConnection);
        formerConnection->closeWhenWritten();
    }
    auto* const outbox = new Outbox(connection, m_storage, m_resendMs, this);
    connect(outbox, &Outbox::acknowledged, this, &Delivery::acknowledged);
    m_outboxes.insert(client, outbox);
    outbox->push();
}

bool Delivery::detach(BusConnection* connection)
{
    Outbox* const outbox = m_outboxes.value(connection->client());
    if (!outbox || outbox->connection() != connection) {
        return false;
    }
    m_outboxes.remove(connection->client());
    outbox->stop();
    outbox->deleteLater(); // it may be in the middle of a push
    return true;
}

void Delivery::leave(BusConnection* connection)
{
    const QString client = connection->client();
    if (detach(connection)) {
        // The oldest messages beyond the limit are dropped. If the storage cannot be written now, the next message for
        // this client does that.
        write([&] { return m_storage.trimMessages(client, m_keep, m_posted[client]); });
    }
}

bool Delivery::post(const QString& client, const Message& message)
{
    int dropped = 0;
    if (!m_storage.addMessage(client, message)
        || (!m_outboxes.contains(client) && !m_storage.trimMessages(client, m_keep, dropped))) {
        return false;
    }
    m_posted[client] += dropped;
    return true;
}

/// If \a isAddressed is true, each copy names its subscriber as the addressee.
bool Delivery::postToSubscribers(const QString& publisher, busterms::Goal goal, Message message, bool isAddressed)
{
    QStringList clients;
    if (!m_storage.subscribers(publisher, goal, clients)) {
        return false;
    }
    for (const QString& client : qAsConst(clients)) {
        if (isAddressed) {
            message.setReciever(client);
        }
        if (!post(client, message)) {
            return false;
        }
    }
    return true;
}

} // namespace tarvex::devbus
