// SPDX-License-Identifier: MIT
// The sweep of failing allocations: a scenario is run again and again, with its first allocation refused, then its
// second, and so on up to the run in which none is. A table says what each of these runs must end in.
//
// Every run has a process of its own, so a run may abort, and one that crashes or hangs spoils no other.
#pragma once

#include "support/counting_allocator.h"

#include <cstddef>
#include <string>
#include <vector>

// What a run ends in.
enum class End {
    complete, // the result is whole: nothing was refused, or the library did without
    refused,  // a function gave the result that its header states for memory that cannot be had
    aborted,  // abort(3)
};

// What count allocations in a row lead to when one of them is refused.
struct Step {
    size_t count;
    End end;
    const char *what;      // these allocations
    const char *says = ""; // all that the run writes to standard error: error lines, and what it says itself
    size_t lost = 0;       // blocks that may be left over; none in other runs
};
using Steps = std::vector<Step>;

// One run, as the scenario sees it.
class SweepRun {
public:
    SweepRun(CountingAllocator &allocator, size_t n) : allocator_(allocator), n_(n) {}

    // Ends the preparations: allocations count from here on.
    void begin() { allocator_.fail_at(n_); }

    // Tells apart runs of one end; the step has to expect the text.
    static void say(const char *text);

    [[nodiscard]] CountingAllocator &allocator() { return allocator_; }

private:
    CountingAllocator &allocator_;
    size_t n_;
};

// A scenario begins its run, checks every result and releases all that it got, however the run ends.
using Scenario = End (*)(SweepRun &run);

// Runs scenario once for every allocation of steps, and once more with nothing refused, which must be complete.
void sweep(Scenario scenario, const Steps &steps);

// The concatenation of tables.
Steps operator+(Steps first, const Steps &second);
