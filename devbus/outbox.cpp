#include "outbox.h"

#include "failure.h"
#include "storage.h"
#include "wire/busframe_p.h"
#include "wire/busterms_p.h"

#include <optional>

namespace tarvex::devbus {

Outbox::Outbox(BusConnection* connection, Storage& storage, int resendMs, QObject* parent)
    : QObject(parent)
    , m_connection(connection)
    , m_client(connection->client())
    , m_storage(storage)
    , m_resendMs(resendMs)
{
    m_clock.start();
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &Outbox::push);
    connect(connection, &BusConnection::writable, this, &Outbox::push);
    connect(connection, &BusConnection::replyReceived, this, &Outbox::acknowledge);
}

void Outbox::push()
{
    if (!m_connection) {
        return;
    }
    // Late messages go first, so that the client gets everything in order as far as possible.
    Result result = pushLate() ? Done : Failed;
    while (result == Done && hasRoom()) {
        result = pushNext();
    }
    scheduleNextPush(result == Failed);
}

void Outbox::stop()
{
    if (m_connection) {
        m_connection->disconnect(this);
    }
    m_connection.clear();
    m_timer.stop();
}

void Outbox::acknowledge(const QVariantMap& envelope)
{
    if (envelope.value(busframe::KEY_OPERATION).toString() != busterms::OPERATION_SEND_MESSAGE
        || busframe::resultCode(envelope.value(busframe::KEY_RESULT).toMap()) != 0) {
        return;
    }
    const QVariantMap data = envelope.value(busframe::KEY_DATA).toMap();
    const QString uid = data.value(busterms::KEY_ACKNOWLEDGED_UID).toString();
    QList<qint64> ids;
    for (const Pushed& pushed : m_pushed) {
        if (!pushed.isAcknowledged && pushed.uid == uid && pushed.sender == data.value(busterms::KEY_SENDER).toString()
            && pushed.reciever == data.value(busterms::KEY_RECIEVER).toString()) {
            ids.append(pushed.id);
        }
    }
    Storage::StoredMessage stored; // read before it is removed
    if (!ids.isEmpty() && m_connection->mayPushAgain()) {
        m_storage.read([&] { return m_storage.messageById(ids.constFirst(), stored); });
    }
    // When this fails the message is pushed again, and acknowledged again.
    if (ids.isEmpty() || isFailure(m_storage.write([&] { return m_storage.removeMessages(m_client, ids); }))) {
        return;
    }
    settle(ids);
    if (stored.id != 0) {
        pushAcknowledgedAgain(stored.message.toVariantMap());
    }
    Q_EMIT acknowledged(m_client, uid);
    push();
}

bool Outbox::hasRoom() const
{
    return m_unacknowledged < busterms::MAX_UNACKNOWLEDGED && m_pushed.size() < busterms::MAX_PUSHED_SPAN
        && !m_connection->isCongested();
}

bool Outbox::isLate(const Pushed& pushed) const
{
    return !pushed.isAcknowledged && m_clock.elapsed() - pushed.pushedAtMs >= m_resendMs;
}

/// \return false when the storage could not be read.
bool Outbox::pushLate()
{
    QList<qint64> gone;
    for (Pushed& pushed : m_pushed) {
        if (!isLate(pushed) || m_connection->isCongested()) {
            continue;
        }
        const Result result = pushAgain(pushed);
        if (result == Failed) {
            return false;
        }
        if (result == NothingLeft) {
            gone.append(pushed.id);
        }
    }
    settle(gone);
    return true;
}

/// The message is read again, because only the keys of the messages under way are in memory: the texts may be large.
Outbox::Result Outbox::pushAgain(Pushed& pushed)
{
    Storage::StoredMessage stored;
    const TarvexError error = m_storage.read([&] { return m_storage.messageById(pushed.id, stored); });
    if (isFailure(error)) {
        return Failed;
    }
    if (stored.id == 0) {
        return NothingLeft;
    }
    send(stored.message.toVariantMap());
    pushed.pushedAtMs = m_clock.elapsed();
    return Done;
}

Outbox::Result Outbox::pushNext()
{
    Storage::StoredMessage stored;
    const TarvexError error = m_storage.read([&] { return m_storage.nextMessage(m_client, m_lastId, stored); });
    if (isFailure(error)) {
        return Failed;
    }
    if (stored.id == 0) {
        return NothingLeft;
    }
    const Message& message = stored.message;
    m_pushed.push_back({stored.id, message.sender(), message.reciever(), message.uid(), m_clock.elapsed(), false});
    ++m_unacknowledged;
    m_lastId = stored.id;
    send(message.toVariantMap());
    return Done;
}

void Outbox::send(const QVariantMap& message)
{
    const QString operation = busterms::OPERATION_SEND_MESSAGE;
    m_connection->sendRequest(operation, message,
                              m_connection->meetFault(Faults::Occasion::Push, m_client, operation, message));
}

/// A fault on purpose: the client has to notice that it has this message already.
void Outbox::pushAcknowledgedAgain(const QVariantMap& message)
{
    const QString operation = busterms::OPERATION_SEND_MESSAGE;
    const auto fault = m_connection->meetFault(Faults::Occasion::Acknowledged, m_client, operation, message);
    if (fault) {
        m_connection->sendRequest(operation, message, fault);
    }
}

/// Counts these messages as acknowledged.
void Outbox::settle(const QList<qint64>& ids)
{
    for (Pushed& pushed : m_pushed) {
        if (ids.contains(pushed.id)) {
            pushed.isAcknowledged = true;
            --m_unacknowledged;
        }
    }
    while (!m_pushed.empty() && m_pushed.front().isAcknowledged) {
        m_pushed.pop_front();
    }
}

void Outbox::scheduleNextPush(bool hasFailed)
{
    std::optional<qint64> waitMs;
    if (hasFailed) {
        waitMs = m_resendMs;
    } else if (m_unacknowledged > 0 && !m_connection->isCongested()) {
        qint64 oldestMs = m_clock.elapsed();
        for (const Pushed& pushed : m_pushed) {
            oldestMs = pushed.isAcknowledged ? oldestMs : qMin(oldestMs, pushed.pushedAtMs);
        }
        waitMs = qMax<qint64>(0, oldestMs + m_resendMs - m_clock.elapsed());
    }
    if (waitMs) {
        m_timer.start(static_cast<int>(*waitMs));
    } else {
        m_timer.stop(); // nothing is under way, or the connection tells when it has room again
    }
}

} // namespace tarvex::devbus
