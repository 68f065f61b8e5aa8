#ifndef APPVERSION_H
#define APPVERSION_H

#include "wexcorcore_export.h"

#include <QString>

namespace wexcor {

/// The version of one component: a text, and the time at which the component was built.
///
/// A plain value; it may be copied to any thread.
///
/// <!-- quote: docs/snippets/reference/versions.cpp#version -->
/// \code
/// const AppVersion printer = AppVersionManager::version(QStringLiteral("printer"));
/// if (printer.isValid()) {
///     out << "printer " << printer.version() << " of " << printer.buildTime() << '\n';
/// }
/// \endcode
class WEXCORCORE_EXPORT AppVersion
{
public:
    /// An invalid version.
    AppVersion() = default;
    /// Both are kept as given. The library itself gives \a buildTime in ISO form.
    AppVersion(const QString& version, const QString& buildTime);

    /// True when neither text is empty.
    bool isValid() const;

    QString version() const; ///< For example "5.0.28".
    /// When the component was built, in ISO form, for example "2021-05-11T13:12:06".
    QString buildTime() const;

private:
    QString m_version;
    QString m_buildTime;
};

} // namespace wexcor

#endif // APPVERSION_H
