#include "logging/logqueue_p.h"

#include "heldclock.h"

#include <QTest>

using tarvex::LogQueue;

class TstLogqueue : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void admit_upToTheBound();
    void admit_ofTwo_isAllOrNothing();
    void leave_withoutAdmission_makesNoRoom();
    void takeDropped_tellsOnceHalfIsFree();
    void whatNeverArrived_isForgottenAfterAWhile();
    void whatWaitsForASlowBus_isNotForgotten();

private:
    const std::shared_ptr<std::atomic<int>> m_waiting = std::make_shared<std::atomic<int>>(0);
};

void TstLogqueue::admit_upToTheBound()
{
    *m_waiting = 0;
    LogQueue queue(m_waiting);
    for (int message = 0; message < LogQueue::MAX_WAITING; ++message) {
        QVERIFY(queue.admit(1));
    }
    QVERIFY(!queue.admit(1));
    QCOMPARE(m_waiting->load(), LogQueue::MAX_WAITING);
    queue.leave();
    QVERIFY(queue.admit(1));
    QVERIFY(!queue.admit(1));
}

void TstLogqueue::admit_ofTwo_isAllOrNothing()
{
    *m_waiting = LogQueue::MAX_WAITING - 1;
    LogQueue queue(m_waiting);
    QVERIFY(!queue.admit(2));
    QCOMPARE(m_waiting->load(), LogQueue::MAX_WAITING - 1);
    QVERIFY(queue.admit(1));
}

void TstLogqueue::leave_withoutAdmission_makesNoRoom()
{
    *m_waiting = 0;
    LogQueue queue(m_waiting);
    queue.leave();
    QCOMPARE(m_waiting->load(), 0);
}

void TstLogqueue::takeDropped_tellsOnceHalfIsFree()
{
    *m_waiting = LogQueue::MAX_WAITING;
    LogQueue queue(m_waiting);
    QVERIFY(!queue.admit(1));
    QVERIFY(!queue.admit(2));
    while (*m_waiting > LogQueue::MAX_WAITING / 2) {
        QCOMPARE(queue.takeDropped(), 0);
        queue.leave();
    }
    // It counts lines, not messages.
    QCOMPARE(queue.takeDropped(), 2);
    QCOMPARE(queue.takeDropped(), 0);
}

// Lines that were lost on their way must not stop the service's log forever.
void TstLogqueue::whatNeverArrived_isForgottenAfterAWhile()
{
    HeldClock clock;
    *m_waiting = LogQueue::MAX_WAITING;
    LogQueue queue(m_waiting);
    clock.advance(150000);
    QVERIFY(!queue.admit(1));
    clock.advance(1);
    QVERIFY(queue.admit(1));
    QCOMPARE(m_waiting->load(), 1);
    QCOMPARE(queue.takeDropped(), 1);
}

void TstLogqueue::whatWaitsForASlowBus_isNotForgotten()
{
    HeldClock clock;
    *m_waiting = LogQueue::MAX_WAITING;
    LogQueue queue(m_waiting);
    for (int exchange = 0; exchange < 5; ++exchange) {
        clock.advance(120000);
        queue.leave();
        QVERIFY(queue.admit(1));
        QVERIFY(!queue.admit(1));
    }
}

QTEST_GUILESS_MAIN(TstLogqueue)
#include "tst_logqueue.moc"
