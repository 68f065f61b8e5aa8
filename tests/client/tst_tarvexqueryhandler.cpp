#include "client/tarvexqueryhandler.h"

#include "fakebus.h"
#include "logcapture.h"
#include "markingtranslator.h"
#include "reconnection.h"

#include <QElapsedTimer>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>
#include <QThread>

#include <future>
#include <memory>

using namespace tarvex;
using namespace reconnection;

namespace {

const QString OPERATION = QStringLiteral("loadState");

QVariantMap stateMap(const QString& text)
{
    ClientState state;
    state.setOwner(QStringLiteral("cashbox"));
    state.setState(text);
    state.setStateType(static_cast<ClientState::EStateType>(4));
    return state.toVariantMap();
}

QByteArray stateReply(const QString& text)
{
    return FakeBus::replyFrame(OPERATION, 0, QString(), stateMap(text));
}

QString longText(int length)
{
    QString text;
    quint32 seed = 7;
    while (text.size() < length) {
        seed = seed * 1664525U + 1013904223U;
        text += QString::number(seed, 36);
    }
    return text.left(length);
}

/// Closed by close(): no connection, and nothing more to be heard of it.
bool isClosed(const TarvexQueryHandler& handler)
{
    const auto* const socket = handler.findChild<QTcpSocket*>();
    return socket->state() == QAbstractSocket::UnconnectedState && socket->signalsBlocked() && !handler.isOpen();
}

bool contains(const QStringList& texts, const QString& beginning)
{
    for (const QString& text : texts) {
        if (text.startsWith(beginning)) {
            return true;
        }
    }
    return false;
}

} // namespace

class TstTarvexQueryHandler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void metaObject_hasItsMethodsInOrder();
    void construct_isClosed();
    void open_withoutServer_fails();
    void open_accepted_isOpen();
    void open_whenOpen_doesNothing();
    void open_refused_isClosedAndSilent();
    void open_codeWithEmptyLow16Bits_isAccepted();
    void open_betweenConnectAndReply_isNotOpen();
    void open_serverDiesInHandshake_fails();
    void handshake_isOneRequestFrame();
    void request_whenClosed_isSilent();
    void request_afterServerWent_fails();
    void request_afterClose_isSilent();
    void request_afterNoticedDrop_logsOnce();
    void reply_takenBySomebodyElse_isLogged();
    void reply_isTakenAsAnswer_data();
    void reply_isTakenAsAnswer();
    void reply_withoutDataOrResult_isSuccess();
    void reply_notAnObject_isSuccess();
    void reply_operationIsNotCompared();
    void reply_nonZeroCode_isLogged();
    void reply_codeIsCutTo16Bits();
    void reply_namedHandshake_decidesOnTheConnection();
    void reply_namedAlmostHandshake_isOrdinary();
    void reply_wrongHeader_isLogged_data();
    void reply_wrongHeader_isLogged();
    void reply_headerWithBlanks_isRecognised();
    void reply_sizeThatIsNoNumber_isReadAsEmpty_data();
    void reply_sizeThatIsNoNumber_isReadAsEmpty();
    void reply_negativeSize_isLogged();
    void reply_lyingSize_fails();
    void reply_shortPayload_isLogged();
    void reply_undecodable_isLogged();
    void reply_cutAnywhere_isRead();
    void reply_inManySegmentsWithPauses_isRead();
    void reply_pauseBeyondTheRounds_fails();
    void reply_serverDiesInTheMiddle_failsSoon();
    void reply_serverDiesInALine_isReported_data();
    void reply_serverDiesInALine_isReported();
    void reply_serverClosesAfterIt_isRead();
    void reply_serverResets_fails();
    void failure_resynchronisesNothing();
    void lateReply_answersTheNextRequest();
    void latePartOfReply_spoilsTheNextRequest();
    void logTexts_areTranslated();
    void request_threadEnding_givesUpPayload();
    void serverDrop_isReportedOnce();
    void close_isSilent();
    void close_pausesBeforeItDisconnects();
    void close_thenOpen_worksAgain();
    void socketGone_everythingFails();
    void socketGoesInsideAPayload_failsWithoutAnotherLine();
};

