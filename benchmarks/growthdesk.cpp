#include "growthdesk.h"

#include "failure.h"
#include "records/message.h"
#include "require.h"
#include "storage.h"
#include "wire/busframe_p.h"
#include "wire/busterms_p.h"

#include <QFile>
#include <QThread>

#include <arpa/inet.h>
#include <csignal>
#include <ctime>
#include <map>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

using tarvex::devbus::Storage;
namespace busframe = tarvex::busframe;
namespace busterms = tarvex::busterms;

namespace {

constexpr unsigned long REST_US = 500;

QString storageIn(const QTemporaryDir& folder)
{
    return folder.filePath(QStringLiteral("bus.sqlite"));
}

void addMessages(Storage& storage, const QString& client, int messages)
{
    tarvex::Message message;
    message.setSender(QStringLiteral("cash_acceptor"));
    message.setReciever(client);
    message.setMessage(QStringLiteral(R"({"cmd":"print","data":{"copies":2,"text":"one way"}})"));
    const tarvex::TarvexError error = storage.write([&] {
        bool isDone = true;
        for (int number = 0; number < messages && isDone; ++number) {
            message.setUid(BusProcess::queuedUid(number));
            isDone = storage.addMessage(client, message);
        }
        return isDone;
    });
    require(!tarvex::devbus::isFailure(error), "messages cannot be stored");
}

/// A database with this many messages. It is made once and copied after that, because a large one takes seconds.
QString databaseWith(const QString& client, int messages)
{
    static const QTemporaryDir folder;
    static std::map<std::pair<QString, int>, QString> databases;
    QString& path = databases[{client, messages}];
    if (path.isEmpty()) {
        path = folder.filePath(QString::number(databases.size()));
        Storage storage(path);
        require(!tarvex::devbus::isFailure(storage.open()), "a storage cannot be opened");
        addMessages(storage, client, messages);
    }
    return path;
}

int connectTo(quint16 port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int yes = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    require(::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
            "the development bus takes no connection");
    return descriptor;
}

} // namespace

BusProcess::BusProcess(int keep)
    : m_process(QStringLiteral(DEVBUS),
                {QStringLiteral("--storage"), storageIn(m_folder), QStringLiteral("--keep"), QString::number(keep)})
{
    m_process.setVariable(QStringLiteral("XDG_RUNTIME_DIR"), m_folder.path()); // of its control socket
    m_process.setStepBeforeProgram([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
}

void BusProcess::queue(const QString& client, int messages)
{
    require(QFile::copy(databaseWith(client, messages), storageIn(m_folder)), "a database cannot be copied");
}

QString BusProcess::queuedUid(int number)
{
    return QStringLiteral("%1").arg(number, 24, 10, QLatin1Char('0'));
}

void BusProcess::start()
{
    require(m_process.start() && m_process.waitForLine(QStringLiteral("tarvex-devbus: ready")),
            "the development bus does not start");
}

void BusProcess::end()
{
    require(m_process.terminate() == 0, "the development bus does not end in order");
}

double BusProcess::cpuTime() const
{
    waitForRest();
    clockid_t clock = 0;
    timespec time{};
    require(::clock_getcpuclockid(static_cast<pid_t>(m_process.processId()), &clock) == 0
                && ::clock_gettime(clock, &time) == 0,
            "the system does not tell what the development bus takes");
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

/// The system brings the CPU time of a running process up to date only every few milliseconds.
void BusProcess::waitForRest() const
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(m_process.processId()));
    require(file.open(QIODevice::ReadOnly), "the system does not tell what the development bus does");
    QByteArray status;
    do {
        QThread::usleep(REST_US);
        file.seek(0);
        status = file.readAll();
    } while (!status.mid(status.lastIndexOf(')')).startsWith(") S"));
}

RawClient::RawClient(quint16 port, const QString& name) : m_stream(::fdopen(connectTo(port), "r+"))
{
    ask(busframe::encodeRequest(busterms::OPERATION_HANDSHAKE, {{busterms::KEY_NAME, name}}));
}

RawClient::~RawClient()
{
    std::fclose(m_stream);
}

void RawClient::send(const QByteArray& frame)
{
    int sent = 0;
    while (sent < frame.size()) {
        const ssize_t now = ::send(::fileno(m_stream), frame.constData() + sent,
                                   static_cast<size_t>(frame.size() - sent), MSG_NOSIGNAL);
        require(now > 0, "the development bus has closed a connection");
        sent += static_cast<int>(now);
    }
}

QByteArray RawClient::read()
{
    m_isReply = readLine().startsWith("[-REPLY-]");
    QByteArray payload(readLine().trimmed().toInt(), Qt::Uninitialized);
    require(std::fread(payload.data(), 1, static_cast<size_t>(payload.size()), m_stream)
                == static_cast<size_t>(payload.size()),
            "a frame of the development bus is not whole");
    return payload;
}

void RawClient::ask(const QByteArray& request)
{
    send(request);
    read();
    require(m_isReply, "the development bus has not replied");
}

void RawClient::settle()
{
    send(busframe::encodeRequest(QStringLiteral("dance"), {})); // it does not exist, and does nothing
    do {
        read();
    } while (!m_isReply);
}

QByteArray RawClient::readLine()
{
    char line[busframe::LINE_READ_LIMIT];
    require(std::fgets(line, sizeof line, m_stream) != nullptr, "the development bus has closed a connection");
    return line;
}
