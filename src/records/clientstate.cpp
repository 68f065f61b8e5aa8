#include "records/clientstate.h"

#include "records/recordfields_p.h"
#include "records/wiredate_p.h"
#include "wire/busterms_p.h"

#include <type_traits>

namespace tarvex {

static_assert(std::is_nothrow_move_constructible_v<ClientState> && std::is_nothrow_move_assignable_v<ClientState>,
              "queued signals of states rely on moves that cannot fail");

ClientState::ClientState() = default;

QString ClientState::owner() const
{
    return m_owner;
}

void ClientState::setOwner(const QString& owner)
{
    m_owner = owner;
}

QDateTime ClientState::dt() const
{
    return m_dt;
}

void ClientState::setDt(const QDateTime& dt)
{
    m_dt = dt;
}

ClientState::EStateType ClientState::stateType() const
{
    return m_stateType;
}

void ClientState::setStateType(const EStateType& stateType)
{
    m_stateType = stateType;
}

QString ClientState::state() const
{
    return m_state;
}

void ClientState::setState(const QString& state)
{
    m_state = state;
}

QString ClientState::description() const
{
    return m_description;
}

void ClientState::setDescription(const QString& description)
{
    m_description = description;
}

bool ClientState::isValid() const
{
    return m_stateType != NoStateType;
}

bool ClientState::operator==(const ClientState& other) const
{
    return m_owner == other.m_owner && m_dt == other.m_dt && m_stateType == other.m_stateType
        && m_state == other.m_state && m_description == other.m_description;
}

bool ClientState::operator!=(const ClientState& other) const
{
    return !(*this == other);
}

QVariantMap ClientState::toVariantMap() const
{
    QVariantMap map;
    map.insert(busterms::KEY_OWNER, m_owner);
    map.insert(busterms::KEY_DESCRIPTION, m_description);
    map.insert(busterms::KEY_DATE, wiredate::toText(m_dt));
    map.insert(busterms::KEY_STATE, m_state);
    map.insert(busterms::KEY_STATE_TYPE, static_cast<int>(m_stateType));
    return map;
}

ClientState ClientState::fromVariantMap(const QVariantMap& map)
{
    ClientState state;
    state.m_description = recordfields::text(map, busterms::KEY_DESCRIPTION);
    state.m_dt = wiredate::fromText(recordfields::text(map, busterms::KEY_DATE));
    state.m_owner = recordfields::text(map, busterms::KEY_OWNER);
    state.m_state = recordfields::text(map, busterms::KEY_STATE);
    state.m_stateType = static_cast<EStateType>(static_cast<qint8>(map.value(busterms::KEY_STATE_TYPE).toInt()));
    return state;
}

} // namespace tarvex
