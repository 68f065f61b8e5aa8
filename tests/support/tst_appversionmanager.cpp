#include "appversionmanager.h"

#include <QTest>

#include <thread>
#include <vector>

using wexcor::AppVersion;
using wexcor::AppVersionManager;

namespace {

const QString EARLY = QStringLiteral("early");

/// Registers before main() and asks after it, as libraries do.
struct EarlyComponent
{
    EarlyComponent()
    {
        AppVersionManager::addVersion(EARLY, AppVersion(QStringLiteral("0.1"), QStringLiteral("then")));
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
    return AppVersion(version, QStringLiteral("2021-05-11T13:12:06"));
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

// Must stay the first: it compares everything that is registered.
void TstAppVersionManager::registry_duringStaticInitialisation_works()
{
    QCOMPARE(AppVersionManager::versions().keys(), QStringList{EARLY});
    QCOMPARE(AppVersionManager::version(EARLY).version(), QStringLiteral("0.1"));
    QCOMPARE(AppVersionManager::localisations(), QStringList{EARLY});
}

void TstAppVersionManager::addVersion_returnsAndKeepsIt()
{
    const AppVersion registered = AppVersionManager::addVersion(QStringLiteral("a"), someVersion(QStringLiteral("1")));
    const AppVersion asked = AppVersionManager::version(QStringLiteral("a"));
    const AppVersion listed = AppVersionManager::versions().value(QStringLiteral("a"));
    for (const AppVersion& version : {registered, asked, listed}) {
        QVERIFY(version.isValid());
        QCOMPARE(version.version(), QStringLiteral("1"));
        QCOMPARE(version.buildTime(), QStringLiteral("2021-05-11T13:12:06"));
    }
}

void TstAppVersionManager::addVersion_again_replaces()
{
    AppVersionManager::addVersion(QStringLiteral("b"), someVersion(QStringLiteral("1")));
    const int size = AppVersionManager::versions().size();
    const AppVersion registered = AppVersionManager::addVersion(QStringLiteral("b"), someVersion(QStringLiteral("2")));
    QCOMPARE(registered.version(), QStringLiteral("2"));
    QCOMPARE(AppVersionManager::version(QStringLiteral("b")).version(), QStringLiteral("2"));
    QCOMPARE(AppVersionManager::versions().size(), size);
}

void TstAppVersionManager::addVersion_invalid_isKept()
{
    QVERIFY(!AppVersionManager::addVersion(QStringLiteral("c"), AppVersion()).isValid());
    QVERIFY(AppVersionManager::versions().contains(QStringLiteral("c")));
}

void TstAppVersionManager::version_unknownName_isInvalid()
{
    QVERIFY(!AppVersionManager::version(QStringLiteral("nobody")).isValid());
    QVERIFY(!AppVersionManager::versions().contains(QStringLiteral("nobody")));
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
    AppVersionManager::addLocalisation(QStringLiteral("z"));
    AppVersionManager::addLocalisation(QStringLiteral("a"));
    AppVersionManager::addLocalisation(QStringLiteral("z"));
    AppVersionManager::addLocalisation(EARLY);
    QCOMPARE(AppVersionManager::localisations(), before + QStringList({QStringLiteral("z"), QStringLiteral("a")}));
}

void TstAppVersionManager::registry_usedFromManyThreads_isWhole()
{
    constexpr int THREADS = 8;
    constexpr int NAMES = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([] {
            for (int number = 0; number < NAMES; ++number) {
                const QString name = QStringLiteral("thread%1").arg(number);
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
        const QString name = QStringLiteral("thread%1").arg(number);
        QCOMPARE(AppVersionManager::version(name).version(), name);
        QCOMPARE(localisations.count(name), 1);
    }
}

QTEST_GUILESS_MAIN(TstAppVersionManager)
#include "tst_appversionmanager.moc"
