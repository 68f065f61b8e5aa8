#include "busclient.h"
#include "devbusprogram.h"
#include "notifysocket.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <arpa/inet.h>
#include <fcntl.h>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

const QString READY = u"READY=1"_s;
const QString STOPPING = u"STOPPING=1"_s;
const QString HANDSHAKE = u"handshake"_s;
const QString WANTED =
    u"; the bus takes one listening TCP socket of 127.0.0.1 port 45535 and one of port 45537, or none"_s;

/// A socket that programs inherit. In words: the protocol, the address, the port, and "idle" if it does not listen.
class PassedSocket
{
public:
    explicit PassedSocket(const QString& words)
    {
        const QStringList word = words.split(QLatin1Char(' '));
        const bool isTcp = word.value(0) == u"tcp"_s;
        const bool isIpv6 = word.value(1).contains(QLatin1Char(':'));
        const int domain = word.value(0) == u"unix"_s ? AF_UNIX : isIpv6 ? AF_INET6 : AF_INET;
        const int low = ::socket(domain, domain == AF_UNIX || isTcp ? SOCK_STREAM : SOCK_DGRAM, 0);
        m_descriptor = ::fcntl(low, F_DUPFD, ABOVE_THOSE_OF_A_SHELL);
        ::close(low);
        if (domain != AF_UNIX) {
            bindTo(word.value(1), word.value(2).toUShort(), isIpv6);
        }
        if (isTcp && !word.contains(u"idle"_s)) {
            ::listen(m_descriptor, SOMAXCONN);
        }
    }

    PassedSocket(PassedSocket&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) { }

    ~PassedSocket() { ::close(m_descriptor); }
    Q_DISABLE_COPY(PassedSocket)
    PassedSocket& operator=(PassedSocket&&) = delete;

    int descriptor() const { return m_descriptor; }

private:
    static constexpr int ABOVE_THOSE_OF_A_SHELL = 300;

    void bindTo(const QString& host, quint16 port, bool isIpv6) const
    {
        sockaddr_in6 address6 = {};
        sockaddr_in address4 = {};
        address6.sin6_family = AF_INET6;
        address4.sin_family = AF_INET;
        address6.sin6_port = address4.sin_port = htons(port);
        ::inet_pton(AF_INET6, qPrintable(host), &address6.sin6_addr);
        ::inet_pton(AF_INET, qPrintable(host), &address4.sin_addr);
        const int isOn = 1;
        ::setsockopt(m_descriptor, SOL_SOCKET, SO_REUSEADDR, &isOn, sizeof isOn);
        ::setsockopt(m_descriptor, SOL_SOCKET, SO_REUSEPORT, &isOn, sizeof isOn);
        const int result = isIpv6 ? ::bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address6), sizeof address6)
                                  : ::bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address4), sizeof address4);
        if (result != 0) {
            qFatal("cannot make the socket that is to be passed");
        }
    }

    int m_descriptor = -1;
};

using Sockets = std::vector<PassedSocket>;

Sockets socketsOf(const QStringList& words)
{
    Sockets sockets;
    for (const QString& word : words) {
        sockets.emplace_back(word);
    }
    return sockets;
}

Sockets busSockets()
{
    return socketsOf({u"tcp 127.0.0.1 45535"_s, u"tcp 127.0.0.1 45537"_s});
}

/// Words of a shell that pass the sockets as systemd does, to the program that the words are followed by. \a process is
/// the shell's word for the process that they are meant for.
QString passing(const Sockets& sockets, const QString& process = u"$$"_s)
{
    QString words = u"exec bash -c '"_s;
    int place = 3;
    for (const PassedSocket& socket : sockets) {
        words += u"exec %1<&%2 %2<&-; "_s.arg(place).arg(socket.descriptor());
        ++place;
    }
    return words
        + u"export LISTEN_FDS=%1 LISTEN_PID=%2; exec \"$0\" \"$@\"' \"$0\" \"$@\""_s.arg(place - 3).arg(process);
}

} // namespace

/// The development bus as a service of systemd: what it tells, and the sockets that it gets.
class TstTarvexDevbusSystemd : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void start_isReadyWhenBothPortsListen();
    void failedStart_isNotReady();
    void clients_areCountedInTheStatus();
    void end_isTold();
    void watchdog_isTold();
    void sockets_earlierConnectionIsServed();
    void sockets_stayWhenTheBusStartsAgain();
    void sockets_inOtherOrder_areUsed();
    void sockets_wrong_exitsWithOne_data();
    void sockets_wrong_exitsWithOne();
    void sockets_fileInstead_exitsWithOne();
    void sockets_ofAnotherProcess_areLeft();
    void sockets_badNumber_exitsWithOne();
    void systemdSocketActivate_firstConnectionStartsTheBus();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstTarvexDevbusSystemd::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    qputenv("XDG_RUNTIME_DIR", m_folder->path().toUtf8());
}

