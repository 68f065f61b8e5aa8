#ifndef PROCESSLOAD_H
#define PROCESSLOAD_H

#include <QtGlobal>

/// The most that a process has used of the system so far.
struct ProcessLoad
{
    /// Looks at what the process uses now.
    void note(qint64 processId);

    /// Compares this with \a later, and writes both to the test's log. \return whether \a later is less than \a
    /// belowKiB above this, and at most \a files open files above. The memory does not count under a sanitizer, because
    /// a sanitizer keeps what is freed.
    bool isKept(const char* who, const ProcessLoad& later, int belowKiB, int files) const;

    int residentKiB = 0;
    int openFiles = 0;
};

#endif // PROCESSLOAD_H
