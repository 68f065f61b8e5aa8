#ifndef SYSTEMDNOTIFIER_H
#define SYSTEMDNOTIFIER_H

#include "wexcorcore_export.h"

#include <QtGlobal>

#include <memory>

class QString;

namespace wexcor {

/// Tells systemd how the service is: that it is ready, that its main thread still works, and that it ends.
///
/// <!-- quote: docs/snippets/reference/service.cpp#main -->
/// \code
/// int main(int argc, char** argv)
/// {
///     QCoreApplication application(argc, argv);
///     const wexcor::QuitOnSignal quitOnSignal; // before any thread is started
///     const wexcor::SystemdNotifier systemdNotifier;
///     Printer service;
///     service.doStart();
///     return QCoreApplication::exec();
/// }
/// \endcode
///
/// A service that is not ready before something has answered says so itself:
///
/// <!-- quote: docs/snippets/reference/notifier.cpp#main -->
/// \code
/// QCoreApplication application(argc, argv);
/// const wexcor::QuitOnSignal quitOnSignal;
/// wexcor::SystemdNotifier systemdNotifier(wexcor::SystemdNotifier::Readiness::WhenTold);
/// Device device;
/// QObject::connect(&device, &Device::answered, &device, [&systemdNotifier] {
///     systemdNotifier.setReady(); // systemd now starts the units that come after this one
///     systemdNotifier.setStatus(QStringLiteral("the device answers"));
/// });
/// \endcode
///
/// Make one in the main thread, after the QCoreApplication and before the service, so that it outlives the service. The
/// unit has "Type=notify", and "WatchdogSec=" if systemd shall end and restart a service whose main thread hangs.
/// Without systemd, which means without NOTIFY_SOCKET in the environment, it does nothing and costs nothing.
///
/// The watchdog: systemd is told that the service lives, from the main thread's event loop, twice in the time of
/// WatchdogSec. If a slot of the main thread takes longer than that time, systemd ends the process by SIGABRT and
/// starts it again, as Restart= says. The threads of the workers are not watched: a worker that asks the bus may block
/// in one exchange for two minutes and is in order. The threads' work reaches the main thread as signals, so a service
/// that wants to watch a worker ends itself when the worker's signal stays away too long.
///
/// The end begins for systemd when the event loop ends (QCoreApplication::aboutToQuit()), or with this object.
/// TimeoutStopSec= of the unit is the time that the process has from then on.
///
/// Programs that the process starts inherit the environment. systemd does not listen to them as long as NotifyAccess=
/// of the unit is "main", which is what Type=notify means without it.
///
/// A report takes a system call. It waits while systemd takes no reports and the system's queue for them is full. If
/// systemd cannot be told, one warning is logged.
///
/// \see docs/deployment.md
class WEXCORCORE_EXPORT SystemdNotifier
{
public:
    /// When the service is ready, so that systemd starts the units that come after it.
    enum class Readiness {
        WithLoop, ///< As soon as an event loop runs in the main thread.
        WhenTold, ///< With setReady(), for example when the device of the service has answered.
    };

    /// \a readiness says when systemd is told that the service is ready.
    explicit SystemdNotifier(Readiness readiness = Readiness::WithLoop);
    /// Tells systemd that the service ends, unless that has been told already.
    ~SystemdNotifier();
    Q_DISABLE_COPY_MOVE(SystemdNotifier)

    /// Tells systemd that the service is ready. Further calls, and calls after the end has begun, do nothing. May be
    /// called from any thread.
    void setReady();

    /// Shows \a text in "systemctl status", as one line of at most 1000 characters. An empty text removes the former
    /// one. May be called from any thread.
    void setStatus(const QString& text);

private:
    // Hidden for the reason that QuitOnSignal names.
    class Q_DECL_HIDDEN Reporter;

    const std::unique_ptr<Reporter> m_reporter; ///< Null without systemd.
};

} // namespace wexcor

#endif // SYSTEMDNOTIFIER_H
