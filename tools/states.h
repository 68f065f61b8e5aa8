#ifndef STATES_H
#define STATES_H

#include "follower.h"
#include "records/clientstate.h"

#include <QString>
#include <QStringList>

#include <optional>

/// What the verbs that follow states share.
namespace tarvexctl {

class BusClient;
class Output;

/// Subscriptions to the state changes of \a owners, and to nothing else of them.
Subscriptions stateSubscriptions(const QStringList& owners);

/// The present state of \a owner; a record without a state when the bus has none. Throws Failure.
tarvex::ClientState loadState(BusClient& bus, const QString& owner);

/// The state of which \a message tells; nothing when it tells of none, or of one that is not of \a owners.
std::optional<tarvex::ClientState> stateFrom(const tarvex::Message& message, const QStringList& owners);

/// The kind of state from a decimal number from 0 to 127. Throws Failure with WrongUse.
tarvex::ClientState::EStateType stateTypeFrom(const QString& text);

/// Writes the state as a row of a table, or with --json as the record.
void writeState(Output& output, const tarvex::ClientState& state);

} // namespace tarvexctl

#endif // STATES_H
