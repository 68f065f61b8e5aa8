#ifndef PROCESSLOAD_H
#define PROCESSLOAD_H

#include <QtGlobal>

/// What a process takes of the system, at its worst so far.
struct ProcessLoad
{
    /// Looks at the process now.
    void note(qint64 processId);

    /// Says in the test's log how much more it takes in \a later, and \return whether that is below so many KiB and at
    /// most so many open files. Under a sanitizer, which keeps what is freed, the memory is not judged.
    bool isKept(const char* who, const ProcessLoad& later, int belowKiB, int files) const;

    int residentKiB = 0;
    int openFiles = 0;
};

#endif // PROCESSLOAD_H
