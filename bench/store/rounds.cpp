// SPDX-License-Identifier: MIT
#include "bench/store/rounds.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <set>
#include <utility>

namespace varnel::bench {

namespace {

constexpr double kDiskPart = 0.3; // of the seconds, for each of the two

// Gets need values to find.
void fill(const std::vector<Row> &rows) {
    std::set<std::pair<std::string, std::size_t>> filled;
    for (const Row &row : rows) {
        for (const Contender &contender : row.contenders) {
            const bool needed = contender.kind != Kind::echo && row.job.work == Work::get;
            if (needed && filled.emplace(contender.name, row.job.value_bytes).second)
                run_requests(*start_talk(contender, {Work::set, row.job.value_bytes}), kKeys);
        }
    }
}

void measure(RowResult &result, std::size_t contender, Seconds duration) {
    const Row &row = result.row;
    const auto talk = start_talk(row.contenders[contender], row.job);
    result.of_contender[contender].push_back(run_load(*talk, row.connections, duration));
}

// Every other round goes backwards, so that nobody is always first.
void run_row(RowResult &result, const Settings &settings, bool backwards) {
    if (result.row.synced)
        result.disk.push_back(measure_disk(settings.folder, Seconds(kDiskPart * settings.seconds)));
    const std::size_t count = result.row.contenders.size();
    for (std::size_t i = 0; i < count; ++i)
        measure(result, backwards ? count - 1 - i : i, Seconds(settings.seconds));
}

} // namespace

std::vector<RowResult> run_rounds(const Settings &settings) {
    const std::vector<Row> rows = all_rows(settings.sockets, settings.only);
    if (rows.empty())
        throw Failure("no row is called like that: " + settings.only);
    fill(rows);
    std::vector<RowResult> results;
    std::transform(rows.begin(), rows.end(), std::back_inserter(results), [](const Row &row) {
        return RowResult{row, std::vector<std::vector<Measurement>>(row.contenders.size()), {}};
    });
    for (unsigned round = 0; round < settings.rounds; ++round) {
        static_cast<void>(std::fprintf(stderr, "round %u of %u\n", round + 1, settings.rounds));
        for (RowResult &result : results)
            run_row(result, settings, round % 2 != 0);
    }
    return results;
}

} // namespace varnel::bench
