#ifndef HELPERPROCESS_H
#define HELPERPROCESS_H

#include <QByteArray>
#include <QList>

#include <sys/types.h>

/// A program that runs as long as this object exists. It also ends when this process ends in the middle of a run.
/// There is no QProcess here, because that would add its own work to this process's event loop.
class HelperProcess
{
public:
    explicit HelperProcess(const QList<QByteArray>& command);
    ~HelperProcess();
    Q_DISABLE_COPY_MOVE(HelperProcess)

    /// This program itself, as the other side named \a kind.
    static QList<QByteArray> server(const QByteArray& kind, const QList<QByteArray>& arguments = {});

    /// Writes to its standard input.
    void send(const QByteArray& bytes);
    /// The next line of its standard output, without the line's end. Blocks.
    QByteArray readLine();
    /// Sends a command of control.h, with its bytes, and waits until it was taken.
    void command(const QByteArray& name, const QByteArray& bytes);

private:
    pid_t m_pid = -1;
    int m_input = -1;
    int m_output = -1;
};

#endif // HELPERPROCESS_H
