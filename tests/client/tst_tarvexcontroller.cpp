#include "client/tarvexcontroller.h"

#include "client/supportedclients.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "client/tarvexqueryworker.h"
#include "cmdlayer/tarvexcommand.h"
#include "fakebus.h"
#include "heldclock.h"
#include "literals.h"
#include "logcapture.h"
#include "logging/tarvexlogcreator.h"
#include "logging/tarvexloggingcategory.h"
#include "virtualtable.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <cstdio>
#include <future>
#include <memory>
#include <mutex>
#include <sys/syscall.h>
#include <thread>
#include <type_traits>
#include <unistd.h>

using namespace tarvex;

static_assert(std::is_abstract_v<TarvexController>, "how a service starts, only the service knows");

Q_LOGGING_CATEGORY(printerCategory, "printer.feeder")

namespace {

const QString PRINTER = BUSNAME_TICKET_PRINTER;

/// So long that no report is due by itself.
constexpr int NEVER_MS = 1000000;
/// What the destructor may take: 1500 ms and room for a loaded machine.
constexpr qint64 BOUND_MS = 6000;

std::atomic<int> livingWorkers{0};

class Service : public TarvexController
{
public:
    explicit Service(int repeatInterval = 0, QObject* parent = nullptr)
        : TarvexController(repeatInterval, PRINTER, parent)
    {
    }

    void doStart() override { }

    QThread* addWorkerToThread(wexcor::AbstractWorker* worker) override
    {
        QThread* const thread = givesThreads ? TarvexController::addWorkerToThread(worker) : nullptr;
        threads.append(thread);
        return thread;
    }

    /// How often a signal is connected.
    int connections(const char* signal) const { return receivers(signal); }

    bool givesThreads = true;
    QList<QPointer<QThread>> threads;
};

class MsgWorker : public TarvexMsgWorker
{
public:
    MsgWorker() : TarvexMsgWorker(PRINTER) { ++livingWorkers; }

    ~MsgWorker() override { --livingWorkers; }

    bool doStart() override
    {
        threadId = ::syscall(SYS_gettid);
        ++starts;
        return TarvexMsgWorker::doStart();
    }

    int connections(const char* signal) const { return receivers(signal); }

    std::atomic<long> threadId{0};
    std::atomic<int> starts{0};
};

class QueryWorker : public TarvexQueryWorker
{
public:
    explicit QueryWorker(int interval = NEVER_MS) : TarvexQueryWorker(interval, PRINTER) { ++livingWorkers; }

    ~QueryWorker() override { --livingWorkers; }

    bool doStart() override
    {
        threadId = ::syscall(SYS_gettid);
        ++starts;
        return TarvexQueryWorker::doStart();
    }

    void doSendState() override
    {
        reportThreadId = ::syscall(SYS_gettid);
        handler->saveState(ClientState());
        ++reports;
    }

    void doApplySettings(ClientSettings settings) override
    {
        Q_UNUSED(settings)
        ++applied;
        if (applied > 1) {
            Q_EMIT settingsChanged();
        }
    }

    int connections(const char* signal) const { return receivers(signal); }

    std::atomic<long> threadId{0};
    std::atomic<int> starts{0};
    std::atomic<long> reportThreadId{0};
    std::atomic<int> reports{0};
    std::atomic<int> applied{0};
};

/// Says goodbye with a last state.
class FarewellWorker : public QueryWorker
{
public:
    explicit FarewellWorker(std::atomic<bool>& isSaved) : m_isSaved(isSaved) { }

