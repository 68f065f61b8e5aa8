#ifndef VISIBLELOCKER_P_H
#define VISIBLELOCKER_P_H

#include <QMutex>

#if defined(__SANITIZE_THREAD__)
#    include <sanitizer/tsan_interface.h>
#endif

namespace wexcor {

/// Locks a QMutex for a scope, and tells the thread sanitizer so. Qt takes a contended lock inside its own library,
/// which is not instrumented: the sanitizer would take every such hand-over for a race.
class VisibleLocker
{
public:
    explicit VisibleLocker(QMutex& mutex) : m_mutex(mutex)
    {
        m_mutex.lock();
#if defined(__SANITIZE_THREAD__)
        __tsan_acquire(&m_mutex);
#endif
    }

    ~VisibleLocker()
    {
#if defined(__SANITIZE_THREAD__)
        __tsan_release(&m_mutex);
#endif
        m_mutex.unlock();
    }
    Q_DISABLE_COPY_MOVE(VisibleLocker)

private:
    QMutex& m_mutex;
};

} // namespace wexcor

#endif // VISIBLELOCKER_P_H
