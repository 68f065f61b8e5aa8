#ifndef HELDCLOCK_H
#define HELDCLOCK_H

#include <QtGlobal>

/// Holds the monotonic clock of the whole process, Qt's included, from its construction to its destruction, and moves
/// it on by hand: for what is about minutes. Nothing that waits works meanwhile. One at a time.
class HeldClock
{
public:
    HeldClock();
    ~HeldClock();
    Q_DISABLE_COPY_MOVE(HeldClock)

    void advance(int ms);
};

#endif // HELDCLOCK_H