    bool doStop() override
    {
        // The controller posts the stop first and asks the thread to end right after that.
        const QDeadlineTimer deadline(1000);
        while (!QThread::currentThread()->isInterruptionRequested() && !deadline.hasExpired()) {
            QThread::msleep(1);
        }
        m_isSaved = QThread::currentThread()->isInterruptionRequested() && handler->saveState(ClientState());
        return QueryWorker::doStop();
    }

private:
    std::atomic<bool>& m_isSaved;
};

TarvexCommand commandIn(const Message& message)
{
    TarvexCommand cmd;
    TarvexCommand::incomingMessageToCmd(message, cmd);
    return cmd;
}

QString textIn(const Message& message)
{
    return commandIn(message).data().value(u"text"_s).toString();
}

/// The log lines with \a text that have come to the bus: "command to addressee".
QStringList linesOnBus(const FakeBus& bus, const QString& text)
{
    QStringList lines;
    const QList<FakeBus::Request> requests = bus.requests();
    for (const FakeBus::Request& request : requests) {
        const Message message = Message::fromVariantMap(request.data);
        if (request.operation == QLatin1String("sendMessage") && textIn(message) == text) {
            lines.append(commandIn(message).name() + QLatin1String(" to ") + message.reciever());
        }
    }
    return lines;
}

int countOf(const FakeBus& bus, const QString& operation)
{
    int count = 0;
    const QList<FakeBus::Request> requests = bus.requests();
    for (const FakeBus::Request& request : requests) {
        count += request.operation == operation ? 1 : 0;
    }
    return count;
}

QByteArray pushFrame(const QString& text, const QString& uid)
{
    Message message;
    message.setSender(u"cashbox"_s);
    message.setReciever(PRINTER);
    message.setMessage(text);
    message.setUid(uid);
    return FakeBus::requestFrame(u"sendMessage"_s, message.toVariantMap());
}

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

class Counter : public QObject
{
    Q_OBJECT
public:
    std::atomic<int> calls{0};

public Q_SLOTS:

    void count() { ++calls; }
};

class TstTarvexController : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void metaObject_hasItsMethodsInOrder();
    void virtuals_standInTheirOrder();
    void filterRules_onlyTheLastIsInForce();
    void filterRules_areSetInTheirOrder();
    void repeatInterval_isHandedOn();
    void repeatInterval_isCapped();
    void lines_becomeMessages_data();
    void lines_becomeMessages();
    void linesOfOtherThreads_areEmittedInOurs();
    void destroyed_linesStayHere();
    void destroyed_anotherOneTakesOver();
    void lines_reachTheBusOnceEach();
    void initWorkers_withBoth_connectsEachOnce();
    void initWorkers_again_changesNothing_data();
    void initWorkers_again_changesNothing();
    void initWorkers_again_withTheOtherWorker_connectsBoth();
    void initWorkers_withoutMsgWorker();
    void initWorkers_withoutQueryWorker();
    void initWorkers_withNeither();
    void initWorkers_withoutThreads_startsNothing();
    void initWorkers_withoutThreads_stillQueues();
    void initWorkers_startsTheQueryThreadFirst();
    void stateChanged_isReportedByTheWorker();
    void stateChanged_mayComeFromAnyThread();
    void sendLogMessage_isSentByTheWorker();
    void pushedUpdate_loadsTheSettings();
    void stopped_whatIsQueuedBehindTheStop_changesNothing();
    void destructor_takesTheBridgeDownFirst();
    void destructor_deletesTheWorkers();
    void destructor_lastStateIsSaved();
    void destructor_withSilentServer_isBounded();
    void end_storedMessages_areHandledOnceOverManyLives_data();
    void end_storedMessages_areHandledOnceOverManyLives();
    void end_linesAndStateJustBefore_reachTheBus_data();
    void end_linesAndStateJustBefore_reachTheBus();
    void end_commandUnderWay_isAnsweredReportedAndLogged();
    void end_ofABlockedWorker_tellsHowManyLinesAreLost();
    void lines_thatFindNoRoom_areDroppedAndCounted();
    void lines_withoutAQueryWorker_areNotBounded();
    void lines_forASlotOfTheServicesOwn_areNotBounded();
    void refusedLines_doNotMultiply_data();
    void refusedLines_doNotMultiply();

private:
    void resetBuses()
    {
        m_query.reset();
        m_receiver.reset();
        m_query = std::make_unique<FakeBus>(FakeBus::QUERY_PORT);
        m_receiver = std::make_unique<FakeBus>(FakeBus::RECEIVER_PORT);
        m_query->willAlwaysDo(FakeBus::answer);
    }

    std::unique_ptr<FakeBus> m_query;
    std::unique_ptr<FakeBus> m_receiver;
};

void TstTarvexController::init()
{
    resetBuses();
}

void TstTarvexController::cleanup()
{
    m_query.reset();
    m_receiver.reset();
    // Those whose wait ended only with the server.
    QTRY_COMPARE_WITH_TIMEOUT(livingWorkers.load(), 0, 20000);
}

void TstTarvexController::metaObject_hasItsMethodsInOrder()
{
    const QMetaObject& meta = TarvexController::staticMetaObject;
    QStringList actual;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        actual.append(QString::fromLatin1(meta.method(i).methodSignature()));
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Signal);
    }
    QCOMPARE(actual, QStringList({u"stateChanged()"_s, u"settingsChanged()"_s, u"sendLogMessage(Message)"_s}));
    QCOMPARE(meta.className(), "tarvex::TarvexController");
    QCOMPARE(meta.superClass()->className(), "wexcor::AbstractWorkerController");
}

