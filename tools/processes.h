#ifndef PROCESSES_H
#define PROCESSES_H

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

/// Processes and their connections, as the kernel's tables in /proc tell of them. Nothing is asked of the processes
/// themselves.
namespace tarvexctl {

struct Process
{
    qint64 pid = 0;
    QString name;           ///< Of the program's file, as it was called.
    QString commandLine;    ///< The arguments joined by blanks; empty when the process has none.
    QString user;           ///< The name, or the number when the system knows no name.
    bool isStopped = false; ///< By SIGSTOP or by a debugger.
    // Whether the file was removed or replaced since the start. False when it is unknown.
    bool isReplaced = false;        ///< The program's.
    bool isLibraryReplaced = false; ///< That of libtarvexlib.
    /// When it was started: from the time since the boot, and from the clock as it is now. So it does not change the
    /// meaning when somebody sets the clock, unlike a time that the process itself has noted.
    QDateTime startedAt;
};

/// One socket of this network namespace.
struct Socket
{
    quint16 port = 0;         ///< The bus's port: the own one of a listener, the other side's of a connection.
    bool isOpenToAll = false; ///< A listener that takes connections from other machines as well.
    uint user = 0;            ///< The id of the user who made it.
    quint64 inode = 0;
    QList<Process> holders; ///< Those that this user may see. Usually one; several after a fork.
};

/// What listens on the ports.
QList<Socket> listenersOn(const QList<quint16>& ports);

/// The clients' sides of the connections to the ports.
QList<Socket> connectionsTo(const QList<quint16>& ports);

/// \return nothing when there is no such process
std::optional<Process> processOf(qint64 pid);

/// The user's name, or the number when the system knows no name.
QString userName(uint id);

} // namespace tarvexctl

#endif // PROCESSES_H
