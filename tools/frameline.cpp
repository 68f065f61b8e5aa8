#include "frameline.h"

#include "cellwidth.h"
#include "framefilter.h"
#include "output.h"
#include "programwords.h"
#include "traffic/operations.h"
#include "traffic/seenframe.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/ioctl.h>
#include <unistd.h>

namespace tarvexctl {

using tarvex::traffic::Direction;
using tarvex::traffic::Kind;
using tarvex::traffic::Port;
using tarvex::traffic::SeenFrame;

namespace {

constexpr int US_PER_MS = 1000;
/// Routes are aligned up to here, in cells.
constexpr int MAX_ROUTE_WIDTH = 40;
/// What is left for the rest of a line at least.
constexpr int MIN_WORDS_WIDTH = 20;
const QLatin1String GAP("  ");
const QLatin1String INDENT("    ");
const QLatin1String UNKNOWN("?");
const QLatin1String SUBSCRIBERS("*");
constexpr QChar CUT(0x2026); // an ellipsis

QDateTime localTime(const SeenFrame& frame)
{
    return QDateTime::fromMSecsSinceEpoch(frame.timeUs / US_PER_MS);
}

QString tookText(qint64 us)
{
    const double ms = static_cast<double>(us) / US_PER_MS;
    return Words::tr("%1 ms").arg(ms, 0, 'f', ms < 100 ? 1 : 0);
}

/// "printer -> gui". A client that has not introduced itself is "?". "*" are the subscribers of a sender.
QString route(const SeenFrame& frame)
{
    const QString bus = FrameFilter::busName();
    const QString from = frame.from();
    const QString to = frame.to();
    const QString fromShown = from.isEmpty() ? (frame.direction == Direction::In ? QString(UNKNOWN) : bus) : from;
    QString toShown = to;
    if (to.isEmpty()) {
        toShown = frame.isMessage() ? QString(SUBSCRIBERS) : frame.direction == Direction::Out ? QString(UNKNOWN) : bus;
    }
    return visible(QStringLiteral("%1 -> %2").arg(fromShown, toShown));
}

/// Cuts a text of one line to \a width cells.
QString cutTo(const QString& text, int width)
{
    if (text.size() <= width && cellWidth(text) <= width) {
        return text;
    }
    QString cut = text.left(qMax(width - 1, 0));
    while (!cut.isEmpty() && (cellWidth(cut) > width - 1 || cut.at(cut.size() - 1).isHighSurrogate())) {
        cut.chop(1);
    }
    return cut + CUT;
}

/// "cashbox:3" for each, or names alone.
QString publishersText(const QVariantList& publishers)
{
    QStringList texts;
    for (const QVariant& publisher : publishers) {
        const QVariantMap map = publisher.toMap();
        texts.append(map.isEmpty() ? publisher.toString()
                                   : QStringLiteral("%1:%2").arg(map.value(QStringLiteral("name")).toString(),
                                                                 map.value(QStringLiteral("goal")).toString()));
    }
    return texts.join(QLatin1String(", "));
}

/// "owner, 3 values"
QString settingsText(const QVariantMap& data)
{
    return QStringLiteral("%1, %2").arg(data.value(QStringLiteral("owner")).toString(),
                                        Words::counted(data.value(QStringLiteral("settings")).toList().size(),
                                                       Words::tr("1 value"), Words::markCount("%n values")));
}

/// The JSON object in a text, or the text itself.
QVariant objectOrText(const QString& text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    return document.isObject() ? QVariant(document.object().toVariantMap()) : QVariant(text);
}

/// What a message says: the data of its command, or its text.
QString messageText(const SeenFrame& frame)
{
    const QString text = frame.data.value(QStringLiteral("message")).toString();
    if (frame.command().isEmpty()) {
        return jsonText(text);
    }
    const QVariant data = objectOrText(text).toMap().value(QStringLiteral("data"));
    return data.toMap().isEmpty() ? QString() : jsonText(data);
}

/// What matters of the data, on one line. May hold control characters.
QString keyData(const SeenFrame& frame)
{
    if (frame.isDataLeftOut) {
        return Words::tr("(%1 bytes: too large or too deeply nested to be shown)").arg(frame.size);
    }
    if (frame.isMessage()) {
        return messageText(frame);
    }
    if (frame.kind == Kind::Reply && frame.port == Port::Receiver) {
        return QString(); // the push says what it acknowledges
    }
    const QVariantMap& data = frame.data;
    for (const char* const key : {"name", "owners"}) {
        if (data.size() == 1 && data.contains(QLatin1String(key))) {
            return data.value(QLatin1String(key)).toString();
        }
    }
    if (data.contains(QStringLiteral("settings"))) {
        return settingsText(data);
    }
    if (data.contains(QStringLiteral("state"))) {
        return QStringLiteral("%1: %2").arg(data.value(QStringLiteral("owner")).toString(),
                                            data.value(QStringLiteral("state")).toString());
    }
    if (data.size() == 1 && data.contains(QStringLiteral("publishers"))) {
        return publishersText(data.value(QStringLiteral("publishers")).toList());
    }
    if (data.size() == 1 && data.contains(QStringLiteral("owner"))) {
        return data.value(QStringLiteral("owner")).toString();
    }
    return data.isEmpty() ? QString() : jsonText(data);
}

/// All of the data, a value a line. Texts that hold JSON objects are shown as objects.
QString fullData(const SeenFrame& frame)
{
    if (frame.isDataLeftOut || frame.data.isEmpty()) {
        return frame.isDataLeftOut ? INDENT + keyData(frame) + QLatin1Char('\n') : QString();
    }
    QVariantMap data = frame.data;
    for (const char* const key : {"message", "state"}) {
        if (data.contains(QLatin1String(key))) {
            data[QLatin1String(key)] = objectOrText(data.value(QLatin1String(key)).toString());
        }
    }
    QString shown;
    const QByteArray json = QJsonDocument(QJsonObject::fromVariantMap(data)).toJson(QJsonDocument::Indented);
    const QStringList lines = QString::fromUtf8(json).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        shown += INDENT + visible(line) + QLatin1Char('\n');
    }
    return shown;
}

/// " (answer to #54 after 1802 ms)"
QString callWords(const SeenFrame& frame)
{
    return frame.call > 0
        ? Words::tr(" (answer to #%1 after %2)").arg(QString::number(frame.call), tookText(frame.callUs))
        : QString();
}

/// "send print", "push print", or the operation.
QString requestWords(const QString& operation, const QString& command, Port port)
{
    if (!tarvex::traffic::isSendMessage(operation)) {
        return operation;
    }
    const QString verb = port == Port::Receiver ? QStringLiteral("push") : QStringLiteral("send");
    return command.isEmpty() ? verb : QStringLiteral("%1 %2").arg(verb, command);
}

QString eventWords(const SeenFrame& frame)
{
    switch (frame.kind) {
    case Kind::Opened:
        return Words::tr("connection %1 opened (%2)").arg(QString::number(frame.connection), portName(frame.port));
    case Kind::Closed:
        return Words::tr("connection %1 closed (%2)").arg(QString::number(frame.connection), portName(frame.port));
    case Kind::Bad:
        return Words::tr("bad: %1 (connection %2, %3)")
            .arg(frame.problem, QString::number(frame.connection), portName(frame.port));
    default:
        return Words::tr("gap: %1").arg(frame.problem);
    }
}

bool isFrame(const SeenFrame& frame)
{
    return frame.kind == Kind::Request || frame.kind == Kind::Reply;
}

std::optional<Colour> colourOf(const SeenFrame& frame)
{
    if (frame.kind == Kind::Opened || frame.kind == Kind::Closed) {
        return Colour::Faint;
    }
    if (frame.code != 0 || frame.kind == Kind::Bad || frame.command() == tarvex::traffic::commands::error()) {
        return Colour::Red;
    }
    if (frame.kind == Kind::Gap) {
        return Colour::Yellow;
    }
    return frame.kind == Kind::Reply ? std::optional<Colour>(Colour::Green) : std::nullopt;
}

} // namespace

