#include "takeovers.h"

#include <QTest>

using tarvex::devbus::Takeovers;

class TstTakeovers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void add_first_warnsAtOnce();
    void add_again_warnsOnceInAWhileWithCount();
    void add_severalNames_areWarnedOfApart();
    void add_controlCharacters_areNotShown();
    void add_tooManyNames_areNotCounted();
};

void TstTakeovers::add_first_warnsAtOnce()
{
    Takeovers takeovers;
    QCOMPARE(takeovers.add(QStringLiteral("printer"), 0),
             QStringLiteral("a second receiver connection took the name \"printer\", and the first one was closed; "
                            "does this service run twice?"));
    QCOMPARE(takeovers.count(QStringLiteral("printer")), 1);
    QCOMPARE(takeovers.count(QStringLiteral("cashbox")), 0);
}

void TstTakeovers::add_again_warnsOnceInAWhileWithCount()
{
    Takeovers takeovers;
    const QString name = QStringLiteral("printer");
    QVERIFY(!takeovers.add(name, 1000).isEmpty());
    QCOMPARE(takeovers.add(name, 6000), QString());
    QCOMPARE(takeovers.add(name, 30999), QString());
    QCOMPARE(takeovers.add(name, 31000),
             QStringLiteral("a second receiver connection took the name \"printer\", and the first one was closed "
                            "(3 times since the last warning); does this service run twice?"));
    QCOMPARE(takeovers.add(name, 60999), QString());
    QVERIFY(takeovers.add(name, 61000).contains(QLatin1String("2 times")));
    QCOMPARE(takeovers.count(name), 6);
}

void TstTakeovers::add_severalNames_areWarnedOfApart()
{
    Takeovers takeovers;
    QVERIFY(!takeovers.add(QStringLiteral("a"), 0).isEmpty());
    QVERIFY(!takeovers.add(QStringLiteral("b"), 1).isEmpty());
    QVERIFY(takeovers.add(QStringLiteral("a"), 2).isEmpty());
}

void TstTakeovers::add_controlCharacters_areNotShown()
{
    Takeovers takeovers;
    QVERIFY(takeovers.add(QStringLiteral("a\nb\x1b"), 0).contains(QLatin1String("\"a?b?\"")));
}

void TstTakeovers::add_tooManyNames_areNotCounted()
{
    Takeovers takeovers;
    for (int number = 0; number < Takeovers::MAX_NAMES; ++number) {
        takeovers.add(QString::number(number), 0);
    }
    QCOMPARE(takeovers.add(QStringLiteral("one more"), 0), QString());
    QCOMPARE(takeovers.count(QStringLiteral("one more")), 0);
    takeovers.add(QStringLiteral("0"), 1);
    QCOMPARE(takeovers.count(QStringLiteral("0")), 2);
}

QTEST_GUILESS_MAIN(TstTakeovers)
#include "tst_takeovers.moc"
