// SPDX-License-Identifier: MIT
// Log lines, through the device's logging library.
#pragma once

#include <string>

namespace varnel {

// One line each, without the newline, behind a prefix that tells who writes it. Characters that a terminal would act on
// are written as '?'.
void log_error(const char *prefix, const std::string &line);
void log_info(const char *prefix, const std::string &line);

} // namespace varnel
