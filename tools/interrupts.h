#ifndef INTERRUPTS_H
#define INTERRUPTS_H

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <csignal>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace tarvexctl {

/// Ends the program on SIGINT, at once. For the verbs that have nothing to undo. The signal handler itself ends the
/// program, because the library's waits block and do not look at signals.
void endOnInterrupt();

/// While it exists, a SIGINT that ends the program at once writes these words first, as tellFailure() does. For what
/// the user must know to go on later. There is one at a time.
class WordsOnInterrupt
{
public:
    explicit WordsOnInterrupt(const QString& words);
    ~WordsOnInterrupt();
    WordsOnInterrupt(const WordsOnInterrupt&) = delete;
    WordsOnInterrupt& operator=(const WordsOnInterrupt&) = delete;

private:
    const QByteArray m_line;
};

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

/// Ends the program on its own when it is still there this time after InterruptWatcher's first signal. For verbs that
/// write in the main thread: a reader of stdout that takes nothing blocks it. Called once, after the watcher is made.
void leaveAfterInterrupt(int patienceMs);

/// While it exists, these signals are ignored.
class SignalsIgnored
{
public:
    explicit SignalsIgnored(std::initializer_list<int> signalNumbers);

    ~SignalsIgnored() { restore(); }

    SignalsIgnored(const SignalsIgnored&) = delete;
    SignalsIgnored& operator=(const SignalsIgnored&) = delete;

    /// Gives the signals the meaning that they had before. May be called in a child process before its program.
    void restore() const;

private:
    std::vector<std::pair<int, struct sigaction>> m_before;
};

/// While it exists, SIGINT, SIGTERM and SIGHUP wait. A signal that has come acts when this object is destroyed. For
/// work that must not stop in the middle. A signal that is ignored stays ignored.
class InterruptsHeldBack
{
public:
    InterruptsHeldBack();
    ~InterruptsHeldBack();
    InterruptsHeldBack(const InterruptsHeldBack&) = delete;
    InterruptsHeldBack& operator=(const InterruptsHeldBack&) = delete;

    /// Whether one of the signals has come.
    static bool isInterrupted();

private:
    sigset_t m_before = {};
};

} // namespace tarvexctl

#endif // INTERRUPTS_H
