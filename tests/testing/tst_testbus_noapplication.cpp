#include "literals.h"
#include "testbus.h"

#include <QTest>

class TstTestBusNoApplication : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void start_withoutApplication_fails();
};

void TstTestBusNoApplication::start_withoutApplication_fails()
{
    tarvex::testing::TestBus bus;
    QVERIFY(!bus.start());
    QVERIFY2(bus.errorString().contains(u"QCoreApplication"_s), qPrintable(bus.errorString()));
    QVERIFY(!bus.isRunning());
}

QTEST_APPLESS_MAIN(TstTestBusNoApplication)
#include "tst_testbus_noapplication.moc"
