#include "appversion.h"

#include "literals.h"

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
    const QString number = u"5.0.28"_s;
    const QString time = u"2021-05-11T13:12:06"_s;
    QTest::newRow("both") << number << time << true;
    QTest::newRow("no time") << number << QString() << false;
    QTest::newRow("no version") << QString() << time << false;
    QTest::newRow("neither") << QString() << QString() << false;
    QTest::newRow("any text will do") << u"x"_s << u"y"_s << true;
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
    const AppVersion version(u"1"_s, u"now"_s);
    const AppVersion copy(version); // NOLINT(performance-unnecessary-copy-initialization): the copy is what is tested
    AppVersion assigned;
    assigned = version;
    for (const AppVersion& other : {copy, assigned}) {
        QCOMPARE(other.version(), u"1"_s);
        QCOMPARE(other.buildTime(), u"now"_s);
    }
    QVERIFY(version.isValid());
}

void TstAppVersion::move_keepsTexts()
{
    AppVersion version(u"1"_s, u"now"_s);
    AppVersion assigned;
    assigned = std::move(version);
    const AppVersion constructed(std::move(assigned));
    QCOMPARE(constructed.version(), u"1"_s);
    QCOMPARE(constructed.buildTime(), u"now"_s);
}

QTEST_GUILESS_MAIN(TstAppVersion)
#include "tst_appversion.moc"
