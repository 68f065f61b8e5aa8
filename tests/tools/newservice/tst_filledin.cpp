#include "literals.h"
#include "newservice/filledin.h"

#include <QTest>

using namespace tarvexctl;

class TstFilledIn : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void text_data();
    void text();
};

void TstFilledIn::text_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("filled");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("plain") << u"a \"$@\" b@c.example\n"_s << u"a \"$@\" b@c.example\n"_s;
    QTest::newRow("words") << u"@NAME@ and @NAME@s, @FILE@.h"_s << u"gate and gates, x.h"_s;
    QTest::newRow("unknown") << u"@OTHER@"_s << u"@OTHER@"_s;
    QTest::newRow("block") << u"a\n@EACH_COMMAND@\n@NAME@ @COMMAND@\n\n@END@\nb\n"_s
                           << u"a\ngate open\n\ngate close\n\nb\n"_s;
    QTest::newRow("two blocks") << u"@EACH_COMMAND@\n1@COMMAND@\n@END@\n-\n@EACH_COMMAND@\n2@COMMAND@\n@END@\n"_s
                                << u"1open\n1close\n-\n2open\n2close\n"_s;
    QTest::newRow("at the end") << u"@EACH_COMMAND@\n@COMMAND@\n@END@\n"_s << u"open\nclose\n"_s;
}

void TstFilledIn::text()
{
    QFETCH(QString, text);
    QTEST(filledIn(text, {{u"FILE"_s, u"x"_s}, {u"NAME"_s, u"gate"_s}}, {u"open"_s, u"close"_s}), "filled");
}

QTEST_GUILESS_MAIN(TstFilledIn)
#include "tst_filledin.moc"
