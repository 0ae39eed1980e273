// SPDX-License-Identifier: MIT
#include "base/block.h"

#include <errno.h>
#include <unistd.h>

namespace {

struct AllocatorTable {
    x_allocate_t allocate;
    x_reallocate_t reallocate;
    x_allocate_zeroed_t allocate_zeroed;
    x_release_t release;
};

AllocatorTable x_allocator_table = {malloc, realloc, calloc, free};

constexpr size_t kGreedyMinimum = 512;

// Of the thread; 0: not asked yet. On glibc the static model saves the call of a run-time function that only the
// dynamic loader has; other C libraries refuse such variables in libraries opened at run time.
#if defined(__GLIBC__) && !defined(__UCLIBC__) // uClibc defines both
__attribute__((tls_model("initial-exec")))
#endif
thread_local size_t cached_page_size;

} // namespace

void *xmalloc(size_t size) {
    return x_allocator_table.allocate(size);
}

void *xmalloc0(size_t size) {
    void *const block = x_allocator_table.allocate(size);
    if (block == nullptr)
        abort();
    return memset(block, 0, size);
}

void *xcalloc(size_t count, size_t size) {
    return x_allocator_table.allocate_zeroed(count, size);
}

void *xrealloc(void *block, size_t size) {
    return x_allocator_table.reallocate(block, size);
}

void _xfree(void *block) {
    if (block == nullptr)
        return;
    const int saved_errno = errno;
    x_allocator_table.release(block);
    errno = saved_errno;
}

int x_replace_allocator(x_allocate_t allocate, x_reallocate_t reallocate, x_allocate_zeroed_t allocate_zeroed,
                        x_release_t release) {
    if (allocate == nullptr || reallocate == nullptr || allocate_zeroed == nullptr || release == nullptr)
        return -EINVAL;
    x_allocator_table = {allocate, reallocate, allocate_zeroed, release};
    return 0;
}

void *greedy_realloc(void **block, size_t *allocated, size_t need) {
    if (*allocated >= need)
        return *block;
    size_t capacity = need * 2;
    if (capacity < kGreedyMinimum)
        capacity = kGreedyMinimum;
    void *const grown = xrealloc(*block, capacity);
    if (grown == nullptr)
        return nullptr;
    *block = grown;
    *allocated = capacity;
    return grown;
}

void *x_mem_double(void *block, size_t size) {
    void *const doubled = xmalloc0(varnel::sum_or_abort(size, size));
    if (block != nullptr)
        memcpy(doubled, block, size);
    _xfree(block);
    return doubled;
}

size_t page_size() {
    if (cached_page_size == 0)
        cached_page_size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    return cached_page_size;
}
