#ifndef CONTROLPLACE_H
#define CONTROLPLACE_H

#include <QString>

/// The place of the development bus's control socket. The bus makes the socket there, and other programs look for it
/// there.
///
/// The place is the user's folder for such files (XDG_RUNTIME_DIR). When that is not a private folder, it is a folder
/// of the user inside the folder for temporary files.
namespace tarvex::programs {

/// The user's folder inside the folder for temporary files. It need not exist.
QString ownTemporaryFolder();

/// The socket's name in its folder. The name holds the number of the network namespace, because each namespace can have
/// a bus.
QString controlSocketName();

} // namespace tarvex::programs

#endif // CONTROLPLACE_H
