// SPDX-License-Identifier: MIT
// The daemon's log lines, through the device's logging library.
#pragma once

#include <string>

namespace varnel::daemon {

// One line each, without the newline. Characters that a terminal would act on are written as '?'.
void log_error(const std::string &line);
void log_info(const std::string &line);

} // namespace varnel::daemon
