#include "heldclock.h"

#include <atomic>
#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr qint64 START_MS = 1000000;

/// In ms; 0 while the clock runs.
std::atomic<qint64> heldTime{0};

} // namespace

// Stands in for the C library's function wherever it is called from.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const qint64 held = heldTime;
    if (held == 0 || clock != CLOCK_MONOTONIC) {
        return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    }
    time->tv_sec = held / 1000;
    time->tv_nsec = held % 1000 * 1000000;
    return 0;
}

HeldClock::HeldClock()
{
    heldTime = START_MS;
}

HeldClock::~HeldClock()
{
    heldTime = 0;
}

void HeldClock::advance(int ms)
{
    heldTime += ms;
}
