#include "client/tarvexcontroller.h"

#include "logging/tarvexloggingcategory.h"
#include "servicetest.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <cstdio>
#include <future>
#include <thread>

using namespace tarvex;

Q_LOGGING_CATEGORY(printerCategory, "printer.feeder")

namespace {

/// Takes the messages in a slot of its own, which the connection by name finds.
class TakingWorker : public QueryWorker
{
    Q_OBJECT
public:
    std::atomic<int> taken{0};

public Q_SLOTS:

    void sendMessage(Message message)
    {
        Q_UNUSED(message)
        ++taken;
    }
};

} // namespace

/// Which log lines come to the bus, and how many of them.
class TstControllerLogLines : public ServiceTest
{
    Q_OBJECT
private Q_SLOTS:
    void lines_becomeMessages_data();
    void lines_becomeMessages();
    void linesOfOtherThreads_areEmittedInOurs();
    void lines_reachTheBusOnceEach();
    void lines_thatFindNoRoom_areDroppedAndCounted();
    void lines_withoutAQueryWorker_areNotBounded();
    void lines_forASlotOfTheServicesOwn_areNotBounded();
    void refusedLines_doNotMultiply_data();
    void refusedLines_doNotMultiply();
};

void TstControllerLogLines::lines_becomeMessages_data()
{
    QTest::addColumn<QString>("category");
    QTest::addColumn<QStringList>("commands");
    const QString save = u"saveLog"_s;
    QTest::newRow("default") << u"default"_s << QStringList(save);
    QTest::newRow("LOGGER()") << u"tarvexLogger"_s << QStringList(save);
    QTest::newRow("GUILOGGER()") << u"guiLogger"_s << QStringList({u"showLogMessage"_s, save});
    QTest::newRow("of the service") << u"printer.feeder"_s << QStringList(save);
}

void TstControllerLogLines::lines_becomeMessages()
{
    QFETCH(QString, category);
    QFETCH(QStringList, commands);
    Service service;
    QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
    const QByteArray name = category.toLatin1();
    const QMessageLogger logger(nullptr, 0, nullptr, name.constData());
    logger.debug("debug");
    logger.info("info");
    logger.warning("warning");
    logger.critical("critical");
    QStringList actual;
    for (const QList<QVariant>& arguments : qAsConst(sent)) {
        const TarvexCommand cmd = commandIn(arguments.constFirst().value<Message>());
        actual.append(u"%1 %2 %3"_s.arg(cmd.name(), cmd.data().value(u"prefix"_s).toString(),
                                        cmd.data().value(u"text"_s).toString()));
    }
    QStringList expected;
    for (const char* line : {"INFO debug", "INFO info", "WARNING warning", "ERROR critical"}) {
        for (const QString& command : qAsConst(commands)) {
            expected.append(command + QLatin1Char(' ') + QLatin1String(line));
        }
    }
    QCOMPARE(actual, expected);
}

void TstControllerLogLines::linesOfOtherThreads_areEmittedInOurs()
{
    Service service;
    const QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
    std::thread([] { qCWarning(GUILOGGER) << "from elsewhere"; }).join();
    QCOMPARE(sent.count(), 0);
    QTRY_COMPARE(sent.count(), 2);
}

void TstControllerLogLines::lines_reachTheBusOnceEach()
{
    Service service;
    auto* const worker = new QueryWorker;
    service.initWorkers(nullptr, worker);
    QTRY_COMPARE(worker->applied.load(), 1);
    const QString save = u"saveLog to "_s + BUSNAME_LOGGER;
    const QString show = u"showLogMessage to "_s + BUSNAME_TERMINAL_GUI;
    qWarning() << "of the default category";
    qCWarning(LOGGER) << "stored";
    qCWarning(GUILOGGER) << "shown";
    qCWarning(printerCategory) << "of the service";
    std::thread([] { qCritical("from elsewhere"); }).join();
    QTRY_COMPARE(linesOnBus(u"from elsewhere"_s), QStringList(save));
    QCOMPARE(linesOnBus(u"of the default category"_s), QStringList(save));
    QCOMPARE(linesOnBus(u"stored"_s), QStringList(save));
    QCOMPARE(linesOnBus(u"shown"_s), QStringList({show, save}));
    QCOMPARE(linesOnBus(u"of the service"_s), QStringList(save));
    const QList<FakeBus::Request> requests = queryBus->requests();
    for (const FakeBus::Request& request : requests) {
        if (request.operation == QLatin1String("sendMessage")) {
            QCOMPARE(request.data.value(u"sender"_s).toString(), PRINTER);
            QVERIFY(!request.data.value(u"UID"_s).toString().isEmpty());
        }
    }
}

