#include "controlserver.h"

#include "controlconnection.h"
#include "failure.h"
#include "literals.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <functional>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

using tarvex::TarvexError;
using tarvex::devbus::ControlConnection;
using tarvex::devbus::ControlServer;
using tarvex::devbus::isFailure;

namespace {

constexpr int PATIENCE_MS = 20000;

/// "echo" gives the request back, as many times as "count" says.
ControlServer::Answer answerTo(const QVariantMap& request)
{
    if (request.value(u"request"_s) != u"echo"_s) {
        return {{}, u"no such request"_s};
    }
    ControlServer::Answer answer;
    for (int number = 0; number < request.value(u"count"_s, 1).toInt(); ++number) {
        answer.items.append({{u"text"_s, request.value(u"text"_s)}});
    }
    return answer;
}

/// A request, and its answer, which has no items.
QByteArray request()
{
    return "{\"request\":\"echo\",\"count\":0}\n";
}

QByteArray done()
{
    return "{\"done\":true}\n";
}

/// A request whose answer has 500 items and half a megabyte.
QByteArray longRequest()
{
    return "{\"request\":\"echo\",\"text\":\"" + QByteArray(1000, 'x') + "\",\"count\":500}\n";
}

sockaddr_un addressOf(const QString& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path);
    return address;
}

/// Leaves a socket behind as a killed bus does.
bool leaveSocket(const QString& path)
{
    const sockaddr_un address = addressOf(path);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the system's own way to pass an address
    const bool isBound = ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(descriptor);
    return isBound && QFileInfo::exists(path);
}

/// A client that closes its sending direction and still receives, which QLocalSocket does not.
class PlainClient
{
public:
    explicit PlainClient(const QString& path) : m_descriptor(::socket(AF_UNIX, SOCK_STREAM, 0))
    {
        const sockaddr_un address = addressOf(path);
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the system's own way to pass an address
        m_isConnected = ::connect(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }

    ~PlainClient() { ::close(m_descriptor); }
    Q_DISABLE_COPY_MOVE(PlainClient)

    /// Sends everything in one call, because the system takes as much as these tests send.
    bool sendAndClose(const QByteArray& requests) const
    {
        return m_isConnected
            && ::send(m_descriptor, requests.constData(), static_cast<std::size_t>(requests.size()), MSG_DONTWAIT)
            == requests.size()
            && ::shutdown(m_descriptor, SHUT_WR) == 0;
    }

    /// Appends the bytes that have come. \return false once the server has closed the connection.
    bool take(QByteArray& answers) const
    {
        QByteArray piece(1 << 16, Qt::Uninitialized);
        const ssize_t count = ::recv(m_descriptor, piece.data(), static_cast<std::size_t>(piece.size()), MSG_DONTWAIT);
        answers += piece.left(static_cast<int>(qMax<ssize_t>(count, 0)));
        return count > 0 || (count < 0 && errno == EAGAIN);
    }

private:
    const int m_descriptor;
    bool m_isConnected = false;
};

/// Waits without a pause, because QTest::qWaitFor() pauses after each piece and there are many pieces.
bool waitFor(const std::function<bool()>& condition)
{
    const QDeadlineTimer deadline(PATIENCE_MS);
    while (!condition() && !deadline.hasExpired()) {
        QCoreApplication::processEvents();
    }
    return condition();
}

} // namespace

class TstControlServer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void defaultPath_isInRuntimeFolder();
    void defaultPath_folderNotPrivate_isInTemporaryFolder_data();
    void defaultPath_folderNotPrivate_isInTemporaryFolder();
    void defaultPath_noPrivateFolder_isEmpty();
    void open_isForThisUserOnly();
    void open_replacesWhatAKilledBusLeft();
    void open_failure_saysWhy_data();
    void open_failure_saysWhy();
    void end_removesSocket();
    void requests_areAnsweredInOrder_data();
    void requests_areAnsweredInOrder();
    void request_inPieces_isAnswered();
    void request_tooLong_endsTheConnection();
    void requests_beforeHalfClose_areAnswered_data();
    void requests_beforeHalfClose_areAnswered();
    void requests_halfClosedAndSlow_areAnswered();
    void client_thatLeaves_isAskedNoMore();
    void clients_tooMany_areToldAndClosed();
    void client_thatTakesNothing_isAskedNoMore();