void TstTarvexDevbusSystemd::start_isReadyWhenBothPortsListen()
{
    NotifySocket systemd;
    DevbusProgram program({u"--memory"_s});
    program.setVariable(u"NOTIFY_SOCKET"_s, systemd.address());
    QVERIFY(program.start());
    QVERIFY(program.waitFor([&systemd] { return systemd.count(READY) == 1; }));
    QVERIFY(BusClient(BusClient::QUERY_PORT).isConnected());
    QVERIFY(BusClient(BusClient::RECEIVER_PORT).isConnected());
}

void TstTarvexDevbusSystemd::failedStart_isNotReady()
{
    const PassedSocket other(u"tcp 127.0.0.1 45537"_s);
    NotifySocket systemd;
    DevbusProgram program({u"--memory"_s});
    program.setVariable(u"NOTIFY_SOCKET"_s, systemd.address());
    QCOMPARE(program.run().constFirst(), u"1"_s);
    QCOMPARE(systemd.reports(), QStringList(STOPPING));
}

void TstTarvexDevbusSystemd::clients_areCountedInTheStatus()
{
    NotifySocket systemd;
    DevbusProgram program({u"--memory"_s});
    program.setVariable(u"NOTIFY_SOCKET"_s, systemd.address());
    QVERIFY(program.becomesReady());
    const auto tells = [&](const QString& status) {
        return program.waitFor([&] { return systemd.reports().constLast() == u"STATUS="_s + status; });
    };
    {
        const BusClient query(BusClient::QUERY_PORT, u"printer"_s);
        const BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
        QVERIFY(tells(u"1 client"_s));
        const BusClient other(BusClient::QUERY_PORT, u"cashbox"_s);
        QVERIFY(tells(u"2 clients"_s));
    }
    QVERIFY(tells(u"0 clients"_s));
}

void TstTarvexDevbusSystemd::end_isTold()
{
    NotifySocket systemd;
    DevbusProgram program({u"--memory"_s});
    program.setVariable(u"NOTIFY_SOCKET"_s, systemd.address());
    QVERIFY(program.becomesReady());
    QCOMPARE(program.terminate(), 0);
    QCOMPARE(systemd.reports(), QStringList({u"STATUS=0 clients"_s, READY, STOPPING}));
}

void TstTarvexDevbusSystemd::watchdog_isTold()
{
    NotifySocket systemd;
    DevbusProgram program({u"--memory"_s});
    program.setVariable(u"NOTIFY_SOCKET"_s, systemd.address());
    program.setVariable(u"WATCHDOG_USEC"_s, u"20000"_s);
    QVERIFY(program.start());
    QVERIFY(program.waitFor([&systemd] { return systemd.count(u"WATCHDOG=1"_s) >= 3; }));
}

void TstTarvexDevbusSystemd::sockets_earlierConnectionIsServed()
{
    const Sockets sockets = busSockets();
    BusClient early(BusClient::QUERY_PORT);
    QVERIFY(early.sendRequest(HANDSHAKE, {{u"name"_s, u"early"_s}}));
    DevbusProgram program(passing(sockets), {u"--memory"_s});
    QVERIFY(program.becomesReady());
    QCOMPARE(early.read().code, 0);
    QVERIFY(BusClient(BusClient::RECEIVER_PORT, u"early"_s).isQuiet());
    QCOMPARE(program.terminate(), 0);
    QCOMPARE(program.err(), QByteArray());
}

void TstTarvexDevbusSystemd::sockets_stayWhenTheBusStartsAgain()
{
    const Sockets sockets = busSockets();
    DevbusProgram program(passing(sockets), {u"--memory"_s});
    QVERIFY(program.becomesReady());
    QCOMPARE(program.terminate(), 0);
    BusClient between(BusClient::QUERY_PORT);
    QVERIFY(between.isConnected());
    QVERIFY(between.sendRequest(HANDSHAKE, {{u"name"_s, u"between"_s}}));
    QVERIFY(program.becomesReady());
    QCOMPARE(between.read().code, 0);
}

void TstTarvexDevbusSystemd::sockets_inOtherOrder_areUsed()
{
    const Sockets sockets = socketsOf({u"tcp 127.0.0.1 45537"_s, u"tcp 127.0.0.1 45535"_s});
    DevbusProgram program(passing(sockets), {u"--memory"_s});
    QVERIFY(program.becomesReady());
    QCOMPARE(BusClient(BusClient::QUERY_PORT, u"a"_s).ask(u"loadState"_s, {{u"owner"_s, u"a"_s}}).code, 5);
}

