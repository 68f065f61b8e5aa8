#ifndef FAILURE_H
#define FAILURE_H

#include "records/tarvexerror.h"

/// In this folder every failure is a TarvexError. Most of them go to the client that has asked, with the code that the
/// bus has for them.
namespace tarvex::devbus {

/// The code of a failure that concerns no client, such as a port that is taken. It is no code of the bus and never
/// crosses the wire. The description says in one line what failed.
constexpr auto LocalFailure = static_cast<TarvexError::Error>(0xffff);

inline bool isFailure(const TarvexError& error)
{
    return error.error() != TarvexError::NoError;
}

} // namespace tarvex::devbus

#endif // FAILURE_H
