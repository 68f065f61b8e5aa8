#ifndef QUITONSIGNAL_H
#define QUITONSIGNAL_H

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

/// Ends the event loop on SIGTERM and SIGINT, so that a service leaves the bus in order. Make it before any thread is
/// started: threads inherit what is blocked here.
class QuitOnSignal
{
public:
    QuitOnSignal()
        : m_descriptor(::signalfd(-1, blockedSignals(), SFD_CLOEXEC)), m_notifier(m_descriptor, QSocketNotifier::Read)
    {
        QObject::connect(&m_notifier, &QSocketNotifier::activated, QCoreApplication::instance(),
                         &QCoreApplication::quit);
    }

    ~QuitOnSignal() { ::close(m_descriptor); }
    Q_DISABLE_COPY_MOVE(QuitOnSignal)

private:
    static const sigset_t* blockedSignals()
    {
        static sigset_t signalSet;
        sigemptyset(&signalSet);
        sigaddset(&signalSet, SIGTERM);
        sigaddset(&signalSet, SIGINT);
        pthread_sigmask(SIG_BLOCK, &signalSet, nullptr);
        return &signalSet;
    }

    const int m_descriptor;
    QSocketNotifier m_notifier;
};

#endif // QUITONSIGNAL_H
