#include "client/tarvexmessagesreciever.h"
#include "fakebus.h"
#include "framepieces.h"
#include "literals.h"
#include "logcapture.h"
#include "queryside.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <future>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace tarvex;
using namespace queryside;

namespace {

constexpr int TIMEOUT_MS = 30000;
/// A loaded machine may be late, but not this late.
constexpr int LATEST_MS = 45000;

class Wait
{
public:
    Wait() { m_timer.start(); }

    bool isTimeout() const { return m_timer.elapsed() >= TIMEOUT_MS && m_timer.elapsed() < LATEST_MS; }

    QString text() const { return QString::number(m_timer.elapsed()); }

private:
    QElapsedTimer m_timer;
};

const QString TIMEOUT_ERROR = u"warning: QAbstractSocket::SocketTimeoutError Network operation timed out"_s;

/// A server that listens and never accepts, and whose queue is full. A connect to it is not answered.
class FullServer
{
public:
    explicit FullServer(quint16 port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int yes = 1;
        ::setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        m_isFull = ::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
            && ::listen(m_listener, 0) == 0
            && ::connect(m_waiting, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }

    ~FullServer()
    {
        ::close(m_waiting);
        ::close(m_listener);
    }
    Q_DISABLE_COPY_MOVE(FullServer)

    bool isFull() const { return m_isFull; }

private:
    const int m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int m_waiting = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool m_isFull = false;
};

/// Accepts the handshake and takes nothing from then on.
void acceptAndHang(FakeBus::Peer& peer, const FakeBus::Request& request)
{
    FakeBus::answer(peer, request);
    peer.hang();
}

/// Writes to \a socket until the system takes no more.
void fillBuffers(QTcpSocket* socket)
{
    socket->write(QByteArray(20000000, 'x'));
    while (socket->waitForBytesWritten(500)) { }
}

} // namespace

/// What a server that hangs does to the two connections. These tests stand apart because each takes half a minute.
class TstConnectionTimeouts : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void connectNeverAnswered_openFails();
    void requestNeverTaken_requestFails();
    void receiver_connectNeverAnswered_openFails();
    void receiver_replyNeverTaken_replyFails();
    void handshakeNeverAnswered_openFails();
    void replyNeverComes_requestFails();
    void replyComesAfterTheTimeout_isNotTakenForTheNextOne();
    void receiver_acknowledgementNeverTaken_endsTheConnection();
    void serverHangsWithFullBuffers_reopensWhenItIsBack();
};

void TstConnectionTimeouts::connectNeverAnswered_openFails()
{
    const FullServer server(FakeBus::QUERY_PORT);
    QVERIFY(server.isFull());
    TarvexQueryHandler handler(PRINTER);
    const LogCapture log;
    const Wait wait;
    QVERIFY(!handler.open());
    QVERIFY2(wait.isTimeout(), qPrintable(wait.text()));
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(handler.lastOutcome(), QueryOutcome(QueryOutcome::Unreachable));
}

// The server must take no byte: if it took a part of the request, the write would succeed, and the wait for the reply
// would fail instead.
void TstConnectionTimeouts::requestNeverTaken_requestFails()
{
    FakeBus bus;
    bus.willAnswerHandshake(acceptAndHang);
    TarvexQueryHandler handler(PRINTER);
    QVERIFY(handler.open());
    fillBuffers(handler.findChild<QTcpSocket*>());
    const LogCapture log;
    const Wait wait;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY2(wait.isTimeout(), qPrintable(wait.text()));
    QCOMPARE(log.texts(), QStringList({TIMEOUT_ERROR, WAIT_ERROR}));
    QCOMPARE(handler.lastOutcome(), QueryOutcome(QueryOutcome::TimedOut));
}

void TstConnectionTimeouts::receiver_connectNeverAnswered_openFails()
{
    const FullServer server(FakeBus::RECEIVER_PORT);
    QVERIFY(server.isFull());
    TarvexMessagesReciever receiver(PRINTER);
    const LogCapture log;
    const Wait wait;
    QVERIFY(!receiver.open());
    QVERIFY2(wait.isTimeout(), qPrintable(wait.text()));
    QCOMPARE(log.texts(), QStringList());
}

void TstConnectionTimeouts::receiver_replyNeverTaken_replyFails()
{
    FakeBus bus(FakeBus::RECEIVER_PORT);
    bus.willAnswerHandshake(acceptAndHang);
    TarvexMessagesReciever receiver(PRINTER);
    QVERIFY(receiver.open());
    QTRY_VERIFY(receiver.isOpen());
    fillBuffers(receiver.findChild<QTcpSocket*>());
    const LogCapture log;
    const Wait wait;
    QVERIFY(!receiver.reply(u"sendMessage"_s, TarvexError(), {}));
    QVERIFY2(wait.isTimeout(), qPrintable(wait.text()));
    QCOMPARE(log.texts(), QStringList(TIMEOUT_ERROR));
}

