#include "systemdnotifier.h"

#include "literals.h"
#include "logcapture.h"
#include "notifysocket.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <functional>
#include <memory>
#include <unistd.h>

using wexcor::SystemdNotifier;

namespace {

constexpr int PATIENCE_MS = 20000;
constexpr int LOOK_INTERVAL_MS = 2;
const QString READY = u"READY=1"_s;
const QString STOPPING = u"STOPPING=1"_s;
const QString ALIVE = u"WATCHDOG=1"_s;

using Condition = std::function<bool()>;

/// Runs the application's event loop until the condition holds. \return whether it did before the time was over.
bool loopSees(const Condition& condition)
{
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &look, [&condition] {
        if (condition()) {
            QCoreApplication::exit(1);
        }
    });
    look.start(LOOK_INTERVAL_MS);
    QTimer::singleShot(PATIENCE_MS, &look, &QCoreApplication::quit);
    return QCoreApplication::exec() == 1;
}

/// Collects the intervals of the timers that tick in the main thread.
class Intervals : public QObject
{
public:
    Intervals() { QCoreApplication::instance()->installEventFilter(this); }

    bool contains(int interval) const { return m_intervals.contains(interval); }

    bool eventFilter(QObject* object, QEvent* event) override
    {
        const auto* const timer = qobject_cast<const QTimer*>(object);
        if (timer && event->type() == QEvent::Timer) {
            m_intervals.append(timer->interval());
        }
        return false;
    }

private:
    QList<int> m_intervals;
};

} // namespace

class TstSystemdNotifier : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void noSystemd_nothingIsTold_data();
    void noSystemd_nothingIsTold();
    void loop_makesReady_data();
    void loop_makesReady();
    void eventsBeforeTheLoop_doNotMakeReady();
    void whenTold_loopDoesNotMakeReady();
    void setReady_again_isToldOnce();
    void setReady_fromAnotherThread_isTold();
    void setReady_afterTheEnd_isNotTold();
    void status_isOneLine_data();
    void status_isOneLine();
    void endOfTheLoop_isTold();
    void end_withoutALoop_isTold();
    void watchdog_isToldAtHalfOfItsTime();
    void watchdog_noTime_isNotTold();
    void watchdog_ofAnotherProcess_isNotTold();
    void watchdog_ofThisProcess_isTold();
    void watchdog_strangeTime_isBounded_data();
    void watchdog_strangeTime_isBounded();
    void watchdog_endOfTheLoop_isToldOnceMore();
    void hungLoop_isNotTold();
    void socketGone_isLoggedOnce();

private:
    /// Runs the application's event loop for some turns. Reads in each of them, because a report waits while the
    /// system's queue is full.
    void runLoop()
    {
        loopSees([this, turns = 0]() mutable {
            m_systemd->reports();
            return ++turns > 50;
        });
    }

    std::unique_ptr<NotifySocket> m_systemd;
};

void TstSystemdNotifier::init()
{
    m_systemd = std::make_unique<NotifySocket>();
    qputenv("NOTIFY_SOCKET", m_systemd->address().toLocal8Bit());
}

void TstSystemdNotifier::cleanup()
{
    for (const char* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
        qunsetenv(name);
    }
    m_systemd.reset();
}

void TstSystemdNotifier::noSystemd_nothingIsTold_data()
{
    QTest::addColumn<bool>("isSet");
    QTest::newRow("not set") << false;
    QTest::newRow("empty") << true;
}

void TstSystemdNotifier::noSystemd_nothingIsTold()
{
    QFETCH(bool, isSet);
    qunsetenv("NOTIFY_SOCKET");
    if (isSet) {
        qputenv("NOTIFY_SOCKET", "");
    }
    qputenv("WATCHDOG_USEC", "10000");
    const Intervals intervals;
    const LogCapture log;
    {
        SystemdNotifier notifier;
        notifier.setStatus(u"printing"_s);
        runLoop();
        notifier.setReady();
    }
    QCOMPARE(log.texts(), QStringList());
    QVERIFY(!intervals.contains(5) && !intervals.contains(0));
}

