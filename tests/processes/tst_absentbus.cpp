#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryworker.h"
#include "literals.h"
#include "logcapture.h"
#include "processload.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include <atomic>
#include <memory>

using namespace tarvex;

namespace {

constexpr int RETRY_INTERVAL_MS = 5000;
constexpr int STATE_INTERVAL_MS = 500;
constexpr int LOG_REPEAT_INTERVAL_MS = 10000;

/// A service retries every 5 s, so these are the retries of 20 minutes. Each retry still has two pauses of 100 ms.
constexpr int RETRY_COUNT = 250;
/// The test compares this many early retries with this many at the end. It skips as many at the beginning, because Qt
/// and the heap have not settled there.
constexpr int WINDOW = 40;
/// A worker that loses 3 KiB with each retry grows by more than this. About 100 KiB of it are the captured log lines.
constexpr int RESIDENT_GROWTH_KIB = 500;
/// In each worker one socket may just have been opened and not been refused yet.
constexpr int FILES_GROWTH = 2;

/// Removes the pause between two retries. Everything else is as in a service: the worker's own timer starts them.
void retryAtOnce(QObject& worker)
{
    const QList<QTimer*> timers = worker.findChildren<QTimer*>();
    for (QTimer* const timer : timers) {
        if (timer->interval() == RETRY_INTERVAL_MS) {
            timer->setInterval(0);
        }
    }
}

class MsgWorker : public TarvexMsgWorker
{
public:
    MsgWorker(const QString& clientName, std::atomic<int>& starts) : TarvexMsgWorker(clientName), m_starts(starts)
    {
        retryAtOnce(*this);
    }

    bool doStart() override
    {
        // A worker that is about to end does not look for the bus any more.
        m_starts += isEnding() ? 0 : 1;
        return TarvexMsgWorker::doStart();
    }

private:
    std::atomic<int>& m_starts;
};

class QueryWorker : public TarvexQueryWorker
{
public:
    QueryWorker(const QString& clientName, std::atomic<int>& starts)
        : TarvexQueryWorker(STATE_INTERVAL_MS, clientName), m_starts(starts)
    {
        retryAtOnce(*this);
    }

    bool doStart() override
    {
        ++m_starts;
        return TarvexQueryWorker::doStart();
    }

    void doSendState() override { }

    void doApplySettings(ClientSettings settings) override { Q_UNUSED(settings) }

private:
    std::atomic<int>& m_starts;
};

class Service : public TarvexController
{
public:
    Service() : TarvexController(LOG_REPEAT_INTERVAL_MS, u"printer"_s, nullptr) { }

    void doStart() override
    {
        initWorkers(new MsgWorker(u"printer"_s, msgStarts), new QueryWorker(u"printer"_s, queryStarts));
    }

    int retries() const { return qMin(msgStarts, queryStarts); }

    std::atomic<int> msgStarts{0};
    std::atomic<int> queryStarts{0};
};

/// The most that this process uses until the service has made this many retries.
ProcessLoad loadUntil(const Service& service, int retries)
{
    ProcessLoad load;
    while (service.retries() < retries) {
        QTest::qWait(20);
        load.note(QCoreApplication::applicationPid());
    }
    return load;
}

} // namespace

/// A service without a bus: nobody listens on either port.
class TstAbsentbus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void manyRetries_takeNoMoreAndLogNoMore();
};

// Measures this process, in which both workers of a controller run in their threads. Compares the greatest memory use
// and number of open files during an early window of retries with those during the last window. Compares the number of
// log lines with the number of retries.
void TstAbsentbus::manyRetries_takeNoMoreAndLogNoMore()
{
    auto log = std::make_unique<LogCapture>();
    auto service = std::make_unique<Service>();
    service->doStart();
    loadUntil(*service, WINDOW);
    const ProcessLoad before = loadUntil(*service, 2 * WINDOW);
    loadUntil(*service, RETRY_COUNT - WINDOW);
    const ProcessLoad after = loadUntil(*service, RETRY_COUNT);
    service->doKillThreads();
    QStringList lines = log->texts();
    log.reset();

    qInfo("%d and %d retries", service->msgStarts.load(), service->queryStarts.load());
    QVERIFY(before.isKept("service", after, RESIDENT_GROWTH_KIB, FILES_GROWTH));
    // Each retry is refused once. The query worker logs before that in which thread it is. There are no other lines.
    const int refused = lines.removeAll(u"warning: QAbstractSocket::ConnectionRefusedError Connection refused"_s);
    const int threads = lines.filter(QRegularExpression(u"^warning: (\\d+) \\1$"_s)).size();
    QCOMPARE(refused, service->msgStarts + service->queryStarts);
    QCOMPARE(threads, service->queryStarts.load());
    // A worker that retries without a pause cannot work off its queue before the end.
    const QStringList dropped = lines.filter(QRegularExpression(u"^warning: Dropped \\d+ queued"_s));
    QVERIFY(dropped.size() <= 1);
    for (const QString& line : dropped) {
        lines.removeOne(line);
    }
    QCOMPARE(lines.size(), threads);
}

QTEST_GUILESS_MAIN(TstAbsentbus)
#include "tst_absentbus.moc"
