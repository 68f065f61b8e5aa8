#include "wire/bussocket_p.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>

#include <memory>
#include <poll.h>
#include <sys/socket.h>

using namespace tarvex;

namespace {

constexpr int TIMEOUT_MS = 20000;

QByteArray patternedBytes(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>('A' + (i * 7 + i / 251) % 58);
    }
    return bytes;
}

} // namespace

/// A socket under test, and the other end of its connection.
class TstBusSocket : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void write_arrives();
    void write_needsNoNotifier();
    void write_moreThanTheSystemTakes_restFollows();
    void write_behindWhatQtHolds_keepsTheOrder();
    void write_unconnected_fails();
    void write_resetByThePeer_failsAndIsReported();
    void write_closedByThePeer_keepsWhatItHasSent();

private:
    /// What has come at the other end, once it is \a size bytes or more, or the time is over.
    QByteArray arrived(int size);
    void resetFromThere();

    std::unique_ptr<QTcpServer> m_server;
    std::unique_ptr<QTcpSocket> m_socket;
    QTcpSocket* m_peer = nullptr;
};

void TstBusSocket::init()
{
    m_server = std::make_unique<QTcpServer>();
    QVERIFY(m_server->listen(QHostAddress::LocalHost));
    m_socket = std::make_unique<QTcpSocket>();
    QVERIFY(bussocket::connectToServer(*m_socket, m_server->serverPort()));
    QVERIFY(m_server->waitForNewConnection(TIMEOUT_MS));
    m_peer = m_server->nextPendingConnection();
    QVERIFY(m_peer);
}

void TstBusSocket::cleanup()
{
    m_socket.reset();
    m_server.reset();
}

QByteArray TstBusSocket::arrived(int size)
{
    QByteArray bytes;
    QElapsedTimer timer;
    timer.start();
    while (bytes.size() < size && !timer.hasExpired(TIMEOUT_MS)) {
        // Qt writes what is left during a wait.
        if (m_socket->bytesToWrite() > 0) {
            m_socket->waitForBytesWritten(1);
        }
        m_peer->waitForReadyRead(1);
        bytes += m_peer->readAll();
    }
    return bytes;
}

/// Ends the connection in such a way that the next write to it fails.
void TstBusSocket::resetFromThere()
{
    const linger now{1, 0};
    QCOMPARE(::setsockopt(static_cast<int>(m_peer->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now, sizeof now), 0);
    delete m_peer;
    pollfd entry{static_cast<int>(m_socket->socketDescriptor()), POLLRDHUP, 0};
    QCOMPARE(::poll(&entry, 1, TIMEOUT_MS), 1);
}

void TstBusSocket::write_arrives()
{
    for (const QByteArray& frame : {QByteArray("first"), QByteArray("second"), patternedBytes(10000)}) {
        QVERIFY(bussocket::write(*m_socket, frame));
        QCOMPARE(m_socket->bytesToWrite(), 0);
        QCOMPARE(arrived(frame.size()), frame);
    }
}

// The system has the bytes when the call returns, without a turn of the event loop and without Qt's buffer.
void TstBusSocket::write_needsNoNotifier()
{
    QSignalSpy written(m_socket.get(), &QTcpSocket::bytesWritten);
    QVERIFY(bussocket::write(*m_socket, "frame"));
    QCOMPARE(written.count(), 0);
    QCOMPARE(arrived(5), QByteArray("frame"));
}

// A part is enough, because the peer may take the rest only when it has written its answer.
void TstBusSocket::write_moreThanTheSystemTakes_restFollows()
{
    const QByteArray frame = patternedBytes(32 << 20);
    QVERIFY(bussocket::write(*m_socket, frame));
    QVERIFY(m_socket->bytesToWrite() > 0);
    QVERIFY(arrived(frame.size()) == frame);
}

void TstBusSocket::write_behindWhatQtHolds_keepsTheOrder()
{
    QCOMPARE(m_socket->write("first"), 5);
    QVERIFY(bussocket::write(*m_socket, "second"));
    QCOMPARE(arrived(11), QByteArray("firstsecond"));
}

void TstBusSocket::write_unconnected_fails()
{
    QTcpSocket socket;
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QTcpSocket): device not open");
    QVERIFY(!bussocket::write(socket, "frame"));
}

void TstBusSocket::write_resetByThePeer_failsAndIsReported()
{
    QSignalSpy disconnected(m_socket.get(), &QTcpSocket::disconnected);
    QSignalSpy errors(m_socket.get(), &QTcpSocket::errorOccurred);
    resetFromThere();
    QVERIFY(!bussocket::write(*m_socket, "frame"));
    QCOMPARE(m_socket->state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(errors.count(), 1);
}

// A peer may send, close, and still be written to: what it has sent can be read.
void TstBusSocket::write_closedByThePeer_keepsWhatItHasSent()
{
    m_peer->write("last words");
    QVERIFY(m_peer->waitForBytesWritten(TIMEOUT_MS));
    m_peer->disconnectFromHost();
    QTRY_VERIFY_WITH_TIMEOUT(m_socket->bytesAvailable() == 10, TIMEOUT_MS);
    bussocket::write(*m_socket, "frame");
    QCOMPARE(m_socket->readAll(), QByteArray("last words"));
}

QTEST_GUILESS_MAIN(TstBusSocket)
#include "tst_bussocket.moc"
