#include "childprocess.h"
#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "processload.h"

#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

using namespace tarvex;

namespace {

constexpr quint16 QUERY_PORT = 45535;
constexpr quint16 RECEIVER_PORT = 45537;
constexpr int MESSAGE_COUNT = 2000;
constexpr int KILL_COUNT = 20;
/// What a service may gain between the first quarter and the end; a leak of a frame for each message would be far more.
constexpr int RESIDENT_GROWTH_KIB = 6000;
/// What the last lives of the bus may need more than the first ones. All of them last for as many messages.
constexpr int BUS_GROWTH_KIB = 2000;
/// As many messages, and about as many connections, the bus lives through without being killed, and what it may gain
/// over the last four fifths of them: less than a KiB for each.
constexpr int LONG_LIFE_COUNT = 1500;
constexpr int LONG_LIFE_GROWTH_KIB = 1000;
/// The connections that a service's two workers make anew may stand beside those that the bus has not yet seen close.
constexpr int BUS_FILES_GROWTH = 4;

QList<int> numbersAfter(const QStringList& lines, const QString& word)
{
    QList<int> numbers;
    for (const QString& line : lines) {
        if (line.startsWith(word + QLatin1Char(' '))) {
            numbers.append(line.midRef(word.size() + 1).toInt());
        }
    }
    return numbers;
}

/// A client that comes and goes in the middle of a frame.
bool visit(quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), port);
    return socket.waitForConnected() && socket.write("[-REQUEST-]\r\n100\r\nabc") > 0 && socket.waitForBytesWritten();
}

/// A service that listens only.
class Listener : public TarvexController
{
    Q_OBJECT
public:
    explicit Listener(const QString& clientName)
        : TarvexController(0, clientName, nullptr), m_worker(new TarvexMsgWorker(clientName))
    {
        connect(m_worker, SIGNAL(stateChanged(ClientState)), this, SLOT(onState(ClientState)), Qt::QueuedConnection);
    }

    void doStart() override { initWorkers(m_worker, nullptr); }

    QList<ClientState> states;

private Q_SLOTS:

    void onState(ClientState state) { states.append(state); }

private:
    TarvexMsgWorker* const m_worker;
};

} // namespace

/// The bus dies again and again in the middle of the traffic between two services.
class TstKilledbus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyAcceptedMessage_arrivesOnceAndInOrder();
    void busThatLives_takesNoMore();
    void subscription_outlivesTheBus();
};

void TstKilledbus::everyAcceptedMessage_arrivesOnceAndInOrder()
{
    const unsigned seed = qEnvironmentVariableIsSet("TARVEX_TEST_SEED")
        ? unsigned(qEnvironmentVariableIntValue("TARVEX_TEST_SEED"))
        : std::random_device()();
    qInfo("TARVEX_TEST_SEED=%u", seed);
    std::mt19937 random(seed);

    const QTemporaryDir folder;
    ChildProcess bus(QStringLiteral(DEVBUS),
                     {QStringLiteral("--storage"), folder.filePath(QStringLiteral("bus.sqlite"))});
    ChildProcess receiver(QStringLiteral(CHAOS_SERVICE), {QStringLiteral("receiver"), QStringLiteral("0")});
    ChildProcess sender(QStringLiteral(CHAOS_SERVICE), {QStringLiteral("sender"), QString::number(MESSAGE_COUNT)});
    bus.start();
    QVERIFY(bus.waitForLine(QString()));
    receiver.start();
    sender.start();
    QVERIFY(receiver.waitForLine(QStringLiteral("got 1")));

    int kills = 0;
    ProcessLoad before[2];
    const ChildProcess* services[2] = {&receiver, &sender};
    // Each life of the bus is looked at as it ends: the first quarter of them against the rest.
    ProcessLoad firstLives;
    ProcessLoad laterLives;
    for (int next = 0; !sender.lines().contains(QStringLiteral("done"));) {
        // In the middle of the traffic, wherever that is just then.
        next += 30 + int(random() % 60);
        // One line for each message, and the last one.
        while (sender.lines().size() < qMin(next, MESSAGE_COUNT + 1)) {
            QVERIFY2(sender.waitForMore(30000), "the sender gets nowhere");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
        if (kills == KILL_COUNT / 4) {
            for (int i = 0; i < 2; ++i) {
                before[i].note(services[i]->processId());
            }
        }
        (kills < KILL_COUNT / 4 ? firstLives : laterLives).note(bus.processId());
        QVERIFY(bus.killHard());
        ++kills;
        // Mostly it is back before the services look for it again, now and then only when they have been refused.
        std::this_thread::sleep_for(std::chrono::milliseconds(kills % 7 == 0 ? 300 + random() % 1000 : random() % 20));
        bus.start();
    }
    QVERIFY2(kills >= KILL_COUNT, qPrintable(QStringLiteral("only %1 kills").arg(kills)));

    const QList<int> accepted = numbersAfter(sender.lines(), QStringLiteral("accepted"));
    const QList<int> failed = numbersAfter(sender.lines(), QStringLiteral("failed"));
    QCOMPARE(accepted.size() + failed.size(), MESSAGE_COUNT);
    QVERIFY(accepted.size() > MESSAGE_COUNT / 2);
    // A service that was refused while the bus was down comes back within 5 s; a repeat follows after 5 s more.
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            const QList<int> got = numbersAfter(receiver.lines(), QStringLiteral("got"));
            return std::all_of(accepted.cbegin(), accepted.cend(), [&got](int number) { return got.contains(number); });
        }(),
        60000);
    const QList<int> got = numbersAfter(receiver.lines(), QStringLiteral("got"));
    QVERIFY2(std::is_sorted(got.cbegin(), got.cend()), "out of order");
    QVERIFY2(std::adjacent_find(got.cbegin(), got.cend()) == got.cend(), "delivered twice");
    qInfo("%d kills: %d accepted, %d not, %d delivered", kills, accepted.size(), failed.size(), got.size());

    for (int i = 0; i < 2; ++i) {
        ProcessLoad after;
        after.note(services[i]->processId());
        qInfo("resident %d -> %d KiB, open files %d -> %d", before[i].residentKiB, after.residentKiB,
              before[i].openFiles, after.openFiles);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        QVERIFY(after.residentKiB - before[i].residentKiB < RESIDENT_GROWTH_KIB);
#endif
        QVERIFY(after.openFiles <= before[i].openFiles + 2);
    }
    laterLives.note(bus.processId());
    qInfo("bus: resident %d -> %d KiB, open files %d -> %d", firstLives.residentKiB, laterLives.residentKiB,
          firstLives.openFiles, laterLives.openFiles);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    QVERIFY(laterLives.residentKiB - firstLives.residentKiB < BUS_GROWTH_KIB);