private:
    QString path() const { return m_folder->filePath(u"control.sock"_s); }

    QByteArray ask(const QByteArray& request, int lines = 1);

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ControlServer> m_server; ///< Listens at path().
    int m_answered = 0;                      ///< How many requests with a text it has answered.
};

void TstControlServer::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    qputenv("XDG_RUNTIME_DIR", m_folder->path().toUtf8());
    m_answered = 0;
    m_server = std::make_unique<ControlServer>([this](const QVariantMap& request) {
        m_answered += request.contains(u"text"_s) ? 1 : 0;
        return answerTo(request);
    });
    QCOMPARE(m_server->open(path()).description(), QString());
}

/// Sends \a request to the server of this thread. \return the answer, once it has this many lines
QByteArray TstControlServer::ask(const QByteArray& request, int lines)
{
    QLocalSocket client;
    client.connectToServer(path());
    client.write(request);
    QByteArray answer;
    const auto isComplete = [&] {
        answer += client.readAll();
        return answer.count('\n') >= lines;
    };
    return waitFor(isComplete) ? answer : "incomplete: " + answer;
}

void TstControlServer::defaultPath_isInRuntimeFolder()
{
    // The link reads "net:[4026531840]". The number is that of the file that it leads to.
    const QString network = QFileInfo(u"/proc/self/ns/net"_s).symLinkTarget().section(QLatin1Char('['), 1).chopped(1);
    QVERIFY(!network.isEmpty());
    QCOMPARE(ControlServer::defaultPath(), m_folder->filePath(u"tarvex-devbus-%1.sock"_s.arg(network)));
}

void TstControlServer::defaultPath_folderNotPrivate_isInTemporaryFolder_data()
{
    QTest::addColumn<QString>("variable");
    QTest::newRow("not set") << QString();
    QTest::newRow("relative") << u"run"_s;
    QTest::newRow("missing") << u"%1/missing"_s;
    QTest::newRow("for all") << u"%1/open"_s;
    QTest::newRow("link") << u"%1/link"_s;
}

void TstControlServer::defaultPath_folderNotPrivate_isInTemporaryFolder()
{
    QFETCH(QString, variable);
    const QString folder = m_folder->path();
    QVERIFY(QDir(folder).mkdir(u"open"_s));
    QVERIFY(QFile::setPermissions(folder + u"/open"_s, QFile::Permissions(0x7755)));
    QVERIFY(QFile::link(folder, folder + u"/link"_s));
    qputenv("XDG_RUNTIME_DIR", variable.replace(QLatin1String("%1"), folder).toUtf8());
    qputenv("TMPDIR", folder.toUtf8());
    const QString path = ControlServer::defaultPath();
    qunsetenv("TMPDIR");
    const QString own = folder + u"/tarvex-devbus-%1"_s.arg(::geteuid());
    QCOMPARE(QFileInfo(path).path(), own);
    QVERIFY(QFileInfo(own).isDir());
    QCOMPARE(int(QFile::permissions(own)), 0x7700);
}

void TstControlServer::defaultPath_noPrivateFolder_isEmpty()
{
    const QString own = m_folder->filePath(u"tarvex-devbus-%1"_s.arg(::geteuid()));
    QVERIFY(QDir().mkdir(own));
    QVERIFY(QFile::setPermissions(own, QFile::Permissions(0x7777)));
    qunsetenv("XDG_RUNTIME_DIR");
    qputenv("TMPDIR", m_folder->path().toUtf8());
    const QString path = ControlServer::defaultPath();
    qunsetenv("TMPDIR");
    QCOMPARE(path, QString());
    ControlServer server(answerTo);
    QCOMPARE(server.open(path).description(), u"there is no folder for it that belongs to this user alone"_s);
}

void TstControlServer::open_isForThisUserOnly()
{
    QVERIFY(QFileInfo::exists(path()));
    QCOMPARE(int(QFile::permissions(path())), 0x6600);
}

void TstControlServer::open_replacesWhatAKilledBusLeft()
{
    m_server.reset();
    QVERIFY(leaveSocket(path()));
    m_server = std::make_unique<ControlServer>(answerTo);
    QCOMPARE(m_server->open(path()).description(), QString());
    QCOMPARE(ask(request()), done());
}

