#include "liblog.h"

#include <QLoggingCategory>

#include <cstring>

namespace tarvexctl {

namespace {

const QLatin1String FAILED_WAIT("Socket wait for ready read error");
/// What the receiver says of a reply that it could not use, a refusal among them.
const QLatin1String UNUSED_REPLY("Incorrect reply data");
const QLatin1String SOCKET_ERROR("QAbstractSocket::");
const QLatin1String SOCKET_TIME_OUT("QAbstractSocket::SocketTimeoutError");
/// A refusal's fields: code, description, operation, data, result.
constexpr int REFUSAL_FIELDS = 5;

// A message handler has no place for data of its own.
QtMessageHandler previousHandler = nullptr;
QtMessageHandler handlerBeforeSilence = nullptr;

QStringList& capturedLines()
{
    static QStringList lines;
    return lines;
}

/// The library logs in the default category.
bool isOfLibrary(QtMsgType type, const QMessageLogContext& context)
{
    return type != QtFatalMsg && (context.category == nullptr || std::strcmp(context.category, "default") == 0);
}

void capture(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (isOfLibrary(type, context)) {
        capturedLines().append(text);
    } else if (previousHandler != nullptr) {
        previousHandler(type, context, text);
    }
}

void drop(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (!isOfLibrary(type, context) && handlerBeforeSilence != nullptr) {
        handlerBeforeSilence(type, context, text);
    }
}

std::optional<LibLog::Refusal> refusalIn(const QString& line)
{
    const QStringList fields = line.split(QLatin1Char('\t'));
    if (fields.size() < REFUSAL_FIELDS) {
        return std::nullopt;
    }
    bool isNumber = false;
    const quint16 code = fields.first().trimmed().toUShort(&isNumber);
    if (!isNumber) {
        return std::nullopt;
    }
    // A tab in the server's text makes more fields. The last two are compact JSON, which never holds one.
    const QStringList description = fields.mid(1, fields.size() - REFUSAL_FIELDS + 1);
    return LibLog::Refusal{code, description.join(QLatin1Char('\t')).trimmed()};
}

} // namespace

LibLog::LibLog()
{
    // The user's logging rules may have switched off the lines that the library says its reasons in.
    QLoggingCategory* const category = QLoggingCategory::defaultCategory();
    category->setEnabled(QtWarningMsg, true);
    category->setEnabled(QtCriticalMsg, true);
    capturedLines().clear();
    m_previous = qInstallMessageHandler(capture);
    m_formerPrevious = previousHandler;
    previousHandler = m_previous;
}

LibLog::~LibLog()
{
    qInstallMessageHandler(m_previous);
    previousHandler = m_formerPrevious;
}

QStringList LibLog::lines() const
{
    return capturedLines();
}

std::optional<LibLog::Refusal> LibLog::refusal() const
{
    for (const QString& line : qAsConst(capturedLines())) {
        if (auto found = refusalIn(line)) {
            return found;
        }
    }
    return std::nullopt;
}

bool LibLog::hasFailedWait() const
{
    return capturedLines().contains(FAILED_WAIT);
}

QString LibLog::complaint() const
{
    for (const QString& line : qAsConst(capturedLines())) {
        if (!line.startsWith(SOCKET_ERROR)) {
            return line;
        }
    }
    return QString();
}

QString LibLog::strangeLine() const
{
    for (const QString& line : qAsConst(capturedLines())) {
        if (!line.startsWith(SOCKET_ERROR) && line != UNUSED_REPLY) {
            return line;
        }
    }
    return QString();
}

QString LibLog::socketErrorText() const
{
    for (auto line = capturedLines().crbegin(); line != capturedLines().crend(); ++line) {
        if (line->startsWith(SOCKET_ERROR)) {
            return line->section(QLatin1Char(' '), 1);
        }
    }
    return QString();
}

bool LibLog::hasTimeOut() const
{
    for (const QString& line : qAsConst(capturedLines())) {
        if (line.startsWith(SOCKET_TIME_OUT)) {
            return true;
        }
    }
    return false;
}

LibSilence::LibSilence() : m_previous(qInstallMessageHandler(drop))
{
    handlerBeforeSilence = m_previous;
}

LibSilence::~LibSilence()
{
    qInstallMessageHandler(m_previous);
}

} // namespace tarvexctl
