#include "busaccess.h"

#include <QCoreApplication>
#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

using tarvex::devbus::BusAccess;

class TstBusAccess : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void ask_doesTheWorkInTheBusThread();
    void ask_busIsBusy_isGivenUpAndNotDoneLater();
    void close_sendsAwayWhoWaits();
    void ask_closed_isRefused();
};

void TstBusAccess::ask_doesTheWorkInTheBusThread()
{
    BusAccess access;
    const auto busThread = std::this_thread::get_id();
    std::atomic<int> right{0};
    std::atomic<int> ended{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 250; ++j) {
                bool isRight = false;
                right += access.ask([&] { isRight = std::this_thread::get_id() == busThread; }) && isRight ? 1 : 0;
            }
            ++ended;
        });
    }
    QTRY_COMPARE_WITH_TIMEOUT(ended.load(), 4, 20000);
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(right.load(), 1000);
}

void TstBusAccess::ask_busIsBusy_isGivenUpAndNotDoneLater()
{
    BusAccess access;
    std::atomic<bool> isDone{false};
    bool isAnswered = true;
    std::thread thread([&] { isAnswered = access.ask([&] { isDone = true; }); });
    thread.join(); // this thread has no event loop meanwhile, as when the bus is at work
    QVERIFY(!isAnswered);
    QCoreApplication::processEvents();
    QVERIFY(!isDone);
}

void TstBusAccess::close_sendsAwayWhoWaits()
{
    BusAccess access;
    std::atomic<bool> isDone{false};
    bool isAnswered = true;
    std::thread thread([&] { isAnswered = access.ask([&] { isDone = true; }); });
    access.close();
    thread.join();
    QCoreApplication::processEvents();
    QVERIFY(!isAnswered && !isDone);
}

void TstBusAccess::ask_closed_isRefused()
{
    BusAccess access;
    access.close();
    QVERIFY(!access.ask([] {}));
}

QTEST_GUILESS_MAIN(TstBusAccess)
#include "tst_busaccess.moc"
