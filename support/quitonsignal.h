#ifndef QUITONSIGNAL_H
#define QUITONSIGNAL_H

#include "wexcorcore_export.h"

#include <QtGlobal>

#include <memory>

namespace wexcor {

/// Ends the event loop on SIGTERM and SIGINT, so that a service leaves in order: QCoreApplication::exec() returns, and
/// what main() has made is destroyed.
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
/// Make one in the main thread, after the QCoreApplication and before any thread is started, because the signals are
/// blocked in the thread that makes it, and only threads that this thread starts later inherit that. A signal that
/// another thread does not block ends the process at once. If a signal comes before exec(), exec() returns at once,
/// even if events were processed or another loop was run in between.
///
/// A second signal, while the service is ending, changes nothing. SIGQUIT and SIGKILL are not touched: they end the
/// process at once. A signal that was ignored before stays ignored, as SIGINT is in a background job of a shell script.
///
/// Programs that the process starts inherit the blocked signals, too. A program that the signals must end unblocks them
/// itself, or in QProcess::setupChildProcess().
///
/// If the system gives no file descriptor for the signals (signalfd() fails, mostly because too many files are open), a
/// warning is logged and the signals stay as they were: each ends the process at once.
class WEXCORCORE_EXPORT QuitOnSignal
{
public:
    QuitOnSignal(); ///< From now on the two signals end the event loop.
    /// Restores how this thread handled the signals before. Signals that have come and were not handled yet are
    /// dropped.
    ~QuitOnSignal();
    Q_DISABLE_COPY_MOVE(QuitOnSignal)

private:
    // Hidden, because a static of one of its inline functions would otherwise be bound once for the whole process and
    // keep the library loaded for ever. A QStringLiteral holds such a static.
    class Q_DECL_HIDDEN Watch;

    const std::unique_ptr<Watch> m_watch;
};

} // namespace wexcor

#endif // QUITONSIGNAL_H
