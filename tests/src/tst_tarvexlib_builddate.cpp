#include "appversionmanager.h"
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
    QCOMPARE(bus::TarvexLib::version().version(), QStringLiteral("5.0.28"));
    QCOMPARE(bus::TarvexLib::version().buildTime(), QStringLiteral("2021-05-01T11:12:06"));
}

void TstTarvexLibBuildDate::load_registersTheVersionUnderTheLibrarysName()
{
    const wexcor::AppVersion registered = wexcor::AppVersionManager::version(QStringLiteral("tarvexlib"));
    QCOMPARE(registered.version(), QStringLiteral("5.0.28"));
    QCOMPARE(registered.buildTime(), QStringLiteral("2021-05-01T11:12:06"));
    QCOMPARE(wexcor::AppVersionManager::versions().keys(), QStringList(QStringLiteral("tarvexlib")));
}

void TstTarvexLibBuildDate::load_registersTheLocalisation()
{
    QCOMPARE(wexcor::AppVersionManager::localisations(), QStringList(QStringLiteral("tarvexlib")));
}

// Must stay the last: the registry cannot be emptied again.
void TstTarvexLibBuildDate::construct_again_keepsVersionAndLocalisation()
{
    const wexcor::AppVersion other(QStringLiteral("other"), QStringLiteral("2000-01-01T00:00:00"));
    wexcor::AppVersionManager::addVersion(QStringLiteral("tarvexlib"), other);
    const bus::TarvexLib another;
    QCOMPARE(bus::TarvexLib::version().version(), QStringLiteral("5.0.28"));
    QCOMPARE(wexcor::AppVersionManager::version(QStringLiteral("tarvexlib")).version(), QStringLiteral("other"));
    QCOMPARE(wexcor::AppVersionManager::localisations(), QStringList(QStringLiteral("tarvexlib")));
}

QTEST_GUILESS_MAIN(TstTarvexLibBuildDate)
#include "tst_tarvexlib_builddate.moc"
