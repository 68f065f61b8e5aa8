#include "childprocess.h"

#include <QElapsedTimer>

#include <csignal>

namespace {

QStringList wholeLines(const QByteArray& output)
{
    QStringList lines = QString::fromUtf8(output).split(QLatin1Char('\n'));
    lines.removeLast(); // what has no line end yet
    return lines;
}

} // namespace

ChildProcess::ChildProcess(const QString& program, const QStringList& arguments)
    : m_program(program), m_arguments(arguments)
{
}

ChildProcess::~ChildProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

void ChildProcess::start()
{
    m_process.start(m_program, m_arguments);
    m_process.waitForStarted();
}

bool ChildProcess::waitForLine(const QString& beginning, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < timeoutMs) {
        const QStringList seen = lines();
        for (const QString& line : seen) {
            if (line.startsWith(beginning)) {
                return true;
            }
        }
        m_process.waitForReadyRead(50);
    }
    return false;
}

QStringList ChildProcess::lines()
{
    readOutput();
    return wholeLines(m_output);
}

QStringList ChildProcess::takeNewLines()
{
    readOutput();
    const int end = m_output.lastIndexOf('\n') + 1;
    const QByteArray taken = m_output.mid(m_taken, end - m_taken);
    m_taken = end;
    return wholeLines(taken);
}

QStringList ChildProcess::errorLines()
{
    readOutput();
    return wholeLines(m_errorOutput);
}

bool ChildProcess::killHard()
{
    const bool wasAlive = m_process.state() == QProcess::Running;
    m_process.kill();
    m_process.waitForFinished();
    readOutput();
    return wasAlive;
}

void ChildProcess::hang()
{
    ::kill(static_cast<pid_t>(m_process.processId()), SIGSTOP);
}

void ChildProcess::resume()
{
    ::kill(static_cast<pid_t>(m_process.processId()), SIGCONT);
}

int ChildProcess::terminate()
{
    m_process.terminate();
    const bool ended = m_process.waitForFinished();
    readOutput();
    return ended && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

// Reading alone returns what Qt has taken out of the pipe by then, which its event loop does. Under load that is far
// less than the process has written.
void ChildProcess::readOutput()
{
    constexpr int MAX_ROUNDS = 1000; // a process that never stops writing is read again with the next call
    for (int round = 0; round < MAX_ROUNDS && m_process.waitForReadyRead(0); ++round) { }
    m_output += m_process.readAllStandardOutput();
    m_errorOutput += m_process.readAllStandardError();
}
