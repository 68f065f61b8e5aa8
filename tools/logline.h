#ifndef LOGLINE_H
#define LOGLINE_H

#include "colours.h"

#include <QDateTime>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace tarvex::traffic {
struct SeenFrame;
}

namespace tarvexctl {

/// The levels of the bus, from the lowest.
enum class LogLevel {
    Info,
    Warning,
    Error
};

/// The level of a word as it is on the bus or on the command line: "INFO", "warning".
std::optional<LogLevel> logLevelFrom(const QString& word);

/// A line that a service has logged.
struct LogLine
{
    QDateTime time;
    QString client;
    QString prefix; ///< The level as the service has sent it.
    QString text;

    /// The line that a command carries; nothing when \a command is none of the two for log lines.
    static std::optional<LogLine> fromCommand(const QString& command, const QVariantMap& data);

    /// The line in a message that is on its way to the bus; nothing when it has none.
    static std::optional<LogLine> fromFrame(const tarvex::traffic::SeenFrame& frame);

    /// Whether it is of this level or a higher one. A prefix that is no level counts as the highest, so that nothing is
    /// hidden.
    bool isAtLeast(LogLevel level) const;

    QVariantMap toVariantMap() const;

    /// For people. The library has made tabs of line breaks; what comes after each stands on a line of its own.
    QString shown(const Palette& palette) const;
};

} // namespace tarvexctl

#endif // LOGLINE_H
