#ifndef CHILDPROCESS_H
#define CHILDPROCESS_H

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>

/// A program as a child process of a test: what it prints, which signals it gets, how it ends. All tests use this
/// class. A wait gives up after PATIENCE_MS unless another time is given. The destructor kills the process.
class ChildProcess
{
public:
    static constexpr int PATIENCE_MS = 30000;

    explicit ChildProcess(const QString& program, const QStringList& arguments = {});
    ~ChildProcess();
    Q_DISABLE_COPY_MOVE(ChildProcess)

    // To be called before start().
    void setVariable(const QString& name, const QString& value);
    void removeVariable(const QString& name);
    /// Sends its standard output to \a reader, which the caller starts.
    void pipeInto(QProcess& reader);
    /// Runs \a step in the child between fork and exec, where it may call system functions only.
    void setStepBeforeProgram(const std::function<void()>& step);

    /// Starts the process, also again after it has ended. \return whether it runs.
    bool start();

    // Waits. Each returns whether it has seen what it waits for. It ends early if the process ends.

    bool waitFor(const std::function<bool()>& condition, int timeoutMs = PATIENCE_MS);
    /// Until a line of its standard output begins with \a beginning.
    bool waitForLine(const QString& beginning, int timeoutMs = PATIENCE_MS);
    /// Until its standard output has this many lines.
    bool waitForLines(int count);
    /// Until its standard error holds \a words this many times.
    bool waitForWords(const QByteArray& words, int count = 1);
    /// Until it has printed more than before.
    bool waitForMore(int timeoutMs);

    // What it has printed so far, over all its lives.

    QByteArray out();
    QByteArray err();
    /// Whole lines only.
    QStringList lines();
    QStringList errorLines();
    /// The lines of its standard output since the last call.
    QStringList takeNewLines();
    /// The lines of its standard output as JSON objects. Empty if a line is no JSON object.
    QList<QVariantMap> objects();

    // Its end.

    /// Waits for the end. \return the exit status; -1 if the process did not end in time or crashed.
    int status(int patienceMs = PATIENCE_MS);
    /// SIGTERM. \return as status().
    int terminate();
    /// SIGKILL. \return whether it was alive.
    bool killHard();

    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }

    qint64 processId() const { return m_process.processId(); }

    void sendSignal(int signal);
    /// SIGSTOP: it hangs until it is resumed. It can still be killed.
    void hang();
    void resume();

private:
    class Process : public QProcess
    {
    public:
        std::function<void()> stepBeforeProgram;

    protected:
        void setupChildProcess() override;
    };

    void readOutput();

    Process m_process;
    const QString m_program;
    const QStringList m_arguments;
    QByteArray m_output;
    int m_taken = 0; ///< Where takeNewLines() goes on.
    QByteArray m_errorOutput;
};

#endif // CHILDPROCESS_H
