#ifndef BOUNDEDWORK_H
#define BOUNDEDWORK_H

#include "failure.h"

#include <functional>

/// Work that may hang, because the library's waits block for up to 30 s.
namespace tarvexctl {

/// Runs \a work in a thread of its own and waits for its end, for this time at most. What it throws is thrown here. A
/// timeout of less than 0 counts as 0.
/// \return whether it has ended. Otherwise it goes on, so \a work must own all that it uses, and the program must end
/// by leaveAtOnce().
bool runWithin(int timeoutMs, const std::function<void()>& work);

/// Ends the process although a thread of it is blocked. Nothing that was written is lost, because output is unbuffered.
[[noreturn]] void leaveAtOnce(ExitStatus status);

} // namespace tarvexctl

#endif // BOUNDEDWORK_H
