#include "standardstreams.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace tarvex::programs {

void holdStandardStreams()
{
    // Opened for reading only, so that writing fails as on a closed stream. open() takes the lowest free number.
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = ::open("/dev/null", O_RDONLY);
    }
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

QString writeAll(int descriptor, const QByteArray& bytes)
{
    for (int written = 0; written < bytes.size();) {
        const ssize_t count =
            ::write(descriptor, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (count >= 0) {
            written += static_cast<int>(count);
        } else if (errno == EBADF) {
            return QStringLiteral("it is closed"); // or holdStandardStreams() holds its number
        } else if (errno != EINTR) {
            return QString::fromUtf8(std::strerror(errno));
        }
    }
    return QString();
}

} // namespace tarvex::programs