void TstTarvexQueryHandler::metaObject_hasItsMethodsInOrder()
{
    const QStringList expected{
        QStringLiteral("busDisconnected()"),
        QStringLiteral("tarvexConnected()"),
        QStringLiteral("open()"),
        QStringLiteral("close()"),
        QStringLiteral("saveState(ClientState)"),
        QStringLiteral("saveSettings(ClientSettings)"),
        QStringLiteral("saveSettings(QList<ClientSettings>)"),
        QStringLiteral("removeSettings(ClientSettings)"),
        QStringLiteral("removeSettings(QString,bool)"),
        QStringLiteral("removeSettings(QString)"),
        QStringLiteral("sendMessage(Message)"),
        QStringLiteral("subscribe(QList<QPair<QString,qint32> >)"),
        QStringLiteral("subscribe(QStringList)"),
        QStringLiteral("subscribe(QString,int)"),
        QStringLiteral("unsubscribe(QStringList)"),
        QStringLiteral("socketConnected()"),
        QStringLiteral("socketDisconnected()"),
        QStringLiteral("socketError(QAbstractSocket::SocketError)"),
    };
    const QMetaObject& meta = TarvexQueryHandler::staticMetaObject;
    QStringList actual;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        actual.append(QString::fromLatin1(method.methodSignature()));
        const bool isPrivate = actual.size() > 15;
        const bool isSignal = actual.size() <= 2;
        QCOMPARE(method.methodType(), isSignal ? QMetaMethod::Signal : QMetaMethod::Slot);
        QCOMPARE(method.access(), isPrivate ? QMetaMethod::Private : QMetaMethod::Public);
    }
    QCOMPARE(actual, expected);
    QCOMPARE(meta.className(), "tarvex::TarvexQueryHandler");
}

void TstTarvexQueryHandler::construct_isClosed()
{
    QObject parent;
    const auto* handler = new TarvexQueryHandler(QStringLiteral("printer"), &parent);
    QCOMPARE(handler->parent(), &parent);
    QCOMPARE(handler->clientName(), QStringLiteral("printer"));
    QVERIFY(!handler->isOpen());
    QVERIFY(!handler->handshaked());
    QVERIFY(handler->findChild<QTcpSocket*>() != nullptr);
}

void TstTarvexQueryHandler::open_withoutServer_fails()
{
    TarvexQueryHandler handler(QStringLiteral("printer"));
    const QSignalSpy connected(&handler, SIGNAL(tarvexConnected()));
    const LogCapture log;
    QVERIFY(!handler.open());
    QVERIFY(!handler.isOpen());
    QCOMPARE(connected.count(), 0);
    QCOMPARE(log.texts(), QStringList(REFUSED_LINE));
}

void TstTarvexQueryHandler::open_accepted_isOpen()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    const QSignalSpy connected(&handler, SIGNAL(tarvexConnected()));
    const LogCapture log;
    QVERIFY(handler.open());
    QVERIFY(handler.isOpen());
    QVERIFY(handler.handshaked());
    QCOMPARE(connected.count(), 1);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryHandler::open_whenOpen_doesNothing()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const QSignalSpy connected(&handler, SIGNAL(tarvexConnected()));
    QVERIFY(handler.open());
    QCOMPARE(connected.count(), 0);
    QCOMPARE(bus.handshakes().size(), 1);
    QCOMPARE(bus.connectionCount(), 1);
}

void TstTarvexQueryHandler::open_refused_isClosedAndSilent()
{
    FakeBus bus;
    bus.willRefuseHandshake(3);
    TarvexQueryHandler handler(QStringLiteral("printer"));
    const QSignalSpy connected(&handler, SIGNAL(tarvexConnected()));
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(!handler.open());
    QVERIFY(!handler.isOpen());
    QVERIFY(!handler.handshaked());
    QTest::qWait(20);
    QCOMPARE(connected.count(), 0);
    QCOMPARE(disconnected.count(), 0);
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(handler.findChild<QTcpSocket*>()->state(), QAbstractSocket::UnconnectedState);

    QVERIFY(handler.open());
    QCOMPARE(connected.count(), 1);
}

void TstTarvexQueryHandler::open_codeWithEmptyLow16Bits_isAccepted()
{
    FakeBus bus;
    bus.willRefuseHandshake(65536);
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QVERIFY(handler.isOpen());
}

