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
    void version_buildTimeIsIso();
    void version_isReturnedByCopy();
    void secondInstance_changesNothing();
    void secondInstance_doesNotRegisterTheVersionAgain();
    void destructor_leavesTheRegistration();
};

// Must stay the first: whatever is registered was registered when the library was loaded.
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
    QCOMPARE(AppVersionManager::version(NAME).version(), version.version());
    QCOMPARE(AppVersionManager::version(NAME).buildTime(), version.buildTime());
}

void TstTarvexLib::version_buildTimeIsIso()
{
    const QString text = TarvexLib::version().buildTime();
    const QDateTime buildTime = QDateTime::fromString(text, Qt::ISODate);
    QVERIFY2(buildTime.isValid(), qPrintable(text));
    QCOMPARE(buildTime.toString(u"yyyy-MM-ddThh:mm:ss"_s), text);
}

void TstTarvexLib::version_isReturnedByCopy()
{
    wexcor::AppVersion copy = TarvexLib::version();
    copy = wexcor::AppVersion();
    QVERIFY(!copy.isValid());
    QVERIFY(TarvexLib::version().isValid());
}

void TstTarvexLib::secondInstance_changesNothing()
{
    const QString buildTime = TarvexLib::version().buildTime();
    const TarvexLib first;
    const TarvexLib second;
    QCOMPARE(AppVersionManager::versions().keys(), QStringList{NAME});
    QCOMPARE(AppVersionManager::localisations(), QStringList{NAME});
    QCOMPARE(TarvexLib::version().version(), u"5.0.28"_s);
    QCOMPARE(TarvexLib::version().buildTime(), buildTime);
}

void TstTarvexLib::secondInstance_doesNotRegisterTheVersionAgain()
{
    const wexcor::AppVersion ours = AppVersionManager::version(NAME);
    AppVersionManager::addVersion(NAME, wexcor::AppVersion(u"0.1"_s, u"then"_s));
    const TarvexLib another;
    QCOMPARE(AppVersionManager::version(NAME).version(), u"0.1"_s);
    QCOMPARE(TarvexLib::version().version(), u"5.0.28"_s);
    AppVersionManager::addVersion(NAME, ours);
}

void TstTarvexLib::destructor_leavesTheRegistration()
{
    delete new TarvexLib;
    QVERIFY(AppVersionManager::version(NAME).isValid());
    QVERIFY(TarvexLib::version().isValid());
    QCOMPARE(AppVersionManager::localisations(), QStringList{NAME});
}

QTEST_GUILESS_MAIN(TstTarvexLib)
#include "tst_tarvexlib.moc"
