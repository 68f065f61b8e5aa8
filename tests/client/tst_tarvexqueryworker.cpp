#include "client/tarvexqueryworker.h"

#include "fakebus.h"
#include "literals.h"
#include "logcapture.h"
#include "markingtranslator.h"
#include "queryside.h"
#include "receivercount.h"
#include "reconnection.h"
#include "samples.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <type_traits>

using namespace tarvex;
using namespace queryside;
using namespace reconnection;
using samples::someMessage;

static_assert(std::is_abstract_v<TarvexQueryWorker>, "what the state is, only the service knows");

namespace {

const QString LOADING_LINE = u"critical: Settings loading error"_s;

QVariantMap settingsMap(const QString& description)
{
    ClientSettings settings;
    settings.setOwner(PRINTER);
    settings.setDescription(description);
    settings.setDt(samples::someTime());
    return settings.toVariantMap();
}

/// Qt's coarse timers are up to 5 % early.
qint64 earliest(int interval)
{
    return interval * 94 / 100;
}

/// Remembers what it is asked for.
class PrinterWorker : public TarvexQueryWorker
{
public:
    explicit PrinterWorker(int interval = NEVER_MS) : TarvexQueryWorker(interval, PRINTER), reportInterval(interval)
    {
        clock.start();
    }

    bool doStart() override
    {
        starts.append(clock.elapsed());
        return TarvexQueryWorker::doStart();
    }

    bool doStop() override
    {
        ++stops;
        return TarvexQueryWorker::doStop();
    }

    void doUpdateSettings() override
    {
        ++updates;
        TarvexQueryWorker::doUpdateSettings();
    }

    void doSendState() override
    {
        overlapped = overlapped || reporting;
        reporting = true;
        reportStarts.append(clock.elapsed());
        if (reportDuration > 0) {
            // A slow bus blocks the worker's thread in the same way.
            QThread::msleep(reportDuration);
        }
        reportEnds.append(clock.elapsed());
        reporting = false;
    }

    void doApplySettings(ClientSettings settings) override
    {
        applied.append(settings.description());
        reportedWhileApplying = hasActiveTimer(reportInterval);
    }

    TarvexQueryHandler* connection() const { return handler; }

    QDateTime& stateTime() { return lastStateTime; }

    bool hasActiveTimer(int interval) const
    {
        const auto timers = findChildren<QTimer*>();
        return std::any_of(timers.begin(), timers.end(), [interval](const QTimer* timer) {
            return timer->interval() == interval && timer->isActive();
        });
    }

    /// From the end of each report to the start of the next.
    bool hasPausedBetweenReports(int interval) const
    {
        bool hasPaused = true;
        for (int i = 1; i < reportStarts.size(); ++i) {
            hasPaused = hasPaused && reportStarts.at(i) - reportEnds.at(i - 1) >= earliest(interval);
        }
        return hasPaused;
    }

    bool isWaitingForBus() const { return hasActiveTimer(5000); }

    const int reportInterval;
    QElapsedTimer clock;
    QList<qint64> starts;
    int stops = 0;
    int updates = 0;
    QList<qint64> reportStarts;
    QList<qint64> reportEnds;
    unsigned long reportDuration = 0;
    bool reporting = false;
    bool overlapped = false;
    QStringList applied;
    bool reportedWhileApplying = false;
};

/// Two equal numbers: the thread in which the worker runs, and the thread of its timer.
bool isThreadLine(const LogCapture::Line& line)
{
    static const QRegularExpression twoNumbers(u"^(\\d+) \\1$"_s);
    return line.type == QtWarningMsg && twoNumbers.match(line.text).hasMatch();
}

} // namespace

