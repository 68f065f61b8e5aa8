#ifndef FAILURE_H
#define FAILURE_H

#include <QString>

#include <exception>
#include <utility>

namespace tarvexctl {

/// The exit statuses of the program.
enum ExitStatus {
    Done = 0,
    Refused = 1,      ///< The bus answered with an error code, or the receiver with an error.
    WrongUse = 2,     ///< The command line is wrong. The bus was not asked to change anything.
    NoBus = 3,        ///< No server, a refused handshake, a lost connection, or a server that is not a bus.
    TimedOut = 4,     ///< The bus is there, and nothing came in time.
    Interrupted = 130 ///< By SIGINT. The verbs that follow the bus also by SIGTERM and SIGHUP.
};

/// Ends a verb. main() writes the words to stderr and returns the status.
class Failure : public std::exception
{
public:
    Failure(ExitStatus status, QString words, quint16 code = 0)
        : m_status(status), m_words(std::move(words)), m_code(code)
    {
    }

    ExitStatus status() const { return m_status; }

    QString words() const { return m_words; }

    /// The bus's error code. 0 when the bus did not refuse.
    quint16 code() const { return m_code; }

    const char* what() const noexcept override { return "tarvexctl::Failure"; }

private:
    ExitStatus m_status;
    QString m_words;
    quint16 m_code;
};

} // namespace tarvexctl

#endif // FAILURE_H
