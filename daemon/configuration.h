// SPDX-License-Identifier: MIT
// The configuration tree: from a file, or the one that the daemon brings along.
#pragma once

#include <varnel/config.h>

#include <string>
#include <utility>
#include <vector>

namespace varnel::daemon {

// Loads a file that has been checked before: what is wrong in it is logged, all of it, and is Usage. Trees are never
// released (docs/architecture.md).
xdictionary *load_configuration(const std::string &path);

xdictionary *load_built_in();

// The text settings of a group, which may be nullptr.
std::vector<std::pair<std::string, std::string>> strings_of(const xdictionary *group);

// Sets "folder" in every group of "backends" that has none.
void give_state_folder(xdictionary *tree, const std::string &folder);

} // namespace varnel::daemon
