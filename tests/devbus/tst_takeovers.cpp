#include "takeovers.h"

#include "literals.h"

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
    QCOMPARE(takeovers.add(u"printer"_s, 0),
             u"a second receiver connection took the name \"printer\", and the first one was closed; "
             "does this service run twice?"_s);
    QCOMPARE(takeovers.count(u"printer"_s), 1);
    QCOMPARE(takeovers.count(u"cashbox"_s), 0);
}

void TstTakeovers::add_again_warnsOnceInAWhileWithCount()
{
    Takeovers takeovers;
    const QString name = u"printer"_s;
    QVERIFY(!takeovers.add(name, 1000).isEmpty());
    QCOMPARE(takeovers.add(name, 6000), QString());
    QCOMPARE(takeovers.add(name, 30999), QString());
    QCOMPARE(takeovers.add(name, 31000),
             u"a second receiver connection took the name \"printer\", and the first one was closed "
             "(3 times since the last warning); does this service run twice?"_s);
    QCOMPARE(takeovers.add(name, 60999), QString());
    QVERIFY(takeovers.add(name, 61000).contains(QLatin1String("2 times")));
    QCOMPARE(takeovers.count(name), 6);
}

void TstTakeovers::add_severalNames_areWarnedOfApart()
{
    Takeovers takeovers;
    QVERIFY(!takeovers.add(u"a"_s, 0).isEmpty());
    QVERIFY(!takeovers.add(u"b"_s, 1).isEmpty());
    QVERIFY(takeovers.add(u"a"_s, 2).isEmpty());
}

void TstTakeovers::add_controlCharacters_areNotShown()
{
    Takeovers takeovers;
    QVERIFY(takeovers.add(u"a\nb\x1b"_s, 0).contains(QLatin1String("\"a?b?\"")));
}

void TstTakeovers::add_tooManyNames_areNotCounted()
{
    Takeovers takeovers;
    for (int number = 0; number < Takeovers::MAX_NAMES; ++number) {
        takeovers.add(QString::number(number), 0);
    }
    QCOMPARE(takeovers.add(u"one more"_s, 0), QString());
    QCOMPARE(takeovers.count(u"one more"_s), 0);
    takeovers.add(u"0"_s, 1);
    QCOMPARE(takeovers.count(u"0"_s), 2);
}

QTEST_GUILESS_MAIN(TstTakeovers)
#include "tst_takeovers.moc"
