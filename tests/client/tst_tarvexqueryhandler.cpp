#include "client/tarvexqueryhandler.h"

#include "fakebus.h"
#include "literals.h"
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

const QString OPERATION = u"loadState"_s;

QVariantMap stateMap(const QString& text)
{
    ClientState state;
    state.setOwner(u"cashbox"_s);
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
        u"busDisconnected()"_s,
        u"tarvexConnected()"_s,
        u"open()"_s,
        u"close()"_s,
        u"saveState(ClientState)"_s,
        u"saveSettings(ClientSettings)"_s,
        u"saveSettings(QList<ClientSettings>)"_s,
        u"removeSettings(ClientSettings)"_s,
        u"removeSettings(QString,bool)"_s,
        u"removeSettings(QString)"_s,
        u"sendMessage(Message)"_s,
        u"subscribe(QList<QPair<QString,qint32> >)"_s,
        u"subscribe(QStringList)"_s,
        u"subscribe(QString,int)"_s,
        u"unsubscribe(QStringList)"_s,
        u"socketConnected()"_s,
        u"socketDisconnected()"_s,
        u"socketError(QAbstractSocket::SocketError)"_s,
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
    const auto* handler = new TarvexQueryHandler(u"printer"_s, &parent);
    QCOMPARE(handler->parent(), &parent);
    QCOMPARE(handler->clientName(), u"printer"_s);
    QVERIFY(!handler->isOpen());
    QVERIFY(!handler->handshaked());
    QVERIFY(handler->findChild<QTcpSocket*>() != nullptr);
}

void TstTarvexQueryHandler::open_withoutServer_fails()
{
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    QVERIFY(handler.isOpen());
}

void TstTarvexQueryHandler::open_betweenConnectAndReply_isNotOpen()
{
    FakeBus bus;
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
    const QSignalSpy connected(&handler, SIGNAL(tarvexConnected()));
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(!handler.open());
    QCOMPARE(connected.count(), 0);
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(log.texts(), QStringList({CLOSED_LINE, u"critical: Socket wait for ready read error"_s}));
    QVERIFY(isClosed(handler));
    QVERIFY(handler.open());
    QCOMPARE(bus.connectionCount(), 2);
}

void TstTarvexQueryHandler::handshake_isOneRequestFrame()
{
    FakeBus bus;
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    QCOMPARE(bus.handshakes().size(), 1);
    const FakeBus::Request handshake = bus.handshakes().constFirst();
    QVERIFY(handshake.frame.startsWith("[-REQUEST-]\r\n"));
    const QVariantMap envelope{{u"operation"_s, u"handshake"_s}, {u"data"_s, QVariantMap{{u"name"_s, u"printer"_s}}}};
    QCOMPARE(handshake.envelope, envelope);
    QCOMPARE(bus.requests().size(), 0);
}

void TstTarvexQueryHandler::request_whenClosed_isSilent()
{
    FakeBus bus;
    TarvexQueryHandler handler(u"printer"_s);
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(bus.connectionCount(), 0);
}

void TstTarvexQueryHandler::request_afterServerWent_fails()
{
    FakeBus bus;
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    bus.dropConnections();
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(!handler.isOpen());
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(log.texts().constLast(), u"critical: Socket wait for ready read error"_s);
    QVERIFY(handler.open());
}

void TstTarvexQueryHandler::request_afterClose_isSilent()
{
    FakeBus bus;
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    bus.dropConnections();
    QVERIFY(disconnected.wait(20000));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(u"critical: Socket wait for ready read error"_s));
}

void TstTarvexQueryHandler::reply_takenBySomebodyElse_isLogged()
{
    FakeBus bus;
    bus.willReply(OPERATION);
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    auto* const socket = handler.findChild<QTcpSocket*>();
    connect(socket, &QTcpSocket::readyRead, socket, [socket] { socket->readAll(); });
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(u"critical: Socket is empty"_s));
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
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    ClientState state;
    const LogCapture log;
    QVERIFY(handler.loadState(u"cashbox"_s, state));
    QVERIFY(state.state() == text);
    QCOMPARE(int(state.stateType()), 4);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryHandler::reply_withoutDataOrResult_isSuccess()
{
    FakeBus bus;
    bus.willSend(FakeBus::frame("[-REPLY-]", FakeBus::payload(QByteArray("{}"))));
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    ClientState state;
    state.setState(u"before"_s);
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state, ClientState::fromVariantMap({}));
}