void TstTarvexQueryHandler::open_betweenConnectAndReply_isNotOpen()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    bool wasConnected = false;
    bool wasOpen = true;
    connect(handler.findChild<QTcpSocket*>(), &QTcpSocket::connected, &handler, [&] {
        wasConnected = true;
        wasOpen = handler.isOpen();
    });
    QVERIFY(handler.open());
    QVERIFY(wasConnected);
    QVERIFY(!wasOpen);
}

void TstTarvexQueryHandler::open_serverDiesInHandshake_fails()
{
    FakeBus bus;
    bus.willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.close(); });
    TarvexQueryHandler handler(QStringLiteral("printer"));
    const QSignalSpy connected(&handler, SIGNAL(tarvexConnected()));
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(!handler.open());
    QCOMPARE(connected.count(), 0);
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(log.texts(), QStringList({CLOSED_LINE, QStringLiteral("critical: Socket wait for ready read error")}));
    QVERIFY(isClosed(handler));
    QVERIFY(handler.open());
    QCOMPARE(bus.connectionCount(), 2);
}

void TstTarvexQueryHandler::handshake_isOneRequestFrame()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QCOMPARE(bus.handshakes().size(), 1);
    const FakeBus::Request handshake = bus.handshakes().constFirst();
    QVERIFY(handshake.frame.startsWith("[-REQUEST-]\r\n"));
    const QVariantMap envelope{
        {QStringLiteral("operation"), QStringLiteral("handshake")},
        {QStringLiteral("data"), QVariantMap{{QStringLiteral("name"), QStringLiteral("printer")}}}};
    QCOMPARE(handshake.envelope, envelope);
    QCOMPARE(bus.requests().size(), 0);
}

void TstTarvexQueryHandler::request_whenClosed_isSilent()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(bus.connectionCount(), 0);
}

void TstTarvexQueryHandler::request_afterServerWent_fails()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    bus.dropConnections();
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(!handler.isOpen());
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(log.texts().constLast(), QStringLiteral("critical: Socket wait for ready read error"));
    QVERIFY(handler.open());
}

void TstTarvexQueryHandler::request_afterClose_isSilent()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    handler.close();
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(bus.requests().size(), 0);
}

void TstTarvexQueryHandler::request_afterNoticedDrop_logsOnce()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    bus.dropConnections();
    QVERIFY(disconnected.wait(20000));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(QStringLiteral("critical: Socket wait for ready read error")));
}

void TstTarvexQueryHandler::reply_takenBySomebodyElse_isLogged()
{
    FakeBus bus;
    bus.willReply(OPERATION);
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    auto* const socket = handler.findChild<QTcpSocket*>();
    connect(socket, &QTcpSocket::readyRead, socket, [socket] { socket->readAll(); });
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(QStringLiteral("critical: Socket is empty")));
}

void TstTarvexQueryHandler::reply_isTakenAsAnswer_data()
{
    QTest::addColumn<int>("length");
    for (const int length : {0, 1, 50, 100, 250, 16000, 64000, 200000, 5000000}) {
        QTest::addRow("%d", length) << length;
    }
}

void TstTarvexQueryHandler::reply_isTakenAsAnswer()
{
    QFETCH(int, length);
    const QString text = longText(length);
    FakeBus bus;
    bus.willSend(stateReply(text));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    ClientState state;
    const LogCapture log;
    QVERIFY(handler.loadState(QStringLiteral("cashbox"), state));
    QVERIFY(state.state() == text);
    QCOMPARE(int(state.stateType()), 4);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryHandler::reply_withoutDataOrResult_isSuccess()
{
    FakeBus bus;
    bus.willSend(FakeBus::frame("[-REPLY-]", FakeBus::payload(QByteArray("{}"))));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    ClientState state;
    state.setState(QStringLiteral("before"));
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state, ClientState::fromVariantMap({}));
}

void TstTarvexQueryHandler::reply_notAnObject_isSuccess()
{
    FakeBus bus;
    bus.willSend(FakeBus::frame("[-REPLY-]", FakeBus::payload(QByteArray("[1,2]"))));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QVERIFY(handler.saveState(ClientState()));
}

void TstTarvexQueryHandler::reply_operationIsNotCompared()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("somethingElse"));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QVERIFY(handler.saveState(ClientState()));
}

