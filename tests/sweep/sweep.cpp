// SPDX-License-Identifier: MIT
#include "sweep/sweep.h"

#include "support/death.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// Of coverage builds alone: a run's counts would be lost with its process.
extern "C" __attribute__((weak)) void __gcov_dump(void);

namespace {

// Exit statuses of a run.
enum Status { kComplete = 0, kFailedCheck = 1, kRefused = 3, kLeak = 4, kLeakedDescriptor = 5, kWrongCount = 6 };

// How a child ended.
struct Report {
    int wait_status;
    std::string text; // written to standard error
};

std::string describe(int wait_status) {
    if (WIFSIGNALED(wait_status))
        return WTERMSIG(wait_status) == SIGABRT ? "aborted" : strsignal(WTERMSIG(wait_status));
    switch (WEXITSTATUS(wait_status)) {
    case kComplete:
        return "complete";
    case kFailedCheck:
        return "a failed check";
    case kRefused:
        return "refused";
    case kLeak:
        return "a leak of blocks";
    case kLeakedDescriptor:
        return "a leak of descriptors";
    case kWrongCount:
        return "a wrong number of allocations";
    default:
        return "exit status " + std::to_string(WEXITSTATUS(wait_status));
    }
}

const char *describe(End end) {
    switch (end) {
    case End::complete:
        return "complete";
    case End::refused:
        return "refused";
    default:
        return "aborted";
    }
}

// The lowest free descriptor: the same before and after a run that closes what it opens.
int free_descriptor() {
    const int fd = dup(STDIN_FILENO);
    close(fd);
    return fd;
}

int failed_checks() {
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

Status run_scenario(Scenario scenario, size_t n, const Step *step) {
    const int checks_before = failed_checks();
    const int descriptor_before = free_descriptor();
    CountingAllocator allocator;
    SweepRun run(allocator, n);
    const End end = scenario(run);
    if (failed_checks() != checks_before)
        return kFailedCheck;
    if (allocator.refused() != (step != nullptr ? 1U : 0U))
        return kWrongCount;
    if (allocator.live_blocks() > (step != nullptr ? step->lost : 0))
        return kLeak;
    if (free_descriptor() != descriptor_before)
        return kLeakedDescriptor;
    return end == End::complete ? kComplete : kRefused;
}

// An unprepared abort would leave a core file behind, and a hang would wait for the whole suite's timeout.
void limit_child() {
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    alarm(60);
}

std::string read_all(int fd) {
    std::string text;
    char buffer[1024];
    for (ssize_t got; (got = read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(got));
    return text;
}

// step: what the n-th allocation leads to; nullptr when there should be no n-th one.
Report run_in_child(Scenario scenario, size_t n, const Step *step) {
    int ends[2] = {};
    EXPECT_EQ(pipe(ends), 0);
    fflush(nullptr);
    const pid_t child = fork();
    EXPECT_GE(child, 0);
    if (child == 0) {
        limit_child();
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        const Status status = run_scenario(scenario, n, step);
        fflush(nullptr);
        if (__gcov_dump != nullptr)
            __gcov_dump();
        _exit(status);
    }
    close(ends[1]);
    Report report = {0, without_emulators_line(read_all(ends[0]))};
    close(ends[0]);
    EXPECT_EQ(waitpid(child, &report.wait_status, 0), child);
    return report;
}

void check_run(Scenario scenario, size_t n, const Step *step) {
    const Report report = run_in_child(scenario, n, step);
    const char *const what = step != nullptr ? step->what : "nothing refused";
    EXPECT_EQ(describe(report.wait_status), describe(step != nullptr ? step->end : End::complete))
        << "allocation " << n << " (" << what << ")\n"
        << report.text;
    EXPECT_EQ(report.text, step != nullptr ? step->says : "") << "allocation " << n << " (" << what << ")";
}

} // namespace

void SweepRun::say(const char *text) {
    fputs(text, stderr);
}

void sweep(Scenario scenario, const Steps &steps) {
    size_t n = 0;
    for (const Step &step : steps)
        for (size_t i = 0; i < step.count; ++i)
            check_run(scenario, ++n, &step);
    check_run(scenario, n + 1, nullptr);
}

Steps operator+(Steps first, const Steps &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}
