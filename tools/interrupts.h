#ifndef INTERRUPTS_H
#define INTERRUPTS_H

#include <QObject>
#include <QSocketNotifier>

#include <memory>

namespace tarvexctl {

/// Ends the program on SIGINT, at once. For the verbs that leave nothing behind: the library's waits block and do not
/// look at signals, so the handler itself has to do it.
void endOnInterrupt();

/// Tells of the first SIGINT, SIGTERM or SIGHUP by a Qt signal, for the verbs that have something to put in order; the
/// second one ends the program at once. One that the program was started with ignored stays ignored, as background jobs
/// and nohup want it. Made once, and never taken back.
class InterruptWatcher : public QObject
{
    Q_OBJECT
public:
    /// Needs the application object.
    InterruptWatcher();
    ~InterruptWatcher() override;

Q_SIGNALS:
    void interrupted();

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace tarvexctl

#endif // INTERRUPTS_H
