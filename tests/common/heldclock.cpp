#include "heldclock.h"

#include <QCoreApplication>

#include <atomic>
#include <chrono>
#include <ctime>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {

/// In ms; 0 while the clock runs.
std::atomic<qint64> heldTime{0};

int systemTime(clockid_t clock, timespec* time)
{
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
}

} // namespace

// Stands in for the C library's function wherever it is called from.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const qint64 held = heldTime;
    if (held == 0 || clock != CLOCK_MONOTONIC) {
        return systemTime(clock, time);
    }
    time->tv_sec = held / 1000;
    time->tv_nsec = held % 1000 * 1000000;
    return 0;
}

HeldClock::HeldClock()
{
    // At the present, because there are threads that tell the system until when they wait.
    timespec now{};
    systemTime(CLOCK_MONOTONIC, &now);
    heldTime = now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

HeldClock::~HeldClock()
{
    heldTime = 0;
}

void HeldClock::advance(int ms)
{
    heldTime += ms;
}

void HeldClock::letPass(int ms)
{
    advance(ms);
    // A timer may post an event, and what that does may post another.
    for (int turn = 0; turn < 10; ++turn) {
        QCoreApplication::processEvents();
    }
}

bool HeldClock::waitFor(const std::function<bool()>& condition)
{
    for (int turn = 0; turn < 2000 && !condition(); ++turn) {
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}
