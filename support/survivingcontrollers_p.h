#ifndef SURVIVINGCONTROLLERS_P_H
#define SURVIVINGCONTROLLERS_P_H

#include <QtGlobal>

#include <functional>
#include <mutex>
#include <vector>

namespace wexcor {

class AbstractWorkerController;

/// The living controllers that have had workers. When the application's object is destroyed, this ends those that still
/// exist: static ones, the application's children, those that were declared before the application. They could not be
/// ended in order later, because without an application Qt delivers no queued call.
class SurvivingControllers
{
public:
    static SurvivingControllers& instance();

    /// \a end is called when the application's object is destroyed. It may destroy controllers.
    void add(const AbstractWorkerController* controller, const std::function<void()>& end);
    void remove(const AbstractWorkerController* controller);

private:
    SurvivingControllers() = default;
    ~SurvivingControllers() = default;
    Q_DISABLE_COPY_MOVE(SurvivingControllers)

    struct Survivor
    {
        const AbstractWorkerController* controller;
        std::function<void()> end;
    };

    static void endAll();
    bool has(const AbstractWorkerController* controller);
    std::vector<Survivor>::iterator find(const AbstractWorkerController* controller);

    std::mutex m_mutex;
    std::vector<Survivor> m_survivors;
    bool m_isHearing = false;
};

} // namespace wexcor

#endif // SURVIVINGCONTROLLERS_P_H