void TstTarvexController::virtuals_standInTheirOrder()
{
    QVERIFY(virtualtable::followQObject(&TarvexController::doStart, &TarvexController::doStop,
                                        &TarvexController::doKillThreads, &TarvexController::addWorkerToThread,
                                        &TarvexController::processStartedWorker,
                                        &TarvexController::processStoppedWorker, &TarvexController::initWorkers));
}

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

void TstTarvexController::repeatInterval_isHandedOn()
{
    HeldClock clock;
    Service service(2000);
    const QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
    qCWarning(LOGGER) << "line";
    clock.advance(1999);
    qCWarning(LOGGER) << "line";
    QCOMPARE(sent.count(), 1);
    clock.advance(1);
    qCWarning(LOGGER) << "line";
    QCOMPARE(sent.count(), 2);
}

void TstTarvexController::repeatInterval_isCapped()
{
    HeldClock clock;
    Service service(300001);
    const QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
    qCWarning(LOGGER) << "line";
    clock.advance(299999);
    qCWarning(LOGGER) << "line";
    QCOMPARE(sent.count(), 1);
    clock.advance(1);
    qCWarning(LOGGER) << "line";
    QCOMPARE(sent.count(), 2);
}

void TstTarvexController::lines_becomeMessages_data()
{
    QTest::addColumn<QString>("category");
    QTest::addColumn<QStringList>("commands");
    const QString save = u"saveLog"_s;
    QTest::newRow("default") << u"default"_s << QStringList(save);
    QTest::newRow("LOGGER()") << u"tarvexLogger"_s << QStringList(save);
    QTest::newRow("GUILOGGER()") << u"guiLogger"_s << QStringList({u"showLogMessage"_s, save});
    QTest::newRow("of the service") << u"printer.feeder"_s << QStringList(save);
}

void TstTarvexController::lines_becomeMessages()
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

void TstTarvexController::linesOfOtherThreads_areEmittedInOurs()
{
    Service service;
    const QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
    std::thread([] { qCWarning(GUILOGGER) << "from elsewhere"; }).join();
    QCOMPARE(sent.count(), 0);
    QTRY_COMPARE(sent.count(), 2);
}

void TstTarvexController::destroyed_linesStayHere()
{
    auto service = std::make_unique<Service>();
    const std::unique_ptr<TarvexLogCreator> creator(TarvexLogCreator::createCreator().data());
    QVERIFY(creator);
    service.reset();
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    // With the bridge set up by hand, an output that is still there would show.
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

void TstTarvexController::lines_reachTheBusOnceEach()
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
    QTRY_COMPARE(linesOnBus(*m_query, u"from elsewhere"_s), QStringList(save));
    QCOMPARE(linesOnBus(*m_query, u"of the default category"_s), QStringList(save));
    QCOMPARE(linesOnBus(*m_query, u"stored"_s), QStringList(save));
    QCOMPARE(linesOnBus(*m_query, u"shown"_s), QStringList({show, save}));
    QCOMPARE(linesOnBus(*m_query, u"of the service"_s), QStringList(save));
    const QList<FakeBus::Request> requests = m_query->requests();
    for (const FakeBus::Request& request : requests) {
        if (request.operation == QLatin1String("sendMessage")) {
            QCOMPARE(request.data.value(u"sender"_s).toString(), PRINTER);
            QVERIFY(!request.data.value(u"UID"_s).toString().isEmpty());
        }
    }
}

