#include "systemdnotifier.h"

#include <QCoreApplication>
#include <QDebug>
#include <QThread>
#include <QTimer>

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>

namespace wexcor {

namespace {

/// systemd takes one datagram for each report, so the text must not become longer than that.
constexpr int MAX_STATUS_LENGTH = 1000;

/// \return 0 when systemd watches no watchdog of this process.
std::chrono::milliseconds watchdogInterval()
{
    std::uint64_t microseconds = 0;
    if (::sd_watchdog_enabled(0, &microseconds) <= 0) {
        return std::chrono::milliseconds(0);
    }
    constexpr std::uint64_t MAX_MS = std::numeric_limits<int>::max(); // of a QTimer
    return std::chrono::milliseconds(std::clamp<std::uint64_t>(microseconds / 2 / 1000, 1, MAX_MS));
}

} // namespace

/// The timers, and what systemd has been told.
class SystemdNotifier::Reporter
{
public:
    explicit Reporter(Readiness readiness)
    {
        QObject::connect(&m_firstTurn, &QTimer::timeout, &m_firstTurn, [this] { onTurn(); });
        if (readiness == Readiness::WithLoop) {
            m_firstTurn.start(0);
        }
        QObject::connect(&m_watchdog, &QTimer::timeout, &m_watchdog, [this] { tell("WATCHDOG=1"); });
        const std::chrono::milliseconds interval = watchdogInterval();
        if (interval.count() > 0) {
            m_watchdog.start(interval);
        }
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &m_firstTurn, [this] { end(); });
    }

    ~Reporter() { end(); }
    Q_DISABLE_COPY_MOVE(Reporter)

    void setReady()
    {
        if (!m_isEnding && !m_isReady.exchange(true)) {
            tell("READY=1");
        }
    }

    /// A line end would begin another assignment to systemd.
    void setStatus(const QString& text)
    {
        tell(QByteArray("STATUS=") + text.simplified().left(MAX_STATUS_LENGTH).toUtf8());
    }

private:
    /// Events that main() processes before a loop runs do not count.
    void onTurn()
    {
        if (QThread::currentThread()->loopLevel() > 0) {
            m_firstTurn.stop();
            setReady();
        }
    }

    /// The service has the whole time of the watchdog for its end, because no event loop reports any more.
    void end()
    {
        if (!m_isEnding.exchange(true)) {
            m_firstTurn.stop();
            tell(m_watchdog.isActive() ? "STOPPING=1\nWATCHDOG=1" : "STOPPING=1");
        }
    }

    void tell(const QByteArray& assignments)
    {
        const int result = ::sd_notify(0, assignments.constData());
        if (result < 0 && !m_hasWarned.exchange(true)) {
            const QString reason = qt_error_string(-result);
            qWarning().noquote() << QStringLiteral("systemd is not told how this process is: %1").arg(reason);
        }
    }

    QTimer m_firstTurn;
    QTimer m_watchdog;
    std::atomic<bool> m_isReady = false;
    std::atomic<bool> m_isEnding = false;
    std::atomic<bool> m_hasWarned = false;
};

SystemdNotifier::SystemdNotifier(Readiness readiness)
    : m_reporter(qEnvironmentVariableIsEmpty("NOTIFY_SOCKET") ? nullptr : std::make_unique<Reporter>(readiness))
{
}

SystemdNotifier::~SystemdNotifier() = default;

void SystemdNotifier::setReady()
{
    if (m_reporter) {
        m_reporter->setReady();
    }
}

void SystemdNotifier::setStatus(const QString& text)
{
    if (m_reporter) {
        m_reporter->setStatus(text);
    }
}

} // namespace wexcor
