#include "programrun.h"

#include "literals.h"

#include <QRegularExpression>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// Runs in the child before the program. Sets SIGINT in every case, because a shell starts its background jobs with
/// SIGINT ignored, and child processes inherit that.
void prepare(ProgramRun::Circumstances circumstances)
{
    std::signal(SIGINT, circumstances == ProgramRun::InterruptIgnored ? SIG_IGN : SIG_DFL);
    int pipe[2] = {-1, -1};
    switch (circumstances) {
    case ProgramRun::StdoutFull:
        ::dup2(::open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        break;
    case ProgramRun::StdoutUnread:
        if (::pipe(pipe) == 0) {
            ::dup2(pipe[1], STDOUT_FILENO);
            ::close(pipe[0]);
            ::close(pipe[1]);
        }
        break;
    case ProgramRun::StdoutClosed:
        ::close(STDOUT_FILENO);
        break;
    case ProgramRun::StdinEmpty:
        ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        break;
    case ProgramRun::StreamsTogether:
        ::dup2(STDOUT_FILENO, STDERR_FILENO);
        break;
    default:
        break;
    }
}

} // namespace

char* toString(const Ending& ending)
{
    const QByteArray text =
        "status " + QByteArray::number(ending.status) + ", stdout \"" + ending.out + "\", stderr \"" + ending.err + '"';
    return qstrdup(text.constData());
}

Ending ended(int status, const QByteArrayList& words, const QByteArray& out)
{
    QByteArray err;
    for (const QByteArray& line : words) {
        err += told(line);
    }
    return {status, out, err};
}

QByteArray told(const QByteArray& words)
{
    return "tarvexctl: " + words + '\n';
}

QStringList words(const QString& line)
{
    static const QRegularExpression word(u"'([^']*)'|([^' ]+)"_s);
    QStringList words;
    for (auto match = word.globalMatch(line); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        words.append(found.captured(1) + found.captured(2));
    }
    return words;
}

ProgramRun::ProgramRun(const QStringList& arguments, Circumstances circumstances) : ChildProcess(program(), arguments)
{
    setStepBeforeProgram([circumstances] { prepare(circumstances); });
    start();
}

ProgramRun::ProgramRun(const QString& line, Circumstances circumstances) : ProgramRun(words(line), circumstances) { }

ProgramRun::ProgramRun(const QString& line, QProcess& reader) : ChildProcess(program(), words(line))
{
    setStepBeforeProgram([] { prepare(Ordinary); });
    pipeInto(reader);
    start();
}

QString ProgramRun::program()
{
    return QStringLiteral(TARVEXCTL);
}

Ending ProgramRun::ending(int patienceMs)
{
    const int exitStatus = status(patienceMs);
    return {exitStatus, out(), err()};
}

Ending ProgramRun::interrupted()
{
    sendSignal(SIGINT);
    return ending();
}
