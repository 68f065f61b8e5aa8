#ifndef THREADSANITIZER_P_H
#define THREADSANITIZER_P_H

#include <QMetaType>
#include <QMutex>
#include <QtGlobal>

#if defined(__SANITIZE_THREAD__)
#    include <sanitizer/tsan_interface.h>
#endif

/// What the thread sanitizer has to be told, or given, to see which thread's work comes before which.
///
/// It follows atomics and the standard library's mutexes and condition variables. It does not follow what Qt orders
/// inside its own library, because that is not instrumented: a contended QMutex, QSemaphore, QThread::wait(), and the
/// lock of the event queue. It would report a race wherever only one of those orders two threads. So the rules are:
///
/// - New code takes std::mutex and std::condition_variable. VisibleLocker is for a QMutex that is interface.
/// - An event that is posted to another thread has no contents. Whatever belongs to it stands under a mutex.
/// - Where only Qt orders two threads, one calls handOver() and the other takeOver().
/// - registerQueuedType() is for the types of queued signals' arguments.
///
/// All of this is empty in a build without the sanitizer: VisibleLocker only locks there.
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

/// A queued signal carries copies of its arguments, which one thread makes and another one reads. All copies share one
/// address: whatever event is delivered counts as one that comes after every copy that has been made by then.
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

/// Registers \a Type in a way that makes its queued copies visible. Called before Qt's own registration under the same
/// name, because the first registration under a name is the one that stays; other modules' later ones find it.
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
