#include "appversionmanager.h"

#include <mutex>

namespace wexcor {

namespace {

struct Registry
{
    std::mutex mutex;
    QMap<QString, AppVersion> versions;
    QStringList localisations;
};

// Made by the first call, so that other libraries' static initialisers may register. Never destroyed, because their
// destructors may still ask.
Registry& registry()
{
    static Registry* const instance = new Registry;
    return *instance;
}

} // namespace

AppVersion AppVersionManager::addVersion(const QString& name, const AppVersion& version)
{
    const std::lock_guard<std::mutex> lock(registry().mutex);
    registry().versions.insert(name, version);
    return version;
}

AppVersion AppVersionManager::version(const QString& name)
{
    const std::lock_guard<std::mutex> lock(registry().mutex);
    return registry().versions.value(name);
}

QMap<QString, AppVersion> AppVersionManager::versions()
{
    const std::lock_guard<std::mutex> lock(registry().mutex);
    return registry().versions;
}

void AppVersionManager::addLocalisation(const QString& name)
{
    const std::lock_guard<std::mutex> lock(registry().mutex);
    if (!registry().localisations.contains(name)) {
        registry().localisations.append(name);
    }
}

QStringList AppVersionManager::localisations()
{
    const std::lock_guard<std::mutex> lock(registry().mutex);
    return registry().localisations;
}

} // namespace wexcor
