#include "interrupts.h"

#include "failure.h"
#include "output.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace tarvexctl {

namespace {

/// What a user or the system sends to end a program in order.
constexpr int INTERRUPTS[] = {SIGINT, SIGTERM, SIGHUP};

// A signal handler has no place for data of its own.
std::atomic<const char*> lastWords{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free, "a signal handler must not wait for a lock");
std::atomic<bool> isPending{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler must not wait for a lock");
int wakeUp[2] = {-1, -1};

// Nothing is said when stderr takes nothing, because its reader may be the one that blocks the program.
void writeWords(const char* words, size_t size)
{
    pollfd stream{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&stream, 1, 0) == 1) {
        const ssize_t ignored = ::write(STDERR_FILENO, words, size);
        static_cast<void>(ignored);
    }
}

// Calls only what is safe in a signal handler. Output that was printed before is not lost, because it is written
// without a buffer.
void endAtOnce(int)
{
    if (const char* const words = lastWords) {
        writeWords(words, std::strlen(words));
    }
    static const char words[] = "tarvexctl: interrupted\n";
    writeWords(words, sizeof words - 1);
    ::_exit(Interrupted);
}

void noteInterrupt(int signal)
{
    if (isPending.exchange(true)) {
        endAtOnce(signal);
    }
    const int error = errno;
    const char byte = 0;
    const ssize_t ignored = ::write(wakeUp[1], &byte, 1);
    static_cast<void>(ignored);
    errno = error;
}

/// A shell starts background jobs with the signal ignored, because the signal is not meant for them. So does nohup.
bool isIgnored(int signal)
{
    struct sigaction action = {};
    ::sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

void handle(int signal, void (*handler)(int))
{
    if (!isIgnored(signal)) {
        struct sigaction action = {};
        action.sa_handler = handler;
        action.sa_flags = SA_RESTART; // so that a line that is being written becomes complete
        ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

void endOnInterrupt()
{
    handle(SIGINT, endAtOnce);
}

WordsOnInterrupt::WordsOnInterrupt(const QString& words)
    : m_line((QLatin1String("tarvexctl: ") + visible(words) + QLatin1Char('\n')).toUtf8())
{
    lastWords = m_line.constData();
}

WordsOnInterrupt::~WordsOnInterrupt()
{
    lastWords = nullptr;
}

InterruptWatcher::InterruptWatcher()
{
    if (::pipe2(wakeUp, O_CLOEXEC | O_NONBLOCK) != 0) {
        return; // the signals keep their meaning
    }
    m_notifier = std::make_unique<QSocketNotifier>(wakeUp[0], QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] {
        m_notifier->setEnabled(false);
        Q_EMIT interrupted();
    });
    for (const int signal : INTERRUPTS) {
        handle(signal, noteInterrupt);
    }
}

InterruptWatcher::~InterruptWatcher() = default;

void leaveAfterInterrupt(int patienceMs)
{
    // The byte in the pipe is never taken out, so this thread sees it as well as the watcher. The thread runs until the
    // program ends; it uses nothing that is destroyed then.
    std::thread([patienceMs, descriptor = wakeUp[0]] {
        pollfd pipe{descriptor, POLLIN, 0};
        while (::poll(&pipe, 1, -1) < 0 && errno == EINTR) { }
        if ((pipe.revents & POLLIN) != 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(patienceMs));
            endAtOnce(SIGINT);
        }
    }).detach();
}

SignalsIgnored::SignalsIgnored(std::initializer_list<int> signalNumbers)
{
    struct sigaction ignoring = {};
    ignoring.sa_handler = SIG_IGN;
    for (const int signal : signalNumbers) {
        struct sigaction before = {};
        ::sigaction(signal, &ignoring, &before);
        m_before.emplace_back(signal, before);
    }
}

void SignalsIgnored::restore() const
{
    for (const auto& signal : m_before) {
        ::sigaction(signal.first, &signal.second, nullptr);
    }
}

InterruptsHeldBack::InterruptsHeldBack()
{
    sigset_t signalSet = {};
    ::sigemptyset(&signalSet);
    for (const int signal : INTERRUPTS) {
        // An ignored signal that is blocked would wait as well, and then look as if it had come to end the program.
        if (!isIgnored(signal)) {
            ::sigaddset(&signalSet, signal);
        }
    }
    ::pthread_sigmask(SIG_BLOCK, &signalSet, &m_before);
}

InterruptsHeldBack::~InterruptsHeldBack()
{
    ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

bool InterruptsHeldBack::isInterrupted()
{
    sigset_t signalSet = {};
    ::sigpending(&signalSet);
    for (const int signal : INTERRUPTS) {
        if (::sigismember(&signalSet, signal) == 1) {
            return true;
        }
    }
    return false;
}

} // namespace tarvexctl