#endif
    QVERIFY(laterLives.openFiles <= firstLives.openFiles + BUS_FILES_GROWTH);
    QCOMPARE(sender.terminate(), 0);
    QCOMPARE(receiver.terminate(), 0);
    QCOMPARE(bus.terminate(), 0);
}

// The other side of it: what a life too short to show it would leak with each message and each connection.
void TstKilledbus::busThatLives_takesNoMore()
{
    ChildProcess bus(QStringLiteral(DEVBUS), {QStringLiteral("--memory")});
    ChildProcess receiver(QStringLiteral(CHAOS_SERVICE), {QStringLiteral("receiver"), QStringLiteral("0")});
    ChildProcess sender(QStringLiteral(CHAOS_SERVICE), {QStringLiteral("sender"), QString::number(LONG_LIFE_COUNT)});
    bus.start();
    QVERIFY(bus.waitForLine(QString()));
    receiver.start();
    sender.start();
    const auto busAfter = [&](int count) {
        while (receiver.lines().size() < count && receiver.waitForMore(30000)) {
            if (!visit(QUERY_PORT) || !visit(RECEIVER_PORT)) {
                break;
            }
        }
        ProcessLoad load;
        load.note(bus.processId());
        return receiver.lines().size() < count ? ProcessLoad() : load;
    };
    const ProcessLoad before = busAfter(LONG_LIFE_COUNT / 5);
    const ProcessLoad after = busAfter(LONG_LIFE_COUNT);
    qInfo("bus: resident %d -> %d KiB, open files %d -> %d", before.residentKiB, after.residentKiB, before.openFiles,
          after.openFiles);
    QVERIFY(before.residentKiB > 0 && after.residentKiB > 0);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    QVERIFY(after.residentKiB - before.residentKiB < LONG_LIFE_GROWTH_KIB);
#endif
    QVERIFY(after.openFiles <= before.openFiles + BUS_FILES_GROWTH);
    QCOMPARE(sender.terminate(), 0);
    QCOMPARE(receiver.terminate(), 0);
    QCOMPARE(bus.terminate(), 0);
}

void TstKilledbus::subscription_outlivesTheBus()
{
    const QTemporaryDir folder;
    ChildProcess bus(QStringLiteral(DEVBUS),
                     {QStringLiteral("--storage"), folder.filePath(QStringLiteral("bus.sqlite"))});
    bus.start();
    QVERIFY(bus.waitForLine(QString()));
    Listener screen(QStringLiteral("screen"));
    screen.doStart();
    {
        TarvexQueryHandler handler(QStringLiteral("screen"));
        QVERIFY(handler.open());
        QVERIFY(handler.subscribe(QStringLiteral("printer"), 1));
        QVERIFY(bus.killHard());
    }
    bus.start();
    QTRY_COMPARE_WITH_TIMEOUT(bus.lines().size(), 2, 30000);

    TarvexQueryHandler printer(QStringLiteral("printer"));
    QVERIFY(printer.open());
    ClientState state;
    state.setStateType(ClientState::EStateType(3));
    state.setState(QStringLiteral(R"({"paper":"low"})"));
    QVERIFY(printer.saveState(state));
    // The listener looks for the bus every 5 s.
    QTRY_COMPARE_WITH_TIMEOUT(screen.states.size(), 1, 30000);
    QCOMPARE(screen.states.constFirst().owner(), QStringLiteral("printer"));
    QCOMPARE(int(screen.states.constFirst().stateType()), 3);
    QCOMPARE(screen.states.constFirst().state(), state.state());
}

QTEST_GUILESS_MAIN(TstKilledbus)
#include "tst_killedbus.moc"
