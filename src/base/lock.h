// SPDX-License-Identifier: MIT
// Scope guards for the POSIX locks. Locking an initialised lock of our own cannot fail, so results are not looked at.
#pragma once

#include <pthread.h>

namespace varnel {

template <class Lock, int (*acquire)(Lock *), int (*release)(Lock *)> class ScopedLock {
public:
    explicit ScopedLock(Lock &lock) : lock_(lock) { acquire(&lock_); }
    ScopedLock(const ScopedLock &) = delete;
    ScopedLock &operator=(const ScopedLock &) = delete;
    ~ScopedLock() { release(&lock_); }

private:
    Lock &lock_;
};

using ReadLock = ScopedLock<pthread_rwlock_t, pthread_rwlock_rdlock, pthread_rwlock_unlock>;
using WriteLock = ScopedLock<pthread_rwlock_t, pthread_rwlock_wrlock, pthread_rwlock_unlock>;
using MutexLock = ScopedLock<pthread_mutex_t, pthread_mutex_lock, pthread_mutex_unlock>;

} // namespace varnel