void TstControllerLogLines::lines_thatFindNoRoom_areDroppedAndCounted()
{
    std::promise<void> release;
    queryBus->willAlwaysDo(
        [released = release.get_future().share()](FakeBus::Peer& peer, const FakeBus::Request& request) {
            if (request.operation == QLatin1String("saveState")) {
                released.wait();
            }
            FakeBus::answer(peer, request);
        });
    Service service;
    auto* const query = new QueryWorker;
    QVERIFY(isStarted(service, nullptr, query));
    QTRY_COMPARE(countOf(u"sendMessage"_s), 1);
    Q_EMIT service.stateChanged();
    QTRY_COMPARE(countOf(u"saveState"_s), 1);
    // The worker waits for its answer. The lines come from the service's thread and from another one.
    for (int line = 0; line < 900; ++line) {
        qCDebug(printerCategory, "line %d", line);
    }
    std::thread([] {
        for (int line = 900; line < 1200; ++line) {
            if (line == 999) {
                // One place is left. This line would need two: it is shown and stored, or neither.
                qCWarning(GUILOGGER) << "shown and stored";
            }
            qCDebug(printerCategory, "line %d", line);
        }
    }).join();
    release.set_value();
    QTRY_COMPARE_WITH_TIMEOUT(linesOnBus(u"Dropped 201 log lines: too many were waiting to be sent"_s).size(), 1,
                              60000);
    QCOMPARE(linesOnBus(u"shown and stored"_s), QStringList());
    QCOMPARE(linesOnBus(u"line 999"_s).size(), 1);
    QCOMPARE(linesOnBus(u"line 1000"_s).size(), 0);
    qCWarning(printerCategory, "afterwards");
    QTRY_COMPARE(linesOnBus(u"afterwards"_s).size(), 1);
    QTest::qWait(100);
    QCOMPARE(countOf(u"sendMessage"_s), 1 + 1000 + 1 + 1);
}

void TstControllerLogLines::lines_withoutAQueryWorker_areNotBounded()
{
    Service service;
    const QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
    {
        // A worker that has gone does not count any more.
        auto* const query = new QueryWorker;
        service.initWorkers(nullptr, query);
        service.doKillThreads();
    }
    const int before = sent.count();
    for (int line = 0; line < 1500; ++line) {
        qCDebug(printerCategory, "line %d", line);
    }
    QCOMPARE(sent.count(), before + 1500);
}

// Nobody counts what such a slot has taken.
void TstControllerLogLines::lines_forASlotOfTheServicesOwn_areNotBounded()
{
    Service service;
    auto* const query = new TakingWorker;
    service.initWorkers(nullptr, query);
    QTRY_COMPARE(query->applied.load(), 1);
    QTRY_COMPARE(query->taken.load(), 1);
    for (int line = 0; line < 1500; ++line) {
        qCDebug(printerCategory, "line %d", line);
    }
    QTRY_COMPARE(query->taken.load(), 1501);
}

void TstControllerLogLines::refusedLines_doNotMultiply_data()
{
    QTest::addColumn<int>("repeatInterval");
    QTest::addColumn<bool>("alwaysAnotherText");
    QTest::newRow("filter off") << 0 << false;
    QTest::newRow("filter off, texts differ") << 0 << true;
    QTest::newRow("filter on") << 300000 << false;
    QTest::newRow("filter on, texts differ") << 300000 << true;
}

// Each refusal is logged, and so becomes a message that is refused. One refusal makes one message, so in the end as
// many are under way as there were lines of other origin.
void TstControllerLogLines::refusedLines_doNotMultiply()
{
    QFETCH(int, repeatInterval);
    QFETCH(bool, alwaysAnotherText);
    std::atomic<int> refused{0};
    queryBus->willAlwaysDo([&refused, alwaysAnotherText](FakeBus::Peer& peer, const FakeBus::Request& request) {
        if (request.operation != QLatin1String("sendMessage")) {
            FakeBus::answer(peer, request);
            return;
        }
        const int number = ++refused;
        peer.send(
            FakeBus::replyFrame(request.operation, 1, alwaysAnotherText ? QString::number(number) : u"refused"_s));
    });
    Service service(repeatInterval);
    const QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
    auto* const query = new QueryWorker;
    QVERIFY(isStarted(service, nullptr, query));
    // Three messages: the line about the worker's thread, and this line, which is shown and stored.
    constexpr int LINES = 3;
    qCWarning(GUILOGGER) << "kick";
    if (repeatInterval > 0 && !alwaysAnotherText) {
        // The refusals are all alike, so the chain ends by itself.
        for (int i = 0; i < 100; ++i) {
            qWarning() << "line" << i;
        }
        Q_EMIT service.stateChanged();
        QTRY_COMPARE(query->reports.load(), 1);
        QTRY_VERIFY(refused >= 103);
        Q_EMIT service.stateChanged();
        QTRY_COMPARE(query->reports.load(), 2);
        std::printf("refused: %d, for 103 lines\n", refused.load());
        QVERIFY2(refused <= 2 * (100 + LINES), qPrintable(QString::number(refused)));
        return;
    }
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY_WITH_TIMEOUT(refused >= 300, 60000);
    const qint64 first = clock.restart();
    QTRY_VERIFY_WITH_TIMEOUT(refused >= 600, 60000);
    const qint64 second = clock.elapsed();
    // What was sent is read first, and after that what has come, so that a refusal in between makes the difference
    // smaller and not larger.
    const int emitted = sent.count();
    const int underWay = emitted - refused;
    std::printf("refused per second: %.0f, then %.0f; under way: %d\n", 300000.0 / double(qMax<qint64>(1, first)),
                300000.0 / double(qMax<qint64>(1, second)), underWay);
    QVERIFY2(underWay <= LINES + 1, qPrintable(QString::number(underWay)));
}

QTEST_GUILESS_MAIN(TstControllerLogLines)
#include "tst_controller_loglines.moc"
