#include "framewatch.h"

#include "framesource.h"
#include "output.h"
#include "programwords.h"

#include <utility>

namespace tarvexctl {

using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

namespace {

/// To write the end of a recording and to end a capture takes less.
constexpr int LEAVE_TIMEOUT_MS = 3000;
/// A value takes so much beside its text, in bytes, about.
constexpr qint64 VALUE_BYTES = 64;

/// What a value takes, in bytes, about.
qint64 bytesOf(const QVariant& value)
{
    qint64 bytes = VALUE_BYTES;
    if (value.userType() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (auto entry = map.begin(); entry != map.end(); ++entry) {
            bytes += bytesOf(QVariant(entry.key())) + bytesOf(entry.value());
        }
    } else if (value.userType() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        for (const QVariant& entry : list) {
            bytes += bytesOf(entry);
        }
    } else if (value.userType() == QMetaType::QString) {
        bytes += value.toString().size() * static_cast<qint64>(sizeof(QChar));
    }
    return bytes;
}

qint64 bytesOf(const SeenFrame& frame)
{
    return bytesOf(QVariant(frame.data)) + bytesOf(QVariant(frame.problem)) + bytesOf(QVariant(frame.description));
}

} // namespace

FrameWatch::FrameWatch(FrameSource& source, FrameTask task, const Limits& limits, const FramePast& past)
    : m_source(source), m_task(std::move(task)), m_limits(limits), m_past(past), m_tally(limits)
{
    m_deadline.setSingleShot(true);
    m_deadline.setTimerType(Qt::PreciseTimer); // other timers may fire up to 5 % too early
    connect(&m_deadline, &QTimer::timeout, this, &FrameWatch::timeUp);
    connect(&m_interrupts, &InterruptWatcher::interrupted, this,
            [this] { end(Failure(Interrupted, Words::tr("interrupted"))); });
    leaveAfterInterrupt(LEAVE_TIMEOUT_MS);
    connect(&source, &FrameSource::started, this, &FrameWatch::begin);
    connect(&source, &FrameSource::seen, this, &FrameWatch::take);
    connect(&source, &FrameSource::failed, this,
            [this](int status, const QString& words) { end(Failure(static_cast<ExitStatus>(status), words)); });
    connect(&source, &FrameSource::ended, this, [this] { end(); });
}

void FrameWatch::run()
{
    if (m_limits.timeoutMs) {
        m_deadline.start(*m_limits.timeoutMs);
    }
    m_source.start();
    m_loop.exec();
    if (m_failure) {
        throw *m_failure;
    }
}

void FrameWatch::begin()
{
    if (m_hasEnded || !m_task.start) {
        return;
    }
    try {
        m_task.start();
    } catch (const Failure& failure) {
        end(failure);
    }
}

void FrameWatch::take(const SeenFrame& frame)
{
    if (m_hasEnded) {
        return;
    }
    try {
        if (frame.kind == Kind::Gap && frame.number == 0) {
            showKept(); // another run of the bus, which has nothing of this past
        }
        const bool isWanted = m_task.wants(frame);
        const bool isPast = m_past.lastNumber > 0 && frame.number <= m_past.lastNumber;
        if (isWanted && isPast) {
            keep(frame);
        }
        if (frame.number >= m_past.lastNumber) {
            showKept();
        }
        if (isWanted && !isPast && !m_hasEnded) {
            show(frame);
        }
    } catch (const Failure& failure) {
        end(failure);
    }
}

void FrameWatch::keep(const SeenFrame& frame)
{
    m_kept.push_back(frame);
    m_keptBytes += bytesOf(frame);
    if (m_kept.size() > static_cast<std::size_t>(m_past.count)) {
        dropOldest();
    }
    while (m_keptBytes > MAX_KEPT_BYTES && m_kept.size() > 1) {
        dropOldest();
        if (!std::exchange(m_isPastCut, true)) {
            complain(Words::tr("the past is too large to be shown whole; its oldest frames are left out"));
        }
    }
}

void FrameWatch::dropOldest()
{
    m_keptBytes -= bytesOf(m_kept.front());
    m_kept.pop_front();
}

/// The past is over. The numbers may begin again later.
void FrameWatch::showKept()
{
    m_past.lastNumber = 0;
    while (!m_kept.empty() && !m_hasEnded) {
        show(m_kept.front());
        m_kept.pop_front();
    }
    m_keptBytes = 0;
}

void FrameWatch::show(const SeenFrame& frame)
{
    m_task.show(frame);
    if (frame.kind == Kind::Gap) {
        return;
    }
    m_tally.add();
    if (m_tally.isFull()) {
        end();
    }
}

void FrameWatch::timeUp()
{
    if (m_tally.isEnough()) {
        end();
    } else {
        end(Failure(TimedOut, m_tally.missingWords(m_task.nothingWords)));
    }
}

void FrameWatch::end(const std::optional<Failure>& failure)
{
    if (m_hasEnded) {
        return;
    }
    m_hasEnded = true;
    m_failure = failure;
    m_loop.quit();
}

} // namespace tarvexctl
