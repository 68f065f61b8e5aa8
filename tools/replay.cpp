#include "replay.h"

#include "programwords.h"
#include "traffic/seenframe.h"

#include <cerrno>
#include <unistd.h>

namespace tarvexctl {

using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

namespace {

constexpr int US_PER_MS = 1000;

/// What of a frame is compared.
QVariantMap contents(const SeenFrame& frame, const QVariantMap& data)
{
    QVariantMap map{{QStringLiteral("operation"), frame.operation}, {QStringLiteral("data"), data}};
    if (frame.kind == Kind::Reply) {
        map.insert(QStringLiteral("code"), frame.code);
        map.insert(QStringLiteral("description"), frame.description);
    }
    return map;
}

} // namespace

qint64 ReplayPace::dueMs(qint64 offsetUs) const
{
    return speed > 0 ? static_cast<qint64>(static_cast<double>(offsetUs) / speed / US_PER_MS) : 0;
}

StepReader::StepReader(QObject* parent) : QObject(parent), m_notifier(STDIN_FILENO, QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &StepReader::readInput);
}

void StepReader::readInput()
{
    char bytes[256];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (count <= 0) {
        m_notifier.setEnabled(false);
        Q_EMIT closed();
        return;
    }
    for (ssize_t index = 0; index < count; ++index) {
        if (bytes[index] == '\n') {
            Q_EMIT stepped();
        }
    }
}

Replay::Replay(const ReplayPace& pace, Strictness strictness) : m_pace(pace), m_strictness(strictness) { }

void Replay::begin()
{
    m_clock.start();
}

void Replay::compare(const SeenFrame& recorded, const QString& what, const SeenFrame& came)
{
    if (recorded.isDataLeftOut) {
        return;
    }
    QList<ReplayDifference> found = replayDifferences(QString(), contents(recorded, recorded.data),
                                                      contents(came, m_uids.withRecorded(came.data)), m_strictness);
    for (ReplayDifference& difference : found) {
        difference.number = recorded.number;
        difference.client = recorded.client;
        difference.what = what;
        addDifference(difference);
    }
}

void Replay::tellOfFrame(const SeenFrame& frame, const QString& what, bool isRecorded)
{
    ReplayDifference difference;
    difference.number = isRecorded ? frame.number : 0;
    difference.client = frame.client;
    difference.what = what;
    (isRecorded ? difference.recorded : difference.came) = contents(frame, frame.data);
    addDifference(difference);
}

void Replay::tellOfEvent(const QString& client, const QString& what, const QString& words)
{
    ReplayDifference difference;
    difference.client = client;
    difference.what = what;
    difference.came = words;
    addDifference(difference);
}

void Replay::addDifference(const ReplayDifference& difference)
{
    ++m_differenceCount;
    Q_EMIT differs(difference);
}

void Replay::setFailure(const Failure& failure)
{
    if (!m_failure) {
        m_failure = failure;
    }
}

void Replay::setInputEnded(int steps)
{
    setFailure(Failure(Refused,
                       Words::counted(steps, Words::tr("the input ended, so 1 step was not played"),
                                      Words::markCount("the input ended, so %n steps were not played"))));
}

void Replay::end()
{
    if (!m_hasEnded) {
        m_hasEnded = true;
        Q_EMIT ended();
    }
}

} // namespace tarvexctl