void TstTarvexQueryHandler::reply_nonZeroCode_isLogged()
{
    FakeBus bus;
    bus.willReply(OPERATION, 5, QStringLiteral("There are no settings for client"), {{QStringLiteral("a"), 1}});
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    ClientState state;
    state.setState(QStringLiteral("before"));
    const LogCapture log;
    QVERIFY(!handler.loadState(QString(), state));
    QCOMPARE(state.state(), QStringLiteral("before"));
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().constFirst().type, QtCriticalMsg);
    QCOMPARE(log.lines().constFirst().category, QStringLiteral("default"));
    QStringList fields = log.lines().constFirst().text.split(QLatin1Char('\t'));
    for (QString& field : fields) {
        field = field.trimmed();
    }
    QCOMPARE(fields,
             QStringList({QStringLiteral("5"), QStringLiteral("There are no settings for client"), OPERATION,
                          QStringLiteral(R"({"a":1})"),
                          QStringLiteral(R"({"code":5,"description":"There are no settings for client"})")}));
    QVERIFY(handler.isOpen());
}

void TstTarvexQueryHandler::reply_codeIsCutTo16Bits()
{
    FakeBus bus;
    bus.willReply(OPERATION, 65536);
    bus.willReply(OPERATION, 65538, QStringLiteral("two"));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QVERIFY(handler.saveState(ClientState()));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(contains(log.texts(), QStringLiteral("critical: 2 \ttwo")));
}

void TstTarvexQueryHandler::reply_namedHandshake_decidesOnTheConnection()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("handshake"), 0);
    bus.willReply(QStringLiteral("handshake"), 3);
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QVERIFY(handler.saveState(ClientState()));
    QVERIFY(handler.handshaked());
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(!handler.handshaked());
    QVERIFY(isClosed(handler));
    QCOMPARE(disconnected.count(), 0);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryHandler::reply_namedAlmostHandshake_isOrdinary()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("Handshake"), 3, QStringLiteral("three"));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(handler.isOpen());
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(contains(log.texts(), QStringLiteral("critical: 3 \tthree")));
}

void TstTarvexQueryHandler::reply_wrongHeader_isLogged_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("shown");
    QTest::newRow("a request") << QByteArray("[-REQUEST-]\r\n") << QStringLiteral("[-REQUEST-]");
    QTest::newRow("lower case") << QByteArray("[-reply-]\r\n") << QStringLiteral("[-reply-]");
    QTest::newRow("not ASCII") << QByteArray("\xe9t\xe9\r\n") << QStringLiteral("\u00e9t\u00e9");
    QTest::newRow("without an end") << QByteArray("[-REP") << QStringLiteral("[-REP");
    QTest::newRow("too long") << QByteArray("0123456789abcdefghi\r\n") << QStringLiteral("0123456789abcde");
    QTest::newRow("empty") << QByteArray("\r\n") << QString();
    QTest::newRow("with a zero byte") << QByteArray("[-REPLY-]\0x\r\n", 13)
                                      << QString(QStringLiteral("[-REPLY-]%1x").arg(QChar(0)));
}

void TstTarvexQueryHandler::reply_wrongHeader_isLogged()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, shown);
    FakeBus bus;
    bus.willSend(line);
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(QStringLiteral("critical: Incorrect reply header: ") + shown));
    QVERIFY(handler.isOpen());
}

void TstTarvexQueryHandler::reply_headerWithBlanks_isRecognised()
{
    FakeBus bus;
    const QByteArray payload = FakeBus::payload(QByteArray("{}"));
    bus.willSend(" [-REPLY-]\t\r\n " + QByteArray::number(payload.size()) + " \n" + payload);
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QVERIFY(handler.saveState(ClientState()));
}

void TstTarvexQueryHandler::reply_sizeThatIsNoNumber_isReadAsEmpty_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("zero") << QByteArray("0\r\n");
    QTest::newRow("words") << QByteArray("many\r\n");
    QTest::newRow("empty") << QByteArray("\r\n");
    QTest::newRow("beyond 32 bits") << QByteArray("2147483648\r\n");
    QTest::newRow("hexadecimal") << QByteArray("0x10\r\n");
    QTest::newRow("fraction") << QByteArray("1.5\r\n");
    // Of a line that long only the first 15 bytes are taken.
    QTest::newRow("padded") << QByteArray("00000000000000000012\r\n");
}

