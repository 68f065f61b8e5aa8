// An answer without an end, over the control socket.

#include "controlserver.h"
#include "controlstream.h"

#include "literals.h"

#include <QLocalSocket>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>

using tarvex::devbus::ControlConnection;
using tarvex::devbus::ControlServer;
using tarvex::devbus::ControlStream;

namespace {

constexpr int PATIENCE_MS = 20000;
constexpr int LARGE_LINE = 100000;

/// Gives the lines that the test puts in, one a turn.
class ScriptedStream : public ControlStream
{
public:
    QByteArray next() override
    {
        ++m_asked;
        return m_lines.isEmpty() ? QByteArray() : m_lines.takeFirst();
    }

    void put(const QByteArray& line, int count = 1)
    {
        for (int done = 0; done < count; ++done) {
            m_lines.append(line);
        }
        Q_EMIT ready();
    }

    int waiting() const { return m_lines.size(); }

    int asked() const { return m_asked; }

private:
    QList<QByteArray> m_lines;
    int m_asked = 0;
};

} // namespace

class TstControlStream : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void lines_comeAfterTheItems();
    void lines_comeWhenTheyAreReady();
    void furtherRequests_areNotAnswered();
    void clientLeaves_endsTheStream();
    void clientClosesItsDirection_endsTheStream();
    void slowClient_isAskedForNoMore();
    void otherClients_areAnsweredMeanwhile();

private:
    void begin(QLocalSocket& client);
    bool waitForLine(QLocalSocket& client, const QByteArray& line);

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ControlServer> m_server;
    QPointer<ScriptedStream> m_stream;
    int m_requests = 0;
};

void TstControlStream::init()
{
    m_server.reset();
    m_requests = 0;
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_server = std::make_unique<ControlServer>([this](const QVariantMap& request) {
        ++m_requests;
        ControlServer::Answer answer;
        answer.items.append({{u"number"_s, 1}});
        if (request.value(u"request"_s) == u"stream"_s) {
            auto stream = std::make_shared<ScriptedStream>();
            m_stream = stream.get();
            answer.stream = stream;
        }
        return answer;
    });
    QCOMPARE(m_server->open(m_folder->filePath(u"control"_s)).description(), QString());
}

/// Asks for the stream, and reads up to where it begins.
void TstControlStream::begin(QLocalSocket& client)
{
    client.connectToServer(m_folder->filePath(u"control"_s));
    client.write("{\"request\":\"stream\"}\n");
    QVERIFY(waitForLine(client, "{\"item\":{\"number\":1}}\n"));
    QVERIFY(m_stream);
}

/// \return whether the next line is this one
bool TstControlStream::waitForLine(QLocalSocket& client, const QByteArray& line)
{
    return QTest::qWaitFor([&] { return client.canReadLine(); }, PATIENCE_MS) && client.readLine() == line;
}

void TstControlStream::lines_comeAfterTheItems()
{
    QLocalSocket client;
    begin(client);
    m_stream->put("one\n");
    m_stream->put("two\n");
    QVERIFY(waitForLine(client, "one\n"));
    QVERIFY(waitForLine(client, "two\n"));
}

void TstControlStream::lines_comeWhenTheyAreReady()
{
    QLocalSocket client;
    begin(client);
    for (int number = 0; number < 100; ++number) {
        m_stream->put(QByteArray::number(number) + '\n');
        QVERIFY(waitForLine(client, QByteArray::number(number) + '\n'));
    }
}

void TstControlStream::furtherRequests_areNotAnswered()
{
    QLocalSocket client;
    begin(client);
    client.write(QByteArray("{\"request\":\"other\"}\n").repeated(10000)); // more than a request may have
    QTRY_COMPARE_WITH_TIMEOUT(client.bytesToWrite(), 0, PATIENCE_MS);
    m_stream->put("one\n");
    QVERIFY(waitForLine(client, "one\n"));
    QCOMPARE(m_requests, 1);
    QCOMPARE(m_server->clientCount(), 1);
}

void TstControlStream::clientLeaves_endsTheStream()
{
    QLocalSocket client;
    begin(client);
    client.abort();
    QTRY_VERIFY_WITH_TIMEOUT(!m_stream, PATIENCE_MS);
    QCOMPARE(m_server->clientCount(), 0);
}

void TstControlStream::clientClosesItsDirection_endsTheStream()
{
    QLocalSocket client;
    begin(client);
    QCOMPARE(::shutdown(static_cast<int>(client.socketDescriptor()), SHUT_WR), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!m_stream, PATIENCE_MS);
    QCOMPARE(m_server->clientCount(), 0);
}

void TstControlStream::slowClient_isAskedForNoMore()
{
    constexpr int LINES = 100;
    QLocalSocket client;
    client.setReadBufferSize(1000);
    begin(client);
    const QByteArray line = QByteArray(LARGE_LINE - 1, 'x') + '\n';
    m_stream->put(line, LINES);
    // What is held back, what the system takes in both buffers of the socket, and one line over.
    constexpr int MOST = ControlConnection::MAX_WAITING_BYTES + (1 << 20) + 2 * LARGE_LINE;
    int asked = -1;
    QVERIFY(QTest::qWaitFor(
        [&] {
            const bool isStill = asked == m_stream->asked();
            asked = m_stream->asked();
            QTest::qWait(50);
            return isStill;
        },
        PATIENCE_MS));
    QVERIFY2((LINES - m_stream->waiting()) * LARGE_LINE <= MOST, qPrintable(QString::number(m_stream->waiting())));
    client.setReadBufferSize(0);
    qint64 taken = 0;
    const auto isComplete = [&] {
        taken += client.readAll().size();
        return taken == qint64(LINES) * LARGE_LINE;
    };
    QVERIFY2(QTest::qWaitFor(isComplete, PATIENCE_MS), qPrintable(QString::number(taken)));
}

void TstControlStream::otherClients_areAnsweredMeanwhile()
{
    QLocalSocket client;
    client.setReadBufferSize(1000);
    begin(client);
    m_stream->put(QByteArray(LARGE_LINE, 'x'), 100);
    QLocalSocket other;
    other.connectToServer(m_folder->filePath(u"control"_s));
    other.write("{\"request\":\"other\"}\n");
    QVERIFY(waitForLine(other, "{\"item\":{\"number\":1}}\n"));
    QVERIFY(waitForLine(other, "{\"done\":true}\n"));
}

QTEST_GUILESS_MAIN(TstControlStream)
#include "tst_controlstream.moc"
