#include "cmdlayer/tarvexcommand.h"

#include "records/repeatkey_p.h"
#include "wire/busterms_p.h"

#include <QDebug>
#include <QObject>

#include <type_traits>

static_assert(std::is_nothrow_move_constructible_v<TarvexCommand> && std::is_nothrow_move_assignable_v<TarvexCommand>,
              "queued signals of commands rely on moves that cannot fail");

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
    const tarvex::busterms::CommandText command = tarvex::busterms::readCommandText(msg.message());
    if (!command.isJson) {
        qWarning().noquote() << command.errorText;
        return false;
    }
    if (!command.isCommand) {
        qWarning().noquote() << QObject::tr("Message is not tarvex command: ") << msg.message();
        return false;
    }
    cmd.m_name = command.name;
    cmd.m_data = command.data;
    return true;
}

tarvex::Message TarvexCommand::toOutgoingMessage() const
{
    tarvex::Message message; // It has the current time.
    message.setReciever(m_agent);
    message.setUid(m_uid);
    message.setMessage(tarvex::busterms::commandText(m_name, m_data));
    return message;
}
