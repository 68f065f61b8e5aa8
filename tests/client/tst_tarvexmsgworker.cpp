#include "client/tarvexmsgworker.h"

#include "client/tarvexmessagesreciever.h"
#include "heldclock.h"
#include "literals.h"
#include "logcapture.h"
#include "memoryuse.h"
#include "pushes.h"
#include "receivercount.h"
#include "reconnection.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <atomic>
#include <future>
#include <memory>

using namespace tarvex;
using namespace pushes;
using namespace reconnection;

namespace {

Message carrying(const QString& text, int number = 1)
{
    return numbered(number, text);
}

/// Remembers when it was started and stopped.
class CountingWorker : public TarvexMsgWorker
{
public:
    CountingWorker() : TarvexMsgWorker(u"printer"_s) { clock.start(); }

    bool doStart() override
    {
        starts.append(clock.elapsed());
        return TarvexMsgWorker::doStart();
    }

    bool doStop() override
    {
        ++stops;
        return TarvexMsgWorker::doStop();
    }

    /// The intervals of the timers that run, whatever class has them.
    QList<int> runningTimers() const
    {
        QList<int> intervals;
        const QObjectList children = ownParts();
        for (QObject* const child : children) {
            const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(child);
            for (const auto& timer : timers) {
                intervals.append(timer.interval);
            }
        }
        return intervals;
    }

    /// Deletes everything that the worker has made, except its receiver.
    void loseTimers()
    {
        const QObjectList children = ownParts();
        for (QObject* const child : children) {
            if (qobject_cast<TarvexMessagesReciever*>(child) == nullptr) {
                delete child;
            }
        }
    }

    bool isOpen() const { return findChild<TarvexMessagesReciever*>()->isOpen(); }

    QElapsedTimer clock;
    QList<qint64> starts;
    int stops = 0;

private:
    QObjectList ownParts() const { return findChildren<QObject*>(QString(), Qt::FindDirectChildrenOnly); }
};

/// Handles one command of its own.
class PrinterMsgWorker : public TarvexMsgWorker
{
public:
    PrinterMsgWorker() : TarvexMsgWorker(u"printer"_s) { }

    bool doProcessCommand(const QString& cmd, const QVariantMap& data, const QString& sender,
                          const QString& uid) override
    {
        commands.append(QVariantMap{{u"cmd"_s, cmd}, {u"data"_s, data}, {u"sender"_s, sender}, {u"uid"_s, uid}});
        return cmd == QLatin1String("print") || TarvexMsgWorker::doProcessCommand(cmd, data, sender, uid);
    }

    QList<QVariantMap> commands;
};

/// Reads messages in a way of its own.
class RawMsgWorker : public TarvexMsgWorker
{
public:
    RawMsgWorker() : TarvexMsgWorker(u"printer"_s) { }

    void doProcessMessage(const Message& msg) override { messages.append(msg); }

    QList<Message> messages;
};

} // namespace

class TstTarvexMsgWorker : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void created_doesNothingYet();
    void message_isReadAsCommand_data();
    void message_isReadAsCommand();
    void message_repeatedKey_leavesNothingBehind();
    void stateChanged_carriesTheState();
    void stateChanged_withoutData_isReadFromAnEmptyMap_data();
    void stateChanged_withoutData_isReadFromAnEmptyMap();
    void otherMessage_isPassedOnAsItCame();
    void subclass_handlesCommandsOfItsOwn();
    void subclass_getsObjectsAsDataAndAnyNameAsText();
    void subclass_readsMessagesItself();
    void start_joinsTheBus();
    void pushedMessages_comeOutInOrder();
    void startedTwice_hearsEverythingOnce();
    void startedTwice_restartsOnce();
    void startedTwice_isConnectedOnce();
    void busAway_isTriedEvery5000ms();
    void busDropsTheConnection_isBackAtOnce();
    void handshakeFails_isBackAfter5s_data();
    void handshakeFails_isBackAfter5s();
    void handshakeNeverAnswered_isRestartedAfter30s();
    void handshakeAnsweredLate_isLeftAlone();
    void acceptanceTakenBack_isBackAfter5s();
    void openFailsWhileWatched_isTriedByOneTimer();
    void stop_isSilent();
    void stop_beforeTheHandshakeIsAnswered_isFinal();
    void stop_whileBusAway_leavesTheRetryRunning();
    void stop_beforeStart_isFine();
    void stopAndStart_joinsAgain();
    void receiverGone_nothingHappens();
    void timersGoneWhileConnecting_staysConnected();
    void timersGoneWhileOpenFails_nothingHappens();

