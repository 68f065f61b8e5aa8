#include "controlplace.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace tarvex::programs {

bool isPrivateFolder(const QString& path)
{
    struct stat status
    {
    };

    return QDir::isAbsolutePath(path) && ::lstat(QFile::encodeName(path).constData(), &status) == 0
        && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

QString ownTemporaryFolder()
{
    return QStringLiteral("%1/tarvex-devbus-%2").arg(QDir::tempPath()).arg(::geteuid());
}

QString controlSocketName()
{
    struct stat network
    {
    };

    // 0 where the system does not tell: then it tells none of its programs.
    const quint64 number = ::stat("/proc/self/ns/net", &network) == 0 ? network.st_ino : 0;
    return QStringLiteral("tarvex-devbus-%1.sock").arg(number);
}

} // namespace tarvex::programs
