// SPDX-License-Identifier: MIT
#include "support/counting_allocator.h"

#include <varnel/memory.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unordered_map>

namespace {

struct State {
    size_t allocate_calls = 0;
    size_t reallocate_calls = 0;
    size_t zeroed_calls = 0;
    size_t release_calls = 0;
    size_t refused = 0;
    size_t fail_countdown = 0; // allocations until the first refused one; 0: none
    bool fail_on = false;      // refuse all after it too
    bool null_for_empty = false;
    void *last_block = nullptr;
    std::vector<size_t> sizes;
    std::unordered_map<const void *, size_t> live;
};

std::mutex g_mutex;
State g_state;

constexpr int kFresh = 0xA5;
constexpr int kReleased = 0xDD;
constexpr size_t kLargestFill = size_t{1} << 20; // beyond, filling would cost more than it finds

void fill(void *block, size_t size, int byte) {
    if (size <= kLargestFill)
        memset(block, byte, size);
}

// Counts one allocation; true when it is to be refused. With the mutex held, as all of these.
bool refuses(size_t size) {
    g_state.sizes.push_back(size);
    bool refused = size == 0 && g_state.null_for_empty;
    if (g_state.fail_countdown > 0) {
        if (g_state.fail_countdown > 1) {
            --g_state.fail_countdown;
        } else {
            refused = true;
            g_state.fail_countdown = g_state.fail_on ? 1 : 0;
        }
    }
    g_state.refused += refused ? 1 : 0;
    return refused;
}

void *enter(void *block, size_t size) {
    if (block != nullptr) {
        g_state.live.insert_or_assign(block, size);
        g_state.last_block = block;
    }
    return block;
}

void *new_block(size_t size) {
    void *const block = malloc(size != 0 ? size : 1);
    if (block != nullptr)
        fill(block, size, kFresh);
    return enter(block, size);
}

// Takes a block off the registry; SIZE_MAX, and a test failure, when it is not there.
size_t leave(const void *block, const char *what) {
    const auto found = g_state.live.find(block);
    if (found == g_state.live.end()) {
        ADD_FAILURE() << what << " of a block that is not live: " << block;
        return SIZE_MAX;
    }
    const size_t size = found->second;
    g_state.live.erase(found);
    return size;
}

void *counting_allocate(size_t size) {
    const std::lock_guard lock(g_mutex);
    ++g_state.allocate_calls;
    return refuses(size) ? nullptr : new_block(size);
}

void *counting_zeroed(size_t count, size_t size) {
    const std::lock_guard lock(g_mutex);
    ++g_state.zeroed_calls;
    size_t total;
    if (__builtin_mul_overflow(count, size, &total))
        total = SIZE_MAX;
    if (refuses(total))
        return nullptr;
    return enter(total != 0 ? calloc(count, size) : calloc(1, 1), total);
}

void counting_release(void *block) {
    const std::lock_guard lock(g_mutex);
    ++g_state.release_calls;
    if (block == nullptr)
        return;
    const size_t size = leave(block, "release");
    if (size == SIZE_MAX)
        return;
    fill(block, size, kReleased);
    free(block);
}

void *counting_reallocate(void *block, size_t size) {
    const std::lock_guard lock(g_mutex);
    ++g_state.reallocate_calls;
    if (refuses(size))
        return nullptr;
    size_t old_size = 0;
    if (block != nullptr) {
        const auto found = g_state.live.find(block);
        if (found == g_state.live.end()) {
            ADD_FAILURE() << "reallocation of a block that is not live: " << block;
            return nullptr;
        }
        old_size = found->second;
    }
    void *const moved = new_block(size);
    if (moved != nullptr && block != nullptr) {
        memcpy(moved, block, old_size < size ? old_size : size);
        leave(block, "reallocation");
        fill(block, old_size, kReleased);
        free(block);
    }
    return moved;
}

template <class Read> auto read_state(Read read) {
    const std::lock_guard lock(g_mutex);
    return read(g_state);
}

} // namespace

CountingAllocator::CountingAllocator() {
    {
        const std::lock_guard lock(g_mutex);
        g_state = State{};
    }
    EXPECT_EQ(x_replace_allocator(counting_allocate, counting_reallocate, counting_zeroed, counting_release), 0);
}

CountingAllocator::~CountingAllocator() {
    EXPECT_EQ(x_replace_allocator(malloc, realloc, calloc, free), 0);
}

size_t CountingAllocator::allocate_calls() const {
    return read_state([](const State &s) { return s.allocate_calls; });
}

size_t CountingAllocator::reallocate_calls() const {
    return read_state([](const State &s) { return s.reallocate_calls; });
}

size_t CountingAllocator::zeroed_calls() const {
    return read_state([](const State &s) { return s.zeroed_calls; });
}

size_t CountingAllocator::release_calls() const {
    return read_state([](const State &s) { return s.release_calls; });
}

size_t CountingAllocator::allocations() const {
    return read_state([](const State &s) { return s.allocate_calls + s.reallocate_calls + s.zeroed_calls; });
}

size_t CountingAllocator::refused() const {
    return read_state([](const State &s) { return s.refused; });
}

std::vector<size_t> CountingAllocator::sizes() const {
    return read_state([](const State &s) { return s.sizes; });
}

size_t CountingAllocator::live_blocks() const {
    return read_state([](const State &s) { return s.live.size(); });
}

size_t CountingAllocator::live_bytes() const {
    return read_state([](const State &s) {
        size_t bytes = 0;
        for (const auto &[block, size] : s.live)
            bytes += size;
        return bytes;
    });
}

bool CountingAllocator::is_live(const void *block) const {
    return read_state([block](const State &s) { return s.live.count(block) != 0; });
}

size_t CountingAllocator::size_of(const void *block) const {
    return read_state([block](const State &s) {
        const auto found = s.live.find(block);
        return found != s.live.end() ? found->second : 0;
    });
}

void *CountingAllocator::last_block() const {
    return read_state([](const State &s) { return s.last_block; });
}

static void set_failure(size_t n, bool on) {
    const std::lock_guard lock(g_mutex);
    g_state.fail_countdown = n;
    g_state.fail_on = on;
}

void CountingAllocator::fail_at(size_t n) {
    set_failure(n, false);
}

void CountingAllocator::fail_from(size_t n) {
    set_failure(n, true);
}

void CountingAllocator::null_for_empty(bool on) {
    const std::lock_guard lock(g_mutex);
    g_state.null_for_empty = on;
}

void CountingAllocator::forget(const void *block) {
    const std::lock_guard lock(g_mutex);
    leave(block, "forgetting");
}

size_t CountingAllocator::release_live() {
    const std::lock_guard lock(g_mutex);
    const size_t count = g_state.live.size();
    for (const auto &[block, size] : g_state.live)
        free(const_cast<void *>(block));
    g_state.live.clear();
    return count;
}

size_t count_allocations(const std::function<void()> &scenario) {
    CountingAllocator allocator;
    scenario();
    allocator.release_live();
    return allocator.allocations();
}

size_t sweep_allocations(const std::function<void(CountingAllocator &allocator, size_t n)> &scenario) {
    for (size_t n = 1;; ++n) {
        CountingAllocator allocator;
        allocator.fail_at(n);
        scenario(allocator, n);
        EXPECT_EQ(allocator.live_blocks(), 0U) << "with allocation " << n << " refused";
        allocator.release_live();
        if (allocator.refused() == 0)
            return n - 1;
    }
}
