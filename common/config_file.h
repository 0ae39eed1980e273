// SPDX-License-Identifier: MIT
// Opens a configuration file that somebody names.
#pragma once

#include "common/config_check.h"

#include <cstdio>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace varnel {

struct FileCloser {
    void operator()(std::FILE *file) const { static_cast<void>(std::fclose(file)); }
};
using ConfigFile = std::unique_ptr<std::FILE, FileCloser>;

constexpr off_t kLargestConfig = 16 << 20; // bytes

// nullptr, and a finding, for what cannot be opened and for what need not have an end: anything but a regular file of
// at most kLargestConfig. Waits for nobody.
ConfigFile open_config(const std::string &path, std::vector<ConfigFinding> &findings);

ConfigFinding too_large_config();

} // namespace varnel
