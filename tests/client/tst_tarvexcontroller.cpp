#include "client/tarvexcontroller.h"

#include "heldclock.h"
#include "logging/tarvexlogcreator.h"
#include "logging/tarvexloggingcategory.h"
#include "servicetest.h"

#include <QSignalSpy>
#include <QTest>

#include <future>
#include <thread>
#include <type_traits>
#include <vector>

using namespace tarvex;

static_assert(std::is_abstract_v<TarvexController>, "how a service starts, only the service knows");

namespace {

QLoggingCategory::CategoryFilter earlierFilter = nullptr;
QStringList probedLevels;

/// Notes what is switched on for the two probes each time the rules change.
void noteLevels(QLoggingCategory* category)
{
    if (earlierFilter == nullptr) {
        return; // Called for each category while it is being installed.
    }
    earlierFilter(category);
    const QString name = QString::fromLatin1(category->categoryName());
    if (category->isWarningEnabled() && (category->isDebugEnabled() != category->isInfoEnabled())) {
        probedLevels.append(name + (category->isDebugEnabled() ? QLatin1String(".debug") : QLatin1String(".info")));
    }
}

} // namespace

/// What a controller sets up: the bridge of the log lines, the workers and their connections.
class TstTarvexController : public ServiceTest
{
    Q_OBJECT
private Q_SLOTS:
    void filterRules_onlyTheLastIsInForce();
    void filterRules_areSetInTheirOrder();
    void repeatInterval_isHandedOn_data();
    void repeatInterval_isHandedOn();
    void destroyed_linesStayHere();
    void destroyed_anotherOneTakesOver();
    void initWorkers_connectsEachOnce_data();
    void initWorkers_connectsEachOnce();
    void initWorkers_again_changesNothing_data();
    void initWorkers_again_changesNothing();
    void initWorkers_again_withTheOtherWorker_connectsBoth();
    void initWorkers_withoutThreads_startsNothing();
    void initWorkers_withoutThreads_stillQueues();
    void initWorkers_startsTheQueryThreadFirst();
    void stateChanged_isReportedByTheWorker();
    void stateChanged_mayComeFromAnyThread();
    void sendLogMessage_isSentByTheWorker();
    void pushedUpdate_loadsTheSettings();
};

// A probe has a category's name, and debug and info off unless a rule switches them on.
void TstTarvexController::filterRules_onlyTheLastIsInForce()
{
    const QLoggingCategory logger("tarvexLogger", QtWarningMsg);
    const QLoggingCategory guiLogger("guiLogger", QtWarningMsg);
    const QLoggingCategory other("other", QtWarningMsg);
    QLoggingCategory::setFilterRules(u"other.debug=true\nguiLogger.warning=false"_s);
    QVERIFY(other.isDebugEnabled());
    const Service service;
    QVERIFY(!logger.isDebugEnabled());
    QVERIFY(!logger.isInfoEnabled());
    QVERIFY(!guiLogger.isDebugEnabled());
    QVERIFY(guiLogger.isInfoEnabled());
    QVERIFY(guiLogger.isWarningEnabled());
    QVERIFY(!other.isDebugEnabled());
    QVERIFY(LOGGER().isInfoEnabled());
    QVERIFY(GUILOGGER().isInfoEnabled());
}

void TstTarvexController::filterRules_areSetInTheirOrder()
{
    QLoggingCategory::setFilterRules(QString());
    const QLoggingCategory logger("tarvexLogger", QtWarningMsg);
    const QLoggingCategory guiLogger("guiLogger", QtWarningMsg);
    earlierFilter = QLoggingCategory::installFilter(noteLevels);
    probedLevels.clear();
    {
        const Service service;
    }
    QLoggingCategory::installFilter(earlierFilter);
    QCOMPARE(probedLevels,
             QStringList({u"tarvexLogger.debug"_s, u"guiLogger.debug"_s, u"tarvexLogger.info"_s, u"guiLogger.info"_s}));
}

void TstTarvexController::repeatInterval_isHandedOn_data()
{
    QTest::addColumn<int>("given");
    QTest::addColumn<int>("interval");
    QTest::newRow("as it is") << 2000 << 2000;
    QTest::newRow("capped") << 300001 << 300000;
}

void TstTarvexController::repeatInterval_isHandedOn()
{
    QFETCH(int, given);
    QFETCH(int, interval);
    HeldClock clock;
    Service service(given);
    const QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
    qCWarning(LOGGER) << "line";
    clock.advance(interval - 1);
    qCWarning(LOGGER) << "line";
    QCOMPARE(sent.count(), 1);
    clock.advance(1);
    qCWarning(LOGGER) << "line";
    QCOMPARE(sent.count(), 2);
}

