// SPDX-License-Identifier: MIT
#include "daemon/allocator.h"

#include "daemon/block_cache.h"

#include <varnel/memory.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

namespace varnel::daemon {

namespace {

// The address sanitizer must see every block come and go.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kIsWatched = true;
#elif defined(__has_feature)
constexpr bool kIsWatched = __has_feature(address_sanitizer);
#else
constexpr bool kIsWatched = false;
#endif

thread_local BlockCache cache;

void *allocate(std::size_t size) {
    return cache.take(size);
}

void *allocate_zeroed(std::size_t count, std::size_t size) {
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes) || bytes > BlockCache::kLargestBlock)
        return std::calloc(count, size); // fresh pages are zero
    void *const block = cache.take(bytes);
    return block != nullptr ? std::memset(block, 0, bytes) : nullptr;
}

void *reallocate(void *block, std::size_t size) {
    const std::size_t old_size = malloc_usable_size(block); // 0 for nullptr
    if (std::max(size, old_size) > BlockCache::kLargestBlock)
        return std::realloc(block, std::max<std::size_t>(size, 1)); // may grow in place; what is made of 0 differs
    if (block != nullptr && size <= old_size)
        return block;
    void *const larger = cache.take(size);
    if (larger == nullptr || block == nullptr)
        return larger;
    std::memcpy(larger, block, old_size);
    cache.give(block);
    return larger;
}

void release(void *block) {
    cache.give(block);
}

} // namespace

bool use_fast_allocator() {
    if (!kIsWatched)
        x_replace_allocator(allocate, reallocate, allocate_zeroed, release);
    return !kIsWatched;
}

} // namespace varnel::daemon