class TstTarvexQueryWorker : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void created_doesNothingYet();
    void start_loadsAndAppliesItsOwnSettings();
    void start_settingsRefused_goesOnReporting();
    void start_loadedBeforeApplied_reportedAfter();
    void startedTwice_hearsEverythingOnce();
    void startedTwice_isConnectedOnce();
    void busAway_isTriedEvery5000ms();
    void busDropsTheConnection_settingsAreLoadedAgain();
    void busDropsInsideAnExchange_isBack();
    void state_isReportedAtTheInterval_data();
    void state_isReportedAtTheInterval();
    void state_asked_isReportedAtOnce();
    void state_notReportedWhileWaitingForTheBus();
    void update_loadsAndAppliesAnew();
    void update_refused_keepsTheOldOnes();
    void update_whileDisconnected_connectsOnce();
    void update_whileBusAway_isQuiet();
    void message_isSentOverTheConnection();
    void message_whileNotOpen_isDropped();
    void message_refused_isNotSentAgain();
    void stop_isSilent();
    void stop_whileBusAway_leavesTheRetryRunning();
    void stop_thenQueuedCalls_changeNothing();
    void stop_thenStart_joinsAgain();
    void handlerGone_nothingHappens();
    void handlerGoneWhileConnecting_nothingHappens();
    void timersGoneWhileConnecting_loadsItsSettings();
    void timersGoneWhileOpenFails_nothingHappens();

private:
    void willGiveSettings(const QString& description)
    {
        m_bus->willReply(u"loadSettings"_s, 0, QString(), settingsMap(description));
    }

    /// Starts the worker against a bus that gives these settings, one after the other.
    bool start(const QStringList& descriptions = {u"first"_s})
    {
        for (const QString& description : descriptions) {
            willGiveSettings(description);
        }
        return m_worker->doStart();
    }

    std::unique_ptr<FakeBus> m_bus;
    std::unique_ptr<PrinterWorker> m_worker;
};

void TstTarvexQueryWorker::init()
{
    m_bus = std::make_unique<FakeBus>();
    m_worker = std::make_unique<PrinterWorker>();
}

void TstTarvexQueryWorker::cleanup()
{
    m_worker.reset();
    m_bus.reset();
}

