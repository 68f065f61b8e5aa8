#include "appversion.h"

#include <type_traits>

namespace wexcor {

static_assert(std::is_nothrow_move_constructible_v<AppVersion> && std::is_nothrow_move_assignable_v<AppVersion>,
              "versions are moved during static initialisation, where nothing could catch");

AppVersion::AppVersion(const QString& version, const QString& buildTime)
    : m_version(version), m_buildTime(buildTime) { }

bool AppVersion::isValid() const
{
    return !m_version.isEmpty() && !m_buildTime.isEmpty();
}

QString AppVersion::version() const
{
    return m_version;
}

QString AppVersion::buildTime() const
{
    return m_buildTime;
}

} // namespace wexcor