// Qt's inflater says a word of its own about the empty block; it is not ours to hold back.
void TstTarvexQueryHandler::reply_sizeThatIsNoNumber_isReadAsEmpty()
{
    QFETCH(QByteArray, line);
    FakeBus bus;
    bus.willSend("[-REPLY-]\r\n" + line);
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QStringList texts = log.texts();
    texts.removeAll(QStringLiteral("warning: qUncompress: Input data is corrupted"));
    QCOMPARE(texts, QStringList(QStringLiteral("warning: illegal value \t")));
}

void TstTarvexQueryHandler::reply_negativeSize_isLogged()
{
    FakeBus bus;
    bus.willSend("[-REPLY-]\r\n-5\r\nabcde");
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(QStringLiteral("critical: Incorrect reply data size ")));
}

void TstTarvexQueryHandler::reply_lyingSize_fails()
{
    FakeBus bus;
    bus.willSend("[-REPLY-]\r\n2147483647\r\nabcd");
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QElapsedTimer timer;
    timer.start();
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(timer.elapsed() < 20000);
    QCOMPARE(log.texts(), QStringList(QStringLiteral("critical: Incorrect reply data size ")));
}

void TstTarvexQueryHandler::reply_shortPayload_isLogged()
{
    FakeBus bus;
    bus.willSend("[-REPLY-]\r\n250\r\nline one\nl\xc3\xadnea dos");
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    ClientState state;
    state.setState(QStringLiteral("before"));
    const LogCapture log;
    QVERIFY(!handler.loadState(QString(), state));
    QCOMPARE(log.texts(), QStringList(QStringLiteral("critical: Incorrect reply data size line one\nl\u00ednea dos")));
    QCOMPARE(state.state(), QStringLiteral("before"));
    QVERIFY(handler.isOpen());
}

void TstTarvexQueryHandler::reply_undecodable_isLogged()
{
    FakeBus bus;
    bus.willSend(FakeBus::frame("[-REPLY-]", FakeBus::payload(QByteArray("plain \x01w\xc3\xb6rds"))));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(QStringLiteral("warning: illegal value \tplain \\x01w\u00f6rds")));
}

// A loaded machine may hold the second piece back for longer than the reader waits: one of five tries must do.
void TstTarvexQueryHandler::reply_cutAnywhere_isRead()
{
    const QByteArray frame = stateReply(QStringLiteral("ready"));
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    for (int cut = 1; cut < frame.size(); ++cut) {
        bool read = false;
        for (int attempt = 0; attempt < 5 && !read; ++attempt) {
            if (attempt > 0) {
                handler.close();
            }
            QVERIFY(handler.open());
            bus.willSendInPieces({frame.left(cut), frame.mid(cut)}, 1);
            ClientState state;
            read = handler.loadState(QString(), state) && state.state() == QStringLiteral("ready");
        }
        QVERIFY2(read, qPrintable(QString::number(cut)));
    }
}

void TstTarvexQueryHandler::reply_inManySegmentsWithPauses_isRead()
{
    const QString text = longText(30000);
    const QByteArray frame = stateReply(text);
    const int payloadStart = frame.indexOf("\r\n", 12) + 2;
    QList<QByteArray> pieces{frame.left(payloadStart)};
    for (int from = payloadStart; from < frame.size(); from += 700) {
        pieces.append(frame.mid(from, 700));
    }
    FakeBus bus;
    bus.willSendInPieces(pieces, 3);
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    ClientState state;
    const LogCapture log;
    QVERIFY(handler.loadState(QString(), state));
    QVERIFY(state.state() == text);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryHandler::reply_pauseBeyondTheRounds_fails()
{
    const QByteArray frame = stateReply(QStringLiteral("ready"));
    FakeBus bus;
    bus.willSendInPieces({frame.chopped(10), frame.right(10)}, 1000);
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(contains(log.texts(), QStringLiteral("critical: Incorrect reply data size ")));
}

void TstTarvexQueryHandler::reply_serverDiesInTheMiddle_failsSoon()
{
    const QByteArray frame = stateReply(longText(5000000));
    FakeBus bus;
    bus.willDo([frame](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(frame.left(frame.size() / 2));
        peer.close();
    });
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(timer.elapsed() < 20000); // all rounds would be 400 s
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(log.texts().constFirst(), CLOSED_LINE);
    QVERIFY(log.texts().constLast().startsWith(QStringLiteral("critical: Incorrect reply data size ")));
    QVERIFY(!handler.isOpen());
    QTest::qWait(20);
    QCOMPARE(disconnected.count(), 1);
}

void TstTarvexQueryHandler::reply_serverDiesInALine_isReported_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("beginning");
    QTest::newRow("header") << QByteArray("[-REP") << QStringLiteral("critical: Incorrect reply header: [-REP");
    QTest::newRow("size") << QByteArray("[-REPLY-]\r\n12") << QStringLiteral("critical: Incorrect reply data size ");
}