void TstTarvexQueryHandler::reply_notAnObject_isSuccess()
{
    FakeBus bus;
    bus.willSend(FakeBus::frame("[-REPLY-]", FakeBus::payload(QByteArray("[1,2]"))));
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    QVERIFY(handler.saveState(ClientState()));
}

void TstTarvexQueryHandler::reply_operationIsNotCompared()
{
    FakeBus bus;
    bus.willReply(u"somethingElse"_s);
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    QVERIFY(handler.saveState(ClientState()));
}

void TstTarvexQueryHandler::reply_nonZeroCode_isLogged()
{
    FakeBus bus;
    bus.willReply(OPERATION, 5, u"There are no settings for client"_s, {{u"a"_s, 1}});
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    ClientState state;
    state.setState(u"before"_s);
    const LogCapture log;
    QVERIFY(!handler.loadState(QString(), state));
    QCOMPARE(state.state(), u"before"_s);
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().constFirst().type, QtCriticalMsg);
    QCOMPARE(log.lines().constFirst().category, u"default"_s);
    QStringList fields = log.lines().constFirst().text.split(QLatin1Char('\t'));
    for (QString& field : fields) {
        field = field.trimmed();
    }
    QCOMPARE(fields,
             QStringList({u"5"_s, u"There are no settings for client"_s, OPERATION, uR"({"a":1})"_s,
                          uR"({"code":5,"description":"There are no settings for client"})"_s}));
    QVERIFY(handler.isOpen());
}

void TstTarvexQueryHandler::reply_codeIsCutTo16Bits()
{
    FakeBus bus;
    bus.willReply(OPERATION, 65536);
    bus.willReply(OPERATION, 65538, u"two"_s);
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    QVERIFY(handler.saveState(ClientState()));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(contains(log.texts(), u"critical: 2 \ttwo"_s));
}

void TstTarvexQueryHandler::reply_namedHandshake_decidesOnTheConnection()
{
    FakeBus bus;
    bus.willReply(u"handshake"_s, 0);
    bus.willReply(u"handshake"_s, 3);
    TarvexQueryHandler handler(u"printer"_s);
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
    bus.willReply(u"Handshake"_s, 3, u"three"_s);
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(handler.isOpen());
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(contains(log.texts(), u"critical: 3 \tthree"_s));
}

void TstTarvexQueryHandler::reply_wrongHeader_isLogged_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("shown");
    QTest::newRow("a request") << QByteArray("[-REQUEST-]\r\n") << u"[-REQUEST-]"_s;
    QTest::newRow("lower case") << QByteArray("[-reply-]\r\n") << u"[-reply-]"_s;
    QTest::newRow("not ASCII") << QByteArray("\xe9t\xe9\r\n") << u"\u00e9t\u00e9"_s;
    QTest::newRow("without an end") << QByteArray("[-REP") << u"[-REP"_s;
    QTest::newRow("too long") << QByteArray("0123456789abcdefghi\r\n") << u"0123456789abcde"_s;
    QTest::newRow("empty") << QByteArray("\r\n") << QString();
    QTest::newRow("with a zero byte") << QByteArray("[-REPLY-]\0x\r\n", 13) << QString(u"[-REPLY-]%1x"_s.arg(QChar(0)));
}

void TstTarvexQueryHandler::reply_wrongHeader_isLogged()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, shown);
    FakeBus bus;
    bus.willSend(line);
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(u"critical: Incorrect reply header: "_s + shown));
    QVERIFY(handler.isOpen());
}

void TstTarvexQueryHandler::reply_headerWithBlanks_isRecognised()
{
    FakeBus bus;
    const QByteArray payload = FakeBus::payload(QByteArray("{}"));
    bus.willSend(" [-REPLY-]\t\r\n " + QByteArray::number(payload.size()) + " \n" + payload);
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QStringList texts = log.texts();
    texts.removeAll(u"warning: qUncompress: Input data is corrupted"_s);
    QCOMPARE(texts, QStringList(u"warning: illegal value \t"_s));
}

