// SPDX-License-Identifier: MIT
#include "daemon/allocator.h"

#include <varnel/memory.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

namespace varnel::daemon {

namespace {

// Above this, fresh zero pages and blocks that grow in place are worth more than the cache.
constexpr std::size_t kLargestCached = 1024;

void *allocate_zeroed(std::size_t count, std::size_t size) {
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes) || bytes > kLargestCached)
        return std::calloc(count, size);
    void *const block = std::malloc(bytes);
    return block != nullptr ? std::memset(block, 0, bytes) : nullptr;
}

void *reallocate(void *block, std::size_t size) {
    if (size == 0)
        size = 1;                                           // what a C library makes of 0 differs
    const std::size_t old_size = malloc_usable_size(block); // 0 for nullptr
    if (block == nullptr || size > kLargestCached || old_size > kLargestCached)
        return std::realloc(block, size);
    if (size <= old_size)
        return block;
    void *const larger = std::malloc(size);
    if (larger == nullptr)
        return nullptr;
    std::memcpy(larger, block, old_size);
    std::free(block);
    return larger;
}

} // namespace

void use_fast_allocator() {
    x_replace_allocator(std::malloc, reallocate, allocate_zeroed, std::free);
}

} // namespace varnel::daemon
