#ifndef STATECHANGES_H
#define STATECHANGES_H

#include "records/clientstate.h"

namespace tarvexctl {

class Output;

/// Writes what differs between two states of the same owner: the state's text, its type and its description. When both
/// texts are JSON objects, they are compared key by key. When nothing differs but the time, that is written. For people
/// each change is a row of a table. With --json it is the record of \a after with its "changes".
void writeStateChanges(Output& output, const tarvex::ClientState& before, const tarvex::ClientState& after);

/// Writes the first state of an owner in the same table, and with --json as the record alone.
void writeFirstState(Output& output, const tarvex::ClientState& state);

} // namespace tarvexctl

#endif // STATECHANGES_H
