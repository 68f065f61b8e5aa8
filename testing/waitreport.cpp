#include "waitreport_p.h"

#include "client/queryoutcome.h"
#include "printable.h"

#include <QJsonDocument>

#include <algorithm>

using tarvex::devbus::BusConnection;
using tarvex::devbus::MAX_SHOWN_NAME_LENGTH;
using tarvex::devbus::printable;

namespace tarvex::testing {

namespace {

// With these values the first line, one request and the count of the others always fit.
constexpr int MAX_WHAT_BYTES = 240;
constexpr int MAX_CLIENTS_BYTES = 100;
constexpr int MAX_PARTIES_BYTES = 90;
constexpr int MAX_CONTENT_BYTES = 150;
constexpr int COUNT_BYTES = 24;

int bytesOf(const QString& text)
{
    return text.toUtf8().size();
}

int bytesOf(uint character)
{
    return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

/// The text as one line may show it.
QString shown(const QString& text, int maxBytes)
{
    const QString cut = shortened(text, maxBytes);
    return printable(cut, cut.size());
}

QString quoted(const QString& name)
{
    return QLatin1Char('"') + printable(name, MAX_SHOWN_NAME_LENGTH) + QLatin1Char('"');
}

QString outcomeOf(const BusRequest& request)
{
    if (request.isDone()) {
        return {};
    }
    if (!request.code) {
        return QStringLiteral(" (not answered)");
    }
    return QLatin1String(" (") + refusal(static_cast<TarvexError::Error>(*request.code)) + QLatin1Char(')');
}

QString describeRequest(const BusRequest& request)
{
    QString parties;
    QString content;
    if (request.isMessage()) {
        const Message message = request.message();
        parties = quoted(request.client) + QLatin1String(" to ") + quoted(message.reciever());
        content = message.message();
    } else {
        parties = quoted(request.client) + QLatin1String(", ") + printable(request.operation, MAX_SHOWN_NAME_LENGTH);
        content = QString::fromUtf8(QJsonDocument::fromVariant(request.data).toJson(QJsonDocument::Compact));
    }
    return QLatin1String("\n  ") + shortened(parties, MAX_PARTIES_BYTES) + QLatin1String(": ")
        + shown(content, MAX_CONTENT_BYTES) + outcomeOf(request);
}

QString describeClients(const QString& port, const QStringList& clients)
{
    QStringList names;
    for (const QString& client : clients) {
        names.append(printable(client, MAX_SHOWN_NAME_LENGTH));
    }
    const QString list =
        names.isEmpty() ? QStringLiteral("nobody") : shortened(names.join(QLatin1String(", ")), MAX_CLIENTS_BYTES);
    return list + QStringLiteral(" on the %1 port").arg(port);
}

/// The requests, each on a line, as many as fit into \a maxBytes.
QString describeRequests(const QList<BusRequest>& requests, int maxBytes)
{
    QString text;
    int left = maxBytes;
    for (int index = 0; index < requests.size(); ++index) {
        const QString line = describeRequest(requests.at(index));
        const int others = requests.size() - index;
        left -= bytesOf(line);
        if (left < (others > 1 ? COUNT_BYTES : 0)) {
            return text + QStringLiteral("\n  and %1 more").arg(others);
        }
        text += line;
    }
    return text;
}

} // namespace

QString refusal(const TarvexError& error)
{
    return QueryOutcome(QueryOutcome::Refused, error.error(), error.description()).toString();
}

QString shortened(const QString& text, int maxBytes)
{
    if (bytesOf(text) <= maxBytes) {
        return text;
    }
    const QVector<uint> characters = text.toUcs4();
    const int half = (maxBytes - COUNT_BYTES) / 2; // the mark is no longer than a count
    int begin = 0;
    for (int bytes = bytesOf(characters.at(0)); bytes <= half; bytes += bytesOf(characters.at(begin))) {
        ++begin;
    }
    int end = characters.size();
    for (int bytes = bytesOf(characters.at(end - 1)); bytes <= half; bytes += bytesOf(characters.at(end - 1))) {
        --end;
    }
    return QString::fromUcs4(characters.constData(), begin) + QStringLiteral("...(+%1)...").arg(end - begin)
        + QString::fromUcs4(characters.constData() + end, characters.size() - end);
}

QString WaitReport::text(const BusRecord& record, int timeoutMs) const
{
    QString text = QStringLiteral("%1 within %2 ms. There: ").arg(shortened(m_what, MAX_WHAT_BYTES)).arg(timeoutMs)
        + describeClients(QStringLiteral("query"), record.clients(BusConnection::Port::Query)) + QLatin1String("; ")
        + describeClients(QStringLiteral("receiver"), record.clients(BusConnection::Port::Receiver));
    const QList<BusRequest> requests = inOrder(record.requestsAfter(0) + m_rejected);
    if (requests.isEmpty()) {
        return text + QLatin1String(".\nNothing came that was not taken.");
    }
    text += QStringLiteral(".\nCame and was not taken, %1 in all:").arg(requests.size());
    return text + describeRequests(requests, MAX_ERROR_BYTES - bytesOf(text));
}

QList<BusRequest> WaitReport::inOrder(QList<BusRequest> requests) const
{
    std::sort(requests.begin(), requests.end(),
              [](const BusRequest& one, const BusRequest& other) { return one.number > other.number; });
    QList<BusRequest> near;
    QList<BusRequest> others;
    QList<BusRequest> noise;
    for (const BusRequest& request : qAsConst(requests)) {
        (m_isNear(request) ? near : request.isNoise() ? noise : others).append(request);
    }
    return near + others + noise;
}

} // namespace tarvex::testing
