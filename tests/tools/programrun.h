#ifndef PROGRAMRUN_H
#define PROGRAMRUN_H

#include "childprocess.h"

/// One run of tarvexctl, which starts at once. SIGINT has its default meaning there, however the test itself was
/// started.
class ProgramRun : public ChildProcess
{
public:
    explicit ProgramRun(const QStringList& arguments);
    /// The same with its stdout piped into \a reader.
    ProgramRun(const QStringList& arguments, QProcess& reader);

    /// The program's file.
    static QString program();
};

#endif // PROGRAMRUN_H
