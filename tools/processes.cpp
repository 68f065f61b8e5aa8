#include "processes.h"

#include <QByteArrayList>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <algorithm>
#include <ctime>
#include <functional>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarvexctl {

namespace {

// The columns of /proc/net/tcp.
constexpr int COLUMN_LOCAL = 1;
constexpr int COLUMN_REMOTE = 2;
constexpr int COLUMN_STATE = 3;
constexpr int COLUMN_USER = 7;
constexpr int COLUMN_INODE = 9;
const char* const STATE_ESTABLISHED = "01";
const char* const STATE_LISTEN = "0A";

// The fields of /proc/PID/stat, counted from the one behind the program's name.
constexpr int FIELD_STATE = 0;
constexpr int FIELD_START = 19;

constexpr int HEXADECIMAL = 16;
constexpr qint64 MS_PER_S = 1000;
constexpr qint64 NS_PER_MS = 1000000;

QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Address
{
    QByteArray host; ///< Hexadecimal, as the kernel writes it.
    quint16 port = 0;
};

Address addressFrom(const QByteArray& text)
{
    const int colon = text.lastIndexOf(':');
    return {text.left(colon), text.mid(colon + 1).toUShort(nullptr, HEXADECIMAL)};
}

/// 127.0.0.1 as IPv4, as IPv6, and as IPv4 written in IPv6. The kernel writes each group of four bytes as a number.
bool isLoopback(const QByteArray& host)
{
    return host == "0100007F" || host == "00000000000000000000000001000000"
        || host == "0000000000000000FFFF00000100007F";
}

using Choice =
    std::function<bool(const Address& local, const Address& remote, const QByteArray& state, Socket& socket)>;

void readTable(const QString& path, const Choice& isWanted, QList<Socket>& sockets)
{
    const QByteArrayList lines = contentsOf(path).split('\n');
    for (const QByteArray& line : lines) {
        const QByteArrayList columns = line.simplified().split(' ');
        Socket socket;
        if (columns.size() > COLUMN_INODE
            && isWanted(addressFrom(columns.at(COLUMN_LOCAL)), addressFrom(columns.at(COLUMN_REMOTE)),
                        columns.at(COLUMN_STATE), socket)) {
            socket.user = columns.at(COLUMN_USER).toUInt();
            socket.inode = columns.at(COLUMN_INODE).toULongLong();
            sockets.append(socket);
        }
    }
}

/// The processes that hold the sockets of these numbers.
QHash<quint64, QList<qint64>> holdersOf(const QList<Socket>& sockets)
{
    QHash<QString, quint64> wanted;
    for (const Socket& socket : sockets) {
        wanted.insert(QStringLiteral("socket:[%1]").arg(socket.inode), socket.inode);
    }
    QHash<quint64, QList<qint64>> holders;
    const QStringList processes = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& name : processes) {
        bool isProcess = false;
        const qint64 pid = name.toLongLong(&isProcess);
        const QDir folder(QStringLiteral("/proc/%1/fd").arg(name));
        const QStringList descriptors = isProcess ? folder.entryList(QDir::AllEntries | QDir::System) : QStringList();
        for (const QString& descriptor : descriptors) {
            char target[64];
            const QByteArray path = QFile::encodeName(folder.filePath(descriptor));
            const ssize_t length = ::readlink(path.constData(), target, sizeof target);
            const quint64 inode = wanted.value(QString::fromLatin1(target, static_cast<int>(qMax<ssize_t>(length, 0))));
            if (inode != 0 && !holders.value(inode).contains(pid)) {
                holders[inode].append(pid);
            }
        }
    }
    return holders;
}