void TstTarvexQueryHandler::reply_negativeSize_isLogged()
{
    FakeBus bus;
    bus.willSend("[-REPLY-]\r\n-5\r\nabcde");
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(u"critical: Incorrect reply data size "_s));
}

void TstTarvexQueryHandler::reply_lyingSize_fails()
{
    FakeBus bus;
    bus.willSend("[-REPLY-]\r\n2147483647\r\nabcd");
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    QElapsedTimer timer;
    timer.start();
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(timer.elapsed() < 20000);
    QCOMPARE(log.texts(), QStringList(u"critical: Incorrect reply data size "_s));
}

void TstTarvexQueryHandler::reply_shortPayload_isLogged()
{
    FakeBus bus;
    bus.willSend("[-REPLY-]\r\n250\r\nline one\nl\xc3\xadnea dos");
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    ClientState state;
    state.setState(u"before"_s);
    const LogCapture log;
    QVERIFY(!handler.loadState(QString(), state));
    QCOMPARE(log.texts(), QStringList(u"critical: Incorrect reply data size line one\nl\u00ednea dos"_s));
    QCOMPARE(state.state(), u"before"_s);
    QVERIFY(handler.isOpen());
}

void TstTarvexQueryHandler::reply_undecodable_isLogged()
{
    FakeBus bus;
    bus.willSend(FakeBus::frame("[-REPLY-]", FakeBus::payload(QByteArray("plain \x01w\xc3\xb6rds"))));
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(u"warning: illegal value \tplain \\x01w\u00f6rds"_s));
}

// A loaded machine may hold the second piece back for longer than the reader waits: one of five tries must do.
void TstTarvexQueryHandler::reply_cutAnywhere_isRead()
{
    const QByteArray frame = stateReply(u"ready"_s);
    FakeBus bus;
    TarvexQueryHandler handler(u"printer"_s);
    for (int cut = 1; cut < frame.size(); ++cut) {
        bool read = false;
        for (int attempt = 0; attempt < 5 && !read; ++attempt) {
            if (attempt > 0) {
                handler.close();
            }
            QVERIFY(handler.open());
            bus.willSendInPieces({frame.left(cut), frame.mid(cut)}, 1);
            ClientState state;
            read = handler.loadState(QString(), state) && state.state() == u"ready"_s;
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
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    ClientState state;
    const LogCapture log;
    QVERIFY(handler.loadState(QString(), state));
    QVERIFY(state.state() == text);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryHandler::reply_pauseBeyondTheRounds_fails()
{
    const QByteArray frame = stateReply(u"ready"_s);
    FakeBus bus;
    bus.willSendInPieces({frame.chopped(10), frame.right(10)}, 1000);
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(contains(log.texts(), u"critical: Incorrect reply data size "_s));
}

void TstTarvexQueryHandler::reply_serverDiesInTheMiddle_failsSoon()
{
    const QByteArray frame = stateReply(longText(5000000));
    FakeBus bus;
    bus.willDo([frame](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(frame.left(frame.size() / 2));
        peer.close();
    });
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!handler.saveState(ClientState()));
    QVERIFY(timer.elapsed() < 20000); // all rounds would be 400 s
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(log.texts().constFirst(), CLOSED_LINE);
    QVERIFY(log.texts().constLast().startsWith(u"critical: Incorrect reply data size "_s));
    QVERIFY(!handler.isOpen());
    QTest::qWait(20);
    QCOMPARE(disconnected.count(), 1);
}

void TstTarvexQueryHandler::reply_serverDiesInALine_isReported_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("beginning");
    QTest::newRow("header") << QByteArray("[-REP") << u"critical: Incorrect reply header: [-REP"_s;
    QTest::newRow("size") << QByteArray("[-REPLY-]\r\n12") << u"critical: Incorrect reply data size "_s;
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
    TarvexQueryHandler handler(u"printer"_s);
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
        peer.send(stateReply(u"last words"_s));
        peer.close();
    });
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    ClientState state;
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state.state(), u"last words"_s);
    QTRY_COMPARE(disconnected.count(), 1);
    QVERIFY(!handler.isOpen());
}

