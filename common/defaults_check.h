// SPDX-License-Identifier: MIT
// Checks a file of factory defaults.
#pragma once

#include "common/config_check.h"

#include <string>
#include <vector>

namespace varnel {

// What is wrong with the syntax, and with the groups and settings: in the order of lines, all of it. With no error
// among the findings, the file can be loaded (configurator_load), and every setting in it be read
// (read_defaults_entry).
std::vector<ConfigFinding> check_defaults(const std::string &path);

} // namespace varnel
