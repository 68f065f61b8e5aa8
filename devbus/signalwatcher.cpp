#include "signalwatcher.h"

#include <cerrno>
#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace tarvex::devbus {

namespace {

sigset_t watchedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

} // namespace

void SignalWatcher::blockSignals()
{
    const sigset_t signals = watchedSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

SignalWatcher::SignalWatcher(QObject* parent) : QObject(parent)
{
    const sigset_t signals = watchedSignals();
    m_descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_descriptor < 0) {
        m_errorString = qt_error_string(errno);
        return;
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_descriptor, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &SignalWatcher::onActivated);
}

SignalWatcher::~SignalWatcher()
{
    m_notifier.reset();
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

void SignalWatcher::onActivated()
{
    signalfd_siginfo info{};
    if (::read(m_descriptor, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        Q_EMIT endRequested();
    }
}

} // namespace tarvex::devbus
