#ifndef DEVBUSPROGRAM_H
#define DEVBUSPROGRAM_H

#include "childprocess.h"
#include "literals.h"

#include <linux/capability.h>
#include <sys/prctl.h>

/// The program tarvex-devbus from the test's build, not started yet. File modes bind it like any other user's program
/// even when root starts it, as in a network namespace of the test's own.
class DevbusProgram : public ChildProcess
{
public:
    explicit DevbusProgram(const QStringList& arguments) : ChildProcess(QStringLiteral(TARVEX_DEVBUS), arguments)
    {
        bindByModes();
    }

    /// A shell runs \a words first and then becomes the program.
    DevbusProgram(const QString& words, const QStringList& arguments)
        : ChildProcess(u"/bin/sh"_s,
                       QStringList{u"-c"_s, words + u"; exec \"$0\" \"$@\""_s, QStringLiteral(TARVEX_DEVBUS)}
                           + arguments)
    {
        bindByModes();
    }

    /// Starts it, also once more after its end. \return whether it has said that it is ready.
    bool becomesReady()
    {
        const int linesBefore = lines().size();
        return start() && waitForLines(linesBefore + 1)
            && lines().constLast().startsWith(u"tarvex-devbus: ready on "_s);
    }

    /// How it ends, or has ended: the exit status, what it has written to stdout, and what to stderr.
    QStringList ending() { return {QString::number(status()), QString::fromUtf8(out()), QString::fromUtf8(err())}; }

    /// Starts it and waits for its end. \return as ending().
    QStringList run()
    {
        start();
        return ending();
    }

private:
    /// The step runs between fork and exec, so it is a system call and nothing else. The call fails for a user who is
    /// not root, and that user does not need it.
    void bindByModes()
    {
        setStepBeforeProgram([] { ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE); });
    }
};

/// What DevbusProgram::ending() gives when the program has complained in one line and has written nothing else.
inline QStringList complained(int status, const QString& words)
{
    return {QString::number(status), QString(), u"tarvex-devbus: "_s + words + QLatin1Char('\n')};
}

#endif // DEVBUSPROGRAM_H
