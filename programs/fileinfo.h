#ifndef FILEINFO_H
#define FILEINFO_H

#include <QString>

#include <optional>

/// What the system knows about files and Qt does not tell.
namespace tarvex::programs {

/// Tells one file from every other, whatever its name is.
struct FileIdentity
{
    quint64 device;
    quint64 inode;

    bool operator==(const FileIdentity& other) const { return device == other.device && inode == other.inode; }
};

/// The file that \a path leads to; links are followed. Empty when there is none, and errno says why.
std::optional<FileIdentity> fileIdentity(const QString& path);

/// Whether \a path is an absolute one of a folder, no link to one, that only this user can look into.
bool isPrivateFolder(const QString& path);

} // namespace tarvex::programs

#endif // FILEINFO_H
