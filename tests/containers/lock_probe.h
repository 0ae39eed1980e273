// SPDX-License-Identifier: MIT
// Whether an operation waits for a lock that somebody else holds.
#pragma once

#include <pthread.h>

#include <chrono>
#include <functional>
#include <future>

// Runs operation in a thread of its own while this thread holds the lock; true when it ended before the lock was given
// back. One that must end has ten seconds for it, one that must wait is watched for a while only.
inline bool ends_beside(pthread_rwlock_t *lock, int (*acquire)(pthread_rwlock_t *), bool expected,
                        const std::function<void()> &operation) {
    using std::chrono::milliseconds;
    acquire(lock);
    auto running = std::async(std::launch::async, operation);
    const auto status = running.wait_for(expected ? milliseconds(10000) : milliseconds(25));
    pthread_rwlock_unlock(lock);
    running.wait();
    return status == std::future_status::ready;
}