void TstTarvexController::initWorkers_withBoth_connectsEachOnce()
{
    Service service;
    auto* const msg = new MsgWorker;
    auto* const query = new QueryWorker;
    QVERIFY(service.initWorkers(msg, query));
    QCOMPARE(service.threads.size(), 2);
    QCOMPARE(query->connections(SIGNAL(settingsChanged())), 1);
    QCOMPARE(service.connections(SIGNAL(stateChanged())), 1);
    QCOMPARE(service.connections(SIGNAL(sendLogMessage(Message))), 1);
    QCOMPARE(msg->connections(SIGNAL(updateSettings())), 1);
    // The service's own to connect.
    QCOMPARE(msg->connections(SIGNAL(stateChanged(ClientState))), 0);
    QCOMPARE(msg->connections(SIGNAL(unprocessedMessage(Message))), 0);
    QTRY_COMPARE(query->applied.load(), 1);
    QTRY_COMPARE(m_receiver->handshakes().size(), 1);
    QCOMPARE(m_query->handshakes().constFirst().data.value(u"name"_s).toString(), PRINTER);
    QVERIFY(msg->threadId != query->threadId);
    QVERIFY(msg->threadId != ::syscall(SYS_gettid));
    QVERIFY(query->threadId != ::syscall(SYS_gettid));
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
        QTRY_COMPARE(m_receiver->handshakes().size(), 1);
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
    QTRY_COMPARE(m_receiver->handshakes().size(), 1);
    QTRY_COMPARE(query->reports.load(), 1);
    service.doStop();
    QCOMPARE(query->starts.load(), 1);
    QCOMPARE(msg->starts.load(), 1);
    QCOMPARE(query->reports.load(), 1);
    QCOMPARE(m_query->connectionCount(), 1);
    QCOMPARE(m_receiver->connectionCount(), 1);
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
    QTRY_COMPARE(m_receiver->handshakes().size(), 1);
    QCOMPARE(msg->starts.load(), 1);
}

void TstTarvexController::initWorkers_withoutMsgWorker()
{
    Service service;
    auto* const query = new QueryWorker;
    QVERIFY(service.initWorkers(nullptr, query));
    QCOMPARE(service.threads.size(), 1);
    QCOMPARE(query->connections(SIGNAL(settingsChanged())), 1);
    QCOMPARE(service.connections(SIGNAL(stateChanged())), 1);
    QCOMPARE(service.connections(SIGNAL(sendLogMessage(Message))), 1);
    QTRY_COMPARE(query->applied.load(), 1);
    QCOMPARE(m_receiver->connectionCount(), 0);
}

void TstTarvexController::initWorkers_withoutQueryWorker()
{
    Service service;
    auto* const msg = new MsgWorker;
    QVERIFY(service.initWorkers(msg, nullptr));
    QCOMPARE(service.threads.size(), 1);
    QCOMPARE(service.connections(SIGNAL(stateChanged())), 0);
    QCOMPARE(service.connections(SIGNAL(sendLogMessage(Message))), 0);
    QCOMPARE(msg->connections(SIGNAL(updateSettings())), 0);
    QTRY_COMPARE(m_receiver->handshakes().size(), 1);
    QCOMPARE(m_query->connectionCount(), 0);
}

void TstTarvexController::initWorkers_withNeither()
{
    Service service;
    QVERIFY(service.initWorkers(nullptr, nullptr));
    QCOMPARE(service.threads.size(), 0);
    QCOMPARE(service.connections(SIGNAL(stateChanged())), 0);
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
    // Dropped while the connection is not open, which it is by now.
    Message message;
    message.setReciever(u"cashbox"_s);
    Q_EMIT service.sendLogMessage(message);
    QCOMPARE(countOf(*m_query, u"sendMessage"_s), 0);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(countOf(*m_query, u"sendMessage"_s), 1);
}

// The system numbers threads in the order in which they are made, and starts again from below some day.
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
    service.initWorkers(nullptr, query);
    QTRY_COMPARE(query->applied.load(), 1);
    for (int count = 1; count <= 3; ++count) {
        Q_EMIT service.stateChanged();
        QTRY_COMPARE(query->reports.load(), count);
    }
    QCOMPARE(query->reportThreadId.load(), query->threadId.load());
    QCOMPARE(countOf(*m_query, u"saveState"_s), 3);
}

void TstTarvexController::stateChanged_mayComeFromAnyThread()
{
    Service service;
    auto* const query = new QueryWorker;
    service.initWorkers(nullptr, query);
    QTRY_COMPARE(query->applied.load(), 1);
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
    service.initWorkers(nullptr, query);
    QTRY_COMPARE(query->applied.load(), 1);
    Message message;
    message.setReciever(u"cashbox"_s);
    message.setMessage(u"plain words"_s);
    message.setUid(u"uid1"_s);
    Q_EMIT service.sendLogMessage(message);
    Q_EMIT service.stateChanged();
    QTRY_COMPARE(query->reports.load(), 1);
    int arrived = 0;
    const QList<FakeBus::Request> requests = m_query->requests();
    for (const FakeBus::Request& request : requests) {
        arrived += request.data.value(u"UID"_s) == QLatin1String("uid1") ? 1 : 0;
    }
    QCOMPARE(arrived, 1);
}

