// SPDX-License-Identifier: MIT
// Comparisons: two ways to do the same work, measured side by side in one run. What counts is the ratio of their times:
// it says more than either time, which belongs to one machine on one day.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

struct Comparison {
    std::string work;    // what both do
    std::string subject; // how the library does it
    std::string yardstick;
    void (*run_subject)(benchmark::State &);
    void (*run_yardstick)(benchmark::State &);
};

std::vector<Comparison> ring_comparisons();
std::vector<Comparison> parser_comparisons();
std::vector<Comparison> scanner_comparisons();
std::vector<Comparison> message_comparisons();
std::vector<Comparison> hashmap_comparisons();

// Collects the times; prints nothing but the environment and the table.
class ComparisonReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &reports) override;

    // The table of those comparisons of which both sides ran.
    void print_table(const std::vector<Comparison> &comparisons) const;

private:
    [[nodiscard]] double median_of(const std::string &name) const;

    std::map<std::string, std::vector<double>> nanoseconds_; // by benchmark, of each repetition
};

std::string subject_name(const Comparison &comparison);
std::string yardstick_name(const Comparison &comparison);

// Ends the program with a message unless the two ways gave the same result.
void require_same(bool same, const char *work);
