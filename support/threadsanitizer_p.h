#ifndef THREADSANITIZER_P_H
#define THREADSANITIZER_P_H

#include <QMetaType>
#include <QMutex>
#include <QtGlobal>

#if defined(__SANITIZE_THREAD__)
#    include <sanitizer/tsan_interface.h>
#endif

/// What the thread sanitizer needs to see the order of two threads' work.
///
/// The sanitizer sees atomics and the standard library's mutexes and condition variables. It does not see what Qt
/// orders inside its own library, because that library is not instrumented: a contended QMutex, QSemaphore,
/// QThread::wait(), and the lock of the event queue. Where one of those alone orders two threads, the sanitizer would
/// report a race. So these are the rules:
///
/// - New code uses std::mutex and std::condition_variable. VisibleLocker is for a QMutex that is interface.
/// - An event that is posted to another thread has no contents. Its data are kept elsewhere, under a mutex.
/// - Where only Qt orders two threads, one thread calls handOver() and the other takeOver().
/// - The types of queued signals' arguments are registered by registerQueuedType().
///
/// In a build without the sanitizer all of this is empty, and VisibleLocker only locks.
namespace wexcor {

namespace threadsanitizer {

/// What this thread has done so far comes before what another thread does after takeOver() of the same address.
inline void handOver(const void* address)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_release(const_cast<void*>(address)); // NOLINT(cppcoreguidelines-pro-type-const-cast): only its value counts
#else
    Q_UNUSED(address)
#endif
}

/// What other threads have done before handOver() of the same address comes before what this thread does next.
inline void takeOver(const void* address)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(const_cast<void*>(address)); // NOLINT(cppcoreguidelines-pro-type-const-cast): only its value counts
#else
    Q_UNUSED(address)
#endif
}

#if defined(__SANITIZE_THREAD__)

/// A queued signal carries copies of its arguments: one thread makes them and another one reads them. All copies share
/// this address, so that every delivered event counts as later than every copy that has been made by then.
inline char queuedCopies;

template <typename Type>
void* constructVisibly(void* where, const void* original)
{
    void* const copy = QtMetaTypePrivate::QMetaTypeFunctionHelper<Type>::Construct(where, original);
    handOver(&queuedCopies);
    return copy;
}

template <typename Type>
void destructVisibly(void* copy)
{
    takeOver(&queuedCopies);
    QtMetaTypePrivate::QMetaTypeFunctionHelper<Type>::Destruct(copy);
}

inline bool takeOverCopies(void** event)
{
    Q_UNUSED(event)
    takeOver(&queuedCopies);
    return false; // The event is still to be delivered.
}

inline void watchEvents()
{
    static const bool isWatched = QInternal::registerCallback(QInternal::EventNotifyCallback, takeOverCopies);
    Q_UNUSED(isWatched)
}

#endif

/// Registers \a Type so that its queued copies are visible. It is called before Qt's own registration under the same
/// name, because the first registration under a name stays. Later ones, also those of other modules, find it.
template <typename Type>
void registerQueuedType(const char* fullName)
{
#if defined(__SANITIZE_THREAD__)
    watchEvents();
    QMetaType::registerNormalizedType(
        fullName, destructVisibly<Type>, constructVisibly<Type>, sizeof(Type),
        QMetaType::TypeFlags(QtPrivate::QMetaTypeTypeFlags<Type>::Flags) | QMetaType::WasDeclaredAsMetaType, nullptr);
#else
    Q_UNUSED(fullName)
#endif
}

} // namespace threadsanitizer

/// Locks a QMutex for a scope.
class VisibleLocker
{
public:
    explicit VisibleLocker(QMutex& mutex) : m_mutex(mutex)
    {
        m_mutex.lock();
        threadsanitizer::takeOver(&m_mutex);
    }

    ~VisibleLocker()
    {
        threadsanitizer::handOver(&m_mutex);
        m_mutex.unlock();
    }
    Q_DISABLE_COPY_MOVE(VisibleLocker)

private:
    QMutex& m_mutex;
};

} // namespace wexcor

#endif // THREADSANITIZER_P_H
