#include "fileinfo.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace tarvex::programs {

namespace {

using Look = int (*)(const char* path, struct stat* status); // stat or lstat

std::optional<struct stat> statusOf(const QString& path, Look look)
{
    struct stat status
    {
    };

    return look(QFile::encodeName(path).constData(), &status) == 0 ? std::optional<struct stat>(status) : std::nullopt;
}

} // namespace

std::optional<FileIdentity> fileIdentity(const QString& path)
{
    const std::optional<struct stat> status = statusOf(path, ::stat);
    return status ? std::optional<FileIdentity>({status->st_dev, status->st_ino}) : std::nullopt;
}

bool isPrivateFolder(const QString& path)
{
    const std::optional<struct stat> status = statusOf(path, ::lstat);
    return QDir::isAbsolutePath(path) && status && S_ISDIR(status->st_mode) && status->st_uid == ::geteuid()
        && (status->st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

} // namespace tarvex::programs
