// SPDX-License-Identifier: MIT
#include "comparison.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ostream>

std::string subject_name(const Comparison &comparison) {
    return comparison.work + "/" + comparison.subject;
}

std::string yardstick_name(const Comparison &comparison) {
    return comparison.work + "/" + comparison.yardstick;
}

// Processor, caches and load.
bool ComparisonReporter::ReportContext(const Context &context) {
    PrintBasicContext(&GetOutputStream(), context);
    GetOutputStream().flush();
    return true;
}

void ComparisonReporter::ReportRuns(const std::vector<Run> &reports) {
    for (const Run &run : reports)
        if (run.run_type == Run::RT_Iteration && !run.error_occurred)
            nanoseconds_[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
}

// 0 when it did not run.
double ComparisonReporter::median_of(const std::string &name) const {
    const auto found = nanoseconds_.find(name);
    if (found == nanoseconds_.end())
        return 0;
    std::vector<double> sorted = found->second;
    std::sort(sorted.begin(), sorted.end());
    return sorted[sorted.size() / 2];
}

void ComparisonReporter::print_table(const std::vector<Comparison> &comparisons) const {
    printf("\nMedians of CPU time for the same work; above 1 the library is the faster one.\n\n");
    printf("%-34s %-18s %10s   %-24s %10s   %6s\n", "work", "library", "ns", "yardstick", "ns", "ratio");
    for (const Comparison &comparison : comparisons) {
        const double subject = median_of(subject_name(comparison));
        const double yardstick = median_of(yardstick_name(comparison));
        if (subject > 0 && yardstick > 0)
            printf("%-34s %-18s %10.0f   %-24s %10.0f   %6.2f\n", comparison.work.c_str(), comparison.subject.c_str(),
                   subject, comparison.yardstick.c_str(), yardstick, yardstick / subject);
    }
}

void require_same(bool same, const char *work) {
    if (same)
        return;
    fprintf(stderr, "%s: the two ways give different results\n", work);
    exit(EXIT_FAILURE);
}
