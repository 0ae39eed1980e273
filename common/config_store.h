// SPDX-License-Identifier: MIT
// What varneld makes of a configuration file that it could read.
#pragma once

#include "common/config_check.h"
#include "common/config_tree.h"

#include <string>
#include <vector>

namespace varnel {

// Adds what is wrong in the groups "varneld", "backends" and "layers".
void check_store(const ConfigTree &tree, std::vector<ConfigFinding> &findings);

// The name of a backend's module, without its ending.
std::string module_of(const ConfigEntry &backend, const ConfigGroup &settings);

} // namespace varnel