private:
    /// Starts the worker. \return whether the bus has accepted it.
    bool joinBus() const
    {
        return m_worker->doStart() && QTest::qWaitFor([this] { return m_worker->isOpen(); }, 20000);
    }

    /// Whether the connection is still open after all timers have been due several times.
    bool isLeftAlone() const
    {
        HeldClock clock;
        for (int look = 0; look < 8; ++look) {
            clock.letPass(INTERVAL_MS);
        }
        return m_worker->isOpen();
    }

    std::unique_ptr<FakeBus> m_bus;
    std::unique_ptr<CountingWorker> m_worker;
};

void TstTarvexMsgWorker::init()
{
    m_bus = std::make_unique<FakeBus>(FakeBus::RECEIVER_PORT);
    m_worker = std::make_unique<CountingWorker>();
}

void TstTarvexMsgWorker::cleanup()
{
    m_worker.reset();
    m_bus.reset();
}

void TstTarvexMsgWorker::created_doesNothingYet()
{
    const LogCapture log;
    const CountingWorker worker;
    QVERIFY(worker.parent() == nullptr);
    QCOMPARE(worker.runningTimers(), QList<int>());
    QCOMPARE(worker.findChild<TarvexMessagesReciever*>()->clientName(), u"printer"_s);
    QCOMPARE(m_bus->connectionCount(), 0);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMsgWorker::message_isReadAsCommand_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QStringList>("lines");
    const QString update = u"updateSettings"_s;
    const QString state = u"stateChanged"_s;
    const QString other = u"unprocessedMessage"_s;
    const QStringList nothing;
    const QStringList noCommand{u"warning: no error occurred"_s};
    const QStringList noJson{u"warning: illegal value"_s};
    QTest::newRow("updateSettings") << uR"({"cmd":"updateSettings"})"_s << update << nothing;
    QTest::newRow("updateSettings, data") << uR"({"cmd":"updateSettings","data":{"a":1}})"_s << update << nothing;
    QTest::newRow("updateSettings, a number") << uR"({"cmd":"updateSettings","data":5})"_s << update << nothing;
    QTest::newRow("stateChanged") << uR"({"cmd":"stateChanged","data":{"owner":"x"}})"_s << state << nothing;
    QTest::newRow("stateChanged, no data") << uR"({"cmd":"stateChanged"})"_s << state << nothing;
    QTest::newRow("another command") << uR"({"cmd":"print","data":{}})"_s << other << nothing;
    QTest::newRow("another case") << uR"({"cmd":"UpdateSettings"})"_s << other << nothing;
    QTest::newRow("a blank more") << uR"({"cmd":"stateChanged "})"_s << other << nothing;
    QTest::newRow("command a number") << uR"({"cmd":5})"_s << other << nothing;
    QTest::newRow("command null") << uR"({"cmd":null})"_s << other << nothing;
    QTest::newRow("command empty") << uR"({"cmd":""})"_s << other << nothing;
    QTest::newRow("no command") << uR"({"command":"x"})"_s << other << noCommand;
    QTest::newRow("empty object") << u"{}"_s << other << noCommand;
    QTest::newRow("array") << uR"(["cmd"])"_s << other << noCommand;
    QTest::newRow("words") << u"plain words"_s << other << noJson;
    QTest::newRow("empty") << QString() << other << noJson;
    QTest::newRow("cut") << uR"({"cmd":"updateSettings" )"_s << other << QStringList(u"warning: unterminated object"_s);
    QTest::newRow("more behind") << uR"({"cmd":"updateSettings"}{})"_s << other
                                 << QStringList(u"warning: garbage at the end of the document"_s);
}

