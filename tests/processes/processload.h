#ifndef PROCESSLOAD_H
#define PROCESSLOAD_H

#include <QtGlobal>

/// What a process takes of the system, at its worst so far.
struct ProcessLoad
{
    /// Looks at the process now.
    void note(qint64 processId);

    int residentKiB = 0;
    int openFiles = 0;
};

#endif // PROCESSLOAD_H