void TstTarvexQueryWorker::created_doesNothingYet()
{
    const LogCapture log;
    PrinterWorker worker(1234);
    QVERIFY(worker.parent() == nullptr);
    QList<int> intervals;
    const QList<QTimer*> timers = worker.findChildren<QTimer*>();
    for (const QTimer* timer : timers) {
        QVERIFY(!timer->isActive());
        QVERIFY(!timer->isSingleShot());
        intervals.append(timer->interval());
    }
    std::sort(intervals.begin(), intervals.end());
    QCOMPARE(intervals, QList<int>({1234, 5000}));
    QCOMPARE(worker.connection()->clientName(), PRINTER);
    QCOMPARE(worker.connection()->parent(), &worker);
    QVERIFY(!worker.stateTime().isValid());
    QCOMPARE(m_bus->connectionCount(), 0);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryWorker::start_loadsAndAppliesItsOwnSettings()
{
    const QSignalSpy connected(m_worker.get(), SIGNAL(workerConnected()));
    const QSignalSpy changed(m_worker.get(), SIGNAL(settingsChanged()));
    const LogCapture log;
    QVERIFY(start());
    QCOMPARE(connected.count(), 1);
    QCOMPARE(m_worker->applied, QStringList(u"first"_s));
    QCOMPARE(changed.count(), 0);
    QCOMPARE(log.lines().size(), 1);
    QVERIFY2(isThreadLine(log.lines().constFirst()), qPrintable(log.texts().constFirst()));
    QCOMPARE(m_bus->requests().size(), 1);
    QCOMPARE(m_bus->requests().constFirst().operation, u"loadSettings"_s);
    const QVariantMap owner{{u"owner"_s, PRINTER}};
    QCOMPARE(m_bus->requests().constFirst().data, owner);
    const QVariantMap name{{u"name"_s, PRINTER}};
    QCOMPARE(m_bus->handshakes().constFirst().data, name);
    QVERIFY(m_worker->hasActiveTimer(NEVER_MS));
    QVERIFY(!m_worker->isWaitingForBus());
}

void TstTarvexQueryWorker::start_settingsRefused_goesOnReporting()
{
    m_bus->willReply(u"loadSettings"_s, 5, u"no settings"_s);
    m_worker = std::make_unique<PrinterWorker>(50);
    const MarkingTranslator translator;
    const LogCapture log;
    QVERIFY(m_worker->doStart());
    QCOMPARE(m_worker->applied, QStringList());
    QCOMPARE(log.texts().size(), 3);
    QVERIFY2(log.texts().at(1).startsWith(u"critical: 5 \tno settings \tloadSettings"_s),
             qPrintable(log.texts().at(1)));
    QCOMPARE(log.texts().at(2),
             u"critical: "_s + MarkingTranslator::marked("tarvex::TarvexQueryWorker", u"Settings loading error"_s));
    QTRY_VERIFY(m_worker->reportStarts.size() >= 2);
    QVERIFY(m_worker->connection()->isOpen());
    QCOMPARE(m_bus->connectionCount(), 1);
    QCOMPARE(m_worker->starts.size(), 1);
    QCOMPARE(log.texts().size(), 3);
}

void TstTarvexQueryWorker::start_loadedBeforeApplied_reportedAfter()
{
    m_worker = std::make_unique<PrinterWorker>(1);
    QVERIFY(start());
    QCOMPARE(m_worker->applied.size(), 1);
    QVERIFY(!m_worker->reportedWhileApplying);
    QCOMPARE(m_worker->reportStarts.size(), 0);
    QTRY_VERIFY(!m_worker->reportStarts.isEmpty());
}

void TstTarvexQueryWorker::startedTwice_hearsEverythingOnce()
{
    m_worker = std::make_unique<PrinterWorker>(500);
    const QSignalSpy connected(m_worker.get(), SIGNAL(workerConnected()));
    QVERIFY(start({u"first"_s, u"second"_s, u"third"_s}));
    QVERIFY(m_worker->doStart());
    QCOMPARE(m_bus->connectionCount(), 1);
    QCOMPARE(m_worker->applied, QStringList({u"first"_s, u"second"_s}));
    QCOMPARE(connected.count(), 1);
    // Each time-out brings one report.
    QTRY_COMPARE(m_worker->reportStarts.size(), 3);
    QVERIFY(m_worker->hasPausedBetweenReports(500));
    m_bus->dropConnections();
    QTRY_COMPARE(m_worker->applied.size(), 3);
    QCOMPARE(connected.count(), 2);
    QCOMPARE(m_worker->stops, 1);
    const int reports = m_worker->reportStarts.size();
    QTRY_COMPARE(m_worker->reportStarts.size(), reports + 2);
    QCOMPARE(m_worker->starts.size(), 3);
    QCOMPARE(m_bus->connectionCount(), 2);
}

// Counts how often each signal is connected, because restart() makes one of two calls: its effect would not show a
// second connection.
void TstTarvexQueryWorker::startedTwice_isConnectedOnce()
{
    QVERIFY(start({u"first"_s, u"second"_s}));
    QVERIFY(m_worker->doStart());
    const auto timers = m_worker->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    QCOMPARE(timers.size(), 2);
    for (const QTimer* timer : timers) {
        QCOMPARE(ReceiverCount::of(timer, SIGNAL(timeout())), 1);
    }
    QCOMPARE(ReceiverCount::of(m_worker->connection(), SIGNAL(busDisconnected())), 1);
    QCOMPARE(ReceiverCount::of(m_worker->connection(), SIGNAL(tarvexConnected())), 1);
}

void TstTarvexQueryWorker::busAway_isTriedEvery5000ms()
{
    m_bus.reset();
    const QSignalSpy connected(m_worker.get(), SIGNAL(workerConnected()));
    const LogCapture log;
    QVERIFY(m_worker->doStart());
    QVERIFY(m_worker->isWaitingForBus());
    QTRY_COMPARE_WITH_TIMEOUT(m_worker->starts.size(), 3, 2 * LATEST_MS);
    QCOMPARE(m_worker->stops, 2);
    QCOMPARE(connected.count(), 0);
    QCOMPARE(m_worker->applied, QStringList());
    QVERIFY(!m_worker->hasActiveTimer(NEVER_MS));
    QCOMPARE(log.texts().size(), 6);
    for (int i = 0; i < 6; i += 2) {
        QVERIFY2(isThreadLine(log.lines().at(i)), qPrintable(log.texts().at(i)));
        QCOMPARE(log.texts().at(i + 1), REFUSED_LINE);
    }
    for (int i = 1; i < 3; ++i) {
        const qint64 pause = m_worker->starts.at(i) - m_worker->starts.at(i - 1);
        QVERIFY2(pause >= EARLIEST_MS && pause <= LATEST_MS, qPrintable(QString::number(pause)));
    }
    m_bus = std::make_unique<FakeBus>();
    willGiveSettings(u"at last"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_worker->applied, QStringList(u"at last"_s), LATEST_MS);
    QCOMPARE(connected.count(), 1);
    QVERIFY(!m_worker->isWaitingForBus());
    QVERIFY(m_worker->hasActiveTimer(NEVER_MS));
    QCOMPARE(m_worker->starts.size(), 4);
}

void TstTarvexQueryWorker::busDropsTheConnection_settingsAreLoadedAgain()
{
    const QSignalSpy connected(m_worker.get(), SIGNAL(workerConnected()));
    QVERIFY(start({u"1"_s, u"2"_s, u"3"_s}));
    for (int round = 2; round <= 3; ++round) {
        letConnectionsAge();
        QElapsedTimer clock;
        clock.start();
        m_bus->dropConnections();
        QTRY_COMPARE(m_worker->applied.size(), round);
        QVERIFY(clock.elapsed() < AT_ONCE_MS);
        QCOMPARE(connected.count(), round);
        QCOMPARE(m_worker->stops, round - 1);
    }
    QCOMPARE(m_worker->applied, QStringList({u"1"_s, u"2"_s, u"3"_s}));
    QVERIFY(m_worker->hasActiveTimer(NEVER_MS));
}

void TstTarvexQueryWorker::busDropsInsideAnExchange_isBack()
{
    willGiveSettings(u"first"_s);
    m_bus->willClose();
    QVERIFY(start({u"second"_s}));
    letConnectionsAge();
    m_worker->sendMessage(someMessage());
    QTRY_COMPARE(m_worker->applied, QStringList({u"first"_s, u"second"_s}));
    QVERIFY(m_worker->connection()->isOpen());
    QCOMPARE(m_bus->connectionCount(), 2);
    QCOMPARE(m_worker->starts.size(), 2);
}

void TstTarvexQueryWorker::state_isReportedAtTheInterval_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<int>("duration");
    QTest::newRow("quick reports") << 300 << 0;
    QTest::newRow("reports that take longer than the interval") << 200 << 450;
}

