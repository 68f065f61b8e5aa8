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

/// A service retries every 5 s, so this is what it does in 20 minutes. Two pauses of 100 ms in each remain.
constexpr int RETRY_COUNT = 250;
/// So many retries at either end are looked at; the very first ones, in which Qt and the heap settle, are not.
constexpr int WINDOW = 40;
/// A worker that loses 3 KiB with each retry gains more than this; about 100 KiB are our own capture of the log lines.
constexpr int RESIDENT_GROWTH_KIB = 500;
/// A socket in each worker that has just been opened and is not refused yet.
constexpr int FILES_GROWTH = 2;

/// The pause between two retries is left out, everything else is as in a service: the worker's own timer asks for them.
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
        // One that is about to end looks for the bus no more.
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

/// What this process takes at its worst until the service has retried so often.
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

/// A service whose bus is not there: nobody listens on either port.
class TstAbsentbus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void manyRetries_takeNoMoreAndLogNoMore();
};

// Measures this process, both of a controller's workers in it in their threads: the memory and the open files at their
// worst during an early window of retries against those during the last one, and all log lines against the retries.
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
    // Each retry is refused once; the query worker says first in which thread it is. There is nothing else.
    const int refused = lines.removeAll(u"warning: QAbstractSocket::ConnectionRefusedError Connection refused"_s);
    const int threads = lines.filter(QRegularExpression(u"^warning: (\\d+) \\1$"_s)).size();
    QCOMPARE(refused, service->msgStarts + service->queryStarts);
    QCOMPARE(threads, service->queryStarts.load());
    // A worker that tries without a pause does not get through its queue before the end.
    const QStringList dropped = lines.filter(QRegularExpression(u"^warning: Dropped \\d+ queued"_s));
    QVERIFY(dropped.size() <= 1);
    for (const QString& line : dropped) {
        lines.removeOne(line);
    }
    QCOMPARE(lines.size(), threads);
}

QTEST_GUILESS_MAIN(TstAbsentbus)
#include "tst_absentbus.moc"
