#include "traffic/seenframe.h"

#include "wire/busframe_p.h"
#include "wire/busterms_p.h"

#include <QDateTime>

#include <array>
#include <chrono>
#include <optional>

namespace tarvex::traffic {

namespace {

const QLatin1String KEY_NUMBER("number");
const QLatin1String KEY_TIME("time");
const QLatin1String KEY_KIND("kind");
const QLatin1String KEY_PORT("port");
const QLatin1String KEY_DIRECTION("direction");
const QLatin1String KEY_CONNECTION("connection");
const QLatin1String KEY_CLIENT("client");
const QLatin1String KEY_FROM("from");
const QLatin1String KEY_TO("to");
const QLatin1String KEY_OPERATION("operation");
const QLatin1String KEY_COMMAND("command");
const QLatin1String KEY_DATA("data");
const QLatin1String KEY_DATA_LEFT_OUT("dataLeftOut");
const QLatin1String KEY_SIZE("size");
const QLatin1String KEY_CODE("code");
const QLatin1String KEY_DESCRIPTION("description");
const QLatin1String KEY_PROBLEM("problem");
const QLatin1String KEY_FAULT("fault");
const QLatin1String KEY_ANSWERS("answers");
const QLatin1String KEY_TOOK_MS("tookMs");
const QLatin1String KEY_CALL("call");
const QLatin1String KEY_CALL_MS("callMs");

constexpr qint64 US_PER_MS = 1000;
constexpr qint64 US_PER_S = 1000000;

template <typename Value>
struct Named
{
    Value value;
    const char* name;
};

constexpr std::array<Named<Kind>, 6> KINDS{{{Kind::Request, "request"},
                                            {Kind::Reply, "reply"},
                                            {Kind::Opened, "opened"},
                                            {Kind::Closed, "closed"},
                                            {Kind::Bad, "bad"},
                                            {Kind::Gap, "gap"}}};
constexpr std::array<Named<Port>, 2> PORTS{{{Port::Query, "query"}, {Port::Receiver, "receiver"}}};
constexpr std::array<Named<Direction>, 2> DIRECTIONS{{{Direction::In, "in"}, {Direction::Out, "out"}}};

template <typename Value, std::size_t size>
QString nameOf(Value value, const std::array<Named<Value>, size>& table)
{
    for (const Named<Value>& entry : table) {
        if (entry.value == value) {
            return QString::fromLatin1(entry.name);
        }
    }
    return QString();
}

/// \return false when the table does not have the name
template <typename Value, std::size_t size>
bool read(const QVariant& name, const std::array<Named<Value>, size>& table, Value& value)
{
    for (const Named<Value>& entry : table) {
        if (name.toString() == QLatin1String(entry.name)) {
            value = entry.value;
            return true;
        }
    }
    return false;
}

std::optional<qint64> readTime(const QString& text)
{
    // Qt reads milliseconds only.
    const int point = text.lastIndexOf(QLatin1Char('.'));
    if (point < 0 || !text.endsWith(QLatin1Char('Z'))) {
        return std::nullopt;
    }
    const QString fraction = text.mid(point + 1, text.size() - point - 2);
    bool isNumber = false;
    const int us = fraction.toInt(&isNumber);
    const QDateTime seconds = QDateTime::fromString(text.left(point) + QLatin1Char('Z'), Qt::ISODate);
    if (fraction.size() != 6 || !isNumber || us < 0 || !seconds.isValid()) {
        return std::nullopt;
    }
    return seconds.toSecsSinceEpoch() * US_PER_S + us;
}

void insertText(QVariantMap& map, QLatin1String key, const QString& text)
{
    if (!text.isEmpty()) {
        map.insert(key, text);
    }
}

bool isFrame(Kind kind)
{
    return kind == Kind::Request || kind == Kind::Reply;
}

} // namespace

bool SeenFrame::isError() const
{
    return code != 0 || kind == Kind::Bad || kind == Kind::Gap || !fault.isEmpty();
}

bool SeenFrame::isMessage() const
{
    return kind == Kind::Request && operation == busterms::OPERATION_SEND_MESSAGE;
}

QString SeenFrame::from() const
{
    if (kind == Kind::Request && operation == busterms::OPERATION_HANDSHAKE) {
        return data.value(busterms::KEY_NAME).toString();
    }
    if (isMessage()) {
        const QString sender = data.value(busterms::KEY_SENDER).toString();
        return sender.isEmpty() && direction == Direction::In ? client : sender;
    }
    return direction == Direction::In ? client : QString();
}

QString SeenFrame::to() const
{
    if (isMessage()) {
        return direction == Direction::In ? data.value(busterms::KEY_RECIEVER).toString() : client;
    }
    return direction == Direction::In ? QString() : client;
}

QString SeenFrame::command() const
{
    if (!isMessage()) {
        return QString();
    }
    return busterms::readCommandText(data.value(busterms::KEY_MESSAGE).toString()).name;
}

QString SeenFrame::uid() const
{
    const QString uid = data.value(busterms::KEY_UID).toString();
    return uid.isEmpty() ? data.value(busterms::KEY_ACKNOWLEDGED_UID).toString() : uid;
}

QVariantMap SeenFrame::toVariantMap() const
{
    QVariantMap map{{KEY_NUMBER, number}, {KEY_TIME, timeName(timeUs)}, {KEY_KIND, kindName(kind)}};
    if (kind != Kind::Gap || connection > 0) {
        map.insert(KEY_PORT, portName(port));
        map.insert(KEY_CONNECTION, connection);
    }
    insertText(map, KEY_CLIENT, client);
    insertText(map, KEY_PROBLEM, problem);
    insertText(map, KEY_FAULT, fault);
    if (size > 0) {
        map.insert(KEY_SIZE, size);
    }
    if (isFrame(kind) || kind == Kind::Bad) {
        map.insert(KEY_DIRECTION, directionName(direction));
    }
    if (!isFrame(kind)) {
        return map;
    }
    map.insert(KEY_OPERATION, operation);
    map.insert(isDataLeftOut ? KEY_DATA_LEFT_OUT : KEY_DATA, isDataLeftOut ? QVariant(true) : QVariant(data));
    insertText(map, KEY_FROM, from());
    insertText(map, KEY_TO, to());
    insertText(map, KEY_COMMAND, command());
    if (kind == Kind::Reply) {
        map.insert(KEY_CODE, code);
        insertText(map, KEY_DESCRIPTION, description);
    }
    if (answers > 0) {
        map.insert(KEY_ANSWERS, answers);
        map.insert(KEY_TOOK_MS, static_cast<double>(tookUs) / US_PER_MS);
    }
    if (call > 0) {
        map.insert(KEY_CALL, call);
        map.insert(KEY_CALL_MS, static_cast<double>(callUs) / US_PER_MS);
    }
    return map;
}

SeenFrame SeenFrame::fromVariantMap(const QVariantMap& map, bool& isValid)
{
    SeenFrame frame;
    const std::optional<qint64> time = readTime(map.value(KEY_TIME).toString());
    isValid = time && read(map.value(KEY_KIND), KINDS, frame.kind);
    const bool hasPort = read(map.value(KEY_PORT), PORTS, frame.port);
    isValid = isValid && (hasPort || (frame.kind == Kind::Gap && !map.contains(KEY_PORT)));
    const bool hasDirection = read(map.value(KEY_DIRECTION), DIRECTIONS, frame.direction);
    isValid = isValid && (hasDirection || !isFrame(frame.kind));
    frame.timeUs = time.value_or(0);
    frame.number = map.value(KEY_NUMBER).toLongLong();
    frame.connection = map.value(KEY_CONNECTION).toLongLong();
    frame.client = map.value(KEY_CLIENT).toString();
    frame.operation = map.value(KEY_OPERATION).toString();
    frame.data = map.value(KEY_DATA).toMap();
    frame.isDataLeftOut = map.value(KEY_DATA_LEFT_OUT).toBool();
    frame.size = map.value(KEY_SIZE).toInt();
    frame.code = static_cast<quint16>(map.value(KEY_CODE).toUInt());
    frame.description = map.value(KEY_DESCRIPTION).toString();
    frame.problem = map.value(KEY_PROBLEM).toString();
    frame.fault = map.value(KEY_FAULT).toString();
    frame.answers = map.value(KEY_ANSWERS).toLongLong();
    if (frame.answers > 0) {
        frame.tookUs = qRound64(map.value(KEY_TOOK_MS).toDouble() * US_PER_MS);
    }
    frame.call = map.value(KEY_CALL).toLongLong();
    if (frame.call > 0) {
        frame.callUs = qRound64(map.value(KEY_CALL_MS).toDouble() * US_PER_MS);
    }
    return frame;
}

QString kindName(Kind kind)
{
    return nameOf(kind, KINDS);
}

QString portName(Port port)
{
    return nameOf(port, PORTS);
}

QString directionName(Direction direction)
{
    return nameOf(direction, DIRECTIONS);
}

QString timeName(qint64 timeUs)
{
    const QDateTime seconds = QDateTime::fromSecsSinceEpoch(timeUs / US_PER_S, Qt::UTC);
    return QStringLiteral("%1.%2Z").arg(seconds.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")),
                                        QString::number(timeUs % US_PER_S).rightJustified(6, QLatin1Char('0')));
}

qint64 currentTimeUs()
{
    using std::chrono::duration_cast;
    return duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void decodePayload(const QByteArray& payload, SeenFrame& frame)
{
    const busframe::Decoded decoded = busframe::decodePayload(payload);
    if (decoded.envelope.isEmpty()) {
        frame.kind = Kind::Bad;
        frame.problem = decoded.isValid ? QStringLiteral("%1 bytes of payload that hold no object").arg(payload.size())
                                        : QStringLiteral("%1 bytes of payload that hold no envelope: %2")
                                              .arg(QString::number(payload.size()), decoded.errorText);
        return;
    }
    readEnvelope(decoded.envelope, frame);
}

void readEnvelope(const QVariantMap& envelope, SeenFrame& frame)
{
    frame.operation = envelope.value(busframe::KEY_OPERATION).toString();
    frame.data = envelope.value(busframe::KEY_DATA).toMap();
    if (frame.kind == Kind::Reply) {
        const QVariantMap result = envelope.value(busframe::KEY_RESULT).toMap();
        frame.code = busframe::resultCode(result);
        frame.description = result.value(busframe::KEY_DESCRIPTION).toString();
    }
}

} // namespace tarvex::traffic