void TstTarvexMsgWorker::message_isReadAsCommand()
{
    QFETCH(QString, text);
    QFETCH(QString, signal);
    QFETCH(QStringList, lines);
    const QSignalSpy update(m_worker.get(), SIGNAL(updateSettings()));
    const QSignalSpy state(m_worker.get(), SIGNAL(stateChanged(ClientState)));
    QSignalSpy other(m_worker.get(), SIGNAL(unprocessedMessage(Message)));
    const LogCapture log;
    m_worker->processMessage(carrying(text));
    QCOMPARE(update.count(), signal == QLatin1String("updateSettings") ? 1 : 0);
    QCOMPARE(state.count(), signal == QLatin1String("stateChanged") ? 1 : 0);
    QCOMPARE(other.count(), signal == QLatin1String("unprocessedMessage") ? 1 : 0);
    QCOMPARE(log.texts(), lines);
}

void TstTarvexMsgWorker::message_repeatedKey_leavesNothingBehind()
{
    PrinterMsgWorker worker;
    const QString former = u"[1"_s + u",1"_s.repeated(1000) + QLatin1Char(']');
    const Message message = carrying(uR"({"cmd":"print","data":%1,"data":{"copies":2}})"_s.arg(former));
    worker.processMessage(message);
    const QVariantMap data{{u"copies"_s, 2}};
    QCOMPARE(worker.commands.constFirst().value(u"data"_s).toMap(), data);
    const qint64 before = memoryuse::allocated();
    for (int i = 0; i < 1000; ++i) {
        worker.commands.clear();
        worker.processMessage(message);
    }
    const qint64 grown = memoryuse::allocated() - before;
    QVERIFY2(grown < 500000, QByteArray::number(grown).constData());
}

void TstTarvexMsgWorker::stateChanged_carriesTheState()
{
    QSignalSpy state(m_worker.get(), SIGNAL(stateChanged(ClientState)));
    m_worker->processMessage(
        carrying(uR"({"cmd":"stateChanged","data":{"owner":"cashbox","state":"{\"open\":true}","type":3,)"
                 R"("description":"The cash box","date":"2024-03-05T07:08:09.010"}})"_s));
    QCOMPARE(state.count(), 1);
    QVERIFY(state.constFirst().constFirst().value<ClientState>() == samples::someState());
}

void TstTarvexMsgWorker::stateChanged_withoutData_isReadFromAnEmptyMap_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << uR"({"cmd":"stateChanged"})"_s;
    QTest::newRow("null") << uR"({"cmd":"stateChanged","data":null})"_s;
    QTest::newRow("string") << uR"({"cmd":"stateChanged","data":"{\"owner\":\"x\"}"})"_s;
    QTest::newRow("array") << uR"({"cmd":"stateChanged","data":[{"owner":"x"}]})"_s;
}

void TstTarvexMsgWorker::stateChanged_withoutData_isReadFromAnEmptyMap()
{
    QFETCH(QString, text);
    QSignalSpy state(m_worker.get(), SIGNAL(stateChanged(ClientState)));
    m_worker->processMessage(carrying(text));
    QCOMPARE(state.count(), 1);
    QVERIFY(state.constFirst().constFirst().value<ClientState>() == ClientState::fromVariantMap({}));
}

void TstTarvexMsgWorker::otherMessage_isPassedOnAsItCame()
{
    QSignalSpy other(m_worker.get(), SIGNAL(unprocessedMessage(Message)));
    const Message message = carrying(u"plain words"_s, 7);
    m_worker->processMessage(message);
    QVERIFY(other.constFirst().constFirst().value<Message>() == message);
}

void TstTarvexMsgWorker::subclass_handlesCommandsOfItsOwn()
{
    PrinterMsgWorker worker;
    const QSignalSpy update(&worker, SIGNAL(updateSettings()));
    QSignalSpy other(&worker, SIGNAL(unprocessedMessage(Message)));
    worker.processMessage(carrying(uR"({"cmd":"print","data":{"copies":2}})"_s, 4));
    QCOMPARE(other.count(), 0);
    const QVariantMap command{{u"cmd"_s, u"print"_s},
                              {u"data"_s, QVariantMap{{u"copies"_s, 2}}},
                              {u"sender"_s, u"cashbox"_s},
                              {u"uid"_s, u"uid4"_s}};
    QCOMPARE(worker.commands, QList<QVariantMap>{command});
    worker.processMessage(carrying(uR"({"cmd":"eject"})"_s));
    QCOMPARE(other.count(), 1);
    worker.processMessage(carrying(uR"({"cmd":"updateSettings"})"_s));
    QCOMPARE(update.count(), 1);
    QCOMPARE(other.count(), 1);
    QCOMPARE(worker.commands.size(), 3);
    worker.processMessage(carrying(u"plain words"_s));
    QCOMPARE(worker.commands.size(), 3);
}

