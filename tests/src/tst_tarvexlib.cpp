#include "tarvexlib.h"

#include "appversionmanager.h"
#include "literals.h"

#include <QDateTime>
#include <QTest>

using bus::TarvexLib;
using wexcor::AppVersionManager;

namespace {

const QString NAME = u"tarvexlib"_s;

} // namespace

class TstTarvexLib : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void registry_atLoad_holdsTheLibrary();
    void version_isThatOfTheLibrary();
    void version_isReturnedByCopy();
    void furtherInstances_changeNothing();
    void furtherInstance_doesNotRegisterTheVersionAgain();
};

// This must stay the first test, so that everything registered was registered when the library was loaded.
void TstTarvexLib::registry_atLoad_holdsTheLibrary()
{
    QCOMPARE(AppVersionManager::versions().keys(), QStringList{NAME});
    QCOMPARE(AppVersionManager::localisations(), QStringList{NAME});
    QCOMPARE(AppVersionManager::version(NAME).version(), u"5.0.28"_s);
    QVERIFY(AppVersionManager::version(NAME).isValid());
}

void TstTarvexLib::version_isThatOfTheLibrary()
{
    const wexcor::AppVersion version = TarvexLib::version();
    QVERIFY(version.isValid());
    QCOMPARE(version.version(), u"5.0.28"_s);
    QCOMPARE(AppVersionManager::version(NAME).buildTime(), version.buildTime());
    const QDateTime buildTime = QDateTime::fromString(version.buildTime(), Qt::ISODate);
    QVERIFY2(buildTime.isValid(), qPrintable(version.buildTime()));
    QCOMPARE(buildTime.toString(u"yyyy-MM-ddThh:mm:ss"_s), version.buildTime());
}

void TstTarvexLib::version_isReturnedByCopy()
{
    wexcor::AppVersion copy = TarvexLib::version();
    copy = wexcor::AppVersion();
    QVERIFY(!copy.isValid());
    QVERIFY(TarvexLib::version().isValid());
}

void TstTarvexLib::furtherInstances_changeNothing()
{
    const QString buildTime = TarvexLib::version().buildTime();
    {
        const TarvexLib first;
        const TarvexLib second;
        QCOMPARE(AppVersionManager::versions().keys(), QStringList{NAME});
        QCOMPARE(AppVersionManager::localisations(), QStringList{NAME});
    }
    QCOMPARE(AppVersionManager::localisations(), QStringList{NAME});
    QCOMPARE(AppVersionManager::version(NAME).buildTime(), buildTime);
    QCOMPARE(TarvexLib::version().version(), u"5.0.28"_s);
    QCOMPARE(TarvexLib::version().buildTime(), buildTime);
}

void TstTarvexLib::furtherInstance_doesNotRegisterTheVersionAgain()
{
    const wexcor::AppVersion ours = AppVersionManager::version(NAME);
    AppVersionManager::addVersion(NAME, wexcor::AppVersion(u"0.1"_s, u"then"_s));
    const TarvexLib another;
    QCOMPARE(AppVersionManager::version(NAME).version(), u"0.1"_s);
    QCOMPARE(TarvexLib::version().version(), u"5.0.28"_s);
    AppVersionManager::addVersion(NAME, ours);
}

QTEST_GUILESS_MAIN(TstTarvexLib)
#include "tst_tarvexlib.moc"
