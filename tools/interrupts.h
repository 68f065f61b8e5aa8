#ifndef INTERRUPTS_H
#define INTERRUPTS_H

#include <QObject>
#include <QSocketNotifier>

#include <memory>

namespace tarvexctl {

/// Ends the program on SIGINT, at once. For the verbs that have nothing to undo. The signal handler itself ends the
/// program, because the library's waits block and do not look at signals.
void endOnInterrupt();

/// Emits a Qt signal for the first SIGINT, SIGTERM or SIGHUP. For the verbs that have something to undo. The second one
/// ends the program at once. A signal that was ignored when the program was started stays ignored, because background
/// jobs and nohup need that. Made once; the handlers stay.
class InterruptWatcher : public QObject
{
    Q_OBJECT
public:
    /// The application object must exist.
    InterruptWatcher();
    ~InterruptWatcher() override;

Q_SIGNALS:
    void interrupted();

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace tarvexctl

#endif // INTERRUPTS_H
