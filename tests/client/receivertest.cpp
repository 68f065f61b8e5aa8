#include "receivertest.h"

#include <QTest>

bool ReceiverTest::joinBus()
{
    return subject->receiver.open() && QTest::qWaitFor([this] { return subject->receiver.isOpen(); }, 20000);
}
