#ifndef APPVERSION_H
#define APPVERSION_H

#include "wexcorcore_export.h"

#include <QString>

namespace wexcor {

/// The version of one component: a text, and the time at which the component was built.
class WEXCORCORE_EXPORT AppVersion
{
public:
    /// An invalid version.
    AppVersion() = default;
    AppVersion(const QString& version, const QString& buildTime);

    /// True when neither text is empty.
    bool isValid() const;

    QString version() const;
    /// ISO form, for example "2021-05-11T13:12:06".
    QString buildTime() const;

private:
    QString m_version;
    QString m_buildTime;
};

} // namespace wexcor

#endif // APPVERSION_H
