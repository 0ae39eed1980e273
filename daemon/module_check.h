// SPDX-License-Identifier: MIT
// A look at the storage modules before the library opens them: it ends the process at the first that it cannot use.
#pragma once

#include <varnel/config.h>

#include <string>
#include <vector>

namespace varnel::daemon {

// What is wrong with the modules of the group "backends" (which may be nullptr), each with backend, file and reason;
// empty when the library can open all of them in directory.
std::vector<std::string> check_modules(const xdictionary *backends, const std::string &directory);

} // namespace varnel::daemon
