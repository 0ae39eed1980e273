// SPDX-License-Identifier: MIT
// The modules' log lines, through the device's logging library.
#pragma once

#include <string>

namespace varnel::modules {

// One line each, without the newline. Characters that a terminal would act on are written as '?'.
void log_error(const std::string &line);
void log_info(const std::string &line);

} // namespace varnel::modules