void TstControlServer::open_failure_saysWhy_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("no folder") << u"/no such folder/control.sock"_s;
    QTest::newRow("too long") << u"/tmp/"_s + QString(200, QLatin1Char('x'));
}

void TstControlServer::open_failure_saysWhy()
{
    QFETCH(QString, path);
    ControlServer server(answerTo);
    const TarvexError error = server.open(path);
    QVERIFY(isFailure(error));
    QVERIFY2(error.description().contains(path), qPrintable(error.description()));
    QVERIFY(!error.description().contains(QLatin1Char('\n')));
}

void TstControlServer::end_removesSocket()
{
    QLocalSocket client;
    client.connectToServer(path());
    QTRY_COMPARE_WITH_TIMEOUT(m_server->clientCount(), 1, PATIENCE_MS);
    m_server.reset();
    QVERIFY(!QFileInfo::exists(path()));
}

void TstControlServer::requests_areAnsweredInOrder_data()
{
    QTest::addColumn<QByteArray>("requests");
    QTest::addColumn<QByteArray>("answers");
    QTest::newRow("one with items")
        << QByteArray("{\"request\":\"echo\",\"text\":\"a\\nb\",\"count\":2}\n")
        << QByteArray("{\"item\":{\"text\":\"a\\nb\"}}\n{\"item\":{\"text\":\"a\\nb\"}}\n{\"done\":true}\n");
    QTest::newRow("several at once")
        << QByteArray("{\"request\":\"echo\",\"text\":1}\n{\"request\":\"dance\"}\n{\"request\":\"echo\",\"text\":2}\n")
        << QByteArray("{\"item\":{\"text\":1}}\n{\"done\":true}\n{\"error\":\"no such request\"}\n"
                      "{\"item\":{\"text\":2}}\n{\"done\":true}\n");
    const QByteArray longest = request().trimmed();
    QTest::newRow("the longest") << longest + QByteArray(ControlConnection::MAX_REQUEST_LENGTH - longest.size(), ' ')
            + '\n' << done();
    const auto wrongRow = [](const char* what, const QByteArray& line) {
        QTest::newRow(what) << line + '\n' + request()
                            << "{\"error\":\"a request must be a JSON object on one line\"}\n" + done();
    };
    wrongRow("empty", "");
    wrongRow("word", "clients");
    wrongRow("array", "[1]");
    wrongRow("cut", "{\"request\":");
    wrongRow("not UTF-8", "{\"request\":\"\xff\"}");
    wrongRow("two objects", "{}{}");
}

void TstControlServer::requests_areAnsweredInOrder()
{
    QFETCH(QByteArray, requests);
    QFETCH(QByteArray, answers);
    QCOMPARE(ask(requests, answers.count('\n')), answers);
    QTRY_COMPARE_WITH_TIMEOUT(m_server->clientCount(), 0, PATIENCE_MS);
}

void TstControlServer::request_inPieces_isAnswered()
{
    QLocalSocket client;
    client.connectToServer(path());
    client.write("{\"request\":\"ec");
    client.flush();
    QTRY_COMPARE_WITH_TIMEOUT(m_server->clientCount(), 1, PATIENCE_MS);
    client.write("ho\",\"count\":0}\n");
    QTRY_VERIFY_WITH_TIMEOUT(client.canReadLine(), PATIENCE_MS);
    QCOMPARE(client.readAll(), done());
}

void TstControlServer::request_tooLong_endsTheConnection()
{
    QLocalSocket client;
    client.connectToServer(path());
    client.write(QByteArray(ControlConnection::MAX_REQUEST_LENGTH + 1, 'x'));
    QTRY_COMPARE_WITH_TIMEOUT(client.state(), QLocalSocket::UnconnectedState, PATIENCE_MS);
    QCOMPARE(client.readAll(), QByteArray("{\"error\":\"a request must not be longer than 65536 bytes\"}\n"));
    QCOMPARE(m_server->clientCount(), 0);
}

