#include "metrics.h"

#include "busserver.h"
#include "controlservice.h"
#include "traffic/operations.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QSet>

#include <algorithm>

namespace tarvex::devbus {

namespace {

using traffic::Kind;
using traffic::Port;
using traffic::SeenFrame;

struct Limit
{
    qint64 us;
    const char* seconds;
};

/// Of the histogram of times. What is longer than the last one counts as well.
constexpr std::array<Limit, 7> LIMITS{{{1000, "0.001"},
                                       {5000, "0.005"},
                                       {25000, "0.025"},
                                       {100000, "0.1"},
                                       {500000, "0.5"},
                                       {2500000, "2.5"},
                                       {10000000, "10"}}};

constexpr double US_PER_S = 1e6;
constexpr double MS_PER_S = 1e3;

QByteArray operationLabel(const QString& operation)
{
    return traffic::operations().contains(operation) ? operation.toLatin1() : QByteArrayLiteral("other");
}

/// A request has no code; an empty label is the same as none.
QByteArray codeLabel(const SeenFrame& frame)
{
    static const QSet<quint16> known{TarvexError::NoError,
                                     TarvexError::IncorrectRequestSize,
                                     TarvexError::IncorrectRequestData,
                                     TarvexError::UnregisteredClient,
                                     TarvexError::UnsupportedRequest,
                                     TarvexError::NoSettingsForClient,
                                     TarvexError::InvalidDataStorage,
                                     TarvexError::StorageAccessError};
    if (frame.kind != Kind::Reply) {
        return QByteArray();
    }
    return known.contains(frame.code) ? QByteArray::number(frame.code) : QByteArrayLiteral("other");
}

QByteArray labelsOf(const SeenFrame& frame)
{
    return "port=\"" + portName(frame.port).toLatin1() + "\",direction=\"" + directionName(frame.direction).toLatin1()
        + "\",kind=\"" + kindName(frame.kind).toLatin1() + "\",operation=\"" + operationLabel(frame.operation)
        + "\",code=\"" + codeLabel(frame) + '"';
}

QByteArray escaped(const QString& label)
{
    return label.toUtf8().replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
}

void addHead(QByteArray& text, const char* name, const char* type, const char* help)
{
    text += QByteArray("# HELP ") + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

void addLine(QByteArray& text, const QByteArray& name, const QByteArray& labels, const QByteArray& value)
{
    text += name + (labels.isEmpty() ? labels : '{' + labels + '}') + ' ' + value + '\n';
}

/// A metric of one line.
void addOne(QByteArray& text, const char* name, const char* type, const char* help, double value)
{
    addHead(text, name, type, help);
    addLine(text, name, {}, QByteArray::number(value, 'g', 15));
}

} // namespace

Metrics::Metrics(BusServer& server, ControlService& controlService)
    : m_server(server), m_controlService(controlService), m_times{{Port::Query, {}}, {Port::Receiver, {}}}
{
    m_clock.start();
    connect(&server.frames(), &traffic::FrameMemory::added, this, &Metrics::onFrame);
}

void Metrics::onFrame(const SeenFrame& frame)
{
    m_faults += frame.fault.isEmpty() ? 0 : 1;
    m_opened += frame.kind == Kind::Opened ? 1 : 0;
    m_bad += frame.kind == Kind::Bad ? 1 : 0;
    if (frame.kind != Kind::Request && frame.kind != Kind::Reply) {
        return;
    }
    ++m_frames[labelsOf(frame)];
    if (frame.tookUs >= 0) {
        const auto* const limit =
            std::find_if(LIMITS.begin(), LIMITS.end(), [&](const Limit& each) { return frame.tookUs <= each.us; });
        Times& times = m_times[frame.port];
        ++times.counts.at(static_cast<std::size_t>(limit - LIMITS.begin()));
        times.sumUs += frame.tookUs;
    }
}

QByteArray Metrics::text() const
{
    QByteArray text;
    addCounters(text);
    addTimes(text);
    addPresent(text);
    addWaiting(text);
    return text;
}

void Metrics::addCounters(QByteArray& text) const
{
    addHead(text, "tarvex_bus_frames_total", "counter", "Frames, by port, direction, kind, operation and code.");
    for (auto count = m_frames.cbegin(); count != m_frames.cend(); ++count) {
        addLine(text, "tarvex_bus_frames_total", count.key(), QByteArray::number(count.value()));
    }
    addOne(text, "tarvex_bus_bad_frames_total", "counter", "Bytes that were no frame, or frames without an envelope.",
           static_cast<double>(m_bad));
    addOne(text, "tarvex_bus_faults_total", "counter", "Frames that met a fault on purpose.",
           static_cast<double>(m_faults));
    addOne(text, "tarvex_bus_connections_total", "counter", "Connections that were opened.",
           static_cast<double>(m_opened));
}

void Metrics::addTimes(QByteArray& text) const
{
    addHead(text, "tarvex_bus_exchange_seconds", "histogram",
            "Time from a request to its reply, or from a push to its acknowledgement.");
    for (auto times = m_times.cbegin(); times != m_times.cend(); ++times) {
        const QByteArray port = "port=\"" + portName(times.key()).toLatin1() + '"';
        qint64 sum = 0;
        for (std::size_t i = 0; i < LIMITS.size(); ++i) {
            sum += times.value().counts.at(i);
            addLine(text, "tarvex_bus_exchange_seconds_bucket", port + ",le=\"" + LIMITS.at(i).seconds + '"',
                    QByteArray::number(sum));
        }
        sum += times.value().counts.back();
        addLine(text, "tarvex_bus_exchange_seconds_bucket", port + ",le=\"+Inf\"", QByteArray::number(sum));
        addLine(text, "tarvex_bus_exchange_seconds_sum", port,
                QByteArray::number(static_cast<double>(times.value().sumUs) / US_PER_S, 'g', 15));
        addLine(text, "tarvex_bus_exchange_seconds_count", port, QByteArray::number(sum));
    }
}

void Metrics::addPresent(QByteArray& text) const
{
    const QVariantMap about =
        m_controlService.handle({{QStringLiteral("request"), QStringLiteral("about")}}).items.value(0);
    const bool isStorageUp = about.value(QStringLiteral("storageError")).toString().isEmpty();
    const traffic::FrameMemory& frames = m_server.frames();
    addHead(text, "tarvex_bus_info", "gauge", "The version of the bus; always 1.");
    addLine(text, "tarvex_bus_info", "version=\"" + escaped(QCoreApplication::applicationVersion()) + '"', "1");
    addOne(text, "tarvex_bus_uptime_seconds", "gauge", "Time since the start.",
           static_cast<double>(m_clock.elapsed()) / MS_PER_S);
    addOne(text, "tarvex_bus_connections", "gauge", "Open connections.", m_server.connectionCount());
    addHead(text, "tarvex_bus_clients_connected", "gauge", "Connections that have introduced themselves, by port.");
    addLine(text, "tarvex_bus_clients_connected", "port=\"query\"",
            QByteArray::number(m_server.clients(BusConnection::Port::Query).size()));
    addLine(text, "tarvex_bus_clients_connected", "port=\"receiver\"",
            QByteArray::number(m_server.clients(BusConnection::Port::Receiver).size()));
    addOne(text, "tarvex_bus_kept_frames", "gauge", "Frames that can still be seen.",
           static_cast<double>(frames.nextNumber() - frames.firstNumber()));
    addOne(text, "tarvex_bus_storage_up", "gauge", "Whether the storage answers.", isStorageUp ? 1 : 0);
    addOne(text, "tarvex_bus_storage_bytes", "gauge", "Size of the storage.",
           about.value(QStringLiteral("storageBytes")).toDouble());
}

void Metrics::addWaiting(QByteArray& text) const
{
    QList<QVariantMap> clients =
        m_controlService.handle({{QStringLiteral("request"), QStringLiteral("clients")}}).items;
    const auto waiting = [](const QVariantMap& client) { return client.value(QStringLiteral("waiting")).toInt(); };
    std::stable_sort(clients.begin(), clients.end(),
                     [&](const QVariantMap& one, const QVariantMap& other) { return waiting(one) > waiting(other); });
    addHead(text, "tarvex_bus_waiting_messages", "gauge", "Messages that wait for a client.");
    int lines = 0;
    qint64 others = 0;
    for (const QVariantMap& client : qAsConst(clients)) {
        const QString name = client.value(QStringLiteral("name")).toString();
        if (name.size() > MAX_NAME || lines >= MAX_CLIENT_LINES) {
            others += waiting(client);
            continue;
        }
        ++lines;
        addLine(text, "tarvex_bus_waiting_messages", "client=\"" + escaped(name) + '"',
                QByteArray::number(waiting(client)));
    }
    addOne(text, "tarvex_bus_waiting_messages_of_others", "gauge",
           "Messages that wait for clients without a line of their own.", static_cast<double>(others));
}

} // namespace tarvex::devbus
