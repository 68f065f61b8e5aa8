#include "appversionmanager.h"
#include "literals.h"
#include "tarvexlib.h"

#include <QTest>

/// Runs with an identity of its own, which was compiled for 1 May 2021, 11:12:06. The compiler pads the one-digit day
/// with a blank.
class TstTarvexLibBuildDate : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void version_ofOneDigitDay_hasTheBuildTime();
};

void TstTarvexLibBuildDate::version_ofOneDigitDay_hasTheBuildTime()
{
    for (const wexcor::AppVersion& version :
         {bus::TarvexLib::version(), wexcor::AppVersionManager::version(u"tarvexlib"_s)}) {
        QVERIFY(version.isValid());
        QCOMPARE(version.version(), u"5.0.28"_s);
        QCOMPARE(version.buildTime(), u"2021-05-01T11:12:06"_s);
    }
}

QTEST_GUILESS_MAIN(TstTarvexLibBuildDate)
#include "tst_tarvexlib_builddate.moc"
