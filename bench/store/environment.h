// SPDX-License-Identifier: MIT
// Where it was measured.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace varnel::bench {

// Names with texts: system, processor, load, compiler.
using Notes = std::vector<std::pair<std::string, std::string>>;
Notes environment();

} // namespace varnel::bench
