#include "controlsource.h"

#include "busclient.h"
#include "controlclient.h"
#include "output.h"
#include "programwords.h"
#include "traffic/seenframe.h"

#include <QCoreApplication>
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
const QLatin1String KEY_RUN("run");

/// The handshake that finds out whether there is a bus must not take the name of a client.
QString ownName()
{
    return QStringLiteral("tarvexctl-%1").arg(QCoreApplication::applicationPid());
}

/// What could not be seen.
/// \a problem is part of the frame, which may be recorded, so it is not translated.
SeenFrame gap(qint64 number, const QString& problem)
{
    SeenFrame gap;
    gap.kind = Kind::Gap;
    gap.number = number;
    gap.timeUs = tarvex::traffic::currentTimeUs();
    gap.problem = problem;
    return gap;
}

QByteArray framesRequest(qint64 last)
{
    return jsonText(QVariantMap{{QStringLiteral("request"), QStringLiteral("frames")}, {QStringLiteral("last"), last}})
               .toUtf8()
        + '\n';
}

Failure cannotTell()
{
    return Failure(Refused,
                   Words::tr("this bus does not show its frames: only a development bus of the same user does; "
                             "--capture reads those of any bus from the network"));
}

Failure refusedByBus(const QString& words)
{
    return Failure(Refused, Words::tr("refused by the bus: %1").arg(words));
}

} // namespace

NewestFrame newestFrame()
{
    const QDeadlineTimer deadline(CONTROL_TIMEOUT_MS);
    QLocalSocket socket;
    if (!connectToControlSocket(socket, deadline)) {
        const BusClient bus(ownName()); // there may be no bus at all
        throw cannotTell();
    }
    socket.write(framesRequest(1));
    while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(static_cast<int>(deadline.remainingTime()))) { }
    // The bus sends what it has then, and closes the connection.
    ::shutdown(static_cast<int>(socket.socketDescriptor()), SHUT_WR);
    while (socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) { }
    if (deadline.hasExpired()) {
        throw Failure(TimedOut, Words::tr("the bus is there, but its control socket does not answer"));
    }
    NewestFrame newest;
    while (socket.canReadLine()) {
        const QVariantMap answer = QJsonDocument::fromJson(socket.readLine()).object().toVariantMap();
        if (answer.contains(KEY_ERROR)) {
            throw refusedByBus(answer.value(KEY_ERROR).toString());
        }
        const QVariantMap item = answer.value(KEY_ITEM).toMap();
        newest.run = item.contains(KEY_RUN) ? item.value(KEY_RUN).toString() : newest.run;
        newest.number = item.value(QStringLiteral("number")).toLongLong();
    }
    return newest;
}

ControlSource::ControlSource(qint64 last, const QString& run, QObject* parent)
    : FrameSource(parent), m_last(last), m_run(run)
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
    if (std::exchange(m_isAway, false)) {
        complain(Words::tr("the bus is back"));
    }
}

void ControlSource::readLines()
{
    while (!m_hasEnded && m_socket.canReadLine()) {
        take(m_socket.readLine());
    }
    if (!m_hasEnded && m_socket.bytesAvailable() > MAX_LINE) {
        fail(NoBus, Words::tr("what answered is no reply of the bus"));
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
    const QVariantMap item = object.value(KEY_ITEM).toMap();
    if (item.contains(KEY_RUN)) {
        takeRun(item.value(KEY_RUN).toString());
        return;
    }
    bool isValid = false;
    const SeenFrame frame = SeenFrame::fromVariantMap(item, isValid);
    if (isValid) {
        takeFrame(frame);
    } else {
        // It stands for one frame, so it gets the place of the next one.
        takeFrame(
            gap(m_position + 1, QStringLiteral("a line of %1 bytes from the bus cannot be read").arg(line.size())));
    }
}

/// The numbers of another run begin again.
void ControlSource::takeRun(const QString& run)
{
    if (run != m_run && !m_run.isEmpty()) {
        m_lastNumber = 0;
        // No frame has this number.
        Q_EMIT seen(gap(0, QStringLiteral("the bus was away, and its frames begin again")));
    }
    m_run = run;
    m_position = 0;
    m_isResuming = m_lastNumber > 0;
}

/// After a lost connection all kept frames are asked for. If it is the same run, some were seen already, and some may
/// not be kept any more.
void ControlSource::takeFrame(const SeenFrame& frame)
{
    m_position = frame.number;
    if (frame.number <= m_lastNumber) {
        return;
    }
    const qint64 missed = std::exchange(m_isResuming, false) ? frame.number - m_lastNumber - 1 : 0;
    if (missed > 0) {
        Q_EMIT seen(gap(m_lastNumber + 1,
                        (missed == 1 ? QStringLiteral("%1 frame not seen, because the connection to the bus was lost")
                                     : QStringLiteral("%1 frames not seen, because the connection to the bus was lost"))
                            .arg(missed)));
    }
    m_lastNumber = frame.number;
    Q_EMIT seen(frame);
}

void ControlSource::waitForBus()
{
    if (m_hasEnded) {
        return;
    }
    if (!std::exchange(m_isAway, true)) {
        m_last = ALL_FRAMES;
        complain(Words::tr("the bus has gone; waiting for it to come back"));
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