void TstSystemdNotifier::loop_makesReady_data()
{
    QTest::addColumn<bool>("isAbstract");
    QTest::newRow("path") << false;
    QTest::newRow("abstract") << true;
}

void TstSystemdNotifier::loop_makesReady()
{
    QFETCH(bool, isAbstract);
    NotifySocket systemd(isAbstract ? NotifySocket::Kind::Abstract : NotifySocket::Kind::Path);
    qputenv("NOTIFY_SOCKET", systemd.address().toLocal8Bit());
    const SystemdNotifier notifier;
    QVERIFY(systemd.reports().isEmpty());
    QVERIFY(loopSees([&systemd] { return systemd.count(READY) == 1; }));
}

void TstSystemdNotifier::eventsBeforeTheLoop_doNotMakeReady()
{
    const SystemdNotifier notifier;
    for (int i = 0; i < 50; ++i) {
        QCoreApplication::processEvents();
    }
    QVERIFY(m_systemd->reports().isEmpty());
    QVERIFY(loopSees([this] { return m_systemd->count(READY) == 1; }));
}

void TstSystemdNotifier::whenTold_loopDoesNotMakeReady()
{
    SystemdNotifier notifier(SystemdNotifier::Readiness::WhenTold);
    QVERIFY(loopSees([this, &notifier, turns = 0]() mutable {
        if (++turns == 20) {
            notifier.setStatus(u"made ready"_s);
            notifier.setReady();
        }
        return m_systemd->count(READY) == 1;
    }));
    QCOMPARE(m_systemd->reports(), QStringList({u"STATUS=made ready"_s, READY, STOPPING}));
}

void TstSystemdNotifier::setReady_again_isToldOnce()
{
    SystemdNotifier notifier;
    notifier.setReady();
    notifier.setReady();
    runLoop();
    QCOMPARE(m_systemd->reports(), QStringList({READY, STOPPING}));
}

void TstSystemdNotifier::setReady_fromAnotherThread_isTold()
{
    SystemdNotifier notifier;
    const std::unique_ptr<QThread> thread(QThread::create([&notifier] {
        notifier.setStatus(u"of a worker"_s);
        notifier.setReady();
    }));
    thread->start();
    QVERIFY(thread->wait(PATIENCE_MS));
    QCOMPARE(m_systemd->reports(), QStringList({u"STATUS=of a worker"_s, READY}));
}

void TstSystemdNotifier::setReady_afterTheEnd_isNotTold()
{
    SystemdNotifier notifier(SystemdNotifier::Readiness::WhenTold);
    runLoop();
    notifier.setReady();
    QCOMPARE(m_systemd->reports(), QStringList(STOPPING));
}

void TstSystemdNotifier::status_isOneLine_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("told");
    QTest::newRow("words") << u"printing 3 tickets"_s << u"STATUS=printing 3 tickets"_s;
    QTest::newRow("not ASCII") << u"Papier läuft aus: 5 %"_s << u"STATUS=Papier läuft aus: 5 %"_s;
    QTest::newRow("empty") << QString() << u"STATUS="_s;
    // systemd would take the second line for an assignment of its own.
    QTest::newRow("line end") << u"paper\nREADY=1"_s << u"STATUS=paper READY=1"_s;
    QTest::newRow("long") << QString(5000, QLatin1Char('x')) << u"STATUS="_s + QString(1000, QLatin1Char('x'));
}

void TstSystemdNotifier::status_isOneLine()
{
    QFETCH(QString, text);
    QFETCH(QString, told);
    SystemdNotifier notifier(SystemdNotifier::Readiness::WhenTold);
    notifier.setStatus(text);
    QCOMPARE(m_systemd->reports(), QStringList(told));
}

void TstSystemdNotifier::endOfTheLoop_isTold()
{
    auto notifier = std::make_unique<SystemdNotifier>();
    runLoop();
    QCOMPARE(m_systemd->reports(), QStringList({READY, STOPPING}));
    notifier.reset();
    QCOMPARE(m_systemd->reports().size(), 2);
}

