#include "quitonsignal.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace wexcor {

namespace {

constexpr int QUIT_INTERVAL_MS = 50;

/// An ignored signal is delivered once it is blocked. So ignored signals are left out.
bool isIgnored(int signal)
{
    struct sigaction action = {};
    ::sigaction(signal, nullptr, &action);
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t watchedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT}) {
        if (!isIgnored(signal)) {
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

} // namespace

/// The descriptor from which the blocked signals are read.
class QuitOnSignal::Watch
{
public:
    Watch(int descriptor, const sigset_t& signals)
        : m_descriptor(descriptor), m_notifier(descriptor, QSocketNotifier::Read)
    {
        pthread_sigmask(SIG_BLOCK, &signals, &m_before);
        QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] {
            drop();
            QCoreApplication::quit();
            m_again.start(QUIT_INTERVAL_MS);
        });
        QObject::connect(&m_again, &QTimer::timeout, &m_again, [] { QCoreApplication::quit(); });
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &m_again, &QTimer::stop);
    }

    ~Watch()
    {
        m_notifier.setEnabled(false);
        drop(); // A signal that came twice would otherwise end the process now, with its own status.
        ::close(m_descriptor);
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    Q_DISABLE_COPY_MOVE(Watch)

    /// \return null when the system gives no descriptor. The signals stay as they were then.
    static std::unique_ptr<Watch> make()
    {
        const sigset_t signals = watchedSignals();
        const int descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
        if (descriptor < 0) {
            const QString reason = qt_error_string(errno);
            qWarning().noquote() << QStringLiteral("SIGTERM and SIGINT end the process at once: %1").arg(reason);
            return {};
        }
        return std::make_unique<Watch>(descriptor, signals);
    }

private:
    /// Takes the signals that have come.
    void drop() const
    {
        signalfd_siginfo info = {};
        while (::read(m_descriptor, &info, sizeof info) > 0) { }
    }

    const int m_descriptor;
    QSocketNotifier m_notifier;
    QTimer m_again; ///< Runs until exec() returns, because exec() forgets a quit() from before it began.
    sigset_t m_before = {};
};

QuitOnSignal::QuitOnSignal() : m_watch(Watch::make()) { }

QuitOnSignal::~QuitOnSignal() = default;

} // namespace wexcor
