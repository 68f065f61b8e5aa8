#include "survivingcontrollers_p.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace wexcor {

SurvivingControllers& SurvivingControllers::instance()
{
    // Never destroyed, because static controllers may be destroyed at any time.
    static auto* const survivors = new SurvivingControllers;

    // When the library is unloaded, Qt must not call into it any more.
    static const struct Withdrawal
    {
        ~Withdrawal() { qRemovePostRoutine(endAll); }
    } withdrawal;

    return *survivors;
}

void SurvivingControllers::add(const AbstractWorkerController* controller, const std::function<void()>& end)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (find(controller) == m_survivors.end()) {
        m_survivors.push_back({controller, end});
    }
    // Qt forgets the routine when it has called it, so it is added again for the next application.
    if (!std::exchange(m_isHearing, true)) {
        qAddPostRoutine(endAll);
    }
}

void SurvivingControllers::remove(const AbstractWorkerController* controller)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto place = find(controller);
    if (place != m_survivors.end()) {
        m_survivors.erase(place);
    }
}

void SurvivingControllers::endAll()
{
    SurvivingControllers& all = instance();
    std::vector<Survivor> survivors;
    {
        const std::lock_guard<std::mutex> lock(all.m_mutex);
        all.m_isHearing = false;
        survivors = all.m_survivors;
    }
    for (const Survivor& survivor : survivors) {
        // What is carried out for one controller may destroy another one.
        if (all.has(survivor.controller)) {
            survivor.end();
        }
    }
}

bool SurvivingControllers::has(const AbstractWorkerController* controller)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return find(controller) != m_survivors.end();
}

/// Called under the lock.
std::vector<SurvivingControllers::Survivor>::iterator SurvivingControllers::find(
    const AbstractWorkerController* controller)
{
    return std::find_if(m_survivors.begin(), m_survivors.end(),
                        [controller](const Survivor& survivor) { return survivor.controller == controller; });
}

} // namespace wexcor