void TstTarvexController::destroyed_linesStayHere()
{
    auto service = std::make_unique<Service>();
    const std::unique_ptr<TarvexLogCreator> creator(TarvexLogCreator::createCreator().data());
    QVERIFY(creator);
    service.reset();
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    // The bridge is set up by hand, so that an output that is still there is noticed.
    Counter counter;
    TarvexLogCreator::init(&counter, SLOT(count()), PRINTER, 0);
    qWarning() << "line";
    qCWarning(LOGGER) << "line";
    qCWarning(GUILOGGER) << "line";
    TarvexLogCreator::release();
    QCOMPARE(counter.calls.load(), 0);
}

void TstTarvexController::destroyed_anotherOneTakesOver()
{
    for (int round = 0; round < 3; ++round) {
        Service service;
        const QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
        qWarning() << "line";
        qCWarning(GUILOGGER) << "line";
        QCOMPARE(sent.count(), 3);
    }
}

void TstTarvexController::initWorkers_connectsEachOnce_data()
{
    QTest::addColumn<bool>("hasMsg");
    QTest::addColumn<bool>("hasQuery");
    QTest::newRow("both workers") << true << true;
    QTest::newRow("no message worker") << false << true;
    QTest::newRow("no query worker") << true << false;
    QTest::newRow("neither") << false << false;
}

void TstTarvexController::initWorkers_connectsEachOnce()
{
    QFETCH(bool, hasMsg);
    QFETCH(bool, hasQuery);
    Service service;
    auto* const msg = hasMsg ? new MsgWorker : nullptr;
    auto* const query = hasQuery ? new QueryWorker : nullptr;
    QVERIFY(service.initWorkers(msg, query));
    QCOMPARE(service.threads.size(), int(hasMsg) + int(hasQuery));
    QCOMPARE(service.connections(SIGNAL(stateChanged())), int(hasQuery));
    QCOMPARE(service.connections(SIGNAL(sendLogMessage(Message))), int(hasQuery));
    if (query != nullptr) {
        QCOMPARE(query->connections(SIGNAL(settingsChanged())), 1);
        QTRY_COMPARE(query->applied.load(), 1);
        QCOMPARE(queryBus->handshakes().constFirst().data.value(u"name"_s).toString(), PRINTER);
        QVERIFY(query->threadId != ::syscall(SYS_gettid));
    }
    if (msg != nullptr) {
        QCOMPARE(msg->connections(SIGNAL(updateSettings())), int(hasQuery));
        // The service connects these itself.
        QCOMPARE(msg->connections(SIGNAL(stateChanged(ClientState))), 0);
        QCOMPARE(msg->connections(SIGNAL(unprocessedMessage(Message))), 0);
        QTRY_COMPARE(receiverBus->handshakes().size(), 1);
        QVERIFY(msg->threadId != ::syscall(SYS_gettid));
        QVERIFY(query == nullptr || msg->threadId != query->threadId);
    }
    QCOMPARE(queryBus->connectionCount(), int(hasQuery));
    QCOMPARE(receiverBus->connectionCount(), int(hasMsg));
}

void TstTarvexController::initWorkers_again_changesNothing_data()
{
    QTest::addColumn<bool>("running");
    QTest::newRow("at once") << false;
    QTest::newRow("while they run") << true;
}

void TstTarvexController::initWorkers_again_changesNothing()
{
    QFETCH(bool, running);
    Service service;
    auto* const msg = new MsgWorker;
    auto* const query = new QueryWorker;
    QVERIFY(service.initWorkers(msg, query));
    if (running) {
        QTRY_COMPARE(query->applied.load(), 1);
        QTRY_COMPARE(receiverBus->handshakes().size(), 1);
    }
    QVERIFY(service.initWorkers(msg, query));
    QVERIFY(service.initWorkers(msg, query));
    QCOMPARE(query->connections(SIGNAL(settingsChanged())), 1);
    QCOMPARE(service.connections(SIGNAL(stateChanged())), 1);
    QCOMPARE(service.connections(SIGNAL(sendLogMessage(Message))), 1);
    QCOMPARE(msg->connections(SIGNAL(updateSettings())), 1);
    QCOMPARE(service.threads.at(2), service.threads.at(0));
    QCOMPARE(service.threads.at(3), service.threads.at(1));
    Q_EMIT service.stateChanged();
    QTRY_COMPARE(receiverBus->handshakes().size(), 1);
    QTRY_COMPARE(query->reports.load(), 1);
    service.doStop();
    QCOMPARE(query->starts.load(), 1);
    QCOMPARE(msg->starts.load(), 1);
    QCOMPARE(query->reports.load(), 1);
    QCOMPARE(queryBus->connectionCount(), 1);
    QCOMPARE(receiverBus->connectionCount(), 1);
}

void TstTarvexController::initWorkers_again_withTheOtherWorker_connectsBoth()
{
    Service service;
    auto* const msg = new MsgWorker;
    auto* const query = new QueryWorker;
    QVERIFY(service.initWorkers(msg, nullptr));
    QVERIFY(service.initWorkers(msg, query));
    QCOMPARE(msg->connections(SIGNAL(updateSettings())), 1);
    QTRY_COMPARE(query->applied.load(), 1);
    QTRY_COMPARE(receiverBus->handshakes().size(), 1);
    QCOMPARE(msg->starts.load(), 1);
}

