#include "translations.h"

#include <QCoreApplication>
#include <QTest>
#include <QTranslator>

using wexcor::AppVersionManager;
using wexcor::Translations;

namespace {

/// The catalogues greeting_de.ts, greeting_de_AT.ts and greeting_ru.ts are beside this file.
const QString NAME = QStringLiteral("greeting");

QString greeting()
{
    return QCoreApplication::translate("greeting", "Good day");
}

/// What install() has returned in main(), before there was an application.
QStringList installedTooEarly;

void setLocale(const QByteArray& all, const QByteArray& messages = {}, const QByteArray& lang = {},
               const QByteArray& language = {})
{
    qputenv("LC_ALL", all);
    qputenv("LC_MESSAGES", messages);
    qputenv("LANG", lang);
    qputenv("LANGUAGE", language);
}

} // namespace

class TstTranslations : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void languages_areThoseOfTheEnvironment_data();
    void languages_areThoseOfTheEnvironment();
    void install_takesTheFirstLanguageThereIs_data();
    void install_takesTheFirstLanguageThereIs();
    void install_withoutNames_takesTheRegisteredOnes();
    void install_again_replaces();
    void install_ofAnUnknownName_installsNothing();
    void install_ofANameTwice_installsOnce();
    void install_withoutAnApplication_installsNothing();
    void remove_makesTextsEnglishAgain();
};

void TstTranslations::cleanup()
{
    Translations::remove({NAME});
    QCOMPARE(greeting(), QStringLiteral("Good day"));
}

void TstTranslations::languages_areThoseOfTheEnvironment_data()
{
    QTest::addColumn<QList<QByteArray>>("variables");
    QTest::addColumn<QStringList>("languages");
    const auto row = [](const char* name, const QList<QByteArray>& variables, const QStringList& languages) {
        QTest::newRow(name) << variables << languages;
    };
    const QStringList german{QStringLiteral("de_DE"), QStringLiteral("de")};
    const QStringList russian{QStringLiteral("ru")};
    row("nothing is set", {"", "", "", ""}, {});
    row("C", {"C", "", "de_DE", "de"}, {});
    row("C with an encoding", {"C.UTF-8", "", "", "de"}, {});
    row("POSIX", {"POSIX", "", "", "de"}, {});
    row("English", {"en_GB.UTF-8", "", "de_DE", ""}, {});
    row("LC_ALL", {"de_DE.UTF-8", "ru", "ru", ""}, german);
    row("LC_MESSAGES", {"", "de_DE@euro", "ru", ""}, german);
    row("LANG", {"", "", "de_DE", ""}, german);
    row("a language alone", {"ru", "", "", ""}, russian);
    row("LANGUAGE goes first", {"de_DE.UTF-8", "", "", "ru"}, russian);
    row("a list", {"de_DE.UTF-8", "", "", "ru::de_DE"}, russian + german);
    row("a list that goes on behind English", {"de_DE.UTF-8", "", "", "ru:en_GB:de_DE"}, russian);
    row("a list that begins with English", {"de_DE.UTF-8", "", "", "en:de_DE"}, {});
}

void TstTranslations::languages_areThoseOfTheEnvironment()
{
    QFETCH(const QList<QByteArray>, variables);
    QFETCH(const QStringList, languages);
    setLocale(variables.at(0), variables.at(1), variables.at(2), variables.at(3));
    QCOMPARE(Translations::languages(), languages);
}

void TstTranslations::install_takesTheFirstLanguageThereIs_data()
{
    QTest::addColumn<QByteArray>("locale");
    QTest::addColumn<QByteArray>("language");
    QTest::addColumn<QString>("text");
    QTest::newRow("the country's") << QByteArray("de_AT.UTF-8") << QByteArray() << QStringLiteral("Grüß Gott");
    QTest::newRow("the language's") << QByteArray("de_CH.UTF-8") << QByteArray() << QStringLiteral("Guten Tag");
    QTest::newRow("the second") << QByteArray("de_DE.UTF-8") << QByteArray("fr:ru:de") << QStringLiteral("Добрый день");
    QTest::newRow("none") << QByteArray("fr_FR.UTF-8") << QByteArray() << QStringLiteral("Good day");
    QTest::newRow("English before another") << QByteArray("de_DE") << QByteArray("en:de") << QStringLiteral("Good day");
}

void TstTranslations::install_takesTheFirstLanguageThereIs()
{
    QFETCH(const QByteArray, locale);
    QFETCH(const QByteArray, language);
    QFETCH(const QString, text);
    setLocale(locale, {}, {}, language);
    const bool isTranslated = text != QStringLiteral("Good day");
    QCOMPARE(Translations::install({NAME}), isTranslated ? QStringList(NAME) : QStringList());
    QCOMPARE(greeting(), text);
}

void TstTranslations::install_withoutNames_takesTheRegisteredOnes()
{
    setLocale("de_DE.UTF-8");
    QCOMPARE(Translations::install(), QStringList());
    AppVersionManager::addLocalisation(NAME);
    QCOMPARE(Translations::install(), QStringList(NAME));
    QCOMPARE(greeting(), QStringLiteral("Guten Tag"));
}

void TstTranslations::install_again_replaces()
{
    setLocale("de_DE.UTF-8");
    Translations::install({NAME});
    setLocale("ru_RU.UTF-8");
    Translations::install({NAME});
    QCOMPARE(greeting(), QStringLiteral("Добрый день"));
    QCOMPARE(QCoreApplication::instance()->findChildren<QTranslator*>().size(), 1);
}

void TstTranslations::install_ofAnUnknownName_installsNothing()
{
    setLocale("de_DE.UTF-8");
    QCOMPARE(Translations::install({QStringLiteral("nobody")}), QStringList());
    QVERIFY(QCoreApplication::instance()->findChildren<QTranslator*>().isEmpty());
}

void TstTranslations::install_ofANameTwice_installsOnce()
{
    setLocale("de_DE.UTF-8");
    QCOMPARE(Translations::install({NAME, NAME}), QStringList(NAME));
    QCOMPARE(QCoreApplication::instance()->findChildren<QTranslator*>().size(), 1);
}

void TstTranslations::install_withoutAnApplication_installsNothing()
{
    QCOMPARE(installedTooEarly, QStringList());
}

void TstTranslations::remove_makesTextsEnglishAgain()
{
    setLocale("de_DE.UTF-8");
    Translations::install({NAME});
    Translations::remove({NAME});
    QCOMPARE(greeting(), QStringLiteral("Good day"));
    Translations::remove({NAME}); // there is nothing any more
}

// Installs and removes before there is an application, and after it has gone.
int main(int argc, char** argv)
{
    setLocale("de_DE.UTF-8");
    installedTooEarly = Translations::install({NAME});
    Translations::remove({NAME});
    int result = 0;
    {
        QCoreApplication application(argc, argv);
        TstTranslations test;
        result = QTest::qExec(&test, argc, argv);
        setLocale("de_DE.UTF-8");
        Translations::install({NAME});
    }
    Translations::remove({NAME});
    return Translations::install({NAME}).isEmpty() ? result : 1;
}

#include "tst_translations.moc"
