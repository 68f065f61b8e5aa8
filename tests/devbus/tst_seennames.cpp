#include "seennames.h"

#include <QTest>

using tarvex::devbus::SeenNames;

class TstSeenNames : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void contains_whatWasAdded();
    void contains_longName_isAlwaysSeen();
    void contains_whenFull_isAlwaysSeen();
};

void TstSeenNames::contains_whatWasAdded()
{
    SeenNames names;
    names.add(QStringLiteral("printer"));
    QVERIFY(names.contains(QStringLiteral("printer")));
    QVERIFY(!names.contains(QStringLiteral("prnter")));
}

void TstSeenNames::contains_longName_isAlwaysSeen()
{
    const SeenNames names;
    QVERIFY(!names.contains(QString(SeenNames::MAX_LENGTH, QLatin1Char('a'))));
    QVERIFY(names.contains(QString(SeenNames::MAX_LENGTH + 1, QLatin1Char('a'))));
}

void TstSeenNames::contains_whenFull_isAlwaysSeen()
{
    SeenNames names;
    for (int number = 1; number < SeenNames::MAX_NAMES; ++number) {
        names.add(QString::number(number));
    }
    QVERIFY(!names.contains(QStringLiteral("nobody")));
    names.add(QStringLiteral("the last"));
    QVERIFY(names.contains(QStringLiteral("nobody")));
}

QTEST_GUILESS_MAIN(TstSeenNames)
#include "tst_seennames.moc"