void TstTarvexController::initWorkers_withoutThreads_startsNothing()
{
    const auto msg = std::make_unique<MsgWorker>();
    const auto query = std::make_unique<QueryWorker>();
    {
        Service service;
        service.givesThreads = false;
        QVERIFY(service.initWorkers(msg.get(), query.get()));
        QCOMPARE(service.connections(SIGNAL(stateChanged())), 1);
    }
    QCOMPARE(msg->threadId.load(), 0);
    QCOMPARE(query->threadId.load(), 0);
}

void TstTarvexController::initWorkers_withoutThreads_stillQueues()
{
    MsgWorker msg;
    QueryWorker query;
    Service service;
    service.givesThreads = false;
    const QSignalSpy changed(&service, SIGNAL(settingsChanged()));
    service.initWorkers(&msg, &query);
    Q_EMIT service.stateChanged();
    Q_EMIT query.settingsChanged();
    Q_EMIT msg.updateSettings();
    QCOMPARE(query.reports.load(), 0);
    QCOMPARE(changed.count(), 0);
    QCOMPARE(query.applied.load(), 0);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(query.reports.load(), 1);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(query.applied.load(), 1);
    // It would be dropped while the connection is not open, but the connection is open by now.
    Message message;
    message.setReciever(u"cashbox"_s);
    Q_EMIT service.sendLogMessage(message);
    QCOMPARE(countOf(u"sendMessage"_s), 0);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(countOf(u"sendMessage"_s), 1);
}

// The system numbers threads in the order in which they are made, and starts again from a low number at times.
void TstTarvexController::initWorkers_startsTheQueryThreadFirst()
{
    int inOrder = 0;
    for (int round = 0; round < 5; ++round) {
        Service service;
        auto* const msg = new MsgWorker;
        auto* const query = new QueryWorker;
        service.initWorkers(msg, query);
        QTRY_VERIFY(msg->threadId != 0 && query->threadId != 0);
        inOrder += query->threadId < msg->threadId ? 1 : 0;
    }
    QVERIFY2(inOrder >= 4, qPrintable(QString::number(inOrder)));
}

void TstTarvexController::stateChanged_isReportedByTheWorker()
{
    Service service;
    auto* const query = new QueryWorker;
    QVERIFY(isStarted(service, nullptr, query));
    for (int count = 1; count <= 3; ++count) {
        Q_EMIT service.stateChanged();
        QTRY_COMPARE(query->reports.load(), count);
    }
    QCOMPARE(query->reportThreadId.load(), query->threadId.load());
    QCOMPARE(countOf(u"saveState"_s), 3);
}

void TstTarvexController::stateChanged_mayComeFromAnyThread()
{
    Service service;
    auto* const query = new QueryWorker;
    QVERIFY(isStarted(service, nullptr, query));
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&service] {
            for (int i = 0; i < 10; ++i) {
                Q_EMIT service.stateChanged();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QTRY_COMPARE(query->reports.load(), 40);
    QCOMPARE(query->reportThreadId.load(), query->threadId.load());
}

void TstTarvexController::sendLogMessage_isSentByTheWorker()
{
    Service service;
    auto* const query = new QueryWorker;
    QVERIFY(isStarted(service, nullptr, query));
    Message message;
    message.setReciever(u"cashbox"_s);
    message.setMessage(u"plain words"_s);
    message.setUid(u"uid1"_s);
    Q_EMIT service.sendLogMessage(message);
    Q_EMIT service.stateChanged();
    QTRY_COMPARE(query->reports.load(), 1);
    int arrived = 0;
    const QList<FakeBus::Request> requests = queryBus->requests();
    for (const FakeBus::Request& request : requests) {
        arrived += request.data.value(u"UID"_s) == QLatin1String("uid1") ? 1 : 0;
    }
    QCOMPARE(arrived, 1);
}

void TstTarvexController::pushedUpdate_loadsTheSettings()
{
    std::promise<void> push;
    receiverBus->willAnswerHandshake([&push](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        push.get_future().wait();
        peer.send(pushFrame(uR"({"cmd":"updateSettings"})"_s, u"uid1"_s));
    });
    Service service;
    const QSignalSpy changed(&service, SIGNAL(settingsChanged()));
    auto* const msg = new MsgWorker;
    auto* const query = new QueryWorker;
    service.initWorkers(msg, query);
    QTRY_COMPARE(query->applied.load(), 1);
    QCOMPARE(changed.count(), 0);
    push.set_value();
    QTRY_COMPARE(changed.count(), 1);
    QCOMPARE(query->applied.load(), 2);
    QCOMPARE(countOf(u"loadSettings"_s), 2);
    QCOMPARE(query->connections(SIGNAL(settingsChanged())), 1);
}

QTEST_GUILESS_MAIN(TstTarvexController)
#include "tst_tarvexcontroller.moc"
