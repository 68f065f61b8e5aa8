#include "client/tarvexqueryhandler.h"

#include "fakebus.h"
#include "logcapture.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

#include <sys/socket.h>

using namespace tarvex;

namespace {

constexpr int TIMEOUT_MS = 30000;
/// A loaded machine may be late, but not by this much.
constexpr int LATEST_MS = 45000;

const QString WAIT_ERROR = QStringLiteral("critical: Socket wait for ready read error");
const QString TIMEOUT_ERROR =
    QStringLiteral("warning: QAbstractSocket::SocketTimeoutError Network operation timed out");

} // namespace

/// What a server that hangs does to the query connection; apart from the other tests because each takes half a minute.
class TstQueryhandlerTimeouts : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void handshakeNeverAnswered_openFails();
    void replyNeverComes_requestFails();
    void serverHangsWithFullBuffers_reopensWhenItIsBack();
};

void TstQueryhandlerTimeouts::handshakeNeverAnswered_openFails()
{
    FakeBus bus;
    bus.willAnswerHandshake([](FakeBus::Peer&, const FakeBus::Request&) {});
    TarvexQueryHandler handler(QStringLiteral("printer"));
    const QSignalSpy connected(&handler, SIGNAL(tarvexConnected()));
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!handler.open());
    QVERIFY(timer.elapsed() >= TIMEOUT_MS && timer.elapsed() < LATEST_MS);
    QVERIFY(!handler.isOpen());
    QCOMPARE(connected.count(), 0);
    QCOMPARE(log.texts(), QStringList({TIMEOUT_ERROR, WAIT_ERROR}));
    QVERIFY(handler.open());
}

void TstQueryhandlerTimeouts::replyNeverComes_requestFails()
{
    FakeBus bus;
    bus.willSayNothing();
    bus.willReply(QStringLiteral("saveState"));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(timer.elapsed() >= TIMEOUT_MS && timer.elapsed() < LATEST_MS);
    QCOMPARE(log.texts(), QStringList({TIMEOUT_ERROR, WAIT_ERROR}));
    QVERIFY(handler.isOpen());
    QVERIFY(handler.saveState(ClientState()));
}

// Our last bytes are still waiting to be taken when the connection is closed: Qt keeps it in the closing state, in
// which it refuses to connect.
void TstQueryhandlerTimeouts::serverHangsWithFullBuffers_reopensWhenItIsBack()
{
    FakeBus bus;
    bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::replyFrame(QStringLiteral("handshake"), 0));
        peer.hang();
    });
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QString text;
    quint32 seed = 1;
    while (text.size() < 20000000) {
        seed = seed * 1664525U + 1013904223U;
        text += QString::number(seed, 36);
    }
    ClientState state;
    state.setState(text);
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

QTEST_GUILESS_MAIN(TstQueryhandlerTimeouts)
#include "tst_queryhandler_timeouts.moc"
