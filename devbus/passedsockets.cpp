#include "passedsockets.h"

#include "wire/busterms_p.h"
#include "words.h"

#include <QHostAddress>

#include <netinet/in.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>

namespace tarvex::devbus {

using programs::Words;

namespace {

bool isBusSocket(int descriptor, quint16 port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    constexpr int IS_LISTENING = 1;
    return ::sd_is_socket_sockaddr(descriptor, SOCK_STREAM, reinterpret_cast<const sockaddr*>(&address), sizeof address,
                                   IS_LISTENING)
        > 0;
}

QString addressOf(const sockaddr_storage& address)
{
    // The port is at the same place for both families.
    const quint16 port = ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
    return Words::tr("%1 port %2")
        .arg(QHostAddress(reinterpret_cast<const sockaddr*>(&address)).toString(), QString::number(port));
}

/// What systemd has passed, for those who look for the mistake in the unit.
QString shown(int descriptor)
{
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return Words::tr("something that is no socket");
    }
    if (address.ss_family != AF_INET && address.ss_family != AF_INET6) {
        return Words::tr("a socket that is not of the Internet's families");
    }
    if (::sd_is_socket(descriptor, AF_UNSPEC, SOCK_STREAM, -1) <= 0) {
        return Words::tr("a socket of %1 that is not for TCP").arg(addressOf(address));
    }
    const bool isListening = ::sd_is_socket(descriptor, AF_UNSPEC, SOCK_STREAM, 1) > 0;
    return (isListening ? Words::tr("a TCP socket of %1 that listens")
                        : Words::tr("a TCP socket of %1 that does not listen"))
        .arg(addressOf(address));
}

TarvexError failure(const QString& what)
{
    return {LocalFailure,
            Words::tr("systemd has passed %1; the bus takes one listening TCP socket of 127.0.0.1 port %2 and one of "
                      "port %3, or none")
                .arg(what, QString::number(busterms::QUERY_PORT), QString::number(busterms::RECEIVER_PORT))};
}

/// \return an empty text when the socket is the bus's, otherwise what is wrong with it.
QString take(int descriptor, BusServer::Options& options)
{
    const bool isQuery = isBusSocket(descriptor, busterms::QUERY_PORT);
    if (!isQuery && !isBusSocket(descriptor, busterms::RECEIVER_PORT)) {
        return shown(descriptor);
    }
    int& place = isQuery ? options.querySocket : options.receiverSocket;
    if (place >= 0) {
        return Words::tr("two sockets of port %1").arg(isQuery ? busterms::QUERY_PORT : busterms::RECEIVER_PORT);
    }
    place = descriptor;
    return QString();
}

} // namespace

TarvexError takePassedSockets(BusServer::Options& options)
{
    constexpr int UNSET_ENVIRONMENT = 1;
    const int count = ::sd_listen_fds(UNSET_ENVIRONMENT);
    if (count < 0) {
        return {LocalFailure,
                Words::tr("cannot tell which sockets systemd has passed: %1").arg(qt_error_string(-count))};
    }
    for (int descriptor = SD_LISTEN_FDS_START; descriptor < SD_LISTEN_FDS_START + count; ++descriptor) {
        const QString mistake = take(descriptor, options);
        if (!mistake.isEmpty()) {
            return failure(mistake);
        }
    }
    if ((options.querySocket < 0) != (options.receiverSocket < 0)) {
        const quint16 missing = options.querySocket < 0 ? busterms::QUERY_PORT : busterms::RECEIVER_PORT;
        return failure(Words::tr("no socket of port %1").arg(missing));
    }
    return {};
}

} // namespace tarvex::devbus
