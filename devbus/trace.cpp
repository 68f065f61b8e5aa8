#include "trace.h"

#include "printable.h"
#include "wire/busframe_p.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTime>

namespace tarvex::devbus::trace {

namespace {

QString origin(const QString& port, const QString& client)
{
    return port + QLatin1Char('/')
        + (client.isEmpty() ? QStringLiteral("-") : printable(client, MAX_SHOWN_NAME_LENGTH));
}

QString now()
{
    return QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz"));
}

QString dataText(const QVariantMap& envelope)
{
    const QJsonObject data = QJsonObject::fromVariantMap(envelope.value(busframe::KEY_DATA).toMap());
    return QString::fromUtf8(QJsonDocument(data).toJson(QJsonDocument::Compact));
}

} // namespace

QString frameLine(Direction direction, const QString& port, const QString& client, bool isReply,
                  const QVariantMap& envelope)
{
    QStringList parts;
    parts << now() << (direction == Direction::In ? QStringLiteral("in ") : QStringLiteral("out"));
    parts << origin(port, client) << (isReply ? QStringLiteral("REPLY") : QStringLiteral("REQUEST"));
    parts << printable(envelope.value(busframe::KEY_OPERATION).toString(), MAX_SHOWN_NAME_LENGTH);
    parts << printable(dataText(envelope), MAX_DATA_LENGTH);
    if (isReply) {
        const QVariantMap result = envelope.value(busframe::KEY_RESULT).toMap();
        parts << QString::number(busframe::resultCode(result));
    }
    return parts.join(QLatin1Char(' '));
}

QString sentLine(const traffic::SeenFrame& frame)
{
    const QString port = traffic::portName(frame.port);
    QString line;
    if (frame.kind == traffic::Kind::Gap) {
        const QStringList parts{now(), QStringLiteral("out"), origin(port, frame.client),
                                printable(frame.problem, MAX_DATA_LENGTH)};
        line = parts.join(QLatin1Char(' '));
    } else {
        const QVariantMap result{{busframe::KEY_CODE, frame.code}};
        const QVariantMap envelope{{busframe::KEY_OPERATION, frame.operation},
                                   {busframe::KEY_DATA, frame.data},
                                   {busframe::KEY_RESULT, result}};
        line = frameLine(Direction::Out, port, frame.client, frame.kind == traffic::Kind::Reply, envelope);
    }
    return frame.fault.isEmpty() ? line : QStringLiteral("%1 [%2]").arg(line, printable(frame.fault, MAX_DATA_LENGTH));
}

QString noticeLine(const QString& port, const QString& client, const QString& what)
{
    const QStringList parts{now(), QStringLiteral("in "), origin(port, client), printable(what, MAX_DATA_LENGTH)};
    return parts.join(QLatin1Char(' '));
}

} // namespace tarvex::devbus::trace
