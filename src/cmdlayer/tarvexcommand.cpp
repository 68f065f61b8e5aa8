#include "cmdlayer/tarvexcommand.h"

#include "records/repeatkey_p.h"
#include "wire/jsonreader_p.h"

#include <QDebug>
#include <QJsonDocument>
#include <QObject>

#include <type_traits>

static_assert(std::is_nothrow_move_constructible_v<TarvexCommand> && std::is_nothrow_move_assignable_v<TarvexCommand>,
              "queued signals of commands rely on moves that cannot fail");

namespace {

const QLatin1String KEY_CMD("cmd");
const QLatin1String KEY_DATA("data");

} // namespace

TarvexCommand::TarvexCommand() = default;

QString TarvexCommand::name() const
{
    return m_name;
}

void TarvexCommand::setName(const QString& name)
{
    m_name = name;
}

QString TarvexCommand::agent() const
{
    return m_agent;
}

void TarvexCommand::setAgent(const QString& agent)
{
    m_agent = agent;
}

QString TarvexCommand::uid() const
{
    return m_uid;
}

void TarvexCommand::setUid(const QString& uid)
{
    m_uid = uid;
}

QVariantMap TarvexCommand::data() const
{
    return m_data;
}

void TarvexCommand::setData(const QVariantMap& data)
{
    m_data = data;
}

QString TarvexCommand::cmdKey() const
{
    // The agent comes first.
    return tarvex::repeatkey::joined(m_agent, m_name, m_uid);
}

bool TarvexCommand::operator==(const TarvexCommand& other) const
{
    return m_name == other.m_name && m_agent == other.m_agent && m_uid == other.m_uid && m_data == other.m_data;
}

bool TarvexCommand::operator!=(const TarvexCommand& other) const
{
    return !(*this == other);
}

bool TarvexCommand::incomingMessageToCmd(const tarvex::Message& msg, TarvexCommand& cmd)
{
    cmd.m_agent = msg.sender();
    cmd.m_uid = msg.uid();
    QJsonParseError error{};
    const QJsonDocument document = tarvex::jsonreader::parseJson(msg.message().toUtf8(), error);
    if (error.error != QJsonParseError::NoError) {
        qWarning().noquote() << error.errorString();
        return false;
    }
    const QVariantMap object = document.toVariant().toMap();
    if (!object.contains(KEY_CMD)) {
        qWarning().noquote() << QObject::tr("Message is not tarvex command: ") << msg.message();
        return false;
    }
    cmd.m_name = object.value(KEY_CMD).toString();
    cmd.m_data = object.value(KEY_DATA).toMap();
    return true;
}

tarvex::Message TarvexCommand::toOutgoingMessage() const
{
    const QVariantMap object{{KEY_CMD, m_name}, {KEY_DATA, m_data}};
    tarvex::Message message;
    message.setDt(QDateTime::currentDateTime());
    message.setReciever(m_agent);
    message.setUid(m_uid);
    message.setMessage(QString::fromUtf8(QJsonDocument::fromVariant(object).toJson(QJsonDocument::Compact)));
    return message;
}
