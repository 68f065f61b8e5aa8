#ifndef LOGGERMANAGER_H
#define LOGGERMANAGER_H

#include "wexcorcore_export.h"

#include <QString>
#include <QtGlobal>

#include <functional>

class QMessageLogContext;

/// Routes the process's Qt log lines to outputs, by logging category.
///
/// The manager installs itself as Qt's message handler with the first output. It passes every line on to the handler
/// that was installed before it, so the console output stays. It installs itself once. A handler that is installed
/// later must pass the lines on in the same way, or the outputs get no more lines. When the process ends or the library
/// is unloaded, the earlier handler takes its place again, unless a later one is installed by then. A line goes to the
/// output of its category. An output for the empty category gets the lines of every category that has none of its own.
///
/// <!-- quote: docs/snippets/reference/loglines.cpp#output -->
/// \code
/// void show(QtMsgType type, const QMessageLogContext& context, const QString& text)
/// {
///     Q_UNUSED(type)
///     QString line = text;
///     line.replace(QLatin1Char('\t'), QLatin1String("<TAB>")).replace(QLatin1Char('\n'), QLatin1Char('|'));
///     QTextStream(stdout) << context.category << ": " << line << '\n';
/// }
///
/// void routeLines()
/// {
///     LoggerManager::setOutputs(QStringLiteral("tarvexLogger"), show);
/// }
/// \endcode
///
/// All operations are thread-safe. An output is called in the thread that logs, after the earlier handler. No lock is
/// held then, so a call that has begun in another thread may outlast removeOutput(). What an output logs itself reaches
/// neither the earlier handler nor any output: Qt writes the lines that are logged inside a message handler to the
/// standard error output, and calls no handler for them.
class WEXCORCORE_EXPORT LoggerManager
{
public:
    /// What is called with each line: its type, its context (the category among others) and its text. The context is
    /// valid during the call only.
    using Output = std::function<void(QtMsgType, const QMessageLogContext&, const QString&)>;

    LoggerManager() = delete;

    /// From now on lines of \a category are passed to \a handler. A second call for a category replaces its output. An
    /// empty \a handler removes it.
    static void setOutputs(const QString& category, Output handler);

    /// Undoes setOutputs() for \a category. The category may have no output.
    static void removeOutput(const QString& category);
};

#endif // LOGGERMANAGER_H
