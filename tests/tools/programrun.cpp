#include "programrun.h"

#include <csignal>

namespace {

// Background jobs of a shell have it ignored, and hand that down.
void resetInterrupt()
{
    std::signal(SIGINT, SIG_DFL);
}

} // namespace

ProgramRun::ProgramRun(const QStringList& arguments) : ChildProcess(program(), arguments)
{
    setStepBeforeProgram(resetInterrupt);
    start();
}

ProgramRun::ProgramRun(const QStringList& arguments, QProcess& reader) : ChildProcess(program(), arguments)
{
    setStepBeforeProgram(resetInterrupt);
    pipeInto(reader);
    start();
}

QString ProgramRun::program()
{
    return QStringLiteral(TARVEXCTL);
}
