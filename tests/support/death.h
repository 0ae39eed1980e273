// SPDX-License-Identifier: MIT
// Death tests: the library ends a process only with abort(3).
#pragma once

#include "support/counting_allocator.h"

#include <gtest/gtest.h>

#include <csignal>

// Expects statement to end the process with abort, having written a match of regex to standard error. Suites that use
// it end in DeathTest.
#define EXPECT_ABORT(statement, regex) EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), regex)

// Expects scenario to abort whichever one of its allocations is refused, and to make at least one. For scenarios whose
// every allocation is one that the library cannot do without.
inline void expect_abort_at_every_allocation(const std::function<void()> &scenario) {
    const size_t count = count_allocations(scenario);
    EXPECT_GT(count, 0U);
    for (size_t n = 1; n <= count; ++n) {
        EXPECT_ABORT(
            {
                CountingAllocator allocator;
                allocator.fail_at(n);
                scenario();
            },
            "")
            << "allocation " << n;
    }
}