void TstSystemdNotifier::end_withoutALoop_isTold()
{
    std::make_unique<SystemdNotifier>().reset();
    QCOMPARE(m_systemd->reports(), QStringList(STOPPING));
}

void TstSystemdNotifier::watchdog_isToldAtHalfOfItsTime()
{
    qputenv("WATCHDOG_USEC", "26000");
    const Intervals intervals;
    const SystemdNotifier notifier;
    QVERIFY(loopSees([this] { return m_systemd->count(ALIVE) >= 3; }));
    QVERIFY(intervals.contains(13));
}

void TstSystemdNotifier::watchdog_noTime_isNotTold()
{
    const SystemdNotifier notifier;
    runLoop();
    QCOMPARE(m_systemd->reports(), QStringList({READY, STOPPING}));
}

void TstSystemdNotifier::watchdog_ofAnotherProcess_isNotTold()
{
    qputenv("WATCHDOG_USEC", "2000");
    qputenv("WATCHDOG_PID", QByteArray::number(::getppid()));
    const SystemdNotifier notifier;
    runLoop();
    QCOMPARE(m_systemd->reports(), QStringList({READY, STOPPING}));
}

void TstSystemdNotifier::watchdog_ofThisProcess_isTold()
{
    qputenv("WATCHDOG_USEC", "2000");
    qputenv("WATCHDOG_PID", QByteArray::number(::getpid()));
    const SystemdNotifier notifier;
    QVERIFY(loopSees([this] { return m_systemd->count(ALIVE) >= 1; }));
}

void TstSystemdNotifier::watchdog_strangeTime_isBounded_data()
{
    QTest::addColumn<QByteArray>("microseconds");
    QTest::addColumn<bool>("isTold"); // within this test
    QTest::newRow("less than two milliseconds") << QByteArray("1") << true;
    QTest::newRow("longer than a timer can take") << QByteArray("18446744073709551614") << false;
    QTest::newRow("zero") << QByteArray("0") << false;
    QTest::newRow("no number") << QByteArray("soon") << false;
}

void TstSystemdNotifier::watchdog_strangeTime_isBounded()
{
    QFETCH(QByteArray, microseconds);
    QFETCH(bool, isTold);
    qputenv("WATCHDOG_USEC", microseconds);
    const Intervals intervals;
    const LogCapture log;
    const SystemdNotifier notifier;
    runLoop();
    QCOMPARE(m_systemd->count(ALIVE) > 0, isTold);
    QCOMPARE(intervals.contains(1), isTold);
    QCOMPARE(log.texts(), QStringList());
}

void TstSystemdNotifier::watchdog_endOfTheLoop_isToldOnceMore()
{
    qputenv("WATCHDOG_USEC", "3600000000");
    const SystemdNotifier notifier;
    runLoop();
    QCOMPARE(m_systemd->reports(), QStringList({READY, STOPPING + QLatin1Char('\n') + ALIVE}));
}

void TstSystemdNotifier::hungLoop_isNotTold()
{
    constexpr int INTERVAL_MS = 5;
    qputenv("WATCHDOG_USEC", QByteArray::number(2 * INTERVAL_MS * 1000));
    const SystemdNotifier notifier;
    int before = -1;
    int after = -1;
    const Condition hang = [this, &before, &after] {
        before = m_systemd->count(ALIVE);
        if (before == 0) {
            return false;
        }
        QThread::msleep(20 * INTERVAL_MS);
        after = m_systemd->count(ALIVE);
        return true;
    };
    QVERIFY(loopSees(hang));
    QVERIFY(before > 0);
    QCOMPARE(after, before);
}

void TstSystemdNotifier::socketGone_isLoggedOnce()
{
    m_systemd.reset();
    const LogCapture log;
    SystemdNotifier notifier;
    notifier.setReady();
    notifier.setStatus(u"printing"_s);
    QCOMPARE(log.texts(),
             QStringList(u"warning: systemd is not told how this process is: No such file or directory"_s));
}

QTEST_GUILESS_MAIN(TstSystemdNotifier)
#include "tst_systemdnotifier.moc"
