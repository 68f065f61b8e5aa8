#include "appversionmanager.h"
#include "literals.h"
#include "tarvexlib.h"

#include <QTest>

/// Runs with an identity of its own, compiled for 1 May 2021, 11:12:06 (the compiler pads the one-digit day with a
/// blank).
class TstTarvexLibBuildDate : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void version_ofOneDigitDay_hasTheBuildTime();
    void load_registersTheVersionUnderTheLibrarysName();
    void load_registersTheLocalisation();
    void construct_again_keepsVersionAndLocalisation();
};

void TstTarvexLibBuildDate::version_ofOneDigitDay_hasTheBuildTime()
{
    QVERIFY(bus::TarvexLib::version().isValid());
    QCOMPARE(bus::TarvexLib::version().version(), u"5.0.28"_s);
    QCOMPARE(bus::TarvexLib::version().buildTime(), u"2021-05-01T11:12:06"_s);
}

void TstTarvexLibBuildDate::load_registersTheVersionUnderTheLibrarysName()
{
    const wexcor::AppVersion registered = wexcor::AppVersionManager::version(u"tarvexlib"_s);
    QCOMPARE(registered.version(), u"5.0.28"_s);
    QCOMPARE(registered.buildTime(), u"2021-05-01T11:12:06"_s);
    QCOMPARE(wexcor::AppVersionManager::versions().keys(), QStringList(u"tarvexlib"_s));
}

void TstTarvexLibBuildDate::load_registersTheLocalisation()
{
    QCOMPARE(wexcor::AppVersionManager::localisations(), QStringList(u"tarvexlib"_s));
}

// Must stay the last: the registry cannot be emptied again.
void TstTarvexLibBuildDate::construct_again_keepsVersionAndLocalisation()
{
    const wexcor::AppVersion other(u"other"_s, u"2000-01-01T00:00:00"_s);
    wexcor::AppVersionManager::addVersion(u"tarvexlib"_s, other);
    const bus::TarvexLib another;
    QCOMPARE(bus::TarvexLib::version().version(), u"5.0.28"_s);
    QCOMPARE(wexcor::AppVersionManager::version(u"tarvexlib"_s).version(), u"other"_s);
    QCOMPARE(wexcor::AppVersionManager::localisations(), QStringList(u"tarvexlib"_s));
}

QTEST_GUILESS_MAIN(TstTarvexLibBuildDate)
#include "tst_tarvexlib_builddate.moc"
