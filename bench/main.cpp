// SPDX-License-Identifier: MIT
#include "comparison.h"

#include <cstdio>
#include <sys/utsname.h>

#ifdef __GLIBC__
#include <gnu/libc-version.h>
#endif

namespace {

std::vector<Comparison> all_comparisons() {
    std::vector<Comparison> all;
    for (const auto &of_family :
         {ring_comparisons, parser_comparisons, scanner_comparisons, message_comparisons, hashmap_comparisons})
        for (const Comparison &comparison : of_family())
            all.push_back(comparison);
    return all;
}

void print_environment() {
    utsname system = {};
    uname(&system);
    printf("%s %s on %s, %zu-bit, compiler " __VERSION__, system.sysname, system.release, system.machine,
           8 * sizeof(void *));
#ifdef __GLIBC__
    printf(", glibc %s", gnu_get_libc_version());
#endif
    printf("\n");
#ifndef __OPTIMIZE__
    printf("*** WARNING: built without optimisation. These numbers say nothing about the library. ***\n");
#endif
    fflush(stdout);
}

// Short repetitions in random order, so that both sides of a comparison see the same weather. Options of the command
// line come later and win.
std::vector<char *> with_defaults(int argc, char **argv) {
    static char min_time[] = "--benchmark_min_time=0.05";
    static char repetitions[] = "--benchmark_repetitions=9";
    static char interleaving[] = "--benchmark_enable_random_interleaving=true";
    std::vector<char *> arguments = {argv[0], min_time, repetitions, interleaving};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    arguments.push_back(nullptr);
    return arguments;
}

} // namespace

int main(int argc, char **argv) {
    std::vector<char *> arguments = with_defaults(argc, argv);
    int count = static_cast<int>(arguments.size()) - 1;
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;
    print_environment();
    const std::vector<Comparison> comparisons = all_comparisons();
    for (const Comparison &comparison : comparisons) {
        benchmark::RegisterBenchmark(subject_name(comparison).c_str(), comparison.run_subject);
        benchmark::RegisterBenchmark(yardstick_name(comparison).c_str(), comparison.run_yardstick);
    }
    ComparisonReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.print_table(comparisons);
    benchmark::Shutdown();
    return 0;
}
