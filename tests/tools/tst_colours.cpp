#include "colours.h"
#include "literals.h"

#include <QTest>

using namespace tarvexctl;

class TstColours : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void choice_isOneOfThreeWords_data();
    void choice_isOneOfThreeWords();
    void wanted_data();
    void wanted();
    void paint_setsTheColourAndTakesItBack();
    void paint_withoutColours_changesNothing();
};

Q_DECLARE_METATYPE(ColourChoice)

void TstColours::choice_isOneOfThreeWords_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<bool>("isKnown");
    QTest::newRow("auto") << u"auto"_s << true;
    QTest::newRow("always") << u"always"_s << true;
    QTest::newRow("never") << u"never"_s << true;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("other") << u"Always"_s << false;
}

void TstColours::choice_isOneOfThreeWords()
{
    QFETCH(QString, word);
    QTEST(colourChoiceFrom(word).has_value(), "isKnown");
}

void TstColours::wanted_data()
{
    QTest::addColumn<ColourChoice>("choice");
    QTest::addColumn<bool>("isTerminal");
    QTest::addColumn<QString>("noColor");
    QTest::addColumn<QString>("term");
    QTest::addColumn<bool>("isWanted");
    const QString xterm = u"xterm"_s;
    QTest::newRow("terminal") << ColourChoice::Auto << true << QString() << xterm << true;
    QTest::newRow("pipe") << ColourChoice::Auto << false << QString() << xterm << false;
    QTest::newRow("NO_COLOR") << ColourChoice::Auto << true << u"0"_s << xterm << false;
    QTest::newRow("dumb") << ColourChoice::Auto << true << QString() << u"dumb"_s << false;
    QTest::newRow("no TERM") << ColourChoice::Auto << true << QString() << QString() << false;
    QTest::newRow("always") << ColourChoice::Always << false << u"1"_s << u"dumb"_s << true;
    QTest::newRow("never") << ColourChoice::Never << true << QString() << xterm << false;
}

void TstColours::wanted()
{
    QFETCH(ColourChoice, choice);
    QFETCH(bool, isTerminal);
    QFETCH(QString, noColor);
    QFETCH(QString, term);
    QTEST(wantsColours(choice, {isTerminal, noColor, term}), "isWanted");
}

void TstColours::paint_setsTheColourAndTakesItBack()
{
    const Palette palette(true);
    QCOMPARE(palette.paint(Colour::Red, u"bad"_s), u"\x1b[31mbad\x1b[0m"_s);
    QCOMPARE(palette.paint(Colour::Red, QString()), QString());
}

void TstColours::paint_withoutColours_changesNothing()
{
    QCOMPARE(Palette().paint(Colour::Red, u"bad"_s), u"bad"_s);
}

QTEST_APPLESS_MAIN(TstColours)
#include "tst_colours.moc"