void TstTarvexMsgWorker::subclass_getsObjectsAsDataAndAnyNameAsText()
{
    PrinterMsgWorker worker;
    for (const char* data : {"5", "[1]", "\"x\"", "null", "true"}) {
        worker.processMessage(carrying(uR"({"cmd":"print","data":%1})"_s.arg(QLatin1String(data))));
        QVERIFY2(worker.commands.constLast().value(u"data"_s).toMap().isEmpty(), data);
    }
    QCOMPARE(worker.commands.size(), 5);
    worker.processMessage(carrying(uR"({"cmd":5})"_s));
    QCOMPARE(worker.commands.constLast().value(u"cmd"_s).toString(), u"5"_s);
}

void TstTarvexMsgWorker::subclass_readsMessagesItself()
{
    RawMsgWorker worker;
    const QSignalSpy other(&worker, SIGNAL(unprocessedMessage(Message)));
    const LogCapture log;
    const Message message = carrying(u"plain words"_s);
    QVERIFY(QMetaObject::invokeMethod(&worker, "processMessage", Q_ARG(Message, message)));
    QCOMPARE(worker.messages.size(), 1);
    QVERIFY(worker.messages.constFirst() == message);
    QCOMPARE(other.count(), 0);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMsgWorker::start_joinsTheBus()
{
    const QSignalSpy connected(m_worker.get(), SIGNAL(workerConnected()));
    const LogCapture log;
    QVERIFY(m_worker->doStart());
    QCOMPARE(connected.count(), 1);
    QTRY_VERIFY(m_worker->isOpen());
    const QVariantMap data{{u"name"_s, u"printer"_s}};
    QCOMPARE(m_bus->handshakes().constFirst().data, data);
    QVERIFY(isLeftAlone());
    QCOMPARE(m_worker->starts.size(), 1);
    QCOMPARE(m_worker->stops, 0);
    QCOMPARE(m_bus->connectionCount(), 1);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMsgWorker::pushedMessages_comeOutInOrder()
{
    m_bus->willAnswerHandshake(acceptAndPush(pushFrame(carrying(uR"({"cmd":"updateSettings"})"_s, 1))
                                             + pushFrame(carrying(u"plain words"_s, 2))
                                             + pushFrame(carrying(uR"({"cmd":"print"})"_s, 3))));
    const QSignalSpy update(m_worker.get(), SIGNAL(updateSettings()));
    QSignalSpy other(m_worker.get(), SIGNAL(unprocessedMessage(Message)));
    const LogCapture log;
    QVERIFY(m_worker->doStart());
    QTRY_COMPARE(other.count(), 2);
    QCOMPARE(update.count(), 1);
    QVERIFY(other.at(0).constFirst().value<Message>() == carrying(u"plain words"_s, 2));
    QVERIFY(other.at(1).constFirst().value<Message>() == carrying(uR"({"cmd":"print"})"_s, 3));
    QVERIFY(m_bus->waitForRequests(3));
    QCOMPARE(log.texts(), QStringList(u"warning: illegal value"_s));
}

void TstTarvexMsgWorker::startedTwice_hearsEverythingOnce()
{
    m_bus->willAnswerHandshake(sayNothing);
    m_bus->willAnswerHandshake(acceptAndPush(pushFrame(carrying(u"one"_s, 1)) + pushFrame(carrying(u"two"_s, 2))));
    const QSignalSpy connected(m_worker.get(), SIGNAL(workerConnected()));
    const QSignalSpy other(m_worker.get(), SIGNAL(unprocessedMessage(Message)));
    QVERIFY(m_worker->doStart());
    QCOMPARE(connected.count(), 1);
    QVERIFY(m_worker->doStart());
    QCOMPARE(connected.count(), 2);
    QTRY_COMPARE(other.count(), 2);
    QTRY_VERIFY(m_worker->isOpen());
    QVERIFY(m_worker->doStart());
    QCOMPARE(connected.count(), 2);
    QCOMPARE(other.count(), 2);
    QCOMPARE(m_bus->connectionCount(), 1);
}

void TstTarvexMsgWorker::startedTwice_restartsOnce()
{
    QVERIFY(joinBus());
    QVERIFY(m_worker->doStart());
    QCOMPARE(m_worker->starts.size(), 2);
    letConnectionsAge();
    m_bus->dropConnections();
    QTRY_COMPARE(m_worker->starts.size(), 3);
    QTRY_VERIFY(m_worker->isOpen());
    QVERIFY(isLeftAlone());
    QCOMPARE(m_worker->starts.size(), 3);
    QCOMPARE(m_worker->stops, 1);
    QCOMPARE(m_bus->connectionCount(), 2);
}

// Counts how often each signal is connected, because restart() makes one of two calls: its effect would not show a
// second connection.
void TstTarvexMsgWorker::startedTwice_isConnectedOnce()
{
    QVERIFY(m_worker->doStart());
    QVERIFY(m_worker->doStart());
    QCOMPARE(ReceiverCount::of(m_worker->findChild<QTimer*>(), SIGNAL(timeout())), 1);
    const auto* const receiver = m_worker->findChild<TarvexMessagesReciever*>();
    QCOMPARE(ReceiverCount::of(receiver, SIGNAL(incomingMessage(Message))), 1);
    QCOMPARE(ReceiverCount::of(receiver, SIGNAL(busDisconnected())), 1);
    QCOMPARE(ReceiverCount::of(receiver, SIGNAL(tarvexConnected())), 1);
}

void TstTarvexMsgWorker::busAway_isTriedEvery5000ms()
{
    m_bus.reset();
    const QSignalSpy connected(m_worker.get(), SIGNAL(workerConnected()));
    const LogCapture log;
    QVERIFY(m_worker->doStart());
    QCOMPARE(m_worker->runningTimers(), QList<int>{5000});
    QTRY_COMPARE_WITH_TIMEOUT(m_worker->starts.size(), 3, 2 * LATEST_MS);
    QCOMPARE(m_worker->stops, 2);
    QCOMPARE(connected.count(), 0);
    QCOMPARE(log.texts(), QStringList({REFUSED_LINE, REFUSED_LINE, REFUSED_LINE}));
    for (int i = 1; i < 3; ++i) {
        const qint64 pause = m_worker->starts.at(i) - m_worker->starts.at(i - 1);
        QVERIFY2(pause >= EARLIEST_MS && pause <= LATEST_MS, qPrintable(QString::number(pause)));
    }
    m_bus = std::make_unique<FakeBus>(FakeBus::RECEIVER_PORT);
    QTRY_VERIFY_WITH_TIMEOUT(m_worker->isOpen(), LATEST_MS);
    QCOMPARE(connected.count(), 1);
    QVERIFY(isLeftAlone());
    QCOMPARE(m_worker->starts.size(), 4);
    QCOMPARE(log.texts().size(), 3);
}

void TstTarvexMsgWorker::busDropsTheConnection_isBackAtOnce()
{
    m_bus->willAnswerHandshake(acceptAndPush({}));
    m_bus->willAnswerHandshake(acceptAndPush(pushFrame(carrying(u"after the drop"_s))));
    const QSignalSpy connected(m_worker.get(), SIGNAL(workerConnected()));
    const QSignalSpy other(m_worker.get(), SIGNAL(unprocessedMessage(Message)));
    QVERIFY(joinBus());
    letConnectionsAge();
    const LogCapture log;
    QElapsedTimer clock;
    clock.start();
    m_bus->dropConnections();
    QTRY_COMPARE(connected.count(), 2);
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QTRY_COMPARE(other.count(), 1);
    QCOMPARE(m_worker->stops, 1);
    QVERIFY(log.texts().startsWith(CLOSED_LINE));
    QCOMPARE(log.texts().count(CLOSED_LINE), 1);
}

void TstTarvexMsgWorker::handshakeFails_isBackAfter5s_data()
{
    QTest::addColumn<bool>("isRefused");
    QTest::addColumn<int>("starts");
    QTest::addColumn<QStringList>("lines");
    // The worker hears of the loss at once and restarts. That restart then waits for the timer.
    QTest::newRow("dropped before it is answered") << false << 3 << QStringList(CLOSED_LINE);
    QTest::newRow("refused") << true << 2 << QStringList(u"warning: Incorrect reply data"_s);
}

void TstTarvexMsgWorker::handshakeFails_isBackAfter5s()
{
    QFETCH(bool, isRefused);
    QFETCH(int, starts);
    QFETCH(QStringList, lines);
    if (isRefused) {
        m_bus->willRefuseHandshake(3);
    } else {
        m_bus->willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) { peer.close(); });
    }
    const LogCapture log;
    QVERIFY(m_worker->doStart());
    QTRY_VERIFY_WITH_TIMEOUT(m_worker->isOpen(), LATEST_MS);
    QCOMPARE(m_worker->starts.size(), starts);
    const qint64 pause = m_worker->starts.constLast() - m_worker->starts.constFirst();
    QVERIFY2(pause >= EARLIEST_MS && pause <= LATEST_MS, qPrintable(QString::number(pause)));
    QCOMPARE(m_bus->connectionCount(), 2);
    QCOMPARE(log.texts(), lines);
}

