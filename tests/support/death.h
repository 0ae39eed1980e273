// SPDX-License-Identifier: MIT
// Death tests: the library ends a process only with abort(3).
#pragma once

#include "support/counting_allocator.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

// What a process wrote to standard error before it aborted. qemu-user, which runs the tests of other processors, adds a
// line of its own at the end.
inline std::string without_emulators_line(const std::string &written) {
    const std::string line = "qemu: uncaught target signal 6 (Aborted) - core dumped\n";
    return written.ends_with(line) ? written.substr(0, written.size() - line.size()) : written;
}

// Matches what a process that aborted wrote, where the regular expression matches a part of it.
class WrittenBeforeAbort {
public:
    using is_gtest_matcher = void;
    explicit WrittenBeforeAbort(const std::string &regex) : matcher_(testing::ContainsRegex(regex)) {}

    bool MatchAndExplain(const std::string &written, std::ostream * /*listener*/) const {
        return matcher_.Matches(without_emulators_line(written));
    }
    void DescribeTo(std::ostream *out) const { matcher_.DescribeTo(out); }
    void DescribeNegationTo(std::ostream *out) const { matcher_.DescribeNegationTo(out); }

private:
    testing::Matcher<const std::string &> matcher_;
};

// Expects statement to end the process with abort, having written a match of regex to standard error. Suites that use
// it end in DeathTest.
#define EXPECT_ABORT(statement, regex)                                                                                 \
    EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), WrittenBeforeAbort(regex))

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
