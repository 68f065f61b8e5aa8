#include "programs.h"

/// The same service, started twice by mistake.
class TstTwoofonename : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void eachReplacesTheOther_butDoesNotStorm();
};

// Each of them takes the receiver connection of the name from the other. If a service loses a connection that was made
// just before, it waits for 5 s.
void TstTwoofonename::eachReplacesTheOther_butDoesNotStorm()
{
    BusProgram bus({u"--memory"_s, u"--trace"_s});
    ChildProcess first(QStringLiteral(ECHO_SERVICE), {});
    ChildProcess second(QStringLiteral(ECHO_SERVICE), {});
    const auto connects = [&bus] {
        return bus.errorLines().filter(u"receiver/"_s).filter(u"REQUEST handshake"_s).size();
    };
    first.start();
    QTRY_COMPARE_WITH_TIMEOUT(connects(), 1, 30000);
    second.start();
    QTRY_VERIFY_WITH_TIMEOUT(connects() >= 2, 30000);
    const int before = connects();
    QTest::qWait(10000);
    const int during = connects() - before;
    // At most three for each of them. Without the wait there were 48.
    QVERIFY2(during >= 2 && during <= 6, qPrintable(QString::number(during)));
    QCOMPARE(first.terminate(), 0);
    QCOMPARE(second.terminate(), 0);
    QCOMPARE(bus.terminate(), 0);
}

QTEST_GUILESS_MAIN(TstTwoofonename)
#include "tst_twoofonename.moc"
