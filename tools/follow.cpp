#include "follower.h"
#include "interrupts.h"
#include "liblog.h"
#include "output.h"

#include <QEventLoop>
#include <QThread>

#include <unistd.h>

namespace tarvexctl {

namespace {

/// What remains to do takes a few milliseconds when the bus answers at all.
constexpr int LEAVE_TIMEOUT_MS = 2000;

/// Watches a follower from the main thread, which nothing blocks.
class Watch
{
public:
    explicit Watch(Follower& follower);

    void run(const std::optional<int>& timeoutMs);

private:
    void leave(ExitStatus status, const QString& words, void (Follower::*slot)());
    void giveUp();

    Follower& m_follower;
    InterruptWatcher m_interrupts;
    QTimer m_deadline;
    QTimer m_patience;
    ExitStatus m_status = Done;
    QString m_words;
};

Watch::Watch(Follower& follower) : m_follower(follower)
{
    m_deadline.setSingleShot(true);
    m_deadline.setTimerType(Qt::PreciseTimer); // others may be up to a twentieth too early
    m_patience.setSingleShot(true);
    m_patience.setInterval(LEAVE_TIMEOUT_MS);
    QObject::connect(&m_interrupts, &InterruptWatcher::interrupted, &m_patience,
                     [this] { leave(Interrupted, QStringLiteral("interrupted"), &Follower::interrupt); });
    QObject::connect(&m_deadline, &QTimer::timeout, &m_patience, [this] {
        if (m_follower.isSatisfied()) {
            leave(Done, QString(), &Follower::timeUp);
        } else {
            leave(TimedOut, busIsSilent().words(), &Follower::timeUp);
        }
    });
    QObject::connect(&follower, &Follower::leaving, &m_patience, [this](int status, const QString& words) {
        m_status = static_cast<ExitStatus>(status);
        m_words = words;
        if (!m_patience.isActive()) {
            m_patience.start();
        }
    });
    QObject::connect(&m_patience, &QTimer::timeout, &m_patience, [this] { giveUp(); });
}

void Watch::run(const std::optional<int>& timeoutMs)
{
    QThread thread;
    QEventLoop loop;
    m_follower.moveToThread(&thread);
    QObject::connect(&thread, &QThread::started, &m_follower, &Follower::start);
    QObject::connect(&m_follower, &Follower::ended, &loop, &QEventLoop::quit);
    if (timeoutMs) {
        m_deadline.start(*timeoutMs);
    }
    thread.start();
    loop.exec();
    thread.quit();
    thread.wait();
}

void Watch::leave(ExitStatus status, const QString& words, void (Follower::*slot)())
{
    m_deadline.stop();
    // Not when it is on its way out already: that keeps its status.
    if (!m_patience.isActive()) {
        m_status = status;
        m_words = words;
        m_patience.start();
    }
    QMetaObject::invokeMethod(&m_follower, slot, Qt::QueuedConnection);
}

// The follower's thread is in one of the library's waits and cannot be ended, nor can what it uses be taken away.
void Watch::giveUp()
{
    if (!m_words.isEmpty()) {
        complain(m_words);
    }
    if (m_follower.hasSubscriptions()) {
        complain(QStringLiteral("%1 stays subscribed: unsubscribing takes too long").arg(m_follower.clientName()));
    }
    ::_exit(m_status);
}

} // namespace

void follow(Follower& follower, const std::optional<int>& timeoutMs)
{
    // A reader that goes away does not end us before we have unsubscribed: Qt's sockets have SIGPIPE ignored, and the
    // failed write tells of it.
    const LibSilence silence;
    Watch(follower).run(timeoutMs);
    if (follower.failure()) {
        throw *follower.failure();
    }
}

} // namespace tarvexctl