void TstConnectionTimeouts::handshakeNeverAnswered_openFails()
{
    FakeBus bus;
    bus.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    TarvexQueryHandler handler(PRINTER);
    const QSignalSpy connected(&handler, SIGNAL(tarvexConnected()));
    const LogCapture log;
    const Wait wait;
    QVERIFY(!handler.open());
    QVERIFY2(wait.isTimeout(), qPrintable(wait.text()));
    QVERIFY(!handler.isOpen());
    QCOMPARE(connected.count(), 0);
    QCOMPARE(log.texts(), QStringList({TIMEOUT_ERROR, WAIT_ERROR}));
    QCOMPARE(handler.lastOutcome(), QueryOutcome(QueryOutcome::TimedOut));
    QVERIFY(handler.open());
}

void TstConnectionTimeouts::replyNeverComes_requestFails()
{
    FakeBus bus;
    bus.willSayNothing();
    bus.willReply(u"saveState"_s);
    TarvexQueryHandler handler(PRINTER);
    QVERIFY(handler.open());
    const LogCapture log;
    const Wait wait;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY2(wait.isTimeout(), qPrintable(wait.text()));
    QCOMPARE(log.texts(), QStringList({TIMEOUT_ERROR, WAIT_ERROR}));
    QCOMPARE(handler.lastOutcome(), QueryOutcome(QueryOutcome::TimedOut));
    QVERIFY(handler.isOpen());
    QVERIFY(handler.saveState(ClientState()));
}

// The worker makes its connection anew. The late reply, which holds no settings, is lost with the former one.
void TstConnectionTimeouts::replyComesAfterTheTimeout_isNotTakenForTheNextOne()
{
    FakeBus bus;
    bus.willAlwaysDo(serve);
    Worker worker;
    QVERIFY(worker.doStart());
    QCOMPARE(worker.applied, QStringList(PRINTER));
    std::atomic<bool> isAnswered{false};
    bus.willDo([&isAnswered](FakeBus::Peer& peer, const FakeBus::Request& request) {
        std::this_thread::sleep_for(std::chrono::milliseconds(31000));
        FakeBus::answer(peer, request);
        isAnswered = true;
    });
    const Wait wait;
    QVERIFY(!worker.saveState());
    QCOMPARE(worker.lastOutcome(), QueryOutcome(QueryOutcome::TimedOut));
    QVERIFY2(wait.isTimeout(), qPrintable(wait.text()));
    worker.updateSettings();
    QTRY_VERIFY_WITH_TIMEOUT(isAnswered, 10000);
    worker.updateSettings();
    QTRY_VERIFY(worker.applied.size() >= 3);
    QCOMPARE(worker.applied.count(PRINTER), worker.applied.size());
    QVERIFY(worker.saveState());
    // The update connects by itself. The restart that is under way connects once more.
    QVERIFY2(bus.connectionCount() <= 3, qPrintable(QString::number(bus.connectionCount())));
}

// One acknowledgement holds the receiver up, and not the acknowledgements of all the messages behind it.
void TstConnectionTimeouts::receiver_acknowledgementNeverTaken_endsTheConnection()
{
    FakeBus bus(FakeBus::RECEIVER_PORT);
    std::promise<void> filled;
    bus.willAnswerHandshake([isFilled = filled.get_future().share()](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        isFilled.wait();
        for (int number = 1; number <= 3; ++number) {
            Message message;
            message.setUid(QString::number(number));
            peer.send(FakeBus::requestFrame(u"sendMessage"_s, message.toVariantMap()));
        }
        peer.hang();
    });
    TarvexMessagesReciever receiver(PRINTER);
    const QSignalSpy incoming(&receiver, SIGNAL(incomingMessage(Message)));
    const QSignalSpy lost(&receiver, SIGNAL(busDisconnected()));
    QVERIFY(receiver.open());
    QTRY_VERIFY(receiver.isOpen());
    fillBuffers(receiver.findChild<QTcpSocket*>());
    const LogCapture log;
    const Wait wait;
    filled.set_value();
    QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 60000);
    QVERIFY2(wait.isTimeout(), qPrintable(wait.text()));
    QVERIFY(!receiver.isConnected());
    // It is delivered although it is not acknowledged. The server repeats it, and the receiver recognises the repeat.
    QCOMPARE(incoming.count(), 1);
    QCOMPARE(log.texts(), QStringList(TIMEOUT_ERROR));
}

// When the connection is closed, our last bytes are not taken yet. So Qt keeps the connection in the closing state, in
// which it refuses to connect.
void TstConnectionTimeouts::serverHangsWithFullBuffers_reopensWhenItIsBack()
{
    FakeBus bus;
    bus.willAnswerHandshake(acceptAndHang);
    TarvexQueryHandler handler(PRINTER);
    QVERIFY(handler.open());
    ClientState state;
    state.setState(framepieces::irregularText(20000000, 1));
    QVERIFY(!handler.saveState(state));
    handler.close();
    QCOMPARE(handler.findChild<QTcpSocket*>()->state(), QAbstractSocket::ClosingState);

    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(handler.open());
    QVERIFY(handler.isOpen());
    QCOMPARE(disconnected.count(), 0);
    QCOMPARE(log.texts(), QStringList());
}

QTEST_GUILESS_MAIN(TstConnectionTimeouts)
#include "tst_connection_timeouts.moc"
