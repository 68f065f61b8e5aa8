#ifndef CHILDPROCESS_H
#define CHILDPROCESS_H

#include <QProcess>
#include <QStringList>

/// A program of ours as a child process: what it prints, what it takes of the system, how it ends.
class ChildProcess
{
public:
    ChildProcess(const QString& program, const QStringList& arguments);
    ~ChildProcess();
    Q_DISABLE_COPY_MOVE(ChildProcess)

    void start();
    /// Waits until a line of its standard output begins with \a beginning.
    bool waitForLine(const QString& beginning, int timeoutMs = 30000);

    /// Waits until it has printed more. \return false when it has not in time, or has ended.
    bool waitForMore(int timeoutMs) { return m_process.waitForReadyRead(timeoutMs); }

    /// The lines of its standard output so far, over all its lives.
    QStringList lines();

    /// The lines of its standard output since the last call.
    QStringList takeNewLines();

    /// The lines of its standard error so far, over all its lives.
    QStringList errorLines();

    /// SIGKILL. \return whether it was alive.
    bool killHard();
    /// SIGSTOP: it hangs until it is resumed. It can still be killed.
    void hang();
    void resume();
    /// SIGTERM. \return the exit status, -1 when it had to be killed or crashed.
    int terminate();

    qint64 processId() const { return m_process.processId(); }

private:
    void readOutput();

    QProcess m_process;
    const QString m_program;
    const QStringList m_arguments;
    QByteArray m_output;
    int m_taken = 0; ///< So much of the output has been taken.
    QByteArray m_errorOutput;
};

#endif // CHILDPROCESS_H
