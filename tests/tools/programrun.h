#ifndef PROGRAMRUN_H
#define PROGRAMRUN_H

#include <QByteArray>
#include <QProcess>
#include <QStringList>
#include <QVariantMap>

#include <functional>

/// One run of tarvexctl.
class ProgramRun
{
public:
    /// Starts the program; SIGINT has its default meaning there, however the test itself was started.
    explicit ProgramRun(const QStringList& arguments);
    /// The same with its stdout piped into \a reader.
    ProgramRun(const QStringList& arguments, QProcess& reader);
    ~ProgramRun();
    Q_DISABLE_COPY_MOVE(ProgramRun)

    /// The program's file.
    static QString program();

    /// Waits for the end, up to \a patienceMs. \return the exit status; -1 when it did not end, or crashed.
    int status(int patienceMs = 20000);

    /// Waits until it has written so many lines to stdout, or \a words to stderr so many times, up to 20 s.
    bool waitForLines(int count);
    bool waitForWords(const QByteArray& words, int count = 1);

    void sendSignal(int signal);

    /// What it wrote, to be asked after status() or one of the waits.
    QByteArray out() const { return m_out; }

    QByteArray err() const { return m_err; }

    /// The lines of out(), each of which must be one JSON object; empty when one is not.
    QList<QVariantMap> objects() const;

    qint64 processId() const { return m_process.processId(); }

private:
    void start(const QStringList& arguments);
    bool waitFor(const std::function<bool()>& condition);
    void readOutput();

    QProcess m_process;
    QByteArray m_out;
    QByteArray m_err;
};

#endif // PROGRAMRUN_H
