#include "logline.h"

#include "output.h"
#include "traffic/operations.h"
#include "traffic/seenframe.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace tarvexctl {

using tarvex::traffic::Direction;
using tarvex::traffic::SeenFrame;

namespace {

constexpr int US_PER_MS = 1000;
const QLatin1String CONTINUATION("                ");

Colour colourOf(LogLevel level)
{
    switch (level) {
    case LogLevel::Info:
        return Colour::Green;
    case LogLevel::Warning:
        return Colour::Yellow;
    case LogLevel::Error:
        break;
    }
    return Colour::Red;
}

} // namespace

std::optional<LogLevel> logLevelFrom(const QString& word)
{
    const QString name = word.toUpper();
    if (name == QLatin1String("INFO")) {
        return LogLevel::Info;
    }
    if (name == QLatin1String("WARNING")) {
        return LogLevel::Warning;
    }
    if (name == QLatin1String("ERROR")) {
        return LogLevel::Error;
    }
    return std::nullopt;
}

std::optional<LogLine> LogLine::fromCommand(const QString& command, const QVariantMap& data)
{
    if (command != tarvex::traffic::commands::saveLog() && command != tarvex::traffic::commands::showLogMessage()) {
        return std::nullopt;
    }
    LogLine line;
    line.prefix = data.value(QStringLiteral("prefix")).toString();
    line.text = data.value(QStringLiteral("text")).toString();
    return line;
}

std::optional<LogLine> LogLine::fromFrame(const SeenFrame& frame)
{
    if (!frame.isMessage() || frame.direction != Direction::In) {
        return std::nullopt; // a pushed one was seen on its way to the bus already
    }
    const QByteArray text = frame.data.value(QStringLiteral("message")).toString().toUtf8();
    const QVariantMap data =
        QJsonDocument::fromJson(text).object().value(QLatin1String("data")).toObject().toVariantMap();
    std::optional<LogLine> line = fromCommand(frame.command(), data);
    if (line) {
        line->time = QDateTime::fromMSecsSinceEpoch(frame.timeUs / US_PER_MS);
        // The sender in the message is what the client claims.
        line->client = frame.client.isEmpty() ? frame.from() : frame.client;
    }
    return line;
}

bool LogLine::isAtLeast(LogLevel level) const
{
    return logLevelFrom(prefix).value_or(LogLevel::Error) >= level;
}

QVariantMap LogLine::toVariantMap() const
{
    return {{QStringLiteral("time"), timeText(time)},
            {QStringLiteral("client"), client},
            {QStringLiteral("level"), prefix},
            {QStringLiteral("text"), text}};
}

QString LogLine::shown(const Palette& palette) const
{
    const QString level = cellText(prefix);
    const QString padding(qMax(0, 7 - level.size()), QLatin1Char(' '));
    QStringList parts = text.split(QLatin1Char('\t'));
    for (QString& part : parts) {
        part = visible(part.trimmed());
    }
    const LogLevel colourLevel = logLevelFrom(prefix).value_or(LogLevel::Error);
    return QStringLiteral("%1  %2%3  %4  ")
               .arg(timeText(time), palette.paint(colourOf(colourLevel), level), padding, cellText(client))
        + parts.join(QLatin1Char('\n') + CONTINUATION) + QLatin1Char('\n');
}

} // namespace tarvexctl
