#include "heldclock.h"

#include <QCoreApplication>
#include <QDateTime>

#include <atomic>
#include <chrono>
#include <ctime>
#include <limits>
#include <sys/syscall.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace {

/// In ms. 0 while the clock runs.
std::atomic<qint64> heldTime{0};
std::atomic<qint64> heldWallTime{0};

int systemTime(clockid_t clock, timespec* time)
{
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
}

qint64 heldTimeOf(clockid_t clock)
{
    switch (clock) {
    case CLOCK_MONOTONIC:
        return heldTime;
    case CLOCK_REALTIME:
        return heldWallTime;
    default:
        return 0;
    }
}

// QtTest ends a test that runs longer than its limit, and it asks the clock that is moved on here. It reads the limit
// before the first test.
const bool IS_LIMIT_LIFTED = qEnvironmentVariableIsSet("QTEST_FUNCTION_TIMEOUT")
    || qputenv("QTEST_FUNCTION_TIMEOUT", QByteArray::number(std::numeric_limits<int>::max()));

} // namespace

// These functions replace those of the C library for all callers. The C library has three functions for the wall clock.
// Qt asks another one for the wall clock than for the monotonic clock.
extern "C" {

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const qint64 held = heldTimeOf(clock);
    if (held == 0) {
        return systemTime(clock, time);
    }
    time->tv_sec = held / 1000;
    time->tv_nsec = held % 1000 * 1000000;
    return 0;
}

__attribute__((visibility("default"))) int gettimeofday(timeval* time, void* /*zone*/) noexcept
{
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return result;
}

__attribute__((visibility("default"))) time_t time(time_t* time) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (time) {
        *time = now.tv_sec;
    }
    return now.tv_sec;
}

} // extern "C"

HeldClock::HeldClock()
{
    Q_ASSERT(IS_LIMIT_LIFTED);
    // The clock begins at the present time, because threads tell the system until when they wait.
    timespec now{};
    systemTime(CLOCK_MONOTONIC, &now);
    heldTime = now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

HeldClock::~HeldClock()
{
    heldTime = 0;
    heldWallTime = 0;
}

void HeldClock::advance(int ms)
{
    heldTime += ms;
    if (heldWallTime != 0) {
        heldWallTime += ms;
    }
}

void HeldClock::setWallClock(const QDateTime& time)
{
    heldWallTime = time.toMSecsSinceEpoch();
}

void HeldClock::letPass(int ms)
{
    advance(ms);
    // A timer may post an event, and this event may post another.
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
