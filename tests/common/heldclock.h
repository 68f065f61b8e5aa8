#ifndef HELDCLOCK_H
#define HELDCLOCK_H

#include <QtGlobal>

#include <functional>

class QDateTime;

/// Holds the monotonic clock of the whole process, also for Qt, as long as the object lives. The test moves the clock
/// on by hand, so that it need not wait for minutes. No wait with a time-out works meanwhile. Only one object may
/// exist.
///
/// The wall clock goes on by itself until it is set.
class HeldClock
{
public:
    HeldClock();
    ~HeldClock();
    Q_DISABLE_COPY_MOVE(HeldClock)

    /// Moves both clocks on by this time.
    void advance(int ms);

    /// Moves the clocks on, and lets this thread's event loop do what is due then.
    void letPass(int ms);

    /// Runs this thread's event loop until \a condition is true, for up to 20 s of real time. QTRY_... would never give
    /// up, because it asks the held clock. \return whether the condition became true.
    static bool waitFor(const std::function<bool()>& condition);

    /// Sets the wall clock, as a person or a time server does. No time passes. From now on this clock is held as well.
    void setWallClock(const QDateTime& time);
};

#endif // HELDCLOCK_H