// The connection's own word comes before that it is gone, and the exchange's after both.
void TstTarvexQueryHandler::reply_serverDiesInALine_isReported()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, beginning);
    FakeBus bus;
    bus.willDo([bytes](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(bytes);
        peer.close();
    });
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const LogCapture log;
    QStringList before;
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    connect(&handler, &TarvexQueryHandler::busDisconnected, &handler, [&] { before = log.texts(); });
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(before, QStringList(CLOSED_LINE));
    QCOMPARE(log.texts().size(), 2);
    QVERIFY2(log.texts().constLast().startsWith(beginning), qPrintable(log.texts().constLast()));
    QTest::qWait(20);
    QCOMPARE(disconnected.count(), 1);
}

void TstTarvexQueryHandler::reply_serverClosesAfterIt_isRead()
{
    FakeBus bus;
    bus.willDo([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(stateReply(QStringLiteral("last words")));
        peer.close();
    });
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    ClientState state;
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state.state(), QStringLiteral("last words"));
    QTRY_COMPARE(disconnected.count(), 1);
    QVERIFY(!handler.isOpen());
}

void TstTarvexQueryHandler::reply_serverResets_fails()
{
    FakeBus bus;
    bus.willDo([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.reset(); });
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts().constLast(), QStringLiteral("critical: Socket wait for ready read error"));
    QTRY_COMPARE(disconnected.count(), 1);
    QVERIFY(handler.open());
}

void TstTarvexQueryHandler::failure_resynchronisesNothing()
{
    FakeBus bus;
    bus.willSend("garbage\r\n" + stateReply(QStringLiteral("first")));
    bus.willSend(stateReply(QStringLiteral("second")));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    ClientState state;
    QVERIFY(!handler.loadState(QString(), state));
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state.state(), QStringLiteral("first"));
}

void TstTarvexQueryHandler::lateReply_answersTheNextRequest()
{
    FakeBus bus;
    bus.willSendInPieces({"[-NOTHING-]\r\n", stateReply(QStringLiteral("late"))}, 100);
    bus.willSend(stateReply(QStringLiteral("in time")));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    ClientState state;
    QVERIFY(!handler.loadState(QString(), state));
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state.state(), QStringLiteral("late"));
}

void TstTarvexQueryHandler::latePartOfReply_spoilsTheNextRequest()
{
    const QByteArray frame = stateReply(QStringLiteral("cut"));
    FakeBus bus;
    bus.willSendInPieces({frame.chopped(20), frame.right(20)}, 500);
    bus.willSend(stateReply(QStringLiteral("in time")));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    ClientState state;
    const LogCapture log;
    QVERIFY(!handler.loadState(QString(), state));
    QVERIFY(!handler.loadState(QString(), state));
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(log.texts().constLast(),
             QStringLiteral("critical: Incorrect reply header: ") + QString::fromLatin1(frame.right(20).left(15)));
    QVERIFY(handler.isOpen());
}

