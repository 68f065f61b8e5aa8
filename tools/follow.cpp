#include "follower.h"
#include "interrupts.h"
#include "output.h"
#include "programwords.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>

#include <unistd.h>

namespace tarvexctl {

namespace {

/// Unsubscribing takes a few milliseconds when the bus answers.
constexpr int LEAVE_TIMEOUT_MS = 2000;
/// While nothing is subscribed, there is nothing to undo. An answer of the bus would change nothing, so the wait is
/// short.
constexpr int LEAVE_UNSUBSCRIBED_TIMEOUT_MS = 300;
constexpr int LOOK_INTERVAL_MS = 50;

/// Watches a follower from the main thread. Nothing blocks this thread.
class Watch
{
public:
    explicit Watch(Follower& follower);

    void run(const std::optional<int>& timeoutMs);

private:
    void leave(ExitStatus status, const QString& words, void (Follower::*slot)());
    void startLeaving(ExitStatus status, const QString& words);
    void lookAtLeaving();
    void giveUp();

    Follower& m_follower;
    InterruptWatcher m_interrupts;
    QTimer m_deadline;
    QTimer m_patience; ///< Runs as soon as there is a reason to end.
    QElapsedTimer m_sinceLeaving;
    ExitStatus m_status = Done;
    QString m_words;
};

Watch::Watch(Follower& follower) : m_follower(follower)
{
    m_deadline.setSingleShot(true);
    m_deadline.setTimerType(Qt::PreciseTimer); // other timers may fire up to 5 % too early
    m_patience.setInterval(LOOK_INTERVAL_MS);
    QObject::connect(&m_interrupts, &InterruptWatcher::interrupted, &m_patience,
                     [this] { leave(Interrupted, Words::tr("interrupted"), &Follower::interrupt); });
    QObject::connect(&m_deadline, &QTimer::timeout, &m_patience, [this] {
        if (m_follower.isSatisfied()) {
            leave(Done, QString(), &Follower::timeUp);
        } else {
            leave(TimedOut, busIsSilent().words(), &Follower::timeUp);
        }
    });
    QObject::connect(&follower, &Follower::leaving, &m_patience, [this](int status, const QString& words) {
        startLeaving(static_cast<ExitStatus>(status), words);
    });
    QObject::connect(&m_patience, &QTimer::timeout, &m_patience, [this] { lookAtLeaving(); });
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
    // A follower that is ending already keeps its status.
    if (!m_patience.isActive()) {
        startLeaving(status, words);
    }
    QMetaObject::invokeMethod(&m_follower, slot, Qt::QueuedConnection);
}

void Watch::startLeaving(ExitStatus status, const QString& words)
{
    m_status = status;
    m_words = words;
    if (!m_patience.isActive()) {
        m_sinceLeaving.start();
        m_patience.start();
    }
}

void Watch::lookAtLeaving()
{
    const bool isFree = m_follower.isAsking() && !m_follower.hasSubscriptions();
    if (m_sinceLeaving.hasExpired(isFree ? LEAVE_UNSUBSCRIBED_TIMEOUT_MS : LEAVE_TIMEOUT_MS)) {
        giveUp();
    }
}

// The follower's thread is in one of the library's waits. The thread cannot be ended, and the objects that it uses
// cannot be deleted.
void Watch::giveUp()
{
    if (!m_words.isEmpty()) {
        tellFailure(m_words);
    }
    if (m_follower.hasSubscriptions()) {
        tellFailure(Words::tr("%1 stays subscribed: unsubscribing takes too long").arg(m_follower.clientName()));
    }
    ::_exit(m_status);
}

} // namespace

void follow(const QString& clientName, FollowerTask& task, const std::optional<int>& timeoutMs)
{
    Follower follower(clientName, task);
    Watch(follower).run(timeoutMs);
    if (follower.failure()) {
        throw *follower.failure();
    }
}

} // namespace tarvexctl
