#include "appversion.h"

#include <QTest>

#include <type_traits>

using wexcor::AppVersion;

static_assert(std::is_nothrow_move_constructible_v<AppVersion>);
static_assert(std::is_nothrow_move_assignable_v<AppVersion>);
static_assert(std::is_copy_constructible_v<AppVersion> && std::is_default_constructible_v<AppVersion>);

class TstAppVersion : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void construct_withoutArguments_isInvalid();
    void isValid_needsBothTexts_data();
    void isValid_needsBothTexts();
    void copy_keepsTexts();
    void move_keepsTexts();
};

void TstAppVersion::construct_withoutArguments_isInvalid()
{
    const AppVersion version;
    QVERIFY(!version.isValid());
    QVERIFY(version.version().isEmpty());
    QVERIFY(version.buildTime().isEmpty());
}

void TstAppVersion::isValid_needsBothTexts_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("buildTime");
    QTest::addColumn<bool>("valid");
    const QString number = QStringLiteral("5.0.28");
    const QString time = QStringLiteral("2021-05-11T13:12:06");
    QTest::newRow("both") << number << time << true;
    QTest::newRow("no time") << number << QString() << false;
    QTest::newRow("no version") << QString() << time << false;
    QTest::newRow("neither") << QString() << QString() << false;
    QTest::newRow("any text will do") << QStringLiteral("x") << QStringLiteral("y") << true;
}

void TstAppVersion::isValid_needsBothTexts()
{
    QFETCH(QString, version);
    QFETCH(QString, buildTime);
    QFETCH(bool, valid);
    const AppVersion appVersion(version, buildTime);
    QCOMPARE(appVersion.isValid(), valid);
    QCOMPARE(appVersion.version(), version);
    QCOMPARE(appVersion.buildTime(), buildTime);
}

void TstAppVersion::copy_keepsTexts()
{
    const AppVersion version(QStringLiteral("1"), QStringLiteral("now"));
    const AppVersion copy(version); // NOLINT(performance-unnecessary-copy-initialization): the copy is what is tested
    AppVersion assigned;
    assigned = version;
    for (const AppVersion& other : {copy, assigned}) {
        QCOMPARE(other.version(), QStringLiteral("1"));
        QCOMPARE(other.buildTime(), QStringLiteral("now"));
    }
    QVERIFY(version.isValid());
}

void TstAppVersion::move_keepsTexts()
{
    AppVersion version(QStringLiteral("1"), QStringLiteral("now"));
    AppVersion assigned;
    assigned = std::move(version);
    const AppVersion constructed(std::move(assigned));
    QCOMPARE(constructed.version(), QStringLiteral("1"));
    QCOMPARE(constructed.buildTime(), QStringLiteral("now"));
}

QTEST_GUILESS_MAIN(TstAppVersion)
#include "tst_appversion.moc"