int terminalWidth()
{
    winsize size = {};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

FrameLines::FrameLines(const Palette& palette, Detail detail, int width)
    : m_palette(palette), m_detail(detail), m_width(width > 0 ? qMax(width, MIN_WIDTH) : DEFAULT_WIDTH)
{
}

void FrameLines::note(const SeenFrame& frame)
{
    m_areNoted = true;
    m_requests.take(frame);
}

QString FrameLines::text(const SeenFrame& frame)
{
    if (!m_areNoted) {
        m_requests.take(frame);
    }
    const QString date = dateLine(frame);
    const QString start = head(frame);
    const bool isShort = frame.problem.isEmpty(); // the end of a problem says what is wrong
    QString words = visible(isShort ? what(frame).left(m_width) : what(frame));
    const QString data = m_detail == OneLine && isFrame(frame) ? visible(keyData(frame).left(m_width)) : QString();
    const QString fault = frame.fault.isEmpty() ? QString() : Words::tr(" [fault: %1]").arg(visible(frame.fault));
    const int room = qMax(m_width - cellWidth(start) - cellWidth(fault), MIN_WIDTH / 3);
    if (isShort) {
        words = cutTo(words, room);
    }
    const int rest = room - cellWidth(words) - 1;
    const QString shownData = data.isEmpty() || rest < 2 ? QString() : QLatin1Char(' ') + cutTo(data, rest);
    const std::optional<Colour> colour = colourOf(frame);
    return date + start + (colour ? m_palette.paint(*colour, words) : words) + shownData
        + m_palette.paint(Colour::Magenta, fault) + QLatin1Char('\n')
        + (m_detail == Full && isFrame(frame) ? fullData(frame) : QString());
}

QString FrameLines::dateLine(const SeenFrame& frame)
{
    const QDate date = localTime(frame).date();
    if (date == m_date) {
        return QString();
    }
    m_date = date;
    return date.toString(Qt::ISODate) + QLatin1Char('\n');
}

QString FrameLines::head(const SeenFrame& frame)
{
    QString line = localTime(frame).time().toString(QStringLiteral("hh:mm:ss.zzz")) + GAP
        + QStringLiteral("#%1").arg(frame.number).rightJustified(5) + GAP;
    if (frame.kind == Kind::Gap) {
        return line;
    }
    const int room = qMin(MAX_ROUTE_WIDTH, m_width - cellWidth(line) - GAP.size() - MIN_WORDS_WIDTH);
    if (!isFrame(frame)) {
        return line + (frame.client.isEmpty() ? QString() : cutTo(visible(frame.client), room) + GAP);
    }
    const QString shown = cutTo(route(frame), room);
    const int width = cellWidth(shown);
    m_routeWidth = qMax(m_routeWidth, width);
    return line + shown + QString(qMax(0, qMin(m_routeWidth, room) - width), QLatin1Char(' ')) + GAP;
}

QString FrameLines::what(const SeenFrame& frame) const
{
    if (!isFrame(frame)) {
        return eventWords(frame);
    }
    return frame.kind == Kind::Reply ? replyWords(frame)
                                     : requestWords(frame.operation, frame.command(), frame.port) + callWords(frame);
}

/// "<- #12 0.8 ms ok loadState"
QString FrameLines::replyWords(const SeenFrame& frame) const
{
    const RequestMemory::Request* const request = m_requests.requestOf(frame);
    const QString asked = requestWords(frame.operation, request != nullptr ? request->command : QString(), frame.port);
    const QString answer = frame.answers > 0
        ? QStringLiteral("<- #%1 %2").arg(QString::number(frame.answers), tookText(frame.tookUs))
        : QStringLiteral("<- ?");
    if (frame.code != 0) {
        return Words::tr("%1 error %2 %3: %4").arg(answer, QString::number(frame.code), frame.description, asked);
    }
    const QString ok = frame.direction == Direction::In ? QStringLiteral("ack") : QStringLiteral("ok");
    return QStringLiteral("%1 %2 %3").arg(answer, ok, asked);
}

} // namespace tarvexctl
