#include "translations.h"

#include <QCoreApplication>
#include <QFile>
#include <QTranslator>
#include <QVariant>

#include <memory>

namespace wexcor {

namespace {

/// The object's name tells the translators of this class from those of others.
QString objectNameOf(const QString& name)
{
    return QStringLiteral("wexcor::Translations/") + name;
}

/// "de_AT" for "de_AT.UTF-8@euro".
QString withoutEncoding(const QString& locale)
{
    return locale.section(QLatin1Char('.'), 0, 0).section(QLatin1Char('@'), 0, 0);
}

QString languageOf(const QString& locale)
{
    return locale.section(QLatin1Char('_'), 0, 0);
}

/// The texts are English in the sources.
bool isEnglish(const QString& locale)
{
    return locale.isEmpty() || locale == QLatin1String("C") || locale == QLatin1String("POSIX")
        || languageOf(locale) == QLatin1String("en");
}

/// The locale for messages.
QString localeName()
{
    for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QString value = qEnvironmentVariable(variable);
        if (!value.isEmpty()) {
            return withoutEncoding(value);
        }
    }
    return QString();
}

std::unique_ptr<QTranslator> translatorFrom(const QString& path)
{
    QFile file(path);
    if (!file.open(QFile::ReadOnly)) {
        return nullptr;
    }
    auto translator = std::make_unique<QTranslator>();
    // The bytes live as long as the translator. Those of the resource would be gone with the library that holds it, if
    // a plug-in is unloaded.
    const QByteArray bytes(file.readAll());
    translator->setProperty("bytes", QVariant::fromValue(bytes));
    const bool isLoaded = translator->load(reinterpret_cast<const uchar*>(bytes.constData()), bytes.size());
    return isLoaded ? std::move(translator) : nullptr;
}

std::unique_ptr<QTranslator> translatorOf(const QString& name)
{
    const QStringList languages = Translations::languages();
    for (const QString& language : languages) {
        std::unique_ptr<QTranslator> translator =
            translatorFrom(QStringLiteral(":/translations/%1_%2.qm").arg(name, language));
        if (translator) {
            return translator;
        }
    }
    return nullptr;
}

} // namespace

QStringList Translations::install(const QStringList& names)
{
    QStringList installed;
    if (!QCoreApplication::instance()) {
        return installed;
    }
    for (const QString& name : names) {
        remove({name});
        std::unique_ptr<QTranslator> translator = translatorOf(name);
        if (translator && QCoreApplication::installTranslator(translator.get())) {
            translator->setObjectName(objectNameOf(name));
            translator.release()->setParent(QCoreApplication::instance());
            installed.append(name);
        }
    }
    installed.removeDuplicates();
    return installed;
}

void Translations::remove(const QStringList& names)
{
    QCoreApplication* const application = QCoreApplication::instance();
    if (!application) {
        return; // it has taken its translators with it
    }
    for (const QString& name : names) {
        // Its destructor takes it out of the application.
        delete application->findChild<QTranslator*>(objectNameOf(name), Qt::FindDirectChildrenOnly);
    }
}

QStringList Translations::languages()
{
    const QString locale = localeName();
    if (locale == QLatin1String("C") || locale == QLatin1String("POSIX") || locale.isEmpty()) {
        return {}; // LANGUAGE does not count then
    }
    const QStringList list = qEnvironmentVariable("LANGUAGE").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    QStringList languages;
    for (const QString& entry : list.isEmpty() ? QStringList(locale) : list) {
        const QString wanted = withoutEncoding(entry);
        if (isEnglish(wanted)) {
            break; // what comes behind English is never needed
        }
        languages.append(wanted);
        languages.append(languageOf(wanted));
    }
    languages.removeDuplicates();
    return languages;
}

} // namespace wexcor