void TstTarvexQueryHandler::logTexts_areTranslated()
{
    const auto marked = [](const char* text) {
        return MarkingTranslator::marked("tarvex::TarvexQueryHandler", QString::fromLatin1(text));
    };
    FakeBus bus;
    bus.willSend("garbage\r\n");
    bus.willSend("[-REPLY-]\r\n-5\r\n");
    bus.willReply(OPERATION);
    bus.willClose();
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const MarkingTranslator translator;
    LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(
        log.texts(),
        QStringList(QStringLiteral("critical: ") + marked("Incorrect reply header: ") + QStringLiteral("garbage")));
    log.clear();
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(contains(log.texts(), QStringLiteral("critical: ") + marked("Incorrect reply data size")));

    auto* const socket = handler.findChild<QTcpSocket*>();
    const auto thief = connect(socket, &QTcpSocket::readyRead, socket, [socket] { socket->readAll(); });
    log.clear();
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(QStringLiteral("critical: ") + marked("Socket is empty")));
    disconnect(thief);
    log.clear();
    QList<ClientSettings> settings;
    QVERIFY(!handler.loadSettings(QStringList(), settings));
    QCOMPARE(log.texts().mid(1),
             QStringList({QStringLiteral("critical: ") + marked("Socket wait for ready read error"),
                          QStringLiteral("critical: ") + marked("Settings list loading error")}));
}

void TstTarvexQueryHandler::request_threadEnding_givesUpPayload()
{
    FakeBus bus;
    bus.willSend("[-REPLY-]\r\n10000000\r\nabc");
    bool result = true;
    std::unique_ptr<QThread> thread(QThread::create([&result] {
        TarvexQueryHandler handler(QStringLiteral("printer"));
        result = handler.open() && handler.saveState(ClientState());
    }));
    thread->start();
    QVERIFY(bus.waitForRequests(1));
    thread->requestInterruption();
    QVERIFY(thread->wait(20000)); // all rounds would be 1000 s, the silence 30 s
    QVERIFY(!result);
}

void TstTarvexQueryHandler::serverDrop_isReportedOnce()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    bus.dropConnections();
    QVERIFY(disconnected.wait(20000));
    QVERIFY(!handler.isOpen());
    QVERIFY(handler.handshaked());
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(log.texts(), QStringList(CLOSED_LINE));
    handler.close();
    QVERIFY(!handler.handshaked());
}

void TstTarvexQueryHandler::close_isSilent()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    handler.close();
    QVERIFY(timer.elapsed() >= 99);
    QVERIFY(!handler.isOpen());
    QVERIFY(!handler.handshaked());
    bus.dropConnections();
    QTest::qWait(50);
    QCOMPARE(disconnected.count(), 0);
    QCOMPARE(log.texts(), QStringList());
}

// What the server sent last has that time to arrive, and what we sent, to be read by a server that is busy.
void TstTarvexQueryHandler::close_pausesBeforeItDisconnects()
{
    std::promise<qint64> seen;
    QElapsedTimer timer;
    timer.start();
    FakeBus bus;
    bus.willAnswerHandshake([&seen, &timer](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        peer.waitForClose();
        seen.set_value(timer.elapsed());
    });
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    const qint64 before = timer.elapsed();
    handler.close();
    QVERIFY(seen.get_future().get() - before >= 99);
}

void TstTarvexQueryHandler::close_thenOpen_worksAgain()
{
    FakeBus bus;
    bus.willSend(stateReply(QStringLiteral("again")));
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    QVERIFY(handler.open());
    handler.close();
    QVERIFY(handler.open());
    ClientState state;
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state.state(), QStringLiteral("again"));
    QCOMPARE(bus.handshakes().size(), 2);
    bus.dropConnections();
    QVERIFY(disconnected.wait(20000));
}

void TstTarvexQueryHandler::socketGone_everythingFails()
{
    FakeBus bus;
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    delete handler.findChild<QTcpSocket*>();
    const LogCapture log;
    QVERIFY(!handler.isOpen());
    QVERIFY(!handler.open());
    QVERIFY(!handler.saveState(ClientState()));
    handler.close();
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryHandler::socketGoesInsideAPayload_failsWithoutAnotherLine()
{
    FakeBus bus;
    bus.willDo([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send("[-REPLY-]\r\n5000\r\nabc");
        peer.close();
    });
    TarvexQueryHandler handler(QStringLiteral("printer"));
    QVERIFY(handler.open());
    connect(&handler, &TarvexQueryHandler::busDisconnected, &handler,
            [&handler] { delete handler.findChild<QTcpSocket*>(); });
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(handler.findChild<QTcpSocket*>() == nullptr);
    QCOMPARE(log.texts(), QStringList(CLOSED_LINE));
}

QTEST_GUILESS_MAIN(TstTarvexQueryHandler)
#include "tst_tarvexqueryhandler.moc"
