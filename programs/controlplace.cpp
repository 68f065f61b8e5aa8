#include "controlplace.h"

#include "fileinfo.h"

#include <QDir>

#include <unistd.h>

namespace tarvex::programs {

QString ownTemporaryFolder()
{
    return QStringLiteral("%1/tarvex-devbus-%2").arg(QDir::tempPath()).arg(::geteuid());
}

QString controlSocketName()
{
    const std::optional<FileIdentity> network = fileIdentity(QStringLiteral("/proc/self/ns/net"));
    // 0 when the system does not tell the number. It does not tell it to any program then.
    return QStringLiteral("tarvex-devbus-%1.sock").arg(network ? network->inode : 0);
}

} // namespace tarvex::programs
