#include "programrun.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>

namespace {

constexpr int PATIENCE_MS = 20000;
constexpr int LOOK_INTERVAL_MS = 50;

} // namespace

ProgramRun::ProgramRun(const QStringList& arguments)
{
    start(arguments);
}

ProgramRun::ProgramRun(const QStringList& arguments, QProcess& reader)
{
    m_process.setStandardOutputProcess(&reader);
    start(arguments);
}

void ProgramRun::start(const QStringList& arguments)
{
    // Background jobs of a shell have it ignored, and hand that down.
    std::signal(SIGINT, SIG_DFL);
    m_process.start(program(), arguments, QIODevice::ReadOnly);
    m_process.waitForStarted();
}

ProgramRun::~ProgramRun()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

QString ProgramRun::program()
{
    return QStringLiteral(TARVEXCTL);
}

int ProgramRun::status(int patienceMs)
{
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(patienceMs)) {
        return -1;
    }
    readOutput();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

bool ProgramRun::waitForLines(int count)
{
    return waitFor([this, count] { return m_out.count('\n') >= count; });
}

bool ProgramRun::waitForWords(const QByteArray& words, int count)
{
    return waitFor([this, words, count] { return m_err.count(words) >= count; });
}

void ProgramRun::sendSignal(int signal)
{
    ::kill(static_cast<pid_t>(m_process.processId()), signal);
}

bool ProgramRun::waitFor(const std::function<bool()>& condition)
{
    const QDeadlineTimer deadline(PATIENCE_MS);
    while (!condition() && !deadline.hasExpired()) {
        m_process.waitForReadyRead(LOOK_INTERVAL_MS);
        readOutput();
    }
    return condition();
}

void ProgramRun::readOutput()
{
    m_out += m_process.readAllStandardOutput();
    m_err += m_process.readAllStandardError();
}

QList<QVariantMap> ProgramRun::objects() const
{
    QList<QVariantMap> objects;
    const QList<QByteArray> lines = m_out.split('\n');
    // What follows the last line end is the empty rest.
    for (int line = 0; line < lines.size() - 1; ++line) {
        const QJsonDocument document = QJsonDocument::fromJson(lines.at(line));
        if (!document.isObject()) {
            return {};
        }
        objects.append(document.object().toVariantMap());
    }
    return lines.last().isEmpty() ? objects : QList<QVariantMap>();
}
