#ifndef SERVICEFILES_H
#define SERVICEFILES_H

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

class QDateTime;

namespace tarvexctl {

class ServiceName;

/// The contents of files by their paths in a folder.
using Files = QMap<QString, QByteArray>;

/// The files of a new service. \a maintainer and \a now go into its Debian package.
Files serviceFiles(const ServiceName& name, const QStringList& commands, const QString& maintainer,
                   const QDateTime& now);

/// Makes \a folder with these files. A file that begins with "#!" can be executed. The folder must not be there, or be
/// empty; the folder around it must be there. Throws Failure, and then nothing was written.
void writeFolder(const QString& folder, const Files& files);

} // namespace tarvexctl

#endif // SERVICEFILES_H
