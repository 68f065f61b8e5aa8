#include "records/message.h"

#include "records/localclock_p.h"
#include "records/recordfields_p.h"
#include "records/repeatkey_p.h"
#include "records/wiredate_p.h"
#include "wire/busterms_p.h"

#include <QCryptographicHash>
#include <QStringBuilder>

#include <cstdlib>
#include <type_traits>

namespace tarvex {

static_assert(std::is_nothrow_move_constructible_v<Message> && std::is_nothrow_move_assignable_v<Message>,
              "lists and queued signals of messages rely on moves that cannot fail");

namespace {

// The generator is seeded anew each time, so all calls within one second draw the same numbers. The bus's other clients
// make their identifiers in the same way. The clock and the message itself make such identifiers differ.
qint32 randomPart()
{
    std::srand(static_cast<unsigned int>(QDateTime::currentSecsSinceEpoch()));
    // The sum is unsigned, because it is meant to wrap around, and signed overflow is undefined.
    quint32 sum = 0;
    for (int draw = 0; draw < 3; ++draw) {
        sum += static_cast<quint32>(std::rand());
    }
    return static_cast<qint32>(sum) / 3;
}

} // namespace

Message::Message() : m_dt(localclock::now()) { }

Message::~Message() = default;

QString Message::sender() const
{
    return m_sender;
}

void Message::setSender(const QString& sender)
{
    m_sender = sender;
}

QString Message::reciever() const
{
    return m_reciever;
}

void Message::setReciever(const QString& reciever)
{
    m_reciever = reciever;
}

QDateTime Message::dt() const
{
    return m_dt;
}

void Message::setDt(const QDateTime& dt)
{
    m_dt = dt;
}

QString Message::message() const
{
    return m_message;
}

void Message::setMessage(const QString& message)
{
    m_message = message;
}

QString Message::uid() const
{
    return m_uid;
}

void Message::setUid(const QString& uid)
{
    m_uid = uid;
}

QString Message::genUid() const
{
    const qint32 random = randomPart();
    const qint64 clock = QDateTime::currentMSecsSinceEpoch();
    const QString ingredients = QLatin1String("MESSAGE") % m_sender % m_reciever % wiredate::toIsoText(m_dt) % m_message
        % QString::number(clock) % QString::number(random);
    const QByteArray digest = QCryptographicHash::hash(ingredients.toUtf8(), QCryptographicHash::Md5);
    return QString::fromLatin1(digest.toBase64());
}

QString Message::msgKey() const
{
    return repeatkey::joined(m_sender, m_reciever, m_uid);
}

bool Message::operator==(const Message& other) const
{
    return m_sender == other.m_sender && m_reciever == other.m_reciever && m_dt == other.m_dt
        && m_message == other.m_message && m_uid == other.m_uid;
}

bool Message::operator!=(const Message& other) const
{
    return !(*this == other);
}

QVariantMap Message::toVariantMap() const
{
    QVariantMap map;
    map.insert(busterms::KEY_DATE, wiredate::toText(m_dt));
    map.insert(busterms::KEY_MESSAGE, m_message);
    map.insert(busterms::KEY_RECIEVER, m_reciever);
    map.insert(busterms::KEY_SENDER, m_sender);
    map.insert(busterms::KEY_UID, m_uid);
    return map;
}

Message Message::fromVariantMap(const QVariantMap& map)
{
    Message message;
    message.m_dt = wiredate::fromText(recordfields::text(map, busterms::KEY_DATE));
    message.m_message = recordfields::text(map, busterms::KEY_MESSAGE);
    message.m_reciever = recordfields::text(map, busterms::KEY_RECIEVER);
    message.m_sender = recordfields::text(map, busterms::KEY_SENDER);
    message.m_uid = recordfields::text(map, busterms::KEY_UID);
    return message;
}

} // namespace tarvex
