// SPDX-License-Identifier: MIT
// Reads a configuration file as the loader does, but goes on after errors, and keeps places.
#pragma once

#include "common/config_check.h"
#include "common/config_tree.h"

#include <string>
#include <vector>

namespace varnel {

struct ConfigSyntax {
    std::vector<ConfigFinding> findings; // in no order
    ConfigTree tree;
    bool complete = false; // the file was read and its braces match: the tree is what stands there, but for bad lines
};

ConfigSyntax read_config(const std::string &path);

} // namespace varnel
