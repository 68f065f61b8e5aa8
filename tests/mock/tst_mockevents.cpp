#include "literals.h"
#include "mockevents.h"

#include <QTest>

using tarvex::mock::MockEvent;
using tarvex::mock::MockEvents;

namespace {

MockEvent eventOf(MockEvent::Kind kind)
{
    MockEvent event{};
    event.kind = kind;
    return event;
}

} // namespace

class TstMockEvents : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void tooMany_areDroppedAndCounted();
    void detached_keepsNothing();
};

void TstMockEvents::tooMany_areDroppedAndCounted()
{
    MockEvents events(this);
    for (int number = 0; number < MockEvents::MAX_EVENTS + 7; ++number) {
        events.add(eventOf(MockEvent::Handled));
    }
    events.add(eventOf(MockEvent::Ready)); // somebody waits for it
    const QList<MockEvent> taken = events.take();
    QCOMPARE(taken.size(), MockEvents::MAX_EVENTS + 2);
    QCOMPARE(taken.at(MockEvents::MAX_EVENTS).kind, MockEvent::Ready);
    QCOMPARE(taken.constLast().kind, MockEvent::Missing);
    QVERIFY2(taken.constLast().words.startsWith(u"7 events "_s), qPrintable(taken.constLast().words));
    events.add(eventOf(MockEvent::Handled));
    QCOMPARE(events.take().size(), 1);
}

void TstMockEvents::detached_keepsNothing()
{
    MockEvents events(this);
    events.add(eventOf(MockEvent::Handled));
    events.detach();
    events.add(eventOf(MockEvent::Handled));
    QVERIFY(events.take().isEmpty());
}

QTEST_GUILESS_MAIN(TstMockEvents)
#include "tst_mockevents.moc"
