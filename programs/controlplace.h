#ifndef CONTROLPLACE_H
#define CONTROLPLACE_H

#include <QString>

/// Where the development bus has its control socket: the bus makes it there, and other programs look for it.
///
/// It stands in the user's folder for such files (XDG_RUNTIME_DIR) or, where that is no private one, in a folder of the
/// user's own in the folder for temporary files.
namespace tarvex::programs {

/// The folder of the user's own; it need not exist.
QString ownTemporaryFolder();

/// The socket's name within its folder. It tells the network namespace, because each of them can have a bus.
QString controlSocketName();

} // namespace tarvex::programs

#endif // CONTROLPLACE_H
