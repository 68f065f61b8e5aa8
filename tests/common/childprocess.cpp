#include "childprocess.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>

#include <algorithm>
#include <csignal>

namespace {

constexpr int LOOK_INTERVAL_MS = 50;

QStringList wholeLines(const QByteArray& output)
{
    QStringList lines = QString::fromUtf8(output).split(QLatin1Char('\n'));
    lines.removeLast(); // the part that has no line end yet
    return lines;
}

/// The environment that the process gets. It is copied from this process as late as possible, because a test may set a
/// variable before the start.
QProcessEnvironment environmentOf(const QProcess& process)
{
    const QProcessEnvironment own = process.processEnvironment();
    return own.isEmpty() ? QProcessEnvironment::systemEnvironment() : own;
}

} // namespace

void ChildProcess::Process::setupChildProcess()
{
    if (stepBeforeProgram) {
        stepBeforeProgram();
    }
}

ChildProcess::ChildProcess(const QString& program, const QStringList& arguments)
    : m_program(program), m_arguments(arguments)
{
}

ChildProcess::~ChildProcess()
{
    killHard();
}

void ChildProcess::setVariable(const QString& name, const QString& value)
{
    QProcessEnvironment environment = environmentOf(m_process);
    environment.insert(name, value);
    m_process.setProcessEnvironment(environment);
}

void ChildProcess::removeVariable(const QString& name)
{
    QProcessEnvironment environment = environmentOf(m_process);
    environment.remove(name);
    m_process.setProcessEnvironment(environment);
}

void ChildProcess::pipeInto(QProcess& reader)
{
    m_process.setStandardOutputProcess(&reader);
}

void ChildProcess::setStepBeforeProgram(const std::function<void()>& step)
{
    m_process.stepBeforeProgram = step;
}

bool ChildProcess::start()
{
    m_process.start(m_program, m_arguments);
    return m_process.waitForStarted(PATIENCE_MS);
}

bool ChildProcess::waitFor(const std::function<bool()>& condition, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    readOutput();
    while (!condition() && !deadline.hasExpired() && isRunning()) {
        m_process.waitForReadyRead(LOOK_INTERVAL_MS);
        readOutput();
    }
    return condition();
}

bool ChildProcess::waitForLine(const QString& beginning, int timeoutMs)
{
    const auto hasLine = [this, beginning] {
        const QStringList seen = wholeLines(m_output);
        return std::any_of(seen.begin(), seen.end(), [&](const QString& line) { return line.startsWith(beginning); });
    };
    return waitFor(hasLine, timeoutMs);
}

bool ChildProcess::waitForLines(int count)
{
    return waitFor([this, count] { return m_output.count('\n') >= count; });
}

bool ChildProcess::waitForWords(const QByteArray& words, int count)
{
    return waitFor([this, words, count] { return m_errorOutput.count(words) >= count; });
}

bool ChildProcess::waitForMore(int timeoutMs)
{
    return m_process.waitForReadyRead(timeoutMs);
}

QByteArray ChildProcess::out()
{
    readOutput();
    return m_output;
}

QByteArray ChildProcess::err()
{
    readOutput();
    return m_errorOutput;
}

QStringList ChildProcess::lines()
{
    return wholeLines(out());
}

QStringList ChildProcess::errorLines()
{
    return wholeLines(err());
}

QStringList ChildProcess::takeNewLines()
{
    readOutput();
    const int end = m_output.lastIndexOf('\n') + 1;
    const QByteArray taken = m_output.mid(m_taken, end - m_taken);
    m_taken = end;
    return wholeLines(taken);
}

QList<QVariantMap> ChildProcess::objects()
{
    QList<QVariantMap> objects;
    const QList<QByteArray> lines = out().split('\n');
    // The last element is the empty rest after the last line end.
    for (int line = 0; line < lines.size() - 1; ++line) {
        const QJsonDocument document = QJsonDocument::fromJson(lines.at(line));
        if (!document.isObject()) {
            return {};
        }
        objects.append(document.object().toVariantMap());
    }
    return lines.last().isEmpty() ? objects : QList<QVariantMap>();
}

int ChildProcess::status(int patienceMs)
{
    if (isRunning() && !m_process.waitForFinished(patienceMs)) {
        return -1;
    }
    readOutput();
    const bool hasExited =
        m_process.error() != QProcess::FailedToStart && m_process.exitStatus() == QProcess::NormalExit;
    return hasExited ? m_process.exitCode() : -1;
}

int ChildProcess::terminate()
{
    m_process.terminate();
    return status();
}

bool ChildProcess::killHard()
{
    const bool wasAlive = m_process.state() == QProcess::Running;
    if (isRunning()) {
        m_process.kill();
        m_process.waitForFinished(PATIENCE_MS);
    }
    readOutput();
    return wasAlive;
}

void ChildProcess::sendSignal(int signal)
{
    ::kill(static_cast<pid_t>(m_process.processId()), signal);
}

void ChildProcess::hang()
{
    sendSignal(SIGSTOP);
}

void ChildProcess::resume()
{
    sendSignal(SIGCONT);
}

// read() returns only what Qt has taken out of the pipe, and Qt does this in its event loop. Under load that is far
// less than the process has written. So each round first lets Qt take in what is there.
void ChildProcess::readOutput()
{
    constexpr int MAX_ROUNDS = 1000; // the next call goes on with a process that never stops writing
    for (int round = 0; round < MAX_ROUNDS && m_process.waitForReadyRead(0); ++round) { }
    m_output += m_process.readAllStandardOutput();
    m_errorOutput += m_process.readAllStandardError();
}
