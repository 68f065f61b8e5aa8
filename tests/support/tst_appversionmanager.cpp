#include "appversionmanager.h"

#include "literals.h"

#include <QTest>

#include <thread>
#include <vector>

using wexcor::AppVersion;
using wexcor::AppVersionManager;

namespace {

const QString EARLY = u"early"_s;

/// Registers before main() and asks after it, as libraries do.
struct EarlyComponent
{
    EarlyComponent()
    {
        AppVersionManager::addVersion(EARLY, AppVersion(u"0.1"_s, u"then"_s));
        AppVersionManager::addLocalisation(EARLY);
    }

    ~EarlyComponent()
    {
        if (!AppVersionManager::version(EARLY).isValid() || !AppVersionManager::localisations().contains(EARLY)) {
            std::abort();
        }
    }
};

const EarlyComponent earlyComponent;

AppVersion someVersion(const QString& version)
{
    return AppVersion(version, u"2021-05-11T13:12:06"_s);
}

} // namespace

class TstAppVersionManager : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void registry_duringStaticInitialisation_works();
    void addVersion_returnsAndKeepsIt();
    void addVersion_again_replaces();
    void addVersion_invalid_isKept();
    void version_unknownName_isInvalid();
    void versions_isACopy();
    void addLocalisation_keepsEachNameOnce();
    void registry_usedFromManyThreads_isWhole();
};

// This must stay the first test, because it compares everything that is registered.
void TstAppVersionManager::registry_duringStaticInitialisation_works()
{
    QCOMPARE(AppVersionManager::versions().keys(), QStringList{EARLY});
    QCOMPARE(AppVersionManager::version(EARLY).version(), u"0.1"_s);
    QCOMPARE(AppVersionManager::localisations(), QStringList{EARLY});
}

void TstAppVersionManager::addVersion_returnsAndKeepsIt()
{
    const AppVersion registered = AppVersionManager::addVersion(u"a"_s, someVersion(u"1"_s));
    const AppVersion asked = AppVersionManager::version(u"a"_s);
    const AppVersion listed = AppVersionManager::versions().value(u"a"_s);
    for (const AppVersion& version : {registered, asked, listed}) {
        QVERIFY(version.isValid());
        QCOMPARE(version.version(), u"1"_s);
        QCOMPARE(version.buildTime(), u"2021-05-11T13:12:06"_s);
    }
}

void TstAppVersionManager::addVersion_again_replaces()
{
    AppVersionManager::addVersion(u"b"_s, someVersion(u"1"_s));
    const int size = AppVersionManager::versions().size();
    const AppVersion registered = AppVersionManager::addVersion(u"b"_s, someVersion(u"2"_s));
    QCOMPARE(registered.version(), u"2"_s);
    QCOMPARE(AppVersionManager::version(u"b"_s).version(), u"2"_s);
    QCOMPARE(AppVersionManager::versions().size(), size);
}

void TstAppVersionManager::addVersion_invalid_isKept()
{
    QVERIFY(!AppVersionManager::addVersion(u"c"_s, AppVersion()).isValid());
    QVERIFY(AppVersionManager::versions().contains(u"c"_s));
}

void TstAppVersionManager::version_unknownName_isInvalid()
{
    QVERIFY(!AppVersionManager::version(u"nobody"_s).isValid());
    QVERIFY(!AppVersionManager::versions().contains(u"nobody"_s));
}

void TstAppVersionManager::versions_isACopy()
{
    QMap<QString, AppVersion> versions = AppVersionManager::versions();
    versions.clear();
    QVERIFY(AppVersionManager::versions().contains(EARLY));
}

void TstAppVersionManager::addLocalisation_keepsEachNameOnce()
{
    const QStringList before = AppVersionManager::localisations();
    AppVersionManager::addLocalisation(u"z"_s);
    AppVersionManager::addLocalisation(u"a"_s);
    AppVersionManager::addLocalisation(u"z"_s);
    AppVersionManager::addLocalisation(EARLY);
    QCOMPARE(AppVersionManager::localisations(), before + QStringList({u"z"_s, u"a"_s}));
}

void TstAppVersionManager::registry_usedFromManyThreads_isWhole()
{
    constexpr int THREADS = 8;
    constexpr int NAMES = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([] {
            for (int number = 0; number < NAMES; ++number) {
                const QString name = u"thread%1"_s.arg(number);
                AppVersionManager::addVersion(name, someVersion(name));
                AppVersionManager::addLocalisation(name);
                AppVersionManager::version(name);
                AppVersionManager::versions();
                AppVersionManager::localisations();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const QStringList localisations = AppVersionManager::localisations();
    for (int number = 0; number < NAMES; ++number) {
        const QString name = u"thread%1"_s.arg(number);
        QCOMPARE(AppVersionManager::version(name).version(), name);
        QCOMPARE(localisations.count(name), 1);
    }
}

QTEST_GUILESS_MAIN(TstAppVersionManager)
#include "tst_appversionmanager.moc"
