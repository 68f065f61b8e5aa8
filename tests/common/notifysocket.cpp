#include "notifysocket.h"

#include "literals.h"

#include <QUuid>

#include <algorithm>
#include <cstddef>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

NotifySocket::NotifySocket(Kind kind)
    : m_address(kind == Kind::Path ? m_folder.filePath(u"notify"_s)
                                   : QLatin1Char('@') + QUuid::createUuid().toString(QUuid::WithoutBraces))
    , m_descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const QByteArray name = m_address.toLocal8Bit();
    std::copy(name.cbegin(), name.cend(), address.sun_path);
    if (kind == Kind::Abstract) {
        address.sun_path[0] = '\0';
    }
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<size_t>(name.size()));
    if (::bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), size) != 0) {
        qFatal("cannot listen as systemd does");
    }
}

NotifySocket::~NotifySocket()
{
    ::close(m_descriptor);
}

QStringList NotifySocket::reports()
{
    QByteArray report(65536, Qt::Uninitialized);
    ssize_t size = 0;
    while ((size = ::recv(m_descriptor, report.data(), static_cast<size_t>(report.size()), 0)) > 0) {
        m_reports.append(QString::fromUtf8(report.constData(), static_cast<int>(size)));
    }
    return m_reports;
}
