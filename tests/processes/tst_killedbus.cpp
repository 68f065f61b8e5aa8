#include "childprocess.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

namespace {

constexpr int MESSAGE_COUNT = 2000;
constexpr int KILL_COUNT = 20;
/// What a service may gain between the first quarter and the end; a leak of a frame for each message would be far more.
constexpr int RESIDENT_GROWTH_KIB = 6000;

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

} // namespace

/// The bus dies again and again in the middle of the traffic between two services.
class TstKilledbus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyAcceptedMessage_arrivesOnceAndInOrder();
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
    int residentBefore[2] = {};
    int filesBefore[2] = {};
    const ChildProcess* services[2] = {&receiver, &sender};
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
                residentBefore[i] = services[i]->residentKiB();
                filesBefore[i] = services[i]->openFiles();
            }
        }
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
        const int resident = services[i]->residentKiB();
        const int files = services[i]->openFiles();
        qInfo("resident %d -> %d KiB, open files %d -> %d", residentBefore[i], resident, filesBefore[i], files);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        QVERIFY(resident - residentBefore[i] < RESIDENT_GROWTH_KIB);
#endif
        QVERIFY(files <= filesBefore[i] + 2);
    }
    QCOMPARE(sender.terminate(), 0);
    QCOMPARE(receiver.terminate(), 0);
    QCOMPARE(bus.terminate(), 0);
}

QTEST_GUILESS_MAIN(TstKilledbus)
#include "tst_killedbus.moc"