QList<Socket> socketsOf(const Choice& isWanted)
{
    QList<Socket> sockets;
    readTable(QStringLiteral("/proc/net/tcp"), isWanted, sockets);
    readTable(QStringLiteral("/proc/net/tcp6"), isWanted, sockets);
    const QHash<quint64, QList<qint64>> holders = sockets.isEmpty() ? decltype(holders)() : holdersOf(sockets);
    for (Socket& socket : sockets) {
        const QList<qint64> pids = holders.value(socket.inode);
        for (const qint64 pid : pids) {
            if (const std::optional<Process> process = processOf(pid)) {
                socket.holders.append(*process);
            }
        }
    }
    return sockets;
}

/// The moment that is so many ticks after the boot.
QDateTime timeAfterBoot(qint64 ticks)
{
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    const qint64 sinceBootMs = now.tv_sec * MS_PER_S + now.tv_nsec / NS_PER_MS;
    const qint64 ageMs = sinceBootMs - ticks * MS_PER_S / ::sysconf(_SC_CLK_TCK);
    return QDateTime::currentDateTime().addMSecs(-ageMs);
}

/// Whether the library that the process has loaded is no longer the file of that name.
bool hasReplacedLibrary(const QString& folder)
{
    const QByteArrayList lines = contentsOf(folder + QLatin1String("maps")).split('\n');
    return std::any_of(lines.begin(), lines.end(), [](const QByteArray& line) {
        return line.contains("/libtarvexlib.so") && line.endsWith(" (deleted)");
    });
}

QString nameFrom(const QByteArray& firstArgument, const QByteArray& shortName)
{
    const QString name = QFileInfo(QFile::decodeName(firstArgument)).fileName();
    return name.isEmpty() ? QFile::decodeName(shortName) : name;
}

} // namespace

QList<Socket> listenersOn(const QList<quint16>& ports)
{
    return socketsOf([&](const Address& local, const Address&, const QByteArray& state, Socket& socket) {
        socket.port = local.port;
        socket.isOpenToAll = !isLoopback(local.host);
        return state == STATE_LISTEN && ports.contains(local.port);
    });
}

QList<Socket> connectionsTo(const QList<quint16>& ports)
{
    return socketsOf([&](const Address&, const Address& remote, const QByteArray& state, Socket& socket) {
        socket.port = remote.port;
        return state == STATE_ESTABLISHED && ports.contains(remote.port);
    });
}

std::optional<Process> processOf(qint64 pid)
{
    const QString folder = QStringLiteral("/proc/%1/").arg(pid);
    const QByteArray stat = contentsOf(folder + QLatin1String("stat"));
    const int nameBegin = stat.indexOf('(') + 1;
    const int nameEnd = stat.lastIndexOf(')'); // the name may hold brackets
    const QByteArrayList fields = stat.mid(nameEnd + 2).split(' ');

    struct stat status
    {
    };

    if (nameEnd < nameBegin || fields.size() <= FIELD_START
        || ::stat(QFile::encodeName(folder).constData(), &status) != 0) {
        return std::nullopt;
    }
    const QByteArray commandLine = contentsOf(folder + QLatin1String("cmdline"));
    const QByteArrayList arguments = commandLine.split('\0');
    Process process;
    process.pid = pid;
    process.name = nameFrom(arguments.value(0), stat.mid(nameBegin, nameEnd - nameBegin));
    process.commandLine = QString::fromLocal8Bit(arguments.join(' ')).trimmed();
    process.user = userName(status.st_uid);
    process.isStopped = fields.at(FIELD_STATE) == "T" || fields.at(FIELD_STATE) == "t";
    process.isReplaced = QFile::symLinkTarget(folder + QLatin1String("exe")).endsWith(QLatin1String(" (deleted)"));
    process.isLibraryReplaced = hasReplacedLibrary(folder);
    process.startedAt = timeAfterBoot(fields.at(FIELD_START).toLongLong());
    return process;
}

QString userName(uint id)
{
    const passwd* const entry = ::getpwuid(id);
    return entry != nullptr ? QString::fromLocal8Bit(entry->pw_name) : QString::number(id);
}

} // namespace tarvexctl
