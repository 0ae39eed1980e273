// SPDX-License-Identifier: MIT
// What the storage alone takes to make a few bytes safe.
#pragma once

#include "bench/store/load.h"

#include <string>

namespace varnel::bench {

struct DiskMeasurement {
    double file_per_second = 0;   // append 100 bytes to a file, fdatasync
    double folder_per_second = 0; // make a file of 100 bytes, fdatasync, fsync of the folder
};

// Uses files of its own in folder, and removes them.
DiskMeasurement measure_disk(const std::string &folder, Seconds duration);

} // namespace varnel::bench
