// SPDX-License-Identifier: MIT
#include "bench/store/report.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace varnel::bench {

namespace {

struct Spread {
    double median, least, most;
};

Spread spread_of(std::vector<double> numbers) {
    std::sort(numbers.begin(), numbers.end());
    const std::size_t half = numbers.size() / 2;
    const double median = numbers.size() % 2 != 0 ? numbers[half] : (numbers[half - 1] + numbers[half]) / 2;
    return {median, numbers.front(), numbers.back()};
}

template <class Record> Spread spread_of(const std::vector<Record> &records, double Record::*field) {
    std::vector<double> numbers(records.size());
    std::transform(records.begin(), records.end(), numbers.begin(), [field](const Record &r) { return r.*field; });
    return spread_of(numbers);
}

// Of the two in the same round: what slows the machine down for a while slows both.
Spread ratio_of(const RowResult &result, const Comparison &comparison) {
    std::vector<double> ratios;
    const auto &subject = result.of_contender[comparison.subject];
    const auto &yardstick = result.of_contender[comparison.yardstick];
    for (std::size_t i = 0; i < subject.size(); ++i)
        ratios.push_back(subject[i].per_second / yardstick[i].per_second);
    return spread_of(ratios);
}

const char *verdict(const Spread &ratio, double goal) {
    return ratio.median >= goal ? "met" : "NOT MET";
}

void print_rate(const std::string &name, const Spread &rate) {
    std::printf("  %-44s %9.0f %9.0f %9.0f", name.c_str(), rate.median, rate.least, rate.most);
}

void print_contender(const std::string &name, const std::vector<Measurement> &all) {
    print_rate(name, spread_of(all, &Measurement::per_second));
    std::printf(" %8.1f %8.1f %7.1f %7.1f\n", spread_of(all, &Measurement::p50_us).median,
                spread_of(all, &Measurement::p99_us).median, spread_of(all, &Measurement::client_us).median,
                spread_of(all, &Measurement::server_us).median);
}

std::string ratio_name(const Row &row, const Comparison &comparison) {
    return row.contenders[comparison.subject].name + " / " + row.contenders[comparison.yardstick].name;
}

void print_ratio(const RowResult &result, const Comparison &comparison) {
    const Spread ratio = ratio_of(result, comparison);
    std::printf("  %-44s %9.3f %9.3f %9.3f", ratio_name(result.row, comparison).c_str(), ratio.median, ratio.least,
                ratio.most);
    if (comparison.goal > 0)
        std::printf("   goal %.1f: %s", comparison.goal, verdict(ratio, comparison.goal));
    std::printf("\n");
}

void print_row(const RowResult &result) {
    std::printf("\n%s\n", result.row.title.c_str());
    if (!result.disk.empty()) {
        print_rate("bare: append 100 bytes, fdatasync", spread_of(result.disk, &DiskMeasurement::file_per_second));
        std::printf("\n");
        print_rate("bare: new file, fdatasync, fsync of folder",
                   spread_of(result.disk, &DiskMeasurement::folder_per_second));
        std::printf("\n");
    }
    for (std::size_t i = 0; i < result.of_contender.size(); ++i)
        print_contender(result.row.contenders[i].name, result.of_contender[i]);
    for (const Comparison &comparison : result.row.comparisons)
        print_ratio(result, comparison);
}

void print_goals(const std::vector<RowResult> &results) {
    unsigned met = 0;
    unsigned all = 0;
    for (const RowResult &result : results) {
        for (const Comparison &comparison : result.row.comparisons) {
            all += comparison.goal > 0 ? 1 : 0;
            met += comparison.goal > 0 && ratio_of(result, comparison).median >= comparison.goal ? 1 : 0;
        }
    }
    std::printf("\ngoals met: %u of %u\n", met, all);
}

nlohmann::ordered_json json_of(const Spread &spread) {
    return {{"median", spread.median}, {"min", spread.least}, {"max", spread.most}};
}

nlohmann::ordered_json json_of(const std::string &name, const std::vector<Measurement> &all) {
    return {{"name", name},
            {"requests_per_second", json_of(spread_of(all, &Measurement::per_second))},
            {"p50_us", json_of(spread_of(all, &Measurement::p50_us))},
            {"p99_us", json_of(spread_of(all, &Measurement::p99_us))},
            {"client_us", json_of(spread_of(all, &Measurement::client_us))},
            {"server_us", json_of(spread_of(all, &Measurement::server_us))}};
}

nlohmann::ordered_json json_of(const RowResult &result, const Comparison &comparison) {
    const Spread ratio = ratio_of(result, comparison);
    nlohmann::ordered_json json = {{"name", ratio_name(result.row, comparison)}, {"ratio", json_of(ratio)}};
    if (comparison.goal > 0) {
        json["goal"] = comparison.goal;
        json["met"] = ratio.median >= comparison.goal;
    }
    return json;
}

nlohmann::ordered_json json_of(const RowResult &result) {
    nlohmann::ordered_json json = {{"work", result.row.job.work == Work::get ? "get" : "set"},
                                   {"title", result.row.title},
                                   {"clients", result.row.connections},
                                   {"value_bytes", result.row.job.value_bytes}};
    if (!result.disk.empty()) {
        json["bare_file_syncs_per_second"] = json_of(spread_of(result.disk, &DiskMeasurement::file_per_second));
        json["bare_folder_syncs_per_second"] = json_of(spread_of(result.disk, &DiskMeasurement::folder_per_second));
    }
    for (std::size_t i = 0; i < result.of_contender.size(); ++i)
        json["contenders"].push_back(json_of(result.row.contenders[i].name, result.of_contender[i]));
    for (const Comparison &comparison : result.row.comparisons)
        json["ratios"].push_back(json_of(result, comparison));
    return json;
}

} // namespace

void print_table(const Notes &notes, const Settings &settings, const std::vector<RowResult> &results) {
    for (const auto &[name, text] : notes)
        std::printf("%-14s %s\n", (name + ":").c_str(), text.c_str());
    std::printf("%-14s %u rounds of %g s for each row and contender; medians\n\n", "measured:", settings.rounds,
                settings.seconds);
    std::printf("  %-44s %9s %9s %9s %8s %8s %7s %7s\n", "", "", "", "", "latency", "us", "CPU us", "/ req.");
    std::printf("  %-44s %9s %9s %9s %8s %8s %7s %7s\n", "", "req./s", "min", "max", "p50", "p99", "client", "server");
    for (const RowResult &result : results)
        print_row(result);
    print_goals(results);
}

void write_json(const std::string &path, const Notes &notes, const Settings &settings,
                const std::vector<RowResult> &results) {
    nlohmann::ordered_json json;
    for (const auto &[name, text] : notes)
        json["environment"][name] = text;
    json["rounds"] = settings.rounds;
    json["seconds"] = settings.seconds;
    for (const RowResult &result : results)
        json["rows"].push_back(json_of(result));
    std::ofstream file(path);
    file << json.dump(2) << '\n';
    file.close();
    if (!file)
        throw Failure(path + " cannot be written");
}

} // namespace varnel::bench