void TstTarvexQueryWorker::state_isReportedAtTheInterval()
{
    QFETCH(int, interval);
    QFETCH(int, duration);
    m_worker = std::make_unique<PrinterWorker>(interval);
    m_worker->reportDuration = static_cast<unsigned long>(duration);
    QVERIFY(start());
    const qint64 started = m_worker->clock.elapsed();
    QTRY_COMPARE(m_worker->reportEnds.size(), 4);
    QVERIFY(m_worker->reportStarts.constFirst() - started >= earliest(interval));
    QVERIFY(m_worker->hasPausedBetweenReports(interval));
    QVERIFY(!m_worker->overlapped);
    // Sending the state is the service's part, and this one sends nothing.
    QCOMPARE(m_bus->requests().size(), 1);
}

void TstTarvexQueryWorker::state_asked_isReportedAtOnce()
{
    m_worker = std::make_unique<PrinterWorker>(2000);
    QVERIFY(start());
    QVERIFY(QMetaObject::invokeMethod(m_worker.get(), "sendState"));
    QCOMPARE(m_worker->reportStarts.size(), 1);
    // The next report comes a whole interval after that.
    QTRY_COMPARE(m_worker->reportStarts.size(), 2);
    QVERIFY(m_worker->hasPausedBetweenReports(2000));
}

void TstTarvexQueryWorker::state_notReportedWhileWaitingForTheBus()
{
    m_worker = std::make_unique<PrinterWorker>(20);
    QVERIFY(start());
    QTRY_VERIFY(!m_worker->reportStarts.isEmpty());
    m_bus.reset();
    QTRY_VERIFY(m_worker->isWaitingForBus());
    QVERIFY(!m_worker->hasActiveTimer(20));
}

