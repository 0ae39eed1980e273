// SPDX-License-Identifier: MIT
// Medians of the rounds, as a table and as JSON.
#pragma once

#include "bench/store/environment.h"
#include "bench/store/rounds.h"

#include <string>
#include <vector>

namespace varnel::bench {

void print_table(const Notes &notes, const Settings &settings, const std::vector<RowResult> &results);

// Failure when the file cannot be written.
void write_json(const std::string &path, const Notes &notes, const Settings &settings,
                const std::vector<RowResult> &results);

} // namespace varnel::bench