void TstTarvexDevbusSystemd::sockets_wrong_exitsWithOne_data()
{
    QTest::addColumn<QStringList>("passed");
    QTest::addColumn<QString>("mistake");
    const QString query = u"tcp 127.0.0.1 45535"_s;
    const QString receiver = u"tcp 127.0.0.1 45537"_s;
    QTest::newRow("receiver missing") << QStringList{query} << u"no socket of port 45537"_s;
    QTest::newRow("query missing") << QStringList{receiver} << u"no socket of port 45535"_s;
    QTest::newRow("all addresses") << QStringList{u"tcp 0.0.0.0 45535"_s, receiver}
                                   << u"a TCP socket of 0.0.0.0 port 45535 that listens"_s;
    QTest::newRow("other loopback address")
        << QStringList{query, u"tcp 127.0.0.2 45537"_s} << u"a TCP socket of 127.0.0.2 port 45537 that listens"_s;
    QTest::newRow("IPv6") << QStringList{u"tcp ::1 45535"_s, receiver}
                          << u"a TCP socket of ::1 port 45535 that listens"_s;
    QTest::newRow("other port") << QStringList{query, u"tcp 127.0.0.1 45536"_s}
                                << u"a TCP socket of 127.0.0.1 port 45536 that listens"_s;
    QTest::newRow("further socket") << QStringList{query, receiver, u"tcp 127.0.0.1 8080"_s}
                                    << u"a TCP socket of 127.0.0.1 port 8080 that listens"_s;
    QTest::newRow("not listening") << QStringList{query, u"tcp 127.0.0.1 45537 idle"_s}
                                   << u"a TCP socket of 127.0.0.1 port 45537 that does not listen"_s;
    QTest::newRow("UDP") << QStringList{u"udp 127.0.0.1 45535"_s, receiver}
                         << u"a socket of 127.0.0.1 port 45535 that is not for TCP"_s;
    QTest::newRow("Unix") << QStringList{u"unix"_s} << u"a socket that is not of the Internet's families"_s;
    QTest::newRow("two of a port") << QStringList{query, query, receiver} << u"two sockets of port 45535"_s;
}

void TstTarvexDevbusSystemd::sockets_wrong_exitsWithOne()
{
    QFETCH(QStringList, passed);
    QFETCH(QString, mistake);
    const Sockets sockets = socketsOf(passed);
    NotifySocket systemd;
    DevbusProgram program(passing(sockets), {u"--memory"_s});
    program.setVariable(u"NOTIFY_SOCKET"_s, systemd.address());
    QCOMPARE(program.run(), complained(1, u"systemd has passed "_s + mistake + WANTED));
    QCOMPARE(systemd.count(READY), 0);
}

/// A file instead of a socket, as systemd passes it for a special file.
void TstTarvexDevbusSystemd::sockets_fileInstead_exitsWithOne()
{
    DevbusProgram program(u"exec 3</dev/null; export LISTEN_FDS=1 LISTEN_PID=$$"_s, {u"--memory"_s});
    QCOMPARE(program.run(), complained(1, u"systemd has passed something that is no socket"_s + WANTED));
}

void TstTarvexDevbusSystemd::sockets_ofAnotherProcess_areLeft()
{
    const Sockets sockets = socketsOf({u"tcp 127.0.0.1 8080"_s});
    DevbusProgram program(passing(sockets, u"$PPID"_s), {u"--memory"_s});
    QVERIFY(program.becomesReady());
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"a"_s).isConnected());
}

void TstTarvexDevbusSystemd::sockets_badNumber_exitsWithOne()
{
    DevbusProgram program(u"export LISTEN_FDS=both LISTEN_PID=$$"_s, {u"--memory"_s});
    QCOMPARE(program.run(), complained(1, u"cannot tell which sockets systemd has passed: Invalid argument"_s));
}

void TstTarvexDevbusSystemd::systemdSocketActivate_firstConnectionStartsTheBus()
{
    const QString program = QStandardPaths::findExecutable(u"systemd-socket-activate"_s);
    QVERIFY2(!program.isEmpty(), "the package systemd is missing");
    ChildProcess systemd(program,
                         {u"-l"_s, u"127.0.0.1:45535"_s, u"-l"_s, u"127.0.0.1:45537"_s, u"-E"_s, u"XDG_RUNTIME_DIR"_s,
                          QStringLiteral(TARVEX_DEVBUS), u"--memory"_s});
    QVERIFY(systemd.start());
    QVERIFY(systemd.waitForWords("Listening on 127.0.0.1:45537"));
    QVERIFY(systemd.lines().isEmpty());
    BusClient receiver(BusClient::RECEIVER_PORT, u"first"_s);
    QVERIFY(receiver.isQuiet());
    QVERIFY(systemd.waitForLine(u"tarvex-devbus: ready on "_s));
    QCOMPARE(BusClient(BusClient::QUERY_PORT, u"first"_s).ask(u"loadState"_s, {{u"owner"_s, u"a"_s}}).code, 5);
    QCOMPARE(systemd.terminate(), 0);
}

QTEST_GUILESS_MAIN(TstTarvexDevbusSystemd)
#include "tst_tarvexdevbus_systemd.moc"