void TstTarvexQueryWorker::update_loadsAndAppliesAnew()
{
    QVERIFY(start({u"first"_s, u"second"_s}));
    const LogCapture log;
    QVERIFY(QMetaObject::invokeMethod(m_worker.get(), "updateSettings"));
    QCOMPARE(m_worker->updates, 1); // the virtual function
    QCOMPARE(m_worker->applied, QStringList({u"first"_s, u"second"_s}));
    const QVariantMap owner{{u"owner"_s, PRINTER}};
    QCOMPARE(m_bus->requests().at(1).data, owner);
    QCOMPARE(m_bus->connectionCount(), 1);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryWorker::update_refused_keepsTheOldOnes()
{
    willGiveSettings(u"first"_s);
    m_bus->willReply(u"loadSettings"_s, 256, u"storage"_s);
    QVERIFY(m_worker->doStart());
    const LogCapture log;
    m_worker->updateSettings();
    QCOMPARE(m_worker->applied, QStringList(u"first"_s));
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(log.texts().at(1), LOADING_LINE);
    QVERIFY(m_worker->connection()->isOpen());
}

void TstTarvexQueryWorker::update_whileDisconnected_connectsOnce()
{
    willGiveSettings(u"first"_s);
    const LogCapture log;
    m_worker->updateSettings();
    QCOMPARE(m_worker->applied, QStringList(u"first"_s));
    QVERIFY(m_worker->connection()->isOpen());
    QCOMPARE(m_bus->connectionCount(), 1);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryWorker::update_whileBusAway_isQuiet()
{
    m_bus.reset();
    const LogCapture log;
    m_worker->updateSettings();
    QCOMPARE(m_worker->applied, QStringList());
    // The line is the connection's. The worker logs nothing of its own.
    QCOMPARE(log.texts(), QStringList(REFUSED_LINE));
    QVERIFY(!m_worker->isWaitingForBus());
    QCOMPARE(m_worker->starts.size(), 0);
}

void TstTarvexQueryWorker::message_isSentOverTheConnection()
{
    willGiveSettings(u"first"_s);
    m_bus->willReply(u"sendMessage"_s);
    QVERIFY(m_worker->doStart());
    const LogCapture log;
    QVERIFY(QMetaObject::invokeMethod(m_worker.get(), "sendMessage",
                                      Q_ARG(Message, someMessage(u"cashbox"_s, u"plain words"_s, QString()))));
    QCOMPARE(m_bus->requests().size(), 2);
    const FakeBus::Request request = m_bus->requests().at(1);
    QCOMPARE(request.operation, u"sendMessage"_s);
    QCOMPARE(request.data.value(u"sender"_s).toString(), PRINTER);
    QCOMPARE(request.data.value(u"reciever"_s).toString(), u"cashbox"_s);
    QCOMPARE(request.data.value(u"message"_s).toString(), u"plain words"_s);
    QVERIFY(!request.data.value(u"UID"_s).toString().isEmpty());
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryWorker::message_whileNotOpen_isDropped()
{
    const LogCapture log;
    m_worker->sendMessage(someMessage());
    QCOMPARE(m_bus->connectionCount(), 0);
    QVERIFY(m_worker->connection()->open());
    m_worker->connection()->close();
    m_worker->sendMessage(someMessage());
    // What was dropped is not sent later either.
    QVERIFY(m_worker->connection()->open());
    QCOMPARE(m_bus->requests().size(), 0);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryWorker::message_refused_isNotSentAgain()
{
    willGiveSettings(u"first"_s);
    m_bus->willReply(u"sendMessage"_s, 1, u"no such client"_s);
    m_bus->willReply(u"sendMessage"_s);
    QVERIFY(m_worker->doStart());
    m_worker->sendMessage(someMessage());
    m_worker->sendMessage(someMessage(u"cashbox"_s, u"plain words"_s, u"uid2"_s));
    QCOMPARE(m_bus->requests().size(), 3);
    QCOMPARE(m_bus->requests().at(2).data.value(u"UID"_s).toString(), u"uid2"_s);
}

void TstTarvexQueryWorker::stop_isSilent()
{
    m_worker = std::make_unique<PrinterWorker>(50);
    QVERIFY(start());
    QTRY_VERIFY(!m_worker->reportStarts.isEmpty());
    const LogCapture log;
    QVERIFY(m_worker->doStop());
    QVERIFY(!m_worker->connection()->isOpen());
    QVERIFY(!m_worker->hasActiveTimer(50));
    m_bus->dropConnections();
    QCoreApplication::processEvents();
    QCOMPARE(m_worker->starts.size(), 1);
    QCOMPARE(m_bus->connectionCount(), 1);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryWorker::stop_whileBusAway_leavesTheRetryRunning()
{
    m_bus.reset();
    QVERIFY(m_worker->doStart());
    QVERIFY(m_worker->doStop());
    QVERIFY(m_worker->isWaitingForBus());
}

// The controller's stop overtakes the calls in the worker's queue. These calls are made after it.
void TstTarvexQueryWorker::stop_thenQueuedCalls_changeNothing()
{
    m_worker = std::make_unique<PrinterWorker>(50);
    QVERIFY(start());
    QVERIFY(m_worker->doStop());
    const int reports = m_worker->reportStarts.size();
    m_worker->updateSettings();
    m_worker->sendState();
    QCOMPARE(m_bus->connectionCount(), 1);
    QCOMPARE(m_worker->applied, QStringList(u"first"_s));
    QCOMPARE(m_worker->reportStarts.size(), reports);
    QVERIFY(!m_worker->hasActiveTimer(50));
}

void TstTarvexQueryWorker::stop_thenStart_joinsAgain()
{
    QVERIFY(m_worker->doStop());
    QVERIFY(start({u"first"_s, u"second"_s}));
    m_worker->restart();
    m_worker->restart();
    QTRY_COMPARE(m_worker->applied, QStringList({u"first"_s, u"second"_s}));
    QCOMPARE(m_bus->connectionCount(), 2);
    QCOMPARE(m_worker->starts.size(), 2);
}

void TstTarvexQueryWorker::handlerGone_nothingHappens()
{
    QVERIFY(start());
    delete m_worker->connection();
    const LogCapture log;
    QVERIFY(m_worker->doStart());
    m_worker->updateSettings();
    m_worker->sendMessage(someMessage());
    QVERIFY(m_worker->doStop());
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexQueryWorker::handlerGoneWhileConnecting_nothingHappens()
{
    connect(m_worker.get(), &TarvexQueryWorker::workerConnected, m_worker.get(),
            [this] { delete m_worker->connection(); });
    QVERIFY(m_worker->doStart());
    QVERIFY(m_worker->connection() == nullptr);
    QCOMPARE(m_worker->applied, QStringList());
    m_worker = std::make_unique<PrinterWorker>();
    connect(m_worker->connection(), &TarvexQueryHandler::tarvexConnected, m_worker.get(),
            [this] { delete m_worker->connection(); });
    m_worker->updateSettings();
    QVERIFY(m_worker->connection() == nullptr);
    QCOMPARE(m_worker->applied, QStringList());
}

void TstTarvexQueryWorker::timersGoneWhileConnecting_loadsItsSettings()
{
    connect(m_worker.get(), &TarvexQueryWorker::workerConnected, m_worker.get(),
            [this] { qDeleteAll(m_worker->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)); });
    QVERIFY(start());
    QCOMPARE(m_worker->applied, QStringList(u"first"_s));
    QVERIFY(m_worker->doStop());
}

void TstTarvexQueryWorker::timersGoneWhileOpenFails_nothingHappens()
{
    m_bus.reset();
    connect(m_worker->connection()->findChild<QTcpSocket*>(), &QTcpSocket::hostFound, m_worker.get(),
            [this] { qDeleteAll(m_worker->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)); });
    QVERIFY(m_worker->doStart());
    QVERIFY(!m_worker->isWaitingForBus());
    QVERIFY(m_worker->doStop());
}

QTEST_GUILESS_MAIN(TstTarvexQueryWorker)
#include "tst_tarvexqueryworker.moc"