void TstTarvexController::pushedUpdate_loadsTheSettings()
{
    std::promise<void> push;
    m_receiver->willAnswerHandshake([&push](FakeBus::Peer& peer, const FakeBus::Request&) {
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
    QCOMPARE(countOf(*m_query, u"loadSettings"_s), 2);
    QCOMPARE(query->connections(SIGNAL(settingsChanged())), 1);
}

// The stop finds the worker in the middle of a report and goes ahead of what waits in its queue.
void TstTarvexController::stopped_whatIsQueuedBehindTheStop_changesNothing()
{
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    m_query->willAlwaysDo([released](FakeBus::Peer& peer, const FakeBus::Request& request) {
        if (request.operation == QLatin1String("saveState")) {
            released.wait();
        }
        FakeBus::answer(peer, request);
    });
    Service service;
    auto* const msg = new MsgWorker;
    auto* const query = new QueryWorker;
    service.initWorkers(msg, query);
    QTRY_COMPARE(query->applied.load(), 1);
    QTRY_COMPARE(m_receiver->handshakes().size(), 1);
    Q_EMIT service.stateChanged();
    QTRY_COMPARE(countOf(*m_query, u"saveState"_s), 1);

    Q_EMIT service.stateChanged();
    Message message;
    message.setReciever(u"cashbox"_s);
    Q_EMIT service.sendLogMessage(message);
    Q_EMIT msg->updateSettings();
    query->restart();
    Counter behindThem;
    behindThem.moveToThread(query->thread());
    QVERIFY(QMetaObject::invokeMethod(&behindThem, "count", Qt::QueuedConnection));
    const int requests = m_query->requests().size();
    service.doStop();
    QCOMPARE(behindThem.calls.load(), 0);
    release.set_value();
    QTRY_COMPARE(behindThem.calls.load(), 1);
    QCOMPARE(query->reports.load(), 1);
    QCOMPARE(query->applied.load(), 1);
    QCOMPARE(query->starts.load(), 1);
    QCOMPARE(m_query->requests().size(), requests);
    QCOMPARE(m_query->connectionCount(), 1);
    QCOMPARE(m_receiver->connectionCount(), 1);
}

void TstTarvexController::destructor_takesTheBridgeDownFirst()
{
    auto service = std::make_unique<Service>();
    auto* const query = new QueryWorker;
    // By pointer: it outlives the worker, which goes with the service.
    std::atomic<bool> bridgeWasUp{true};
    auto* const wasUp = &bridgeWasUp;
    connect(
        query, &QObject::destroyed, query, [wasUp] { *wasUp = !TarvexLogCreator::createCreator().isNull(); },
        Qt::DirectConnection);
    service->initWorkers(nullptr, query);
    QTRY_COMPARE(query->applied.load(), 1);
    service.reset();
    QVERIFY(!bridgeWasUp);
}

void TstTarvexController::destructor_deletesTheWorkers()
{
    auto service = std::make_unique<Service>();
    auto* const query = new QueryWorker;
    service->initWorkers(new MsgWorker, query);
    QTRY_COMPARE(query->applied.load(), 1);
    QTRY_COMPARE(m_receiver->handshakes().size(), 1);
    QCOMPARE(livingWorkers.load(), 2);
    const QList<QPointer<QThread>> threads = service->threads;
    QElapsedTimer clock;
    clock.start();
    service.reset();
    QVERIFY(clock.elapsed() < BOUND_MS);
    QCOMPARE(livingWorkers.load(), 0);
    QVERIFY(!threads.at(0));
    QVERIFY(!threads.at(1));
}

void TstTarvexController::destructor_lastStateIsSaved()
{
    std::atomic<bool> isSaved{false};
    auto service = std::make_unique<Service>();
    auto* const query = new FarewellWorker(isSaved);
    service->initWorkers(nullptr, query);
    QTRY_COMPARE(query->applied.load(), 1);
    service.reset();
    QTRY_COMPARE(livingWorkers.load(), 0);
    QVERIFY(isSaved);
    QCOMPARE(countOf(*m_query, u"saveState"_s), 1);
}

void TstTarvexController::destructor_withSilentServer_isBounded()
{
    m_query->willAlwaysDo([](FakeBus::Peer&, const FakeBus::Request&) {});
    auto service = std::make_unique<Service>();
    service->initWorkers(new MsgWorker, new QueryWorker);
    QVERIFY(m_query->waitForRequests(1));
    QTRY_COMPARE(m_receiver->handshakes().size(), 1);
    QElapsedTimer clock;
    clock.start();
    service.reset();
    QVERIFY2(clock.elapsed() < BOUND_MS, qPrintable(QString::number(clock.elapsed())));
    // The worker is in the middle of its wait and goes when that is over, on its own.
    QCOMPARE(livingWorkers.load(), 1);
    m_query.reset();
    QTRY_COMPARE_WITH_TIMEOUT(livingWorkers.load(), 0, 20000);
}

namespace {

/// A bus that keeps messages until they are acknowledged: pushes what is left on each connection, a few at a time.
class KeepingBus
{
public:
    explicit KeepingBus(FakeBus& bus, int count)
    {
        for (int number = 1; number <= count; ++number) {
            m_kept.append(number);
        }
        // For as many connections as there may be.
        for (int connection = 0; connection < 1000; ++connection) {
            bus.willAnswerHandshake([this](FakeBus::Peer& peer, const FakeBus::Request&) {
                peer.send(FakeBus::acceptance());
                serve(peer);
            });
        }
    }

    QList<int> kept() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_kept;
    }

private:
    void serve(FakeBus::Peer& peer)
    {
        constexpr int WINDOW = 64;
        QList<int> waiting = kept();
        for (int underWay = 0; !waiting.isEmpty() || underWay > 0;) {
            for (; underWay < WINDOW && !waiting.isEmpty(); ++underWay) {
                const QString number = QString::number(waiting.takeFirst());
                if (!peer.send(pushFrame(uR"({"cmd":"n","data":{"n":%1}})"_s.arg(number), number))) {
                    return;
                }
            }
            FakeBus::Request reply;
            if (!peer.readRequest(reply)) {
                return;
            }
            --underWay;
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_kept.removeOne(reply.data.value(u"uid"_s).toInt());
        }
    }

    mutable std::mutex m_mutex;
    QList<int> m_kept;
};

/// Carries out what the controller hands on, and answers it.
class CommandsWorker : public wexcor::AbstractWorker
{
    Q_OBJECT
public:
    explicit CommandsWorker(QList<int>& handled) : m_handled(handled) { }

    bool doStart() override { return true; }

    bool doStop() override { return true; }

public Q_SLOTS:

    void exec(TarvexCommand cmd)
    {
        m_handled.append(cmd.data().value(u"n"_s).toInt());
        qWarning() << "carried out";
        Q_EMIT answer(cmd.toOutgoingMessage());
    }

Q_SIGNALS:
    void answer(Message msg);

private:
    QList<int>& m_handled;
};

/// The ordinary road: from the message worker through the controller to the commands worker, and the answer back.
class RoadService : public Service
{
    Q_OBJECT
public:
    explicit RoadService(QList<int>& handled)
        : m_messages(new MsgWorker), m_queries(new QueryWorker), m_commands(new CommandsWorker(handled))
    {
        connect(m_messages, SIGNAL(unprocessedMessage(Message)), this, SLOT(onMessage(Message)), Qt::QueuedConnection);
        connect(this, SIGNAL(command(TarvexCommand)), m_commands, SLOT(exec(TarvexCommand)), Qt::QueuedConnection);
        connect(m_commands, SIGNAL(answer(Message)), this, SLOT(onAnswer(Message)), Qt::QueuedConnection);
    }

    void doStart() override
    {
        addWorkerToThread(m_commands)->start();
        initWorkers(m_messages, m_queries);
    }

    QueryWorker* queries() const { return m_queries; }

Q_SIGNALS:
    void command(TarvexCommand cmd);

private Q_SLOTS:

    void onMessage(Message msg)
    {
        TarvexCommand cmd;
        if (TarvexCommand::incomingMessageToCmd(msg, cmd)) {
            Q_EMIT command(cmd);
        }
    }

    void onAnswer(Message msg)
    {
        QMetaObject::invokeMethod(m_queries, "sendMessage", Qt::QueuedConnection, Q_ARG(Message, msg));
        Q_EMIT stateChanged();
    }

private:
    MsgWorker* const m_messages;
    QueryWorker* const m_queries;
    CommandsWorker* const m_commands;
};

enum class End {
    DoStop,
    LoopEnds,
};

} // namespace
Q_DECLARE_METATYPE(End)

void TstTarvexController::end_storedMessages_areHandledOnceOverManyLives_data()
{
    QTest::addColumn<End>("end");
    QTest::newRow("doStop()") << End::DoStop;
    QTest::newRow("the event loop ends") << End::LoopEnds;
}

// Each life ends at another moment, behind a backlog that would take seconds.
void TstTarvexController::end_storedMessages_areHandledOnceOverManyLives()
{
    QFETCH(End, end);
    constexpr int COUNT = 600;
    KeepingBus keeping(*m_receiver, COUNT);
    QList<int> handled;
    int lives = 0;
    for (; lives < 200 && handled.size() < COUNT; ++lives) {
        QElapsedTimer clock;
        {
            RoadService service(handled);
            service.doStart();
            const int lifeMs = 50 + 37 * lives % 500;
            if (end == End::LoopEnds) {
                QTimer::singleShot(lifeMs, QCoreApplication::instance(), &QCoreApplication::quit);
                QCoreApplication::exec();
                clock.start();
            } else {
                QTest::qWait(lifeMs);
                clock.start();
                service.doStop();
            }
        }
        QVERIFY2(clock.elapsed() < BOUND_MS, qPrintable(QString::number(clock.elapsed())));
    }
    QList<int> expected;
    for (int number = 1; number <= COUNT; ++number) {
        expected.append(number);
    }
    QVERIFY(lives > 5);
    QCOMPARE(handled, expected);
    QTRY_COMPARE(keeping.kept(), QList<int>());
}

void TstTarvexController::end_linesAndStateJustBefore_reachTheBus_data()
{
    QTest::addColumn<bool>("inAnotherThread");
    QTest::addColumn<bool>("byDoStop");
    QTest::newRow("destructor") << false << false;
    QTest::newRow("destructor, lines of another thread") << true << false;
    QTest::newRow("doStop()") << false << true;
    QTest::newRow("doStop(), lines of another thread") << true << true;
}

void TstTarvexController::end_linesAndStateJustBefore_reachTheBus()
{
    QFETCH(bool, inAnotherThread);
    QFETCH(bool, byDoStop);
    const auto logLines = [] {
        for (int line = 1; line <= 30; ++line) {
            qWarning("line %d", line);
        }
    };
    auto service = std::make_unique<Service>();
    auto* const query = new QueryWorker;
    service->initWorkers(new MsgWorker, query);
    QTRY_COMPARE(query->applied.load(), 1);
    if (inAnotherThread) {
        std::thread(logLines).join();
    } else {
        logLines();
    }
    Q_EMIT service->stateChanged();
    if (byDoStop) {
        service->doStop();
    }
    service.reset();
    for (int line = 1; line <= 30; ++line) {
        QCOMPARE(linesOnBus(*m_query, u"line %1"_s.arg(line)).size(), 1);
    }
    QCOMPARE(countOf(*m_query, u"saveState"_s), 1);
}

void TstTarvexController::end_commandUnderWay_isAnsweredReportedAndLogged()
{
    std::promise<void> pushed;
    m_receiver->willAnswerHandshake([&pushed](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(FakeBus::acceptance());
        peer.send(pushFrame(uR"({"cmd":"n","data":{"n":1}})"_s, u"1"_s));
        FakeBus::Request reply;
        if (peer.readRequest(reply)) {
            pushed.set_value();
        }
    });
    QList<int> handled;
    RoadService service(handled);
    service.doStart();
    // Nothing of what follows the acknowledgement is seen to by this thread before the end begins.
    pushed.get_future().wait();
    service.doStop();
    QCOMPARE(handled, QList<int>{1});
    QCOMPARE(linesOnBus(*m_query, u"carried out"_s).size(), 1);
    QCOMPARE(countOf(*m_query, u"saveState"_s), 1);
    int answers = 0;
    const QList<FakeBus::Request> requests = m_query->requests();
    for (const FakeBus::Request& request : requests) {
        answers += request.data.value(u"reciever"_s) == QLatin1String("cashbox") ? 1 : 0;
    }
    QCOMPARE(answers, 1);
}

void TstTarvexController::end_ofABlockedWorker_tellsHowManyLinesAreLost()
{
    m_query->willAlwaysDo([](FakeBus::Peer& peer, const FakeBus::Request& request) {
        if (request.operation != QLatin1String("sendMessage")) {
            FakeBus::answer(peer, request);
        }
    });
    auto service = std::make_unique<Service>();
    auto* const query = new QueryWorker;
    service->initWorkers(nullptr, query);
    QTRY_COMPARE(query->applied.load(), 1);
    // The line about the worker's thread is sent, and never answered. The first of these waits behind it.
    QTRY_COMPARE(m_query->requests().size(), 2);
    for (int line = 1; line <= 30; ++line) {
        qWarning("line %d", line);
    }
    // What is told in the end is told when the bridge is down, so that it may be caught.
    const LogCapture log;
    QElapsedTimer clock;
    clock.start();
    service.reset();
    QVERIFY(clock.elapsed() < BOUND_MS);
    const QString dropped = u"warning: Dropped 31 queued messages and calls when the workers were stopped"_s;
    // The one that is under way is not known to have failed yet.
    QVERIFY2(log.texts().contains(dropped)
                 || log.texts().contains(QString(dropped).replace(QLatin1String("31"), QLatin1String("30"))),
             qPrintable(log.texts().join(QLatin1Char('\n'))));
    QCOMPARE(log.texts().filter(u"Dropped"_s).size(), 1);
}

void TstTarvexController::lines_thatFindNoRoom_areDroppedAndCounted()
{
    std::promise<void> release;
    m_query->willAlwaysDo(
        [released = release.get_future().share()](FakeBus::Peer& peer, const FakeBus::Request& request) {
            if (request.operation == QLatin1String("saveState")) {
                released.wait();
            }
            FakeBus::answer(peer, request);
        });
    Service service;
    auto* const query = new QueryWorker;
    service.initWorkers(nullptr, query);
    QTRY_COMPARE(query->applied.load(), 1);
    QTRY_COMPARE(countOf(*m_query, u"sendMessage"_s), 1);
    Q_EMIT service.stateChanged();
    QTRY_COMPARE(countOf(*m_query, u"saveState"_s), 1);
    // The worker waits for its answer. From the service's thread and from another one alike.
    for (int line = 0; line < 900; ++line) {
        qCDebug(printerCategory, "line %d", line);
    }
    std::thread([] {
        for (int line = 900; line < 1200; ++line) {
            qCDebug(printerCategory, "line %d", line);
        }
    }).join();
    release.set_value();
    QTRY_COMPARE_WITH_TIMEOUT(linesOnBus(*m_query, u"Dropped 200 log lines: too many were waiting to be sent"_s).size(),
                              1, 60000);
    QCOMPARE(linesOnBus(*m_query, u"line 999"_s).size(), 1);
    QCOMPARE(linesOnBus(*m_query, u"line 1000"_s).size(), 0);
    qCWarning(printerCategory, "afterwards");
    QTRY_COMPARE(linesOnBus(*m_query, u"afterwards"_s).size(), 1);
    QTest::qWait(100);
    QCOMPARE(countOf(*m_query, u"sendMessage"_s), 1 + 1000 + 1 + 1);
}

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

// Nobody counts what such a slot has taken.
void TstTarvexController::lines_forASlotOfTheServicesOwn_areNotBounded()
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

void TstTarvexController::lines_withoutAQueryWorker_areNotBounded()
{
    Service service;
    const QSignalSpy sent(&service, SIGNAL(sendLogMessage(Message)));
    {
        // One that has gone counts no more.
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

void TstTarvexController::refusedLines_doNotMultiply_data()
{
    QTest::addColumn<int>("repeatInterval");
    QTest::addColumn<bool>("alwaysAnotherText");
    QTest::newRow("filter off") << 0 << false;
    QTest::newRow("filter off, texts differ") << 0 << true;
    QTest::newRow("filter on") << 300000 << false;
    QTest::newRow("filter on, texts differ") << 300000 << true;
}

// Each refusal is logged, and so becomes a message that is refused. One for one: as many are under way in the end as
// there were lines of other origin.
void TstTarvexController::refusedLines_doNotMultiply()
{
    QFETCH(int, repeatInterval);
    QFETCH(bool, alwaysAnotherText);
    std::atomic<int> refused{0};
    m_query->willAlwaysDo([&refused, alwaysAnotherText](FakeBus::Peer& peer, const FakeBus::Request& request) {
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
    service.initWorkers(nullptr, query);
    QTRY_COMPARE(query->applied.load(), 1);
    // The line about its thread and this one, shown and stored.
    constexpr int LINES = 3;
    qCWarning(GUILOGGER) << "kick";
    if (repeatInterval > 0 && !alwaysAnotherText) {
        // The refusals all read alike, so that it ends by itself.
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
    // First what was sent, then what has come, so that the difference is no less than what is under way.
    const int emitted = sent.count();
    const int underWay = emitted - refused;
    std::printf("refused per second: %.0f, then %.0f; under way: %d\n", 300000.0 / double(qMax<qint64>(1, first)),
                300000.0 / double(qMax<qint64>(1, second)), underWay);
    QVERIFY2(underWay <= LINES + 1, qPrintable(QString::number(underWay)));
}

QTEST_GUILESS_MAIN(TstTarvexController)
#include "tst_tarvexcontroller.moc"
