// SPDX-License-Identifier: MIT
// The contenders in turn, round by round, so that all of them see the same weather.
#pragma once

#include "bench/store/disk.h"
#include "bench/store/load.h"
#include "bench/store/rows.h"

#include <string>
#include <vector>

namespace varnel::bench {

struct Settings {
    Sockets sockets;
    std::string folder; // on the file system where the stores keep their files
    double seconds = 1;
    unsigned rounds = 5;
    std::string only = {};
};

struct RowResult {
    Row row;
    std::vector<std::vector<Measurement>> of_contender; // one a round
    std::vector<DiskMeasurement> disk;                  // one a round, of rows that are synced
};

std::vector<RowResult> run_rounds(const Settings &settings);

} // namespace varnel::bench
