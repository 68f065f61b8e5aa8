#ifndef TRANSLATIONS_H
#define TRANSLATIONS_H

#include "appversionmanager.h"
#include "wexcorcore_export.h"

#include <QStringList>

namespace wexcor {

/// Translates the texts of libraries and programs into the user's language.
///
/// <!-- quote: docs/snippets/reference/translations.cpp#install -->
/// \code
/// QCoreApplication application(argc, argv);
/// const QStringList translated = wexcor::Translations::install(); // of each library that has registered its texts
/// \endcode
///
/// A catalogue is the resource ":/translations/NAME_LANGUAGE.qm". NAME is what the library has given to
/// AppVersionManager::addLocalisation(). A service adds its own with a call of that function before install().
///
/// A service that does not call install() writes and answers in English, whatever the user's language is. With it the
/// texts that its workers send to others, such as the reason of a commandError, are in its user's language, too. Error
/// codes and command names stay as they are.
///
/// Call these functions in the main thread, after the QCoreApplication is made and before any other thread is started,
/// because Qt translates in all threads.
class WEXCORCORE_EXPORT Translations
{
public:
    Translations() = delete;

    /// Installs the catalogues of the \a names, for each the first of languages() that it has. One that was installed
    /// under the same name before is replaced. A catalogue that cannot be read is left out. They belong to the
    /// QCoreApplication and end with it; without one nothing is installed.
    /// \return the names for which a catalogue was installed
    static QStringList install(const QStringList& names = AppVersionManager::localisations());

    /// Removes what install() has installed for the \a names. Their texts are English again.
    static void remove(const QStringList& names = AppVersionManager::localisations());

    /// \return the languages that the user wants, the best first, each as "de_AT" and then "de". They come from LC_ALL,
    /// LC_MESSAGES or LANG, the first one that is set, and from LANGUAGE, a list that goes first. There are none if the
    /// texts are to be left in English, as in the locale "C". What the system has installed for a locale does not
    /// matter.
    static QStringList languages();
};

} // namespace wexcor

#endif // TRANSLATIONS_H
