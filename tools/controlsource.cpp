#include "controlsource.h"

#include "busclient.h"
#include "controlclient.h"
#include "output.h"
#include "traffic/seenframe.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>

#include <limits>
#include <sys/socket.h>
#include <utility>

namespace tarvexctl {

using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

namespace {

constexpr int CONNECT_TIMEOUT_MS = 1000;
constexpr int RETRY_INTERVAL_MS = 1000;
/// A line is one frame. The bus decodes envelopes up to 32 MiB; escapes make them longer in JSON.
constexpr int MAX_LINE = 256 << 20;
/// As many as the bus has kept.
constexpr qint64 ALL_FRAMES = std::numeric_limits<int>::max();

const QLatin1String KEY_ITEM("item");
const QLatin1String KEY_ERROR("error");

QByteArray framesRequest(qint64 last)
{
    return jsonText(QVariantMap{{QStringLiteral("request"), QStringLiteral("frames")}, {QStringLiteral("last"), last}})
               .toUtf8()
        + '\n';
}

Failure cannotTell()
{
    return Failure(Refused,
                   QStringLiteral("this bus does not show its frames: only a development bus of the same user does; "
                                  "--capture reads those of any bus from the network"));
}

Failure refusedByBus(const QString& words)
{
    return Failure(Refused, QStringLiteral("refused by the bus: %1").arg(words));
}

} // namespace

qint64 newestFrameNumber(const QString& clientName)
{
    const QDeadlineTimer deadline(CONTROL_TIMEOUT_MS);
    QLocalSocket socket;
    if (!connectToControlSocket(socket, deadline)) {
        const BusClient bus(clientName); // there may be no bus at all
        throw cannotTell();
    }
    socket.write(framesRequest(1));
    while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(static_cast<int>(deadline.remainingTime()))) { }
    // The bus sends what it has then, and closes the connection.
    ::shutdown(static_cast<int>(socket.socketDescriptor()), SHUT_WR);
    while (!socket.canReadLine() && socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) { }
    if (deadline.hasExpired()) {
        throw Failure(TimedOut, QStringLiteral("the bus is there, but its control socket does not answer"));
    }
    const QVariantMap answer = QJsonDocument::fromJson(socket.readLine()).object().toVariantMap();
    if (answer.contains(KEY_ERROR)) {
        throw refusedByBus(answer.value(KEY_ERROR).toString());
    }
    return answer.value(KEY_ITEM).toMap().value(QStringLiteral("number")).toLongLong();
}

ControlSource::ControlSource(qint64 last, QObject* parent) : FrameSource(parent), m_last(last)
{
    m_retryTimer.setSingleShot(true);
    m_retryTimer.setInterval(RETRY_INTERVAL_MS);
    connect(&m_retryTimer, &QTimer::timeout, this, &ControlSource::connectToBus);
    connect(&m_socket, &QLocalSocket::readyRead, this, &ControlSource::readLines);
    connect(&m_socket, &QLocalSocket::disconnected, this, &ControlSource::waitForBus, Qt::QueuedConnection);
}

void ControlSource::start()
{
    QMetaObject::invokeMethod(this, &ControlSource::connectToBus, Qt::QueuedConnection);
}

void ControlSource::connectToBus()
{
    if (!connectToControlSocket(m_socket, QDeadlineTimer(CONNECT_TIMEOUT_MS))) {
        waitForBus();
        return;
    }
    m_socket.write(framesRequest(m_last));
    if (!std::exchange(m_isStarted, true)) {
        Q_EMIT started();
    }
    if (m_isBack) {
        m_isBack = false;
        complain(QStringLiteral("the bus is back"));
        SeenFrame gap;
        gap.kind = Kind::Gap;
        gap.timeUs = tarvex::traffic::currentTimeUs();
        gap.problem = QStringLiteral("the bus was away, and its frames begin again");
        Q_EMIT seen(gap);
    }
}

void ControlSource::readLines()
{
    while (!m_hasEnded && m_socket.canReadLine()) {
        take(m_socket.readLine());
    }
    if (!m_hasEnded && m_socket.bytesAvailable() > MAX_LINE) {
        fail(NoBus, QStringLiteral("what answered is no reply of the bus"));
    }
}

void ControlSource::take(const QByteArray& line)
{
    const QVariantMap object = QJsonDocument::fromJson(line).object().toVariantMap();
    if (object.contains(KEY_ERROR)) {
        const Failure refusal = refusedByBus(object.value(KEY_ERROR).toString());
        fail(refusal.status(), refusal.words());
        return;
    }
    bool isValid = false;
    const SeenFrame frame = SeenFrame::fromVariantMap(object.value(KEY_ITEM).toMap(), isValid);
    if (!isValid) {
        fail(NoBus, QStringLiteral("what answered is no reply of the bus"));
        return;
    }
    // After a lost connection all kept frames are asked for. If it was the same bus, some were seen already.
    const bool isRepeated = frame.number <= m_lastNumber && frame.timeUs <= m_lastTimeUs;
    if (!isRepeated) {
        m_lastNumber = frame.number;
        m_lastTimeUs = frame.timeUs;
        Q_EMIT seen(frame);
    }
}

void ControlSource::waitForBus()
{
    if (m_hasEnded) {
        return;
    }
    if (!m_isBack) {
        m_isBack = true;
        m_last = ALL_FRAMES;
        complain(QStringLiteral("the bus has gone; waiting for it to come back"));
    }
    m_retryTimer.start();
}

void ControlSource::fail(int status, const QString& words)
{
    m_hasEnded = true;
    m_socket.abort();
    Q_EMIT failed(status, words);
}

} // namespace tarvexctl
