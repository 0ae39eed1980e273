// SPDX-License-Identifier: MIT
// The files of factory defaults that a configuration names.
#pragma once

#include "common/config_tree.h"

#include <string>
#include <vector>

namespace varnel {

struct DefaultsFile {
    std::string path;
    bool required = true; // in one of the places at least

    bool operator==(const DefaultsFile &) const = default;
};

// Of the backends of the module "defaults" as the layers have them, each once, in the order of the layers.
std::vector<DefaultsFile> defaults_files(const ConfigTree &tree);

} // namespace varnel
