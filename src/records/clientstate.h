#ifndef CLIENTSTATE_H
#define CLIENTSTATE_H

#include "tarvexlib_export.h"

#include <QDateTime>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

namespace tarvex {

/// The current state of one client as the bus server stores it.
///
/// A plain value. It is registered with the meta-type system as "ClientState" and "tarvex::ClientState".
///
/// <!-- quote: docs/snippets/reference/records.cpp#state -->
/// \code
/// ClientState state;
/// state.setStateType(ClientState::EStateType(1)); // The services agree on the numbers.
/// state.setState(QStringLiteral(R"({"paperLeft":120})"));
/// \endcode
///
/// Wire form: a JSON object with the keys "owner", "description", "date", "state" (strings) and "type" (a number).
///
/// \see docs/state.md
class TARVEXLIB_EXPORT ClientState
{
public:
    /// What kind of state this is. The values 0 to 127 are agreed between the services; the library only carries them.
    enum EStateType : qint8 {
        NoStateType = -1, ///< The record holds no state.
    };

    /// Empty strings, an invalid date-time and NoStateType.
    ClientState();

    /// The client name of the service whose state this is.
    QString owner() const;
    void setOwner(const QString& owner); ///< Sets owner().

    /// When the state was taken. Invalid in a new record.
    QDateTime dt() const;
    void setDt(const QDateTime& dt); ///< Sets dt().

    EStateType stateType() const;                   ///< What kind of state this is.
    void setStateType(const EStateType& stateType); ///< Sets stateType().

    /// The state itself, usually a JSON text.
    QString state() const;
    void setState(const QString& state); ///< Sets state().

    /// A text for people.
    QString description() const;
    void setDescription(const QString& description); ///< Sets description().

    /// True when the state type is not NoStateType. The other fields do not matter.
    bool isValid() const;

    /// True when all five fields are equal.
    bool operator==(const ClientState& other) const;
    bool operator!=(const ClientState& other) const; ///< The opposite of operator==().

    /// The wire form. Every key is always present. An invalid date-time is written as an empty string.
    QVariantMap toVariantMap() const;

    /// Reads the wire form and accepts any map. A missing or malformed date gives an invalid date-time. A missing text
    /// gives an empty one. Note that a map without "type" gives the state type 0, and so a valid record. Only the low 8
    /// bits of "type" are kept, as a signed number.
    static ClientState fromVariantMap(const QVariantMap& map);

private:
    QString m_owner;
    QDateTime m_dt;
    EStateType m_stateType = NoStateType;
    QString m_state;
    QString m_description;
};

} // namespace tarvex

Q_DECLARE_METATYPE(tarvex::ClientState)

#endif // CLIENTSTATE_H
