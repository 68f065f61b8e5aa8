#include "httpconnection.h"

#include <QByteArray>
#include <QTest>

#include <atomic>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using tarvex::devbus::HttpConnection;

namespace {

/// Longer than any test: what depends on it would never end.
constexpr std::chrono::hours FOREVER{24};

/// Both ends of a connection, and what tells the connection to end.
class Pair
{
public:
    Pair() { ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends); }

    ~Pair()
    {
        ::close(ends[1]);
        ::close(stop);
    }
    Q_DISABLE_COPY_MOVE(Pair)

    /// Sends \a count bytes, as far as they fit.
    void send(int count) const
    {
        const QByteArray bytes(count, 'x');
        ::send(ends[1], bytes.constData(), static_cast<std::size_t>(count), MSG_DONTWAIT | MSG_NOSIGNAL);
    }

    int ends[2]{-1, -1}; ///< The first one is the connection's, and closed by it.
    int stop = ::eventfd(0, EFD_CLOEXEC);
};

/// Reads \a count bytes; gives what the last read() has returned.
ssize_t readBytes(HttpConnection& connection, std::size_t count)
{
    char bytes[1000];
    ssize_t got = 1;
    while (count > 0 && got > 0) {
        got = connection.read(bytes, std::min(count, sizeof bytes));
        count -= static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    return got;
}

} // namespace

class TstHttpConnection : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void stop_endsTheWaiting();
    void silence_endsWithTheTime();
    void late_readsWhatIsThere();
    void header_isBounded();
    void body_isBounded();
};

void TstHttpConnection::stop_endsTheWaiting()
{
    const Pair pair;
    HttpConnection connection(pair.ends[0], pair.stop, FOREVER);
    std::atomic<ssize_t> result{0};
    std::thread reader([&] { result = readBytes(connection, 1); });
    ::eventfd_write(pair.stop, 1);
    reader.join(); // without the stop it would wait for ever
    QVERIFY(result < 0);
    QVERIFY(!connection.is_readable());
}

void TstHttpConnection::silence_endsWithTheTime()
{
    const Pair pair;
    HttpConnection connection(pair.ends[0], pair.stop, std::chrono::milliseconds(10));
    QVERIFY(readBytes(connection, 1) < 0);
}

/// A busy machine may have given the page no turn before the time was over.
void TstHttpConnection::late_readsWhatIsThere()
{
    const Pair pair;
    pair.send(10);
    HttpConnection connection(pair.ends[0], pair.stop, std::chrono::milliseconds(0));
    QVERIFY(readBytes(connection, 10) > 0);
    QVERIFY(readBytes(connection, 1) < 0);
}

void TstHttpConnection::header_isBounded()
{
    const Pair pair;
    HttpConnection connection(pair.ends[0], pair.stop, FOREVER);
    for (std::size_t read = 0; read < HttpConnection::MAX_HEADER; read += 1024) {
        pair.send(1024);
        QVERIFY(readBytes(connection, 1024) > 0);
    }
    pair.send(1);
    QVERIFY(readBytes(connection, 1) < 0);
}

void TstHttpConnection::body_isBounded()
{
    const Pair pair;
    HttpConnection connection(pair.ends[0], pair.stop, FOREVER);
    pair.send(1024);
    QVERIFY(readBytes(connection, 1024) > 0);
    connection.expectBody(1024);
    for (std::size_t read = 1024; read < HttpConnection::MAX_HEADER + 1024; read += 1024) {
        pair.send(1024);
        QVERIFY(readBytes(connection, 1024) > 0);
    }
    pair.send(1);
    QVERIFY(readBytes(connection, 1) < 0);
}

QTEST_GUILESS_MAIN(TstHttpConnection)
#include "tst_httpconnection.moc"
