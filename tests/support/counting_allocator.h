// SPDX-License-Identifier: MIT
// An allocator for the library's table that counts, checks and fails on demand.
//
// Blocks are plain blocks of malloc, listed in a registry: releasing or resizing one that is not listed (a double
// release, or a block from before the allocator's time) is a test failure, and the call does nothing. New memory that
// must not be relied on to be zero is filled with 0xA5, released memory with 0xDD, and every reallocation moves the
// block.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

// Installs itself in the library's table; its end puts the platform's four functions back. One at a time. Safe beside
// threads. It does not release what is still live at its end: see release_live.
class CountingAllocator {
public:
    CountingAllocator();
    ~CountingAllocator();
    CountingAllocator(const CountingAllocator &) = delete;
    CountingAllocator &operator=(const CountingAllocator &) = delete;

    // Calls of each function so far, refused ones included, releases of NULL too.
    [[nodiscard]] size_t allocate_calls() const;
    [[nodiscard]] size_t reallocate_calls() const;
    [[nodiscard]] size_t zeroed_calls() const;
    [[nodiscard]] size_t release_calls() const;
    // The first three together.
    [[nodiscard]] size_t allocations() const;
    // Allocations that fail_at, fail_from or null_for_empty refused.
    [[nodiscard]] size_t refused() const;

    // Sizes asked for, in order, refused ones included.
    [[nodiscard]] std::vector<size_t> sizes() const;

    [[nodiscard]] size_t live_blocks() const;
    [[nodiscard]] size_t live_bytes() const;
    [[nodiscard]] bool is_live(const void *block) const;
    // Size that a live block was asked with; 0 for any other pointer.
    [[nodiscard]] size_t size_of(const void *block) const;
    // The block handed out last, or NULL.
    [[nodiscard]] void *last_block() const;

    // Refuses the n-th allocation from now (1: the next), once; or that one and all later ones. 0: refuse nothing.
    void fail_at(size_t n);
    void fail_from(size_t n);

    // Answers a size of 0 with NULL, as small C libraries do.
    void null_for_empty(bool on);

    // Takes a block that the library released with the platform's free off the registry.
    void forget(const void *block);

    // Releases every live block, for scenarios that lose some; returns how many there were.
    size_t release_live();
};

// The number of allocations that scenario makes. What it leaves behind is released.
size_t count_allocations(const std::function<void()> &scenario);

// Runs scenario with its n-th allocation refused, for n = 1, 2, ... up to the first run that meets no refusal, and
// expects each run to leave no block behind. Scenario gets the allocator and the n of this run. Returns the number of
// runs that met a refusal.
size_t sweep_allocations(const std::function<void(CountingAllocator &allocator, size_t n)> &scenario);