void TstTarvexMsgWorker::handshakeNeverAnswered_isRestartedAfter30s()
{
    m_bus->willAnswerHandshake(sayNothing);
    const LogCapture log;
    QVERIFY(m_worker->doStart());
    QTRY_VERIFY_WITH_TIMEOUT(m_worker->isOpen(), 60000);
    QCOMPARE(m_worker->starts.size(), 2);
    const qint64 pause = m_worker->starts.at(1) - m_worker->starts.at(0);
    QVERIFY2(pause >= 30000 && pause <= 55000, qPrintable(QString::number(pause)));
    QCOMPARE(m_bus->connectionCount(), 2);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMsgWorker::handshakeAnsweredLate_isLeftAlone()
{
    // After the first look and before the second.
    m_bus->willAnswerHandshake([](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.sendInPieces({QByteArray(), FakeBus::acceptance()}, 6500);
    });
    QVERIFY(m_worker->doStart());
    QTRY_VERIFY_WITH_TIMEOUT(m_worker->isOpen(), LATEST_MS);
    QVERIFY(isLeftAlone());
    QCOMPARE(m_worker->starts.size(), 1);
    QCOMPARE(m_bus->connectionCount(), 1);
}

// The receiver then closes itself silently, after it has been open for longer than two looks.
void TstTarvexMsgWorker::acceptanceTakenBack_isBackAfter5s()
{
    std::promise<void> takeBack;
    m_bus->willAnswerHandshake([&takeBack](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        takeBack.get_future().wait();
        peer.send(FakeBus::replyFrame(u"handshake"_s, 3, u"refused"_s));
    });
    QVERIFY(joinBus());
    HeldClock clock;
    clock.letPass(INTERVAL_MS);
    clock.letPass(INTERVAL_MS);
    QVERIFY(m_worker->isOpen());
    const LogCapture log;
    takeBack.set_value();
    QVERIFY(HeldClock::waitFor([this] { return !m_worker->isOpen(); }));
    QCOMPARE(m_bus->connectionCount(), 1);
    clock.letPass(INTERVAL_MS);
    QVERIFY(HeldClock::waitFor([this] { return m_worker->isOpen(); }));
    QCOMPARE(m_bus->connectionCount(), 2);
    QCOMPARE(m_worker->starts.size(), 2);
    QCOMPARE(m_worker->stops, 1);
    QCOMPARE(log.texts(), QStringList(u"warning: Incorrect reply data"_s));
}

// However it came to that, one timer alone restarts the worker.
void TstTarvexMsgWorker::openFailsWhileWatched_isTriedByOneTimer()
{
    QVERIFY(joinBus());
    QCOMPARE(m_worker->runningTimers(), QList<int>{5000});
    delete m_worker->findChild<QTcpSocket*>();
    QVERIFY(m_worker->doStart());
    QCOMPARE(m_worker->runningTimers(), QList<int>{5000});
    HeldClock clock;
    clock.letPass(INTERVAL_MS);
    QCOMPARE(m_worker->starts.size(), 3);
    clock.letPass(INTERVAL_MS);
    QCOMPARE(m_worker->starts.size(), 4);
}

void TstTarvexMsgWorker::stop_isSilent()
{
    std::atomic<bool> closed{false};
    m_bus->willAnswerHandshake([&closed](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        closed = peer.waitForClose();
    });
    QVERIFY(joinBus());
    const QSignalSpy connected(m_worker.get(), SIGNAL(workerConnected()));
    const LogCapture log;
    QVERIFY(m_worker->doStop());
    QVERIFY(!m_worker->isOpen());
    QCOMPARE(m_worker->runningTimers(), QList<int>());
    QTRY_VERIFY(closed);
    QCoreApplication::processEvents();
    QCOMPARE(connected.count(), 0);
    QCOMPARE(m_worker->starts.size(), 1);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMsgWorker::stop_beforeTheHandshakeIsAnswered_isFinal()
{
    m_bus->willAnswerHandshake(sayNothing);
    QVERIFY(m_worker->doStart());
    QCOMPARE(m_worker->runningTimers(), QList<int>{5000});
    QVERIFY(m_worker->doStop());
    QCOMPARE(m_worker->runningTimers(), QList<int>());
    QVERIFY(!m_worker->isOpen());
}

void TstTarvexMsgWorker::stop_whileBusAway_leavesTheRetryRunning()
{
    m_bus.reset();
    QVERIFY(m_worker->doStart());
    QVERIFY(m_worker->doStop());
    QCOMPARE(m_worker->runningTimers(), QList<int>{5000});
}

void TstTarvexMsgWorker::stop_beforeStart_isFine()
{
    const LogCapture log;
    QVERIFY(m_worker->doStop());
    QVERIFY(m_worker->doStop());
    QCOMPARE(log.texts(), QStringList());
    QVERIFY(joinBus());
}

void TstTarvexMsgWorker::stopAndStart_joinsAgain()
{
    m_bus->willAnswerHandshake(acceptAndPush(pushFrame(carrying(u"one"_s, 1))));
    m_bus->willAnswerHandshake(acceptAndPush(pushFrame(carrying(u"one"_s, 1)) + pushFrame(carrying(u"two"_s, 2))));
    QSignalSpy other(m_worker.get(), SIGNAL(unprocessedMessage(Message)));
    QVERIFY(m_worker->doStart());
    QTRY_COMPARE(other.count(), 1);
    m_worker->restart();
    // What was delivered before the restart is still known.
    QTRY_COMPARE(other.count(), 2);
    QVERIFY(other.at(1).constFirst().value<Message>() == carrying(u"two"_s, 2));
    QCOMPARE(m_worker->stops, 1);
    QCOMPARE(m_bus->connectionCount(), 2);
}

void TstTarvexMsgWorker::receiverGone_nothingHappens()
{
    QVERIFY(joinBus());
    delete m_worker->findChild<TarvexMessagesReciever*>();
    const LogCapture log;
    QVERIFY(m_worker->doStart());
    QVERIFY(m_worker->doStop());
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexMsgWorker::timersGoneWhileConnecting_staysConnected()
{
    connect(m_worker.get(), &TarvexMsgWorker::workerConnected, m_worker.get(), [this] { m_worker->loseTimers(); });
    QVERIFY(joinBus());
    QVERIFY(m_worker->doStop());
}

void TstTarvexMsgWorker::timersGoneWhileOpenFails_nothingHappens()
{
    m_bus.reset();
    auto* const socket = m_worker->findChild<QTcpSocket*>();
    connect(socket, &QTcpSocket::hostFound, m_worker.get(), [this] { m_worker->loseTimers(); });
    QVERIFY(m_worker->doStart());
    QCOMPARE(m_worker->runningTimers(), QList<int>());
    QVERIFY(m_worker->doStop());
}

QTEST_GUILESS_MAIN(TstTarvexMsgWorker)
#include "tst_tarvexmsgworker.moc"
