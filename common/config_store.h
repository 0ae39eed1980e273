// SPDX-License-Identifier: MIT
// What varneld makes of a configuration file that it could read.
#pragma once

#include "common/config_check.h"
#include "common/config_tree.h"

#include <vector>

namespace varnel {

// Adds what is wrong in the groups "varneld", "backends" and "layers".
void check_store(const ConfigTree &tree, std::vector<ConfigFinding> &findings);

} // namespace varnel
