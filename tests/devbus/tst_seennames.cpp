#include "seennames.h"

#include "literals.h"

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
    names.add(u"printer"_s);
    QVERIFY(names.contains(u"printer"_s));
    QVERIFY(!names.contains(u"prnter"_s));
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
    QVERIFY(!names.contains(u"nobody"_s));
    names.add(u"the last"_s);
    QVERIFY(names.contains(u"nobody"_s));
}

QTEST_GUILESS_MAIN(TstSeenNames)
#include "tst_seennames.moc"
