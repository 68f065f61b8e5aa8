#include "programrun.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>

ProgramRun::ProgramRun(const QStringList& arguments)
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
    m_out += m_process.readAllStandardOutput();
    m_err += m_process.readAllStandardError();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
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
