#ifndef HELDCLOCK_H
#define HELDCLOCK_H

#include <QtGlobal>

#include <functional>

class QDateTime;

/// Holds the monotonic clock of the whole process, Qt's included, from its construction to its destruction, and moves
/// it on by hand: for what is about minutes. Nothing that waits works meanwhile. One at a time.
///
/// The wall clock goes on by itself until it is set.
class HeldClock
{
public:
    HeldClock();
    ~HeldClock();
    Q_DISABLE_COPY_MOVE(HeldClock)

    /// Lets this much time go by, on both clocks.
    void advance(int ms);

    /// Moves it on, and lets this thread's event loop do what is due by then.
    void letPass(int ms);

    /// Runs this thread's event loop until \a condition is true, for up to 20 s of the time outside: QTRY_... would
    /// never give up. \return whether it became true.
    static bool waitFor(const std::function<bool()>& condition);

    /// Sets the wall clock, as a person or a time server does: no time goes by. From now on it is held as well.
    void setWallClock(const QDateTime& time);
};

#endif // HELDCLOCK_H
