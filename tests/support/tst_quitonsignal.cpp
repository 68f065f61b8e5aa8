#include "quitonsignal.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <memory>

using wexcor::QuitOnSignal;

namespace {

constexpr int PATIENCE_MS = 20000;
constexpr int STATUS_TOO_LATE = 1;

bool isBlocked(int signal)
{
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    return sigismember(&blocked, signal) == 1;
}

/// Runs the event loop. \return whether something ended it before the time was over.
bool loopIsEnded()
{
    QTimer alarm;
    QObject::connect(&alarm, &QTimer::timeout, [] { QCoreApplication::exit(STATUS_TOO_LATE); });
    alarm.start(PATIENCE_MS);
    return QCoreApplication::exec() == 0;
}

/// While it exists the system gives no descriptor for signals. A limit of the process itself would disturb the
/// sanitizers, because they open files for their checks.
class NoDescriptor
{
public:
    NoDescriptor() { isOn = true; }

    ~NoDescriptor() { isOn = false; }
    Q_DISABLE_COPY_MOVE(NoDescriptor)

    static inline bool isOn = false;
};

/// While it exists the process handles the signal in this way.
class Disposition
{
public:
    Disposition(int signal, sighandler_t handler) : m_signal(signal)
    {
        struct sigaction action = {};
        action.sa_handler = handler;
        ::sigaction(signal, &action, &m_before);
    }

    ~Disposition() { ::sigaction(m_signal, &m_before, nullptr); }
    Q_DISABLE_COPY_MOVE(Disposition)

private:
    const int m_signal;
    struct sigaction m_before = {};
};

} // namespace

/// Stands in for the C library's function, wherever it is called from.
extern "C" __attribute__((visibility("default"))) int signalfd(int descriptor, const sigset_t* signals,
                                                               int flags) noexcept
{
    if (NoDescriptor::isOn) {
        errno = EMFILE;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_signalfd4, descriptor, signals, _NSIG / 8, flags));
}

/// Signals are raised in the test's thread, because QtTest has started a thread of its own before, which does not block
/// them.
class TstQuitOnSignal : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void signal_endsTheLoop_data();
    void signal_endsTheLoop();
    void signal_beforeTheLoop_endsIt_data();
    void signal_beforeTheLoop_endsIt();
    void signal_beforeTheLoopInAnotherOne_endsBoth();
    void secondSignal_changesNothing();
    void otherSignal_isNotTouched();
    void laterThread_inheritsWhatIsBlocked();
    void ignoredSignal_staysIgnored_data();
    void ignoredSignal_staysIgnored();
    void end_putsTheSignalsBack();
    void end_leavesBlockedWhatWasBlocked();
    void noDescriptor_isLoggedAndLeavesTheSignals();
};

namespace {

void addSignals()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

} // namespace

void TstQuitOnSignal::signal_endsTheLoop_data()
{
    addSignals();
}

void TstQuitOnSignal::signal_endsTheLoop()
{
    QFETCH(int, signal);
    const QuitOnSignal quitOnSignal;
    QTimer::singleShot(0, this, [signal] { ::raise(signal); });
    QVERIFY(loopIsEnded());
}

void TstQuitOnSignal::signal_beforeTheLoop_endsIt_data()
{
    addSignals();
}

void TstQuitOnSignal::signal_beforeTheLoop_endsIt()
{
    QFETCH(int, signal);
    const QuitOnSignal quitOnSignal;
    ::raise(signal);
    QVERIFY(loopIsEnded());
}

void TstQuitOnSignal::signal_beforeTheLoopInAnotherOne_endsBoth()
{
    const QuitOnSignal quitOnSignal;
    ::raise(SIGTERM);
    QEventLoop loop;
    QTimer::singleShot(PATIENCE_MS, &loop, [&loop] { loop.exit(STATUS_TOO_LATE); });
    QCOMPARE(loop.exec(), 0);
    QVERIFY(loopIsEnded());
}

void TstQuitOnSignal::secondSignal_changesNothing()
{
    auto quitOnSignal = std::make_unique<QuitOnSignal>();
    ::raise(SIGTERM);
    QVERIFY(loopIsEnded());
    ::raise(SIGTERM);
    ::raise(SIGINT);
    quitOnSignal.reset(); // If it delivered them, the process would end here.
    QVERIFY(!isBlocked(SIGTERM));
}

void TstQuitOnSignal::otherSignal_isNotTouched()
{
    const QuitOnSignal quitOnSignal;
    QVERIFY(!isBlocked(SIGHUP));
    QVERIFY(!isBlocked(SIGQUIT));
}

void TstQuitOnSignal::laterThread_inheritsWhatIsBlocked()
{
    const QuitOnSignal quitOnSignal;
    bool areBlocked = false;
    const std::unique_ptr<QThread> thread(
        QThread::create([&areBlocked] { areBlocked = isBlocked(SIGTERM) && isBlocked(SIGINT); }));
    thread->start();
    QVERIFY(thread->wait(PATIENCE_MS));
    QVERIFY(areBlocked);
}

void TstQuitOnSignal::ignoredSignal_staysIgnored_data()
{
    addSignals();
}

void TstQuitOnSignal::ignoredSignal_staysIgnored()
{
    QFETCH(int, signal);
    const Disposition ignored(signal, SIG_IGN);
    const QuitOnSignal quitOnSignal;
    QVERIFY(!isBlocked(signal));
    QVERIFY(isBlocked(signal == SIGTERM ? SIGINT : SIGTERM));
}

void TstQuitOnSignal::end_putsTheSignalsBack()
{
    {
        const QuitOnSignal quitOnSignal;
        QVERIFY(isBlocked(SIGTERM) && isBlocked(SIGINT));
    }
    QVERIFY(!isBlocked(SIGTERM) && !isBlocked(SIGINT));
}

void TstQuitOnSignal::end_leavesBlockedWhatWasBlocked()
{
    sigset_t signals;
    sigset_t before;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    std::make_unique<QuitOnSignal>().reset();
    const bool isIntBlocked = isBlocked(SIGINT);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    QVERIFY(isIntBlocked);
    QVERIFY(!isBlocked(SIGTERM));
}

void TstQuitOnSignal::noDescriptor_isLoggedAndLeavesTheSignals()
{
    QTest::ignoreMessage(QtWarningMsg, "SIGTERM and SIGINT end the process at once: Too many open files");
    std::unique_ptr<QuitOnSignal> quitOnSignal;
    {
        const NoDescriptor none;
        quitOnSignal = std::make_unique<QuitOnSignal>();
    }
    QVERIFY(!isBlocked(SIGTERM) && !isBlocked(SIGINT));
}

QTEST_GUILESS_MAIN(TstQuitOnSignal)
#include "tst_quitonsignal.moc"