void TstTarvexQueryHandler::reply_serverResets_fails()
{
    FakeBus bus;
    bus.willDo([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.reset(); });
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    const LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts().constLast(), u"critical: Socket wait for ready read error"_s);
    QTRY_COMPARE(disconnected.count(), 1);
    QVERIFY(handler.open());
}

void TstTarvexQueryHandler::failure_resynchronisesNothing()
{
    FakeBus bus;
    bus.willSend("garbage\r\n" + stateReply(u"first"_s));
    bus.willSend(stateReply(u"second"_s));
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    ClientState state;
    QVERIFY(!handler.loadState(QString(), state));
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state.state(), u"first"_s);
}

void TstTarvexQueryHandler::lateReply_answersTheNextRequest()
{
    FakeBus bus;
    bus.willSendInPieces({"[-NOTHING-]\r\n", stateReply(u"late"_s)}, 100);
    bus.willSend(stateReply(u"in time"_s));
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    ClientState state;
    QVERIFY(!handler.loadState(QString(), state));
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state.state(), u"late"_s);
}

void TstTarvexQueryHandler::latePartOfReply_spoilsTheNextRequest()
{
    const QByteArray frame = stateReply(u"cut"_s);
    FakeBus bus;
    bus.willSendInPieces({frame.chopped(20), frame.right(20)}, 500);
    bus.willSend(stateReply(u"in time"_s));
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    ClientState state;
    const LogCapture log;
    QVERIFY(!handler.loadState(QString(), state));
    QVERIFY(!handler.loadState(QString(), state));
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(log.texts().constLast(),
             u"critical: Incorrect reply header: "_s + QString::fromLatin1(frame.right(20).left(15)));
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
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const MarkingTranslator translator;
    LogCapture log;
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(u"critical: "_s + marked("Incorrect reply header: ") + u"garbage"_s));
    log.clear();
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(contains(log.texts(), u"critical: "_s + marked("Incorrect reply data size")));

    auto* const socket = handler.findChild<QTcpSocket*>();
    const auto thief = connect(socket, &QTcpSocket::readyRead, socket, [socket] { socket->readAll(); });
    log.clear();
    QVERIFY(!handler.saveState(ClientState()));
    QCOMPARE(log.texts(), QStringList(u"critical: "_s + marked("Socket is empty")));
    disconnect(thief);
    log.clear();
    QList<ClientSettings> settings;
    QVERIFY(!handler.loadSettings(QStringList(), settings));
    QCOMPARE(log.texts().mid(1),
             QStringList({u"critical: "_s + marked("Socket wait for ready read error"),
                          u"critical: "_s + marked("Settings list loading error")}));
}

void TstTarvexQueryHandler::request_threadEnding_givesUpPayload()
{
    FakeBus bus;
    bus.willSend("[-REPLY-]\r\n10000000\r\nabc");
    bool result = true;
    std::unique_ptr<QThread> thread(QThread::create([&result] {
        TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    const qint64 before = timer.elapsed();
    handler.close();
    QVERIFY(seen.get_future().get() - before >= 99);
}

void TstTarvexQueryHandler::close_thenOpen_worksAgain()
{
    FakeBus bus;
    bus.willSend(stateReply(u"again"_s));
    TarvexQueryHandler handler(u"printer"_s);
    QSignalSpy disconnected(&handler, SIGNAL(busDisconnected()));
    QVERIFY(handler.open());
    handler.close();
    QVERIFY(handler.open());
    ClientState state;
    QVERIFY(handler.loadState(QString(), state));
    QCOMPARE(state.state(), u"again"_s);
    QCOMPARE(bus.handshakes().size(), 2);
    bus.dropConnections();
    QVERIFY(disconnected.wait(20000));
}

void TstTarvexQueryHandler::socketGone_everythingFails()
{
    FakeBus bus;
    TarvexQueryHandler handler(u"printer"_s);
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
    TarvexQueryHandler handler(u"printer"_s);
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
