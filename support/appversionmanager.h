#ifndef APPVERSIONMANAGER_H
#define APPVERSIONMANAGER_H

#include "appversion.h"
#include "wexcorcore_export.h"

#include <QMap>
#include <QString>
#include <QStringList>

namespace wexcor {

/// The process-wide registry of component versions and translation resources.
///
/// All operations are thread-safe and may be used during static initialisation, from any library.
///
/// <!-- quote: docs/snippets/reference/versions.cpp#manager -->
/// \code
/// AppVersionManager::addVersion(QStringLiteral("printer"),
///                               AppVersion(QStringLiteral("1.4.0"), QStringLiteral("2026-03-01T10:11:12")));
/// const QMap<QString, AppVersion> versions = AppVersionManager::versions(); // "printer" and "tarvexlib"
/// \endcode
class WEXCORCORE_EXPORT AppVersionManager
{
public:
    AppVersionManager() = delete;

    /// Registers \a version under \a name. It replaces an earlier one. \return the version as registered.
    static AppVersion addVersion(const QString& name, const AppVersion& version);

    /// \return the version registered under \a name, or an invalid one.
    static AppVersion version(const QString& name);

    /// \return every registered version by its component's name.
    static QMap<QString, AppVersion> versions();

    /// Registers the name of a translation resource. A name that is registered already is kept once.
    static void addLocalisation(const QString& name);

    /// \return the registered names, each once, in the order in which they came.
    static QStringList localisations();
};

} // namespace wexcor

#endif // APPVERSIONMANAGER_H