void TstControlServer::requests_beforeHalfClose_areAnswered_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QByteArray>("rest");
    QTest::newRow("none") << 0 << QByteArray();
    QTest::newRow("one") << 1 << QByteArray();
    QTest::newRow("four") << 4 << QByteArray();
    QTest::newRow("more than are taken in at once") << 3000 << QByteArray();
    QTest::newRow("four and a piece of one") << 4 << QByteArray("{\"request\":\"echo\",\"cou");
}

void TstControlServer::requests_beforeHalfClose_areAnswered()
{
    QFETCH(int, count);
    QFETCH(QByteArray, rest);
    const PlainClient client(path());
    QVERIFY(client.sendAndClose(request().repeated(count) + rest));
    QByteArray answers;
    QVERIFY2(waitFor([&] { return !client.take(answers); }), qPrintable(QString::number(answers.size())));
    QCOMPARE(answers, done().repeated(count));
    QTRY_COMPARE_WITH_TIMEOUT(m_server->clientCount(), 0, PATIENCE_MS);
}

void TstControlServer::requests_halfClosedAndSlow_areAnswered()
{
    constexpr int REQUESTS = 10; // more than the server holds back
    const PlainClient client(path());
    QVERIFY(client.sendAndClose(longRequest().repeated(REQUESTS)));
    QVERIFY(waitFor([&] { return m_answered > 0; }));
    for (int number = 0; number < REQUESTS; ++number) {
        QCOMPARE(ask(request()), done());
    }
    QVERIFY2(m_answered < REQUESTS, qPrintable(QString::number(m_answered)));
    QByteArray answers;
    QVERIFY2(waitFor([&] { return !client.take(answers); }), qPrintable(QString::number(answers.size())));
    QCOMPARE(answers.count("{\"done\":true}\n"), REQUESTS);
    QCOMPARE(answers.count('\n'), REQUESTS * 501);
}

void TstControlServer::client_thatLeaves_isAskedNoMore()
{
    constexpr int REQUESTS = 2000;
    {
        const PlainClient client(path());
        QVERIFY(client.sendAndClose(QByteArray("{\"request\":\"echo\",\"text\":1}\n").repeated(REQUESTS)));
        QVERIFY(waitFor([&] { return m_answered > 0; }));
    }
    QTRY_COMPARE_WITH_TIMEOUT(m_server->clientCount(), 0, PATIENCE_MS);
    QVERIFY2(m_answered < REQUESTS, qPrintable(QString::number(m_answered)));
}

void TstControlServer::clients_tooMany_areToldAndClosed()
{
    std::vector<std::unique_ptr<QLocalSocket>> clients;
    for (int number = 0; number < ControlServer::MAX_CLIENTS; ++number) {
        clients.push_back(std::make_unique<QLocalSocket>());
        clients.back()->connectToServer(path());
        QTRY_COMPARE_WITH_TIMEOUT(m_server->clientCount(), number + 1, PATIENCE_MS);
    }
    QLocalSocket late;
    late.connectToServer(path());
    QTRY_COMPARE_WITH_TIMEOUT(late.state(), QLocalSocket::UnconnectedState, PATIENCE_MS);
    QCOMPARE(late.readAll(), QByteArray("{\"error\":\"too many programs ask the bus at once\"}\n"));
    clients.pop_back();
    QTRY_COMPARE_WITH_TIMEOUT(m_server->clientCount(), ControlServer::MAX_CLIENTS - 1, PATIENCE_MS);
    QCOMPARE(ask(request()), done());
}

void TstControlServer::client_thatTakesNothing_isAskedNoMore()
{
    constexpr int REQUESTS = 50;
    QLocalSocket client;
    client.setReadBufferSize(1);
    client.connectToServer(path());
    // Another client is answered after each request, so the server has had time for that request.
    for (int number = 0; number < REQUESTS; ++number) {
        client.write(longRequest());
        QCOMPARE(ask(request()), done());
    }
    QVERIFY2(m_answered < REQUESTS / 2, qPrintable(QString::number(m_answered)));
    client.setReadBufferSize(0);
    int done = 0;
    const auto isComplete = [&] {
        while (client.canReadLine()) {
            done += client.readLine() == "{\"done\":true}\n" ? 1 : 0;
        }
        return done == REQUESTS;
    };
    QVERIFY2(waitFor(isComplete), qPrintable(QString::number(done)));
}

QTEST_GUILESS_MAIN(TstControlServer)
#include "tst_controlserver.moc"
