#pragma once

#include <QMutexLocker>

/**
 * \file
 * Makes ThreadSanitizer see what Qt guarantees. The distribution's Qt is not instrumented, so a build with
 * that sanitizer does not see its locks, the start and end of its threads or its event queues, and takes what
 * they guard for a race. In all other builds nothing of this is left.
 */

#ifdef VARNHOLD_TSAN
extern "C" void __tsan_acquire(void *address);
extern "C" void __tsan_release(void *address);
#endif

namespace RaceCheck {

/** Says that everything this thread has done so far comes before the next acquire() of the same \a address.
 */
inline void release(const void *address)
{
#ifdef VARNHOLD_TSAN
    __tsan_release(const_cast<void *>(address));
#else
    Q_UNUSED(address)
#endif
}

inline void acquire(const void *address)
{
#ifdef VARNHOLD_TSAN
    __tsan_acquire(const_cast<void *>(address));
#else
    Q_UNUSED(address)
#endif
}

#ifdef VARNHOLD_TSAN
class Locker
{
public:
    explicit Locker(QMutex *mutex) : mutex(mutex), locker(mutex) { acquire(mutex); }
    ~Locker() { release(mutex); }
    Locker(const Locker &) = delete;
    Locker &operator=(const Locker &) = delete;

private:
    QMutex *mutex;
    QMutexLocker locker;
};
#else
using Locker = QMutexLocker;
#endif

} // namespace RaceCheck
