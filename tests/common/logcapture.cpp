#include "logcapture.h"

#include "literals.h"

#include <QMessageLogContext>

#include <mutex>

namespace {

std::mutex linesMutex;

QList<LogCapture::Line>& capturedLines()
{
    static QList<LogCapture::Line> lines;
    return lines;
}

void capture(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const std::lock_guard<std::mutex> lock(linesMutex);
    capturedLines().append({type, QString::fromUtf8(context.category), text});
}

QString levelName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return u"debug"_s;
    case QtInfoMsg:
        return u"info"_s;
    case QtWarningMsg:
        return u"warning"_s;
    case QtCriticalMsg:
        return u"critical"_s;
    case QtFatalMsg:
        return u"fatal"_s;
    }
    return QString();
}

} // namespace

LogCapture::LogCapture()
{
    clear();
    m_previous = qInstallMessageHandler(capture);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
}

QList<LogCapture::Line> LogCapture::lines() const
{
    const std::lock_guard<std::mutex> lock(linesMutex);
    return capturedLines();
}

QStringList LogCapture::texts() const
{
    QStringList texts;
    const QList<Line> captured = lines();
    for (const Line& line : captured) {
        texts.append(levelName(line.type) + QLatin1String(": ") + line.text);
    }
    return texts;
}

void LogCapture::clear()
{
    const std::lock_guard<std::mutex> lock(linesMutex);
    capturedLines().clear();
}
